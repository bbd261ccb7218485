// ImportOLB, AnalyzeOLB and AnalyzeDSN through the exported functions, on library files written in
// code: status, progress, log sections, notifications, analytics and the two kinds of failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "ImportTestSupport.h"
#include "entry/TranslatorApi.h"
#include "platform/CodePage.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

class LibraryDriverTest : public DriverTest {
protected:
    LibraryDriverTest() : DriverTest("lib.VsProj") {}

    // A library file of two components and a title block.
    std::filesystem::path WriteLibrary(const std::string& name, bool withContents = true) {
        std::filesystem::path file = folder / name;
        dbo::TDboDesign design(file.string(), nullptr, 0, nullptr);
        if (withContents) {
            LibraryBuilder lib(design);
            for (const char* n : {"R", "C"}) {
                auto* c = lib.Component(n, n);
                auto* v = lib.View(lib.Package(c, n), std::string(n) + ".Normal", 30, 10);
                lib.Pin(v, "1", 0, 5, -10, 5);
                lib.Pin(v, "2", 30, 5, 40, 5);
                lib.Part(c, n, {"1", "2"});
            }
            lib.Symbol(dbo::kIdTitleBlockSymbol, "TitleBlock");
        }
        design.Save();
        return file;
    }

    void ImportOLBFile(const std::filesystem::path& file, const std::filesystem::path& out, IHandler_Status* s,
                       ILogSection* l) {
        ImportOLB(Wide(file).c_str(), &options, s, l, Wide(out).c_str(), project, &templates);
    }
};

TEST_F(LibraryDriverTest, ALibraryImportsWithItsStatusLogNotificationsAndAnalytics) {
    auto file = WriteLibrary("lib.OLB");
    const auto out = folder / "out";
    ImportOLBFile(file, out, &status, &log);

    const auto library = out / "lib_Library.SchLib";
    ASSERT_TRUE(std::filesystem::exists(library));
    EXPECT_EQ(templates, 0);
    ExpectWholeStatus(250, "Importing Library");
    ASSERT_EQ(log.Sections().size(), 2u);
    EXPECT_EQ(log.Sections()[0]->Title(), "Load Messages");
    EXPECT_EQ(log.Sections()[1]->Title(), "Importing Library - lib_Library.SchLib");
    EXPECT_TRUE(log.AllMessages().empty());
    const std::string projectPath = project->GetProjectDocument()->GetFullPath();
    EXPECT_EQ(app.NotificationLog(),
              (std::vector<std::string>{"47 " + projectPath, "7 -", "6 -", "48 " + projectPath}));
    auto analytics = app.AnalyticsLog();
    EXPECT_TRUE(Has(analytics, "StartTimer Importers OrCAD.SCHLIB.ImportDuration"));
    EXPECT_TRUE(Has(analytics, "StopTimer Importers OrCAD.SCHLIB.ImportDuration"));
    EXPECT_TRUE(Has(analytics, "SetIntegerValue Importers OrCAD.SCHLIB.Project.Count.Files.SCH 1"));
    EXPECT_TRUE(Has(analytics, "SetBooleanValue Importers OrCAD.SCHLIB.Success true"));
    EXPECT_TRUE(app.ErrorBoxLog().empty());

    // The saved library holds the components and the title block, without extent parameters.
    std::string text = ReadFile(library);
    EXPECT_NE(text.find("\"LibReference\": \"R\""), std::string::npos);
    EXPECT_NE(text.find("\"LibReference\": \"TitleBlock\""), std::string::npos);
    EXPECT_EQ(text.find("Vantor-"), std::string::npos);
    EXPECT_EQ(text.find("Component_1"), std::string::npos);
    ASSERT_EQ(project->GetDocumentCount(), 1);

    // Without a status handler and a log the same import runs.
    std::filesystem::create_directories(folder / "quiet");
    ImportOLBFile(file, folder / "quiet", nullptr, nullptr);
    EXPECT_TRUE(std::filesystem::exists(folder / "quiet" / "lib_Library.SchLib"));
}

TEST_F(LibraryDriverTest, AnEmptyLibraryMakesNoDocumentAndAMissingFileNothingAtAll) {
    auto file = WriteLibrary("empty.OLB", false);
    ImportOLBFile(file, folder / "out", &status, &log);
    EXPECT_FALSE(std::filesystem::exists(folder / "out" / "empty_Library.SchLib"));
    ASSERT_EQ(log.Sections().size(), 1u);  // "Load Messages" only
    EXPECT_TRUE(Has(app.AnalyticsLog(), "SetIntegerValue Importers OrCAD.SCHLIB.Project.Count.Files.SCH 0"));
    EXPECT_TRUE(Has(app.AnalyticsLog(), "SetBooleanValue Importers OrCAD.SCHLIB.Success true"));
    EXPECT_EQ(project->GetDocumentCount(), 0);

    EXPECT_EQ(templates, 0);
    templates = 7;
    const size_t notifications = app.NotificationLog().size();
    ImportOLBFile(folder / "missing.OLB", folder / "out", &status, &log);
    ImportOLBFile(file.string() + ".txt", folder / "out", &status, &log);
    EXPECT_EQ(app.NotificationLog().size(), notifications);
    EXPECT_EQ(templates, 7);  // untouched: the file test failed
}

