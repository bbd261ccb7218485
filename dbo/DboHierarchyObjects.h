// The stream "Hierarchy" of a view: the occurrences of its blocks, with the pins, nets and title
// blocks that each instance has, down the tree of instances. These records are only read: a
// design that this system writes carries no hierarchy stream.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "dbo/DboBaseObjects.h"

namespace orcadx::dbo {

// Nesting of hierarchy records deeper than this is taken for a damaged file.
constexpr int kMaxHierarchyDepth = 200;

// Base of the hierarchy records: kind 2 with one header record in each kind, whose user
// properties are a list of name and value pairs.
class TDboHierarchyObject : public TDboStorableObject {
public:
    explicit TDboHierarchyObject(TDboBaseDesign* design) : TDboStorableObject(design), Props(design) {}
    DBO_CLASS_NAME(TDboHierarchyObject)

    TDboPropNameValList Props;

    int HeaderRecordCount() const override { return 1; }
    void LoadUserProps(TDboIStream& stream) override;
    void SaveUserProps(TDboIStream& stream) override;
    int64_t UserPropsSize() override;
    int Load(TDboIStream& stream) override;
    // Hierarchy records are never written.
    int Save(TDboIStream&) override { return 0; }
};

class TDboHierarchyPin : public TDboHierarchyObject {
public:
    using TDboHierarchyObject::TDboHierarchyObject;
    DBO_CLASS_NAME(TDboHierarchyPin)

    int32_t ArrayIndex = 0;  // 0 or above: the pin has an Order; below 0: a PortName
    uint16_t Order = 0;
    std::string PortName;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int Load(TDboIStream& stream) override;
};

class TDboHierarchyNet : public TDboHierarchyObject {
public:
    using TDboHierarchyObject::TDboHierarchyObject;
    DBO_CLASS_NAME(TDboHierarchyNet)

    int32_t NetID = 0;
    std::string NetName;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int Load(TDboIStream& stream) override;
};

class TDboHierarchyTitleBlock : public TDboHierarchyObject {
public:
    using TDboHierarchyObject::TDboHierarchyObject;
    DBO_CLASS_NAME(TDboHierarchyTitleBlock)

    int32_t TitleBlockID = 0;
    int32_t SearchIndex = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int Load(TDboIStream& stream) override;
};

// One instance of a block: its pins, nets and title blocks, and the instances below it.
class TDboHierarchyRecord : public TDboHierarchyObject {
public:
    explicit TDboHierarchyRecord(TDboBaseDesign* design);
    DBO_CLASS_NAME(TDboHierarchyRecord)

    TDboSimpleObjectList Pins;         // TDboHierarchyPin
    TDboSimpleObjectList Nets;         // TDboHierarchyNet
    TDboSimpleObjectList TitleBlocks;  // TDboHierarchyTitleBlock
    TDboSimpleObjectList Records;      // TDboHierarchyRecord
    int32_t RecordID = 0;
    int32_t SearchIndex = 0;
    std::string ImplementationName;
    std::string PartReference;
    uint16_t PartIDIndex = 0;
    std::array<uint8_t, 9> UnknownB9{};
    uint16_t UnknownW = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    // Raises an Exception when records nest deeper than kMaxHierarchyDepth.
    int Load(TDboIStream& stream) override;

    TDboHierarchyPin* GetPins(int index) const { return Pins.As<TDboHierarchyPin>(index); }
    TDboHierarchyNet* GetNets(int index) const { return Nets.As<TDboHierarchyNet>(index); }
    TDboHierarchyTitleBlock* GetTitleBlocks(int index) const { return TitleBlocks.As<TDboHierarchyTitleBlock>(index); }
    TDboHierarchyRecord* GetRecords(int index) const { return Records.As<TDboHierarchyRecord>(index); }
};

// The whole stream "Hierarchy": the view's own pins, nets and title blocks, then its instances.
class TDboHierarchy : public TDboStorableObject {
public:
    explicit TDboHierarchy(TDboBaseDesign* design);
    DBO_CLASS_NAME(TDboHierarchy)

    std::string ImplementationName;
    std::string PartReference;  // in a headered file the same as ImplementationName
    TDboSimpleObjectList Pins;
    TDboSimpleObjectList Nets;
    TDboSimpleObjectList TitleBlocks;
    TDboSimpleObjectList Records;
    std::array<uint8_t, 2> UnknownB2{};
    std::array<uint8_t, 9> UnknownB9{};
    std::array<uint8_t, 7> UnknownB7{};

    void Initialize() override;
    int Load(TDboIStream& stream) override;
    // The hierarchy is never written: nothing is saved.
    int Save(TDboIStream&) override { return 0; }

    TDboHierarchyPin* GetPins(int index) const { return Pins.As<TDboHierarchyPin>(index); }
    TDboHierarchyNet* GetNets(int index) const { return Nets.As<TDboHierarchyNet>(index); }
    TDboHierarchyTitleBlock* GetTitleBlocks(int index) const { return TitleBlocks.As<TDboHierarchyTitleBlock>(index); }
    TDboHierarchyRecord* GetRecords(int index) const { return Records.As<TDboHierarchyRecord>(index); }
};

}  // namespace orcadx::dbo
