// ImportDSN and AnalyzeDSN through the exported functions on the sample design: status, progress,
// notifications, analytics, the project made, and the failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "ImportTestSupport.h"
#include "entry/TranslatorApi.h"
#include "platform/CodePage.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
namespace fs = std::filesystem;

const fs::path& SampleDesign() {
    static const fs::path file =
        fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator" / "P1_Olteanu_Rares.dsn";
    return file;
}

class DesignDriverTest : public DriverTest {
protected:
    DesignDriverTest() : DriverTest("P1.VsProj") {}

    void Import(const fs::path& file, const fs::path& out) {
        ImportDSN(Wide(file).c_str(), &options, &status, &log, Wide(out).c_str(), project, &templates);
    }

    std::vector<std::string> ProjectFiles() {
        std::vector<std::string> out;
        for (int32_t i = 0; i < project->GetDocumentCount(); ++i) out.push_back(project->GetDocument(i)->GetFileName());
        return out;
    }
};

}  // namespace

TEST_F(DesignDriverTest, ADesignImportsWithItsStatusNotificationsAnalyticsAndProject) {
    options.clearPreference = true;
    app.StartSchServer()->GetPreferences()->SetState_BooleanPreference("AutoJunctions", true);
    Import(SampleDesign(), folder / "out");
    EXPECT_EQ(templates, 1);
    ExpectWholeStatus(300, "Importing Design");
    EXPECT_TRUE(Has(status.lines, "Importing View SCHEMATIC2 of Page VREF_TEST"));
    const std::string projectPath = project->GetProjectDocument()->GetFullPath();
    // The document notifications around the import; between them each page asks to be shown whole.
    const std::string out = (folder / "out").string() + "/";
    EXPECT_EQ(app.NotificationLog(),
              (std::vector<std::string>{"47 " + projectPath, "7 -", "24 " + out + "FINAL.SchDoc",
                                        "24 " + out + "ERS_Complet.SchDoc", "24 " + out + "VREF_TEST.SchDoc",
                                        "24 " + out + "BUCLA_DESCHISA.SchDoc", "6 -", "48 " + projectPath}));
    auto analytics = app.AnalyticsLog();
    EXPECT_TRUE(Has(analytics, "SetIntegerValue Importers OrCAD.SCH.Project.Count.Files.SCH 4"));
    EXPECT_TRUE(Has(analytics, "SetBooleanValue Importers OrCAD.SCH.Success true"));
    EXPECT_FALSE(app.SchServer()->GetPreferences()->GetState_BooleanPreference("AutoJunctions"));
    auto files = ProjectFiles();
    for (const char* page : {"FINAL.SchDoc", "ERS_Complet.SchDoc", "VREF_TEST.SchDoc", "BUCLA_DESCHISA.SchDoc"}) {
        EXPECT_EQ(std::count(files.begin(), files.end(), page), 1) << page;
        EXPECT_TRUE(fs::exists(folder / "out" / page)) << page;
    }
    EXPECT_TRUE(Has(files, "P1_Olteanu_Rares_Library.SchLib"));
    EXPECT_EQ(ErrorsBesideMissingModels(log), SampleTemplatePinErrors());

    // The analysis names the same documents, pages in file order (the import sorts the views), and
    // the models of the parts.
    StringList analysis, detail;
    ProgressRecorder analysisStatus;
    EXPECT_TRUE(AnalyzeDSN(Wide(SampleDesign()).c_str(), &analysisStatus, &analysis, &detail));
    EXPECT_EQ(analysis.items,
              (std::vector<std::string>{"P1_Olteanu_Rares_Library.SchLib", "BUCLA_DESCHISA.SchDoc", "FINAL.SchDoc",
                                        "ERS_Complet.SchDoc", "VREF_TEST.SchDoc"}));
    EXPECT_TRUE(Has(detail.items, "QBC846B"));
    EXPECT_EQ(analysisStatus.depth, 0);
}

TEST_F(DesignDriverTest, FailuresEndInTheLogAndAMissingFileDoesNothing) {
    // A file where the output folder should be: the host cannot make the documents.
    std::ofstream(folder / "blocked") << "x";
    Import(SampleDesign(), folder / "blocked");
    auto errors = log.AllMessages(kLogError);
    ASSERT_FALSE(errors.empty());
    EXPECT_NE(errors.back().find("Cannot create document from file"), std::string::npos) << errors.back();
    EXPECT_TRUE(Has(app.AnalyticsLog(), "SetBooleanValue Importers OrCAD.SCH.Success false"));
    EXPECT_EQ(app.NotificationLog().back(), "48 " + project->GetProjectDocument()->GetFullPath());  // all the same
    EXPECT_TRUE(app.ErrorBoxLog().empty());
    EXPECT_EQ(templates, 7);

    const size_t notifications = app.NotificationLog().size();
    Import(folder / "missing.DSN", folder / "out");
    EXPECT_EQ(app.NotificationLog().size(), notifications);
    EXPECT_EQ(templates, 7);
    // Without a registered host the import says so in the log.
    RegisterHost(nullptr);
    LogSection log2;
    ImportDSN(Wide(SampleDesign()).c_str(), &options, nullptr, &log2, Wide(folder / "out").c_str(), nullptr, nullptr);
    EXPECT_EQ(log2.AllMessages(kLogError).size(), 1u);
}

TEST_F(DesignDriverTest, ADamagedPageCostsThatPageOnly) {
    const fs::path damaged = folder / "damaged.DSN";
    CopyCompoundFile(SampleDesign(), damaged, "", [](const std::string& path, std::vector<uint8_t>& bytes) {
        if (path == "Views/SCHEMATIC2/Pages/VREF_TEST") bytes.resize(bytes.size() / 2);
    });
    Import(damaged, folder / "out");
    auto files = ProjectFiles();
    for (const char* page : {"FINAL.SchDoc", "ERS_Complet.SchDoc", "BUCLA_DESCHISA.SchDoc"})
        EXPECT_TRUE(Has(files, page)) << page;
    EXPECT_FALSE(Has(files, "VREF_TEST.SchDoc"));
    EXPECT_FALSE(fs::exists(folder / "out" / "VREF_TEST.SchDoc"));
    auto errors = ErrorsBesideMissingModels(log);
    std::string listed;
    for (const auto& e : errors) listed += e + "\n";
    // The copy stands without the project file beside the original, and says so.
    ASSERT_EQ(errors.size(), 4u) << listed;
    EXPECT_EQ(errors[3].rfind("Orcad Project file not found - ", 0), 0u) << errors[3];
    EXPECT_EQ(errors[0].rfind("Page \"VREF_TEST\" of view \"SCHEMATIC2\" was lost: ", 0), 0u) << errors[0];
    EXPECT_NE(errors[0].find("VREF_TEST"), std::string::npos);
    EXPECT_TRUE(Has(app.AnalyticsLog(), "SetBooleanValue Importers OrCAD.SCH.Success true"));
    EXPECT_TRUE(Has(app.AnalyticsLog(), "SetIntegerValue Importers OrCAD.SCH.Project.Count.Files.SCH 3"));
}

}  // namespace orcadx::test
