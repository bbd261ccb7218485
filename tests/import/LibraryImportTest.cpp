// The library import on files built in code: components from packages and parts, pins, aliases,
// reference and footprint, extent parameters, symbols, the library document and its progress.
#include <gtest/gtest.h>

#include <map>

#include "ImportTestSupport.h"
#include "dbo/DboGraphicObjects.h"
#include "import/SCHLibraryImport.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
using importer::ImportLibrary;

class LibraryImportTest : public ::testing::Test {
protected:
    LibraryImportTest() : bench(::testing::UnitTest::GetInstance()->current_test_info()->name()), lib(bench.design) {
        // Import into a fresh document; the bench's own library document is closed.
        bench.app.Client()->CloseDocument(bench.app.Client()->GetDocumentByPath(bench.library->GetState_DocumentName()));
        bench.library = nullptr;
        std::filesystem::remove(bench.folder / "test_Library.SchLib");
        project = bench.app.CreateProject((bench.folder / "test.VsProj").string());
    }

    // Runs the import and opens the library it made.
    ISch_Lib* Import(bool libraryOnly = true, IHandler_Status* status = nullptr, int32_t progress = 100) {
        bool templates = false;
        path = ImportLibrary(bench.app, bench.design, &bench.options, status, progress, &bench.log,
                             bench.folder.string(), project, libraryOnly, templates);
        if (path.empty()) return nullptr;
        IServerDocument* document = bench.app.OpenDocumentFile(path);
        return dynamic_cast<ISch_Lib*>(bench.app.SchDocumentOf(document));
    }

    static std::map<std::string, ISch_Parameter*> Parameters(ISch_BasicContainer* c) {
        std::map<std::string, ISch_Parameter*> out;
        for (auto* p : ChildrenOf<ISch_Parameter>(c, eParameter)) out[p->GetState_Name()] = p;
        return out;
    }

    static std::vector<ISch_Pin*> Pins(ISch_Component* c) { return ChildrenOf<ISch_Pin>(c, ePin); }

    ImportBench bench;
    LibraryBuilder lib;
    IProject* project = nullptr;
    std::string path;
};

