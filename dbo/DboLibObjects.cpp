#include "dbo/DboLibObjects.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "dbo/AsciiWriter.h"
#include "dbo/DboBaseDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboObjects.h"

namespace orcadx::dbo {

// ---------------------------------------------------------------------------------------------
// Name comparison

namespace {

std::string DesignLibPath(const TDboBaseDesign* design) { return design ? design->LibPath() : std::string(); }

}  // namespace

// ---------------------------------------------------------------------------------------------
// TDboLibBaseView

TDboLibBaseView::TDboLibBaseView(TDboBaseDesign* design)
    : TDboBaseObject(design),
      Graphics(std::make_unique<TDboGraphicInstanceList>(design)),
      Pins(std::make_unique<TDboPinList>(design)) {}

TDboLibBaseView::~TDboLibBaseView() = default;

void TDboLibBaseView::Initialize() {
    TDboBaseObject::Initialize();
    ID = 24;
    UserPropsCount = 0;
    ViewName.clear();
    LibPathStr = DesignLibPath(Design);
    Color = 0;
    Left = Top = Right = Bottom = 0;
    UnknownW = 0;
    DuplicateIndex = 0;
}

int TDboLibBaseView::HeaderRecordCount() const {
    throw Exception(fmt::format("HeaderRecordCount() must be overridden for {}", ClassName()));
}

void TDboLibBaseView::GetHeaderRecord(int index, int64_t& value) {
    switch (index) {
        case 1:
            GetHeaderRecord(0, value);
            value += 9 + StrSize(ViewName) + StrSize(LibPathStr);
            return;
        case 2:
            GetHeaderRecord(1, value);
            value += 9 + 4 + Graphics->FullObjectSize() + 8;
            return;
        case 3:
            GetHeaderRecord(2, value);
            value += 9 + Pins->FullObjectSize() + VisiblePropsSize();
            return;
        default: TDboBaseObject::GetHeaderRecord(index, value);
    }
}

int TDboLibBaseView::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadStr("ViewName", ViewName);
    stream.ReadStr("LibPathStr", LibPathStr);
    stream.ReadWord("Color", Color);
    stream.ReadWord("UnknownW", UnknownW);
    Graphics->Load(stream);
    stream.ReadWord("Left", Left);
    stream.ReadWord("Top", Top);
    stream.ReadWord("Right", Right);
    stream.ReadWord("Bottom", Bottom);
    Pins->Load(stream);
    LoadVisibleProps(stream);
    return 0;
}

int TDboLibBaseView::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteStr("ViewName", ViewName);
    stream.WriteStr("LibPathStr", LibPathStr);
    stream.WriteWord("Color", Color);
    stream.WriteWord("UnknownW", UnknownW);
    Graphics->Save(stream);
    stream.WriteWord("Left", static_cast<uint16_t>(Left));
    stream.WriteWord("Top", static_cast<uint16_t>(Top));
    stream.WriteWord("Right", static_cast<uint16_t>(Right));
    stream.WriteWord("Bottom", static_cast<uint16_t>(Bottom));
    Pins->Save(stream);
    SaveVisibleProps(stream);
    return 0;
}

void TDboLibBaseView::WriteAscii(TAsciiWriter& writer) {
    writer.WriteLine(fmt::format("<ViewName>{}</ViewName>", ViewName));
}

int TDboLibBaseView::PinX() const {
    if (Pins->Count() == 0 || !Pins->GetItems(0)) return 0;
    return Pins->As<TDboPin>(0)->OffsetX;
}

int TDboLibBaseView::PinY() const {
    if (Pins->Count() == 0 || !Pins->GetItems(0)) return 0;
    return Pins->As<TDboPin>(0)->OffsetY;
}

// ---------------------------------------------------------------------------------------------
// TDboLibView

void TDboLibView::GetHeaderRecord(int index, int64_t& value) {
    if (index == 4) {
        GetHeaderRecord(3, value);
        value += 9 + StrSize(Path) + StrSize(Implement) + StrSize(Ref) + StrSize(Value) + 2;
        return;
    }
    TDboLibBaseView::GetHeaderRecord(index, value);
}

int TDboLibView::Load(TDboIStream& stream) {
    TDboLibBaseView::Load(stream);
    stream.ReadStr("Path", Path);
    stream.ReadStr("Implement", Implement);
    stream.ReadStr("Ref", Ref);
    stream.ReadStr("Value", Value);
    stream.ReadWord("IType_PinBit", IType_PinBit);
    return 0;
}

