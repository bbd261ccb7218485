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

}  // namespace

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
}

TEST(LibraryStream, LayoutByVersion) {
    // 0x00010001: 17 default fonts, a Word string count.
    for (auto [version, extended, headered] : {std::tuple{test::kV1_1, false, false}, std::tuple{test::kV1_2, true, false},
                                               std::tuple{test::kV2_3, true, true}}) {
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
