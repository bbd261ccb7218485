// Placed parts and hierarchical blocks on pages built here: components taken from the library that
// the library import makes, turned and mirrored so that every pin stands where Capture keeps it,
// with designator, value, part, display mode, footprint and properties; sheet symbols with their
// entries on the right sides; bundle blocks.
#include <gtest/gtest.h>

#include <map>

#include "ImportTestSupport.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboViewObjects.h"
#include "export/Manage_PageNames.h"
#include "host/SchObjects.h"
#include "import/SCHLibraryImport.h"
#include "import/SCHPageDocument.h"
#include "import/SCHSheetImport.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
using dbo::Make;
using importer::TSCHPageImporter;

class PartImportTest : public ::testing::Test {
protected:
    PartImportTest()
        : folder(ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name())),
          app(ImportHostOptions(folder)),
          design((folder / "test.DSN").string(), nullptr, 0, nullptr),
          lib(design) {
        app.StartSchServer();
        page = Make<dbo::TDboPage>(&design);
        page->PageName = "PAGE1";
    }

    // A component of 40 by 30 units with a pin on each side: L on the left, R on the right, T on
    // top, B at the bottom, each 10 long.
    dbo::TDboLibComponent* Quad(const std::string& name = "QUAD") {
        auto* c = lib.Component(name, "U", "SO8");
        auto* p = lib.Package(c, name);
        for (std::string view : {".Normal", ".Convert"}) {
            auto* v = lib.View(p, name + view, 40, 30);
            auto box = Make<dbo::TDboLibBox>(&design);
            box->LowerRightX = 40;
            box->LowerRightY = 30;
            box->FillStyle = 1;
            v->Graphics->Items.push_back(std::move(box));
            lib.Pin(v, "L", 0, 10, -10, 10);
            lib.Pin(v, "R", 40, 20, 50, 20);
            lib.Pin(v, "T", 20, 0, 20, -10);
            lib.Pin(v, "B", 10, 30, 10, 40);
        }
        lib.Part(c, name, {"1", "2", "3", "4"});
        return c;
    }

    dbo::TDboPart* Place(const std::string& component, const std::string& reference, int x, int y, int rotation = 0,
                         int mirror = 0) {
        auto part = Make<dbo::TDboPart>(&design);
        part->SrcPkg = component;
        part->ViewName = component + ".Normal";
        part->DesignatorStr = reference;
        part->LocationX = static_cast<int16_t>(x);
        part->LocationY = static_cast<int16_t>(y);
        part->SetRotation(rotation);
        part->SetMirror(mirror);
        auto* raw = part.get();
        page->PartsAndBlocks->Add(std::move(part));
        return raw;
    }

    // The library, the sheet and the importer, made once.
    TSCHPageImporter& Importer() {
        if (!importer) {
            bool templates = false;
            libraryPath = importer::ImportLibrary(app, design, &options, nullptr, 0, &log, folder.string(), nullptr,
                                                  false, templates);
            names.GetUniquePageName("SCHEMATIC1", page->PageName);
            sheet = importer::CreatePageDocument(app, folder.string(), nullptr, &options, names, "SCHEMATIC1", *page);
            importer = std::make_unique<TSCHPageImporter>(app, &design, libraryPath, &options, &log, page.get(), sheet,
                                                          &names);
        }
        return *importer;
    }

    void Run() { Importer().RunImport(); }

    template <class T>
    std::vector<T*> On(int32_t kind) {
        return ChildrenOf<T>(sheet, kind);
    }

    Coord At(int x, int y) { return {Importer().ToCoordX(x), Importer().ToCoordY(y)}; }

    // Where the pins of a placed component connect, by pin name (those the sheet shows).
    std::map<std::string, Coord> PinEnds(ISch_Component* c) {
        std::map<std::string, Coord> out;
        auto it = c->SchIterator_Create({ePin}, eIterateFirstLevel);
        for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject())
            out[dynamic_cast<ISch_Pin*>(o)->GetState_Name()] = impl::PinHotSpot(*impl::CoreOf(o));
        return out;
    }

    static std::map<std::string, ISch_Parameter*> Parameters(ISch_BasicContainer* c) {
        std::map<std::string, ISch_Parameter*> out;
        for (auto* p : ChildrenOf<ISch_Parameter>(c, eParameter)) out[p->GetState_Name()] = p;
        return out;
    }

    std::filesystem::path folder;
    HostApplication app;
    dbo::TDboDesign design;
    LibraryBuilder lib;
    std::unique_ptr<dbo::TDboPage> page;
    ImporterOptions options;
    LogSection log;
    exporter::TPageNameManager names;
    std::string libraryPath;
    ISch_Document* sheet = nullptr;
    std::unique_ptr<TSCHPageImporter> importer;
};

