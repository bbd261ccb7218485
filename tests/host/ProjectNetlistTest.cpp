// The netlist of whole projects built in code: flat sheets, pages joined by off-sheet connectors and
// labels, a block used twice with per-occurrence designators, power objects and hidden power pins,
// buses across the hierarchy, multi-section parts, pages grouped under one symbol; the nets are
// written out by hand.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>

#include "HostTestUtil.h"
#include "TestSupport.h"
#include "host/ClientServices.h"
#include "host/Connectivity.h"

namespace {

using namespace orcadx;
using namespace orcadx::host;
using orcadx::test::Make;
using orcadx::test::Mil;

Coord At(double x, double y) { return {Mil(x), Mil(y)}; }

struct PinDescription {
    PinDescription(std::string number, std::string name, int32_t part = 1, bool hidden = false, std::string hiddenNet = {},
            bool power = false)
        : Number(std::move(number)), Name(std::move(name)), Part(part), Hidden(hidden), HiddenNet(std::move(hiddenNet)),
          Power(power || !HiddenNet.empty()) {}
    std::string Number;
    std::string Name;
    int32_t Part;  // 0: every part
    bool Hidden;
    std::string HiddenNet;
    bool Power;
};

// Places objects on one sheet. Pins have no length: a pin's electrical end is where it stands,
// 100 mils below the previous one, starting at the component's location.
class SheetBuilder {
public:
    SheetBuilder(HostApplication& app, const std::filesystem::path& path) : app_(app) {
        app.StartSchServer();
        server_ = OpenOrCreateDocument(app, path.string(), "SCH", "Binary", true);
        sheet_ = dynamic_cast<ISch_Sheet*>(app.SchDocumentOf(server_));
        fileName_ = path.filename().string();
    }

    impl::ProjectSheet Sheet() const { return {fileName_, impl::CoreOf(sheet_)}; }
    IServerDocument* Server() const { return server_; }

    ISch_Component* Part(const std::string& designator, const std::string& libReference, Coord at, int pins,
                         const std::string& value = "") {
        std::vector<PinDescription> described;
        for (int i = 1; i <= pins; ++i) described.push_back({std::to_string(i), "P" + std::to_string(i)});
        return Part(designator, libReference, at, described, value);
    }
    // A component showing part `partId` of `partCount`; pins of other parts stand in it unseen.
    ISch_Component* Part(const std::string& designator, const std::string& libReference, Coord at,
                         const std::vector<PinDescription>& pins, const std::string& value = "", int32_t partId = 1,
                         int32_t partCount = 1) {
        auto* c = Make<ISch_Component>(app_, eSchComponent);
        c->SetState_LibReference(libReference);
        c->GetState_SchDesignator()->SetState_Text(designator);
        c->GetState_SchComment()->SetState_Text(value);
        c->SetState_PartCount(partCount);
        c->SetState_CurrentPartId(partId);
        int row = 0;
        for (const PinDescription& d : pins) {
            auto* pin = Make<ISch_Pin>(app_, ePin);
            pin->SetState_Designator(d.Number);
            pin->SetState_Name(d.Name);
            pin->SetState_PinLength(0);
            pin->SetState_OwnerPartId(d.Part);
            pin->SetState_IsHidden(d.Hidden);
            pin->SetState_HiddenNetName(d.HiddenNet);
            if (d.Power) pin->SetState_Electrical(ePinPower);
            bool shown = d.Part == 0 || d.Part == partId;
            pin->SetState_Location({0, shown && !d.Hidden ? -Mil(100) * row++ : Mil(5000)});
            c->AddSchObject(pin);
        }
        sheet_->AddSchObject(c);
        c->MoveToXY(at.X, at.Y);
        return c;
    }
    // The electrical end of pin n (from 1, counting the shown pins) of a component placed at `at`.
    static Coord PinAt(Coord at, int n) { return {at.X, at.Y - Mil(100) * (n - 1)}; }

