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
