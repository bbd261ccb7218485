// The page importer on pages built here: coordinates on the sheet, wires and buses with their net
// names and junctions, ports, power objects, off-page connectors, no-connect markers, title
// blocks, and the sheet that a page gets.
#include <gtest/gtest.h>

#include <fstream>

#include "ImportTestSupport.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboViewObjects.h"
#include "export/Manage_PageNames.h"
#include "import/SCHPageDocument.h"
#include "import/SCHSheetImport.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
using dbo::Make;
using importer::TSCHPageImporter;

// An OrCAD A page (9.7 by 7.2 inches, margin 0.1 inch) on the host's 10 mil grid: Capture's origin
// lies one margin in from the sheet's top left corner.
constexpr int32_t X(int32_t v) { return v * 100000 + 1000000; }
constexpr int32_t Y(int32_t v) { return 71000000 - v * 100000; }

// The rectangle lies on the sheet.
bool RectsInside(const CoordRect& r, ISch_Document* sheet) {
    return r.X1 >= 0 && r.Y1 >= 0 && r.X2 <= sheet->GetState_SheetSizeX() && r.Y2 <= sheet->GetState_SheetSizeY();
}

class PageTest : public ::testing::Test {
protected:
    PageTest()
        : folder(ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name())),
          app(ImportHostOptions(folder)),
          design((folder / "test.DSN").string(), nullptr, 0, nullptr) {
        app.StartSchServer();
        page = Make<dbo::TDboPage>(&design);
        page->PageName = "PAGE1";
    }

    // The page's sheet, made as the design import makes it, and an importer on it.
    TSCHPageImporter& Importer() {
        if (!importer) {
            sheet = importer::CreatePageDocument(app, folder.string(), nullptr, &options, names, "SCHEMATIC1", *page);
            importer = std::make_unique<TSCHPageImporter>(app, &design, "", &options, &log, page.get(), sheet, &names);
        }
        return *importer;
    }

    template <class T>
    std::vector<T*> On(int32_t kind) {
        Importer();
        return ChildrenOf<T>(sheet, kind);
    }

    dbo::TDboWireBus* AddWire(int x1, int y1, int x2, int y2, bool bus = false) {
        std::unique_ptr<dbo::TDboWireBus> w;
        if (bus) w = Make<dbo::TDboBus>(&design);
        else w = Make<dbo::TDboWire>(&design);
        w->StartX = x1, w->StartY = y1, w->EndX = x2, w->EndY = y2;
        auto* raw = w.get();
        page->WiresAndBuses->Add(std::move(w));
        return raw;
    }

    dbo::TDboWireAlias* AddAlias(dbo::TDboWireBus* wire, const std::string& name, int x, int y, int rotation = 0) {
        auto alias = Make<dbo::TDboWireAlias>(&design);
        alias->Name = name;
        alias->LocationX = x;
        alias->LocationY = y;
        alias->SetRotation(rotation);
        auto* raw = alias.get();
        wire->Aliases.Add(std::move(alias));
        return raw;
    }

    // A symbol of the design with its first pin at (px, py) inside the bounds (0, 0)-(right, bottom).
    void AddSymbol(int id, const std::string& name, int right, int bottom, int px, int py) {
        auto symbol = dbo::TDboLibSymbol::CreateSymbol(&design, id);
        symbol->ViewName = name;
        symbol->LibPathStr = "C:\\CAPSYM.OLB";
        symbol->Right = static_cast<int16_t>(right);
        symbol->Bottom = static_cast<int16_t>(bottom);
        auto pin = Make<dbo::TDboPinScalar>(&design);
        pin->OffsetX = px;
        pin->OffsetY = py;
        symbol->Pins->Add(std::move(pin));
        design.AddSymbol(std::move(symbol));
    }

    template <class T>
    T* AddPortInst(dbo::TDboSimpleObjectList& list, const std::string& name, const std::string& symbol, int x, int y,
                   int rotation = 0, int mirror = 0) {
        auto o = Make<T>(&design);
        o->SetPortName(name);
        o->SymName = symbol;
        o->LocationX = static_cast<int16_t>(x);
        o->LocationY = static_cast<int16_t>(y);
        o->SetRotation(rotation);
        o->SetMirror(mirror);
        auto* raw = o.get();
        list.Add(std::move(o));
        return raw;
    }

    // A port as it stands after loading: 30 wide, 20 high.
    dbo::TDboPort* AddPort(const std::string& name, const std::string& symbol, int x, int y, int rotation = 0,
                           int mirror = 0) {
        auto* p = AddPortInst<dbo::TDboPort>(*page->Ports, name, symbol, x, y, rotation, mirror);
        p->Width = 30;
        p->Height = 20;
        return p;
    }

    std::vector<std::string> Messages(int severity) { return log.AllMessages(severity); }

    std::filesystem::path folder;
    HostApplication app;
    dbo::TDboDesign design;
    std::unique_ptr<dbo::TDboPage> page;
    ImporterOptions options;
    LogSection log;
    exporter::TPageNameManager names;
    ISch_Document* sheet = nullptr;
    std::unique_ptr<TSCHPageImporter> importer;
};

}  // namespace

