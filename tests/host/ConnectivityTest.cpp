// Nets and connection points of sheets built here, one rule at a time, each with its nets written
// out: names joining wires across a sheet, sheet entries, power objects, ports, wires meeting in the
// middle of a segment, pins, buses and bus entries.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "HostTestUtil.h"
#include "TestSupport.h"
#include "host/ClientServices.h"
#include "host/Connectivity.h"
#include "host/SchObjects.h"

using namespace orcadx::host;
using orcadx::test::Make;
using orcadx::test::Mil;

namespace {

// A net as its name and the unique ids of its wires and buses, sorted.
using Net = std::pair<std::string, std::vector<std::string>>;

class Sheet {
public:
    explicit Sheet(HostApplication& app) : app_(app) {
        app_.StartSchServer();
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        auto path = orcadx::test::ScratchDir(std::string("connectivity_") + test->name()) / "Sheet.SchDoc";
        document_ = OpenOrCreateDocument(app_, path.string(), "SCH", "Binary", true);
        sheet_ = dynamic_cast<ISch_Sheet*>(app_.SchDocumentOf(document_));
        if (!sheet_) throw std::runtime_error("no sheet at " + path.string());
    }
    Sheet(const Sheet&) = delete;
    ~Sheet() { app_.Client()->CloseDocument(document_); }

    // Points in mils.
    void Wire(const std::string& id, std::vector<Coord> mils) { Line<ISch_Wire>(eWire, id, mils); }
    void Bus(const std::string& id, std::vector<Coord> mils) { Line<ISch_Bus>(eBus, id, mils); }
    void Label(const std::string& text, Coord at) {
        auto* label = Make<ISch_NetLabel>(app_, eNetLabel);
        label->SetState_Text(text);
        label->SetState_Location(M(at));
        sheet_->AddSchObject(label);
    }
    void Power(const std::string& net, Coord at) {
        auto* power = Make<ISch_PowerObject>(app_, ePowerObject);
        power->SetState_Text(net);
        power->SetState_Location(M(at));
        sheet_->AddSchObject(power);
    }
    void OffSheet(const std::string& net, Coord at) {
        auto* connector = Make<ISch_CrossSheetConnector>(app_, eCrossSheetConnector);
        connector->SetState_Text(net);
        connector->SetState_Location(M(at));
        sheet_->AddSchObject(connector);
    }
    // A horizontal port from `at` to the right for `width` mils.
    void Port(const std::string& name, Coord at, int32_t width) {
        auto* port = Make<ISch_Port>(app_, ePort);
        port->SetState_Name(name);
        port->SetState_Style(3);
        port->SetState_Location(M(at));
        port->SetState_Width(Mil(width));
        sheet_->AddSchObject(port);
    }
    // A sheet symbol with its upper left corner at `at`, 400 by 400 mils, and entries on its right
    // side at the given distances from the top.
    void Symbol(Coord at, std::vector<std::pair<std::string, int32_t>> entries) {
        auto* symbol = Make<ISch_SheetSymbol>(app_, eSheetSymbol);
        symbol->SetState_Location(M(at));
        symbol->SetState_XSize(Mil(400));
        symbol->SetState_YSize(Mil(400));
        for (auto& [name, distance] : entries) {
            auto* entry = Make<ISch_SheetEntry>(app_, eSheetEntry);
            entry->SetState_Name(name);
            entry->SetState_Side(1);
            entry->SetState_DistanceFromTop(Mil(distance));
            symbol->AddSchObject(entry);
        }
        sheet_->AddSchObject(symbol);
    }
    // A component with the designator and one pin per entry: number, body end, orientation (the
    // electrical end lies 100 mils away in that direction), part, hidden.
    struct PinAt {
        std::string number;
        Coord body;
        int32_t orientation;
        int32_t part = 1;
        bool hidden = false;
    };
    void Part(const std::string& designator, std::vector<PinAt> pins, int32_t currentPart = 1) {
        auto* component = Make<ISch_Component>(app_, eSchComponent);
        component->GetState_SchDesignator()->SetState_Text(designator);
        component->SetState_PartCount(2);
        for (const PinAt& p : pins) {
            auto* pin = Make<ISch_Pin>(app_, ePin);
            pin->SetState_Designator(p.number);
            pin->SetState_Location(M(p.body));
            pin->SetState_Orientation(p.orientation);
            pin->SetState_PinLength(Mil(100));
            pin->SetState_OwnerPartId(p.part);
            pin->SetState_IsHidden(p.hidden);
            component->AddSchObject(pin);
        }
        component->SetState_CurrentPartId(currentPart);
        sheet_->AddSchObject(component);
    }
    void BusEntry(Coord from, Coord to) {
        auto* entry = Make<ISch_BusEntry>(app_, eBusEntry);
        entry->SetState_Location(M(from));
        entry->SetState_Corner(M(to));
        sheet_->AddSchObject(entry);
    }