TEST_F(LibraryDriverTest, HostErrorsGoToTheErrorBoxAndOtherFailuresToTheLog) {
    auto file = WriteLibrary("lib.OLB");
    // A file where the output folder should be: the host cannot make the library document.
    std::ofstream(folder / "blocked") << "x";
    ImportOLBFile(file, folder / "blocked", &status, &log);
    ASSERT_EQ(app.ErrorBoxLog().size(), 1u);
    EXPECT_NE(app.ErrorBoxLog()[0].find("Error: Cannot create document from file"), std::string::npos);
    EXPECT_TRUE(log.AllMessages(kLogError).empty());
    EXPECT_FALSE(Has(app.AnalyticsLog(), "SetBooleanValue Importers OrCAD.SCHLIB.Success false"));
    EXPECT_EQ(status.depth, 0);
    EXPECT_EQ(app.NotificationLog().size(), 4u);  // the closing notifications run all the same

    // A library whose packages directory is gone passes the file test and fails to load.
    auto damaged = folder / "damaged.OLB";
    CopyCompoundFile(file, damaged, "Packages Directory");
    LogSection log2;
    ImportOLB(Wide(damaged).c_str(), &options, &status, &log2, Wide(folder / "out").c_str(), project, &templates);
    auto errors = log2.AllMessages(kLogError);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors[0].find("Packages Directory"), std::string::npos) << errors[0];
    EXPECT_TRUE(Has(app.AnalyticsLog(), "SetBooleanValue Importers OrCAD.SCHLIB.Success false"));
    EXPECT_TRUE(Has(app.AnalyticsLog(), "CancelTimer Importers OrCAD.SCHLIB.ImportDuration"));
    EXPECT_EQ(app.ErrorBoxLog().size(), 1u);
    EXPECT_EQ(status.depth, 0);
}

TEST_F(LibraryDriverTest, AMissingPackageStreamIsLoggedAndTheRestImports) {
    auto file = WriteLibrary("lib.OLB");
    auto damaged = folder / "partial.OLB";
    CopyCompoundFile(file, damaged, "Packages/R");
    ImportOLBFile(damaged, folder / "out", &status, &log);
    std::string text = ReadFile(folder / "out" / "partial_Library.SchLib");
    EXPECT_NE(text.find("\"LibReference\": \"C\""), std::string::npos);
    EXPECT_EQ(text.find("\"LibReference\": \"R\""), std::string::npos);
    EXPECT_EQ(log.AllMessages(kLogWarning),
              (std::vector<std::string>{"Package R was not imported: the file holds no readable stream \"Packages/R\"."}));
    EXPECT_TRUE(log.AllMessages(kLogError).empty());
}

TEST_F(LibraryDriverTest, AnalysesNameTheLibraryAndTheModels) {
    std::filesystem::path file = folder / "models.OLB";
    {
        dbo::TDboDesign design(file.string(), nullptr, 0, nullptr);
        LibraryBuilder lib(design);
        auto* c = lib.Component("Q1", "Q");
        auto* v = lib.View(lib.Package(c, "Q1"), "Q1.Normal");
        v->SetImplementationType(dbo::TDboLibView::kImplementationPSpiceModel);
        v->Implement = "Q2N2222";
        lib.Part(c, "Q1", {});
        design.Save();
    }
    StringList analysis, detail;
    EXPECT_TRUE(AnalyzeOLB(Wide(file).c_str(), &status, &analysis, &detail));
    EXPECT_EQ(analysis.items, (std::vector<std::string>{"models_Library.SchLib"}));
    EXPECT_EQ(detail.items, (std::vector<std::string>{"Q2N2222"}));
    EXPECT_EQ(status.range, 100);
    EXPECT_TRUE(status.completed);
    EXPECT_EQ(status.depth, 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "models_Library.SchLib"));

    // The same file under a design's name: the library side gives the document, no models.
    std::filesystem::copy_file(file, folder / "models.DSN");
    StringList analysis2, detail2;
    EXPECT_TRUE(AnalyzeDSN(Wide(folder / "models.DSN").c_str(), nullptr, &analysis2, &detail2));
    EXPECT_EQ(analysis2.items, (std::vector<std::string>{"models_Library.SchLib"}));
    EXPECT_TRUE(detail2.items.empty());

    // Invalid files give false and nothing; a damaged one gives true and what could be found.
    StringList none;
    EXPECT_FALSE(AnalyzeOLB(Wide(folder / "models.DSN").c_str(), nullptr, &none, &none));
    EXPECT_FALSE(AnalyzeOLB(Wide(folder / "missing.OLB").c_str(), nullptr, &none, &none));
    EXPECT_TRUE(none.items.empty());
    CopyCompoundFile(file, folder / "damaged.OLB", "Packages Directory");
    ProgressRecorder status2;
    EXPECT_TRUE(AnalyzeOLB(Wide(folder / "damaged.OLB").c_str(), &status2, &none, &none));
    EXPECT_EQ(status2.depth, 0);
}

}  // namespace
}  // namespace orcadx::test