TEST(PageNamesAndStyles, BusNamesPortTypesAndWidths) {
    using importer::NormaliseBusName;
    EXPECT_EQ(NormaliseBusName("D[0:7]"), "D[0..7]");
    EXPECT_EQ(NormaliseBusName("D[0-7]"), "D[0..7]");
    EXPECT_EQ(NormaliseBusName("A-B:C"), "A-B:C");          // no brackets
    EXPECT_EQ(NormaliseBusName("X]Y[0:1"), "X]Y[0:1");      // no "]" behind the "["
    EXPECT_EQ(NormaliseBusName("DQ-N[0:7]-X"), "DQ-N[0..7]-X");  // only inside the brackets
    EXPECT_EQ(NormaliseBusName("A[1:2-3]"), "A[1..2..3]");

    using importer::MapPortType;
    const int32_t types[] = {2, 3, 1, 1, 0, 2, 1, 1, 0, 0};
    for (int32_t t = 0; t < 10; ++t) EXPECT_EQ(MapPortType(t), types[t]) << t;

    using importer::MapPortStyle;
    EXPECT_EQ(MapPortStyle(1, "PORTBOTH-L"), 7);
    EXPECT_EQ(MapPortStyle(1, "PORTBOTH-R"), 7);
    EXPECT_EQ(MapPortStyle(0, "PORTLEFT-R"), 1);
    EXPECT_EQ(MapPortStyle(2, "PORTLEFT-L"), 2);
    EXPECT_EQ(MapPortStyle(3, "PORTRIGHT-L"), 6);
    EXPECT_EQ(MapPortStyle(1, "PORTNO-R"), 4);
    EXPECT_EQ(MapPortStyle(3, "OFFPAGELEFT-R"), 5);
    EXPECT_EQ(MapPortStyle(0, "portboth-l"), 0);  // exact names only
    EXPECT_EQ(MapPortStyle(0, "PORTBOTH"), 0);

    using importer::PortWidth;
    EXPECT_EQ(PortWidth("A", 7), 2800000);            // 6 characters at least: 6 x 470429, down to 200000s
    EXPECT_EQ(PortWidth("ABCDEFGH\\", 7), 4600000);   // 10 x 470429; the backslash doesn't count
    EXPECT_EQ(PortWidth("ÄÖÜÄÖÜÄÖ", 7), 4600000);     // characters, not bytes
}

TEST_F(PageTest, CoordinatesFollowTheSheetFrame) {
    TSCHPageImporter& imp = Importer();
    EXPECT_FALSE(sheet->GetState_UseCustomSheet());  // the OrCAD A style fits the page
    EXPECT_EQ(imp.ToCoordX(0), X(0));
    EXPECT_EQ(imp.ToCoordY(0), Y(0));
    EXPECT_LT(imp.ToCoordX(-70000), -2000000000);  // beyond the host's range: at its edge, not wrapped
    EXPECT_EQ(imp.ToCoordY(4100), Y(4100));
    // A margin off the grid rounds up, the top down; a grid of 0 leaves both as they are.
    sheet->SetState_UseCustomSheet(true);
    sheet->SetState_CustomY(72000000);
    sheet->SetState_CustomMargin(1050000);
    sheet->SetState_SnapGridSize(1000000);
    EXPECT_EQ(imp.ToCoordX(1), 2100000);
    EXPECT_EQ(imp.ToCoordY(1), 70000000 - 100000);
    sheet->SetState_SnapGridSize(0);
    EXPECT_EQ(imp.ToCoordX(1), 1150000);
    EXPECT_EQ(imp.ToCoordY(1), 70950000 - 100000);
    // With an import scale, lengths scale and the frame stays.
    options.importScale = 5000;
    sheet->SetState_SnapGridSize(100000);
    EXPECT_EQ(imp.ToCoordX(10), 5000 + 1100000);
    EXPECT_EQ(imp.ToCoordX(70000), 35000000 + 1100000);  // whole 32-bit values, not their low words
    // Without a document: 20 units in from the left, y as it is.
    TSCHPageImporter bare(app, &design, "", nullptr, nullptr, page.get(), nullptr, &names);
    EXPECT_EQ(bare.ToCoordX(10), 3000000);
    EXPECT_EQ(bare.ToCoordY(10), 1000000);
}

