// The export of a host project built in code: library material first (the project's components
// from the library the host makes of them, the standard symbols), then the compile, then one view
// with one page per sheet; and the entry points that write designs (ExportFileW with "DSN",
// OrCad71Saver, ExportFileFromSch and its twin) with their versions and failures.
#include <algorithm>
#include <fstream>
#include <set>

#include "ExportTestSupport.h"
#include "dbo/DboLib.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboViewObjects.h"
#include "entry/TranslatorApi.h"
#include "export/SCHExportProject.h"
#include "host/ClientServices.h"
#include "platform/CodePage.h"

using namespace orcadx;
using namespace orcadx::host;
using test::Unit;

namespace {

class ProjectExport : public test::ExportFixture {
protected:
    void SetUp() override {
        ExportFixture::SetUp();
        project_ = App().CreateProject((dir_ / "Board.VsProj").string());
        ASSERT_NE(project_, nullptr);
    }
    void TearDown() override {
        RegisterHost(nullptr);
        ExportFixture::TearDown();
    }

    // A new sheet in the project, open in the host.
    ISch_Sheet* AddSheet(const std::string& name) {
        std::string path = (dir_ / name).string();
        IServerDocument* document = OpenOrCreateDocument(App(), path, "SCH", "Binary", true);
        project_->AddSourceDocument(path);
        return dynamic_cast<ISch_Sheet*>(App().SchDocumentOf(document));
    }
    // A placed part of one pin and a body.
    void Place(ISch_Sheet* sheet, const std::string& libReference, const std::string& designator, Coord at) {
        auto* part = Make<ISch_Component>(eSchComponent);
        part->SetState_LibReference(libReference);
        part->SetState_PartCount(1);
        part->SetState_CurrentPartId(1);
        part->GetState_SchDesignator()->SetState_Text(designator);
        AddRectangle(part, {0, Unit(-10)}, {Unit(30), 0});
        AddPin(part, "A", "1", {0, Unit(-5)}, 2, Unit(10));
        part->MoveToXY(at.X, at.Y);
        sheet->AddSchObject(part);
    }
    // A sheet symbol that stands for the sheet of `fileName`.
    void PlaceSymbol(ISch_Sheet* sheet, const std::string& fileName) {
        auto* symbol = Make<ISch_SheetSymbol>(eSheetSymbol);
        symbol->SetState_Location({Unit(100), Unit(100)});
        symbol->SetState_XSize(Unit(40));
        symbol->SetState_YSize(Unit(40));
        symbol->GetState_SheetFileName()->SetState_Text(fileName);
        sheet->AddSchObject(symbol);
    }
    std::vector<std::string> ViewNames(dbo::TDboDesign& design) {
        std::vector<std::string> names;
        for (int i = 0; i < design.ViewCount(); ++i) {
            dbo::TDboSchematics* view = design.GetViews(i);
            std::string pages;
            for (int p = 0; p < view->PageCount(); ++p) pages += (p ? "," : "") + view->GetPages(p)->PageName;
            names.push_back(view->ViewName + ":" + pages);
        }
        return names;
    }
    std::set<std::string> ComponentNames(dbo::TDboDesign& design) {
        std::set<std::string> names;
        for (int i = 0; i < design.ComponentCount(); ++i) names.insert(design.GetComponent(i)->PartInfo->CompName);
        return names;
    }
    std::set<std::string> SymbolNames(dbo::TDboDesign& design) {
        std::set<std::string> names;
        for (int i = 0; i < design.SymbolCount(); ++i) names.insert(design.GetSymbol(i)->ViewName);
        return names;
    }
    int CountProcesses(const std::string& start) {
        int n = 0;
        for (const std::string& p : App().ProcessLog()) n += p.rfind(start, 0) == 0;
        return n;
    }
    bool CallW(const std::string& parameters) {
        std::u16string results;
        return ExportFileW(platform::Utf8ToUtf16(parameters).c_str(), &results);
    }
    uint32_t VersionOf(const std::filesystem::path& path) {
        dbo::TDboDesign design(path.string(), nullptr, 0, nullptr);
        design.Load(true);
        return design.Version;
    }

    IProject* project_ = nullptr;
};

}  // namespace

