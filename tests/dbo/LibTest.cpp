// The stream "Library": layouts by version, string list, fonts and identifiers.
#include <gtest/gtest.h>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboLib.h"

using namespace orcadx;
using namespace orcadx::dbo;
using test::ByteBuilder;
using test::Bytes;

namespace {

Bytes SavedLib(uint32_t version, bool library) {
    auto d = test::DesignOfVersion(version);
    d->Lib->SetIdentifier(library ? kLibraryIdentifier : kDesignIdentifier);
    d->Lib->AddString("R1");
    return test::SaveBytes(*d->Lib);
}

// The 156 bytes of page defaults of a new record, field by field; "Unknown4" is zeroed when a
// headered file is saved.
Bytes PageDefaultBytes(bool headered) {
    return ByteBuilder()
        .Zeros(32)
        .I32(100)                       // Pin2PinSpacing
        .U16(0)                         // Unknown3
        .U16(5)                         // GridHorCnt
        .U16(4)                         // GridVertCnt
        .U16(headered ? 0 : 0x06BA)     // Unknown4
        .I32(100)                       // GridHorWidth
        .I32(100)                       // GridVertWidth
        .I32(48)                        // GridDispColor
        .I32(48)                        // GridPrintColor
        .Zeros(32)                      // UnknownB32
        .I32(1)                         // Unknown6
        .I32(0)                         // Unknown7
        .I32(1)                         // GridHorAlpha
        .I32(0)                         // Unknown8
        .I32(1)                         // GridHorAscend
        .I32(0)                         // GridVertAlpha
        .I32(0)                         // Unknown9
        .I32(0)                         // GridVertAscend
        .I32(0)                         // Units
        .I32(1).I32(1)                  // BorderDisp, BorderPrint
        .I32(1).I32(1)                  // GridRefDisp, GridRefPrint
        .I32(1).I32(1)                  // TitleBlockDisp, TitleBlockPrint
        .I32(1)                         // AnsiGridRef
        .b;
}

}  // namespace

TEST(FileVersions, SixKnownVersionsInThreeSets) {
    struct Row {
        uint32_t version;
        bool known, extended, headered;
    };
    const Row rows[] = {
        {0x00000001, true, false, false}, {0x00010001, true, false, false}, {0x00000002, true, true, false},
        {0x00010002, true, true, false},  {0x00020003, true, true, true},   {0x00030003, true, true, true},
        {0x00000000, false, false, false}, {0x00000003, false, false, false}, {0x00010003, false, false, false},
        {0x00020002, false, false, false}, {0x00030002, false, false, false}, {0x00040003, false, false, false},
        {0x00040004, false, false, false}, {0x03000300, false, false, false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.version);
        EXPECT_EQ(InVersionSet(r.version, VersionSet::Known), r.known);
        EXPECT_EQ(InVersionSet(r.version, VersionSet::Extended), r.extended);
        EXPECT_EQ(InVersionSet(r.version, VersionSet::Headered), r.headered);
        auto d = test::DesignOfVersion(r.version);
        EXPECT_EQ(IsFileVersion(*d->Lib, VersionSet::Headered), r.headered);
    }
    EXPECT_EQ(TDboBaseDesign().Version, 0x00010001u);  // a new design
}