TEST_F(PageTest, WiresBusesAndTheirNetNames) {
    dbo::TDboWireBus* h = AddWire(100, 200, 300, 200);
    AddAlias(h, "BEYOND", 500, 180);                       // past the end: at the end
    dbo::TDboWireBus* v = AddWire(400, 500, 400, 100);
    AddAlias(v, "MID", 390, 250, 1);                       // turned a quarter
    dbo::TDboWireBus* d = AddWire(100, 100, 200, 200);
    AddAlias(d, "DIAG", 190, 170);                         // nearer the end
    AddAlias(d, "DIAG2", 120, 100);                        // nearer the start
    dbo::TDboWireBus* b = AddWire(600, 100, 600, 400, true);
    AddAlias(b, "D[0:7]", 600, 50)->SetColor(8);
    h->SetColor(8);
    Importer().RunImport();

    auto wires = On<ISch_Wire>(eWire);
    ASSERT_EQ(wires.size(), 3u);
    EXPECT_EQ(wires[0]->GetState_Vertex(1), (Coord{X(100), Y(200)}));
    EXPECT_EQ(wires[0]->GetState_Vertex(2), (Coord{X(300), Y(200)}));
    EXPECT_EQ(wires[0]->GetState_Color(), 0x0000FF);  // colour 8
    EXPECT_EQ(wires[1]->GetState_Color(), 0x400080);  // the default colour of a wire
    EXPECT_EQ(wires[0]->GetState_LineWidth(), 1);
    auto buses = On<ISch_Bus>(eBus);
    ASSERT_EQ(buses.size(), 1u);
    EXPECT_EQ(buses[0]->GetState_Color(), 0xFF0000);
    EXPECT_EQ(buses[0]->GetState_LineWidth(), 2);

    auto labels = On<ISch_NetLabel>(eNetLabel);
    ASSERT_EQ(labels.size(), 5u);
    EXPECT_EQ(labels[0]->GetState_Text(), "BEYOND");
    EXPECT_EQ(labels[0]->GetState_Location(), (Coord{X(300), Y(200)}));
    EXPECT_EQ(labels[0]->GetState_Color(), 255);
    EXPECT_EQ(labels[1]->GetState_Location(), (Coord{X(400), Y(250)}));
    EXPECT_EQ(labels[1]->GetState_Orientation(), 1);
    EXPECT_EQ(labels[2]->GetState_Location(), (Coord{X(200), Y(200)}));
    EXPECT_EQ(labels[3]->GetState_Location(), (Coord{X(100), Y(100)}));
    EXPECT_EQ(labels[4]->GetState_Text(), "D[0..7]");
    EXPECT_EQ(labels[4]->GetState_Location(), (Coord{X(600), Y(100)}));
    EXPECT_EQ(labels[4]->GetState_Color(), 0x0000FF);
    EXPECT_TRUE(Messages(kLogError).empty());
}

TEST_F(PageTest, ShownPropertiesOfWiresBecomeLabels) {
    dbo::TDboWireBus* w = AddWire(100, 200, 300, 200);
    w->AddVisibleProp("Net Class", "POWER", 150, 190, 0, 0, 0, 0, 48);
    dbo::TDboVisibleProp* same = w->AddVisibleProp("Same", "Same", 150, 100, 0, 0, 0, 0, 48);
    same->DisplayFormat = 1;  // a name shown as its own value: nothing to show
    Importer().RunImport();
    auto labels = On<ISch_Label>(eLabel);
    ASSERT_EQ(labels.size(), 1u);
    EXPECT_EQ(labels[0]->GetState_Text(), "POWER");
    EXPECT_EQ(labels[0]->GetState_Location(), (Coord{X(150), Y(200)}));
}

TEST_F(PageTest, JunctionsAtTheMarkedEndsOnce) {
    TSCHPageImporter& imp = Importer();
    dbo::TDboWireBus* a = AddWire(100, 100, 200, 100);
    a->Junction = 2;  // at the end
    dbo::TDboWireBus* b = AddWire(200, 100, 200, 200);
    b->Junction = 1;  // at the start: the same point
    dbo::TDboWireBus* c = AddWire(300, 100, 400, 100);
    c->Junction = 3;  // both ends
    dbo::TDboWireBus* bus = AddWire(200, 100, 200, 300, true);
    bus->Junction = 1;  // buses have their own
    std::vector<ISch_GraphicalObject*> list;
    for (auto* w : {a, b, c, bus}) imp.ImportJunctions(*w, list);
    ASSERT_EQ(list.size(), 4u);
    auto at = [](ISch_GraphicalObject* o) { return dynamic_cast<ISch_Junction*>(o); };
    EXPECT_EQ(at(list[0])->GetState_Location(), (Coord{X(200), Y(100)}));
    EXPECT_TRUE(at(list[0])->GetState_Locked());
    EXPECT_EQ(at(list[0])->GetState_Size(), 0);
    EXPECT_EQ(at(list[1])->GetState_Location(), (Coord{X(400), Y(100)}));
    EXPECT_EQ(at(list[2])->GetState_Location(), (Coord{X(300), Y(100)}));
    EXPECT_EQ(at(list[3])->GetState_Size(), 1);
    for (auto* o : list) app.SchServer()->DestroySchObject(o);
}

