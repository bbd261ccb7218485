// The design import: page documents in natural order under names fixed in file order, the
// intermediate sheets of sheet symbols that stand for several pages, the PARAM parts, and the
// analysis.
#include <gtest/gtest.h>

#include <filesystem>

#include "ImportTestSupport.h"
#include "dbo/DboViewObjects.h"
#include "import/HostIteration.h"
#include "import/SCHDesignImport.h"
#include "import/SCHLibraryImport.h"
#include "import/SCHPageDocument.h"
#include "platform/TextCompare.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
namespace fs = std::filesystem;

std::vector<std::string> ProjectFiles(IProject* project) {
    std::vector<std::string> out;
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i) out.push_back(project->GetDocument(i)->GetFileName());
    return out;
}

class DesignImportTest : public ::testing::Test {
protected:
    DesignImportTest()
        : folder(ScratchDir(std::string("design_import_") + ::testing::UnitTest::GetInstance()->current_test_info()->name())), app(ImportHostOptions(folder)), design((folder / "d.DSN").string(), nullptr, 0, nullptr) {
        app.StartSchServer();
        project = app.CreateProject((folder / "d.VsProj").string());
    }

    dbo::TDboPage* AddPage(const std::string& view, const std::string& name) {
        dbo::TDboSchematics* schematics = nullptr;
        for (int v = 0; v < design.ViewCount(); ++v)
            if (design.GetViews(v)->ViewName == view) schematics = design.GetViews(v);
        if (!schematics) {
            auto made = dbo::Make<dbo::TDboSchematics>(&design);
            made->ViewName = view;
            schematics = made.get();
            design.AddView(std::move(made));
        }
        auto page = dbo::Make<dbo::TDboPage>(&design);
        page->PageName = name;
        page->Width = 9700;
        page->Height = 7200;
        return schematics->AddPage(std::move(page));
    }

    // A saved, open sheet in the folder, made as a page document is.
    ISch_Document* Sheet(const std::string& name) {
        IServerDocument* server = OpenOrCreateDocument(app, (folder / name).string(), "SCH", "Binary", true);
        return app.SchDocumentOf(server);
    }

    template <class T>
    T* Create(int32_t kind) {
        return dynamic_cast<T*>(app.SchServer()->CreateSchObject(kind, 0));
    }

    ISch_SheetSymbol* Symbol(ISch_Document* sheet, const std::string& designator, const std::string& files) {
        auto* symbol = Create<ISch_SheetSymbol>(eSheetSymbol);
        symbol->GetState_SheetName()->SetState_Text(designator);
        symbol->GetState_SheetFileName()->SetState_Text(files);
        symbol->SetState_XSize(importer::MilToCoord(1000));
        symbol->SetState_YSize(importer::MilToCoord(1000));
        sheet->AddSchObject(symbol);
        return symbol;
    }

    void Entry(ISch_SheetSymbol* symbol, const std::string& name, int32_t ioType) {
        auto* entry = Create<ISch_SheetEntry>(eSheetEntry);
        entry->SetState_Name(name);
        entry->SetState_IOType(ioType);
        symbol->AddSchObject(entry);
    }

    void Port(ISch_Document* sheet, const std::string& name) {
        auto* port = Create<ISch_Port>(ePort);
        port->SetState_Name(name);
        sheet->AddSchObject(port);
    }

    fs::path folder;
    HostApplication app;
    dbo::TDboDesign design;
    ImporterOptions options;
    LogSection log;
    IProject* project = nullptr;
};

}  // namespace

TEST_F(DesignImportTest, PagesImportInNaturalOrderUnderNamesGivenInFileOrder) {
    // File order: view ZED first, whose page MAIN takes the name MAIN.SchDoc; ALPHA's MAIN comes
    // second and becomes MAIN1.SchDoc, although ALPHA imports first.
    AddPage("ZED", "Page10");
    AddPage("ZED", "MAIN");
    AddPage("ZED", "page2");
    AddPage("ALPHA", "MAIN");
    StringList documents, models;
    importer::AnalyzeDesign(design, &documents, &models);
    EXPECT_EQ(documents.items,
              (std::vector<std::string>{"Page10.SchDoc", "MAIN.SchDoc", "page2.SchDoc", "MAIN1.SchDoc"}));
    EXPECT_TRUE(models.items.empty());

    bool templates = true;
    importer::ImportDesign(app, design, "", &options, nullptr, 100, &log, folder.string(), project, templates);
    EXPECT_FALSE(templates);
    EXPECT_EQ(ProjectFiles(project),
              (std::vector<std::string>{"MAIN1.SchDoc", "MAIN.SchDoc", "page2.SchDoc", "Page10.SchDoc"}));
    for (auto& name : ProjectFiles(project)) EXPECT_TRUE(fs::exists(folder / name)) << name;
    // Every page document is closed once the import ends.
    EXPECT_EQ(app.SchServer()->GetSchDocumentByPath((folder / "MAIN.SchDoc").string()), nullptr);
    // A page of 9700 by 7200 mils with no margin and no zones matches no sheet style.
    ISch_Document* sheet = app.SchDocumentOf(app.OpenDocumentFile((folder / "MAIN.SchDoc").string()));
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(sheet->GetState_CustomX(), importer::MilToCoord(9700));
    EXPECT_TRUE(log.AllMessages(kLogError).empty());
}

