// Host sheets built in code become Capture pages: wires cut where something connects, junction
// bits, nets and net labels, bus entries, parts with their pins at every orientation and mirror,
// sheet symbols with entries, ports, power objects and off-page connectors, and the objects that a
// lookup in the design misses.
#include <map>

#include "ExportTestSupport.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboViewObjects.h"
#include "export/SCHLibraryExport.h"
#include "export/SCHSheetExport.h"
#include "host/ClientServices.h"

using namespace orcadx;
using namespace orcadx::host;
using test::Unit;

namespace {

// The compiled document of a sheet as the test sets it: nets with their wires' unique ids.
class FakeCompiledDocument final : public IDocument {
public:
    struct Net final : INet {
        std::string name;
        std::vector<std::string> ids;
        std::string GetNetName() override { return name; }
        int32_t GetWireCount() override { return static_cast<int32_t>(ids.size()); }
        std::string GetWireUniqueId(int32_t i) override { return ids.at(static_cast<size_t>(i)); }
    };
    std::string GetFullPath() override { return {}; }
    std::string GetFileName() override { return {}; }
    std::string GetDocumentKind() override { return "SCH"; }
    int32_t GetNetCount() override { return static_cast<int32_t>(nets.size()); }
    INet* GetNet(int32_t i) override { return &nets.at(static_cast<size_t>(i)); }
    void Add(const std::string& name, std::vector<ISch_BasicContainer*> wires) {
        Net net;
        net.name = name;
        for (auto* w : wires) net.ids.push_back(w->GetState_UniqueId());
        nets.push_back(std::move(net));
    }
    std::vector<Net> nets;
};

class SheetExport : public test::ExportFixture {
protected:
    void SetUp() override {
        ExportFixture::SetUp();
        design_ = NewDesign("Out.DSN");
        IServerDocument* document = OpenOrCreateDocument(App(), (dir_ / "Sheet1.SchDoc").string(), "SCH", "Binary", true);
        sheet_ = dynamic_cast<ISch_Sheet*>(App().SchDocumentOf(document));
        ASSERT_NE(sheet_, nullptr);
        // 11000 by 8500 mils with a margin of 200: the page's origin lies at host (200, 8300) mils.
        sheet_->SetState_UseCustomSheet(true);
        sheet_->SetState_CustomX(110000000);
        sheet_->SetState_CustomY(85000000);
        sheet_->SetState_CustomMargin(2000000);
        sheet_->SetState_CustomZonesX(6);
        sheet_->SetState_CustomZonesY(4);
    }

    // The host point of page point (x, y).
    static Coord At(int32_t x, int32_t y) { return {Unit(x) + 2000000, Unit(830 - y)}; }

    template <class T>
    T* Place(int32_t kind) {
        auto* object = Make<T>(kind);
        sheet_->AddSchObject(object);
        return object;
    }
    ISch_Polyline* AddLine(int32_t kind, std::vector<Coord> vertices) {
        auto* line = Place<ISch_Polyline>(kind);
        line->SetState_VertexCount(static_cast<int32_t>(vertices.size()));
        for (size_t i = 0; i < vertices.size(); ++i) line->SetState_Vertex(static_cast<int32_t>(i) + 1, vertices[i]);
        return line;
    }
    ISch_NetLabel* AddLabel(const std::string& text, Coord at) {
        auto* label = Place<ISch_NetLabel>(eNetLabel);
        label->SetState_Text(text);
        label->SetState_Location(at);
        return label;
    }
    // The standard symbols, through the library export, into the design.
    void AddStandardSymbols() {
        std::string path = (dir_ / "OrCAD-CAPSYM.SchLib").string();
        WriteStandardSymbolLibrary(App(), path);
        exporter::TSCHLibraryExporter(App(), design_.get(), App().SchDocumentOf(App().OpenDocumentFile(path))->GetState_DocumentName())
            .RunExport();
    }
    dbo::TDboPage& Export(IDocument* compiled = nullptr) {
        page_ = dbo::Make<dbo::TDboPage>(design_.get());
        exporter_ = std::make_unique<exporter::TSCHSheetExporter>(App(), design_.get(), page_.get(), sheet_, compiled,
                                                                  &names_, nullptr);
        exporter_->RunExport();
        return *page_;
    }