    std::vector<Net> Nets() {
        std::vector<Net> nets;
        for (const auto& n : impl::CompileNets(*impl::CoreOf(sheet_))) {
            Net net{n.Name, n.WireIds};
            std::sort(net.second.begin(), net.second.end());
            nets.push_back(net);
        }
        std::sort(nets.begin(), nets.end());
        return nets;
    }
    // Connection points in mils with their object counts.
    std::map<std::pair<int32_t, int32_t>, int32_t> Connections(bool buses) {
        std::map<std::pair<int32_t, int32_t>, int32_t> out;
        auto array = buses ? sheet_->GetState_BusConnections() : sheet_->GetState_WireConnections();
        for (int32_t i = 0; i < array->GetState_ConnectionsCount(); ++i) {
            Coord c = array->GetState_ConnectionLocation(i);
            out[{c.X / Mil(1), c.Y / Mil(1)}] = array->GetState_ConnectionObjectsCount(i);
        }
        return out;
    }

private:
    static Coord M(Coord mils) { return {Mil(mils.X), Mil(mils.Y)}; }
    template <class T>
    void Line(int32_t kind, const std::string& id, const std::vector<Coord>& mils) {
        auto* line = Make<T>(app_, kind);
        line->SetState_UniqueId(id);
        line->SetState_VertexCount(static_cast<int32_t>(mils.size()));
        for (size_t i = 0; i < mils.size(); ++i) line->SetState_Vertex(static_cast<int32_t>(i + 1), M(mils[i]));
        sheet_->AddSchObject(line);
    }
    HostApplication& app_;
    IServerDocument* document_ = nullptr;
    ISch_Sheet* sheet_ = nullptr;
};

std::vector<Net> Sorted(std::vector<Net> nets) {
    for (auto& n : nets) std::sort(n.second.begin(), n.second.end());
    std::sort(nets.begin(), nets.end());
    return nets;
}

struct ConnectivityTest : ::testing::Test {
    HostApplication app{orcadx::test::Options(41)};
};

}  // namespace

// Net labels of one name join the wires they stand on, wherever on the sheet; a label names only
// the wire under its location (anywhere on a segment, an end included).
TEST_F(ConnectivityTest, NetLabelsJoinWiresAcrossTheSheet) {
    Sheet s(app);
    s.Wire("W1", {{0, 0}, {500, 0}});
    s.Wire("W2", {{0, 1000}, {500, 1000}});
    s.Wire("W3", {{2000, 0}, {2000, 800}});
    s.Wire("W4", {{3000, 0}, {3500, 0}});
    s.Label("DATA", {250, 0});      // mid-segment of W1
    s.Label("DATA", {500, 1000});   // the end of W2
    s.Label("DATA", {2000, 400});   // on the vertical W3
    s.Label("CLK", {3100, 0});
    s.Label("DATA", {3200, 50});    // beside W4, on nothing
    EXPECT_EQ(s.Nets(), Sorted({{"DATA", {"W1", "W2", "W3"}}, {"CLK", {"W4"}}}));
}

// Each name source joins its objects across the sheet, and a net takes its name from the best
// source on it: net label, then power object, port, off-sheet connector, sheet entry, then pin.
TEST_F(ConnectivityTest, PowerObjectsPortsAndOffSheetConnectorsJoinAndNameNets) {
    Sheet s(app);
    s.Wire("W1", {{0, 0}, {500, 0}});
    s.Power("VCC", {0, 0});
    s.Wire("W2", {{0, 1000}, {500, 1000}});
    s.Power("VCC", {500, 1000});
    s.Wire("W3", {{1000, 0}, {1000, 500}});
    s.Power("GND", {1000, 0});
    // A port joins the wires at both of its ends and names them.
    s.Wire("W4", {{2000, 0}, {2200, 0}});
    s.Port("SDA", {2200, 0}, 300);
    s.Wire("W5", {{2500, 0}, {2800, 0}});
    s.Wire("W6", {{2000, 2000}, {2300, 2000}});
    s.Port("SDA", {2300, 2000}, 300);  // the same name elsewhere: the same net
    s.Wire("W7", {{4000, 0}, {4300, 0}});
    s.OffSheet("RESET", {4300, 0});
    s.Wire("W8", {{4000, 1000}, {4300, 1000}});
    s.OffSheet("RESET", {4000, 1000});
    // Power and a net label on one net: the label names it, and the power object's name still joins.
    s.Wire("W9", {{6000, 0}, {6500, 0}});
    s.Power("3V3", {6000, 0});
    s.Label("VDD_IO", {6200, 0});
    s.Wire("W10", {{6000, 1000}, {6500, 1000}});
    s.Power("3V3", {6500, 1000});
    // A port on a power net: the power object names it.
    s.Wire("W11", {{8000, 0}, {8500, 0}});
    s.Port("VBAT_SENSE", {8500, 0}, 200);
    s.Power("VBAT", {8000, 0});
    EXPECT_EQ(s.Nets(), Sorted({{"VCC", {"W1", "W2"}},
                                {"GND", {"W3"}},
                                {"SDA", {"W4", "W5", "W6"}},
                                {"RESET", {"W7", "W8"}},
                                {"VDD_IO", {"W10", "W9"}},
                                {"VBAT", {"W11"}}}));
}