TEST_F(DesignImportTest, DesignOfNoPagesMakesNoDocuments) {
    bool templates = true;
    importer::ImportDesign(app, design, "", &options, nullptr, 100, &log, folder.string(), project, templates);
    EXPECT_FALSE(templates);
    EXPECT_TRUE(ProjectFiles(project).empty());
    EXPECT_TRUE(log.AllMessages(kLogError).empty());
}

TEST_F(DesignImportTest, SymbolsOfSeveralPagesGetIntermediateSheets) {
    ISch_Document* top = Sheet("TOP.SchDoc");
    ISch_Document* b10 = Sheet("B10.SchDoc");
    ISch_Document* b2 = Sheet("B2.SchDoc");
    ISch_Document* other = Sheet("OTHER.SchDoc");
    ISch_SheetSymbol* power = Symbol(top, "Power", "B10.SchDoc;b2.schdoc;MISSING.SchDoc");
    Entry(power, "D[0..7]", 2);
    Entry(power, "EN", 1);
    ISch_SheetSymbol* lost = Symbol(top, "Lost", "X.SchDoc;Y.SchDoc");
    ISch_SheetSymbol* bare = Symbol(other, "Bare", "B2.SchDoc;B10.SchDoc");
    Port(b10, "EN");
    Port(b10, "D[0..7]");
    Port(b10, "en");  // case counts: no entry
    Port(b2, "NOTHING");

    importer::TSCHDesignImporter importer(app, &design, "", &options, nullptr, 100, &log, folder.string(), project);
    importer.UpdateSheetSymbols(folder.string(), {top, b10, b2, other});

    EXPECT_EQ(power->GetState_SheetFileName()->GetState_Text(), "Power.SchDoc");
    EXPECT_EQ(lost->GetState_SheetFileName()->GetState_Text(), "X.SchDoc;Y.SchDoc");  // names nothing imported
    EXPECT_EQ(bare->GetState_SheetFileName()->GetState_Text(), "Bare.SchDoc");
    EXPECT_EQ(ProjectFiles(project), (std::vector<std::string>{"Power.SchDoc", "Bare.SchDoc"}));

    ISch_Document* sheet = app.SchServer()->GetSchDocumentByPath((folder / "Power.SchDoc").string());
    ASSERT_NE(sheet, nullptr);
    ASSERT_TRUE(fs::exists(folder / "Power.SchDoc"));
    auto symbols = importer::CollectObjects<ISch_SheetSymbol>(sheet, {eSheetSymbol});
    ASSERT_EQ(symbols.size(), 2u);
    // Natural order of the file names: B2 before B10.
    EXPECT_EQ(symbols[0]->GetState_SheetName()->GetState_Text(), "B2");
    EXPECT_EQ(symbols[1]->GetState_SheetName()->GetState_Text(), "B10");
    EXPECT_EQ(symbols[1]->GetState_SheetFileName()->GetState_Text(), "B10.SchDoc");
    EXPECT_TRUE(symbols[1]->GetState_SheetFileName()->GetState_IsHidden());
    // B2 has no port that an entry bears: no entries, the smallest height.
    EXPECT_TRUE(importer::CollectObjects<ISch_SheetEntry>(symbols[0], {eSheetEntry}).empty());
    EXPECT_EQ(symbols[0]->GetState_YSize(), importer::MilToCoord(300));
    // B10: its ports in their order, with the outer entries' types, 150 mils apart on the right.
    auto entries = importer::CollectObjects<ISch_SheetEntry>(symbols[1], {eSheetEntry});
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0]->GetState_Name(), "EN");
    EXPECT_EQ(entries[0]->GetState_IOType(), 1);
    EXPECT_EQ(entries[1]->GetState_Name(), "D[0..7]");
    EXPECT_EQ(entries[1]->GetState_IOType(), 2);
    EXPECT_EQ(entries[1]->GetState_DistanceFromTop(), importer::MilToCoord(250));
    EXPECT_EQ(entries[1]->GetState_Side(), 1);
    EXPECT_EQ(symbols[1]->GetState_YSize(), importer::MilToCoord(400));
    // Each entry has a stub, a bus for the bus name, and a port at the stub's end.
    EXPECT_EQ(importer::CollectObjects<ISch_Bus>(sheet, {eBus}).size(), 1u);
    EXPECT_EQ(importer::CollectObjects<ISch_Wire>(sheet, {eWire}).size(), 1u);
    auto ports = importer::CollectObjects<ISch_Port>(sheet, {ePort});
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(ports[0]->GetState_Name(), "EN");
    EXPECT_EQ(ports[0]->GetState_IOType(), 1);
    EXPECT_EQ(ports[0]->GetState_Style(), 2);
    // Symbols stand 2200 mils apart from x = 500 on the first row.
    EXPECT_EQ(symbols[0]->GetState_Location().X, importer::MilToCoord(500));
    EXPECT_EQ(symbols[1]->GetState_Location().X, importer::MilToCoord(2700));

    // The outer sheet was saved again: reopened, its symbol names the intermediate sheet.
    CloseServerDocument(app, top);
    ISch_Document* reopened = app.SchDocumentOf(app.OpenDocumentFile((folder / "TOP.SchDoc").string()));
    ASSERT_NE(reopened, nullptr);
    auto saved = importer::CollectObjects<ISch_SheetSymbol>(reopened, {eSheetSymbol});
    ASSERT_EQ(saved.size(), 2u);
    EXPECT_EQ(saved[0]->GetState_SheetFileName()->GetState_Text(), "Power.SchDoc");

    // An outer symbol without entries gives its children the full height.
    ISch_Document* bareSheet = app.SchServer()->GetSchDocumentByPath((folder / "Bare.SchDoc").string());
    ASSERT_NE(bareSheet, nullptr);
    for (auto* s : importer::CollectObjects<ISch_SheetSymbol>(bareSheet, {eSheetSymbol}))
        EXPECT_EQ(s->GetState_YSize(), importer::MilToCoord(1400));
}