TEST_F(PartImportTest, EightOrientationsPutEveryPinWhereCaptureHasIt) {
    Quad();
    // Where Capture keeps the pins' ends of a part at (0, 0), for each rotation, unmirrored and then
    // mirrored: mirrored left to right within the symbol first, then turned a quarter
    // counter-clockwise per step, the turned symbol's upper left corner staying at the location.
    // This is the rule that every pin of the sample designs follows.
    struct Ends {
        int lx, ly, rx, ry, tx, ty, bx, by;
    };
    const Ends capture[2][4] = {
        {{-10, 10, 50, 20, 20, -10, 10, 40},
         {10, 50, 20, -10, -10, 20, 40, 30},
         {50, 20, -10, 10, 20, 40, 30, -10},
         {20, -10, 10, 50, 40, 20, -10, 10}},
        {{50, 10, -10, 20, 20, -10, 30, 40},
         {10, -10, 20, 50, -10, 20, 40, 10},
         {-10, 20, 50, 10, 20, 40, 10, -10},
         {20, 50, 10, -10, 40, 20, -10, 30}},
    };
    for (int mirror = 0; mirror < 2; ++mirror)
        for (int rotation = 0; rotation < 4; ++rotation)
            Place("QUAD", "U" + std::to_string(mirror * 4 + rotation + 1), 100 + 100 * rotation, 200 + 200 * mirror,
                  rotation, mirror);
    Run();
    auto components = On<ISch_Component>(eSchComponent);
    ASSERT_EQ(components.size(), 8u);
    for (int mirror = 0; mirror < 2; ++mirror)
        for (int rotation = 0; rotation < 4; ++rotation) {
            SCOPED_TRACE("rotation " + std::to_string(rotation) + ", mirror " + std::to_string(mirror));
            ISch_Component* c = components[static_cast<size_t>(mirror * 4 + rotation)];
            const int x = 100 + 100 * rotation, y = 200 + 200 * mirror;
            const Ends& e = capture[mirror][rotation];
            std::map<std::string, Coord> ends = PinEnds(c);
            EXPECT_EQ(ends["L"], At(x + e.lx, y + e.ly));
            EXPECT_EQ(ends["R"], At(x + e.rx, y + e.ry));
            EXPECT_EQ(ends["T"], At(x + e.tx, y + e.ty));
            EXPECT_EQ(ends["B"], At(x + e.bx, y + e.by));
            EXPECT_EQ(c->GetState_IsMirrored(), mirror != 0);
            // A quarter turn of a mirrored part runs the other way in the host.
            EXPECT_EQ(c->GetState_Orientation(), mirror && (rotation & 1) ? 4 - rotation : rotation);
        }
}