int TDboLibView::Save(TDboIStream& stream) {
    TDboLibBaseView::Save(stream);
    stream.WriteStr("Path", Path);
    stream.WriteStr("Implement", Implement);
    stream.WriteStr("Ref", Ref);
    stream.WriteStr("Value", Value);
    stream.WriteWord("IType_PinBit", IType_PinBit);
    return 0;
}

namespace {
uint16_t WithBit(uint16_t word, uint16_t bit, bool set) {
    return static_cast<uint16_t>(set ? (word | bit) : (word & ~bit));
}
}  // namespace

void TDboLibView::SetPinNamesVisible(bool visible) { IType_PinBit = WithBit(IType_PinBit, 1, visible); }
void TDboLibView::SetPinBit1(bool set) { IType_PinBit = WithBit(IType_PinBit, 2, set); }
void TDboLibView::SetPinNumbersVisible(bool visible) { IType_PinBit = WithBit(IType_PinBit, 4, !visible); }

void TDboLibView::SetImplementationType(int type) {
    IType_PinBit = static_cast<uint16_t>((IType_PinBit & ~0x38) | ((type & 7) << 3));
}

// ---------------------------------------------------------------------------------------------
// Part pins and parts

void TDboLibPartPin::Initialize() {
    TDboBaseObject::Initialize();
    PinNumber.clear();
    UnknownB = 127;
}

int64_t TDboLibPartPin::FullObjectSize() { return StrSize(PinNumber) + 1; }

int TDboLibPartPin::Load(TDboIStream& stream) {
    stream.ReadStr("PinNumber", PinNumber);
    stream.ReadByte("UnknownB", UnknownB);
    return 0;
}

int TDboLibPartPin::Save(TDboIStream& stream) {
    stream.WriteStr("PinNumber", PinNumber);
    stream.WriteByte("UnknownB", UnknownB);
    return 0;
}

void TDboLibPartPin::WriteAscii(TAsciiWriter& writer) {
    writer.WriteLine(fmt::format("<pin_number>{}</pin_number>", PinNumber));
}

std::unique_ptr<TDboStorableObject> TDboLibPartPinList::ConstructObject(TDboIStream& stream) {
    if (stream.LookAhead() == 255) {
        uint16_t empty;
        stream.ReadWord("UnknownW", empty);
        return nullptr;
    }
    return Make<TDboLibPartPin>(Design);
}

void TDboLibPart::Initialize() {
    TDboObject::Initialize();
    ID = 32;
}

void TDboLibPart::GetHeaderRecord(int index, int64_t& value) {
    if (index == 1) {
        GetHeaderRecord(0, value);
        value += 9 + StrSize(PartNumber) + StrSize(PkgName) + PartPins.FullObjectSize();
        return;
    }
    TDboObject::GetHeaderRecord(index, value);
}

int TDboLibPart::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadStr("PartNumber", PartNumber);
    stream.ReadStr("PkgName", PkgName);
    PartPins.Load(stream);
    return 0;
}

int TDboLibPart::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteStr("PartNumber", PartNumber);
    stream.WriteStr("PkgName", PkgName);
    PartPins.Save(stream);
    return 0;
}

void TDboLibPart::WriteAscii(TAsciiWriter& writer) {
    writer.WriteLine(fmt::format("<part_number>{}</part_number>", PartNumber));
    writer.WriteLine(fmt::format("<package_name>{}</package_name>", PkgName));
    writer.WriteLine(fmt::format("<part_pin_list count=\"{}\">", PartPins.Count()));
    writer.IncrementTab();
    PartPins.WriteAscii(writer);
    writer.DecrementTab();
    writer.WriteLine("</part_pin_list>");
}

TDboLibPart* TDboLibPartList::GetParts(int index) const {
    if (index < 0 || index >= Count()) return nullptr;
    return As<TDboLibPart>(index);
}

// ---------------------------------------------------------------------------------------------
// Packages

void TDboLibBasePackage::Initialize() {
    TDboObject::Initialize();
    ID = 6;
    LibPath = DesignLibPath(Design);
}

void TDboLibBasePackage::GetHeaderRecord(int index, int64_t& value) {
    switch (index) {
        case 1:
            GetHeaderRecord(0, value);
            value += 9 + StrSize(Name) + StrSize(LibPath);
            return;
        case 2:
            GetHeaderRecord(1, value);
            value += 9 + StrListSize(ViewNames);
            return;
        default: TDboObject::GetHeaderRecord(index, value);
    }
}

int TDboLibBasePackage::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadStr("Name", Name);
    stream.ReadStr("LibPath", LibPath);
    uint16_t count;
    stream.ReadWord("ViewNameCount", count);
    ViewNames.assign(count, std::string());
    for (auto& name : ViewNames) stream.ReadStr("ViewName", name);
    return 0;
}

