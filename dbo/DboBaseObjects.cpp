#include "dbo/DboBaseObjects.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>

#include "dbo/AsciiWriter.h"
#include "dbo/DboBaseDesign.h"
#include "platform/CodePage.h"

namespace orcadx::dbo {

bool InVersionSet(uint32_t version, VersionSet set) {
    switch (set) {
        case VersionSet::Known:
            return version == 0x00000001 || version == 0x00010001 || version == 0x00000002 || version == 0x00010002 ||
                   version == 0x00020003 || version == 0x00030003;
        case VersionSet::Extended:
            return version == 0x00000002 || version == 0x00010002 || version == 0x00020003 || version == 0x00030003;
        case VersionSet::Headered: return version == 0x00020003 || version == 0x00030003;
    }
    return false;
}

bool IsFileVersion(const TDboStorableObject& object, VersionSet set) {
    return object.Design && InVersionSet(object.Design->Version, set);
}

int32_t CurrentTime() { return static_cast<int32_t>(std::time(nullptr)); }

int64_t StrSize(const std::string& text) {
    return static_cast<int64_t>(std::min<size_t>(platform::Utf8ToAnsi(text).size(), 0xFFFF)) + 3;
}

int64_t StrListSize(const std::vector<std::string>& list) {
    int64_t n = 2;
    for (const auto& s : list) n += StrSize(s);
    return n;
}

// ---------------------------------------------------------------------------------------------
// TDboStorableObject

TDboStorableObject::~TDboStorableObject() = default;

void TDboStorableObject::Initialize() {
    UserPropsCount = 0xFFFF;
    LeadByte = false;
    LeadByteValue = 0;
}

bool TDboStorableObject::Headered() const { return IsFileVersion(*this, VersionSet::Headered); }
bool TDboStorableObject::Extended() const { return IsFileVersion(*this, VersionSet::Extended); }

int64_t TDboStorableObject::ExtraDataSize() const {
    return Headered() ? 8 + static_cast<int64_t>(ExtraData.size()) : 0;
}

void TDboStorableObject::GetHeaderRecord(int index, int64_t& value) {
    if (HeaderKind() == 2) {
        if (index == 0) {
            value = 1 + UserPropsSize() + ExtraDataSize();
            return;
        }
        if (index == HeaderRecordCount()) {
            GetHeaderRecord(index - 1, value);
            value += 9;
            return;
        }
    }
    throw Exception(fmt::format("GetHeaderRecord() must be overridden for {}", ClassName()));
}

void TDboStorableObject::LoadUserProps(TDboIStream& stream) { stream.ReadWord("UserPropsCount", UserPropsCount); }
void TDboStorableObject::SaveUserProps(TDboIStream& stream) { stream.WriteWord("UserPropsCount", UserPropsCount); }
int64_t TDboStorableObject::UserPropsSize() { return 2; }

void TDboStorableObject::LoadExtraData(TDboIStream& stream) {
    if (!Headered()) return;
    if (!stream.TrySkipNext("ExtraDataMask", kExtraDataMask, 3)) return;
    int32_t size;
    stream.ReadInt("DataSize", size);
    if (size != 0) stream.ReadData("ExtraData", ExtraData, static_cast<uint32_t>(size));
    else ExtraData.clear();
}

void TDboStorableObject::SaveExtraData(TDboIStream& stream) {
    if (!Headered()) return;
    stream.WriteData("ExtraDataMask", kExtraDataMask, 4);
    stream.WriteInt("DataSize", static_cast<int32_t>(ExtraData.size()));
    if (!ExtraData.empty()) stream.WriteData("ExtraData", ExtraData);
}

int64_t TDboStorableObject::FullObjectSize() {
    // A record whose headers are measured is measured whole: written to a scratch stream.
    if (MeasuresHeader() && Headered()) {
        TDboIStream scratch(platform::CfbStream::CreateMemory(ClassName()));
        Save(scratch);
        EndRecord(scratch);
        return static_cast<int64_t>(scratch.Size());
    }
    int64_t v;
    GetHeaderRecord(HeaderRecordCount(), v);
    return v;
}

void TDboStorableObject::WriteAscii(TAsciiWriter&) {}

void TDboStorableObject::ComputeHeaderRecords() {
    int n = HeaderRecordCount();
    HeaderRecords.assign(std::max(n, 0), 0);
    for (int i = 0; i < n; ++i) GetHeaderRecord(i, HeaderRecords[n - 1 - i]);
    Header = HeaderRecords.empty() ? 0 : HeaderRecords[0];
}

void TDboStorableObject::CloseHeaderRecord(TDboIStream& stream, uint64_t before) {
    if (OpenHeaders.empty()) return;
    const uint64_t start = OpenHeaders.back();
    const size_t index = OpenHeaders.size() - 1;
    OpenHeaders.pop_back();
    const uint64_t end = stream.Position() - before;
    if (end < start) throw Exception(fmt::format("Size header {} of {} ends before it begins", index, ClassName()));
    const auto value = static_cast<int64_t>(end - start);
    stream.PatchInt64(index == 0 ? "Header" : "Header_", start - 8, value);
    if (index < HeaderRecords.size()) HeaderRecords[index] = value;
    if (index == 0) Header = value;
}

void TDboStorableObject::EndRecord(TDboIStream& stream) {
    while (!OpenHeaders.empty()) CloseHeaderRecord(stream);
}

void TDboStorableObject::LoadHeader(TDboIStream& stream) {
    switch (HeaderKind()) {
        case 1: LoadSimpleHeader(stream); break;
        case 2: LoadExtendedHeader(stream); break;
        default: break;
    }
}

void TDboStorableObject::SaveHeader(TDboIStream& stream) {
    switch (HeaderKind()) {
        case 1: SaveSimpleHeader(stream); break;
        case 2: SaveExtendedHeader(stream); break;
        default: break;
    }
}

void TDboStorableObject::LoadSimpleHeader(TDboIStream& stream) {
    if (LeadByte) stream.ReadByte("UnknownB", LeadByteValue);
    if (Headered()) {
        stream.ReadByte("ID", ID);
        int64_t h;
        stream.ReadInt64("Header", h);
        HeaderRecords.assign(1, h);
        Header = h;
    }
}

void TDboStorableObject::SaveSimpleHeader(TDboIStream& stream) {
    if (LeadByte) stream.WriteByte("UnknownB", LeadByteValue);
    if (!Headered()) return;
    if (MeasuresHeader()) {
        if (HeaderRecordCount() != 1) throw Exception(fmt::format("Wrong header size for {}", ClassName()));
        HeaderRecords.assign(1, 0);
        stream.WriteByte("ID", ID);
        stream.WriteInt64("Header", 0);
        OpenHeaders.assign(1, stream.Position());
        return;
    }
    ComputeHeaderRecords();
    if (HeaderRecords.size() != 1) throw Exception(fmt::format("Wrong header size for {}", ClassName()));
    stream.WriteByte("ID", ID);
    stream.WriteInt64("Header", Header);
}

void TDboStorableObject::LoadExtendedHeader(TDboIStream& stream) {
    if (!Headered()) {
        stream.ReadByte("ID", ID);
        LoadUserProps(stream);
        return;
    }
    int n = HeaderRecordCount();
    if (n < 1) {
        stream.ReadByte("ID", ID);
        stream.SkipTo(fmt::format("UserProps for {}", ID), kEndBlockMask, 7);
        return;
    }
    static constexpr std::string_view kHeaderNames[] = {"Header_0", "Header_1", "Header_2", "Header_3",
                                                        "Header_4", "Header_5", "Header_6", "Header_7"};
    HeaderRecords.assign(n, 0);
    for (int i = 0; i < n; ++i) {
        stream.ReadByte("ID", ID);
        // The field names go to the trace only; records have at most five headers.
        stream.ReadInt64(i < 8 ? kHeaderNames[i] : std::string_view("Header_"), HeaderRecords[i]);
    }
    Header = HeaderRecords[0];
    stream.ReadByte("ID", ID);
    LoadUserProps(stream);
    LoadExtraData(stream);
}

void TDboStorableObject::SaveExtendedHeader(TDboIStream& stream) {
    if (!Headered()) {
        stream.WriteByte("ID", ID);
        SaveUserProps(stream);
        return;
    }
    int n = HeaderRecordCount();
    if (n < 1) throw Exception(fmt::format("HeaderRecordCount must be defined for {}", ClassName()));
    if (MeasuresHeader()) {
        HeaderRecords.assign(n, 0);
        OpenHeaders.clear();
        for (int i = 0; i < n; ++i) {
            stream.WriteByte("ID", ID);
            stream.WriteInt64("Header_", 0);
            OpenHeaders.push_back(stream.Position());
        }
        stream.WriteByte("ID", ID);
        SaveUserProps(stream);
        SaveExtraData(stream);
        CloseHeaderRecord(stream);
        return;
    }
    ComputeHeaderRecords();
    for (int i = 0; i < n; ++i) {
        stream.WriteByte("ID", ID);
        stream.WriteInt64("Header_", HeaderRecords[i]);
    }
    stream.WriteByte("ID", ID);
    SaveUserProps(stream);
    SaveExtraData(stream);
}

// ---------------------------------------------------------------------------------------------
// TDboObject

void TDboObject::Initialize() {
    TDboStorableObject::Initialize();
    ID = 0;
    RotColMirr = 48;
}

// ---------------------------------------------------------------------------------------------
// Lists

TDboStorableList::~TDboStorableList() {
    if (!OwnsObjects)
        for (auto& item : Items) (void)item.release();
}

std::unique_ptr<TDboStorableObject> TDboStorableList::ConstructObject(TDboIStream&) { return nullptr; }

void TDboStorableList::LoadCount(TDboIStream& stream, int& count) {
    uint16_t c;
    stream.ReadWord("Count", c);
    count = c;
}

void TDboStorableList::SaveCount(TDboIStream& stream, int count) {
    // A count that the word can't hold would be written cut short, and the file couldn't be read.
    if (count < 0 || count > 0xFFFF)
        throw Exception(fmt::format("{} holds {} items, more than a list of the file can count", ClassName(), count));
    stream.WriteWord("Count", static_cast<uint16_t>(count));
}

void TDboStorableList::Add(std::unique_ptr<TDboStorableObject> item) { Items.push_back(std::move(item)); }

int TDboStorableList::Load(TDboIStream& stream) {
    stream.ReadBegin(ClassName());
    int count = 0;
    LoadCount(stream, count);
    for (int i = 0; i < count; ++i) {
        auto object = ConstructObject(stream);
        if (!object) continue;
        stream.ReadBegin(object->ClassName());
        object->Load(stream);
        stream.ReadEnd(object->ClassName());
        Add(std::move(object));
    }
    stream.ReadEnd(ClassName());
    return 0;
}

int TDboStorableList::Save(TDboIStream& stream) {
    stream.WriteBegin(ClassName());
    SaveCount(stream, Count());
    for (auto& item : Items) {
        if (!item) continue;
        stream.WriteBegin(item->ClassName());
        item->Save(stream);
        item->EndRecord(stream);
        stream.WriteEnd(item->ClassName());
    }
    stream.WriteEnd(ClassName());
    return 0;
}

int64_t TDboStorableList::FullObjectSize() {
    int64_t n = 2;
    for (auto& item : Items)
        if (item) n += item->FullObjectSize();
    return n;
}

void TDboStorableList::WriteAscii(TAsciiWriter& writer) {
    writer.IncrementTab();
    for (int i = 0; i < Count(); ++i) {
        writer.WriteLine(fmt::format("<item i=\"{}\">", i));
        writer.IncrementTab();
        if (Items[i]) Items[i]->WriteAscii(writer);
        writer.DecrementTab();
        writer.WriteLine("</item>");
    }
    writer.DecrementTab();
}

void TDboStorableList::Sort(const std::function<bool(const TDboStorableObject*, const TDboStorableObject*)>& less) {
    std::stable_sort(Items.begin(), Items.end(), [&](const auto& a, const auto& b) { return less(a.get(), b.get()); });
}

void TDboStorableList::Clear() {
    if (!OwnsObjects)
        for (auto& item : Items) (void)item.release();
    Items.clear();
}

void TDboStorableList::Pack() {
    Items.erase(std::remove(Items.begin(), Items.end(), nullptr), Items.end());
}

TDboStorableObject* TDboStorableList::GetItems(int index) const {
    if (index < 0 || index >= Count())
        throw Exception(fmt::format("List index out of bounds ({})", index));
    return Items[index].get();
}

std::unique_ptr<TDboStorableObject> TDboStorableList::SetItems(int index, std::unique_ptr<TDboStorableObject> item) {
    if (index < 0 || index >= Count())
        throw Exception(fmt::format("List index out of bounds ({})", index));
    std::swap(Items[index], item);
    return item;
}

std::unique_ptr<TDboStorableObject> TDboSimpleObjectList::ConstructObject(TDboIStream&) {
    return ItemClass->create(Design);
}

void TDboSimpleObjectList::Add(std::unique_ptr<TDboStorableObject> item) {
    if (!item) return;
    const TDboStorableObject& object = *item;
    if (typeid(object) == *ItemClass->type) Items.push_back(std::move(item));
}

// ---------------------------------------------------------------------------------------------
// Fonts

namespace {

int32_t GetI32(const uint8_t* p) {
    return static_cast<int32_t>(uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24));
}

void PutI32(uint8_t* p, int32_t v) {
    uint32_t u = static_cast<uint32_t>(v);
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(u >> (8 * i));
}

// MulDiv: a * b / c, rounded half away from zero.
int32_t MulDiv(int32_t a, int32_t b, int32_t c) {
    int64_t p = int64_t(a) * b;
    int64_t q = (std::llabs(p) + std::llabs(c) / 2) / std::llabs(c);
    return static_cast<int32_t>(((p < 0) != (c < 0)) ? -q : q);
}

}  // namespace

