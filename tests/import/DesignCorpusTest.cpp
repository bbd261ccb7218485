// Every sample design through ImportDSN: every message of the log is one the rules explain, the
// project lists each page's sheet once in Capture's page order, following the sheet symbols from
// the top reaches each sheet once per occurrence of its view, and each sheet symbol names a sheet of
// the project whose ports bear its entries' names.
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <map>
#include <regex>
#include <set>

#include "ImportTestSupport.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "entry/TranslatorApi.h"
#include "export/Manage_PageNames.h"
#include "import/HostIteration.h"
#include "platform/CodePage.h"
#include "platform/TextCompare.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
namespace fs = std::filesystem;

std::string Upper(const std::string& s) { return platform::UpperCaseAscii(s); }

// The messages the import rules give on real designs, with why they are right.
struct Explanation {
    std::regex pattern;
    const char* why;
};

const std::vector<Explanation>& Explanations() {
    static const std::vector<Explanation> table = {
        {std::regex(R"(warning: Junction at \(.*\) has been removed\. It will be automatically calculated\.)"),
         "a Capture junction where the host finds the connection by itself"},
        {std::regex(R"(warning: Junction at \(.*\) has been added\.)"),
         "a locked junction, or a junction Capture draws that the host would not find"},
        {std::regex(R"(warning: Auto-Junction at \(.*\) has been added\. Please check if this is desirable\.)"),
         "the host joins wires that end on a wire where Capture shows no junction"},
        {std::regex(R"(warning: Off-Page Connector of type .* at \(.*\) is not recognised)"),
         "an off-page symbol outside the OFFPAGELEFT-L family: imported with the default style"},
        {std::regex(R"(warning: Power Port of type .* at \(.*\) was replaced with Arrow style port)"),
         "a power symbol without a host style: imported as an arrow"},
        {std::regex(R"re(error: PSpice model not found ".*")re"),
         "the model's library (.lib) is Cadence's or the vendor's and is not among the sample files"},
        {std::regex(R"(error: Simulation profile file not found - .*\.sim)"),
         "the project file lists a profile whose .sim file was not published with the design"},
        {std::regex(R"(error: Orcad Project file contains no simulation profiles - .*\.opj)"),
         "a PSpice design whose project file lists no profile"},
        {std::regex(R"(warning: Global parameter not carried over - .* = .*)"),
         "a PARAM part's value when none of the project's profiles could be read to carry it"},
    };
    return table;
}

// Messages that stand for one design only: the template pins of the sample design, and directory
// entries of packages whose streams the design no longer holds (Capture keeps the entries of
// earlier cache versions, "_0", "_1", ...), when no placed part uses that package.
bool ExplainedForDesign(const fs::path& file, const std::set<std::string>& placedPackages, const std::string& message) {
    if (file.filename() == "P1_Olteanu_Rares.dsn")
        for (const auto& e : SampleTemplatePinErrors())
            if (message == "error: " + e) return true;  // the template names pins the symbol lacks
    static const std::regex stale(R"(warning: Package (.*) was not imported: the file holds no readable stream ".*"\.)");
    std::smatch m;
    return std::regex_match(message, m, stale) && !placedPackages.count(Upper(m[1].str()));
}

std::vector<std::string> Messages(LogSection& log) {
    std::vector<std::string> out;
    for (const auto& m : log.AllMessages(kLogError)) out.push_back("error: " + m);
    for (const auto& m : log.AllMessages(kLogWarning)) out.push_back("warning: " + m);
    return out;
}

// The design as Capture holds it, read on its own: views, their pages, and the blocks that
// instantiate each view.
struct CaptureView {
    std::string name;
    std::vector<std::string> pages;           // file order
    std::vector<std::string> instantiated;    // the views its blocks stand for, once per block
};