// A whole page: junctions are classified after the placed objects, bus entries come after them,
// and the page's drawings last.
TEST_F(PageTest, RunImportOrder) {
    AddWire(100, 100, 300, 100)->Junction = 0;
    AddWire(200, 100, 200, 200)->Junction = 1;  // a T: left to the host
    AddWire(500, 100, 700, 100);
    AddWire(600, 0, 600, 100)->Junction = 2;    // a cross of ends and a through wire: kept
    AddWire(600, 100, 600, 200);
    auto entry = Make<dbo::TDboBusEntry>(&design);
    entry->StartX = 10, entry->StartY = 20, entry->EndX = 20, entry->EndY = 30;
    page->BusEntries->Add(std::move(entry));
    auto text = Make<dbo::TDboCommentText>(&design);
    text->LibObject = Make<dbo::TDboLibCommentText>(&design);
    text->LibObject->Txt = "Note";
    page->Graphics->Add(std::move(text));
    page->DRCMarks->Add(Make<dbo::TDboDRCMark>(&design));
    Importer().RunImport();
    auto junctions = On<ISch_Junction>(eJunction);
    ASSERT_EQ(junctions.size(), 1u);
    EXPECT_EQ(junctions[0]->GetState_Location(), (Coord{X(600), Y(100)}));
    EXPECT_EQ(Messages(kLogWarning), (std::vector<std::string>{"Junction at (6100mil,6100mil) has been added.",
                                                               "Junction at (2100mil,6100mil) has been removed. It "
                                                               "will be automatically calculated."}));
    auto all = On<ISch_BasicContainer>(0);
    ASSERT_GE(all.size(), 3u);
    EXPECT_EQ(all[all.size() - 2]->GetState_ObjectId(), eBusEntry);
    EXPECT_EQ(all.back()->GetState_ObjectId(), eLabel);
    auto* busEntry = dynamic_cast<ISch_BusEntry*>(all[all.size() - 2]);
    EXPECT_EQ(busEntry->GetState_Location(), (Coord{X(10), Y(20)}));
    EXPECT_EQ(busEntry->GetState_Corner(), (Coord{X(20), Y(30)}));
    ASSERT_FALSE(log.Sections().empty());
    EXPECT_EQ(log.Sections()[0]->Title(), "Importing Sheet - PAGE1.SchDoc");
}

TEST_F(PageTest, PortsOfThePortFamily) {
    dbo::TDboPort* both = AddPort("D[0:3]", "PORTBOTH-L", 100, 200, 1);
    both->PortType = 1;
    AddPort("IN", "PORTRIGHT-R", 100, 300, 0);
    AddPort("MIR", "PORTLEFT-L", 100, 400, 0, 1);
    AddPort("UP", "PORTLEFT-L", 100, 500, 3, 1);
    Importer().RunImport();
    auto ports = On<ISch_Port>(ePort);
    ASSERT_EQ(ports.size(), 4u);
    EXPECT_EQ(ports[0]->GetState_Name(), "D[0..3]");
    EXPECT_EQ(ports[0]->GetState_Style(), 7);
    EXPECT_EQ(ports[0]->GetState_Alignment(), 2);
    EXPECT_EQ(ports[0]->GetState_IOType(), 3);
    EXPECT_EQ(ports[0]->GetState_Width(), 3000000);
    EXPECT_EQ(ports[0]->GetState_Location(), (Coord{X(100), Y(200)}));
    FontDescription font;
    ASSERT_TRUE(app.SchServer()->GetFontManager()->GetFontDescription(ports[0]->GetState_FontId(), font));
    EXPECT_EQ(font.Size, 5);
    EXPECT_EQ(ports[1]->GetState_Style(), 2);
    EXPECT_EQ(ports[1]->GetState_Alignment(), 2);
    EXPECT_EQ(ports[1]->GetState_IOType(), 2);
    // Mirrored at rotation 0: 30 to the right, then back by its width; sides and alignment swap.
    EXPECT_EQ(ports[2]->GetState_Location(), (Coord{X(100), Y(400)}));
    EXPECT_EQ(ports[2]->GetState_Style(), 2);
    EXPECT_EQ(ports[2]->GetState_Alignment(), 2);
    // Mirrored at rotation 3: 20 up, then down by its width; top and bottom swap.
    EXPECT_EQ(ports[3]->GetState_Location(), (Coord{X(100), Y(480) - 3000000}));
    EXPECT_EQ(ports[3]->GetState_Style(), 6);
    EXPECT_TRUE(Messages(kLogError).empty());
}

TEST_F(PageTest, PortOfAnotherSymbolIsLoggedAndPlacedFromTheSymbol) {
    AddSymbol(dbo::kIdPortSymbol, "MYPORT", 40, 20, 0, 10);
    AddPort("CLK", "MYPORT", 100, 200);
    AddPort("NONE", "NOSYMBOL", 100, 300);
    Importer().RunImport();
    EXPECT_EQ(Messages(kLogError),
              (std::vector<std::string>{
                  "CLK (of type MYPORT) is an unknown Port. Vantor Studio recognises the following Ports (L & R) - "
                  "PORTBOTH, PORTNO, PORTLEFT, PORTRIGHT",
                  "NONE (of type NOSYMBOL) is an unknown Port. Vantor Studio recognises the following Ports (L & R) - "
                  "PORTBOTH, PORTNO, PORTLEFT, PORTRIGHT"}));
    auto ports = On<ISch_Port>(ePort);
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(ports[0]->GetState_Width(), 4000000);  // the symbol's width
    // From its base point (x, y - H / 2) by the pin's offset.
    EXPECT_EQ(ports[0]->GetState_Location(), (Coord{X(100), Y(190) - 1000000}));
    EXPECT_EQ(ports[0]->GetState_Style(), 0);
}

