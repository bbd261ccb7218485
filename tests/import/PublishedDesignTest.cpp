// BEAGLEBONEBLK_C3.DSN against the schematic as Capture printed it (BBB_SCH.pdf): on every page, the
// designators, part values and net-label names that the printed page shows stand, visible, on the
// imported sheet of that page.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>

#include "ImportTestSupport.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "entry/TranslatorApi.h"
#include "import/HostIteration.h"
#include "import/ProcessHierarchy.h"
#include "platform/CodePage.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
namespace fs = std::filesystem;

const fs::path kReference = fs::path(ORCADX_CORPUS_DIR).parent_path() / "reference" / "BBB_SCH.pdf";

// The words pdftotext finds on one page of the PDF.
std::set<std::string> PrintedWords(int page) {
    std::set<std::string> words;
    const std::string command = "pdftotext -q -f " + std::to_string(page) + " -l " + std::to_string(page) + " '" +
                                kReference.string() + "' -";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    if (!pipe) return words;
    std::string text;
    std::array<char, 4096> buffer{};
    for (size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0;) text.append(buffer.data(), n);
    std::istringstream in(text);
    for (std::string w; in >> w;) words.insert(w);
    return words;
}

// A text shows on the printed page when each of its words does.
bool Printed(const std::string& text, const std::set<std::string>& words) {
    std::istringstream in(text);
    bool any = false;
    for (std::string w; in >> w; any = true)
        if (!words.count(w)) return false;
    return any;
}

// What a Capture page names: its parts' designators and values, its wires' net labels.
struct Named {
    std::set<std::string> designators, values, netLabels;
};

Named NamesOfPage(dbo::TDboPage& page) {
    Named n;
    for (int i = 0; i < page.PartsAndBlocks->Count(); ++i)
        if (auto* part = dynamic_cast<dbo::TDboPart*>(page.PartsAndBlocks->GetItems(i))) {
            n.designators.insert(part->GetDesignator());
            if (!part->GetValue().empty()) n.values.insert(part->GetValue());
        }
    for (int i = 0; i < page.WiresAndBuses->Count(); ++i) {
        dbo::TDboWireBus* wire = page.WiresAndBuses->GetItems(i);
        for (int a = 0; a < wire->Aliases.Count(); ++a) n.netLabels.insert(wire->GetAliases(a)->Name);
    }
    return n;
}

// The same of a sheet, visible only.
Named NamesOfSheet(ISch_Document* sheet) {
    Named n;
    for (auto* c : importer::CollectObjects<ISch_Component>(sheet, {eSchComponent})) {
        if (!c->GetState_SchDesignator()->GetState_IsHidden()) n.designators.insert(c->GetState_SchDesignator()->GetState_Text());
        for (auto* p : importer::CollectObjects<ISch_Parameter>(c, {eParameter}))
            if (!p->GetState_IsHidden()) n.values.insert(p->GetState_DisplayString());
        ISch_Parameter* comment = c->GetState_SchComment();
        if (comment && !comment->GetState_IsHidden()) n.values.insert(comment->GetState_DisplayString());
    }
    for (auto* label : importer::CollectObjects<ISch_NetLabel>(sheet, {eNetLabel})) n.netLabels.insert(label->GetState_Text());
    return n;
}

}  // namespace

TEST(PublishedDesign, TheBeagleBoneBlackShowsWhatItsPrintedSchematicShows) {
    ORCADX_REQUIRE_CORPUS();
    ASSERT_TRUE(fs::exists(kReference)) << kReference;
    ASSERT_EQ(std::system("pdftotext -v > /dev/null 2>&1"), 0) << "pdftotext (poppler-utils) is needed";
    const fs::path file = CorpusDir() / "BEAGLEBONEBLK_C3.DSN";
    const fs::path folder = ScratchDir("published_bbb");
    HostApplication app(ImportHostOptions(folder));
    RegisterHost(&app);
    IProject* project = app.CreateProject((folder / "BBB.VsProj").string());
    ImporterOptions options;
    LogSection log;
    std::u16string wideFile = platform::Utf8ToUtf16(file.string()), wideFolder = platform::Utf8ToUtf16(folder.string());
    ImportDSN(wideFile.c_str(), &options, nullptr, &log, wideFolder.c_str(), project, nullptr);
    RegisterHost(nullptr);

    // The design's pages in the order of the import, which is the printed order.
    dbo::TDboDesign design(file.string(), nullptr, 0, nullptr);
    ASSERT_TRUE(design.Load(false));
    importer::TProcessHierarchy().Run(design);
    ASSERT_EQ(design.ViewCount(), 1);
    auto& pages = design.GetViews(0)->Pages;
    std::stable_sort(pages.begin(), pages.end(), [](auto& a, auto& b) { return dbo::NaturalCompare(a->PageName, b->PageName) < 0; });
    std::vector<std::string> sheets;
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i)
        if (project->GetDocument(i)->GetFileName().ends_with(".SchDoc")) sheets.push_back(project->GetDocument(i)->GetFullPath());
    ASSERT_EQ(sheets.size(), pages.size());

    size_t expected = 0, found = 0;
    std::ostringstream missing;
    for (size_t p = 0; p < pages.size(); ++p) {
        const std::set<std::string> words = PrintedWords(static_cast<int>(p + 1));
        ASSERT_FALSE(words.empty()) << "page " << p + 1 << " of " << kReference;
        const Named page = NamesOfPage(*pages[p]);
        ISch_Document* sheet = app.SchDocumentOf(app.OpenDocumentFile(sheets[p]));
        ASSERT_NE(sheet, nullptr) << sheets[p];
        const Named shown = NamesOfSheet(sheet);
        size_t pageExpected = 0, pageFound = 0;
        auto check = [&](const std::set<std::string>& names, const std::set<std::string>& onSheet, const char* what) {
            for (const auto& name : names) {
                if (!Printed(name, words)) continue;
                ++pageExpected;
                if (onSheet.count(name)) ++pageFound;
                else missing << "  page " << p + 1 << " (" << pages[p]->PageName << "): " << what << " " << name << "\n";
            }
        };
        check(page.designators, shown.designators, "designator");
        check(page.values, shown.values, "value");
        check(page.netLabels, shown.netLabels, "net label");
        std::cout << "  page " << p + 1 << " " << pages[p]->PageName << ": " << pageFound << " of " << pageExpected << "\n";
        // Every printed page with parts has something to find.
        if (!page.designators.empty()) {
            EXPECT_GT(pageExpected, 0u) << pages[p]->PageName;
        }
        EXPECT_GE(pageFound * 100, pageExpected * 98) << pages[p]->PageName;
        expected += pageExpected;
        found += pageFound;
    }
    std::cout << "  " << found << " of " << expected << " printed names found on the sheets\n";
    if (found < expected) std::cout << "Missing:\n" << missing.str();
    EXPECT_GT(expected, 700u);  // 747 when this was written
}

}  // namespace orcadx::test
