// Document names of pages and the section map: the rules on made-up names with every trap, and
// the names of every page of the sample designs.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboViewObjects.h"
#include "export/Manage_PageNames.h"
#include "export/StringMap.h"
#include "platform/TextCompare.h"

using namespace orcadx;
using exporter::MakeBaseName;
using exporter::TPageNameManager;

namespace {

// Number of characters of UTF-8 text.
size_t CharCount(const std::string& text) {
    size_t n = 0;
    for (char c : text) n += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    return n;
}

// What every name handed out must satisfy: ".SchDoc" behind a base of at most 23 characters plus
// digits, none of the forbidden characters, and no two names equal without case.
void CheckNames(const std::vector<std::string>& names) {
    std::set<std::string> folded;
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        ASSERT_GE(name.size(), 7u);
        EXPECT_EQ(name.substr(name.size() - 7), ".SchDoc");
        std::string base = name.substr(0, name.size() - 7);
        EXPECT_EQ(base.find_first_of("\"*/:;<=>?\\|"), std::string::npos);
        size_t digits = 0;
        while (digits < base.size() && std::isdigit(static_cast<unsigned char>(base[base.size() - 1 - digits]))) ++digits;
        EXPECT_LE(CharCount(base) - digits, exporter::kPageNameMaxChars);
        EXPECT_TRUE(folded.insert(platform::UpperCaseAscii(name)).second) << "taken twice";
    }
}

}  // namespace

TEST(PageNames, BaseNamesAreFileSafeAndShort) {
    EXPECT_EQ(MakeBaseName("A:B/C.txt"), "A_B_C");
    EXPECT_EQ(MakeBaseName("x\"*/:;<=>?\\|y"), "x___________y");
    // The extension goes, unless a "\" or ":" follows the last dot.
    EXPECT_EQ(MakeBaseName("Page.1.2"), "Page.1");
    EXPECT_EQ(MakeBaseName("v1.0\\PAGE"), "v1.0_PAGE");
    EXPECT_EQ(MakeBaseName("a.b:c"), "a.b_c");
    EXPECT_EQ(MakeBaseName(".hidden"), "");
    // 23 characters at most; a character of several bytes is one character and stays whole.
    EXPECT_EQ(MakeBaseName("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123"), "ABCDEFGHIJKLMNOPQRSTUVW");
    EXPECT_EQ(MakeBaseName("ÄÖÜäöüßÄÖÜäöüßÄÖÜäöüßÄÖÜäöüß"), "ÄÖÜäöüßÄÖÜäöüßÄÖÜäöüßÄÖ");
    EXPECT_EQ(MakeBaseName("Übersicht – Netzteil"), "Übersicht – Netzteil");
}

TEST(PageNames, UniqueNamesKeepTheirPairAndAvoidEachOther) {
    TPageNameManager m;
    // The same page name in two views, once differing in case only: numbered behind.
    EXPECT_EQ(m.GetUniquePageName("SCHEMATIC1", "Sheet1.SchDoc"), "Sheet1.SchDoc");
    EXPECT_EQ(m.GetUniquePageName("SCHEMATIC2", "SHEET1.SCHDOC"), "SHEET11.SchDoc");
    EXPECT_EQ(m.GetUniquePageName("SCHEMATIC3", "Sheet1"), "Sheet12.SchDoc");
    // The same pair, in any case, gives the same answer and takes no second name.
    EXPECT_EQ(m.GetUniquePageName("schematic2", "sheet1.schdoc"), "SHEET11.SchDoc");
    EXPECT_EQ(m.Mappings.Count(), 3);
    // A name made by numbering is taken: the page really called so gets a number of its own.
    EXPECT_EQ(m.GetUniquePageName("SCHEMATIC1", "SHEET11"), "SHEET111.SchDoc");
    // Forbidden characters that become equal.
    EXPECT_EQ(m.GetUniquePageName("V", "a/b"), "a_b.SchDoc");
    EXPECT_EQ(m.GetUniquePageName("V", "a:b"), "a_b1.SchDoc");
    EXPECT_EQ(m.GetUniquePageName("V", "A?B"), "A_B2.SchDoc");
    // Long names agreeing in their first 23 characters: the number comes on top of the 23.
    EXPECT_EQ(m.GetUniquePageName("V", "Power supply and regulators 1"), "Power supply and regula.SchDoc");
    EXPECT_EQ(m.GetUniquePageName("V", "Power supply and regulators 2"), "Power supply and regula1.SchDoc");
    // An empty page name gets a name but no mapping, so each call gives a new one.
    EXPECT_EQ(m.GetUniquePageName("V", ""), ".SchDoc");
    EXPECT_EQ(m.GetUniquePageName("V", ""), "1.SchDoc");
    EXPECT_TRUE(m.IsUsed("a_B"));
    EXPECT_FALSE(m.IsUsed("a_b3"));

    // The pages of a view, in order, by their names; a view without pages gives nothing.
    EXPECT_EQ(m.GetViewContents("v"), "a_b.SchDoc;a_b1.SchDoc;A_B2.SchDoc;Power supply and regula.SchDoc;"
                                      "Power supply and regula1.SchDoc");
    EXPECT_EQ(m.GetViewContents("SCHEMATIC1"), "Sheet1.SchDoc;SHEET111.SchDoc");
    EXPECT_EQ(m.GetViewContents("NONE"), "");
    std::vector<std::string> all;
    for (int i = 0; i < m.Mappings.Count(); ++i) all.push_back(m.Mappings.Get(i).UniqueName);
    CheckNames(all);
}