// A new record saved in each version, written out field by field: the default fonts, the eight
// part field names and the page defaults are the constants a new file carries.
TEST(LibraryStream, NewRecordSavesItsDefaultsInEveryVersion) {
    for (auto [version, extended, headered] :
         {std::tuple{0x00000001u, false, false}, std::tuple{test::kV1_1, false, false}, std::tuple{test::kV0_2, true, false},
          std::tuple{test::kV1_2, true, false}, std::tuple{test::kV2_3, true, true}, std::tuple{test::kV3_3, true, true}}) {
        for (bool library : {false, true}) {
            SCOPED_TRACE(testing::Message() << std::hex << version << (library ? " library" : " design"));
            auto d = test::DesignOfVersion(version);
            TDboLib& lib = *d->Lib;
            lib.SetIdentifier(library ? kLibraryIdentifier : kDesignIdentifier);
            lib.Time1 = 0x5F000001;
            lib.Time2 = 0x5F000002;
            lib.UnknownInt_1 = 0x0A0B0C0D;
            lib.UnknownInt_2 = 0x11;
            lib.UnknownInt_3 = 0x22;
            lib.RootViewName = "ROOT";
            lib.AddString("R1");
            lib.AddAlias("LM358", "LM358A");

            ByteBuilder e;
            e.Raw(Bytes(library ? kLibraryIdentifier : kDesignIdentifier,
                        (library ? kLibraryIdentifier : kDesignIdentifier) + 32));
            e.I32(static_cast<int32_t>(version)).I32(0x5F000001).I32(0x5F000002).I32(0x0A0B0C0D);
            e.U16(1);  // the font list: its count is one more than its (no) fonts
            if (extended) e.U16(24);
            for (uint16_t f : {1, 1, 1, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 2, 1, 1, 1}) e.U16(f);
            e.Zeros(4);                   // the first "UnknownInt_4" of an old file, entries 17 and 18 else
            if (extended) e.Zeros(14);    // entries 19 to 23 and the first "UnknownInt_4"
            e.I32(1);                     // "UnknownInt_4"
            for (const char* field : {"1ST PART FIELD", "2ND PART FIELD", "3RD PART FIELD", "4TH PART FIELD",
                                      "5TH PART FIELD", "6TH PART FIELD", "7TH PART FIELD", "PCB Footprint"})
                e.Str(field);
            e.Raw(PageDefaultBytes(headered));
            if (headered) e.I32(2);
            else e.U16(2);
            e.Str("").Str("R1");
            e.U16(1).Str("LM358A").Str("LM358");  // the alias before the part
            if (!library) e.I32(0x11).I32(0x22).Str("ROOT");
            Bytes saved = test::SaveBytes(lib);
            EXPECT_EQ(saved, e.b);

            // Read back, the bytes give the default fonts by entry and the two trailing Ints.
            auto back = test::DesignOfVersion(0);
            auto s = test::MemStream(saved);
            back->Lib->Load(*s);
            EXPECT_EQ(s->Remaining(), 0u);
            EXPECT_EQ(back->Version, version);
            std::vector<uint16_t> fonts = {1, 1, 1, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 2, 1, 1, 1};
            if (extended) fonts.resize(24, 0);
            EXPECT_EQ(back->Lib->DefaultFonts, fonts);
            EXPECT_EQ(back->Lib->UnknownInt_4, 0);
            EXPECT_EQ(back->Lib->UnknownInt_4b, 1);
            EXPECT_EQ(back->Lib->Time1, 0x5F000001);
            EXPECT_EQ(back->Lib->Time2, 0x5F000002);
            EXPECT_EQ(back->Lib->UnknownInt_1, 0x0A0B0C0D);
            EXPECT_EQ(back->Lib->UnknownInt_2, library ? 0 : 0x11);
            EXPECT_EQ(back->Lib->UnknownInt_3, library ? 0 : 0x22);
            EXPECT_EQ(back->Lib->RootViewName, library ? "" : "ROOT");
            ASSERT_EQ(back->Lib->Aliases.Count(), 1);
            EXPECT_EQ(back->Lib->Aliases.GetAliases(0)->AliasName, "LM358A");
            EXPECT_EQ(back->Lib->Aliases.GetAliases(0)->PartName, "LM358");
            EXPECT_EQ(test::SaveBytes(*back->Lib), saved);
        }
    }
}

TEST(LibraryStream, StringList) {
    auto d = test::DesignOfVersion(test::kV2_3);
    TDboLib& lib = *d->Lib;
    EXPECT_EQ(lib.AddString("   "), 0);
    EXPECT_EQ(lib.AddString("\t\r\n"), 0);
    int a = lib.AddString("Value");
    EXPECT_EQ(lib.AddString("Value"), a);
    EXPECT_EQ(lib.AddString("VALUE"), a);  // case ignored: shares the first entry
    int padded = lib.AddString(" Value");  // the search is on the untrimmed text
    EXPECT_NE(padded, a);
    EXPECT_EQ(lib.Strings[padded], " Value");
    EXPECT_EQ(lib.Strings[0], "");
    EXPECT_EQ(lib.GetString(999), "");
    EXPECT_EQ(lib.GetIndex("nope"), -1);
    // Exact entries: the shared entry when it matches to the letter, else one of the text's own,
    // found again on later calls, also after the list is read anew.
    EXPECT_EQ(lib.AddExactString("Value"), a);
    EXPECT_EQ(lib.AddExactString("  "), 0);
    const int upper = lib.AddExactString("VALUE");
    EXPECT_NE(upper, a);
    EXPECT_EQ(lib.Strings[upper], "VALUE");
    EXPECT_EQ(lib.AddExactString("VALUE"), upper);
    EXPECT_EQ(lib.AddString("VALUE"), a);
    lib.Strings.assign({"", "x", "Y", "y"});
    lib.StringsChanged();
    EXPECT_EQ(lib.AddExactString("y"), 3);
    EXPECT_EQ(lib.AddExactString("VALUE"), 4);
}