TEST_F(PageTest, PowerObjectsFromTheirSymbols) {
    // Pins at the top middle of 20 by 10 symbols.
    for (const char* name : {"GND_EARTH", "GND_FOO", "VCC_BAR"}) AddSymbol(dbo::kIdPowerSymbol, name, 20, 10, 10, 0);
    auto* earth = AddPortInst<dbo::TDboPower>(*page->Powers, "GND", "GND_EARTH", 100, 200);
    earth->AddVisibleProp("Name", "GND", 0, 0, 0, 0, 0, 0, 48);
    AddPortInst<dbo::TDboPower>(*page->Powers, "AGND", "GND_FOO", 300, 200, 1);
    AddPortInst<dbo::TDboPower>(*page->Powers, "VDD", "VCC_BAR", 500, 200, 3, 1)->SetColor(8);
    AddPortInst<dbo::TDboPower>(*page->Powers, "LOST", "NOSUCH", 700, 200);
    // Pins at the left middle: each turn, each mirror.
    AddSymbol(dbo::kIdPowerSymbol, "VCC_WAVE", 20, 10, 0, 5);
    const int32_t turns[][2] = {{0, 0}, {0, 1}, {1, 0}, {1, 1}, {2, 0}, {2, 1}, {3, 0}, {3, 1}};
    for (auto [rotation, mirror] : turns)
        AddPortInst<dbo::TDboPower>(*page->Powers, "W", "VCC_WAVE", 900, 200, rotation, mirror);
    Importer().RunImport();
    auto powers = On<ISch_PowerObject>(ePowerObject);
    ASSERT_EQ(powers.size(), 12u);
    // Where the pin comes to lie, by rotation and mirror, and the direction it points to.
    const Coord places[] = {{X(900), Y(205)}, {X(920), Y(205)}, {X(905), Y(220)}, {X(905), Y(200)},
                            {X(920), Y(205)}, {X(900), Y(205)}, {X(905), Y(200)}, {X(905), Y(220)}};
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(powers[4 + i]->GetState_Style(), 3);
        EXPECT_EQ(powers[4 + i]->GetState_Location(), places[i]);
        EXPECT_EQ(powers[4 + i]->GetState_Orientation(), turns[i][0]);
    }
    EXPECT_EQ(powers[0]->GetState_Text(), "GND");
    EXPECT_EQ(powers[0]->GetState_Style(), 6);
    EXPECT_TRUE(powers[0]->GetState_ShowNetName());
    EXPECT_EQ(powers[0]->GetState_Location(), (Coord{X(110), Y(200)}));
    EXPECT_EQ(powers[0]->GetState_Orientation(), 3);  // the pin is on top
    EXPECT_EQ(powers[1]->GetState_Style(), 1);
    EXPECT_FALSE(powers[1]->GetState_ShowNetName());
    EXPECT_EQ(powers[1]->GetState_Location(), (Coord{X(300), Y(210)}));
    EXPECT_EQ(powers[1]->GetState_Orientation(), 0);
    EXPECT_EQ(powers[2]->GetState_Style(), 2);
    EXPECT_EQ(powers[2]->GetState_Color(), 0x0000FF);
    EXPECT_EQ(powers[2]->GetState_Location(), (Coord{X(510), Y(210)}));  // mirrored: y - (w - px)
    EXPECT_EQ(powers[2]->GetState_Orientation(), 2);
    // No symbol: the host's place, no message.
    EXPECT_EQ(powers[3]->GetState_Text(), "LOST");
    EXPECT_EQ(Messages(kLogWarning),
              std::vector<std::string>{"Power Port of type GND_FOO at (3100mil,5000mil) was replaced with Arrow "
                                       "style port"});
}

TEST_F(PageTest, OffPageConnectors) {
    // OFFPAGELEFT symbols have their pin on the right or left edge, half way down.
    AddSymbol(dbo::kIdOffPageSymbol, "OFFPAGELEFT-L", 30, 10, 30, 5);
    AddSymbol(dbo::kIdOffPageSymbol, "OFFPAGELEFT-R", 30, 10, 0, 5);
    AddSymbol(dbo::kIdOffPageSymbol, "ODD", 30, 10, 0, 5);
    // Symbols of a Capture library, as in real files; the last one of the file's own default library.
    AddPortInst<dbo::TDboOffPage>(*page->OffPages, "A[0-3]", "OFFPAGELEFT-L", 100, 200)->SetSrcLib("C:\\CAPSYM.OLB");
    AddPortInst<dbo::TDboOffPage>(*page->OffPages, "B", "OFFPAGELEFT-R", 300, 200)->SetSrcLib("C:\\CAPSYM.OLB");
    AddPortInst<dbo::TDboOffPage>(*page->OffPages, "C", "ODD", 500, 200, 0, 1)->SetSrcLib("C:\\CAPSYM.OLB");
    AddPortInst<dbo::TDboOffPage>(*page->OffPages, "D", "OFFPAGELEFT-R", 700, 200);
    Importer().RunImport();
    auto connectors = On<ISch_CrossSheetConnector>(eCrossSheetConnector);
    ASSERT_EQ(connectors.size(), 4u);
    EXPECT_EQ(connectors[0]->GetState_Text(), "A[0..3]");
    EXPECT_TRUE(connectors[0]->GetState_ShowNetName());
    EXPECT_EQ(connectors[0]->GetState_Color(), 0x0000FF);
    EXPECT_EQ(connectors[0]->GetState_Style(), 0);
    EXPECT_EQ(connectors[0]->GetState_Location(), (Coord{X(130), Y(205)}));
    EXPECT_EQ(connectors[0]->GetState_Orientation(), 2);  // pin on the right edge
    EXPECT_EQ(connectors[1]->GetState_Style(), 1);
    EXPECT_EQ(connectors[1]->GetState_Location(), (Coord{X(300), Y(205)}));
    EXPECT_EQ(connectors[1]->GetState_Orientation(), 0);
    // Mirrored: the pin comes to the other side.
    EXPECT_EQ(connectors[2]->GetState_Location(), (Coord{X(530), Y(205)}));
    EXPECT_EQ(connectors[3]->GetState_Orientation(), 1);  // the default library's symbols turn a quarter
    EXPECT_EQ(Messages(kLogWarning),
              std::vector<std::string>{"Off-Page Connector of type ODD at (5400mil,5050mil) is not recognised"});
}

