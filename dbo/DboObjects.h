// The records of a schematic page: wires and buses with their aliases, nets and net aliases, bus
// entries, ports, power objects, off-page connectors, title blocks, DRC marks and bookmarks; the
// pin records that library views and sheet symbols carry; and the two objects placed on a page
// that carry pins, the placed part and the hierarchical block (sheet symbol).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "dbo/DboBaseObjects.h"

namespace orcadx::dbo {

class TDboLibView;

// Type codes of the records of this file.
enum TDboObjectId : uint8_t {
    kIdHierarchicalBlock = 12,
    kIdPart = 13,
    kIdPinPropsScalar = 16,
    kIdPinPropsBus = 17,
    kIdWire = 20,
    kIdBus = 21,
    kIdPort = 23,
    kIdPinScalar = 26,
    kIdPinBus = 27,
    kIdBusEntry = 29,
    kIdPower = 37,
    kIdOffPage = 38,
    kIdWireAlias = 49,
    kIdWireNet = 52,
    kIdBusNet = 53,
    kIdTitleBlock = 65,
    kIdDRCMark = 77,
    kIdBookMark = 78,
};

// The value the next placed part takes as its SearchIndex. Module-wide: starts at 30 and rises by
// 2 with every part created, also those that a load then overwrites.
extern int32_t SearchIndex;

// ---------------------------------------------------------------------------------------------
// Wires and buses

// A net name shown on a wire or bus.
class TDboWireAlias : public TDboObject {
public:
    using TDboObject::TDboObject;
    DBO_CLASS_NAME(TDboWireAlias)

    int32_t LocationX = 0, LocationY = 0;
    int32_t Rot = 0;
    int32_t FontID = 0;
    std::string Name;
    uint16_t UnknownW = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    // The rotation is the low byte of Rot.
    int GetRotation() const override { return Rot & 0xFF; }
    void SetRotation(int rotation) override;
};

// One straight segment of a wire or bus, with its net name aliases.
class TDboWireBus : public TDboBaseObject {
public:
    explicit TDboWireBus(TDboBaseDesign* design);
    DBO_CLASS_NAME(TDboWireBus)

    TDboSimpleObjectList Aliases;  // TDboWireAlias
    int32_t NetName = 0;
    int32_t ObjectID = 18;
    int32_t StartX = 0, StartY = 0, EndX = 0, EndY = 0;
    uint8_t Junction = 0;
    uint16_t UnknownW = 0;
    // Two Ints of headered files, mostly equal but not always (3 and 5 in sample files).
    int32_t UnknownIntFirst = 0;
    int32_t UnknownInt = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    TDboWireAlias* GetAliases(int index) const { return Aliases.As<TDboWireAlias>(index); }

    // The object id stands in front of the net in headered files and in files of version
    // 0x00000002, whose wires' net ids are those of the page's nets only in that order; other
    // files put the net first.
    bool ObjectIdFirst() const;
};

class TDboWire : public TDboWireBus {
public:
    using TDboWireBus::TDboWireBus;
    DBO_CLASS_NAME(TDboWire)
    void Initialize() override;
};

class TDboBus : public TDboWireBus {
public:
    using TDboWireBus::TDboWireBus;
    DBO_CLASS_NAME(TDboBus)
    void Initialize() override;
};

// Wires and buses of a page, each made by its leading type code (20 wire, 21 bus). Any other code
// makes no object and consumes nothing.
class TDboWireBusList : public TDboStorableList {
public:
    using TDboStorableList::TDboStorableList;
    DBO_CLASS_NAME(TDboWireBusList)
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    TDboWireBus* GetItems(int index) const { return As<TDboWireBus>(index); }
};

// ---------------------------------------------------------------------------------------------
// Nets

// A name of a net on a page.
class TDboNetAlias : public TDboStorableObject {
public:
    using TDboStorableObject::TDboStorableObject;
    DBO_CLASS_NAME(TDboNetAlias)

    std::string Alias;
    int32_t NetID = 0;

    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

class TDboNetAliasList : public TDboSimpleObjectList {
public:
    explicit TDboNetAliasList(TDboBaseDesign* design) : TDboSimpleObjectList(design, ClassOf<TDboNetAlias>()) {}
    DBO_CLASS_NAME(TDboNetAliasList)