TEST_F(PartImportTest, APartTakesItsComponentWithDesignatorValueAndProperties) {
    dbo::TDboLibComponent* quad = Quad();
    (void)quad;
    dbo::TDboPart* part = Place("QUAD", "U7", 100, 100);
    part->SetValue("LM358");
    part->SetHighFlag(true);
    part->SetColor(3);
    part->ViewName = "QUAD.Convert";
    part->AddProp("Tolerance", "5%");
    part->AddProp("PCB Footprint", "SO8");  // the library's own footprint: not twice
    // Shown properties stand where Capture shows them, relative to the part.
    part->AddVisibleProp("Note", "shown", 30, -10, 0, 0, 0, 0, 48)->DisplayFormat = 1;
    part->AddVisibleProp("Part Reference", "U7", 0, -20, 0, 0, 0, 0, 48)->DisplayFormat = 1;
    // Pin 3 is marked as not connected, pin 1 has a wire.
    for (auto [number, wire, x, y] : {std::tuple{1, 7, 90, 110}, std::tuple{-3, 0, 120, 90}}) {
        auto props = Make<dbo::TDboPinPropsScalar>(&design);
        props->PinNumber = static_cast<uint16_t>(number);
        props->WireId = wire;
        props->LocationX = static_cast<int16_t>(x);
        props->LocationY = static_cast<int16_t>(y);
        part->PinProps.Add(std::move(props));
    }
    dbo::TDboPart* other = Place("QUAD", "U8", 300, 100);
    other->SetValue("1M");
    other->AddProp("PCB Footprint", "DIP8");
    design.AddString("1m");  // a value that differs only in case stays as it is
    Place("NOSUCH", "X1", 500, 100);  // not in the library: left out without a message
    Run();

    auto components = On<ISch_Component>(eSchComponent);
    ASSERT_EQ(components.size(), 2u);
    ISch_Component* c = components[0];
    EXPECT_EQ(c->GetState_LibReference(), "QUAD");
    EXPECT_EQ(c->GetState_SchDesignator()->GetState_Text(), "U7");
    EXPECT_FALSE(c->GetState_SchDesignator()->GetState_IsHidden());
    // Capture places a text by its top, the host by its foot: one line (10 points) lower.
    EXPECT_EQ(c->GetState_SchDesignator()->GetState_Location(), At(100, 90));
    EXPECT_TRUE(components[1]->GetState_SchDesignator()->GetState_IsHidden());  // Capture doesn't show it
    EXPECT_EQ(c->GetState_SchComment()->GetState_Text(), "LM358");
    EXPECT_EQ(components[1]->GetState_SchComment()->GetState_Text(), "1M");
    EXPECT_EQ(c->GetState_DisplayMode(), 1);
    EXPECT_EQ(components[1]->GetState_DisplayMode(), 0);
    EXPECT_TRUE(c->GetState_HighFlag());
    EXPECT_FALSE(components[1]->GetState_HighFlag());
    EXPECT_TRUE(c->GetState_IsPlaced());
    auto parameters = Parameters(c);
    EXPECT_EQ(parameters.count("Value"), 0u);  // the value is the comment
    ASSERT_EQ(parameters.count("Tolerance"), 1u);
    EXPECT_EQ(parameters["Tolerance"]->GetState_Text(), "5%");
    EXPECT_TRUE(parameters["Tolerance"]->GetState_IsHidden());
    ASSERT_EQ(parameters.count("Note"), 1u);
    EXPECT_FALSE(parameters["Note"]->GetState_IsHidden());
    EXPECT_EQ(parameters["Note"]->GetState_Location(), At(130, 100));
    for (auto& [name, p] : parameters) EXPECT_NE(name.rfind("Vantor-", 0), 0u) << name;
    // The footprint the library gave stays single; another one joins it.
    auto footprints = [](ISch_Component* component) {
        std::vector<std::string> out;
        for (auto* m : ChildrenOf<ISch_Implementation>(component, eImplementation))
            if (m->GetState_ModelType() == "PCBLIB") out.push_back(m->GetState_ModelName());
        return out;
    };
    EXPECT_EQ(footprints(c), std::vector<std::string>{"SO8"});
    EXPECT_EQ(footprints(components[1]), (std::vector<std::string>{"SO8", "DIP8"}));
    // The drawing takes the part's colour; a part of the default colour gets the host's blue.
    for (auto [component, color] : {std::pair{c, 0x84FF00}, std::pair{components[1], 0xFF0B00}}) {
        auto bodies = ChildrenOf<ISch_Rectangle>(component, eRectangle);
        ASSERT_EQ(bodies.size(), 1u);  // the shown mode's only
        EXPECT_EQ(bodies[0]->GetState_Color(), color);
    }
    // The pin marked as not connected gets its marker, the wired one none.
    auto markers = On<ISch_NoERC>(eNoERC);
    ASSERT_EQ(markers.size(), 1u);
    EXPECT_EQ(markers[0]->GetState_Location(), At(120, 90));
    EXPECT_TRUE(log.AllMessages(kLogError).empty());
    EXPECT_TRUE(log.AllMessages(kLogWarning).empty());
}