    std::unique_ptr<dbo::TDboDesign> design_;
    ISch_Sheet* sheet_ = nullptr;
    exporter::TPageNameManager names_;
    std::unique_ptr<dbo::TDboPage> page_;
    std::unique_ptr<exporter::TSCHSheetExporter> exporter_;
};

struct Segment {
    int32_t x1, y1, x2, y2;
    int junction;
    bool operator==(const Segment&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Segment& s) {
    return out << "(" << s.x1 << "," << s.y1 << ")-(" << s.x2 << "," << s.y2 << ") j" << s.junction;
}

std::vector<Segment> Segments(dbo::TDboPage& page, size_t from, size_t count) {
    std::vector<Segment> out;
    for (size_t i = from; i < from + count; ++i) {
        auto* w = page.WiresAndBuses->GetItems(static_cast<int>(i));
        out.push_back({w->StartX, w->StartY, w->EndX, w->EndY, w->Junction});
    }
    return out;
}

}  // namespace

TEST_F(SheetExport, WiresAreCutWhereSomethingConnectsAndMarkTheirJunctions) {
    // The page: 11000 by 8500 mils, margin 200, on the page's custom size.
    ISch_Polyline* main = AddLine(eWire, {At(10, 10), At(110, 10)});
    ISch_Polyline* tee = AddLine(eWire, {At(50, 10), At(50, 60)});       // ends on main's middle
    ISch_Polyline* cross = AddLine(eWire, {At(80, 0), At(80, 30)});      // crosses main, no junction
    auto* junction = Place<ISch_GraphicalObject>(eJunction);             // on main's middle alone
    junction->SetState_Location(At(95, 10));
    ISch_Polyline* two = AddLine(eWire, {At(200, 10), At(200, 50)});
    // A library part whose pin ends on main's middle at x 30.
    ISch_Lib* library = NewLibrary();
    ISch_Component* chip = AddComponent(library, "CHIP");
    AddRectangle(chip, {0, Unit(-20)}, {Unit(20), 0});
    AddPin(chip, "A", "1", {Unit(10), Unit(-20)}, 3, Unit(10));
    // A pin whose body end, not its electrical end, lies on main's middle at x 70: no cut there.
    AddPin(chip, "B", "2", {Unit(50), Unit(-30)}, 1, Unit(10));
    auto* placed = App().SchServer()->LoadComponent("CHIP", library->GetState_DocumentName());
    ASSERT_NE(placed, nullptr);
    sheet_->AddSchObject(placed);
    placed->MoveToXY(At(20, -20).X, At(20, -20).Y);  // pin end at page (30, 10)
    // A wire of 50 vertices takes no more, though a junction lies inside its last segment.
    std::vector<Coord> zigzag;
    for (int i = 0; i < 50; ++i) zigzag.push_back(At(300 + 5 * i, i % 2 == 0 ? 100 : 200));
    ISch_Polyline* full = AddLine(eWire, zigzag);
    Coord insideLast{(zigzag[48].X + zigzag[49].X) / 2, (zigzag[48].Y + zigzag[49].Y) / 2};
    Place<ISch_GraphicalObject>(eJunction)->SetState_Location(insideLast);
    AddLine(eBus, {At(10, 300), At(110, 300)});
    AddLabel("A", At(50, 10));        // on the shared end of two of main's segments, and on tee
    AddLabel("D[0..7]", At(20, 10));  // a bus name on a wire: lost
    AddLabel("CLK", At(60, 300));     // a wire name on a bus: lost
    AddLabel("D[0..3]", At(70, 300)); // on the bus
    auto* entry = Place<ISch_BusEntry>(eBusEntry);
    entry->SetState_Location(At(40, 300));
    entry->SetState_Corner(At(50, 310));

    FakeCompiledDocument compiled;
    compiled.Add("A", {main, tee});
    compiled.Add("b", {cross});
    compiled.Add("B", {two});  // same name without case: the first alias's id
    dbo::TDboPage& page = Export(&compiled);

    // main: cut at the pin end (30), at the tee (50) and at the junction (95), not at the cross (80).
    EXPECT_EQ(main->GetState_VertexCount(), 5);
    // The bus is cut where the bus entry meets it (three objects there).
    ASSERT_EQ(page.WiresAndBuses->Count(), 4 + 1 + 1 + 1 + 49 + 2);
    EXPECT_EQ(Segments(page, 0, 4), (std::vector<Segment>{{10, 10, 30, 10, 2}, {30, 10, 50, 10, 3},
                                                          {50, 10, 95, 10, 3}, {95, 10, 110, 10, 1}}));
    EXPECT_EQ(Segments(page, 4, 2), (std::vector<Segment>{{50, 10, 50, 60, 1}, {80, 0, 80, 30, 0}}));
    EXPECT_EQ(full->GetState_VertexCount(), 50);
    EXPECT_EQ(Segments(page, 56, 2), (std::vector<Segment>{{10, 300, 40, 300, 2}, {40, 300, 110, 300, 1}}));
    // Nets: one alias per compiled net, numbered from 0; a wire in no net gets -1.
    ASSERT_EQ(page.NetAliases->Count(), 3);
    EXPECT_EQ(page.NetAliases->GetAliases(2)->Alias, "B");
    EXPECT_EQ(page.NetAliases->GetAliases(2)->NetID, 2);
    std::vector<int32_t> nets;
    for (int i = 0; i < page.WiresAndBuses->Count(); ++i) nets.push_back(page.WiresAndBuses->GetItems(i)->NetName);
    EXPECT_EQ(nets[0], 0);
    EXPECT_EQ(nets[4], 0);
    EXPECT_EQ(nets[5], 1);
    EXPECT_EQ(nets[6], 1);   // "B" finds the alias "b" first
    EXPECT_EQ(nets[7], -1);  // the full wire is in no net
    // Labels: "A" on two segments of main and on tee; the bus keeps only its bus name.
    auto names = [&](int i) {
        std::vector<std::string> out;
        auto* w = page.WiresAndBuses->GetItems(i);
        for (int k = 0; k < w->Aliases.Count(); ++k) out.push_back(w->GetAliases(k)->Name);
        return out;
    };
    EXPECT_EQ(names(0), std::vector<std::string>{});
    EXPECT_EQ(names(1), std::vector<std::string>{"A"});
    EXPECT_EQ(names(2), std::vector<std::string>{"A"});
    EXPECT_EQ(names(4), std::vector<std::string>{"A"});
    int last = page.WiresAndBuses->Count() - 1;
    EXPECT_EQ(page.WiresAndBuses->GetItems(last)->ID, dbo::kIdBus);
    EXPECT_EQ(names(last), std::vector<std::string>{"D[0..3]"});
    EXPECT_EQ(page.WiresAndBuses->GetItems(1)->GetAliases(0)->LocationX, 50);
    // One wire net per host wire, none for the bus.
    EXPECT_EQ(page.WireNets->Count(), 5);
    ASSERT_EQ(page.BusEntries->Count(), 1);
    auto* busEntry = page.BusEntries->As<dbo::TDboBusEntry>(0);
    EXPECT_EQ((std::vector<int32_t>{busEntry->StartX, busEntry->StartY, busEntry->EndX, busEntry->EndY}),
              (std::vector<int32_t>{40, 300, 50, 310}));
    // The page: custom size in mils, the margin in both grid widths, named after the sheet.
    EXPECT_EQ(page.PageName, "Sheet1.SchDoc");
    EXPECT_EQ(page.PageSize, "Custom");
    EXPECT_EQ((std::vector<int32_t>{page.Width, page.Height, page.GridHorWidth, page.GridVertWidth, page.GridHorCnt,
                                    page.GridVertCnt}),
              (std::vector<int32_t>{11000, 8500, 200, 200, 6, 4}));
    EXPECT_EQ(exporter_->PageTop, 830);

    // On a standard sheet: the style's size and margin, still written as a custom size.
    sheet_->SetState_UseCustomSheet(false);
    sheet_->SetState_SheetStyle(1);
    sheet_->SetState_CustomMargin(5000000);  // not in effect
    ISch_Preferences* style = App().SchServer()->GetPreferences();
    dbo::TDboPage& standard = Export();
    EXPECT_EQ(standard.PageName, "Sheet1.SchDoc");
    EXPECT_EQ(standard.PageSize, "Custom");
    EXPECT_EQ((std::vector<int32_t>{standard.Width, standard.Height, standard.GridHorWidth, standard.GridHorCnt,
                                    standard.GridVertCnt}),
              (std::vector<int32_t>{style->GetState_SheetStyle_XSize(1) / 10000, style->GetState_SheetStyle_YSize(1) / 10000,
                                    style->GetState_SheetStyle_MarginWidth(1) / 10000, style->GetState_SheetStyle_XZones(1),
                                    style->GetState_SheetStyle_YZones(1)}));
    EXPECT_NE(standard.Width, 11000);
    // Page coordinates run from the inner top left corner of the border.
    int32_t margin = style->GetState_SheetStyle_MarginWidth(1);
    EXPECT_EQ(exporter_->ConvertX(margin + Unit(12)), 12);
    EXPECT_EQ(exporter_->ConvertY(style->GetState_SheetStyle_YSize(1) - margin - Unit(7)), 7);
}

TEST_F(SheetExport, PointsOnSegmentsByDistance) {
    using exporter::PointOnSegment;
    EXPECT_TRUE(PointOnSegment({5, 5}, {0, 0}, {10, 10}, true));
    EXPECT_FALSE(PointOnSegment({0, 0}, {0, 0}, {10, 10}, true));
    EXPECT_TRUE(PointOnSegment({0, 0}, {0, 0}, {10, 10}, false));
    EXPECT_FALSE(PointOnSegment({5, 6}, {0, 0}, {10, 10}, false));
    EXPECT_FALSE(PointOnSegment({11, 11}, {0, 0}, {10, 10}, false));  // beyond the end
    EXPECT_FALSE(PointOnSegment({0, 11}, {0, 0}, {0, 10}, false));
    EXPECT_TRUE(PointOnSegment({0, 7}, {0, 10}, {0, 0}, true));
    EXPECT_TRUE(PointOnSegment({7, 3}, {10, 3}, {0, 3}, true));
    EXPECT_DOUBLE_EQ(exporter::PointToSegmentDistance({3, 4}, {0, 0}, {0, -10}), 5.0);
    EXPECT_DOUBLE_EQ(exporter::PointToSegmentDistance({0, 100000}, {0, 0}, {10, 0}), 32000.0);
}

class SheetExportParts : public SheetExport {
protected:
    ISch_Component* Chip(ISch_Lib* library, const std::string& name, int32_t parts) {
        ISch_Component* chip = AddComponent(library, name);
        chip->SetState_PartCount(parts);
        chip->GetState_SchDesignator()->SetState_Text("U?");
        for (int32_t part = 1; part <= parts; ++part) {
            AddRectangle(chip, {Unit(10), Unit(-40)}, {Unit(50), Unit(-10)}, part);
            AddPin(chip, "L", std::to_string(4 * part - 3), {Unit(10), Unit(-20)}, 2, Unit(10), part);
            AddPin(chip, "R", std::to_string(4 * part - 2), {Unit(50), Unit(-30)}, 0, Unit(10), part);
            AddPin(chip, "T", std::to_string(4 * part - 1), {Unit(30), Unit(-10)}, 1, Unit(10), part);
            AddPin(chip, "B", std::to_string(4 * part), {Unit(20), Unit(-40)}, 3, Unit(20), part);
        }
        return chip;
    }
    ISch_Component* PlaceComponent(ISch_Lib* library, const std::string& name, Coord at, int32_t orientation = 0,
                                   bool mirrored = false) {
        auto* placed = App().SchServer()->LoadComponent(name, library->GetState_DocumentName());
        if (!placed) throw std::runtime_error("no component " + name);
        sheet_->AddSchObject(placed);
        placed->MoveToXY(at.X, at.Y);
        placed->SetState_Orientation(orientation);
        placed->SetState_IsMirrored(mirrored);
        return placed;
    }
    void ExportLibrary(ISch_Lib* library) { exporter::TSCHLibraryExporter(App(), design_.get(), library).RunExport(); }
};

TEST_F(SheetExportParts, PinRecordsStandAtTheHostPinsAtEveryOrientationAndMirror) {
    ISch_Lib* library = NewLibrary();
    Chip(library, "CHIP", 1);
    ExportLibrary(library);
    std::vector<ISch_Component*> placed;
    for (int mirror = 0; mirror < 2; ++mirror)
        for (int32_t o = 0; o < 4; ++o) placed.push_back(PlaceComponent(library, "CHIP", At(100 + 100 * o, 100 + 150 * mirror), o, mirror));
    // A no-connect marker on the far end of the right pin of the first part.
    auto* pins0 = placed[0]->SchIterator_Create({ePin}, eIterateAllLevels).release();
    std::vector<ISch_Pin*> firstPins;
    for (auto* o = pins0->FirstSchObject(); o; o = pins0->NextSchObject()) firstPins.push_back(dynamic_cast<ISch_Pin*>(o));
    delete pins0;
    ASSERT_EQ(firstPins.size(), 4u);
    Coord rightEnd = firstPins[1]->GetState_Location();
    rightEnd.X += firstPins[1]->GetState_PinLength();
    Place<ISch_GraphicalObject>(eNoERC)->SetState_Location(rightEnd);

    dbo::TDboPage& page = Export();
    ASSERT_EQ(page.PartsAndBlocks->Count(), 8);
    const int rotations[2][4] = {{0, 1, 2, 3}, {0, 3, 2, 1}};
    for (size_t k = 0; k < placed.size(); ++k) {
        SCOPED_TRACE("orientation " + std::to_string(k % 4) + ", mirrored " + std::to_string(k / 4));
        auto* part = dynamic_cast<dbo::TDboPart*>(page.PartsAndBlocks->GetParts(static_cast<int>(k)));
        ASSERT_NE(part, nullptr);
        EXPECT_EQ(part->GetRotation(), rotations[k / 4][k % 4]);
        EXPECT_EQ(part->GetMirror(), int(k / 4));
        EXPECT_EQ(part->ViewName, "CHIP.Normal");
        EXPECT_EQ(part->SrcPkg, "CHIP");
        std::vector<std::pair<int32_t, int32_t>> host, records;
        auto it = placed[k]->SchIterator_Create({ePin}, eIterateAllLevels);
        for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject()) {
            auto* pin = dynamic_cast<ISch_Pin*>(o);
            Coord p = pin->GetState_Location();
            int32_t l = pin->GetState_PinLength();
            const int32_t dx[] = {l, 0, -l, 0}, dy[] = {0, l, 0, -l};
            p.X += dx[pin->GetState_Orientation()];
            p.Y += dy[pin->GetState_Orientation()];
            host.emplace_back(exporter_->ConvertX(p.X), exporter_->ConvertY(p.Y));
        }
        ASSERT_EQ(part->PinProps.Count(), 4);
        for (int i = 0; i < 4; ++i) {
            auto* props = part->PinProps.GetPinProps(i);
            records.emplace_back(props->LocationX, props->LocationY);
            EXPECT_EQ(props->PinNumber, static_cast<uint16_t>(k == 0 && i == 1 ? -2 : i + 1));
        }
        EXPECT_EQ(records, host);
    }
}