    TDboNetAlias* GetAliases(int index) const { return As<TDboNetAlias>(index); }
    // NetID of the first alias equal to `alias`, case ignored; -1 when there is none.
    int32_t GetNetIDs(const std::string& alias) const;
};

class TDboWireNet : public TDboStorableObject {
public:
    using TDboStorableObject::TDboStorableObject;
    DBO_CLASS_NAME(TDboWireNet)

    int32_t NetID = 0;
    std::string Name;
    int32_t UnknownInt1 = 0, UnknownInt2 = 48, UnknownInt3 = 5, UnknownInt4 = 3;

    void Initialize() override;
    int HeaderKind() const override { return 1; }
    int HeaderRecordCount() const override { return 1; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

// A member net of a bus net.
class TDboNetRef : public TDboStorableObject {
public:
    using TDboStorableObject::TDboStorableObject;
    DBO_CLASS_NAME(TDboNetRef)

    int32_t Reference = 0;

    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

class TDboBusNet : public TDboWireNet {
public:
    explicit TDboBusNet(TDboBaseDesign* design);
    DBO_CLASS_NAME(TDboBusNet)

    TDboSimpleObjectList NetRefs;  // TDboNetRef

    void Initialize() override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    TDboNetRef* GetNetRefs(int index) const { return NetRefs.As<TDboNetRef>(index); }
};

// ---------------------------------------------------------------------------------------------
// Bus entries

class TDboBusEntry : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(TDboBusEntry)

    int32_t StartX = 0, StartY = 0, EndX = 0, EndY = 0;
    uint16_t Unknown2 = 0, Unknown3 = 0, Unknown4 = 0, Unknown5 = 0, Unknown6 = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

// ---------------------------------------------------------------------------------------------
// Ports, power objects and off-page connectors

// A placed symbol that names a net: the record's type code, read ahead of the frame, says which.
class TDboPortInst : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(TDboPortInst)

    int32_t PortNameIdx = 0;
    int32_t SrcLibIdx = 0;
    int32_t Unknown = 0;
    std::string SymName;
    int32_t Unknown1 = 0, Unknown2 = 0;
    int16_t Height = 0, Width = 0;
    int16_t LocationX = 0, LocationY = 0;
    uint16_t ID2 = 0;
    int32_t Unknown3 = 0;
    uint16_t Unknown4 = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    // 3 for a port, 2 for a power object or an off-page connector, else 0.
    int HeaderRecordCount() const override;
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    // Every visible property shows the port's name.
    void LoadVisibleProps(TDboIStream& stream) override;

    std::string GetPortName() const;
    void SetPortName(const std::string& name);
    std::string GetSrcLib() const;
    void SetSrcLib(const std::string& path);
    const std::string& GetSymName() const { return SymName; }
    void SetSymName(const std::string& name) { SymName = name; }
};

// A hierarchical port. Its size and location are normalised after loading.
class TDboPort : public TDboPortInst {
public:
    using TDboPortInst::TDboPortInst;
    DBO_CLASS_NAME(TDboPort)

    int32_t PortType = 0;

    void Initialize() override;
    // Reads the record, then sets Height 20, Width 30 and moves the location by the rotation.
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

class TDboPower : public TDboPortInst {
public:
    using TDboPortInst::TDboPortInst;
    DBO_CLASS_NAME(TDboPower)
    void Initialize() override;
};

class TDboOffPage : public TDboPortInst {
public:
    using TDboPortInst::TDboPortInst;
    DBO_CLASS_NAME(TDboOffPage)
    void Initialize() override;
};

// ---------------------------------------------------------------------------------------------
// Title blocks, DRC marks, bookmarks

class TDboTitleBlock : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(TDboTitleBlock)

    uint16_t TBName = 0;
    uint16_t SrcLib = 0;
    int32_t DesignModifyTime = 1;
    std::string SymName;
    int32_t SearchIndex = 580;
    int32_t UnknownInt = 0;
    int16_t Height = 0, Width = 0;
    int16_t LocationX = 0, LocationY = 0;
    uint16_t ID_W = 65;
    std::array<uint8_t, 13> UnknownB13{};

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 3; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    std::string GetTBName() const;
    void SetTBName(const std::string& name);
    std::string GetSrcLib() const;
    void SetSrcLib(const std::string& path);
};

class TDboDRCMark : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(TDboDRCMark)

    std::string Name;
    std::string Info1, Info2, Info3;
    int16_t LocX = 0, LocY = 0;
    std::array<uint8_t, 6> UnknownB6{};
    std::array<uint8_t, 7> UnknownB7{};
    std::array<uint8_t, 8> UnknownB8{};
    std::array<uint8_t, 12> UnknownB12{};
    std::array<uint8_t, 13> UnknownB13{};

    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 3; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

// A bookmark: no frame, its own layout in each kind of file.
class TDboBookMark : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(TDboBookMark)

    int32_t NameIdx = 0;
    int32_t FNameIdx = 0;
    std::string TxtID;
    int16_t LocX = 0, LocY = 0;
    uint16_t UnknownW = 0;
    int32_t UnknownInt = 0;
    std::array<uint8_t, 4> UnknownB4{};
    std::array<uint8_t, 12> UnknownB12{};
    std::array<uint8_t, 7> UnknownB7{};
    std::array<uint8_t, 15> UnknownData{};

    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

// ---------------------------------------------------------------------------------------------
// Pins

// A pin of a library view or of a sheet symbol.
class TDboPin : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(TDboPin)

    static constexpr int32_t kAttrDot = 2;
    static constexpr int32_t kAttrClock = 4;
    static constexpr int32_t kAttrVisible = 32;

    int32_t PinIndex = 0;  // place in its list, set by TDboPinList::Add; not stored
    std::string PinName;
    int32_t OffsetX = 0, OffsetY = 0;  // the pin's root
    int32_t EndX = 0, EndY = 0;        // its far end, where wires meet it
    int32_t Attributes = 57;
    int32_t PinType = 0;  // electrical type; 7 is a power pin
    uint8_t ID_B = 0;
    uint8_t UnknownB = 0;
    uint16_t UnknownW = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    // 1: name, coordinates, attributes, type, three small fields and the visible properties.
    void GetHeaderRecord(int index, int64_t& value) override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    bool GetIsDot() const { return (Attributes & kAttrDot) != 0; }
    void SetIsDot(bool set) { SetAttribute(kAttrDot, set); }
    bool GetIsClock() const { return (Attributes & kAttrClock) != 0; }
    void SetIsClock(bool set) { SetAttribute(kAttrClock, set); }
    bool GetIsVisible() const { return (Attributes & kAttrVisible) != 0; }
    void SetIsVisible(bool set) { SetAttribute(kAttrVisible, set); }

private:
    void SetAttribute(int32_t bit, bool set) { Attributes = set ? (Attributes | bit) : (Attributes & ~bit); }
};

class TDboPinScalar : public TDboPin {
public:
    using TDboPin::TDboPin;
    DBO_CLASS_NAME(TDboPinScalar)
    void Initialize() override;
};

class TDboPinBus : public TDboPin {
public:
    using TDboPin::TDboPin;
    DBO_CLASS_NAME(TDboPinBus)
    void Initialize() override;
};

// Pins by their leading type code (26 scalar, 27 bus). Any other code is one byte that is read,
// dropped, and makes no pin.
class TDboPinList : public TDboStorableList {
public:
    using TDboStorableList::TDboStorableList;
    DBO_CLASS_NAME(TDboPinList)
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    // Sets the pin's PinIndex to its place in the list.
    void Add(std::unique_ptr<TDboStorableObject> item) override;
    TDboPin* GetPins(int index) const { return As<TDboPin>(index); }
};

// Ties a pin of a placed part or block to its wire and net.
class TDboPinProps : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(TDboPinProps)

