// The netlist writers and the bill of materials on netlists built in code: Capture's three Allegro
// files line by line, their reader and the comparison of two netlists, KiCad's .net layout, JSON,
// and the BOM's groups, order and quoting.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>

#include <nlohmann/json.hpp>

#include "NetlistSupport.h"
#include "export/AllegroNetlist.h"
#include "export/BillOfMaterials.h"
#include "export/NetlistWriters.h"

namespace {

using namespace orcadx;
using exporter::AllegroNetlist;
using test::NetlistBuilder;

const exporter::AllegroStamp kStamp{"orcadx", "Jan-02-2024", "10:20:30"};

// R1 and the two placed sections of a quad gate U1 with hidden power pins; nets "0" and "C1OE#"
// (names Capture escapes), one without a name, VCC with a visible pin beside the hidden one, GND
// with only a hidden pin, and two pins that touch nothing.
host::Netlist Demo() {
    NetlistBuilder b("Demo");
    std::vector<host::PackagePin> gate{{"A", {"1", "4", "9", "12"}, host::ePinInput, false, ""},
                                       {"B", {"2", "5", "10", "13"}, host::ePinInput, false, ""},
                                       {"Y", {"3", "6", "8", "11"}, host::ePinOutput, false, ""},
                                       {"EN", {"15", "", "", ""}, host::ePinInput, false, ""},
                                       {"GND", {"7", "7", "7", "7"}, host::ePinPower, true, "GND"},
                                       {"VCC", {"14", "14", "14", "14"}, host::ePinPower, true, "VCC"}};
    size_t r1 = b.Part("R1", "RES", "10k", "R0603", {{"1", "1"}, {"2", "2"}}, 1, 1, {}, 0, "C:\\LIB\\DISCRETE.OLB");
    size_t a = b.Part("U1", "7400", "7400", "DIP14",
                      {{"1", "A", host::ePinInput}, {"2", "B", host::ePinInput}, {"3", "Y", host::ePinOutput},
                       {"15", "EN", host::ePinInput}, {"7", "GND", host::ePinPower, "GND"},
                       {"14", "VCC", host::ePinPower, "VCC"}},
                      1, 4, gate);
    size_t c = b.Part("U1", "7400", "7400", "DIP14",
                      {{"4", "A", host::ePinInput}, {"5", "B", host::ePinInput}, {"6", "Y", host::ePinOutput},
                       {"7", "GND", host::ePinPower, "GND"}, {"14", "VCC", host::ePinPower, "VCC"}},
                      2, 4, gate);
    b.Net("0", {{r1, 0}, {a, 0}});
    b.Net("C1OE#", {{r1, 1}, {c, 0}});
    b.Net("", {{a, 2}, {c, 1}});
    b.Net("GND", {{a, 4}});
    b.Net("VCC", {{a, 3}, {a, 5}});
    b.Net("", {{a, 1}}, true);
    b.Net("", {{c, 2}}, true);
    return b.netlist;
}

TEST(AllegroNetlist, TheThreeFilesReadLikeCapturesOwn) {
    exporter::AllegroNetlistFiles files = exporter::WriteAllegroNetlist(Demo(), kStamp);
    const std::string r1 = " '@DEMO.MAIN(SCH_1):INS1@DISCRETE.RES.NORMAL(CHIPS)':\n";
    const std::string a = " '@DEMO.MAIN(SCH_1):INS2@DEMO.7400.NORMAL(CHIPS)':\n";
    const std::string c = " '@DEMO.MAIN(SCH_1):INS3@DEMO.7400.NORMAL(CHIPS)':\n";
    EXPECT_EQ(files.Nets,
              "FILE_TYPE = EXPANDEDNETLIST;\n"
              "{ Using orcadx on Jan-02-2024 at 10:20:30 }\n"
              "NET_NAME\n'0'\n '@DEMO.MAIN(SCH_1):0':\n C_SIGNAL='@demo.main(sch_1):\\0\\';\n"
              "NODE_NAME\tR1 1\n" + r1 + " '1':;\n"
              "NODE_NAME\tU1 1\n" + a + " 'A':;\n"
              "NET_NAME\n'C1OE#'\n '@DEMO.MAIN(SCH_1):C1OE#':\n C_SIGNAL='@demo.main(sch_1):\\c1oe#\\';\n"
              "NODE_NAME\tR1 2\n" + r1 + " '2':;\n"
              "NODE_NAME\tU1 4\n" + c + " 'A':;\n"
              "NET_NAME\n'NetU1_3'\n '@DEMO.MAIN(SCH_1):NetU1_3':\n C_SIGNAL='@demo.main(sch_1):netu1_3';\n"
              "NODE_NAME\tU1 3\n" + a + " 'Y':;\n"
              "NODE_NAME\tU1 5\n" + c + " 'B':;\n"
              "NET_NAME\n'VCC'\n '@DEMO.MAIN(SCH_1):VCC':\n C_SIGNAL='@demo.main(sch_1):vcc';\n"
              "NODE_NAME\tU1 15\n" + a + " 'EN':;\n"
              "NET_NAME\n'NC'\n 'NC':\n C_SIGNAL='NC';\n"
              "NODE_NAME\tU1 2\n" + a + " 'B':;\n"
              "NODE_NAME\tU1 6\n" + c + " 'Y':;\n"
              "END.\n");
    auto section = [](int n, const std::string& upper, const std::string& lower, const std::string& letter) {
        return "SECTION_NUMBER " + std::to_string(n) + "\n '@DEMO.MAIN(SCH_1):" + upper + "':\n C_PATH='@demo.main(sch_1):" +
               lower + "',\n P_PATH='@demo.main(sch_1):page1_" + lower + "',\n PRIM_FILE='.\\pstchip.dat',\n SECTION='" +
               letter + "';\n\n";
    };
    EXPECT_EQ(files.Parts,
              "FILE_TYPE = EXPANDEDPARTLIST;\n"
              "{ Using orcadx on Jan-02-2024 at 10:20:30 }\n"
              "DIRECTIVES\n PST_VERSION='PST_HDL_CENTRIC_VERSION_0';\n ROOT_DRAWING='DEMO';\n"
              " POST_TIME='Jan 02 2024 10:20:30';\n SOURCE_TOOL='CAPTURE_WRITER';\nEND_DIRECTIVES;\n\n"
              "PART_NAME\n R1 'RES_R0603_10K':;\n\n" +
                  section(1, "INS1@DISCRETE.RES.NORMAL(CHIPS)", "ins1@discrete.\\res.normal\\(chips)", "") +
                  "PART_NAME\n U1 '7400_DIP14_7400':;\n\n" +
                  section(1, "INS2@DEMO.7400.NORMAL(CHIPS)", "ins2@demo.\\7400.normal\\(chips)", "A") +
                  section(2, "INS3@DEMO.7400.NORMAL(CHIPS)", "ins3@demo.\\7400.normal\\(chips)", "B") + "END.\n");
    EXPECT_EQ(files.Chips,
              "FILE_TYPE=LIBRARY_PARTS;\n"
              "{ Using orcadx on Jan-02-2024 at 10:20:30 }\n"
              "primitive 'RES_R0603_10K';\n  pin\n"
              "    '1':\n      PIN_NUMBER='(1)';\n      PINUSE='UNSPEC';\n"
              "    '2':\n      PIN_NUMBER='(2)';\n      PINUSE='UNSPEC';\n"
              "  end_pin;\n  body\n    PART_NAME='RES';\n    JEDEC_TYPE='R0603';\n    VALUE='10k';\n  end_body;\nend_primitive;\n"
              "primitive '7400_DIP14_7400';\n  pin\n"
              "    'A':\n      PIN_NUMBER='(1,4,9,12)';\n      PINUSE='UNSPEC';\n"
              "    'B':\n      PIN_NUMBER='(2,5,10,13)';\n      PINUSE='UNSPEC';\n"
              "    'Y':\n      PIN_NUMBER='(3,6,8,11)';\n      PINUSE='UNSPEC';\n"
              "    'EN':\n      PIN_NUMBER='(15,0,0,0)';\n      PINUSE='UNSPEC';\n"
              "  end_pin;\n  body\n    POWER_PINS='(GND:7)';\n    POWER_PINS='(VCC:14)';\n"
              "    PART_NAME='7400';\n    JEDEC_TYPE='DIP14';\n    VALUE='7400';\n  end_body;\nend_primitive;\n"
              "END.\n");
}

TEST(AllegroNetlist, PathsOfOccurrencesAndLibraryPartsOfOneNameWithOtherPins) {
    NetlistBuilder b("top", "Top.SchDoc");
    size_t blk = b.Occurrence(0, "Blk1", "Amp Stage.SchDoc");
    size_t r1 = b.Part("R1", "RES", "1k", "R0603", {{"1", "1"}, {"2", "2"}});
    size_t r2 = b.Part("R2", "RES", "1k", "R0603", {{"1", "1"}, {"2", "2"}, {"3", "3"}}, 1, 1, {}, blk);
    size_t r3 = b.Part("R3", "RES", "1k", "R0603", {{"1", "1"}, {"2", "2"}}, 1, 1, {}, blk);
    b.Net("IN", {{r1, 0}, {r2, 0}, {r3, 0}});
    auto files = exporter::WriteAllegroNetlist(b.netlist, kStamp);
    EXPECT_NE(files.Nets.find(" '@TOP.TOP(SCH_1):BLK1@TOP.AMP STAGE(SCH_1):INS2@TOP.RES.NORMAL(CHIPS)':\n"), std::string::npos)
        << files.Nets;
    EXPECT_NE(files.Parts.find(" C_PATH='@top.top(sch_1):blk1@top.\\amp stage\\(sch_1):ins2@top.\\res.normal\\(chips)',\n"),
              std::string::npos)
        << files.Parts;
    AllegroNetlist back = exporter::ReadAllegroNetlist(files);
    ASSERT_EQ(back.Primitives.size(), 2u);
    EXPECT_EQ(back.Primitives[0].Name, "RES_R0603_1K");
    EXPECT_EQ(back.Primitives[1].Name, "RES_R0603_1K_2");
    std::map<std::string, std::string> primitiveOf;
    for (const auto& p : back.Packages) primitiveOf[p.Designator] = p.Primitive;
    EXPECT_EQ(primitiveOf, (std::map<std::string, std::string>{
                               {"R1", "RES_R0603_1K"}, {"R2", "RES_R0603_1K_2"}, {"R3", "RES_R0603_1K"}}));
}

TEST(AllegroNetlist, ReadingGivesBackWhatWasWrittenAndNamesTheLineOfAFault) {
    AllegroNetlist back = exporter::ReadAllegroNetlist(exporter::WriteAllegroNetlist(Demo(), kStamp));
    std::map<std::string, std::vector<std::string>> nets;
    for (const auto& net : back.Nets)
        for (const auto& node : net.Nodes) nets[net.Name].push_back(node.Designator + "." + node.Pin + ":" + node.PinName);
    EXPECT_EQ(nets, (std::map<std::string, std::vector<std::string>>{{"0", {"R1.1:1", "U1.1:A"}},
                                                                     {"C1OE#", {"R1.2:2", "U1.4:A"}},
                                                                     {"NetU1_3", {"U1.3:Y", "U1.5:B"}},
                                                                     {"VCC", {"U1.15:EN"}},
                                                                     {"NC", {"U1.2:B", "U1.6:Y"}}}));
    ASSERT_EQ(back.Packages.size(), 2u);
    EXPECT_EQ(back.Packages[1].Sections, (std::vector<std::string>{"A", "B"}));
    ASSERT_EQ(back.Primitives.size(), 2u);
    EXPECT_EQ(back.Primitives[1].PowerPins,
              (std::vector<std::pair<std::string, std::string>>{{"GND", "7"}, {"VCC", "14"}}));
    EXPECT_EQ(back.Primitives[1].Body.at("JEDEC_TYPE"), "DIP14");
    EXPECT_EQ(back.Primitives[1].Pins[3], (std::pair<std::string, std::string>{"EN", "(15,0,0,0)"}));

    // The newer writer's node record: the pin-name line ends in ":" and a property block follows.
    exporter::AllegroNetlistFiles newer{
        "FILE_TYPE = EXPANDEDNETLIST;\r\n{ Using PSTWRITER 25.1.0 }\r\nNET_NAME\r\n'A'\r\n '@X.S(SCH_1):A':\r\n"
        " C_SIGNAL='@x.s(sch_1):a';\r\nNODE_NAME\tR1 1\r\n '@X.S(SCH_1):INS1@L.R.NORMAL(CHIPS)':\r\n '1':\r\n"
        "SCH_LOC='(1220,400)'\r\n;\r\nNODE_NAME\tR2 2\r\n '@X.S(SCH_1):INS2@L.R.NORMAL(CHIPS)':\r\n 'B':;\r\nEND.\r\n",
        "FILE_TYPE = EXPANDEDPARTLIST;\nEND.\n", "FILE_TYPE=LIBRARY_PARTS;\nEND.\n"};
    AllegroNetlist read = exporter::ReadAllegroNetlist(newer);
    ASSERT_EQ(read.Nets.size(), 1u);
    ASSERT_EQ(read.Nets[0].Nodes.size(), 2u);
    EXPECT_EQ(read.Nets[0].Nodes[1].Designator, "R2");
    EXPECT_EQ(read.Nets[0].Nodes[1].PinName, "B");

    auto failure = [](const exporter::AllegroNetlistFiles& files) {
        try {
            exporter::ReadAllegroNetlist(files);
        } catch (const std::runtime_error& e) {
            return std::string(e.what());
        }
        return std::string("no error");
    };
    EXPECT_EQ(failure({"NET_NAME\n'A'\n '@X':\n C_SIGNAL='x';\nNODE_NAME\tR1\n", "", ""}),
              "pstxnet.dat, line 5: NODE_NAME without a pin number");
    EXPECT_EQ(failure({"NET_NAME\n'A'\n", "", ""}), "pstxnet.dat, line 3: the file ends too early");
    EXPECT_EQ(failure({"NODE_NAME\tR1 1\n", "", ""}), "pstxnet.dat, line 1: a node before the first net");
    EXPECT_EQ(failure({"", "", "primitive 'X';\n  body\n    POWER_PINS='VCC14';\n"}),
              "pstchip.dat, line 3: POWER_PINS is not (net:pin)");
    EXPECT_EQ(failure({"", "PART_NAME\n R1\n", ""}), "pstxprt.dat, line 2: PART_NAME without a library part");
}

// Capture's side of the comparison: nets, the NC pseudo-net, a part with hidden power pins.
AllegroNetlist Expected() {
    AllegroNetlist n;
    n.Nets = {{"N100", {{"U1", "1", ""}, {"R1", "1", ""}}},
              {"CLK", {{"U1", "2", ""}, {"R2", "1", ""}, {"R3", "1", ""}}},
              {"N200", {{"R1", "2", ""}, {"R2", "2", ""}}},
              {"N300", {{"R4", "1", ""}, {"R5", "1", ""}}},
              {"DATA", {{"R6", "1", ""}, {"R6", "2", ""}}},
              {"RESET", {{"U1", "4", ""}}},
              {"VCC", {{"C1", "1", ""}}},
              {"NC", {{"U1", "3", ""}, {"U1", "5", ""}, {"R7", "1", ""}}}};
    n.Packages = {{"U1", "CHIP", {""}}};
    n.Primitives = {{"CHIP", {}, {{"VCC", "14"}}, {}}};
    return n;
}

TEST(AllegroNetlist, ComparisonListsEverySplitMergeAndDifference) {
    AllegroNetlist expected = Expected();
    EXPECT_EQ(exporter::CompareAllegroNetlists(expected, expected), std::vector<std::string>{});

    // The same connectivity in another form: names made up another way, designators in lower case,
    // the hidden pin listed in its net, the NC pins in their own order.
    AllegroNetlist same;
    same.Nets = {{"NetU1_1", {{"u1", "1", ""}, {"R1", "1", ""}}},
                 {"clk", {{"U1", "2", ""}, {"R2", "1", ""}, {"R3", "1", ""}}},
                 {"NetR1_2", {{"R1", "2", ""}, {"R2", "2", ""}}},
                 {"N777", {{"R4", "1", ""}, {"R5", "1", ""}}},
                 {"DATA", {{"R6", "1", ""}, {"R6", "2", ""}}},
                 {"reset_1", {{"U1", "4", ""}}},  // made unique by a number, as Capture's RESET_70311
                 {"VCC", {{"C1", "1", ""}, {"U1", "14", ""}}},
                 {"NC", {{"R7", "1", ""}, {"U1", "5", ""}, {"U1", "3", ""}}}};
    EXPECT_EQ(exporter::CompareAllegroNetlists(expected, same), std::vector<std::string>{});

    AllegroNetlist other;
    other.Nets = {{"N100", {{"U1", "1", ""}, {"R1", "1", ""}}},
                  {"CLK", {{"U1", "2", ""}, {"R2", "1", ""}}},               // R3.1 split off
                  {"NetR3_1", {{"R3", "1", ""}}},
                  {"X", {{"R1", "2", ""}, {"R2", "2", ""}, {"R4", "1", ""}, {"R5", "1", ""}}},  // N200 and N300
                  {"DATA2", {{"R6", "1", ""}, {"R6", "2", ""}}},             // another name
                  {"VCC", {{"C1", "1", ""}, {"U1", "14", ""}, {"R9", "1", ""}}},  // R9 unknown to Capture
                  {"NC", {{"U1", "3", ""}, {"U1", "4", ""}}},                // RESET unconnected, U1.5 missing
                  {"PROBE", {{"R7", "1", ""}}}};                              // a name for an NC pin
    std::vector<std::string> diff = exporter::CompareAllegroNetlists(expected, other);
    std::vector<std::string> want{
        "net CLK splits into CLK (R2.1, U1.2), NetR3_1 (R3.1)",
        "nets N200, N300 merge into X",
        "net RESET is called NC U1.4",
        "net NC U1.5: pins missing: U1.5",
        "net DATA is called DATA2",
        "net VCC: pins that the expected netlist lacks: R9.1",
        "net NC R7.1 is called PROBE",
    };
    std::sort(diff.begin(), diff.end());
    std::sort(want.begin(), want.end());
    EXPECT_EQ(diff, want);
}

// ----- KiCad ----------------------------------------------------------------------------------

// An s-expression: an atom, or a list whose first element is usually its name.
struct Sexp {
    std::string Atom;
    bool IsList = false;
    std::vector<Sexp> Items;
    std::string Head() const { return IsList && !Items.empty() ? Items[0].Atom : std::string(); }
    std::vector<const Sexp*> All(const std::string& head) const {
        std::vector<const Sexp*> out;
        for (const Sexp& s : Items)
            if (s.Head() == head) out.push_back(&s);
        return out;
    }
    const Sexp* One(const std::string& head) const {
        auto all = All(head);
        return all.size() == 1 ? all[0] : nullptr;
    }
    // The text of (head "text").
    std::string Text(const std::string& head) const {
        const Sexp* s = One(head);
        return s && s->Items.size() == 2 && !s->Items[1].IsList ? s->Items[1].Atom : "<missing " + head + ">";
    }
};

Sexp ParseSexp(const std::string& text, size_t& pos) {
    auto skip = [&] {
        while (pos < text.size() && std::isspace(static_cast<unsigned char>(text[pos]))) ++pos;
    };
    skip();
    if (pos >= text.size()) throw std::runtime_error("s-expression ends early");
    Sexp out;
    if (text[pos] == '(') {
        out.IsList = true;
        ++pos;
        for (skip(); pos < text.size() && text[pos] != ')'; skip()) out.Items.push_back(ParseSexp(text, pos));
        if (pos >= text.size()) throw std::runtime_error("unclosed list");
        ++pos;
    } else if (text[pos] == '"') {
        for (++pos; pos < text.size() && text[pos] != '"'; ++pos) {
            if (text[pos] == '\\') ++pos;
            out.Atom += text[pos];
        }
        if (pos >= text.size()) throw std::runtime_error("unclosed string");
        ++pos;
    } else {
        while (pos < text.size() && !std::isspace(static_cast<unsigned char>(text[pos])) && text[pos] != '(' && text[pos] != ')')
            out.Atom += text[pos++];
    }
    return out;
}

TEST(KiCadNetlist, FollowsTheDocumentedLayoutOfANetFile) {
    host::Netlist netlist = Demo();
    netlist.Parts[0].Description = "Resistor \"thin film\"";
    std::string text = exporter::WriteKiCadNetlist(netlist, {"C:\\designs\\demo.dsn", "2024-01-02", "orcadx 1.0"});
    size_t pos = 0;
    Sexp root = ParseSexp(text, pos);
    for (; pos < text.size(); ++pos) ASSERT_TRUE(std::isspace(static_cast<unsigned char>(text[pos]))) << "text after the end";

    // (export (version "E") (design ...) (components ...) (libparts ...) (libraries ...) (nets ...))
    ASSERT_EQ(root.Head(), "export");
    std::vector<std::string> sections;
    for (size_t i = 1; i < root.Items.size(); ++i) sections.push_back(root.Items[i].Head());
    EXPECT_EQ(sections, (std::vector<std::string>{"version", "design", "components", "libparts", "libraries", "nets"}));
    EXPECT_EQ(root.Text("version"), "E");
    const Sexp& design = *root.One("design");
    EXPECT_EQ(design.Text("source"), "C:\\designs\\demo.dsn");
    EXPECT_EQ(design.Text("tool"), "orcadx 1.0");
    ASSERT_NE(design.One("sheet"), nullptr);
    EXPECT_EQ(design.One("sheet")->Text("name"), "/");

    // One comp per package, with ref, value, footprint, libsource, sheetpath and a UUID stamp.
    const std::regex uuid("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    std::map<std::string, const Sexp*> comps;
    for (const Sexp* comp : root.One("components")->All("comp")) {
        comps[comp->Text("ref")] = comp;
        for (const char* field : {"value", "footprint", "tstamps"}) EXPECT_NE(comp->One(field), nullptr) << field;
        ASSERT_NE(comp->One("libsource"), nullptr);
        ASSERT_NE(comp->One("sheetpath"), nullptr);
        EXPECT_EQ(comp->One("sheetpath")->Text("names"), "/");
        EXPECT_TRUE(std::regex_match(comp->Text("tstamps"), uuid)) << comp->Text("tstamps");
    }
    ASSERT_EQ(comps.size(), 2u);
    EXPECT_EQ(comps["R1"]->Text("value"), "10k");
    EXPECT_EQ(comps["R1"]->Text("footprint"), "R0603");
    EXPECT_EQ(comps["R1"]->One("libsource")->Text("lib"), "DISCRETE");
    EXPECT_EQ(comps["R1"]->One("libsource")->Text("part"), "RES");
    EXPECT_EQ(comps["R1"]->One("libsource")->Text("description"), "Resistor \"thin film\"");
    EXPECT_NE(comps["R1"]->Text("tstamps"), comps["U1"]->Text("tstamps"));

    // Library parts with their pins: every pin of every section, once.
    std::map<std::string, std::set<std::string>> libpartPins;
    for (const Sexp* lp : root.One("libparts")->All("libpart"))
        for (const Sexp* pin : lp->One("pins")->All("pin")) libpartPins[lp->Text("part")].insert(pin->Text("num") + "/" + pin->Text("type"));
    EXPECT_EQ(libpartPins["7400"], (std::set<std::string>{"1/input", "2/input", "3/output", "4/input", "5/input",
                                                          "6/output", "7/power_in", "8/output", "9/input", "10/input",
                                                          "11/output", "12/input", "13/input", "14/power_in", "15/input"}));

    // Nets: codes 1, 2, ... in order, nodes naming a comp and a pin, a known pin type; the pins that
    // touch nothing as nets of their own.
    std::set<std::string> allowed{"input", "output", "bidirectional", "tri_state", "passive", "open_collector",
                                  "open_emitter", "power_in", "passive+no_connect", "input+no_connect", "output+no_connect"};
    std::map<std::string, std::vector<std::string>> nets;
    int code = 0;
    for (const Sexp* net : root.One("nets")->All("net")) {
        EXPECT_EQ(net->Text("code"), std::to_string(++code));
        for (const Sexp* node : net->All("node")) {
            EXPECT_TRUE(comps.count(node->Text("ref"))) << node->Text("ref");
            EXPECT_TRUE(allowed.count(node->Text("pintype"))) << node->Text("pintype");
            nets[net->Text("name")].push_back(node->Text("ref") + "." + node->Text("pin"));
        }
    }
    EXPECT_EQ(nets, (std::map<std::string, std::vector<std::string>>{{"0", {"R1.1", "U1.1"}},
                                                                     {"C1OE#", {"R1.2", "U1.4"}},
                                                                     {"GND", {"U1.7"}},
                                                                     {"NetU1_3", {"U1.3", "U1.5"}},
                                                                     {"VCC", {"U1.14", "U1.15"}},
                                                                     {"unconnected-(U1-Pad2)", {"U1.2"}},
                                                                     {"unconnected-(U1-Pad6)", {"U1.6"}}}));
}

TEST(JsonNetlist, HoldsPartsBySectionAndNetsWithTheirPins) {
    auto doc = nlohmann::json::parse(exporter::WriteJsonNetlist(Demo()));
    EXPECT_EQ(doc["format"], "orcadx-netlist");
    EXPECT_EQ(doc["version"], 1);
    EXPECT_EQ(doc["title"], "Demo");
    ASSERT_EQ(doc["parts"].size(), 2u);
    const auto& u1 = doc["parts"][1];
    EXPECT_EQ(u1["designator"], "U1");
    EXPECT_EQ(u1["footprint"], "DIP14");
    ASSERT_EQ(u1["sections"].size(), 2u);
    EXPECT_EQ(u1["sections"][1]["part"], 2);
    EXPECT_EQ(u1["sections"][0]["pins"][0]["net"], "0");
    EXPECT_TRUE(u1["sections"][0]["pins"][1]["net"].is_null());  // touches nothing
    std::map<std::string, std::tuple<bool, bool, size_t>> nets;
    for (const auto& net : doc["nets"])
        nets[net["name"]] = {net["named"].get<bool>(), net["unconnected"].get<bool>(), net["nodes"].size()};
    EXPECT_EQ(nets["NetU1_3"], std::make_tuple(false, false, size_t{2}));
    EXPECT_EQ(nets["VCC"], std::make_tuple(true, false, size_t{2}));
    EXPECT_EQ(nets["NetU1_2"], std::make_tuple(false, true, size_t{1}));
    EXPECT_TRUE(doc["problems"].empty());
}

// ----- Bill of materials --------------------------------------------------------------------------

TEST(BillOfMaterials, GroupsByValuePartAndFootprintInNaturalOrder) {
    NetlistBuilder b("Board");
    for (const char* r : {"R10", "R2", "R1"}) b.Part(r, "RES", "10k", "R0603", {{"1", "1"}});
    b.Part("R3", "RES", "10k", "R0805", {{"1", "1"}});
    b.Part("r4", "RES", "10K", "R0603", {{"1", "1"}});
    b.Part("C1", "CAP", "1u, 16V", "C0603", {{"1", "1"}});
    b.Part("U1", "7400", "7400", "SO14", {{"1", "A"}}, 1, 4);
    b.Part("U1", "7400", "7400", "SO14", {{"4", "A"}}, 2, 4);
    b.Part("", "LOGO", "", "", {});
    b.Part("TP1", "TEST \"POINT\"", "", "", {{"1", "1"}});
    auto lines = exporter::BomLines(b.netlist);
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[1].Designators, (std::vector<std::string>{"R1", "R2", "R10"}));
    EXPECT_EQ(lines[1].Quantity(), 3u);
    EXPECT_EQ(exporter::BomCsv(lines),
              "Item,Quantity,Reference,Value,Part,Footprint\r\n"
              "1,1,C1,\"1u, 16V\",CAP,C0603\r\n"
              "2,3,\"R1, R2, R10\",10k,RES,R0603\r\n"
              "3,1,R3,10k,RES,R0805\r\n"
              "4,1,r4,10K,RES,R0603\r\n"
              "5,1,TP1,,\"TEST \"\"POINT\"\"\",\r\n"
              "6,1,U1,7400,7400,SO14\r\n");
    auto json = nlohmann::json::parse(exporter::BomJson(lines, "Board"));
    EXPECT_EQ(json["title"], "Board");
    ASSERT_EQ(json["items"].size(), 6u);
    EXPECT_EQ(json["items"][1]["quantity"], 3);
    EXPECT_EQ(json["items"][1]["designators"], nlohmann::json::array({"R1", "R2", "R10"}));
    EXPECT_EQ(json["items"][5]["part"], "7400");
    EXPECT_TRUE(exporter::BomLines(host::Netlist{}).empty());
}

}  // namespace
