#include "dbo/DboLib.h"

#include <fmt/format.h>

#include <cstring>

#include "dbo/DboBaseDesign.h"
#include "platform/TextCompare.h"

namespace orcadx::dbo {

const char kDesignIdentifier[32] = "OrCAD Windows Design           ";
const char kLibraryIdentifier[32] = "OrCAD Windows Library          ";

namespace {

const char* const kPartFieldNames[8] = {"1ST PART FIELD", "2ND PART FIELD", "3RD PART FIELD", "4TH PART FIELD",
                                        "5TH PART FIELD", "6TH PART FIELD", "7TH PART FIELD", "PCB Footprint"};

const uint16_t kDefaultFontNumbers[17] = {1, 1, 1, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 2, 1, 1, 1};

void PutI32(uint8_t* p, int32_t v) {
    uint32_t u = static_cast<uint32_t>(v);
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(u >> (8 * i));
}

void PutU16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TDboBaseLib

TDboBaseLib::TDboBaseLib(TDboBaseDesign* design) : TDboStorableObject(design), Aliases(design), Fonts(design) {
    Strings.push_back("");
}

TDboFont* TDboBaseLib::GetFont(int index) const {
    if (index == -1) index = 0;
    if (index < 0 || index >= Fonts.Count()) return nullptr;
    return Fonts.GetFonts(index);
}

TDboFont* TDboBaseLib::GetDefaultFont(int which) const {
    if (which < 0 || which >= static_cast<int>(DefaultFonts.size())) return nullptr;
    return Fonts.GetFonts(static_cast<int>(DefaultFonts[which]) - 1);
}

void TDboBaseLib::GetString(std::string& text, int index) const {
    if (index < 0 || index >= static_cast<int>(Strings.size())) {
        text.clear();
        return;
    }
    text = Strings[index];
}

int TDboBaseLib::GetIndex(const std::string& text) const {
    if (Strings.size() < indexedStrings_) StringsChanged();
    auto nameOf = [&](uint32_t i) { return i < Strings.size() ? std::string_view(Strings[i]) : std::string_view(); };
    // Entries appended since the last search join the index; the first of a text keeps its place.
    for (; indexedStrings_ < Strings.size(); ++indexedStrings_)
        stringIndex_.Add(static_cast<uint32_t>(indexedStrings_), nameOf);
    return static_cast<int>(stringIndex_.Find(text, nameOf));
}

void TDboBaseLib::StringsChanged() const {
    stringIndex_.Clear();
    indexedStrings_ = 0;
    exactIndex_.Clear();
    exactIndexed_ = 0;
}

int TDboBaseLib::AddString(const std::string& text) {
    size_t b = 0, e = text.size();
    while (b < e && static_cast<unsigned char>(text[b]) <= 0x20) ++b;
    while (e > b && static_cast<unsigned char>(text[e - 1]) <= 0x20) --e;
    if (b == e) return 0;
    int idx = GetIndex(text);
    if (idx >= 0) return idx;
    Strings.push_back(text);
    return static_cast<int>(Strings.size()) - 1;
}

int TDboBaseLib::AddExactString(const std::string& text) {
    const int found = AddString(text);
    if (found == 0 || GetString(found) == text) return found;
    // Another entry that differs only in case took the look-up; the text needs its own.
    if (Strings.size() < exactIndexed_) StringsChanged();
    auto nameOf = [&](uint32_t i) { return i < Strings.size() ? std::string_view(Strings[i]) : std::string_view(); };
    for (; exactIndexed_ < Strings.size(); ++exactIndexed_) exactIndex_.Add(static_cast<uint32_t>(exactIndexed_), nameOf);
    const int64_t exact = exactIndex_.Find(text, nameOf);
    if (exact >= 0) return static_cast<int>(exact);
    Strings.push_back(text);
    return static_cast<int>(Strings.size()) - 1;
}

TDboLibAlias* TDboBaseLib::AddAlias(const std::string& part, const std::string& alias) {
    return Aliases.AddAlias(alias, part);
}

// ---------------------------------------------------------------------------------------------
// TDboLib

void TDboLib::Initialize() {
    TDboBaseLib::Initialize();
    Time1 = Time2 = CurrentTime();
    RootViewName.clear();
    UnknownInt_1 = UnknownInt_2 = UnknownInt_3 = 0;
    FontDefaults14.fill(0);
    FontDefaults38.fill(0);
    for (int i = 0; i < 17; ++i) PutU16(FontDefaults38.data() + 2 * i, kDefaultFontNumbers[i]);
    DefaultFonts.assign(kDefaultFontNumbers, kDefaultFontNumbers + 17);
    DefaultFonts.resize(TDboDefFontCount, 0);
    DefFontCount = 24;
    UnknownInt_4 = 1;
    UnknownInt_4b = 0;
    PageDefaults.fill(0);
    uint8_t* p = PageDefaults.data();
    PutI32(p + 32, 100);   // Pin2PinSpacing
    PutU16(p + 38, 5);     // GridHorCnt
    PutU16(p + 40, 4);     // GridVertCnt
    PutU16(p + 42, 0x06BA);
    PutI32(p + 44, 100);   // GridHorWidth
    PutI32(p + 48, 100);   // GridVertWidth
    PutI32(p + 52, 48);    // GridDispColor
    PutI32(p + 56, 48);    // GridPrintColor
    PutI32(p + 92, 1);     // Unknown6
    PutI32(p + 100, 1);    // GridHorAlpha
    PutI32(p + 108, 1);    // GridHorAscend
    for (int off = 128; off <= 152; off += 4) PutI32(p + off, 1);  // borders, grid refs, title block, ANSI grid
    KeepLoadedLayout = false;
    PartFieldNames.clear();
}

void TDboLib::SetIdentifier(const char (&identifier)[32]) { std::memcpy(Identifier.data(), identifier, 32); }

std::string TDboLib::IdentifierText() const { return std::string(Identifier.data(), strnlen(Identifier.data(), 32)); }

bool TDboLib::IsDesign() const { return std::memcmp(Identifier.data(), kDesignIdentifier, 32) == 0; }
bool TDboLib::IsLibrary() const { return std::memcmp(Identifier.data(), kLibraryIdentifier, 32) == 0; }
bool TDboLib::IsValid() const {
    return (IsDesign() || IsLibrary()) && InVersionSet(Design->Version, VersionSet::Known);
}

int TDboLib::Load(TDboIStream& stream) {
    stream.ReadData("Identifier", Identifier.data(), 32);
    uint32_t version;
    stream.ReadInt("OrcadVersion", version);
    Design->Version = version;
    if (!InVersionSet(version, VersionSet::Known)) return 0;
    stream.ReadInt("Time1", Time1);
    stream.ReadInt("Time2", Time2);
    stream.ReadInt("UnknownInt_1", UnknownInt_1);
    Fonts.Load(stream);
    int count = 17;
    if (Extended()) {
        stream.ReadWord("DefFontCount", DefFontCount);
        count = DefFontCount;
    }
    DefaultFonts.assign(count, 0);
    for (int i = 0; i < count; ++i) stream.ReadWord(fmt::format("DefFont[{}]", i), DefaultFonts[i]);
    stream.ReadInt("UnknownInt_4", UnknownInt_4);
    stream.ReadInt("UnknownInt_4", UnknownInt_4b);
    // The default-font words and the first Int together are the 38 (and 14) bytes a save writes.
    std::vector<uint8_t> fontBytes(count * 2 + 4);
    for (int i = 0; i < count; ++i) PutU16(fontBytes.data() + 2 * i, DefaultFonts[i]);
    PutI32(fontBytes.data() + count * 2, UnknownInt_4);
    if (fontBytes.size() >= 38) std::memcpy(FontDefaults38.data(), fontBytes.data(), 38);
    if (fontBytes.size() >= 52) std::memcpy(FontDefaults14.data(), fontBytes.data() + 38, 14);
    PartFieldNames.assign(8, "");
    for (auto& s : PartFieldNames) stream.ReadStr("Str", s);
    stream.ReadData("UnknownB156", PageDefaults.data(), 156);
    int32_t strCount;
    if (Headered()) {
        stream.ReadInt("StrlistCount", strCount);
    } else {
        uint16_t w;
        stream.ReadWord("StrlistCount", w);
        strCount = w;
    }
    Strings.clear();
    StringsChanged();
    for (int32_t i = 0; i < strCount; ++i) {
        std::string s;
        stream.ReadStr("StrList", s);
        Strings.push_back(std::move(s));
    }
    KeepLoadedLayout = true;
    if (!IsValid()) return 0;
    Aliases.Load(stream);
    if (!IsLibrary()) {
        stream.ReadInt("UnknownInt_2", UnknownInt_2);
        stream.ReadInt("UnknownInt_3", UnknownInt_3);
        stream.ReadStr("RootViewName", RootViewName);
    }
    return 0;
}

int TDboLib::Save(TDboIStream& stream) {
    stream.WriteData("Identifier", Identifier.data(), 32);
    stream.WriteInt("OrcadVersion", static_cast<int32_t>(Design->Version));
    stream.WriteInt("Time1", Time1);
    stream.WriteInt("Time2", Time2);
    stream.WriteInt("UnknownInt_1", UnknownInt_1);
    Fonts.Save(stream);
    if (KeepLoadedLayout) {
        // A file that isn't extended has no count: its reader takes exactly 17 entries.
        std::vector<uint16_t> fonts = DefaultFonts;
        if (Extended()) stream.WriteWord("UnknownW", static_cast<uint16_t>(fonts.size()));
        else fonts.resize(17, 0);
        for (uint16_t f : fonts) stream.WriteWord("DefFont", f);
        stream.WriteInt("UnknownInt_4", UnknownInt_4);
        stream.WriteInt("UnknownInt_4", UnknownInt_4b);
    } else {
        if (Extended()) stream.WriteWord("UnknownW", DefFontCount);
        stream.WriteData("UnknownB38", FontDefaults38.data(), 38);
        if (Extended()) stream.WriteData("UnknownB14", FontDefaults14.data(), 14);
        stream.WriteInt("UnknownInt_4", UnknownInt_4);
    }
    for (int i = 0; i < 8; ++i)
        stream.WriteStr("Str", KeepLoadedLayout && PartFieldNames.size() == 8 ? PartFieldNames[i]
                                                                              : std::string(kPartFieldNames[i]));
    std::array<uint8_t, 156> page = PageDefaults;
    if (Headered() && !KeepLoadedLayout) page[42] = page[43] = 0;
    stream.WriteData("UnknownB156", page.data(), 156);
    if (Headered()) {
        stream.WriteInt("StrlistCount", static_cast<int32_t>(Strings.size()));
    } else {
        if (Strings.size() > 0xFFFF)
            throw Exception(fmt::format("The string list holds {} strings, more than a file of version {:08X} can count",
                                        Strings.size(), Design ? Design->Version : 0));
        stream.WriteWord("StrlistCount", static_cast<uint16_t>(Strings.size()));
    }
    for (const auto& s : Strings) stream.WriteStr("StrList", s);
    Aliases.Save(stream);
    if (!IsLibrary()) {
        stream.WriteInt("UnknownInt_2", UnknownInt_2);
        stream.WriteInt("UnknownInt_3", UnknownInt_3);
        stream.WriteStr("RootViewName", RootViewName);
    }
    return 0;
}

}  // namespace orcadx::dbo