void LogFontA::FromBytes(const uint8_t* b) {
    lfHeight = GetI32(b);
    lfWidth = GetI32(b + 4);
    lfEscapement = GetI32(b + 8);
    lfOrientation = GetI32(b + 12);
    lfWeight = GetI32(b + 16);
    lfItalic = b[20];
    lfUnderline = b[21];
    lfStrikeOut = b[22];
    lfCharSet = b[23];
    lfOutPrecision = b[24];
    lfClipPrecision = b[25];
    lfQuality = b[26];
    lfPitchAndFamily = b[27];
    std::memcpy(lfFaceName, b + 28, 32);
}

void LogFontA::ToBytes(uint8_t* b) const {
    PutI32(b, lfHeight);
    PutI32(b + 4, lfWidth);
    PutI32(b + 8, lfEscapement);
    PutI32(b + 12, lfOrientation);
    PutI32(b + 16, lfWeight);
    b[20] = lfItalic;
    b[21] = lfUnderline;
    b[22] = lfStrikeOut;
    b[23] = lfCharSet;
    b[24] = lfOutPrecision;
    b[25] = lfClipPrecision;
    b[26] = lfQuality;
    b[27] = lfPitchAndFamily;
    std::memcpy(b + 28, lfFaceName, 32);
}

std::string LogFontA::FaceName() const {
    size_t n = strnlen(lfFaceName, sizeof lfFaceName);
    return platform::AnsiToUtf8(std::string_view(lfFaceName, n));
}