TEST_F(ProjectExport, LibraryMaterialThenOneViewPerSheetInDocumentOrder) {
    // A library first, so that the search for the first sheet passes over it; sheets out of name
    // order; the top sheet in the middle.
    NewLibrary("Own.SchLib");
    project_->AddSourceDocument((dir_ / "Own.SchLib").string());
    ISch_Sheet* power = AddSheet("Power.SchDoc");
    ISch_Sheet* top = AddSheet("Top.SchDoc");
    ISch_Sheet* amp = AddSheet("Amp.SchDoc");
    Place(power, "LM317", "U1", {Unit(100), Unit(200)});
    Place(amp, "R", "R1", {Unit(100), Unit(200)});
    Place(amp, "R", "R2", {Unit(300), Unit(200)});
    Place(amp, "OPA/2:X", "U2", {Unit(500), Unit(200)});
    PlaceSymbol(top, "Power.SchDoc");
    PlaceSymbol(top, "Amp.SchDoc");
    // A second sheet of the same file name, in another folder.
    std::filesystem::create_directories(dir_ / "old");
    ISch_Sheet* oldAmp = AddSheet("old/Amp.SchDoc");
    ASSERT_TRUE(power && top && amp && oldAmp);

    auto out = dir_ / "Board.DSN";
    exporter::ExportProject(App(), project_, out.string(), 0x00010001);
    auto design = LoadDesign(out);
    EXPECT_EQ(design->Version, 0x00010001u);
    // One component per library reference placed, under its legal name; the standard symbols.
    EXPECT_EQ(ComponentNames(*design), (std::set<std::string>{"LM317", "R", "OPA_2_X"}));
    std::set<std::string> symbols = SymbolNames(*design);
    for (const char* name : {"GND_EARTH", "GND_SIGNAL", "GND_POWER", "VCC_WAVE", "VCC_CIRCLE", "VCC_BAR", "VCC_ARROW",
                             "OFFPAGELEFT-R", "OFFPAGELEFT-L", "PORTNO-L", "PORTLEFT-L", "PORTRIGHT-L", "PORTBOTH-L",
                             "PORTNO-R", "PORTLEFT-R", "PORTRIGHT-R", "PORTBOTH-R"})
        EXPECT_TRUE(symbols.count(name)) << name;
    // A view per sheet in document order, each with one page of its name; the second Amp.SchDoc
    // gets names of its own. The top sheet is the root.
    EXPECT_EQ(ViewNames(*design), (std::vector<std::string>{"Power.SchDoc:Power.SchDoc", "Top.SchDoc:Top.SchDoc",
                                                            "Amp.SchDoc:Amp.SchDoc", "Amp1.SchDoc:Amp1.SchDoc"}));
    EXPECT_EQ(design->Lib->RootViewName, "Top.SchDoc");

    // The host made the library of placed components before the compile, and with the parameters
    // it needs; both libraries are closed again.
    std::vector<std::string> log = App().ProcessLog();
    auto command = std::find(log.begin(), log.end(),
                             "CreateLibraryFromProject AddLibraryToProject=False|FileName=TempLibForExport.SchLib|"
                             "RunQuiet=True 34");
    auto compile = std::find(log.begin(), log.end(), "WorkspaceManager:Compile ObjectKind=All");
    ASSERT_NE(command, log.end());
    ASSERT_NE(compile, log.end());
    EXPECT_LT(command, compile);
    EXPECT_TRUE(std::filesystem::exists(dir_ / "TempLibForExport.SchLib"));
    EXPECT_EQ(App().Client()->GetDocumentByPath((dir_ / "TempLibForExport.SchLib").string()), nullptr);
    EXPECT_EQ(App().Client()->GetDocumentByPath(App().Client()->GetTemplatesFolder() + "OrCAD-CAPSYM.SchLib"),
              nullptr);
    // The project's own library is not part of the export.
    EXPECT_NE(App().Client()->GetDocumentByPath((dir_ / "Own.SchLib").string()), nullptr);
}

