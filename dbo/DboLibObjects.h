// Library elements of a Capture file: a component is one or more packages, each with one or more
// views (the drawings of its sections, with their pins), and part information that maps part
// names to packages. The directories of packages and symbols list them by name.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dbo/DboBaseObjects.h"
#include "platform/TextCompare.h"

namespace orcadx::dbo {

class TDboGraphicInstanceList;
class TDboPinList;

// ---------------------------------------------------------------------------------------------
// Views

// The drawing of one section of a package, or of a symbol: library objects, pins and properties.
class TDboLibBaseView : public TDboBaseObject {
public:
    explicit TDboLibBaseView(TDboBaseDesign* design);
    ~TDboLibBaseView() override;
    DBO_CLASS_NAME(TDboLibBaseView)

    std::unique_ptr<TDboGraphicInstanceList> Graphics;  // library objects
    std::unique_ptr<TDboPinList> Pins;
    std::string ViewName;
    std::string LibPathStr;
    uint16_t Color = 0;
    int16_t Left = 0, Top = 0, Right = 0, Bottom = 0;
    // The drawing's extents in host units (y upward) that the library export leaves here for the
    // sheet export; not stored.
    int32_t HostExtentLeft = 0, HostExtentBottom = 0, HostExtentRight = 0, HostExtentTop = 0;
    uint16_t UnknownW = 0;
    int32_t DuplicateIndex = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    // Each kind of view gives its own count; the base raises.
    int HeaderRecordCount() const override;
    // 1: the two names; 2: colour, graphics and bounds; 3: pins and visible properties.
    void GetHeaderRecord(int index, int64_t& value) override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;

    // Offset of the first pin, 0 when there is none.
    int PinX() const;
    int PinY() const;
};

// A section of a package: a view with its implementation and pin display settings.
class TDboLibView : public TDboLibBaseView {
public:
    using TDboLibBaseView::TDboLibBaseView;
    DBO_CLASS_NAME(TDboLibView)

    std::string Path;
    std::string Implement;
    std::string Ref;
    std::string Value;
    uint16_t IType_PinBit = 0;

    static constexpr int kImplementationPSpiceModel = 5;

    int HeaderRecordCount() const override { return 5; }
    // 4: path, implementation, reference, value and the pin word.
    void GetHeaderRecord(int index, int64_t& value) override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    // Bit 0: pin names are shown.
    bool GetPinNamesVisible() const { return (IType_PinBit & 1) != 0; }
    void SetPinNamesVisible(bool visible);
    // Bit 1: set by the exporter, read by nobody.
    bool GetPinBit1() const { return (IType_PinBit & 2) != 0; }
    void SetPinBit1(bool set);
    // Bit 2 hides the pin numbers, so this gives its inverse.
    bool GetPinNumbersVisible() const { return (IType_PinBit & 4) == 0; }
    void SetPinNumbersVisible(bool visible);
    // Bits 3 to 5; 5 marks a view implemented by a PSpice model (name in Implement, file in Path).
    int GetImplementationType() const { return (IType_PinBit >> 3) & 7; }
    void SetImplementationType(int type);
};

class TDboLibViewList : public TDboSimpleObjectList {
public:
    explicit TDboLibViewList(TDboBaseDesign* design) : TDboSimpleObjectList(design, ClassOf<TDboLibView>()) {}
    DBO_CLASS_NAME(TDboLibViewList)
    TDboLibView* GetViews(int index) const { return As<TDboLibView>(index); }
};

// ---------------------------------------------------------------------------------------------
// Parts and part pins

// The pin number of one pin of a part, in the order of the view's pins.
class TDboLibPartPin : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(TDboLibPartPin)

    std::string PinNumber;
    uint8_t UnknownB = 127;

    void Initialize() override;
    int64_t FullObjectSize() override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;
};

// A leading byte 255 stands for an empty entry: two bytes that make no item.
class TDboLibPartPinList : public TDboSimpleObjectList {
public:
    explicit TDboLibPartPinList(TDboBaseDesign* design)
        : TDboSimpleObjectList(design, ClassOf<TDboLibPartPin>()) {}
    DBO_CLASS_NAME(TDboLibPartPinList)
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    TDboLibPartPin* GetPins(int index) const { return As<TDboLibPartPin>(index); }
};

// One part (section) of a component: its number, its package and its pin numbers.
class TDboLibPart : public TDboObject {
public:
    explicit TDboLibPart(TDboBaseDesign* design) : TDboObject(design), PartPins(design) {}
    DBO_CLASS_NAME(TDboLibPart)

    TDboLibPartPinList PartPins;
    std::string PartNumber;
    std::string PkgName;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    void GetHeaderRecord(int index, int64_t& value) override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;
};

class TDboLibPartList : public TDboSimpleObjectList {
public:
    explicit TDboLibPartList(TDboBaseDesign* design) : TDboSimpleObjectList(design, ClassOf<TDboLibPart>()) {}
    DBO_CLASS_NAME(TDboLibPartList)
    // Null for an index outside the list.
    TDboLibPart* GetParts(int index) const;
};

// ---------------------------------------------------------------------------------------------
// Packages