TEST_F(LibraryImportTest, APackageWithTwoPartsAndAConvertViewBecomesOneComponent) {
    auto* c = lib.Component("AMP", "U", "SO8");
    auto* p = lib.Package(c, "AMP");
    for (const char* view : {"AMP.Normal", "AMP.Convert"}) {
        auto* v = lib.View(p, view, 40, 30, 1);
        lib.Pin(v, "IN", 0, 10, -10, 10, 0);
        lib.Pin(v, "OUT", 40, 10, 50, 10, 2, 32 | 4 | 2);
        lib.Pin(v, "NC", 20, 30, 20, 40, 4, 0);
    }
    lib.Part(c, "AMP", {"1", "2", "3"});
    lib.Part(c, "AMP", {"5", "", "7"});
    bench.design.Lib->AddAlias("amp", "AMP-A");
    bench.design.Lib->AddAlias("OTHER", "OTHER-A");
    bench.design.Lib->AddAlias("Amp", "AMP-B");

    ISch_Lib* library = Import(true);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(path, (bench.folder / "test_Library.SchLib").string());
    EXPECT_EQ(library->GetState_ComponentCount(), 1);  // the initial component is gone
    EXPECT_EQ(library->GetState_SchComponentByLibRef("Component_1"), nullptr);
    EXPECT_EQ(library->GetState_DisplayUnit(), eUnitAutoImperial);
    ISch_Component* amp = library->GetState_SchComponentByLibRef("AMP");
    ASSERT_NE(amp, nullptr);
    EXPECT_EQ(amp->GetState_PartCount(), 2);
    EXPECT_EQ(amp->GetState_DisplayModeCount(), 2);
    EXPECT_EQ(amp->GetState_SchDesignator()->GetState_Text(), "U?");
    ASSERT_EQ(amp->GetState_AliasCount(), 2);
    EXPECT_EQ(amp->GetState_Alias(0), "AMP-A");
    EXPECT_EQ(amp->GetState_Alias(1), "AMP-B");
    auto implementations = ChildrenOf<ISch_Implementation>(amp, eImplementation);
    ASSERT_EQ(implementations.size(), 1u);
    EXPECT_EQ(implementations[0]->GetState_ModelName(), "SO8");
    EXPECT_EQ(implementations[0]->GetState_ModelType(), "PCBLIB");

    auto pins = Pins(amp);
    ASSERT_EQ(pins.size(), 12u);  // 2 parts x 2 views x 3 pins
    std::map<std::tuple<int, int, std::string>, ISch_Pin*> byPlace;
    for (auto* pin : pins)
        byPlace[{pin->GetState_OwnerPartId(), pin->GetState_OwnerPartDisplayMode(), pin->GetState_Name()}] = pin;
    ASSERT_EQ(byPlace.size(), 12u);
    ISch_Pin* in = byPlace[{1, 0, "IN"}];
    EXPECT_EQ(in->GetState_Designator(), "1");
    EXPECT_EQ(in->GetState_Location(), (Coord{0, -1000000}));
    EXPECT_EQ(in->GetState_Orientation(), 2);
    EXPECT_EQ(in->GetState_PinLength(), 1000000);
    EXPECT_EQ(in->GetState_Electrical(), 0);
    EXPECT_FALSE(in->GetState_IsHidden());
    EXPECT_TRUE(in->GetState_ShowName());
    EXPECT_TRUE(in->GetState_ShowDesignator());
    ISch_Pin* out1 = byPlace[{1, 1, "OUT"}];
    EXPECT_EQ(out1->GetState_Designator(), "2");
    EXPECT_EQ(out1->GetState_Orientation(), 0);
    EXPECT_EQ(out1->GetState_Electrical(), 2);
    EXPECT_EQ(out1->GetState_InnerEdge(), 1);
    EXPECT_EQ(out1->GetState_OuterEdge(), 3);
    ISch_Pin* nc = byPlace[{2, 0, "NC"}];
    EXPECT_EQ(nc->GetState_Designator(), "7");
    EXPECT_EQ(nc->GetState_Orientation(), 3);
    EXPECT_TRUE(nc->GetState_IsHidden());
    // An empty pin number shows the pin's name as designator, and hides it.
    for (int mode : {0, 1}) {
        ISch_Pin* unnumbered = byPlace[{2, mode, "OUT"}];
        EXPECT_EQ(unnumbered->GetState_Designator(), "OUT");
        EXPECT_FALSE(unnumbered->GetState_ShowDesignator());
    }

    auto parameters = Parameters(amp);
    ASSERT_TRUE(parameters.count("Vantor-Right"));
    EXPECT_EQ(parameters["Vantor-Right"]->GetState_Text(), "40");
    EXPECT_EQ(parameters["Vantor-Bottom"]->GetState_Text(), "30");
    EXPECT_TRUE(parameters["Vantor-Right"]->GetState_IsHidden());
    EXPECT_EQ(parameters.count("Vantor-Right1"), 0u);

    ASSERT_EQ(project->GetDocumentCount(), 1);
    EXPECT_EQ(project->GetDocument(0)->GetFileName(), "test_Library.SchLib");
    ASSERT_EQ(bench.log.Sections().size(), 1u);
    EXPECT_EQ(bench.log.Sections()[0]->Title(), "Importing Library - test_Library.SchLib");
    EXPECT_TRUE(bench.log.AllMessages().empty());

    importer::RemoveExtentParameters(bench.app, path);
    library = dynamic_cast<ISch_Lib*>(bench.app.SchDocumentOf(bench.app.OpenDocumentFile(path)));
    amp = library->GetState_SchComponentByLibRef("AMP");
    parameters = Parameters(amp);
    EXPECT_EQ(parameters.count("Vantor-Right"), 0u);
    EXPECT_EQ(parameters.count("Vantor-Bottom"), 0u);
    EXPECT_EQ(Pins(amp).size(), 12u);
}