    void Wire(std::vector<Coord> points) {
        auto* w = Make<ISch_Wire>(app_, eWire);
        for (Coord p : points) w->InsertVertex(w->GetState_VertexCount() + 1, p);
        sheet_->AddSchObject(w);
    }
    void Bus(std::vector<Coord> points) {
        auto* b = Make<ISch_Bus>(app_, eBus);
        for (Coord p : points) b->InsertVertex(b->GetState_VertexCount() + 1, p);
        sheet_->AddSchObject(b);
    }
    void BusEntry(Coord onBus, Coord onWire) {
        auto* e = Make<ISch_BusEntry>(app_, eBusEntry);
        e->SetState_Location(onBus);
        e->SetState_Corner(onWire);
        sheet_->AddSchObject(e);
    }
    void Label(const std::string& text, Coord at) {
        auto* l = Make<ISch_NetLabel>(app_, eNetLabel);
        l->SetState_Location(at);
        l->SetState_Text(text);
        sheet_->AddSchObject(l);
    }
    void Power(const std::string& text, Coord at) {
        auto* p = Make<ISch_PowerObject>(app_, ePowerObject);
        p->SetState_Location(at);
        p->SetState_Text(text);
        sheet_->AddSchObject(p);
    }
    void OffSheet(const std::string& text, Coord at) {
        auto* o = Make<ISch_CrossSheetConnector>(app_, eCrossSheetConnector);
        o->SetState_Location(at);
        o->SetState_Text(text);
        sheet_->AddSchObject(o);
    }
    // A port whose left end stands at `at`.
    void Port(const std::string& name, Coord at) {
        auto* p = Make<ISch_Port>(app_, ePort);
        p->SetState_Location(at);
        p->SetState_Name(name);
        p->SetState_Style(3);
        sheet_->AddSchObject(p);
    }
    // A sheet symbol with its upper left corner at `at`, 1000 mils wide; entry k stands on the left
    // side at 100 * (k + 1) mils from the top, or on the right side when its name begins with ">".
    ISch_SheetSymbol* Symbol(const std::string& designator, const std::string& files, Coord at,
                             const std::vector<std::string>& entries) {
        auto* s = Make<ISch_SheetSymbol>(app_, eSheetSymbol);
        s->SetState_Location(at);
        s->SetState_XSize(Mil(1000));
        s->SetState_YSize(Mil(100) * (int32_t(entries.size()) + 2));
        s->GetState_SheetName()->SetState_Text(designator);
        s->GetState_SheetFileName()->SetState_Text(files);
        for (size_t k = 0; k < entries.size(); ++k) {
            auto* e = Make<ISch_SheetEntry>(app_, eSheetEntry);
            bool right = entries[k][0] == '>';
            e->SetState_Name(right ? entries[k].substr(1) : entries[k]);
            e->SetState_Side(right ? 1 : 0);
            e->SetState_DistanceFromTop(Mil(100) * int32_t(k + 1));
            s->AddSchObject(e);
        }
        sheet_->AddSchObject(s);
        return s;
    }
    static Coord EntryAt(Coord symbolAt, size_t k, bool right = false) {
        return {symbolAt.X + (right ? Mil(1000) : 0), symbolAt.Y - Mil(100) * int32_t(k + 1)};
    }
    void Parameter(ISch_BasicContainer* owner, const std::string& name, const std::string& text) {
        auto* p = Make<ISch_Parameter>(app_, eParameter);
        p->SetState_Name(name);
        p->SetState_Text(text);
        owner->AddSchObject(p);
    }

private:
    HostApplication& app_;
    IServerDocument* server_;
    ISch_Sheet* sheet_;
    std::string fileName_;
};

using NetMap = std::map<std::string, std::set<std::string>>;

// The nets by name with their pins as "DESIGNATOR.PIN"; pins that touch nothing under "(nc)".
NetMap NetsOf(const Netlist& netlist) {
    NetMap out;
    for (const NetlistNet& net : netlist.Nets)
        for (const NetlistNode& n : net.Nodes) {
            const NetlistPart& part = netlist.Parts[n.Part];
            out[net.Unconnected ? "(nc)" : net.Name].insert(part.Designator + "." + part.Pins[n.Pin].Number);
        }
    return out;
}

std::string Describe(const NetMap& nets) {
    std::string out;
    for (const auto& [name, pins] : nets) {
        out += name + ":";
        for (const std::string& p : pins) out += " " + p;
        out += "\n";
    }
    return out;
}

class ProjectNetlist : public ::testing::Test {
protected:
    ProjectNetlist() : app(test::Options(42, true)) {}
    std::filesystem::path Dir(const std::string& name) { return test::ScratchDir("netlist_" + name); }
    HostApplication app;
};

TEST_F(ProjectNetlist, FlatSheetJoinsWhatTouchesAndNamesByLabelAndPower) {
    auto dir = Dir("flat");
    SheetBuilder s(app, dir / "Main.SchDoc");
    Coord r1 = At(1000, 3000), r2 = At(2000, 3000), c1 = At(3000, 3000), u1 = At(1000, 1500);
    s.Part("R1", "RES", r1, 2, "1k");
    s.Part("R2", "RES", r2, 2, "1k");
    s.Part("C1", "CAP", c1, 2, "100n");
    s.Part("U1", "REG", u1, 3, "LM317");
    // R1.2 to R2.1 without a name; R2.2 to C1.1 named OUT by a label standing on the wire.
    s.Wire({SheetBuilder::PinAt(r1, 2), At(1500, 2900), SheetBuilder::PinAt(r2, 1)});
    s.Wire({SheetBuilder::PinAt(r2, 2), At(2500, 2900), SheetBuilder::PinAt(c1, 1)});
    s.Label("OUT", At(2500, 2900));
    // C1.2 to ground through a wire, R1.1 to VCC and U1.1 to VCC by power objects on the pins.
    s.Wire({SheetBuilder::PinAt(c1, 2), At(3000, 2500)});
    s.Power("GND", At(3000, 2500));
    s.Power("VCC", SheetBuilder::PinAt(r1, 1));
    s.Power("VCC", SheetBuilder::PinAt(u1, 1));
    // U1.2 to U2.1 over a bend; a wire crossing it without a vertex joins nothing.
    s.Wire({SheetBuilder::PinAt(u1, 2), At(1800, 1400)});
    s.Wire({At(1800, 1400), At(1800, 1000), At(2200, 1000)});
    s.Wire({At(1500, 1200), At(2200, 1200)});
    Coord u2 = At(2200, 1000);
    s.Part("U2", "BUF", u2, 1);
    // U1.3 touches nothing.

    Netlist netlist = impl::CompileNetlist({s.Sheet()}, "Flat");
    NetMap expected{{"VCC", {"R1.1", "U1.1"}},  {"GND", {"C1.2"}},          {"OUT", {"R2.2", "C1.1"}},
                    {"NetR1_2", {"R1.2", "R2.1"}}, {"NetU1_2", {"U1.2", "U2.1"}}, {"(nc)", {"U1.3"}}};
    EXPECT_EQ(NetsOf(netlist), expected) << Describe(NetsOf(netlist));
    EXPECT_EQ(netlist.Title, "Flat");
    EXPECT_TRUE(netlist.Problems.empty());
    ASSERT_EQ(netlist.Parts.size(), 5u);
    EXPECT_EQ(netlist.Parts[0].Value, "1k");
    for (const NetlistNet& net : netlist.Nets)
        EXPECT_EQ(net.Named, net.Name == "VCC" || net.Name == "GND" || net.Name == "OUT") << net.Name;
}

TEST_F(ProjectNetlist, PagesOfTheTopJoinByOffSheetConnectorsLabelsPortsAndGlobalNames) {
    auto dir = Dir("pages");
    SheetBuilder p1(app, dir / "Page1.SchDoc"), p2(app, dir / "Page2.SchDoc");
    Coord a = At(1000, 3000), b = At(1000, 3000);
    p1.Part("R1", "RES", a, 4);
    p2.Part("R2", "RES", b, 4);
    // DATA by off-sheet connectors, CLK by labels on both pages, EXT a port on one page and a label
    // on the other; "clk" in another case is another name, and its net another name in the netlist.
    for (auto* page : {&p1, &p2}) {
        page->Wire({SheetBuilder::PinAt(a, 1), At(1500, 3000)});
        page->OffSheet("DATA", At(1500, 3000));
        page->Wire({SheetBuilder::PinAt(a, 2), At(1500, 2900)});
    }
    p1.Label("CLK", At(1500, 2900));
    p2.Label("clk", At(1500, 2900));
    p1.Wire({SheetBuilder::PinAt(a, 3), At(1500, 2800)});
    p1.Port("EXT", At(1500, 2800));
    p2.Wire({SheetBuilder::PinAt(b, 3), At(1500, 2800)});
    p2.Label("EXT", At(1500, 2800));
    // R1.4 on power 5V on page 1; on page 2 a label 5V is the same global net; hidden power pins of
    // U5 join VCC (with no power object anywhere) and GND by their net names, and one without a
    // net name joins the net of its own name, as Capture's invisible power pins do.
    p1.Wire({SheetBuilder::PinAt(a, 4), At(1500, 2700)});
    p1.Power("5V", At(1500, 2700));
    p2.Wire({SheetBuilder::PinAt(b, 4), At(1500, 2700)});
    p2.Label("5V", At(1500, 2700));
    Coord u = At(3000, 3000);
    p2.Part("U5", "MCU", u,
            {{"1", "IO"}, {"7", "GND", 1, true, "GND"}, {"14", "VCC", 1, true, "VCC"}, {"8", "VDD", 1, true, ""},
             {"9", "5V", 1, false, "", true}, {"10", "VCC", 1, false, "", true}, {"11", "VCC", 1, false, "", true}});
    // Shown power pins: 9 touches nothing and joins 5V by its name, 10 likewise VCC; 11 is wired
    // and stays on its wire's net.
    p2.Wire({SheetBuilder::PinAt(u, 4), At(3500, 2700)});
    p2.Label("LOCAL", At(3500, 2700));
    p2.Wire({SheetBuilder::PinAt(u, 1), At(3500, 3000)});
    p2.Label("VCC", At(3500, 3000));

    Netlist netlist = impl::CompileNetlist({p1.Sheet(), p2.Sheet()}, "Pages");
    NetMap expected{{"DATA", {"R1.1", "R2.1"}}, {"CLK", {"R1.2"}}, {"clk_1", {"R2.2"}}, {"EXT", {"R1.3", "R2.3"}},
                    {"5V", {"R1.4", "R2.4", "U5.9"}}, {"VCC", {"U5.1", "U5.14", "U5.10"}}, {"GND", {"U5.7"}},
                    {"VDD", {"U5.8"}},                {"LOCAL", {"U5.11"}}};
    EXPECT_EQ(NetsOf(netlist), expected) << Describe(NetsOf(netlist));
    // A hidden pin is no pin that touches nothing: it has no place on the sheet.
    for (const NetlistNet& net : netlist.Nets) EXPECT_FALSE(net.Unconnected) << net.Name;
    ASSERT_EQ(netlist.Occurrences.size(), 2u);
    EXPECT_EQ(netlist.Occurrences[0].Scope, netlist.Occurrences[1].Scope);
}

TEST_F(ProjectNetlist, LabelsBesideAConnectorStayOnTheirPageAndConnectorsNameFirst) {
    auto dir = Dir("precedence");
    SheetBuilder p1(app, dir / "Page1.SchDoc"), p2(app, dir / "Page2.SchDoc");
    Coord a = At(1000, 3000);
    p1.Part("R1", "RES", a, 4);
    p2.Part("R2", "RES", a, 4);
    // Pin 1: on page 1 a wire has the label OE# and the port OE, and pin 2's wire a label OE#:
    // one net of the page, which goes on as OE. On page 2 OE# and OE are apart. So OE# and OE stay
    // two nets, as Capture keeps them.
    for (auto* page : {&p1, &p2}) {
        page->Wire({SheetBuilder::PinAt(a, 1), At(1500, 3000)});
        page->Wire({SheetBuilder::PinAt(a, 2), At(1500, 2900)});
        page->Wire({SheetBuilder::PinAt(a, 3), At(1500, 2800)});
        page->Wire({SheetBuilder::PinAt(a, 4), At(1500, 2700)});
    }
    p1.Label("OE#", At(1200, 3000));
    p1.Port("OE", At(1500, 3000));
    p1.Label("OE#", At(1500, 2900));
    p2.Label("OE#", At(1500, 3000));
    p2.Port("OE", At(1500, 2900));
    // Pin 3: a port before a power object before a net label, whatever their order in the alphabet;
    // the power object still joins its global net on page 2.
    p1.Port("COMMON", At(1500, 2800));
    p1.Power("AGND", At(1200, 2800));
    p2.Power("AGND", At(1500, 2800));
    // Pin 4: an off-sheet connector before a net label; a power object before a net label.
    p1.OffSheet("ZSIG", At(1500, 2700));
    p1.Label("ASIG", At(1200, 2700));
    p2.Power("ZPWR", At(1500, 2700));
    p2.Label("APWR", At(1200, 2700));

    Netlist netlist = impl::CompileNetlist({p1.Sheet(), p2.Sheet()}, "Precedence");
    NetMap expected{{"OE", {"R1.1", "R1.2", "R2.2"}}, {"OE#", {"R2.1"}}, {"COMMON", {"R1.3", "R2.3"}},
                    {"ZSIG", {"R1.4"}},       {"ZPWR", {"R2.4"}}};
    EXPECT_EQ(NetsOf(netlist), expected) << Describe(NetsOf(netlist));
}

// Top: J1.1 -> BLK1.IN, BLK1.OUT -> BLK2.IN (label STAGE), BLK2.OUT -> J1.2, J1.3 on GND.
// Amp (used twice): IN -> R1.1; R1.2 with label MID and port OUT -> C1.1; C1.2 on GND. R1 and C1
// read their designators per occurrence, as the import folds them.
struct TwoBlocks {
    TwoBlocks(HostApplication& app, const std::filesystem::path& dir)
        : top(app, dir / "Top.SchDoc"), amp(app, dir / "Amp.SchDoc") {
        Coord j1 = At(500, 3000), b1 = At(2000, 3200), b2 = At(4000, 3200);
        top.Part("J1", "CONN", j1, 3);
        auto* s1 = top.Symbol("BLK1", "Amp.SchDoc", b1, {"IN", ">OUT"});
        auto* s2 = top.Symbol("BLK2", "amp.schdoc", b2, {"IN", ">OUT"});
        top.Parameter(s1, "R1_PartReference", "R10");
        top.Parameter(s1, "C1_PartReference", "C10");
        top.Parameter(s1, "R1_Value", "1k");
        top.Parameter(s2, "R1_PartReference", "R20");
        top.Parameter(s2, "C1_PartReference", "C20");
        top.Parameter(s2, "R1_Value", "2k2");
        top.Wire({SheetBuilder::PinAt(j1, 1), At(1000, 3000), At(1000, 3100), SheetBuilder::EntryAt(b1, 0)});
        top.Wire({SheetBuilder::EntryAt(b1, 1, true), At(3500, 3000), At(3500, 3100), SheetBuilder::EntryAt(b2, 0)});
        top.Label("STAGE", At(3500, 3050));
        top.Wire({SheetBuilder::EntryAt(b2, 1, true), At(5500, 3000), At(5500, 2000), At(800, 2000), At(800, 2900),
                  SheetBuilder::PinAt(j1, 2)});
        top.Wire({SheetBuilder::PinAt(j1, 3), At(600, 2800), At(600, 2500)});
        top.Power("GND", At(600, 2500));

        Coord r1 = At(2000, 3000), c1 = At(3000, 3000);
        auto* r = amp.Part("=R1_PartReference", "RES", r1, 2);
        r->GetState_SchComment()->SetState_Text("=R1_Value");
        amp.Part("=C1_PartReference", "CAP", c1, 2, "10n");
        amp.Port("IN", At(1000, 3000));
        amp.Wire({At(1000, 3000), r1});
        amp.Wire({SheetBuilder::PinAt(r1, 2), At(2500, 2900), c1});
        amp.Label("MID", At(2500, 2900));
        amp.Wire({At(2500, 2900), At(2500, 2500)});
        amp.Port("OUT", At(2500, 2500));
        amp.Wire({SheetBuilder::PinAt(c1, 2), At(3300, 2900), At(3300, 2000)});
        amp.Power("GND", At(3300, 2000));
    }
    SheetBuilder top, amp;
};

TEST_F(ProjectNetlist, ABlockUsedTwiceGetsNetsAndDesignatorsPerOccurrence) {
    auto dir = Dir("hierarchy");
    TwoBlocks design(app, dir);
    Netlist netlist = impl::CompileNetlist({design.amp.Sheet(), design.top.Sheet()}, "Hier");
    // The input takes the name of the block's port, with the block's designator: the block is used
    // twice. The port OUT names its net before the label MID beside it.
    NetMap expected{{"IN_BLK1", {"J1.1", "R10.1"}},
                    {"STAGE", {"R10.2", "C10.1", "R20.1"}},
                    {"OUT_BLK2", {"R20.2", "C20.1", "J1.2"}},
                    {"GND", {"J1.3", "C10.2", "C20.2"}}};
    EXPECT_EQ(NetsOf(netlist), expected) << Describe(NetsOf(netlist));
    EXPECT_TRUE(netlist.Problems.empty()) << netlist.Problems.front();

    // Occurrences: the top, then each block with its path; each block its own scope.
    ASSERT_EQ(netlist.Occurrences.size(), 3u);
    EXPECT_EQ(netlist.Occurrences[0].Sheet, "Top.SchDoc");
    EXPECT_EQ(netlist.Occurrences[1].Path, std::vector<std::string>{"BLK1"});
    EXPECT_EQ(netlist.Occurrences[2].Path, std::vector<std::string>{"BLK2"});
    EXPECT_NE(netlist.Occurrences[1].Scope, netlist.Occurrences[2].Scope);
    std::map<std::string, std::string> values;
    for (const NetlistPart& p : netlist.Parts) values[p.Designator] = p.Value;
    EXPECT_EQ(values["R10"], "1k");
    EXPECT_EQ(values["R20"], "2k2");
    EXPECT_EQ(values["C20"], "10n");
    EXPECT_EQ(values.count("=R1_PartReference"), 0u);
}

TEST_F(ProjectNetlist, NestedBlocksReadTheirDesignatorsThroughEveryLevel) {
    // As the import folds a reference that differs between occurrences two levels down: the part
    // refers to its block, the block to the block above, which holds the text.
    auto dir = Dir("nested");
    SheetBuilder top(app, dir / "Top.SchDoc"), mid(app, dir / "Mid.SchDoc"), leaf(app, dir / "Leaf.SchDoc");
    for (auto [name, value] : {std::pair{"OUT1", "U7"}, std::pair{"OUT2", "U8"}}) {
        auto* outer = top.Symbol(name, "Mid.SchDoc", At(name[3] == '1' ? 1000 : 3000, 3000), {"A"});
        top.Parameter(outer, "INNER_U1_PartReference", value);
    }
    top.Wire({SheetBuilder::EntryAt(At(1000, 3000), 0), At(500, 2900), At(500, 2500), At(2800, 2500), At(2800, 2900),
              SheetBuilder::EntryAt(At(3000, 3000), 0)});
    auto* inner = mid.Symbol("INNER", "Leaf.SchDoc", At(2000, 3000), {"A"});
    mid.Parameter(inner, "U1_PartReference", "=INNER_U1_PartReference");
    mid.Port("A", At(1000, 2900));
    mid.Wire({At(1000, 2900), SheetBuilder::EntryAt(At(2000, 3000), 0)});
    leaf.Part("=U1_PartReference", "IC", At(2000, 3000), 1);
    leaf.Port("A", At(1000, 3000));
    leaf.Wire({At(1000, 3000), At(2000, 3000)});
    Netlist netlist = impl::CompileNetlist({top.Sheet(), mid.Sheet(), leaf.Sheet()}, "Nested");
    EXPECT_EQ(NetsOf(netlist), (NetMap{{"A_OUT1", {"U7.1", "U8.1"}}})) << Describe(NetsOf(netlist));
    ASSERT_EQ(netlist.Parts.size(), 2u);
    EXPECT_EQ(netlist.Occurrences[netlist.Parts[1].Occurrence].Path, (std::vector<std::string>{"OUT2", "INNER"}));
}

TEST_F(ProjectNetlist, ANameInsideABlockThatIsAGlobalNameIsTheGlobalNet) {
    auto dir = Dir("global");
    TwoBlocks design(app, dir);
    // Inside the block, R1.1 (at the port IN) is also labelled VCC: both occurrences' inputs and
    // the top's VCC power object meet.
    design.amp.Label("VCC", At(1500, 3000));
    Coord r9 = At(6000, 3000);
    design.top.Part("R9", "RES", r9, 1);
    design.top.Power("VCC", r9);
    Netlist netlist = impl::CompileNetlist({design.amp.Sheet(), design.top.Sheet()}, "Global");
    NetMap nets = NetsOf(netlist);
    EXPECT_EQ(nets["VCC"], (std::set<std::string>{"J1.1", "R10.1", "R20.1", "R10.2", "C10.1", "R9.1"}))
        << Describe(nets);
}

TEST_F(ProjectNetlist, PagesGroupedUnderOneSymbolShareTheirNamesAndSemicolonListsDoTheSame) {
    for (bool grouped : {true, false}) {
        SCOPED_TRACE(grouped ? "intermediate sheet" : "list of files");
        auto dir = Dir(grouped ? "grouped" : "listed");
        SheetBuilder top(app, dir / "Top.SchDoc"), page1(app, dir / "Page1.SchDoc"), page2(app, dir / "Page2.SchDoc");
        std::optional<SheetBuilder> group;
        Coord j1 = At(500, 3000), sub = At(2000, 3200);
        top.Part("J1", "CONN", j1, 2);
        top.Symbol("SUB", grouped ? "Sub.SchDoc" : "Page1.SchDoc;Page2.SchDoc", sub, {"A", "B"});
        top.Wire({SheetBuilder::PinAt(j1, 1), At(1000, 3000), At(1000, 3100), SheetBuilder::EntryAt(sub, 0)});
        top.Wire({SheetBuilder::PinAt(j1, 2), At(700, 2900), At(700, 2700)});  // dangling: J1.2 alone
        if (grouped) {
            // What the import makes of a view of two pages: a sheet of two symbols, with a stub and a
            // port for each entry of the outer symbol that a page has a port for.
            group.emplace(app, dir / "Sub.SchDoc");
            Coord n1 = At(500, 7000), n2 = At(2700, 7000);
            group->Symbol("Page1", "Page1.SchDoc", n1, {"A"});
            group->Symbol("Page2", "Page2.SchDoc", n2, {"B"});
            group->Wire({SheetBuilder::EntryAt(n1, 0), At(400, 6900)});
            group->Port("A", At(400, 6900));
            group->Wire({SheetBuilder::EntryAt(n2, 0), At(2600, 6900)});
            group->Port("B", At(2600, 6900));
        }
        // Page 1: port A to U1.1; U1.2 to an off-sheet connector X; U1.3 labelled Y.
        // Page 2: port B to U2.1; U2.2 on X; U2.3 labelled Y.
        Coord u = At(2000, 3000);
        int n = 1;
        for (auto* page : {&page1, &page2}) {
            page->Part("U" + std::to_string(n), "IC", u, 3);
            page->Port(n == 1 ? "A" : "B", At(1000, 3000));
            page->Wire({At(1000, 3000), u});
            page->Wire({SheetBuilder::PinAt(u, 2), At(2500, 2900)});
            page->OffSheet("X", At(2500, 2900));
            page->Wire({SheetBuilder::PinAt(u, 3), At(2500, 2800)});
            page->Label("Y", At(2500, 2800));
            ++n;
        }
        std::vector<impl::ProjectSheet> sheets{top.Sheet(), page1.Sheet(), page2.Sheet()};
        if (group) sheets.push_back(group->Sheet());
        Netlist netlist = impl::CompileNetlist(sheets, "Grouped");
        NetMap expected{{"A", {"J1.1", "U1.1"}}, {"B", {"U2.1"}}, {"X", {"U1.2", "U2.2"}}, {"Y", {"U1.3", "U2.3"}},
                        {"NetJ1_2", {"J1.2"}}};
        EXPECT_EQ(NetsOf(netlist), expected) << Describe(NetsOf(netlist));
        // The pages stand in the symbol's scope, not in the top's.
        std::set<size_t> scopes;
        for (const SheetOccurrence& o : netlist.Occurrences)
            if (o.Sheet != "Top.SchDoc") scopes.insert(o.Scope);
        EXPECT_EQ(scopes.size(), 1u);
        EXPECT_NE(*scopes.begin(), netlist.Occurrences[0].Scope);
    }
}

TEST_F(ProjectNetlist, BlocksNamedAfterTheirSheetsOnATopOfNothingElseKeepTheirNamesApart) {
    // A top sheet of two symbols named after their documents, as the import's grouping sheets are:
    // at the top it is a sheet of its own, and each block's label stays inside the block.
    auto dir = Dir("top_of_blocks");
    SheetBuilder top(app, dir / "Top.SchDoc"), amp(app, dir / "Amp.SchDoc"), filter(app, dir / "Filter.SchDoc");
    top.Symbol("Amp", "Amp.SchDoc", At(1000, 3000), {});
    top.Symbol("Filter", "Filter.SchDoc", At(3000, 3000), {});
    int n = 1;
    for (auto* block : {&amp, &filter}) {
        block->Part("R" + std::to_string(n++), "RES", At(1000, 3000), 1);
        block->Wire({At(1000, 3000), At(1500, 3000)});
        block->Label("X", At(1500, 3000));
    }
    Netlist netlist = impl::CompileNetlist({top.Sheet(), amp.Sheet(), filter.Sheet()}, "Blocks");
    EXPECT_EQ(NetsOf(netlist), (NetMap{{"X", {"R1.1"}}, {"X_Filter", {"R2.1"}}})) << Describe(NetsOf(netlist));
}

TEST_F(ProjectNetlist, BusesJoinTheirMembersByNameAndThroughSheetEntriesByPosition) {
    auto dir = Dir("buses");
    SheetBuilder top(app, dir / "Top.SchDoc"), child(app, dir / "Child.SchDoc");
    // Top: a bus A[0..1] from the symbol's entry D[0..1]; wires labelled A0 and A1 to R1 and R2;
    // a wire that ends on the bus without an entry or a label joins no member.
    Coord blk = At(3000, 3200), r1 = At(1000, 3000), r2 = At(1000, 2500), r3 = At(1000, 2000);
    top.Symbol("BLK", "Child.SchDoc", blk, {"D[0..1]"});
    top.Bus({At(2000, 3300), At(2000, 3100), SheetBuilder::EntryAt(blk, 0)});
    top.Label("A[0..1]", At(2000, 3200));
    top.Part("R1", "RES", r1, 1);
    top.Part("R2", "RES", r2, 1);
    top.Part("R3", "RES", r3, 1);
    top.Wire({r1, At(1900, 3000)});
    top.BusEntry(At(2000, 3100), At(1900, 3000));
    top.Label("A0", At(1500, 3000));
    top.Wire({r2, At(1500, 2500)});
    top.Label("A1", At(1500, 2500));
    top.Wire({r3, At(2500, 2000), At(2500, 3100)});
    // Child: a port D[0..1] on a bus whose members leave through entries as D0 and D1, and a bus
    // label in falling order E[1..0] on the same bus: E1 is D0.
    Coord u1 = At(3000, 3000), u2 = At(3000, 2500), u3 = At(3000, 2000);
    child.Port("D[0..1]", At(1000, 3300));
    child.Bus({At(1000, 3300), At(2000, 3300), At(2000, 1800)});
    child.Label("E[1..0]", At(2000, 2200));
    child.Part("U1", "IC", u1, 1);
    child.Part("U2", "IC", u2, 1);
    child.Part("U3", "IC", u3, 1);
    child.Wire({At(2100, 3000), u1});
    child.BusEntry(At(2000, 3100), At(2100, 3000));
    child.Label("D0", At(2500, 3000));
    child.Wire({At(2100, 2500), u2});
    child.Label("D1", At(2500, 2500));
    child.Wire({At(2100, 2000), u3});
    child.Label("E1", At(2500, 2000));
    Netlist netlist = impl::CompileNetlist({top.Sheet(), child.Sheet()}, "Buses");
    NetMap expected{{"A0", {"R1.1", "U1.1", "U3.1"}}, {"A1", {"R2.1", "U2.1"}}, {"NetR3_1", {"R3.1"}}};
    EXPECT_EQ(NetsOf(netlist), expected) << Describe(NetsOf(netlist));
}

TEST_F(ProjectNetlist, SectionsOfOnePackageShareTheirPinsOnce) {
    auto dir = Dir("sections");
    SheetBuilder s(app, dir / "Gates.SchDoc");
    std::vector<PinDescription> pins{{"1", "A", 1}, {"2", "B", 1}, {"3", "Y", 1}, {"4", "A", 2}, {"5", "B", 2},
                              {"6", "Y", 2}, {"8", "V+", 0}, {"7", "GND", 0, true, "GND"},
                              {"14", "VCC", 0, true, "VCC"}};
    Coord a = At(1000, 3000), b = At(3000, 3000);
    s.Part("U3", "7400", a, pins, "7400", 1, 4);
    s.Part("U3", "7400", b, pins, "7400", 2, 4);
    // Section A: Y (3rd shown pin) to section B's A (1st shown pin). V+ (4th shown pin) is labelled
    // P1 on section A and P2 on section B: one pin, so one net.
    s.Wire({SheetBuilder::PinAt(a, 3), At(2000, 2800), b});
    s.Wire({SheetBuilder::PinAt(a, 4), At(1500, 2700)});
    s.Label("P1", At(1500, 2700));
    s.Wire({SheetBuilder::PinAt(b, 4), At(3500, 2700)});
    s.Label("P2", At(3500, 2700));
    Netlist netlist = impl::CompileNetlist({s.Sheet()}, "Gates");
    NetMap expected{{"NetU3_3", {"U3.3", "U3.4"}}, {"P1", {"U3.8"}},    {"GND", {"U3.7"}},   {"VCC", {"U3.14"}},
                    {"(nc)", {"U3.1", "U3.2", "U3.5", "U3.6"}}};
    EXPECT_EQ(NetsOf(netlist), expected) << Describe(NetsOf(netlist));
    EXPECT_TRUE(netlist.Problems.empty());
    // The package: every pin with its number in each of the four parts.
    const NetlistPart& part = netlist.Parts[0];
    ASSERT_EQ(part.PartCount, 4);
    std::map<std::string, std::vector<std::string>> numbers;
    for (const PackagePin& p : part.Package) numbers[p.Name + (p.Hidden ? "(hidden)" : "")] = p.Numbers;
    EXPECT_EQ(numbers["A"], (std::vector<std::string>{"1", "4", "", ""}));
    EXPECT_EQ(numbers["GND(hidden)"], (std::vector<std::string>{"7", "7", "7", "7"}));
    EXPECT_EQ(netlist.Parts[1].PartId, 2);
}

TEST_F(ProjectNetlist, ProblemsAreNamedAndGraphicalOrSimulationPartsLeftOut) {
    auto dir = Dir("problems");
    SheetBuilder top(app, dir / "Top.SchDoc"), loop(app, dir / "Loop.SchDoc");
    top.Symbol("MISSING", "Nowhere.SchDoc", At(2000, 3000), {});
    top.Symbol("L", "Loop.SchDoc", At(2000, 5000), {});
    loop.Symbol("AGAIN", "Loop.SchDoc", At(2000, 3000), {});
    auto* title = top.Part("", "TITLE", At(100, 100), 0);
    title->SetState_ComponentKind(eComponentKind_Graphical);
    auto* source = top.Part("V1", "VPULSE", At(500, 500), 2);
    top.Parameter(source, "PSpiceOnly", "True");
    auto* battery = top.Part("V2", "BATTERY", At(700, 500), 2);
    top.Parameter(battery, "NETLIST_IGNORE", "true");
    top.Part("R1", "RES", At(4000, 4000), 1);
    top.Part("r1", "RES", At(5000, 4000), 1);
    Netlist netlist = impl::CompileNetlist({top.Sheet(), loop.Sheet()}, "Problems");
    ASSERT_EQ(netlist.Problems.size(), 3u);
    EXPECT_NE(netlist.Problems[0].find("MISSING on Top.SchDoc names Nowhere.SchDoc"), std::string::npos) << netlist.Problems[0];
    EXPECT_NE(netlist.Problems[1].find("Part r1 stands twice"), std::string::npos) << netlist.Problems[1];
    EXPECT_NE(netlist.Problems[2].find("Loop.SchDoc stands inside itself"), std::string::npos) << netlist.Problems[2];
    std::set<std::string> designators;
    for (const NetlistPart& p : netlist.Parts) designators.insert(p.Designator);
    EXPECT_EQ(designators, (std::set<std::string>{"R1", "r1"}));
    // Two parts of one designator are one package to the netlist: their pins are one.
    EXPECT_EQ(NetsOf(netlist), (NetMap{{"(nc)", {"R1.1"}}})) << Describe(NetsOf(netlist));

    Netlist none = impl::CompileNetlist({}, "Empty");
    EXPECT_TRUE(none.Nets.empty());
    EXPECT_TRUE(none.Problems.empty());
}

TEST_F(ProjectNetlist, AProjectCompilesFromItsFilesAsFromOpenDocuments) {
    auto dir = Dir("project");
    {
        TwoBlocks design(app, dir);
        for (IServerDocument* sheet : {design.top.Server(), design.amp.Server()}) SaveDocument(app, sheet, true, "Binary");
    }
    HostApplication other(test::Options(7));
    IProject* project = other.CreateProject((dir / "Hier.VsProj").string());
    project->AddSourceDocument((dir / "Top.SchDoc").string());
    project->AddSourceDocument((dir / "Amp.SchDoc").string());
    project->AddSourceDocument((dir / "Gone.SchDoc").string());
    Netlist netlist = CompileProjectNetlist(other, *project);
    EXPECT_EQ(netlist.Title, "Hier");
    EXPECT_EQ(NetsOf(netlist)["STAGE"], (std::set<std::string>{"R10.2", "C10.1", "R20.1"}));
    ASSERT_FALSE(netlist.Problems.empty());
    EXPECT_NE(netlist.Problems[0].find("Cannot read the sheet"), std::string::npos);
}

TEST_F(ProjectNetlist, SheetGroupsKeepTheSheetNetsOfCompileNets) {
    // The per-sheet nets and the groups of the project netlist come from the same joining: every
    // wire of one sheet net stands in one group.
    auto dir = Dir("groups");
    ISch_Sheet* sheet = test::BuildSampleSheet(app, dir / "Sample.SchDoc");
    impl::ObjectCore& core = *impl::CoreOf(sheet);
    std::map<std::string, size_t> groupOf;
    auto groups = impl::SheetGroups(core);
    for (size_t g = 0; g < groups.size(); ++g)
        for (impl::ObjectCore* o : groups[g].Objects) groupOf[o->GetStr("UniqueId")] = g;
    for (const impl::NetInfo& net : impl::CompileNets(core)) {
        std::set<size_t> in;
        for (const std::string& id : net.WireIds) in.insert(groupOf.at(id));
        EXPECT_EQ(in.size(), 1u) << net.Name;
    }
}

}  // namespace