TEST_F(SheetExportParts, APartDrawnWithPinsAloneStandsWhereItsPinsAre) {
    ISch_Lib* library = NewLibrary();
    ISch_Component* pad = AddComponent(library, "PAD");
    pad->GetState_SchDesignator()->SetState_Text("TP?");
    AddPin(pad, "A", "1", {Unit(0), Unit(0)}, 2, Unit(10));
    AddPin(pad, "B", "2", {Unit(20), Unit(0)}, 0, Unit(10));
    ExportLibrary(library);
    ISch_Component* placed = PlaceComponent(library, "PAD", At(300, 200));
    dbo::TDboPage& page = Export();
    ASSERT_EQ(page.PartsAndBlocks->Count(), 1);
    auto* part = dynamic_cast<dbo::TDboPart*>(page.PartsAndBlocks->GetParts(0));
    ASSERT_NE(part, nullptr);
    Coord at = placed->GetState_Location();
    EXPECT_EQ(std::vector<int>({part->LocationX, part->LocationY}),
              std::vector<int>({exporter_->ConvertX(at.X), exporter_->ConvertY(at.Y)}));
    ASSERT_EQ(part->PinProps.Count(), 2);
    EXPECT_EQ(std::vector<int>({part->PinProps.GetPinProps(0)->LocationX, part->PinProps.GetPinProps(1)->LocationX}),
              std::vector<int>({part->LocationX - 10, part->LocationX + 30}));
}