TEST_F(LibraryImportTest, PartsCountUpAndPackagesAreFoundByName) {
    auto* three = lib.Component("THREE");
    auto* p = lib.Package(three, "THREE");
    lib.Pin(lib.View(p, "THREE.Normal"), "A", 0, 0, -10, 0);
    for (int i = 0; i < 3; ++i) lib.Part(three, "THREE", {std::to_string(i + 1)});

    // Two packages: a part finds its package by exact name, else by its own index.
    auto* multi = lib.Component("MULTI");
    auto* big = lib.Package(multi, "BIG");
    lib.Pin(lib.View(big, "BIG.Normal", 80, 60), "B", 0, 0, -10, 0);
    auto* small = lib.Package(multi, "SMALL");
    lib.Pin(lib.View(small, "SMALL.Normal", 20, 10), "S", 0, 0, -10, 0);
    lib.Part(multi, "SMALL", {"9"});
    lib.Part(multi, "small", {"8"});    // no package of that exact name: package 1, SMALL
    lib.Part(multi, "NOWHERE", {"7"});  // nor of its index: logged
    // Before the host tidies the numbering, three parts have raised the part count by 3 and the
    // current part by 2.
    {
        auto* document = bench.app.SchDocumentOf(
            OpenOrCreateDocument(bench.app, (bench.folder / "parts.SchLib").string(), "SCHLIB", "Binary", true));
        auto* parts = dynamic_cast<ISch_Lib*>(document);
        auto* c = dynamic_cast<ISch_Component*>(bench.Server().CreateSchObject(eSchComponent, 0));
        parts->AddSchComponent(c);
        parts->SetState_CurrentSchComponent(c);
        importer::TSCHLibraryComponentImporter importer(bench.app, &bench.design, &bench.options, &bench.log, parts, c,
                                                        three, nullptr);
        importer.ImportParts();
        EXPECT_EQ(c->GetState_PartCount(), 3);
        EXPECT_EQ(c->GetState_CurrentPartId(), 3);
    }
    ISch_Lib* library = Import(false);
    ASSERT_NE(library, nullptr);

    ISch_Component* c3 = library->GetState_SchComponentByLibRef("THREE");
    EXPECT_EQ(c3->GetState_PartCount(), 3);
    EXPECT_EQ(c3->GetState_CurrentPartId(), 3);
    std::vector<int32_t> owners;
    for (auto* pin : Pins(c3)) owners.push_back(pin->GetState_OwnerPartId());
    EXPECT_EQ(owners, (std::vector<int32_t>{1, 2, 3}));

    ISch_Component* m = library->GetState_SchComponentByLibRef("MULTI");
    std::vector<std::string> names;
    for (auto* pin : Pins(m)) names.push_back(pin->GetState_Name() + pin->GetState_Designator());
    EXPECT_EQ(names, (std::vector<std::string>{"S9", "S8"}));
    auto parameters = Parameters(m);
    EXPECT_EQ(parameters["Vantor-Right"]->GetState_Text(), "80");
    EXPECT_EQ(parameters["Vantor-Bottom"]->GetState_Text(), "60");
    EXPECT_EQ(parameters["Vantor-Right1"]->GetState_Text(), "20");
    EXPECT_EQ(parameters["Vantor-Bottom1"]->GetState_Text(), "10");
    EXPECT_EQ(bench.log.AllMessages(kLogError), (std::vector<std::string>{"Part MULTI cannot be imported correctly!"}));
}

