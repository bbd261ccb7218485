// The design container: the walk of Load with its progress, Save's layout, round trips of whole
// files, and the naming rules for duplicates and long names.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboSummary.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboViewObjects.h"

using namespace orcadx;
using namespace orcadx::dbo;
namespace fs = std::filesystem;

namespace {

struct RecordingStatus : host::IHandler_Status {
    std::vector<int32_t> advances;
    std::vector<std::string> titles, lines;
    int depth = 0, maxDepth = 0;
    host::HResult SetStatusTitle(const std::string& t) override { titles.push_back(t); return host::kOk; }
    host::HResult SetStatusLine(const std::string& t) override { lines.push_back(t); return host::kOk; }
    host::HResult BeginStatus() override { maxDepth = std::max(maxDepth, ++depth); return host::kOk; }
    host::HResult EndStatus() override { --depth; return host::kOk; }
    host::HResult SetProgressRange(int32_t) override { return host::kOk; }
    host::HResult AdvanceProgress(int32_t u) override { advances.push_back(u); return host::kOk; }
    host::HResult CompleteProgress() override { return host::kOk; }
};

struct Log : host::ILogSection {
    std::vector<std::unique_ptr<Log>> children;
    std::vector<std::string> titles;
    host::HResult AddSubSection(const std::string& title, host::ILogSection** out) override {
        titles.push_back(title);
        children.push_back(std::make_unique<Log>());
        *out = children.back().get();
        return host::kOk;
    }
    host::HResult AddMessage(int32_t, const std::string&) override { return host::kOk; }
};

test::Bytes SavedBytes(TDboStorableObject& object) { return test::SaveBytes(object); }

fs::path Corpus(const std::string& rel) { return test::CorpusDir() / rel; }

}  // namespace

TEST(Design, LoadReportsFifthsOfItsShare) {
    ORCADX_REQUIRE_CORPUS();
    std::string file = Corpus("PREAMPL_SCHEM.DSN").string();
    RecordingStatus header;
    Log log;
    {
        TDboDesign d(file, &header, 100, &log);
        EXPECT_TRUE(d.Load(true));
        EXPECT_TRUE(d.IsValid());
        EXPECT_EQ(d.ViewCount(), 0);  // a header-only load reads "Library" and "Cache" only
        EXPECT_GT(d.ComponentCount(), 0);
    }
    EXPECT_EQ(header.advances, (std::vector<int32_t>{20, 80}));
    EXPECT_EQ(header.titles, (std::vector<std::string>{"Parsing Orcad Design File : " + file}));
    EXPECT_EQ(header.lines, (std::vector<std::string>{"Parsing Library Content"}));
    EXPECT_EQ(header.depth, 0);
    EXPECT_EQ(log.titles, (std::vector<std::string>{"Load Messages"}));

    RecordingStatus whole;
    TDboDesign d(file, &whole, 100, nullptr);
    EXPECT_TRUE(d.Load(false));
    EXPECT_EQ(whole.advances, (std::vector<int32_t>{20, 20, 20, 20, 20, 0}));
    EXPECT_EQ(whole.lines, (std::vector<std::string>{"Parsing Library Content", "Parsing Library Packages",
                                                     "Parsing Library Symbols", "Parsing Views and Pages",
                                                     "Building Objects"}));
    EXPECT_EQ(d.Storage, nullptr);  // the file is closed again
    // No reporter: the same load.
    TDboDesign quiet(file, nullptr, 100, nullptr);
    EXPECT_TRUE(quiet.Load(false));
    EXPECT_EQ(quiet.PageCount(), d.PageCount());
}

TEST(Design, EveryCorpusFileLoadsWhole) {
    ORCADX_REQUIRE_CORPUS();
    int designs = 0, libraries = 0;
    for (const auto& f : test::CorpusFiles({".dsn", ".olb", ".obk"})) {
        SCOPED_TRACE(f.string());
        TDboDesign d(f.string(), nullptr, 100, nullptr);
        bool ok = false;
        ASSERT_NO_THROW(ok = d.Load(false));
        EXPECT_TRUE(ok);
        EXPECT_TRUE(d.IsValid());
        if (d.Lib->IsDesign()) {
            ++designs;
            EXPECT_GT(d.PageCount(), 0);
        } else {
            ++libraries;
            EXPECT_GT(d.ComponentCount() + d.SymbolCount(), 0);
        }
    }
    EXPECT_GT(designs, 20);
    EXPECT_GT(libraries, 30);
}