TEST(PageNames, MappingsAreKeptOncePerPair) {
    exporter::TViewMapList list;
    list.AddMapping("V", "", "X.SchDoc");  // no page name: nothing
    EXPECT_EQ(list.Count(), 0);
    list.AddMapping("V", "P", "P.SchDoc");
    list.AddMapping("v", "p", "Q.SchDoc");  // the pair has a name already
    EXPECT_EQ(list.Count(), 1);
    EXPECT_EQ(list.GetMapping("V", "p"), "P.SchDoc");
    // View and page are two names, not one text: "V"+"P" is not "VP"+"".
    EXPECT_EQ(list.GetMapping("VP", ""), "");
    EXPECT_EQ(list.GetMapping("", "VP"), "");
    list.AddMapping("", "VP", "VP.SchDoc");
    EXPECT_EQ(list.GetMapping("", "VP"), "VP.SchDoc");
    EXPECT_EQ(list.GetMapping("V", "P"), "P.SchDoc");
}

TEST(StringMap, SectionsHoldValuesWithObjects) {
    exporter::TStringMap map;
    int a = 1, b = 2;
    map.AddStringObject("SCHEMATIC1", "PAGE1", &a);
    map.AddString("Schematic1", "PAGE2");
    map.AddStringObject("SCHEMATIC2", "PAGE1", &b);
    EXPECT_EQ(map.Count(), 2);
    EXPECT_EQ(map.GetSectionCount("schematic1"), 2);
    EXPECT_EQ(map.GetSectionCount("SCHEMATIC3"), 0);
    EXPECT_EQ(map.GetSections("SCHEMATIC3"), nullptr);
    exporter::TStringList* one = map.GetSections("SCHEMATIC1");
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->Strings(1), "PAGE2");
    EXPECT_EQ(one->ObjectAs<int>(0), &a);
    EXPECT_EQ(one->Objects(1), nullptr);
    EXPECT_EQ(one->IndexOf("page2"), 1);
    EXPECT_EQ(map.GetSections("SCHEMATIC2")->ObjectAs<int>(0), &b);
    EXPECT_EQ(map.SectionName(0), "SCHEMATIC1");  // the first spelling names the section
}

// Every page of every sample design, named in file order as the design import names them.
TEST(PageNamesCorpus, EveryPageGetsOneSafeName) {
    ORCADX_REQUIRE_CORPUS();
    int pages = 0, renamed = 0;
    for (const auto& file : test::CorpusFiles({".dsn"})) {
        SCOPED_TRACE(file.string());
        dbo::TDboDesign design(file.string(), nullptr, 100, nullptr);
        ASSERT_TRUE(design.Load(false));
        TPageNameManager m;
        std::vector<std::string> names;
        for (int v = 0; v < design.ViewCount(); ++v) {
            dbo::TDboSchematics* view = design.GetViews(v);
            for (auto& page : view->Pages) {
                std::string name = m.GetUniquePageName(view->ViewName, page->PageName);
                EXPECT_EQ(m.GetUniquePageName(view->ViewName, page->PageName), name);
                renamed += name != page->PageName + ".SchDoc";
                names.push_back(name);
                ++pages;
            }
        }
        CheckNames(names);
        // Every view lists exactly its pages.
        size_t listed = 0;
        for (int v = 0; v < design.ViewCount(); ++v) {
            std::string contents = m.GetViewContents(design.GetViews(v)->ViewName);
            if (!contents.empty()) listed += 1 + std::count(contents.begin(), contents.end(), ';');
        }
        EXPECT_EQ(listed, names.size());
    }
    std::cout << "[ names    ] " << pages << " pages, " << renamed << " renamed\n";
    EXPECT_GT(pages, 150);
    EXPECT_GT(renamed, 0);
}