TEST_F(SheetExportParts, PartsAndSymbolsThatTheDesignLacksAreLeftOut) {
    ISch_Lib* library = NewLibrary();
    Chip(library, "CHIP", 1);
    ISch_Component* dual = Chip(library, "DUAL", 2);
    dual->SetState_DisplayModeCount(1);
    ExportLibrary(library);
    ISch_Component* missing = Chip(library, "MISSING", 1);  // added after the export
    (void)missing;
    ISch_Component* byItemId = PlaceComponent(library, "MISSING", At(100, 100));
    byItemId->SetState_DesignItemId("CHIP");
    PlaceComponent(library, "MISSING", At(200, 100));
    ISch_Component* second = PlaceComponent(library, "DUAL", At(300, 100));
    second->SetState_CurrentPartId(2);
    second->GetState_SchDesignator()->SetState_Text("U1");
    second->SetState_DisplayMode(1);  // no ".Convert" view: the first view serves
    ISch_Component* title = PlaceComponent(library, "CHIP", At(400, 100));
    title->SetState_ComponentKind(eComponentKind_Graphical);
    for (int32_t style = 0; style <= 7; ++style) {
        auto* power = Place<ISch_PowerObject>(ePowerObject);
        power->SetState_Style(style);
        power->SetState_Orientation(0);
        power->SetState_Text(style < 4 ? "VCC" : "GND");
        power->SetState_Location(At(100 + 20 * style, 300));
    }
    auto* offPage = Place<ISch_CrossSheetConnector>(eCrossSheetConnector);
    offPage->SetState_Text("OUT");
    offPage->SetState_Location(At(100, 400));

    // Without the standard symbols no power object nor off-page connector can stand.
    dbo::TDboPage& bare = Export();
    EXPECT_EQ(bare.Powers->Count(), 0);
    EXPECT_EQ(bare.OffPages->Count(), 0);
    ASSERT_EQ(bare.PartsAndBlocks->Count(), 2);
    auto* viaItemId = dynamic_cast<dbo::TDboPart*>(bare.PartsAndBlocks->GetParts(0));
    EXPECT_EQ(viaItemId->SrcPkg, "CHIP");
    EXPECT_EQ(viaItemId->ViewName, "CHIP.Normal");
    auto* b = dynamic_cast<dbo::TDboPart*>(bare.PartsAndBlocks->GetParts(1));
    EXPECT_EQ(b->ViewName, "DUALB.Convert");
    EXPECT_EQ(b->PartNo, 1);
    EXPECT_EQ(b->DesignatorStr, "U1");
    EXPECT_EQ(b->GetVisiblePropByName("Part Reference")->GetValue(), "U1B");
    // The first view of the first package: pins 1 to 4 of part A.
    EXPECT_EQ(b->PinProps.Count(), 4);
    ASSERT_EQ(bare.TitleBlocks->Count(), 1);
    auto* block = bare.TitleBlocks->As<dbo::TDboTitleBlock>(0);
    EXPECT_EQ(block->SymName, "CHIP");
    EXPECT_EQ(block->Width, 400);
    EXPECT_EQ(block->Height, 200);

    AddStandardSymbols();
    dbo::TDboPage& full = Export();
    // Style 7 has no symbol; the others stand, GND turned one way and VCC the other.
    ASSERT_EQ(full.Powers->Count(), 7);
    EXPECT_EQ(full.Powers->As<dbo::TDboPower>(0)->SymName, "VCC_CIRCLE");
    EXPECT_EQ(full.Powers->As<dbo::TDboPower>(0)->GetRotation(), 3);
    EXPECT_EQ(full.Powers->As<dbo::TDboPower>(4)->SymName, "GND_POWER");
    EXPECT_EQ(full.Powers->As<dbo::TDboPower>(4)->GetRotation(), 1);
    ASSERT_EQ(full.OffPages->Count(), 1);
    EXPECT_EQ(full.OffPages->As<dbo::TDboOffPage>(0)->SymName, "OFFPAGELEFT-L");
    EXPECT_EQ(design_->GetString(full.OffPages->As<dbo::TDboOffPage>(0)->PortNameIdx), "OUT");
}