TEST(Design, CacheDuplicatesGetNumberedNames) {
    ORCADX_REQUIRE_CORPUS();
    // This design uses the power symbol "0" from two libraries: the second is "0_Dup1".
    TDboDesign d(Corpus("Series-Regulator/P1_Olteanu_Rares.dsn").string(), nullptr, 0, nullptr);
    ASSERT_TRUE(d.Load(false));
    TDboLibSymbol* first = d.FindSymbol("0", nullptr);
    TDboLibSymbol* dup = d.FindSymbol("0_Dup1", nullptr);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(dup, nullptr);
    EXPECT_EQ(first->DuplicateIndex, 0);
    EXPECT_EQ(dup->DuplicateIndex, 1);
    EXPECT_NE(first->LibPathStr, dup->LibPathStr);
    std::string name = "unchanged";
    d.GetCompName(name, "0", dup->LibPathStr);
    EXPECT_EQ(name, "0_Dup1");
    name = "unchanged";
    d.GetCompName(name, "0", "no such library");
    EXPECT_EQ(name, "unchanged");
    EXPECT_EQ(d.FindSymbol("0", &dup->LibPathStr), nullptr);  // "0" itself comes from the other library
}

TEST(Design, LibrarySavedAndLoadedAgainHoldsTheSameRecords) {
    ORCADX_REQUIRE_CORPUS();
    auto dir = test::ScratchDir("design-lib-roundtrip");
    for (const char* rel : {"capsym.olb", "OpenOrCadParser_testcases/0003.OLB", "BerZerKku_ORCAD_lib/TITLE.OLB",
                            "PassiveFilter.olb", "Capture_Libraries/oldlibs/SPICE_9_0_0.OBK"}) {
        SCOPED_TRACE(rel);
        TDboDesign a(Corpus(rel).string(), nullptr, 0, nullptr);
        ASSERT_TRUE(a.Load(false));
        fs::path copy = dir / (fs::path(rel).stem().string() + ".OLB");
        a.FileName = copy.string();
        // Records with properties can't be sized for a headered file, so the copy is written in the
        // extended version that has no size headers; both sides are compared in that version.
        a.Version = test::kV1_2;
        ASSERT_NO_THROW(a.Save());
        TDboDesign b(copy.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(b.Load(false));
        EXPECT_EQ(b.Version, a.Version);
        EXPECT_EQ(b.Lib->Strings, a.Lib->Strings);
        ASSERT_EQ(b.ComponentCount(), a.ComponentCount());
        for (int i = 0; i < a.ComponentCount(); ++i)
            EXPECT_EQ(SavedBytes(*b.GetComponent(i)), SavedBytes(*a.GetComponent(i))) << "component " << i;
        ASSERT_EQ(b.SymbolCount(), a.SymbolCount());
        for (int i = 0; i < a.SymbolCount(); ++i) {
            EXPECT_EQ(b.GetSymbol(i)->ID, a.GetSymbol(i)->ID);
            EXPECT_EQ(SavedBytes(*b.GetSymbol(i)), SavedBytes(*a.GetSymbol(i))) << "symbol " << i;
        }
    }
}

TEST(Design, LongNamesOnSaving) {
    auto dir = test::ScratchDir("design-long-names");
    std::string longName(40, 'R');
    longName[0] = 'A';
    {
        TDboDesign d((dir / "long.OLB").string(), nullptr, 0, nullptr);
        d.Version = test::kV2_3;
        auto component = Make<TDboLibComponent>(&d);
        component->PartInfo->CompName = longName;
        d.AddComponent(std::move(component));
        d.Save();
        // The stream takes the first 31 characters, and so does the component's name.
        EXPECT_EQ(d.GetComponent(0)->PartInfo->CompName, longName.substr(0, 31));
    }
    TDboDesign back((dir / "long.OLB").string(), nullptr, 0, nullptr);
    ASSERT_TRUE(back.Load(false));
    ASSERT_EQ(back.ComponentCount(), 1);
    EXPECT_EQ(back.GetComponent(0)->PartInfo->CompName, longName.substr(0, 31));

    // Symbols don't pass through the unique-name rule: a long one can't be saved.
    TDboDesign s((dir / "symbols.OLB").string(), nullptr, 0, nullptr);
    auto symbol = CreateSymbol(&s, 33);
    symbol->ViewName = longName;
    s.AddSymbol(std::move(symbol));
    try {
        s.Save();
        FAIL() << "a 40-character symbol stream was written";
    } catch (const EDboFileIO&) {
        FAIL() << "the length limit is not a storage error";
    } catch (const Exception& e) {
        EXPECT_EQ(std::string(e.what()), "Can't create the Stream with Name length more than 31:\r\n" + longName);
    }
}

TEST(Design, DesignSavedInAnOlderVersionKeepsItsPages) {
    ORCADX_REQUIRE_CORPUS();
    auto dir = test::ScratchDir("design-old-version");
    for (const char* rel : {"PREAMPL_SCHEM.DSN", "kiki30501_Orcad-Projects/Lab_Dig_elec_5/LAB_DIG_ELEC_5.DSN"}) {
        SCOPED_TRACE(rel);
        fs::path src = Corpus(rel);
        if (!fs::exists(src)) continue;
        TDboDesign a(src.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(a.Load(false));
        std::map<std::string, std::vector<int>> before;
        for (int v = 0; v < a.ViewCount(); ++v)
            for (int p = 0; p < a.GetViews(v)->PageCount(); ++p) {
                PageCounts c = CountPageObjects(*a.GetViews(v)->GetPages(p));
                before[a.GetViews(v)->GetPages(p)->PageName] = {c.wires, c.buses, c.parts, c.blocks, c.ports,
                                                                c.powers, c.offPages, c.titleBlocks};
            }
        a.Version = test::kV1_2;  // extended, not headered: the page writer is complete there
        a.FileName = (dir / src.filename()).string();
        ASSERT_NO_THROW(a.Save());
        TDboDesign b(a.FileName, nullptr, 0, nullptr);
        ASSERT_TRUE(b.Load(false));
        EXPECT_EQ(b.Version, test::kV1_2);
        std::map<std::string, std::vector<int>> after;
        for (int v = 0; v < b.ViewCount(); ++v)
            for (int p = 0; p < b.GetViews(v)->PageCount(); ++p) {
                PageCounts c = CountPageObjects(*b.GetViews(v)->GetPages(p));
                after[b.GetViews(v)->GetPages(p)->PageName] = {c.wires, c.buses, c.parts, c.blocks, c.ports,
                                                               c.powers, c.offPages, c.titleBlocks};
            }
        EXPECT_EQ(after, before);
    }
}

TEST(Design, UnknownVersionIsNotValid) {
    auto dir = test::ScratchDir("design-version");
    {
        TDboDesign d((dir / "future.DSN").string(), nullptr, 0, nullptr);
        d.Version = 0x00040004;
        EXPECT_NO_THROW(d.Save());
    }
    TDboDesign back((dir / "future.DSN").string(), nullptr, 0, nullptr);
    EXPECT_FALSE(back.Load(false));
    EXPECT_FALSE(back.IsValid());
    EXPECT_EQ(back.Version, 0x00040004u);
}

TEST(Design, NaturalOrder) {
    EXPECT_LT(NaturalCompare("Page2", "page10"), 0);
    EXPECT_GT(NaturalCompare("PAGE10", "Page2"), 0);
    EXPECT_EQ(NaturalCompare("Page1", "PAGE1"), 0);
    EXPECT_LT(NaturalCompare("", "a"), 0);
    EXPECT_LT(NaturalCompare("A 1", "A 2"), 0);
    EXPECT_LT(NaturalCompare("P01_Title", "P02_Power"), 0);
    EXPECT_LT(NaturalCompare("abc", "abd"), 0);
}

TEST(Design, AFailureTellsTheStreamAndOffset) {
    ORCADX_REQUIRE_CORPUS();
    auto dir = test::ScratchDir("design-failure-place");
    // A copy of the symbol library in a version without size headers...
    std::string copy = (dir / "capsym.OLB").string();
    {
        TDboDesign a(Corpus("capsym.olb").string(), nullptr, 0, nullptr);
        ASSERT_TRUE(a.Load(false));
        a.Version = test::kV1_1;
        a.FileName = copy;
        a.Save();
    }
    // ...written again with the first drawing of the symbol "GND" given an unknown type code.
    std::string damaged = (dir / "damaged.OLB").string();
    {
        TDboDesign probe(copy, nullptr, 0, nullptr);
        ASSERT_TRUE(probe.Load(false));
        TDboLibSymbol* gnd = probe.FindSymbol("GND", nullptr);
        ASSERT_NE(gnd, nullptr);
        ASSERT_GT(gnd->Graphics->Count(), 0);
        size_t at = 1 + 2 + 4 * gnd->UserProps.Count() + StrSize(gnd->ViewName) + StrSize(gnd->LibPathStr) + 2 + 2 + 2;

        std::unique_ptr<TDboIStorage> in, out;
        OpenRootStorage(copy, in);
        CreateRootStorage(damaged, out);
        std::function<void(TDboIStorage&, TDboIStorage&, const std::string&)> clone =
            [&](TDboIStorage& from, TDboIStorage& to, const std::string& path) {
                for (const auto& e : from.Platform().List()) {
                    std::string name = UnescapeStorageName(e.name);
                    if (e.isStorage) {
                        std::unique_ptr<TDboIStorage> f, t;
                        from.OpenStorageSafe(name, f);
                        to.CreateStorageSafe(name, t);
                        clone(*f, *t, path + name + "/");
                        continue;
                    }
                    std::unique_ptr<TDboIStream> f, t;
                    from.OpenStreamSafe(name, f);
                    test::Bytes bytes;
                    f->ReadData("All", bytes, f->Size());
                    if (path + name == "Symbols/GND") bytes.at(at) = 99;
                    to.CreateStreamSafe(name, t);
                    t->WriteData("All", bytes);
                }
            };
        clone(*in, *out, "");
        out->Close();
    }
    TDboDesign d(damaged, nullptr, 0, nullptr);
    try {
        d.Load(false);
        FAIL() << "a drawing of an unknown kind was read";
    } catch (const EDboFileIO& e) {
        FAIL() << "not a storage error: " << e.what();
    } catch (const Exception& e) {
        std::string msg = e.what();
        EXPECT_NE(msg.find("Unknown object type: 99."), std::string::npos) << msg;
        EXPECT_NE(msg.find("stream \"Symbols/GND\", stream offset "), std::string::npos) << msg;
    }
    EXPECT_EQ(d.Storage, nullptr);  // closed on the way out
}

// The tree of a saved file by version: "NetBundleMapData" (an Int 2) exists only in headered files.
TEST(Design, SavedTreeByVersion) {
    auto dir = test::ScratchDir("design-tree-by-version");
    for (auto [version, headered] : {std::pair{0x00000001u, false}, std::pair{test::kV1_1, false},
                                     std::pair{test::kV0_2, false}, std::pair{test::kV1_2, false},
                                     std::pair{test::kV2_3, true}, std::pair{test::kV3_3, true}}) {
        SCOPED_TRACE(version);
        std::string file = (dir / ("v" + std::to_string(version) + ".DSN")).string();
        {
            TDboDesign d(file, nullptr, 0, nullptr);
            d.Version = version;
            d.Save();
        }
        std::unique_ptr<TDboIStorage> root;
        OpenRootStorage(file, root);
        std::set<std::string> names;
        for (const auto& e : root->Platform().List()) names.insert(e.name);
        std::set<std::string> expected = {"Library", "Cells", "Parts", "Views", "Graphics", "Packages",
                                          "ExportBlocks", "Cells Directory", "Parts Directory", "Symbols Directory",
                                          "Symbols", "Graphics Directory", "Packages Directory",
                                          "ExportBlocks Directory", "Views Directory", "Cache"};
        if (headered) expected.insert("NetBundleMapData");
        EXPECT_EQ(names, expected);
        if (headered) {
            std::unique_ptr<TDboIStream> s;
            root->OpenStreamSafe("NetBundleMapData", s);
            EXPECT_EQ(s->Size(), 4u);
            int32_t value = 0;
            s->ReadInt("NetBundleMapDataDirectory", value);
            EXPECT_EQ(value, 2);
        }
    }
}