int TDboFont::Load(TDboIStream& stream) {
    uint8_t b[60];
    stream.ReadData("LogFont", b, 60);
    LogFont.FromBytes(b);
    return 0;
}

int TDboFont::Save(TDboIStream& stream) {
    uint8_t b[60];
    LogFont.ToBytes(b);
    stream.WriteData("LogFont", b, 60);
    return 0;
}

std::unique_ptr<TDboStorableObject> TDboFontList::ConstructObject(TDboIStream&) { return Make<TDboFont>(Design); }

void TDboFontList::LoadCount(TDboIStream& stream, int& count) {
    TDboStorableList::LoadCount(stream, count);
    count -= 1;
}

void TDboFontList::SaveCount(TDboIStream& stream, int count) { TDboStorableList::SaveCount(stream, count + 1); }

TDboFont* TDboFontList::AddFont(int size, int rotation, bool underline, bool italic, bool bold, bool strikeOut,
                                const std::string& faceName) {
    auto font = Make<TDboFont>(Design);
    LogFontA& f = font->LogFont;
    std::string ansi = platform::Utf8ToAnsi(faceName);
    std::memset(f.lfFaceName, 0, sizeof f.lfFaceName);
    std::memcpy(f.lfFaceName, ansi.data(), std::min<size_t>(ansi.size(), 32));
    f.lfOutPrecision = 7;
    f.lfClipPrecision = 2;
    f.lfQuality = 1;
    f.lfPitchAndFamily = 0x22;
    f.lfStrikeOut = strikeOut;
    f.lfItalic = italic;
    f.lfUnderline = underline;
    f.lfWeight = bold ? 700 : 400;
    f.lfEscapement = rotation * 10;
    f.lfOrientation = rotation;
    f.lfHeight = -MulDiv(size, kScreenDpi, 95);
    TDboFont* raw = font.get();
    Add(std::move(font));
    return raw;
}

