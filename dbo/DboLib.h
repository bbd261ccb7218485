// The stream "Library" that opens every Capture file: what the file is, its version, and the
// tables that all other records index (fonts, default fonts, strings, part aliases).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "dbo/DboBaseObjects.h"
#include "platform/NameIndex.h"

namespace orcadx::dbo {

enum TDboDefFont : int {
    TDboDefFontPinName = 0,
    TDboDefFontPinNumber,
    TDboDefFontPartReference,
    TDboDefFontNoConnect,
    TDboDefFontERC,
    TDboDefFontBookMark,
    TDboDefFontPower,
    TDboDefFontOffPageConnector,
    TDboDefFontPort,
    TDboDefFontPartValue,
    TDboDefFontProperty,
    TDboDefFontDrawnInstName,
    TDboDefFontAlias,
    TDboDefFontComment,
    TDboDefFontTitleBlock,
    TDboDefFontBorder,
    TDboDefFontNetName,
    TDboDefFontStimulusSymbol,
    TDboDefFontPSpiceSourceSymbol,
    TDboDefFontPSpiceSimulationDirectiveSymbol,
    TDboDefFontPSpiceABMSymbol,
    TDboDefFontParameter,
    TDboDefFontOptimizer,
    TDboDefFontGraphicObject,
    TDboDefFontCount
};

class TDboBaseLib : public TDboStorableObject {
public:
    explicit TDboBaseLib(TDboBaseDesign* design);
    DBO_CLASS_NAME(TDboBaseLib)

    std::vector<uint16_t> DefaultFonts;
    TDboLibAliasList Aliases;
    TDboFontList Fonts;
    // Grows by appending (AddString); a change of another kind must be followed by
    // StringsChanged, since GetIndex keeps an index of the entries.
    std::vector<std::string> Strings;

    int Load(TDboIStream&) override { return 0; }
    int Save(TDboIStream&) override { return 0; }

    virtual TDboFont* GetFont(int index) const;
    virtual TDboFont* GetDefaultFont(int which) const;
    virtual void GetString(std::string& text, int index) const;
    // The first entry equal to `text`, case ignored; -1 if none. Through a hash index that takes in
    // the entries appended since the last call.
    virtual int GetIndex(const std::string& text) const;
    // Drops the indexes of Strings, after a change other than appending.
    void StringsChanged() const;
    std::string GetString(int index) const {
        std::string s;
        GetString(s, index);
        return s;
    }
    int AddString(const std::string& text);
    // The index of an entry that reads exactly `text`, case and all: the entry AddString finds when
    // it matches to the letter, else the first entry equal to it, else a new one; blank text gives
    // 0. For texts moved between records, which a look-up that ignores case would change ("1M"
    // stored after "1m" would read back as "1m").
    int AddExactString(const std::string& text);
    TDboLibAlias* AddAlias(const std::string& part, const std::string& alias);

private:
    mutable platform::NameIndex<true> stringIndex_;
    mutable size_t indexedStrings_ = 0;  // entries of Strings in the index
    mutable platform::NameIndex<false> exactIndex_;  // the same, case kept
    mutable size_t exactIndexed_ = 0;
};

extern const char kDesignIdentifier[32];
extern const char kLibraryIdentifier[32];

class TDboLib : public TDboBaseLib {
public:
    using TDboBaseLib::TDboBaseLib;
    DBO_CLASS_NAME(TDboLib)

    std::array<char, 32> Identifier{};
    int32_t Time1 = 0, Time2 = 0;
    std::string RootViewName;
    int32_t UnknownInt_1 = 0, UnknownInt_2 = 0, UnknownInt_3 = 0;
    std::array<uint8_t, 14> FontDefaults14{};
    std::array<uint8_t, 38> FontDefaults38{};
    std::array<uint8_t, 156> PageDefaults{};
    uint16_t DefFontCount = 24;
    int32_t UnknownInt_4 = 1, UnknownInt_4b = 0;

    // After a load: Save writes back the default fonts, the eight field names and the page
    // defaults that were read, so that a loaded record saves byte for byte as it was read.
    bool KeepLoadedLayout = false;
    std::vector<std::string> PartFieldNames;

    void Initialize() override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    void SetIdentifier(const char (&identifier)[32]);
    std::string IdentifierText() const;  // up to the first zero byte
    bool IsDesign() const;
    bool IsLibrary() const;
    bool IsValid() const;
};

}  // namespace orcadx::dbo