TEST_F(PartImportTest, TextsOfAPartAtTheEdgeOfThePageStayAtThatEdge) {
    Quad();
    // Capture's farthest corners lie beyond the host's 32-bit plane: the part stops at its edge, and
    // its texts, moved by their rotation or the part's, stay there instead of wrapping round.
    dbo::TDboPart* near = Place("QUAD", "U1", 32767, 32767);
    dbo::TDboPart* far = Place("QUAD", "U2", -32768, -32768, 2);
    for (int rotation = 0; rotation < 4; ++rotation) {
        near->AddVisibleProp("N" + std::to_string(rotation), "n", 0, 0, 0, 0, 0, rotation, 48)->DisplayFormat = 1;
        far->AddVisibleProp("F", "f", 0, 0, 0, 0, 0, 3, 48)->DisplayFormat = 1;
    }
    Run();
    auto components = On<ISch_Component>(eSchComponent);
    ASSERT_EQ(components.size(), 2u);
    // Within ten inches of the corner (the symbol itself is shifted to stand by its top left).
    auto nearCorner = [](Coord p, Coord corner) {
        return std::llabs(int64_t(p.X) - corner.X) < 100000000 && std::llabs(int64_t(p.Y) - corner.Y) < 100000000;
    };
    auto nearParameters = Parameters(components[0]);
    for (int rotation = 0; rotation < 4; ++rotation) {
        ASSERT_EQ(nearParameters.count("N" + std::to_string(rotation)), 1u);
        Coord p = nearParameters["N" + std::to_string(rotation)]->GetState_Location();
        EXPECT_TRUE(nearCorner(p, {INT32_MAX, INT32_MIN})) << rotation << ": " << p.X << ", " << p.Y;
    }
    auto farParameters = Parameters(components[1]);
    ASSERT_EQ(farParameters.count("F"), 1u);
    Coord p = farParameters["F"]->GetState_Location();
    EXPECT_TRUE(nearCorner(p, {INT32_MIN, INT32_MAX})) << p.X << ", " << p.Y;
}

TEST_F(PartImportTest, EachPartOfAComponentShowsItsOwnPackage) {
    // Three packages of different widths, one per part; the third part turned half way round needs
    // the third package's extents to stand right.
    auto* c = lib.Component("TRIPLE", "U");
    const int widths[3] = {40, 60, 80};
    for (int n = 0; n < 3; ++n) {
        std::string name = std::string("TRIPLE") + char('A' + n);
        auto* v = lib.View(lib.Package(c, name), name + ".Normal", widths[n], 30);
        lib.Pin(v, "IN" + std::to_string(n), 0, 10, -10, 10);
        lib.Pin(v, "OUT" + std::to_string(n), widths[n], 20, widths[n] + 10, 20);
        lib.Part(c, name, {std::to_string(2 * n + 1), std::to_string(2 * n + 2)});
    }
    dbo::TDboPart* part = Place("TRIPLE", "U1", 200, 300, 2);
    part->ViewName = "TRIPLEC.Normal";
    part->PartNo = 2;
    Run();
    auto components = On<ISch_Component>(eSchComponent);
    ASSERT_EQ(components.size(), 1u);
    EXPECT_EQ(components[0]->GetState_CurrentPartId(), 3);
    std::map<std::string, Coord> ends = PinEnds(components[0]);
    ASSERT_EQ(ends.size(), 2u);  // only the third part's pins show
    EXPECT_EQ(ends["IN2"], At(200 + 80 + 10, 300 + 20));
    EXPECT_EQ(ends["OUT2"], At(200 - 10, 300 + 10));
}