TEST(LibraryStream, LayoutByVersion) {
    // 0x00010001: 17 default fonts, a Word string count.
    for (auto [version, extended, headered] :
         {std::tuple{test::kV1_1, false, false}, std::tuple{test::kV0_2, true, false}, std::tuple{test::kV1_2, true, false},
          std::tuple{test::kV2_3, true, true}, std::tuple{test::kV3_3, true, true}}) {
        SCOPED_TRACE(version);
        Bytes b = SavedLib(version, false);
        auto d = test::DesignOfVersion(0);
        auto s = test::MemStream(b);
        d->Lib->Load(*s);
        EXPECT_EQ(d->Version, version);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(d->Lib->DefaultFonts.size(), extended ? 24u : 17u);
        EXPECT_EQ(d->Lib->DefaultFonts[13], 2);
        EXPECT_EQ(d->Lib->UnknownInt_4b, 1);
        ASSERT_EQ(d->Lib->Strings.size(), 2u);
        EXPECT_EQ(d->Lib->Strings[1], "R1");
        EXPECT_TRUE(d->Lib->IsDesign());
        EXPECT_TRUE(d->Lib->IsValid());
        // Header (32+4+12) + font list (2): then the default-font count only when extended.
        size_t fontCountAt = 32 + 4 + 12 + 2;
        if (extended) {
            EXPECT_EQ(b[fontCountAt] | (b[fontCountAt + 1] << 8), 24);
        }
        // The string count is an Int only when headered: find it behind the 8 field names.
        size_t pos = fontCountAt + (extended ? 2 + 52 : 38) + 4;
        for (int i = 0; i < 8; ++i) pos += 3 + (b[pos] | (b[pos + 1] << 8));
        pos += 156;
        EXPECT_EQ(b[pos], 2);
        // Behind the count comes the empty string at index 0: 00 00 00.
        size_t first = pos + (headered ? 4 : 2);
        EXPECT_EQ(b[first], 0);
        EXPECT_EQ(b[first + 3], 2);  // "R1" has length 2
        EXPECT_EQ(b.size() - pos, (headered ? 4u : 2u) + 3 + 5 + 2 + 4 + 4 + 3);
        // A loaded record saves back byte for byte.
        EXPECT_EQ(test::SaveBytes(*d->Lib), b);
    }
}

TEST(LibraryStream, FontsAndDefaultFonts) {
    auto d = test::DesignOfVersion(test::kV2_3);
    TDboLib& lib = *d->Lib;
    EXPECT_EQ(lib.GetFont(-1), nullptr);
    lib.Fonts.AddFont(10, 0, false, false, false, false, "Arial");
    lib.Fonts.AddFont(12, 0, false, false, true, false, "Courier New");
    EXPECT_EQ(lib.GetFont(-1), lib.GetFont(0));
    EXPECT_EQ(lib.GetFont(2), nullptr);
    EXPECT_EQ(lib.GetDefaultFont(TDboDefFontPinName), lib.GetFont(0));
    EXPECT_EQ(lib.GetDefaultFont(13), lib.GetFont(1));
    EXPECT_EQ(lib.GetDefaultFont(-1), nullptr);
    EXPECT_EQ(lib.GetDefaultFont(24), nullptr);
    EXPECT_THROW(lib.GetDefaultFont(TDboDefFontNoConnect), Exception);  // entry 0 asks for index -1
}

TEST(LibraryStream, UnknownVersionStopsQuietly) {
    Bytes b = ByteBuilder().Raw(Bytes(kDesignIdentifier, kDesignIdentifier + 32)).I32(0x00050005).b;
    auto d = test::DesignOfVersion(0);
    d->Lib->Load(*test::MemStream(b));
    EXPECT_EQ(d->Version, 0x00050005u);
    EXPECT_FALSE(d->Lib->IsValid());
    EXPECT_TRUE(d->Lib->IsDesign());
}

TEST(LibraryStream, EveryCorpusLibraryStreamSavesBackByteEqual) {
    ORCADX_REQUIRE_CORPUS();
    int checked = 0;
    for (const auto& f : test::CorpusFiles({".dsn", ".olb", ".obk"})) {
        SCOPED_TRACE(f.string());
        std::unique_ptr<TDboIStorage> root;
        OpenRootStorage(f.string(), root);
        std::unique_ptr<TDboIStream> s;
        root->OpenStreamSafe("Library", s);
        Bytes original;
        s->ReadData("All", original, s->Size());
        auto d = test::DesignOfVersion(0);
        auto in = test::MemStream(original);
        ASSERT_NO_THROW(d->Lib->Load(*in));
        EXPECT_TRUE(d->Lib->IsValid());
        EXPECT_EQ(in->Remaining(), 0u) << "bytes left after the record";
        Bytes saved = test::SaveBytes(*d->Lib);
        size_t diff = 0;
        while (diff < saved.size() && diff < original.size() && saved[diff] == original[diff]) ++diff;
        EXPECT_TRUE(saved == original) << "first difference at offset " << diff;
        ++checked;
    }
    EXPECT_GT(checked, 20);
}

TEST(LibraryStream, ALoadedRecordSavesInAnotherVersion) {
    // Loaded from an extended file (24 default fonts), saved and read back in every version.
    for (uint32_t target : {test::kV1_1, test::kV1_2, test::kV2_3}) {
        SCOPED_TRACE(target);
        auto d = test::DesignOfVersion(0);
        d->Lib->Load(*test::MemStream(SavedLib(test::kV2_3, true)));
        d->Lib->Fonts.AddFont(10, 0, false, false, false, false, "Arial");
        d->Version = target;
        test::Bytes b = test::SaveBytes(*d->Lib);
        auto back = test::DesignOfVersion(0);
        auto s = test::MemStream(b);
        back->Lib->Load(*s);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(back->Version, target);
        EXPECT_TRUE(back->Lib->IsLibrary());
        EXPECT_EQ(back->Lib->Fonts.Count(), 1);
        EXPECT_EQ(back->Lib->Strings, d->Lib->Strings);
        EXPECT_EQ(back->Lib->DefaultFonts[13], 2);
    }
}
