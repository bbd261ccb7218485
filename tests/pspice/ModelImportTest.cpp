// The model import of one run: library folders, the output folder beside the project, each model
// written once and linked to the project, and what goes to the log and the status.
#include <gtest/gtest.h>

#include <algorithm>

#include "PSpiceTestSupport.h"
#include "TestSupport.h"
#include "host/HostApplication.h"
#include "pspice/PSpiceModelImport.h"

using namespace orcadx;
using namespace orcadx::pspice;
using test::Lines;
using test::ReadText;
using test::WriteText;
namespace fs = std::filesystem;

namespace {

struct ModelImport : ::testing::Test {
    void SetUp() override {
        dir = test::ScratchDir(std::string("pspice-manager-") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        WriteText(dir / "libs" / "parts.lib",
                  Lines({"* parts", ".SUBCKT AMP in out", "X1 in out STAGE", ".ENDS AMP", ".subckt STAGE a b",
                         "R1 a b 1k", ".ends STAGE", ".MODEL A/B:C D(IS=1)", ".MODEL QN NPN", "* end"}));
        WriteText(dir / "design" / "local.lib", Lines({".MODEL LOCALD D(IS=3)", "* end"}));
        options.libraryDirectories = {(dir / "libs").string(), (dir / "absent").string()};
        designFile = (dir / "design" / "D.DSN").string();
    }
    host::IProject* MakeProject(const std::string& name = "P.VsProj") {
        fs::create_directories(dir / "project");
        return app.CreateProject((dir / "project" / name).string());
    }
    std::vector<std::string> ProjectDocuments(host::IProject* project) {
        std::vector<std::string> out;
        for (int32_t i = 0; i < project->GetDocumentCount(); ++i)
            out.push_back(fs::path(project->GetDocument(i)->GetFullPath()).filename().string());
        return out;
    }

    fs::path dir;
    host::HostApplication app{host::HostOptions{}};
    host::ImporterOptions options;
    host::LogSection log;
    host::StatusRecorder status;
    std::string designFile;
};

}  // namespace

TEST(PSpiceModelList, EntriesAreOneModelWhenNameAndPathMatchWithoutCase) {
    TPSpiceModelList list;
    TPSpiceModel* a = list.AddModel("Q1", "C:\\Lib\\x.lib");
    EXPECT_EQ(list.AddModel("q1", "c:\\lib\\X.LIB"), a);
    TPSpiceModel* other = list.AddModel("Q1", "");
    EXPECT_NE(other, a);
    EXPECT_EQ(list.AddModel("Q1", ""), other);
    EXPECT_EQ(list.Count(), 2);
    EXPECT_EQ(list.FindModel("q1", ""), other);
    EXPECT_EQ(list.FindModel("Q1", "C:\\Lib"), nullptr);
    EXPECT_TRUE(list.ModelIsRequired("q1"));
    EXPECT_FALSE(list.ModelIsRequired("Q2"));
    EXPECT_EQ(list.GetModel(1), other);
    EXPECT_EQ(list.GetModel(2), nullptr);
    list.FreeModels();
    EXPECT_EQ(list.Count(), 0);
    EXPECT_FALSE(list.ModelIsRequired("Q1"));
}

TEST_F(ModelImport, EachModelIsWrittenOnceBesideTheProjectAndMissingOnesAreLogged) {
    host::IProject* project = MakeProject();
    TPSpiceModelImportManager manager(&app, designFile, project, &options, &status, 20, &log);
    fs::path out = dir / "project" / "PSpice Models";
    EXPECT_EQ(manager.OutputDirectory, out.string());
    EXPECT_TRUE(fs::is_directory(out));
    EXPECT_EQ(manager.DesignDirectory, (dir / "design").string());
    EXPECT_FALSE(manager.IsIntegratedLibrary);

    manager.AddModel("AMP", "C:\\old\\parts.lib");
    manager.AddModel("amp", "c:\\OLD\\PARTS.LIB");  // the same entry
    manager.AddModel("AMP", "");                    // another entry, the same file
    manager.AddModel("NOPE", "");
    manager.AddModel("nope", "elsewhere");
    manager.AddModel("A/B:C", "");
    manager.AddModel("LocalD", "");
    EXPECT_EQ(manager.Models.Count(), 6);
    EXPECT_FALSE(manager.Initialized);
    EXPECT_TRUE(fs::is_empty(out));
    manager.RunImport();
    EXPECT_TRUE(manager.Initialized);

    EXPECT_EQ(ReadText(out / "AMP.ckt"), "* parts\r\n.SUBCKT AMP in out\r\nX1 in out STAGE\r\n.ENDS AMP\r\n*\r\n"
                                         ".subckt STAGE a b\r\nR1 a b 1k\r\n.ends STAGE\r\n");
    EXPECT_EQ(ReadText(out / "A_B_C.mdl"), ".MODEL A/B:C D(IS=1)\r\n");
    EXPECT_EQ(ReadText(out / "LocalD.mdl"), ".MODEL LOCALD D(IS=3)\r\n");
    std::vector<std::string> written;
    for (const auto& e : fs::directory_iterator(out)) written.push_back(e.path().filename().string());
    std::sort(written.begin(), written.end());
    EXPECT_EQ(written, (std::vector<std::string>{"AMP.ckt", "A_B_C.mdl", "LocalD.mdl"}));
    EXPECT_EQ(manager.FindModel("AMP", "")->ModelFile, (out / "AMP.ckt").string());
    EXPECT_EQ(manager.FindModel("AMP", "C:\\OLD\\parts.lib")->ModelFile, (out / "AMP.ckt").string());
    EXPECT_TRUE(manager.FindModel("nope", "elsewhere")->NotFound);
    EXPECT_EQ(ProjectDocuments(project), (std::vector<std::string>{"AMP.ckt", "A_B_C.mdl", "LocalD.mdl"}));

    ASSERT_EQ(log.Sections().size(), 1u);
    EXPECT_EQ(log.Sections()[0]->Title(), "Importing PSpice Models");
    std::string libs = (dir / "libs").string();
    EXPECT_EQ(test::Messages(log),
              (std::vector<std::string>{
                  "info: Processing library directory - " + libs,
                  "error: Library directory not found - " + (dir / "absent").string(),
                  "info: PSpice model \"AMP\" found in \"" + libs + "/parts.lib\"",
                  "error: PSpice model not found \"NOPE\"",
                  "info: PSpice model \"A/B:C\" found in \"" + libs + "/parts.lib\"",
                  "info: PSpice model \"LocalD\" found in \"" + (dir / "design" / "local.lib").string() + "\"",
              }));
    EXPECT_NE(std::find(status.lines.begin(), status.lines.end(), "Importing PSpice Models"), status.lines.end());
    EXPECT_EQ(status.position, 20);

    // Nothing is searched or written again: a model already extracted keeps its file.
    fs::remove(out / "AMP.ckt");
    manager.RunImport();
    EXPECT_EQ(manager.ImportModel("Amp", "")->ModelFile, (out / "AMP.ckt").string());
    EXPECT_FALSE(fs::exists(out / "AMP.ckt"));
    EXPECT_EQ(test::Messages(log).size(), 6u);
}

TEST_F(ModelImport, ImportModelExtractsAtOnceAndTheIndexServesTheNextRun) {
    host::IProject* project = MakeProject();
    int scans = PSpiceModelFiles().ScanCount();
    {
        TPSpiceModelImportManager manager(&app, designFile, project, &options, nullptr, 0, nullptr);
        TPSpiceModel* model = manager.ImportModel("QN", "");
        EXPECT_TRUE(manager.Initialized);
        EXPECT_EQ(model->ModelFile, (dir / "project" / "PSpice Models" / "QN.mdl").string());
        EXPECT_TRUE(fs::exists(model->ModelFile));
        TPSpiceModel* missing = manager.ImportModel("ABSENT", "");
        EXPECT_TRUE(missing->NotFound);
        EXPECT_TRUE(missing->ModelFile.empty());
    }
    EXPECT_EQ(PSpiceModelFiles().ScanCount(), scans + 1);
    // A file reached through a link has its models beside the file it points to.
    WriteText(designFile, "not read");
    fs::create_directories(dir / "links");
    fs::create_symlink(designFile, dir / "links" / "D.OLB");
    EXPECT_EQ(TPSpiceModelImportManager(&app, (dir / "links" / "D.OLB").string(), project, &options, nullptr, 0, nullptr)
                  .DesignDirectory,
              fs::canonical(dir / "design").string());
    // A second import with the same folders does no scan, even when a new library appeared.
    WriteText(dir / "libs" / "later.lib", ".MODEL LATER D\n* end\n");
    TPSpiceModelImportManager again(&app, designFile, project, &options, nullptr, 0, nullptr);
    EXPECT_TRUE(again.ImportModel("QN", "")->NotFound == false);
    EXPECT_TRUE(again.ImportModel("LATER", "")->NotFound);
    EXPECT_EQ(PSpiceModelFiles().ScanCount(), scans + 1);
}

TEST_F(ModelImport, AnIntegratedLibraryFindsItsModelsThroughASearchPath) {
    host::IProject* project = MakeProject("L.VsLibPkg");
    {
        TPSpiceModelImportManager manager(&app, designFile, project, &options, nullptr, 10, nullptr);
        EXPECT_TRUE(manager.IsIntegratedLibrary);
        manager.ImportModel("QN", "");
        EXPECT_TRUE(fs::exists(dir / "project" / "PSpice Models" / "QN.mdl"));
    }
    TPSpiceModelImportManager second(&app, designFile, project, &options, nullptr, 10, nullptr);
    ASSERT_EQ(project->GetSearchPathCount(), 1);
    EXPECT_EQ(project->GetSearchPath(0), "PSpice Models\\*.*");
    EXPECT_TRUE(ProjectDocuments(project).empty());
}

TEST_F(ModelImport, WithoutAProjectEveryModelCountsAsNotFound) {
    TPSpiceModelImportManager manager(&app, designFile, nullptr, &options, nullptr, 10, &log);
    EXPECT_TRUE(manager.OutputDirectory.empty());
    EXPECT_TRUE(manager.ImportModel("QN", "")->NotFound);
    EXPECT_EQ(test::Messages(log).back(), "error: PSpice model not found \"QN\"");

    // No design file and no options: only the folders given are searched, and an empty list of
    // models doesn't even initialise.
    TPSpiceModelImportManager empty(&app, "", MakeProject(), nullptr, &status, 10, nullptr);
    EXPECT_TRUE(empty.DesignDirectory.empty());
    empty.RunImport();
    EXPECT_FALSE(empty.Initialized);
    EXPECT_TRUE(status.lines.empty());
}

TEST_F(ModelImport, LocateModelsTellsWhereEachModelIsWithoutWritingAnything) {
    auto found = LocateModels({"qn", "AMP", "NOPE"}, {(dir / "design").string(), (dir / "libs").string()});
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0].LibraryFile, (dir / "libs" / "parts.lib").string());
    EXPECT_EQ(found[0].Kind, eModeType_Model);
    EXPECT_EQ(found[1].Kind, eModelType_Subckt);
    EXPECT_EQ(found[2].ModelName, "NOPE");
    EXPECT_TRUE(found[2].LibraryFile.empty());
}