TEST_F(PageTest, OffPageConnectorsAsPorts) {
    options.offPageAsPorts = true;
    AddSymbol(dbo::kIdOffPageSymbol, "OFFPAGELEFT-L", 30, 10, 30, 5);
    AddSymbol(dbo::kIdOffPageSymbol, "OFFPAGELEFT-R", 30, 10, 0, 5);
    AddPortInst<dbo::TDboOffPage>(*page->OffPages, "RX", "OFFPAGELEFT-L", 100, 200);
    AddPortInst<dbo::TDboOffPage>(*page->OffPages, "TX", "OFFPAGELEFT-R", 300, 200);
    Importer().RunImport();
    EXPECT_TRUE(On<ISch_CrossSheetConnector>(eCrossSheetConnector).empty());
    auto ports = On<ISch_Port>(ePort);
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(ports[0]->GetState_Name(), "RX");
    EXPECT_EQ(ports[0]->GetState_IOType(), 2);
    EXPECT_EQ(ports[0]->GetState_Width(), 2800000);
    EXPECT_EQ(ports[0]->GetState_Style(), 2);
    // Orientation 2 and not mirrored: moved left by its width so that its end meets the pin.
    EXPECT_EQ(ports[0]->GetState_Location(), (Coord{X(130) - 2800000, Y(205)}));
    EXPECT_EQ(ports[1]->GetState_IOType(), 1);
    EXPECT_EQ(ports[1]->GetState_Location(), (Coord{X(300), Y(205)}));
}

TEST_F(PageTest, NoConnectMarkersAndPinNames) {
    TSCHPageImporter& imp = Importer();
    dbo::TDboPinPropsList pins(&design);
    auto open = Make<dbo::TDboPinPropsScalar>(&design);
    open->PinNumber = static_cast<uint16_t>(-3);
    open->LocationX = 120, open->LocationY = 340;
    pins.Add(std::move(open));
    auto wired = Make<dbo::TDboPinPropsScalar>(&design);
    wired->PinNumber = static_cast<uint16_t>(-4);
    wired->WireId = 77;
    pins.Add(std::move(wired));
    auto plain = Make<dbo::TDboPinPropsScalar>(&design);
    plain->PinNumber = 2;
    pins.Add(std::move(plain));
    imp.CollectNoConnects(pins);

    // A component whose pins of the current part take their name and number from parameters.
    auto* component = dynamic_cast<ISch_Component*>(app.SchServer()->CreateSchObject(eSchComponent, 0));
    component->SetState_CurrentPartId(2);
    auto addPin = [&](int32_t part, const std::string& name) {
        auto* pin = dynamic_cast<ISch_Pin*>(app.SchServer()->CreateSchObject(ePin, 0));
        pin->SetState_OwnerPartId(part);
        pin->SetState_Name("old");
        auto* parameter = dynamic_cast<ISch_Parameter*>(app.SchServer()->CreateSchObject(eParameter, 0));
        parameter->SetState_Name("name");
        parameter->SetState_Text(name);
        pin->AddSchObject(parameter);
        component->AddSchObject(pin);
        return pin;
    };
    ISch_Pin* current = addPin(2, "CLK");
    ISch_Pin* other = addPin(1, "DATA");
    sheet->AddSchObject(component);
    imp.FinishPage();
    EXPECT_EQ(current->GetState_Name(), "CLK");
    EXPECT_EQ(other->GetState_Name(), "old");
    auto markers = On<ISch_NoERC>(eNoERC);
    ASSERT_EQ(markers.size(), 1u);
    EXPECT_EQ(markers[0]->GetState_Location(), (Coord{X(120), Y(340)}));
    EXPECT_EQ(markers[0]->GetState_Symbol(), 2);
}