    uint16_t PinNumber = 0;
    int16_t LocationX = 0, LocationY = 0;
    int32_t NetID = 0;
    int32_t WireId = 0;

    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

class TDboPinPropsScalar : public TDboPinProps {
public:
    using TDboPinProps::TDboPinProps;
    DBO_CLASS_NAME(TDboPinPropsScalar)
    void Initialize() override;
};

class TDboPinPropsBus : public TDboPinProps {
public:
    using TDboPinProps::TDboPinProps;
    DBO_CLASS_NAME(TDboPinPropsBus)
    void Initialize() override;
};

// Pin properties by their leading type code (16 scalar, 17 bus). Any other code is one byte that
// is read, dropped, and makes no object.
class TDboPinPropsList : public TDboStorableList {
public:
    using TDboStorableList::TDboStorableList;
    DBO_CLASS_NAME(TDboPinPropsList)
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    TDboPinProps* GetPinProps(int index) const { return As<TDboPinProps>(index); }
};

// ---------------------------------------------------------------------------------------------
// Placed parts and hierarchical blocks

class TDboPart : public TDboBaseObject {
public:
    explicit TDboPart(TDboBaseDesign* design);
    DBO_CLASS_NAME(TDboPart)

    // Flags: bit 1 set by default, bits 2 to 4 the implementation type, bit 15 HighFlag.
    static constexpr uint16_t kFlagHigh = 0x8000;
    static constexpr int kImplementationPSpiceModel = 5;