TEST_F(ProjectExport, RootViewEmptyProjectAndSheetsTheServerHasNot) {
    // No sheet symbols: no top-level document, and the first view is the root.
    AddSheet("B.SchDoc");
    AddSheet("A.SchDoc");
    // A sheet of the project that isn't open is opened; one that can't be read gets no page.
    std::string closed = (dir_ / "Closed.SchDoc").string();
    IServerDocument* document = OpenOrCreateDocument(App(), closed, "SCH", "Binary", true);
    App().Client()->CloseDocument(document);
    project_->AddSourceDocument(closed);
    std::string broken = (dir_ / "Broken.SchDoc").string();
    std::ofstream(broken) << "{ not a sheet";
    project_->AddSourceDocument(broken);
    auto out = dir_ / "Two.DSN";
    exporter::ExportProject(App(), project_, out.string(), 0x00010001);
    auto design = LoadDesign(out);
    EXPECT_EQ(ViewNames(*design),
              (std::vector<std::string>{"B.SchDoc:B.SchDoc", "A.SchDoc:A.SchDoc", "Closed.SchDoc:Closed.SchDoc"}));
    EXPECT_EQ(design->Lib->RootViewName, "B.SchDoc");
    EXPECT_EQ(design->ComponentCount(), 0);

    // A project without documents gives an empty design, and the host is asked nothing.
    std::filesystem::create_directories(dir_ / "empty");
    std::filesystem::create_directories(dir_ / "libs");
    IProject* empty = App().CreateProject((dir_ / "empty" / "Empty.VsProj").string());
    size_t processes = App().ProcessLog().size();
    exporter::ExportProject(App(), empty, (dir_ / "Empty.DSN").string(), 0x00010001);
    EXPECT_EQ(App().ProcessLog().size(), processes);
    auto nothing = LoadDesign(dir_ / "Empty.DSN");
    EXPECT_EQ(nothing->ViewCount(), 0);
    EXPECT_EQ(nothing->ComponentCount() + nothing->SymbolCount(), 0);
    EXPECT_TRUE(nothing->Lib->RootViewName.empty());

    // A project of a library alone: the standard symbols, and no library of placed parts to make.
    IProject* libraries = App().CreateProject((dir_ / "libs" / "Libs.VsProj").string());
    App().FocusProject(libraries);
    NewLibrary("Only.SchLib");
    libraries->AddSourceDocument((dir_ / "Only.SchLib").string());
    exporter::ExportProject(App(), libraries, (dir_ / "Libs.DSN").string(), 0x00010001);
    auto symbolsOnly = LoadDesign(dir_ / "Libs.DSN");
    EXPECT_EQ(symbolsOnly->ViewCount(), 0);
    EXPECT_EQ(symbolsOnly->ComponentCount(), 0);
    EXPECT_EQ(symbolsOnly->SymbolCount(), 17);
    EXPECT_EQ(CountProcesses("CreateLibraryFromProject"), 1);
}