class DesignCorpus : public ::testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(DesignCorpus, ImportsEveryPageOnceWithExplainedMessagesAndItsHierarchy) {
    if (GetParam().empty()) GTEST_SKIP() << "sample files not found at " << CorpusDir();
    const fs::path file = CorpusDir() / GetParam();
    const fs::path folder = ScratchDir("design_corpus_" + std::to_string(std::hash<std::string>()(GetParam())));
    HostApplication app(ImportHostOptions(folder));
    RegisterHost(&app);
    IProject* project = app.CreateProject((folder / (file.stem().string() + ".VsProj")).string());
    ImporterOptions options;
    LogSection log;
    uint8_t templates = 0;
    std::u16string wideFile = platform::Utf8ToUtf16(file.string()), wideFolder = platform::Utf8ToUtf16(folder.string());
    ImportDSN(wideFile.c_str(), &options, nullptr, &log, wideFolder.c_str(), project, &templates);
    RegisterHost(nullptr);

    // The design on its own: the page names in file order, then the import order (views and pages
    // in natural order).
    dbo::TDboDesign design(file.string(), nullptr, 0, nullptr);
    ASSERT_TRUE(design.Load(false));
    std::vector<CaptureView> views;
    std::set<std::string> placedPackages;
    exporter::TPageNameManager names;
    std::map<std::string, std::string> documentOfPage;  // "VIEW/PAGE" (upper case) to file name
    for (int v = 0; v < design.ViewCount(); ++v) {
        dbo::TDboSchematics* view = design.GetViews(v);
        CaptureView cv{view->ViewName, {}, {}};
        for (auto& page : view->Pages) {
            cv.pages.push_back(page->PageName);
            documentOfPage[Upper(view->ViewName + "/" + page->PageName)] = names.GetUniquePageName(view->ViewName, page->PageName);
            for (int i = 0; i < page->PartsAndBlocks->Count(); ++i) {
                if (auto* block = dynamic_cast<dbo::TDboHierarchicalBlock*>(page->PartsAndBlocks->GetItems(i)))
                    cv.instantiated.push_back(block->GetImplementation());
                if (auto* part = dynamic_cast<dbo::TDboPart*>(page->PartsAndBlocks->GetItems(i)))
                    placedPackages.insert(Upper(part->SrcPkg));
            }
        }
        views.push_back(std::move(cv));
    }
    // Every message is explained by a rule.
    std::map<std::string, int> explained;
    for (const std::string& m : Messages(log)) {
        const Explanation* found = nullptr;
        for (const auto& e : Explanations())
            if (std::regex_match(m, e.pattern)) found = &e;
        if (found) ++explained[found->why];
        else EXPECT_TRUE(ExplainedForDesign(file, placedPackages, m)) << "unexplained: " << m;
    }
    for (const auto& [why, n] : explained) std::cout << "  " << n << " x " << why << "\n";

    auto natural = [](const std::string& a, const std::string& b) { return dbo::NaturalCompare(a, b) < 0; };
    std::vector<CaptureView> ordered = views;
    std::stable_sort(ordered.begin(), ordered.end(), [&](auto& a, auto& b) { return natural(a.name, b.name); });
    std::vector<std::string> expected;
    for (auto& v : ordered) {
        auto pages = v.pages;
        std::stable_sort(pages.begin(), pages.end(), natural);
        for (auto& p : pages) expected.push_back(documentOfPage[Upper(v.name + "/" + p)]);
    }