// ---------------------------------------------------------------------------------------------
// Name and value pairs

int TDboPropNameVal::Load(TDboIStream& stream) {
    if (Headered()) {
        stream.ReadInt("NameIdx", NameIdx);
        stream.ReadInt("ValueIdx", ValueIdx);
    } else {
        uint16_t n, v;
        stream.ReadWord("NameIdx", n);
        stream.ReadWord("ValueIdx", v);
        NameIdx = n;
        ValueIdx = v;
    }
    return 0;
}

int TDboPropNameVal::Save(TDboIStream& stream) {
    if (Headered()) {
        stream.WriteInt("NameIdx", NameIdx);
        stream.WriteInt("ValueIdx", ValueIdx);
        return 0;
    }
    stream.WriteWord("NameIdx", static_cast<uint16_t>(NameIdx));
    stream.WriteWord("ValueIdx", static_cast<uint16_t>(ValueIdx));
    return 0;
}

TDboPropNameVal* TDboPropNameValList::GetPropertyByName(const std::string& name) const {
    int idx = Design->Lib->GetIndex(name);
    if (idx < 0) return nullptr;
    for (int i = 0; i < Count(); ++i) {
        auto* p = GetProperties(i);
        if (p && p->NameIdx == idx) return p;
    }
    return nullptr;
}