TEST_F(PageTest, TitleBlocksNeedTheirComponent) {
    auto block = Make<dbo::TDboTitleBlock>(&design);
    block->SymName = "TitleBlock0";
    page->TitleBlocks->Add(std::move(block));
    options.skipTitleBlocks = true;
    Importer().RunImport();
    EXPECT_TRUE(Messages(kLogWarning).empty());
    options.skipTitleBlocks = false;
    importer->ImportList(*page->TitleBlocks);
    EXPECT_EQ(Messages(kLogWarning), std::vector<std::string>{"Unable to import TitleBlock TitleBlock0!"});
    EXPECT_TRUE(On<ISch_Component>(eSchComponent).empty());
}

TEST_F(PageTest, SheetsTakeThePageSize) {
    // A metric page of no host style: custom, in millimetres.
    page->Units = 1;
    page->Width = 297000;
    page->Height = 210000;
    page->GridHorWidth = 5000;
    page->GridVertWidth = 7000;
    Importer();
    EXPECT_TRUE(sheet->GetState_UseCustomSheet());
    EXPECT_EQ(sheet->GetState_DisplayUnit(), eUnitMM);
    EXPECT_EQ(sheet->GetState_CustomX(), importer::MmToCoord(297));
    EXPECT_EQ(sheet->GetState_CustomY(), importer::MmToCoord(210));
    EXPECT_EQ(sheet->GetState_CustomMargin(), importer::MmToCoord(7));
    EXPECT_EQ(sheet->GetState_CustomZonesX(), 5);
    EXPECT_EQ(sheet->GetState_DocumentName(), (folder / "PAGE1.SchDoc").string());
    // The import scale is the grid; the sheet's area is shown.
    options.importScale = 50000;
    auto second = Make<dbo::TDboPage>(&design);
    second->PageName = "PAGE1";  // the same name in another view
    ISch_Document* other = importer::CreatePageDocument(app, folder.string(), nullptr, &options, names, "OTHER", *second);
    EXPECT_EQ(other->GetState_DocumentName(), (folder / "PAGE11.SchDoc").string());
    EXPECT_EQ(other->GetState_SnapGridSize(), 50000);
    EXPECT_FALSE(other->GetState_UseCustomSheet());
    EXPECT_EQ(other->GetState_SheetStyle(), 13);
    IServerDocument* server = app.Client()->GetDocumentByPath(other->GetState_DocumentName());
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(server->GetViewArea(), (CoordRect{0, 0, importer::MilToCoord(9700), importer::MilToCoord(7200)}));
}

}  // namespace orcadx::test

namespace orcadx::test {

// Under the native rules the symbols are the library's components, placed like parts.
TEST_F(PageTest, NativeRulesPlaceSymbolComponents) {
    struct NativeRules {
        NativeRules() { setenv("KEL_USE_NATIVE_ORCAD_IMPORT", "1", 1); }
        ~NativeRules() { unsetenv("KEL_USE_NATIVE_ORCAD_IMPORT"); }
    } native;
    // The library that the library import would have made: one component per symbol, with its
    // extents in Capture units.
    const std::string libraryPath = (folder / "test_Library.SchLib").string();
    auto* library = dynamic_cast<ISch_Lib*>(app.SchDocumentOf(OpenOrCreateDocument(app, libraryPath, "SCHLIB", "Binary", true)));
    ASSERT_NE(library, nullptr);
    for (const char* name : {"VCC_BAR", "OFFPAGELEFT-L", "PORTBOTH-L"}) {
        auto* c = dynamic_cast<ISch_Component*>(app.SchServer()->CreateSchObject(eSchComponent, 0));
        c->SetState_LibReference(name);
        auto* body = dynamic_cast<ISch_Rectangle*>(app.SchServer()->CreateSchObject(eRectangle, 0));
        body->SetState_Location({0, -1000000});
        body->SetState_Corner({2000000, 0});
        body->SetState_OwnerPartId(1);
        c->AddSchObject(body);
        for (auto [extent, value] : {std::pair{"Vantor-Right", "20"}, std::pair{"Vantor-Bottom", "10"}}) {
            auto* p = dynamic_cast<ISch_Parameter*>(app.SchServer()->CreateSchObject(eParameter, 0));
            p->SetState_Name(extent);
            p->SetState_Text(value);
            c->AddSchObject(p);
        }
        library->AddSchComponent(c);
    }
    AddPortInst<dbo::TDboPower>(*page->Powers, "VDD", "VCC_BAR", 100, 200)->SetColor(8);
    auto* offPage = AddPortInst<dbo::TDboOffPage>(*page->OffPages, "SDA", "OFFPAGELEFT-L", 300, 200);
    offPage->AddVisibleProp("Name", "SDA", 310, 190, 0, 0, 0, 0, 48)->DisplayFormat = 1;
    AddPort("D[0:1]", "PORTBOTH-L", 500, 200);
    AddPortInst<dbo::TDboPower>(*page->Powers, "NONE", "NOSUCH", 700, 200);
    Importer();
    importer->LibraryName = libraryPath;
    importer->RunImport();

    EXPECT_TRUE(On<ISch_PowerObject>(ePowerObject).empty());
    EXPECT_TRUE(On<ISch_CrossSheetConnector>(eCrossSheetConnector).empty());
    EXPECT_TRUE(On<ISch_Port>(ePort).empty());
    auto components = On<ISch_Component>(eSchComponent);
    ASSERT_EQ(components.size(), 3u);  // the symbol that the library lacks makes nothing
    // Ports come before power objects and off-page connectors.
    ISch_Component* port = components[0];
    ISch_Component* power = components[1];
    EXPECT_EQ(components[2]->GetState_LibReference(), "OFFPAGELEFT-L");
    EXPECT_EQ(power->GetState_LibReference(), "VCC_BAR");
    EXPECT_TRUE(power->GetState_IsPlaced());
    EXPECT_EQ(power->GetState_Location(), (Coord{X(100), Y(200)}));
    EXPECT_EQ(power->GetState_DisplayMode(), 0);
    EXPECT_TRUE(power->GetState_SchDesignator()->GetState_IsHidden());
    EXPECT_EQ(power->GetState_SchDesignator()->GetState_Color(), 255);
    auto bodies = ChildrenOf<ISch_Rectangle>(power, eRectangle);
    ASSERT_EQ(bodies.size(), 1u);
    EXPECT_EQ(bodies[0]->GetState_Color(), 0x0000FF);  // colour 8, fill too
    EXPECT_EQ(bodies[0]->GetState_AreaColor(), 0x0000FF);
    for (auto* c : components) {
        for (auto* p : ChildrenOf<ISch_Parameter>(c, eParameter)) EXPECT_EQ(p->GetState_Name().rfind("Vantor-", 0), std::string::npos);
    }
    // The off-page connector's name as a label of the sheet, half a font size below its place.
    auto labels = On<ISch_Label>(eLabel);
    ASSERT_EQ(labels.size(), 1u);
    EXPECT_EQ(labels[0]->GetState_Text(), "SDA");
    EXPECT_EQ(labels[0]->GetState_Location().Y, components[2]->GetState_Location().Y - 10 * 100000 / 2);
    // The port's designator names the port, hidden, red.
    EXPECT_EQ(port->GetState_SchDesignator()->GetState_Text(), "D[0..1]");
    EXPECT_TRUE(port->GetState_SchDesignator()->GetState_IsHidden());
    EXPECT_EQ(port->GetState_SchDesignator()->GetState_Color(), 255);
    EXPECT_TRUE(Messages(kLogError).empty());
}

}  // namespace orcadx::test