    // The project: the library, then each page once in that order, then intermediate sheets.
    std::vector<std::string> sheets;
    std::set<std::string> pageDocuments(expected.begin(), expected.end());
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i) {
        std::string name = project->GetDocument(i)->GetFileName();
        if (name.ends_with(".SchDoc")) sheets.push_back(name);
    }
    ASSERT_GE(sheets.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(sheets.begin(), sheets.begin() + expected.size()), expected);
    for (size_t i = expected.size(); i < sheets.size(); ++i)
        EXPECT_EQ(pageDocuments.count(sheets[i]), 0u) << "page sheet listed twice: " << sheets[i];

    // Open every sheet of the project once.
    std::map<std::string, ISch_Document*, std::function<bool(const std::string&, const std::string&)>> open(
        [](const std::string& a, const std::string& b) { return platform::CompareTextNoCase(a, b) < 0; });
    for (const auto& name : sheets) {
        ISch_Document* sheet = app.SchDocumentOf(app.OpenDocumentFile((folder / name).string()));
        ASSERT_NE(sheet, nullptr) << name;
        open[name] = sheet;
    }

    // Each sheet symbol names sheets of the project; its entries are ports of the sheet it names.
    std::map<std::string, std::set<std::string>> portsOf;
    for (auto& [name, sheet] : open)
        for (auto* port : importer::CollectObjects<ISch_Port>(sheet, {ePort})) portsOf[name].insert(port->GetState_Name());
    std::map<std::string, std::vector<std::string>> targetsOf;  // sheet to the sheets its symbols name, once each
    int symbols = 0, entries = 0;
    for (auto& [name, sheet] : open) {
        for (auto* symbol : importer::CollectObjects<ISch_SheetSymbol>(sheet, {eSheetSymbol})) {
            ++symbols;
            const std::string target = symbol->GetState_SheetFileName()->GetState_Text();
            targetsOf[name].push_back(target);
            if (!open.count(target)) {
                ADD_FAILURE() << name << ": sheet symbol " << symbol->GetState_SheetName()->GetState_Text()
                              << " names " << target << ", which the import did not make";
                continue;
            }
            for (auto* entry : importer::CollectObjects<ISch_SheetEntry>(symbol, {eSheetEntry})) {
                ++entries;
                EXPECT_TRUE(portsOf[open.find(target)->first].count(entry->GetState_Name()))
                    << name << ": entry " << entry->GetState_Name() << " of " << symbol->GetState_SheetName()->GetState_Text()
                    << " has no port on " << target;
            }
        }
    }

    // Occurrences as Capture counts them: a view no block stands for is a root, with one
    // occurrence; a view has as many as the blocks for it, each counted by its own view's.
    std::map<std::string, const CaptureView*> viewByName;
    for (auto& v : views) viewByName[Upper(v.name)] = &v;
    std::map<std::string, int> occurrences;
    std::set<std::string> referenced;
    for (auto& v : views)
        for (auto& target : v.instantiated)
            if (viewByName.count(Upper(target))) referenced.insert(Upper(target));
    std::function<void(const std::string&, int)> count = [&](const std::string& view, int depth) {
        ASSERT_LT(depth, 64) << "hierarchy deeper than 64 levels at " << view;
        occurrences[view] += 1;
        for (auto& target : viewByName[view]->instantiated)
            if (viewByName.count(Upper(target))) count(Upper(target), depth + 1);
    };
    std::vector<std::string> topSheets;
    for (auto& v : views) {
        if (referenced.count(Upper(v.name))) continue;
        count(Upper(v.name), 0);
        for (auto& p : v.pages) topSheets.push_back(documentOfPage[Upper(v.name + "/" + p)]);
    }
    // The same from the sheets: from the pages of the roots, through the symbols, visiting a
    // sheet's symbols once per arrival.
    std::map<std::string, int> visits;
    std::function<void(const std::string&, int)> visit = [&](const std::string& sheet, int depth) {
        ASSERT_LT(depth, 64) << "sheet symbols loop at " << sheet;
        auto it = open.find(sheet);
        if (it == open.end()) return;
        ++visits[it->first];
        for (auto& target : targetsOf[it->first]) visit(target, depth + 1);
    };
    for (auto& top : topSheets) visit(top, 0);
    for (auto& v : views) {
        // An intermediate sheet stands between a symbol and the pages of a view of several pages,
        // so every page of the view counts the view's occurrences.
        for (auto& p : v.pages) {
            const std::string doc = documentOfPage[Upper(v.name + "/" + p)];
            EXPECT_EQ(visits[doc], occurrences[Upper(v.name)]) << doc << " of view " << v.name;
        }
    }
    if (!placedPackages.empty()) std::cout << "  placed packages such as " << *placedPackages.begin() << "\n";
    std::cout << "  " << expected.size() << " pages, " << sheets.size() - expected.size() << " intermediate sheets, "
              << symbols << " sheet symbols with " << entries << " entries\n";
}

INSTANTIATE_TEST_SUITE_P(Corpus, DesignCorpus, ::testing::ValuesIn(SampleFiles(".dsn")), SampleTestName);

}  // namespace orcadx::test