TDboPropNameVal* TDboPropNameValList::AddProperty(const std::string& name, const std::string& value) {
    TDboPropNameVal* p = GetPropertyByName(name);
    if (!p) {
        auto pair = Make<TDboPropNameVal>(Design);
        pair->NameIdx = Design->AddString(name);
        p = pair.get();
        Add(std::move(pair));
    }
    p->ValueIdx = Design->AddString(value);
    return p;
}

void TDboPropNameValList::RemovePropertiesByName(const std::string& name) {
    int idx = Design->Lib->GetIndex(name);
    if (idx < 0) return;
    for (auto& item : Items)
        if (item && static_cast<TDboPropNameVal*>(item.get())->NameIdx == idx) item.reset();
    Pack();
}

// ---------------------------------------------------------------------------------------------
// Part aliases

int TDboLibAlias::Load(TDboIStream& stream) {
    stream.ReadStr("AliasName", AliasName);
    stream.ReadStr("PartName", PartName);
    return 0;
}

int TDboLibAlias::Save(TDboIStream& stream) {
    stream.WriteStr("AliasName", AliasName);
    stream.WriteStr("PartName", PartName);
    return 0;
}

TDboLibAlias* TDboLibAliasList::AddAlias(const std::string& alias, const std::string& part) {
    auto a = Make<TDboLibAlias>(Design);
    a->AliasName = alias;
    a->PartName = part;
    TDboLibAlias* raw = a.get();
    Add(std::move(a));
    return raw;
}

// ---------------------------------------------------------------------------------------------
// Visible properties

void TDboVisibleProp::Initialize() {
    TDboObject::Initialize();
    ID = 39;
    DisplayFormat = 0;
}

void TDboVisibleProp::GetHeaderRecord(int index, int64_t& value) {
    if (index == 1) {
        GetHeaderRecord(0, value);
        value += 9 + (Headered() ? 4 : 2) + 8 + (Extended() ? 2 : 0);
        return;
    }
    TDboObject::GetHeaderRecord(index, value);
}

int TDboVisibleProp::Load(TDboIStream& stream) {
    LoadHeader(stream);
    if (Headered()) {
        stream.ReadInt("UserPropNameIdx", UserPropNameIdx);
    } else {
        uint16_t w;
        stream.ReadWord("UserPropNameIdx", w);
        UserPropNameIdx = w;
    }
    stream.ReadWord("LocationX", LocationX);
    stream.ReadWord("LocationY", LocationY);
    uint16_t fr;
    stream.ReadWord("FontIdAndRot", fr);
    FontID = fr & 0x3FFF;
    Rotation = static_cast<uint8_t>(fr >> 14);
    stream.ReadWord("RotColMirr", RotColMirr);
    if (Extended()) {
        uint8_t b[2];
        stream.ReadData("DisplayFormat", b, 2);
        DisplayFormat = static_cast<uint16_t>(b[0] | (b[1] << 8));
    } else {
        DisplayFormat = 1;
    }
    return 0;
}

int TDboVisibleProp::Save(TDboIStream& stream) {
    SaveHeader(stream);
    if (Headered()) stream.WriteInt("UserPropNameIdx", UserPropNameIdx);
    else stream.WriteWord("UserPropNameIdx", static_cast<uint16_t>(UserPropNameIdx));
    stream.WriteWord("LocationX", static_cast<uint16_t>(LocationX));
    stream.WriteWord("LocationY", static_cast<uint16_t>(LocationY));
    stream.WriteWord("FontIdAndRot", static_cast<uint16_t>((FontID & 0x3FFF) | ((Rotation & 3) << 14)));
    stream.WriteWord("RotColMirr", RotColMirr);
    if (Extended()) {
        uint8_t b[2] = {static_cast<uint8_t>(DisplayFormat), static_cast<uint8_t>(DisplayFormat >> 8)};
        stream.WriteData("DisplayFormat", b, 2);
    }
    return 0;
}