// Sheet entries of two symbols with the same name are different connections: they don't join,
// though each names its own net; an entry on a net with a port takes the port's name.
TEST_F(ConnectivityTest, SheetEntriesOfTwoSymbolsWithTheSameNameStayApart) {
    Sheet s(app);
    s.Symbol({0, 1000}, {{"A", 100}, {"B", 300}});     // entries at (400, 900) and (400, 700)
    s.Symbol({2000, 1000}, {{"A", 100}});              // entry at (2400, 900)
    s.Wire("W1", {{400, 900}, {800, 900}});
    s.Wire("W2", {{2400, 900}, {2800, 900}});
    s.Wire("W3", {{400, 700}, {800, 700}});
    s.Port("PB", {800, 700}, 200);
    EXPECT_EQ(s.Nets(), Sorted({{"A", {"W1"}}, {"A", {"W2"}}, {"PB", {"W3"}}}));
}

// Wires join where an end meets another wire's end or the middle of its segment; wires that cross
// without a vertex at the crossing don't. A pin joins at its electrical end, on a wire's end or
// middle; hidden pins and pins of another part don't; an unnamed net is named after its first pin,
// else numbered.
TEST_F(ConnectivityTest, WiresMeetEndToEndAndMidSegmentAndPinsAtTheirEnds) {
    Sheet s(app);
    s.Wire("W1", {{0, 0}, {1000, 0}});
    s.Wire("W2", {{500, 0}, {500, 500}});            // T on the middle of W1
    s.Wire("W3", {{500, 500}, {900, 500}});          // end to end with W2
    s.Wire("W4", {{700, -300}, {700, 300}});         // crosses W1 without a vertex there
    s.Wire("W5", {{2000, 0}, {2000, 400}, {2400, 400}});
    // U1 pin 1 reaches (2200, 400), the middle of W5's second segment; pin 2 (hidden) and pin 3
    // (part 2, not shown) end on W4's ends.
    s.Part("U1", {{"1", {2200, 500}, 3}, {"2", {700, 400}, 3, 1, true}, {"3", {600, -300}, 0, 2}});
    s.Wire("W6", {{3000, 0}, {3400, 0}});
    EXPECT_EQ(s.Nets(), Sorted({{"N1", {"W1", "W2", "W3"}},
                                {"N2", {"W4"}},
                                {"NetU1_1", {"W5"}},
                                {"N3", {"W6"}}}));
    // Connection points with their counts: an end counts once, a pass through the middle twice.
    auto points = s.Connections(false);
    EXPECT_EQ((points[{500, 0}]), 3);    // T
    EXPECT_EQ((points[{500, 500}]), 2);  // two ends
    EXPECT_EQ((points[{2000, 400}]), 2); // a bend
    EXPECT_EQ((points[{2200, 400}]), 3); // a pin end on the middle of a segment
    EXPECT_EQ(points.count({700, 0}), 0u);
    EXPECT_EQ(points.count({700, 300}), 0u);  // the hidden pin ends here
    EXPECT_EQ(points.count({700, -300}), 0u);  // the pin of the other part ends here
}

// Buses are nets of their own: a bus entry doesn't join a wire to a bus, nor does a wire ending on
// a bus; buses join through their names ("D[0..7]"), and a label names a bus only when it is a bus
// name (with ".."), a wire only when it isn't.
TEST_F(ConnectivityTest, BusesAndBusEntries) {
    Sheet s(app);
    s.Bus("B1", {{1000, 1000}, {2000, 1000}});
    s.Label("D[0..7]", {1500, 1000});
    s.BusEntry({1200, 1000}, {1300, 900});
    s.Wire("W1", {{1300, 900}, {1600, 900}});
    s.Label("D0", {1400, 900});
    s.Wire("W2", {{2000, 1000}, {2000, 1400}});      // ends on the bus's end
    s.Bus("B2", {{1000, 3000}, {2000, 3000}});
    s.Label("D[0..7]", {1000, 3000});
    s.Bus("B3", {{3000, 3000}, {3500, 3000}});
    s.Label("D1", {3200, 3000});                     // a wire name on a bus: names nothing
    s.Wire("W3", {{3000, 2000}, {3500, 2000}});
    s.Label("A[0..1]", {3200, 2000});                // a bus name on a wire: names nothing
    EXPECT_EQ(s.Nets(), Sorted({{"D[0..7]", {"B1", "B2"}}, {"D0", {"W1"}}, {"N1", {"W2"}}, {"N2", {"B3"}}, {"N3", {"W3"}}}));
    // The bus entry meets the bus in its middle (the bus passes: 2, the entry's end: 1); the bus end
    // and the wire's end make a point of both kinds.
    auto buses = s.Connections(true);
    EXPECT_EQ((buses[{1200, 1000}]), 3);
    EXPECT_EQ((buses[{2000, 1000}]), 2);
    auto wires = s.Connections(false);
    EXPECT_EQ((wires[{1300, 900}]), 2);              // the entry's other end on the wire's end
    EXPECT_EQ((wires[{2000, 1000}]), 2);
    EXPECT_EQ(wires.count({1200, 1000}), 0u);        // no wire there
}