TEST_F(ProjectExport, EntryPointsVersionsAndFailures) {
    ISch_Sheet* sheet = AddSheet("Main.SchDoc");
    Place(sheet, "R", "R1", {Unit(100), Unit(200)});
    RegisterHost(&App());
    EXPECT_EQ(std::u16string(GetSchExporterDescription()), u"Orcad v7 Capture Design (*.dsn)");

    // ExportFileW alone writes 0x00020003; OrCad71Saver writes 0x00010001 unless told otherwise.
    auto w = dir_ / "W.DSN";
    ASSERT_TRUE(CallW("FileName=" + w.string() + " | FileType=DSN"));
    EXPECT_EQ(VersionOf(w), 0x00020003u);
    EXPECT_TRUE(App().ErrorBoxLog().empty());
    auto saved = dir_ / "Saved.DSN";
    ASSERT_TRUE(OrCad71Saver(platform::Utf8ToUtf16("FileName=" + saved.string() + " | FileType=DSN").c_str()));
    EXPECT_EQ(VersionOf(saved), 0x00010001u);
    auto told = dir_ / "Told.DSN";
    ASSERT_TRUE(OrCad71Saver(
        platform::Utf8ToUtf16("FileName=" + told.string() + " | FileType=DSN | OrcadVersion=65538").c_str()));
    EXPECT_EQ(VersionOf(told), 0x00010002u);
    std::vector<std::filesystem::path> written{w, saved, told};
    // Every version the parameter may name, in decimal, is written as named.
    for (uint32_t version : test::ExportVersions()) {
        auto path = dir_ / ("V" + std::to_string(version) + ".DSN");
        ASSERT_TRUE(CallW("FileName=" + path.string() + " | FileType=DSN | OrcadVersion=" + std::to_string(version)));
        EXPECT_EQ(VersionOf(path), version);
        EXPECT_TRUE(OrCad71Validator(platform::Utf8ToUtf16("FileName=" + path.string() + " | FileType=DSN").c_str()));
        written.push_back(path);
    }
    for (const auto& path : written) {
        auto design = LoadDesign(path);
        EXPECT_EQ(ViewNames(*design), std::vector<std::string>{"Main.SchDoc:Main.SchDoc"}) << path;
        EXPECT_EQ(ComponentNames(*design), std::set<std::string>{"R"}) << path;
        EXPECT_EQ(design->SymbolCount(), 17) << path;
        ASSERT_EQ(design->PageCount(), 1) << path;
        EXPECT_EQ(design->GetViews(0)->GetPages(0)->PartsAndBlocks->Count(), 1) << path;
    }

    // ExportFileFromSch: the file type from the extension, in any case; version 0x00010001.
    auto fromSheet = dir_ / "FromSheet.dsn";
    ASSERT_TRUE(ExportFileFromSch(platform::Utf8ToUtf16(fromSheet.string()).c_str(), 0, sheet));
    EXPECT_EQ(VersionOf(fromSheet), 0x00010001u);
    auto fromSheetEx = dir_ / "FromSheetEx.DSN";
    ASSERT_TRUE(ExportFileFromSchEx(platform::Utf8ToUtf16(fromSheetEx.string()).c_str(), 0, sheet, 0));
    EXPECT_EQ(ViewNames(*LoadDesign(fromSheetEx)), std::vector<std::string>{"Main.SchDoc:Main.SchDoc"});
    // A sheet outside the focused project writes nothing; nor does a file type that isn't known.
    std::string strayPath = (dir_ / "stray" / "Stray.SchDoc").string();
    std::filesystem::create_directories(dir_ / "stray");
    auto* stray = App().SchDocumentOf(OpenOrCreateDocument(App(), strayPath, "SCH", "Binary", true));
    EXPECT_FALSE(ExportFileFromSch(platform::Utf8ToUtf16((dir_ / "Stray.DSN").string()).c_str(), 0, stray));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "Stray.DSN"));
    EXPECT_FALSE(ExportFileFromSch(platform::Utf8ToUtf16((dir_ / "Main.TXT").string()).c_str(), 0, sheet));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "Main.TXT"));
    EXPECT_FALSE(ExportFileFromSch(platform::Utf8ToUtf16((dir_ / "Null.DSN").string()).c_str(), 0, nullptr));
    EXPECT_TRUE(App().ErrorBoxLog().empty());

    // A failure during the export goes to the error box, gives false and leaves no file: here the
    // standard symbol library can't be made, since its folder is a file.
    std::filesystem::remove_all(dir_ / "templates");
    std::ofstream(dir_ / "templates") << "not a folder";
    auto failed = dir_ / "Failed.DSN";
    EXPECT_FALSE(CallW("FileName=" + failed.string() + " | FileType=DSN | OrcadVersion=65537"));
    EXPECT_FALSE(std::filesystem::exists(failed));
    ASSERT_FALSE(App().ErrorBoxLog().empty());
    EXPECT_NE(App().ErrorBoxLog().back().find("OrCAD-CAPSYM.SchLib"), std::string::npos) << App().ErrorBoxLog().back();

    // Without a workspace there is no project to export.
    host::HostOptions options;
    options.WithWorkspace = false;
    options.SettingsFolder = (dir_ / "settings").string();
    host::HostApplication bare(options);
    RegisterHost(&bare);
    EXPECT_FALSE(CallW("FileName=" + failed.string() + " | FileType=DSN"));
    EXPECT_EQ(bare.ErrorBoxLog(), std::vector<std::string>{"Error: Could not get the project."});
    EXPECT_FALSE(ExportFileFromSch(platform::Utf8ToUtf16(failed.string()).c_str(), 0, sheet));
    EXPECT_FALSE(std::filesystem::exists(failed));
}