namespace orcadx::test {

TEST_F(PageTest, ImportLockedJunctionsComesFromTheSettings) {
    EXPECT_FALSE(Importer().ImportLockedJunctions);  // no file
    std::filesystem::create_directories(app.GetSettingsFolder());
    std::ofstream(std::filesystem::path(app.GetSettingsFolder()) / "Penwork.Ini")
        << "[Other]\r\nImportLockedJunctions=1\r\n[orcad translator]\r\n importlockedjunctions = 1 \r\n";
    TSCHPageImporter again(app, &design, "", &options, &log, page.get(), sheet, &names);
    EXPECT_TRUE(again.ImportLockedJunctions);
}

}  // namespace orcadx::test

namespace orcadx::test {

// One page of the sample design in examples/, with the library import before it: its title block
// stands on the sheet as a graphical component, and the library keeps no extent parameters.
TEST(SinglePage, ImportsWithItsTitleBlock) {
    auto folder = ScratchDir("single_page");
    HostApplication app(ImportHostOptions(folder));
    LogSection log;
    ImporterOptions options;
    const auto file = std::filesystem::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator" / "P1_Olteanu_Rares.dsn";
    std::string path = importer::ImportDesignPage(app, file.string(), "FINAL", &options, nullptr, &log, folder.string(), nullptr);
    EXPECT_EQ(path, (folder / "FINAL.SchDoc").string());
    // The one part of the design whose PSpice template names pins its symbol lacks (pins 1 and 2).
    EXPECT_EQ(ErrorsBesideMissingModels(log), SampleTemplatePinErrors());
    ISch_Document* sheet = app.SchDocumentOf(app.OpenDocumentFile(path));
    ASSERT_NE(sheet, nullptr);
    int titleBlocks = 0;
    for (auto* c : ChildrenOf<ISch_Component>(sheet, eSchComponent)) {
        if (c->GetState_ComponentKind() != eComponentKind_Graphical) continue;
        ++titleBlocks;
        EXPECT_TRUE(RectsInside(c->GetState_BoundingRectangle(), sheet));
    }
    EXPECT_EQ(titleBlocks, 1);
    ISch_Document* library = app.SchDocumentOf(app.OpenDocumentFile((folder / "P1_Olteanu_Rares_Library.SchLib").string()));
    ASSERT_NE(library, nullptr);
    auto it = library->SchIterator_Create({eParameter}, eIterateAllLevels);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject())
        EXPECT_EQ(dynamic_cast<ISch_Parameter*>(o)->GetState_Name().rfind("Vantor-", 0), std::string::npos);

    EXPECT_THROW(importer::ImportDesignPage(app, file.string(), "NOPAGE", &options, nullptr, &log, folder.string(), nullptr),
                 std::runtime_error);
}

}  // namespace orcadx::test