TEST_F(LibraryImportTest, ZeroLengthPinsTurnToTheNearestSideAndPowerPinsHide) {
    auto* c = lib.Component("REG");
    auto* v = lib.View(lib.Package(c, "REG"), "REG.Normal", 40, 30);
    lib.Pin(v, "IN", 0, 10, -10, 10, 0);
    lib.Pin(v, "OUT", 40, 10, 50, 10, 2);
    lib.Pin(v, "TOP", 20, -10, 20, -10, 4);  // zero length, above the others
    lib.Pin(v, "VCC", 20, 10, 20, 10, 7);
    lib.Part(c, "REG", {"1", "2", "3", "4"});
    ISch_Lib* library = Import();
    ASSERT_NE(library, nullptr);
    std::map<std::string, ISch_Pin*> pins;
    for (auto* pin : Pins(library->GetState_SchComponentByLibRef("REG"))) pins[pin->GetState_Name()] = pin;
    EXPECT_EQ(pins["TOP"]->GetState_PinLength(), 0);
    EXPECT_EQ(pins["TOP"]->GetState_Orientation(), 1);
    EXPECT_FALSE(pins["TOP"]->GetState_IsHidden());
    EXPECT_TRUE(pins["VCC"]->GetState_IsHidden());
    EXPECT_EQ(pins["VCC"]->GetState_HiddenNetName(), "VCC");
    EXPECT_EQ(pins["VCC"]->GetState_Electrical(), 7);
    EXPECT_EQ(pins["OUT"]->GetState_HiddenNetName(), "");

    // The side rule on a body from (0, 0) to (400, -300) mils.
    auto* body = dynamic_cast<ISch_Component*>(bench.Server().CreateSchObject(eSchComponent, 0));
    auto* rect = dynamic_cast<ISch_Rectangle*>(bench.Server().CreateSchObject(eRectangle, 0));
    rect->SetState_Location({0, -3000000});
    rect->SetState_Corner({4000000, 0});
    body->AddSchObject(rect);
    auto* pin = dynamic_cast<ISch_Pin*>(bench.Server().CreateSchObject(ePin, 0));
    pin->SetState_PinLength(0);
    struct Case {
        Coord at;
        int side;
    };
    for (const Case& k : {Case{{2000000, 0}, 1}, Case{{1000000, -100000}, 1}, Case{{100000, -1500000}, 2},
                          Case{{3900000, -1500000}, 0}, Case{{2000000, -3000000}, 3}, Case{{3000000, -2900000}, 3}}) {
        pin->SetState_Location(k.at);
        EXPECT_EQ(importer::TSCHBaseLibraryComponentImporter::NearestEdge(pin, body), k.side)
            << k.at.X << "," << k.at.Y;
    }
    bench.Server().DestroySchObject(pin);
    bench.Server().DestroySchObject(body);
}

TEST_F(LibraryImportTest, OnlyTitleBlockSymbolsComeAcrossAndTheFillOptionIsRestored) {
    auto* title = lib.Symbol(dbo::kIdTitleBlockSymbol, "TitleBlock0", 300, 120);
    auto box = dbo::Make<dbo::TDboLibBox>(&bench.design);
    box->LowerRightX = 300;
    box->LowerRightY = 120;
    box->FillStyle = 1;  // hollow
    title->Graphics->Items.push_back(std::move(box));
    lib.Pin(title, "P", 0, 0, 0, 0);
    lib.Symbol(dbo::kIdPortSymbol, "PORTLEFT-L");
    lib.Symbol(dbo::kIdPowerSymbol, "VCC_ARROW");
    bench.options.defaultComponentFill = true;
    ISch_Lib* library = Import();
    ASSERT_NE(library, nullptr);
    EXPECT_TRUE(bench.options.defaultComponentFill);
    EXPECT_EQ(library->GetState_ComponentCount(), 1);
    ISch_Component* c = library->GetState_SchComponentByLibRef("TitleBlock0");
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->GetState_ComponentKind(), eComponentKind_Graphical);
    EXPECT_TRUE(c->GetState_SchDesignator()->GetState_IsHidden());
    auto rects = ChildrenOf<ISch_Rectangle>(c, eRectangle);
    ASSERT_EQ(rects.size(), 1u);
    EXPECT_FALSE(rects[0]->GetState_IsSolid());  // no component fill for a symbol
    EXPECT_EQ(rects[0]->GetState_Color(), 0x000000);  // the default colour, drawn in a title block
    auto pins = Pins(c);
    ASSERT_EQ(pins.size(), 1u);
    EXPECT_FALSE(pins[0]->GetState_ShowName());
    EXPECT_FALSE(pins[0]->GetState_ShowDesignator());
    auto parameters = Parameters(c);
    EXPECT_EQ(parameters["Vantor-Right"]->GetState_Text(), "300");
    EXPECT_EQ(parameters["Vantor-Bottom"]->GetState_Text(), "120");
}