int TDboLibBasePackage::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteStr("Name", Name);
    stream.WriteStr("LibPath", LibPath);
    stream.WriteWord("ViewNameCount", static_cast<uint16_t>(ViewNames.size()));
    for (const auto& name : ViewNames) stream.WriteStr("ViewName", name);
    return 0;
}

void TDboLibBasePackage::WriteAscii(TAsciiWriter& writer) {
    writer.WriteLine(fmt::format("<name>{}</name>", Name));
    writer.WriteLine(fmt::format("<lib_path>{}</lib_path>", LibPath));
    writer.WriteLine(fmt::format("<view_name_list count={}>", ViewNames.size()));
    writer.IncrementTab();
    for (size_t i = 0; i < ViewNames.size(); ++i) writer.WriteLine(fmt::format("<item i={}>{}</item>", i, ViewNames[i]));
    writer.DecrementTab();
    writer.WriteLine("</view_name_list>");
}

int TDboLibPackage::Load(TDboIStream& stream) {
    TDboLibBasePackage::Load(stream);
    if (HasViews) Views.Load(stream);
    return 0;
}

int TDboLibPackage::Save(TDboIStream& stream) {
    TDboLibBasePackage::Save(stream);
    if (HasViews) Views.Save(stream);
    return 0;
}

void TDboLibPackage::WriteAscii(TAsciiWriter& writer) {
    TDboLibBasePackage::WriteAscii(writer);
    writer.WriteLine(fmt::format("<lib_view_list count=\"{}\">", Views.Count()));
    writer.IncrementTab();
    Views.WriteAscii(writer);
    writer.DecrementTab();
    writer.WriteLine("</lib_view_list>");
}

bool TDboLibPackage::AddView(std::unique_ptr<TDboLibView> view) {
    if (!view) return false;
    for (const auto& name : ViewNames)
        if (SameTextNoCase(name, view->ViewName)) return false;
    ViewNames.push_back(view->ViewName);
    Views.Add(std::move(view));
    return true;
}

int TDboLibPackage::GetViewModeCount() const {
    for (int i = 0; i < Views.Count(); ++i) {
        const TDboLibView* view = Views.GetViews(i);
        if (view && view->ViewName.find(".Convert") != std::string::npos) return 2;
    }
    return 1;
}

TDboLibPackage* TDboLibPackageList::GetPackages(int index) const {
    if (index < 0 || index >= Count()) return nullptr;
    return As<TDboLibPackage>(index);
}

// ---------------------------------------------------------------------------------------------
// Part information and components

void TDboLibPartInfo::Initialize() {
    TDboBaseObject::Initialize();
    ID = 31;
    CompName.clear();
    LibPath = DesignLibPath(Design);
    CompRefName.clear();
    UnknownStr.clear();
    CompFootprint.clear();
    DuplicateIndex = 0;
}

void TDboLibPartInfo::GetHeaderRecord(int index, int64_t& value) {
    switch (index) {
        case 1:
            GetHeaderRecord(0, value);
            value += 9 + StrSize(CompName) + StrSize(LibPath);
            return;
        case 2:
            GetHeaderRecord(1, value);
            value += 9 + StrSize(CompRefName) + StrSize(UnknownStr) + StrSize(CompFootprint) + Parts.FullObjectSize();
            return;
        default: TDboBaseObject::GetHeaderRecord(index, value);
    }
}

int TDboLibPartInfo::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadStr("CompName", CompName);
    stream.ReadStr("LibPath", LibPath);
    stream.ReadStr("CompRefName", CompRefName);
    stream.ReadStr("UnknownStr", UnknownStr);
    stream.ReadStr("CompFootprint", CompFootprint);
    Parts.Load(stream);
    return 0;
}

int TDboLibPartInfo::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteStr("CompName", CompName);
    stream.WriteStr("LibPath", LibPath);
    stream.WriteStr("CompRefName", CompRefName);
    stream.WriteStr("UnknownStr", UnknownStr);
    stream.WriteStr("CompFootprint", CompFootprint);
    Parts.Save(stream);
    return 0;
}

void TDboLibPartInfo::WriteAscii(TAsciiWriter& writer) {
    writer.WriteLine(fmt::format("<comp_name>{}</comp_name>", CompName));
    writer.WriteLine(fmt::format("<lib_path>{}</lib_path>", LibPath));
    writer.WriteLine(fmt::format("<comp_ref_name>{}</comp_ref_name>", CompRefName));
    writer.WriteLine(fmt::format("<comp_footprint>{}</comp_footprint>", CompFootprint));
    writer.WriteLine(fmt::format("<part_list count=\"{}\">", Parts.Count()));
    Parts.WriteAscii(writer);
    writer.WriteLine("</part_list>");
    writer.WriteLine(fmt::format("<duplicate_index>{}</duplicate_index>", DuplicateIndex));
}