// The sample design as a whole: every page once in the project, in Capture's order, the PARAM
// parts given to the simulation profiles and gone from the sheets.
TEST(SampleDesign, ImportsEveryPageOnceWithoutItsParamParts) {
    auto folder = ScratchDir("sample_design");
    HostApplication app(ImportHostOptions(folder));
    app.StartSchServer();
    IProject* project = app.CreateProject((folder / "P1.VsProj").string());
    LogSection log;
    ImporterOptions options;
    dbo::TDboDesign design((fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator" / "P1_Olteanu_Rares.dsn").string(),
                           nullptr, 100, &log);
    ASSERT_TRUE(design.Load(false));
    bool templates = false;
    std::string library = importer::ImportLibrary(app, design, &options, nullptr, 100, &log, folder.string(), project,
                                                  false, templates);
    templates = false;
    importer::ImportDesign(app, design, library, &options, nullptr, 100, &log, folder.string(), project, templates);
    EXPECT_TRUE(templates);
    // The one model found beside the design joins the project where the page naming it imports.
    EXPECT_EQ(ProjectFiles(project),
              (std::vector<std::string>{"P1_Olteanu_Rares_Library.SchLib", "FINAL.SchDoc", "QBC846B.mdl",
                                        "ERS_Complet.SchDoc", "VREF_TEST.SchDoc", "BUCLA_DESCHISA.SchDoc"}));
    EXPECT_EQ(ErrorsBesideMissingModels(log), SampleTemplatePinErrors());
    // The profiles that the project file lists are not beside the design, so the PARAM parts'
    // parameters have no profile to go to, and the log says so; no sheet keeps a PARAM part.
    auto warnings = log.AllMessages(kLogWarning);
    EXPECT_NE(std::find(warnings.begin(), warnings.end(), "Global parameter not carried over - R_LOAD = 800"),
              warnings.end());
    for (auto& name : ProjectFiles(project)) {
        if (!name.ends_with(".SchDoc")) continue;
        ISch_Document* sheet = app.SchDocumentOf(app.OpenDocumentFile((folder / name).string()));
        ASSERT_NE(sheet, nullptr) << name;
        for (auto* c : importer::CollectObjects<ISch_Component>(sheet, {eSchComponent}))
            EXPECT_FALSE(platform::SameTextNoCase(c->GetState_LibReference(), "PARAM")) << name;
    }
}

}  // namespace orcadx::test