// ----- Sheet symbols -----------------------------------------------------------------------------

class BlockImportTest : public PartImportTest {
protected:
    // A block of 100 by 60 for the view CHILD with a pin on each side.
    dbo::TDboHierarchicalBlock* AddBlock(const std::string& reference, int x, int y, int rotation = 0, int mirror = 0) {
        auto block = Make<dbo::TDboHierarchicalBlock>(&design);
        block->SetRefStr(reference);
        block->SetImplementation("CHILD");
        block->Width = 100;
        block->Height = 60;
        block->LocationX = static_cast<int16_t>(x);
        block->LocationY = static_cast<int16_t>(y);
        block->SetRotation(rotation);
        block->SetMirror(mirror);
        struct P {
            const char* name;
            int x, y, type;
        };
        for (P p : {P{"LEFT", 0, 20, 0}, P{"RIGHT", 100, 30, 1}, P{"D[0:7]", 40, 0, 2}, P{"BOTTOM", 50, 60, 3}}) {
            auto pin = Make<dbo::TDboPinScalar>(&design);
            pin->PinName = p.name;
            pin->OffsetX = pin->EndX = p.x;
            pin->OffsetY = pin->EndY = p.y;
            pin->PinType = p.type;
            block->GetPins()->Add(std::move(pin));
        }
        auto* raw = block.get();
        page->PartsAndBlocks->Add(std::move(block));
        return raw;
    }
};

TEST_F(BlockImportTest, BlocksBecomeSheetSymbolsWithEntriesOnTheirSides) {
    // The view's two pages are named before the import, as the design import names them all.
    names.GetUniquePageName("CHILD", "Part A");
    names.GetUniquePageName("CHILD", "Part B");
    struct Case {
        int rotation, mirror;
    };
    const Case cases[] = {{0, 0}, {0, 1}, {1, 0}, {1, 1}, {2, 0}, {2, 1}, {3, 0}, {3, 1}};
    int n = 0;
    for (Case k : cases) {
        AddBlock("B" + std::to_string(n), 100 + 200 * (n % 4), 100 + 300 * (n / 4), k.rotation, k.mirror);
        ++n;
    }
    Run();
    auto symbols = On<ISch_SheetSymbol>(eSheetSymbol);
    ASSERT_EQ(symbols.size(), 8u);
    // Capture's places of the pins LEFT, RIGHT, D[0:7], BOTTOM, relative to the block's location:
    // mirrored within the block first, then turned, as for parts.
    const int places[8][4][2] = {
        {{0, 20}, {100, 30}, {40, 0}, {50, 60}},  {{100, 20}, {0, 30}, {60, 0}, {50, 60}},
        {{20, 100}, {30, 0}, {0, 60}, {60, 50}},  {{20, 0}, {30, 100}, {0, 40}, {60, 50}},
        {{100, 40}, {0, 30}, {60, 60}, {50, 0}},  {{0, 40}, {100, 30}, {40, 60}, {50, 0}},
        {{40, 0}, {30, 100}, {60, 40}, {0, 50}},  {{40, 100}, {30, 0}, {60, 60}, {0, 50}},
    };
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE("rotation " + std::to_string(cases[i].rotation) + ", mirror " + std::to_string(cases[i].mirror));
        ISch_SheetSymbol* s = symbols[static_cast<size_t>(i)];
        const int x = 100 + 200 * (i % 4), y = 100 + 300 * (i / 4);
        const bool turned = cases[i].rotation & 1;
        EXPECT_EQ(s->GetState_Location(), At(x, y));  // mirrored or not, the corner stays
        EXPECT_EQ(s->GetState_XSize(), (turned ? 60 : 100) * 100000);
        EXPECT_EQ(s->GetState_YSize(), (turned ? 100 : 60) * 100000);
        EXPECT_EQ(s->GetState_SheetName()->GetState_Text(), "B" + std::to_string(i));
        EXPECT_EQ(s->GetState_SheetFileName()->GetState_Text(), "Part A.SchDoc;Part B.SchDoc");
        auto entries = ChildrenOf<ISch_SheetEntry>(s, eSheetEntry);
        ASSERT_EQ(entries.size(), 4u);
        EXPECT_EQ(entries[2]->GetState_Name(), "D[0..7]");
        for (int k = 0; k < 4; ++k)
            EXPECT_EQ(entries[static_cast<size_t>(k)]->GetState_Location(), At(x + places[i][k][0], y + places[i][k][1]))
                << entries[static_cast<size_t>(k)]->GetState_Name();
    }
    // Sides and arrows unturned: LEFT (input) on the left, RIGHT (bidirectional) on the right,
    // D (output) on top, BOTTOM (output) at the bottom.
    auto entries = ChildrenOf<ISch_SheetEntry>(symbols[0], eSheetEntry);
    std::vector<std::tuple<int, int, int, int>> got;
    for (auto* e : entries)
        got.emplace_back(e->GetState_Side(), e->GetState_DistanceFromTop(), e->GetState_IOType(), e->GetState_Style());
    EXPECT_EQ(got, (std::vector<std::tuple<int, int, int, int>>{
                       {0, 2000000, 2, 2}, {1, 3000000, 3, 3}, {2, 4000000, 1, 5}, {3, 5000000, 1, 6}}));
    // Mirrored, the right side's bidirectional entry arrows both ways on the left; input turns.
    entries = ChildrenOf<ISch_SheetEntry>(symbols[1], eSheetEntry);
    EXPECT_EQ(entries[0]->GetState_Side(), 1);
    EXPECT_EQ(entries[0]->GetState_Style(), 1);
    EXPECT_EQ(entries[1]->GetState_Side(), 0);
    EXPECT_EQ(entries[1]->GetState_Style(), 3);
}