    TDboPinPropsList PinProps;
    uint16_t NameIdx = 0;
    uint16_t SrcLibIdx = 0;
    std::string ViewName;
    int32_t SearchIndex = 0;
    int16_t RHeight = 0, RWidth = 0;
    int16_t LocationX = 0, LocationY = 0;
    uint16_t ID2 = 13;
    std::string DesignatorStr;
    int32_t ValueIdx = 0;
    int32_t ImplementationPathIdx = 0;
    int32_t ImplementationIdx = 0;
    uint16_t Flags = 2;
    std::string SrcPkg;
    uint16_t PartNo = 0;  // the host's part number less 1
    int32_t LibNameIdx = 0;
    int32_t UnknownInt_2 = 0;
    uint8_t UnknownB = 24;

    // Takes the next SearchIndex.
    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 4; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    const std::string& GetDesignator() const { return DesignatorStr; }
    void SetDesignator(const std::string& text) { DesignatorStr = text; }
    std::string GetValue() const;
    void SetValue(const std::string& text);
    std::string GetImplementation() const;
    void SetImplementation(const std::string& text);
    std::string GetImplementationPath() const;
    void SetImplementationPath(const std::string& text);
    std::string GetSrcLib() const;
    void SetSrcLib(const std::string& text);
    std::string GetLibName() const;

    int GetImplementationType() const { return (Flags >> 2) & 7; }
    // ORs the type into bits 2 to 4; it never clears a bit.
    void SetImplementationType(int type);
    bool GetHighFlag() const { return (Flags & kFlagHigh) != 0; }
    void SetHighFlag(bool set);
};

// A sheet symbol. Its pins stand in its own pin list in files that aren't headered, and in an
// embedded library view in headered files.
class TDboHierarchicalBlock : public TDboBaseObject {
public:
    explicit TDboHierarchicalBlock(TDboBaseDesign* design);
    ~TDboHierarchicalBlock() override;
    DBO_CLASS_NAME(TDboHierarchicalBlock)

    std::unique_ptr<TDboPinList> Pins;      // made on reading a file that isn't headered
    std::unique_ptr<TDboLibView> LibView;   // made on reading a headered file
    int16_t Width = 0, Height = 0;
    TDboPinPropsList PinProps;
    uint16_t NameIdx = 0;
    uint16_t SrcLib = 0;
    std::string SymName;
    int32_t SearchIndex = 3;
    int16_t RHeight = 0, RWidth = 0;
    int16_t LocationX = 0, LocationY = 0;
    uint16_t ID2 = 12;
    std::string RefStr;
    uint8_t LibViewID = 0;
    int32_t ImplementSheetIdx = 0, ImplementFileIdx = 0, ImplementFolderIdx = 0;
    int32_t UnknownInt_1 = 0x73DD42C2;
    int32_t UnknownInt_2 = 0;
    uint16_t UnknownW_1 = 0, UnknownW_2 = 3, UnknownW_3 = 0;
    std::array<uint8_t, 12> UnknownAInt3{};
    std::array<uint8_t, 20> UnknownAInt5{};

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 3; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    void SetRefStr(const std::string& text);
    const std::string& GetRefStr() const { return RefStr; }
    std::string GetImplementation() const;
    void SetImplementation(const std::string& text);
    // With a library view its bounds, else Width and Height.
    int GetWidth() const;
    void SetWidth(int width);
    int GetHeight() const;
    void SetHeight(int height);
    // The library view's pins, else the own pins; when neither exists, makes a library view in a
    // headered file and a pin list otherwise.
    TDboPinList* GetPins();
};

// The placed parts and blocks of a page, by their leading type code (12 block, 13 part). Any
// other code makes no object and consumes nothing.
class TDboPartAndBlockList : public TDboStorableList {
public:
    using TDboStorableList::TDboStorableList;
    DBO_CLASS_NAME(TDboPartAndBlockList)
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    TDboObject* GetParts(int index) const { return As<TDboObject>(index); }
};

}  // namespace orcadx::dbo