void TDboLibPartInfo::AddPart(std::unique_ptr<TDboLibPart> part) { Parts.Add(std::move(part)); }

int TDboLibPartInfo::CalcPkgCount() const {
    std::vector<std::string> seen;
    for (int i = 0; i < Parts.Count(); ++i) {
        const TDboLibPart* part = Parts.GetParts(i);
        if (!part) continue;
        bool known = std::any_of(seen.begin(), seen.end(),
                                 [&](const std::string& s) { return SameTextNoCase(s, part->PkgName); });
        if (!known) seen.push_back(part->PkgName);
    }
    return static_cast<int>(seen.size());
}

TDboLibComponent::TDboLibComponent(TDboBaseDesign* design)
    : TDboBaseObject(design), Packages(design), PartInfo(Make<TDboLibPartInfo>(design)) {}

int TDboLibComponent::Load(TDboIStream& stream) {
    Packages.Load(stream);
    if (!PartInfo) PartInfo = Make<TDboLibPartInfo>(Design);
    PartInfo->Load(stream);
    return 0;
}

int TDboLibComponent::Save(TDboIStream& stream) {
    if (!PartInfo) throw Exception("Component without part information can't be saved");
    Packages.Save(stream);
    PartInfo->Save(stream);
    return 0;
}

int TDboLibComponent::ViewCount() const {
    const TDboLibPackage* first = Packages.GetPackages(0);
    return first ? first->Views.Count() : 0;
}

int TDboLibComponent::PartCount() const { return PartInfo ? PartInfo->Parts.Count() : 0; }

// ---------------------------------------------------------------------------------------------
// Directories

int TDboLibPkgDirEntry::Load(TDboIStream& stream) {
    stream.ReadStr("EntryName", EntryName);
    stream.ReadData("UnknownB22", UnknownB22);
    return 0;
}

int TDboLibPkgDirEntry::Save(TDboIStream& stream) {
    stream.WriteStr("EntryName", EntryName);
    stream.WriteData("UnknownB22", UnknownB22);
    return 0;
}

void TDboLibPkgDirEntryList::Initialize() {
    TDboSimpleObjectList::Initialize();
    Date = CurrentTime();
}

int TDboLibPkgDirEntryList::Load(TDboIStream& stream) {
    stream.ReadInt("Date", Date);
    return TDboSimpleObjectList::Load(stream);
}

int TDboLibPkgDirEntryList::Save(TDboIStream& stream) {
    stream.WriteInt("Date", Date);
    return TDboSimpleObjectList::Save(stream);
}

const std::array<uint8_t, 20> kSymbolDirEntryData = {0xF0, 0x19, 0x12, 0x64, 0xAC, 0x7D, 0xC2, 0x01, 0x80, 0x42,
                                                     0xC6, 0xDD, 0xAC, 0x7D, 0xC2, 0x01, 0x01, 0x00, 0x01, 0x00};

void TDboLibSymbolDirEntry::Initialize() {
    TDboStorableObject::Initialize();
    UnknownData = kSymbolDirEntryData;
}

int TDboLibSymbolDirEntry::Load(TDboIStream& stream) {
    stream.ReadStr("SymbolName", SymbolName);
    stream.ReadWord("SymbolID", SymbolID);
    stream.ReadData("UnknownData", UnknownData);
    return 0;
}

int TDboLibSymbolDirEntry::Save(TDboIStream& stream) {
    stream.WriteStr("SymbolName", SymbolName);
    stream.WriteWord("SymbolID", SymbolID);
    stream.WriteData("UnknownData", UnknownData);
    return 0;
}

void TDboLibSymbolDirList::Initialize() {
    TDboSimpleObjectList::Initialize();
    Date = CurrentTime();
}

int TDboLibSymbolDirList::Load(TDboIStream& stream) {
    stream.ReadInt("Date", Date);
    return TDboSimpleObjectList::Load(stream);
}

int TDboLibSymbolDirList::Save(TDboIStream& stream) {
    stream.WriteInt("Date", Date);
    return TDboSimpleObjectList::Save(stream);
}

TDboLibSymbolDirEntry* TDboLibSymbolDirList::AddEntry(const std::string& name, uint16_t id) {
    auto entry = Make<TDboLibSymbolDirEntry>(Design);
    entry->SymbolName = name;
    entry->SymbolID = id;
    TDboLibSymbolDirEntry* raw = entry.get();
    Add(std::move(entry));
    return raw;
}

}  // namespace orcadx::dbo