class TDboLibBasePackage : public TDboObject {
public:
    using TDboObject::TDboObject;
    DBO_CLASS_NAME(TDboLibBasePackage)

    std::vector<std::string> ViewNames;
    std::string Name;
    std::string LibPath;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 3; }
    // 1: name and library path; 2: the view name list. Views aren't counted.
    void GetHeaderRecord(int index, int64_t& value) override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;
};

class TDboLibPackage : public TDboLibBasePackage {
public:
    explicit TDboLibPackage(TDboBaseDesign* design) : TDboLibBasePackage(design), Views(design) {}
    DBO_CLASS_NAME(TDboLibPackage)

    TDboLibViewList Views;
    // False for a package of the cache, whose views stand in the cache's view list.
    bool HasViews = true;

    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;

    // Adds the view and its name unless a view of that name is there already; true when added.
    bool AddView(std::unique_ptr<TDboLibView> view);
    // 2 when a view's name contains ".Convert", else 1.
    int GetViewModeCount() const;
};

class TDboLibPackageList : public TDboSimpleObjectList {
public:
    explicit TDboLibPackageList(TDboBaseDesign* design)
        : TDboSimpleObjectList(design, ClassOf<TDboLibPackage>()) {}
    DBO_CLASS_NAME(TDboLibPackageList)
    // Null for an index outside the list.
    TDboLibPackage* GetPackages(int index) const;
};

// ---------------------------------------------------------------------------------------------
// Part information and components

class TDboLibPartInfo : public TDboBaseObject {
public:
    explicit TDboLibPartInfo(TDboBaseDesign* design) : TDboBaseObject(design), Parts(design) {}
    DBO_CLASS_NAME(TDboLibPartInfo)

    std::string CompName;
    TDboLibPartList Parts;
    std::string LibPath;
    std::string CompRefName;
    std::string UnknownStr;
    std::string CompFootprint;
    int32_t DuplicateIndex = 0;  // not stored

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 3; }
    // 1: name and library path; 2: reference, the unknown string, footprint and the parts.
    void GetHeaderRecord(int index, int64_t& value) override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;

    void AddPart(std::unique_ptr<TDboLibPart> part);
    // Number of distinct package names of the parts, case ignored.
    int CalcPkgCount() const;
    void SetCompName(const std::string& name) { CompName = name; }
};

// A library element: its packages and its part information. No frame and no field of its own.
class TDboLibComponent : public TDboBaseObject {
public:
    explicit TDboLibComponent(TDboBaseDesign* design);
    DBO_CLASS_NAME(TDboLibComponent)

    TDboLibPackageList Packages;
    std::unique_ptr<TDboLibPartInfo> PartInfo;

    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    // Views of the first package, 0 without a package.
    int ViewCount() const;
    int PartCount() const;
    bool IsSinglePackage() const { return Packages.Count() == 1; }
};

// ---------------------------------------------------------------------------------------------
// Directories

// An entry of the packages directory: a component's name and 22 bytes that aren't interpreted.
class TDboLibPkgDirEntry : public TDboObject {
public:
    using TDboObject::TDboObject;
    DBO_CLASS_NAME(TDboLibPkgDirEntry)

    std::string EntryName;
    std::array<uint8_t, 22> UnknownB22{};

    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

class TDboLibPkgDirEntryList : public TDboSimpleObjectList {
public:
    explicit TDboLibPkgDirEntryList(TDboBaseDesign* design)
        : TDboSimpleObjectList(design, ClassOf<TDboLibPkgDirEntry>()) {}
    DBO_CLASS_NAME(TDboLibPkgDirEntryList)

    int32_t Date = 0;

    void Initialize() override;
    // Int "Date", then the list.
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    TDboLibPkgDirEntry* GetEntries(int index) const { return As<TDboLibPkgDirEntry>(index); }
};

// The data a new symbol directory entry carries.
extern const std::array<uint8_t, 20> kSymbolDirEntryData;

class TDboLibSymbolDirEntry : public TDboStorableObject {
public:
    using TDboStorableObject::TDboStorableObject;
    DBO_CLASS_NAME(TDboLibSymbolDirEntry)

    std::string SymbolName;
    uint16_t SymbolID = 0;
    std::array<uint8_t, 20> UnknownData = kSymbolDirEntryData;

    void Initialize() override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

class TDboLibSymbolDirList : public TDboSimpleObjectList {
public:
    explicit TDboLibSymbolDirList(TDboBaseDesign* design)
        : TDboSimpleObjectList(design, ClassOf<TDboLibSymbolDirEntry>()) {}
    DBO_CLASS_NAME(TDboLibSymbolDirList)

    int32_t Date = 0;  // time of creation

    void Initialize() override;
    // Int "Date", then the list.
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    TDboLibSymbolDirEntry* GetEntries(int index) const { return As<TDboLibSymbolDirEntry>(index); }
    TDboLibSymbolDirEntry* AddEntry(const std::string& name, uint16_t id);
};

using platform::CompareTextNoCase;
using platform::SameTextNoCase;
using platform::UpperCaseAscii;

}  // namespace orcadx::dbo