TEST_F(LibraryImportTest, SkippedTitleBlocksAndPortSymbolsLeaveAnEmptyLibrary) {
    lib.Symbol(dbo::kIdTitleBlockSymbol, "TitleBlock0");
    lib.Symbol(dbo::kIdPortSymbol, "PORTRIGHT-R");
    bench.options.skipTitleBlocks = true;
    ISch_Lib* library = Import();
    ASSERT_NE(library, nullptr);  // the library is made, empty
    EXPECT_EQ(library->GetState_ComponentCount(), 0);
}

TEST_F(LibraryImportTest, AFileWithoutComponentsOrSymbolsMakesNothing) {
    bool templates = false;
    EXPECT_EQ(ImportLibrary(bench.app, bench.design, &bench.options, nullptr, 100, &bench.log, bench.folder.string(),
                            project, true, templates),
              "");
    EXPECT_FALSE(std::filesystem::exists(bench.folder / "test_Library.SchLib"));
    EXPECT_TRUE(bench.log.Sections().empty());
    EXPECT_EQ(project->GetDocumentCount(), 0);
    StringList documents, models;
    importer::AnalyzeLibrary(bench.design, &documents, &models);
    EXPECT_TRUE(documents.items.empty());
}

TEST_F(LibraryImportTest, AnalysisNamesTheLibraryAndTheModelsOfTheViews) {
    auto* a = lib.Component("Q1");
    auto* v = lib.View(lib.Package(a, "Q1"), "Q1.Normal");
    v->SetImplementationType(dbo::TDboLibView::kImplementationPSpiceModel);
    v->Implement = "Q2N2222";
    v->Path = "bipolar.lib";
    auto* b = lib.Component("R1");
    auto* w = lib.View(lib.Package(b, "R1"), "R1.Normal");
    w->SetImplementationType(dbo::TDboLibView::kImplementationPSpiceModel);  // no model named
    auto* e = lib.Component("X");
    lib.View(lib.Package(e, "X"), "X.Normal")->Implement = "NOTAMODEL";  // other type
    StringList documents, models;
    importer::AnalyzeLibrary(bench.design, &documents, &models);
    EXPECT_EQ(documents.items, (std::vector<std::string>{"test_Library.SchLib"}));
    EXPECT_EQ(models.items, (std::vector<std::string>{"Q2N2222"}));
    StringList only;
    importer::AnalyzeLibrary(bench.design, &only, nullptr);
    EXPECT_EQ(only.items.size(), 1u);
    EXPECT_EQ(importer::LibraryFileName("C:\\x\\Lib.v2.OLB", "out"), "out/Lib.v2_Library.SchLib");
    EXPECT_EQ(importer::LibraryFileName("/a/b/LIB.OLB", "out\\"), "out\\LIB_Library.SchLib");
}

TEST_F(LibraryImportTest, ProgressSpreadsEightTenthsOverTheItemsAndPackagesWithoutStreamsAreLogged) {
    for (const char* name : {"A", "B", "C"}) {
        auto* c = lib.Component(name);
        lib.View(lib.Package(c, name), std::string(name) + ".Normal");
        lib.Part(c, name, {});
    }
    auto entry = dbo::Make<dbo::TDboLibPkgDirEntry>(&bench.design);
    entry->EntryName = "LOST";
    bench.design.PkgDir->Add(std::move(entry));
    ProgressRecorder status;
    ASSERT_NE(Import(true, &status, 100), nullptr);
    EXPECT_EQ(status.steps, (std::vector<int32_t>{27, 26, 27}));  // 80 units over three components
    EXPECT_EQ(status.titles, (std::vector<std::string>{"Importing Library"}));
    EXPECT_EQ(status.lines, (std::vector<std::string>{"Importing Components"}));
    EXPECT_EQ(bench.log.AllMessages(kLogWarning),
              (std::vector<std::string>{"Package LOST was not imported: the file holds no readable stream \"Packages/LOST\"."}));
    status = ProgressRecorder();
    bench.log = LogSection();
    ASSERT_NE(Import(false, &status, 100), nullptr);  // a design's library takes the whole share
    EXPECT_EQ(status.steps, (std::vector<int32_t>{33, 34, 33}));
}

}  // namespace
}  // namespace orcadx::test