TEST_F(SheetExport, SheetSymbolsWithEntriesOnEachSideAndPortsOfEachKind) {
    names_.GetUniquePageName("", "Sub.SchDoc");
    auto* symbol = Place<ISch_SheetSymbol>(eSheetSymbol);
    symbol->SetState_Location(At(100, 100));
    symbol->SetState_XSize(Unit(80));
    symbol->SetState_YSize(Unit(60));
    symbol->GetState_SheetFileName()->SetState_Text("Sub.SchDoc");
    symbol->GetState_SheetName()->SetState_Text("U_Sub");
    const std::vector<std::string> entryNames{"IN", "OUT", "D[0..3]", "BI"};
    for (int32_t side = 0; side < 4; ++side) {
        auto* entry = Make<ISch_SheetEntry>(eSheetEntry);
        entry->SetState_Name(entryNames[static_cast<size_t>(side)]);
        entry->SetState_Side(side);
        entry->SetState_DistanceFromTop(Unit(20));
        entry->SetState_IOType((side + 2) % 4);  // 2, 3, 0, 1
        symbol->AddSchObject(entry);
    }
    // Ports: one whose wire meets its location, one that nothing meets, a vertical one, each IO type.
    AddLine(eWire, {At(300, 100), At(250, 100)});
    struct PortCase {
        int32_t style;
        Coord at;
        int32_t ioType;
    };
    const std::vector<PortCase> ports{{1, At(300, 100), 0}, {2, At(300, 200), 1}, {5, At(400, 100), 2}, {8, At(400, 200), 3}};
    for (const PortCase& c : ports) {
        auto* port = Place<ISch_Port>(ePort);
        port->SetState_Name("P");
        port->SetState_Style(c.style);
        port->SetState_Location(c.at);
        port->SetState_Width(Unit(60));
        port->SetState_IOType(c.ioType);
    }
    dbo::TDboPage& page = Export();

    ASSERT_EQ(page.PartsAndBlocks->Count(), 1);
    auto* block = dynamic_cast<dbo::TDboHierarchicalBlock*>(page.PartsAndBlocks->GetParts(0));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ((std::vector<int32_t>{block->LocationX, block->LocationY, block->GetWidth(), block->GetHeight()}),
              (std::vector<int32_t>{100, 100, 80, 60}));
    EXPECT_EQ(design_->GetString(block->ImplementSheetIdx), "Sub.SchDoc");
    EXPECT_EQ(block->ImplementFolderIdx, block->ImplementSheetIdx);
    EXPECT_EQ(block->GetRefStr(), "U_Sub");
    EXPECT_EQ(design_->GetString(block->NameIdx), "U_Sub");
    dbo::TDboPinList* pins = block->GetPins();
    ASSERT_EQ(pins->Count(), 4);
    ASSERT_EQ(block->PinProps.Count(), 4);
    // Offsets by side: left, right (at the block's width), top, bottom (at its height).
    const std::vector<std::pair<int32_t, int32_t>> offsets{{0, 20}, {80, 20}, {20, 0}, {20, 60}};
    const std::vector<int32_t> types{0, 1, 4, 2};
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(entryNames[static_cast<size_t>(i)]);
        dbo::TDboPin* pin = pins->GetPins(i);
        EXPECT_EQ(pin->PinName, entryNames[static_cast<size_t>(i)]);
        EXPECT_EQ(pin->ID, i == 2 ? dbo::kIdPinBus : dbo::kIdPinScalar);
        EXPECT_EQ(std::make_pair(pin->OffsetX, pin->OffsetY), offsets[static_cast<size_t>(i)]);
        EXPECT_EQ(std::make_pair(pin->EndX, pin->EndY), offsets[static_cast<size_t>(i)]);
        EXPECT_TRUE(pin->GetIsVisible());
        EXPECT_EQ(pin->PinType, types[static_cast<size_t>(i)]);
        dbo::TDboPinProps* props = block->PinProps.GetPinProps(i);
        EXPECT_EQ(props->PinNumber, i + 1);
        EXPECT_EQ(props->ID, i == 2 ? dbo::kIdPinPropsBus : dbo::kIdPinPropsScalar);
        // The entry's place on the page: the block's corner plus its offset.
        EXPECT_EQ(std::make_pair(int32_t(props->LocationX), int32_t(props->LocationY)),
                  std::make_pair(100 + offsets[static_cast<size_t>(i)].first, 100 + offsets[static_cast<size_t>(i)].second));
    }

    ASSERT_EQ(page.Ports->Count(), 4);
    struct Expected {
        std::string symbol;
        int rotation;
        int32_t x, y;
        int32_t type;
    };
    const std::vector<Expected> expected{
        {"PORTLEFT-L", 0, 300, 90, 4},       // the wire meets the location
        {"PORTRIGHT-R", 0, 330, 190, 2},     // nothing meets it: 60 - 30 to the right
        {"PORTRIGHT-L", 1, 390, 68, 0},      // vertical, nothing meets it
        {"", 0, 400, 200, 1},                // a style beyond 7: no symbol, no offset
    };
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE("port " + std::to_string(i));
        auto* port = page.Ports->As<dbo::TDboPort>(i);
        EXPECT_EQ(port->SymName, expected[static_cast<size_t>(i)].symbol);
        EXPECT_EQ(port->GetRotation(), expected[static_cast<size_t>(i)].rotation);
        EXPECT_EQ(std::make_pair(int32_t(port->LocationX), int32_t(port->LocationY)),
                  std::make_pair(expected[static_cast<size_t>(i)].x, expected[static_cast<size_t>(i)].y));
        EXPECT_EQ(port->PortType, expected[static_cast<size_t>(i)].type);
        EXPECT_EQ(design_->GetString(port->PortNameIdx), "P");
    }
}