TEST_F(BlockImportTest, ABlockOfTheBundlingKindBecomesABundleBlock) {
    dbo::TDboHierarchicalBlock* block = AddBlock("BUS", 100, 100, 2);
    block->UnknownW_3 = 34;
    for (auto [name, x, y] : {std::tuple{"bus", 0, 25}, std::tuple{"EXTRA", 30, 60}}) {
        // The pin named like the block is the bundle's own place.
        auto pin = Make<dbo::TDboPinScalar>(&design);
        pin->PinName = name;
        pin->OffsetX = x;
        pin->OffsetY = y;
        block->GetPins()->Add(std::move(pin));
    }
    block->SetColor(8);
    Run();
    EXPECT_TRUE(On<ISch_SheetSymbol>(eSheetSymbol).empty());
    auto bundles = On<ISch_BundleBlock>(eBundleBlock);
    ASSERT_EQ(bundles.size(), 1u);
    ISch_BundleBlock* b = bundles[0];
    EXPECT_EQ(b->GetState_Name(), "BUS");
    EXPECT_EQ(b->GetState_XSize(), 10000000);
    EXPECT_EQ(b->GetState_YSize(), 6000000);
    EXPECT_EQ(b->GetState_Location(), At(100, 100));
    EXPECT_EQ(b->GetState_Color(), 0x0000FF);
    EXPECT_EQ(b->GetState_PrimaryPosition(), 2500000);
    // The edge takes the last other pin, EXTRA at (30, 60), on top at a half turn; unlike a sheet
    // entry (at 70) it keeps its distance from the left.
    ISch_BundleEdge* edge = b->GetState_Edge();
    EXPECT_EQ(edge->GetState_Name(), "EXTRA");
    EXPECT_EQ(edge->GetState_Side(), 2);
    EXPECT_EQ(edge->GetState_DistanceFromTop(), 3000000);
}

}  // namespace
}  // namespace orcadx::test