void TDboVisibleProp::SetRotation(int rotation) {
    Rotation = static_cast<uint8_t>(rotation & 3);
    TDboObject::SetRotation(rotation);
}

std::string TDboVisibleProp::GetName() const { return Design->GetString(UserPropNameIdx); }
std::string TDboVisibleProp::GetValue() const { return Design->GetString(ValueIdx); }

// ---------------------------------------------------------------------------------------------
// TDboBaseObject

TDboBaseObject::TDboBaseObject(TDboBaseDesign* design)
    : TDboObject(design), UserProps(design), VisibleProps(design) {}

void TDboBaseObject::LoadUserProps(TDboIStream& stream) { UserProps.Load(stream); }
void TDboBaseObject::SaveUserProps(TDboIStream& stream) { UserProps.Save(stream); }
int64_t TDboBaseObject::UserPropsSize() { return UserProps.FullObjectSize(); }

void TDboBaseObject::LoadVisibleProps(TDboIStream& stream) {
    int first = VisibleProps.Count();
    VisibleProps.Load(stream);
    for (int i = first; i < VisibleProps.Count(); ++i) {
        TDboVisibleProp* vp = VisibleProps.GetProps(i);
        vp->ValueIdx = vp->UserPropNameIdx;
        for (int k = 0; k < UserProps.Count(); ++k) {
            TDboPropNameVal* p = UserProps.GetProperties(k);
            if (p->NameIdx == vp->UserPropNameIdx) {
                vp->ValueIdx = p->ValueIdx;
                break;
            }
        }
    }
}

void TDboBaseObject::SaveVisibleProps(TDboIStream& stream) { VisibleProps.Save(stream); }
int64_t TDboBaseObject::VisiblePropsSize() { return VisibleProps.FullObjectSize(); }

TDboPropNameVal* TDboBaseObject::GetUserPropByName(const std::string& name) const {
    return UserProps.GetPropertyByName(name);
}

TDboVisibleProp* TDboBaseObject::GetVisiblePropByName(const std::string& name) const {
    int idx = Design->Lib->GetIndex(name);
    if (idx < 0) return nullptr;
    for (int i = 0; i < VisibleProps.Count(); ++i) {
        auto* vp = VisibleProps.GetProps(i);
        if (vp && vp->UserPropNameIdx == idx) return vp;
    }
    return nullptr;
}

void TDboBaseObject::GetPropertyValueByName(std::string& value, const std::string& name) const {
    // The result is empty when no property has the name, whatever the caller passed in.
    value.clear();
    for (int i = 0; i < UserProps.Count(); ++i) {
        auto* p = UserProps.GetProperties(i);
        if (Design->GetString(p->NameIdx) == name) {
            value = Design->GetString(p->ValueIdx);
            if (!value.empty()) return;
            break;
        }
    }
    for (int i = 0; i < VisibleProps.Count(); ++i) {
        auto* vp = VisibleProps.GetProps(i);
        if (vp->GetName() == name) {
            value = vp->GetValue();
            return;
        }
    }
}

TDboPropNameVal* TDboBaseObject::AddProp(const std::string& name, const std::string& value) {
    return UserProps.AddProperty(name, value);
}

TDboVisibleProp* TDboBaseObject::AddVisibleProp(const std::string& name, const std::string& value, int x, int y,
                                                int width, int height, int fontId, int rotation, int color) {
    AddProp(name, value);
    auto vp = Make<TDboVisibleProp>(Design);
    vp->UserPropNameIdx = Design->AddString(name);
    vp->ValueIdx = Design->AddString(value);
    int lx = x, ly = y;
    switch (rotation & 3) {
        case 0: ly = y - height; break;
        case 1: lx = x - width; ly = y - height; break;
        case 2: lx = x - width; break;
        default: break;
    }
    vp->LocationX = static_cast<int16_t>(lx);
    vp->LocationY = static_cast<int16_t>(ly);
    vp->FontID = static_cast<uint16_t>(fontId & 0x3FFF);
    vp->SetRotation(rotation);
    vp->SetColor(color);
    TDboVisibleProp* raw = vp.get();
    VisibleProps.Add(std::move(vp));
    return raw;
}

}  // namespace orcadx::dbo
