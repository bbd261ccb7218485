// PSpice templates on parts become host simulation models: one group of cases per device family,
// the pin pass, the value hand-over, and every template found on the sample parts.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "PSpiceTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "host/HostApplication.h"
#include "pspice/PSpiceModelImport.h"
#include "pspice/PSpiceTemplateImport.h"

using namespace orcadx;
using namespace orcadx::host;
using orcadx::pspice::FindParameter;
using orcadx::pspice::TPSpiceTemplateImporter;
namespace fs = std::filesystem;

namespace {

// The netlist templates of the host's native sources, as the host's simulator reads them.
const std::string N1 = R"(@DESIGNATOR %1 %2 @VALUE #"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";
const std::string N2 =
    R"(@DESIGNATOR %1 %2 ?"DC MAGNITUDE"|DC @"DC MAGNITUDE"| SIN(?OFFSET/&OFFSET//0/ ?AMPLITUDE/&AMPLITUDE//1/ ?FREQUENCY/&FREQUENCY//1K/ ?DELAY/&DELAY//0/ ?"DAMPING FACTOR"/&"DAMPING FACTOR"//0/ &PHASE) #"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";
const std::string N3 =
    R"(@DESIGNATOR %1 %2 ?"DC MAGNITUDE"|DC @"DC MAGNITUDE"| PULSE(?"INITIAL VALUE"/&"INITIAL VALUE"//0/ ?"PULSED VALUE"/&"PULSED VALUE"//5/ ?"TIME DELAY"/&"TIME DELAY"//0/ ?"RISE TIME"/&"RISE TIME"//4U/ ?"FALL TIME"/&"FALL TIME"//1U/ ?"PULSE WIDTH"/&"PULSE WIDTH"//0/ ?PERIOD/&PERIOD//5U/ &PHASE) #"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";
const std::string N4 =
    R"(@DESIGNATOR %1 %2 ?"DC MAGNITUDE"|DC @"DC MAGNITUDE"| EXP(?"INITIAL VALUE"/&"INITIAL VALUE"//0/ ?"PULSED VALUE"/&"PULSED VALUE"//5/ ?"RISE DELAY TIME"/&"RISE DELAY TIME"//1U/ ?"RISE TIME CONSTANT"/&"RISE TIME CONSTANT"//700N/ ?"FALL DELAY TIME"/&"FALL DELAY TIME"//2U/ &"FALL TIME CONSTANT") #"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";
const std::string N5 =
    R"(@DESIGNATOR %1 %2 ?"DC MAGNITUDE"|DC @"DC MAGNITUDE"| SFFM(@OFFSET @AMPLITUDE @"CARRIER FREQUENCY" @"MODULATION INDEX" @"SIGNAL FREQUENCY") #"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";

struct Templates : ::testing::Test {
    Templates() : app(HostOptions{}) { app.StartSchServer(); }

    // A component with pins (name, designator), parameters (name, text) and a comment text.
    ISch_Component* Component(const std::string& libReference, const std::vector<std::pair<std::string, std::string>>& pins,
                              const std::vector<std::pair<std::string, std::string>>& parameters,
                              const std::string& comment = "*") {
        auto* component = dynamic_cast<ISch_Component*>(app.SchServer()->CreateSchObject(eSchComponent, 0));
        components.push_back(component);
        component->SetState_LibReference(libReference);
        component->GetState_SchDesignator()->SetState_Text(libReference.substr(0, 1) + "7");
        component->GetState_SchComment()->SetState_Text(comment);
        for (const auto& [name, designator] : pins) {
            auto* pin = dynamic_cast<ISch_Pin*>(app.SchServer()->CreateSchObject(ePin, 0));
            pin->SetState_Name(name);
            pin->SetState_Designator(designator);
            component->AddSchObject(pin);
        }
        for (const auto& [name, text] : parameters) {
            auto* parameter = dynamic_cast<ISch_Parameter*>(app.SchServer()->CreateSchObject(eParameter, 0));
            parameter->SetState_Name(name);
            parameter->SetState_Text(text);
            component->AddSchObject(parameter);
        }
        return component;
    }

    // Runs the importer as the page import does for a part with or without a model.
    bool Import(ISch_Component* component, const std::string& modelName, bool hasModel = false,
                const std::string& modelFile = {}) {
        return TPSpiceTemplateImporter(app, {}, component, modelName, modelFile, hasModel, &log).Run();
    }

    static std::vector<ISch_Implementation*> Implementations(ISch_Component* component) {
        std::vector<ISch_Implementation*> out;
        auto it = component->SchIterator_Create({eImplementation}, eIterateFirstLevel);
        for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject()) out.push_back(dynamic_cast<ISch_Implementation*>(o));
        return out;
    }
    static ISch_Implementation* Sim(ISch_Component* component) {
        for (auto* i : Implementations(component))
            if (i->GetState_ModelType() == "SIM") return i;
        return nullptr;
    }
    // The implementation's parameters by name.
    static std::map<std::string, std::string> Parameters(ISch_BasicContainer* container) {
        std::map<std::string, std::string> out;
        auto it = container->SchIterator_Create({eParameter}, eIterateFirstLevel);
        for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject()) {
            auto* p = dynamic_cast<ISch_Parameter*>(o);
            out[p->GetState_Name()] = p->GetState_Text();
        }
        return out;
    }
    static std::string Text(ISch_Component* component, const std::string& name) {
        ISch_Parameter* p = FindParameter(component, name);
        return p ? p->GetState_Text() : "<none>";
    }
    // A native model: complete, switches on, no port map.
    static void ExpectNative(ISch_Implementation* sim) {
        ASSERT_NE(sim, nullptr);
        EXPECT_TRUE(sim->GetState_BuiltInSwitchA());
        EXPECT_TRUE(sim->GetState_BuiltInSwitchB());
        EXPECT_TRUE(sim->GetState_IsCurrent());
        EXPECT_EQ(sim->GetState_MapAsString(), "");
        EXPECT_EQ(Parameters(sim).count("Syntax"), 0u);
    }
    // A native model with its kind, sub-kind, prefix and netlist; gives all its parameters.
    static std::map<std::string, std::string> ExpectNative(ISch_Implementation* sim, const std::string& kind,
                                                           const std::string& subKind, const std::string& prefix,
                                                           const std::string& netlist) {
        ExpectNative(sim);
        if (!sim) return {};
        auto p = Parameters(sim);
        EXPECT_EQ(p["Kind"], kind);
        EXPECT_EQ(p["SubKind"], subKind);
        EXPECT_EQ(p["Spice Prefix"], prefix);
        EXPECT_EQ(p["Netlist"], netlist);
        return p;
    }

    ~Templates() override {
        for (ISch_Component* c : components) app.SchServer()->DestroySchObject(c);
    }

    HostApplication app;
    LogSection log;
    std::vector<ISch_Component*> components;  // made here, in no container
};

const std::vector<std::pair<std::string, std::string>> kTwoPins = {{"+", "1"}, {"-", "2"}};

}  // namespace

TEST_F(Templates, IndependentSourcesBecomeNativeSourcesWithTheirPropertiesRenamed) {
    struct Case {
        std::string model;
        std::string kind, subKind, prefix, netlist;
        std::vector<std::pair<std::string, std::string>> renamed;  // source property, host name
    };
    const std::vector<Case> cases = {
        {"VDC", "Voltage Source", "DC Source", "V", N1, {{"DC", "Value"}, {"AC", "AC Magnitude"}}},
        {"vsrc", "Voltage Source", "DC Source", "V", N1, {{"DC", "Value"}, {"AC", "AC Magnitude"}}},
        {"IDC", "Current Source", "DC Source", "I", N1, {{"DC", "Value"}, {"AC", "AC Magnitude"}}},
        {"VAC", "Voltage Source", "DC Source", "V", N1, {{"DC", "Value"}, {"ACMAG", "AC Magnitude"}, {"ACPHASE", "ACPHASE"}}},
        {"IAC", "Current Source", "DC Source", "I", N1,
         {{"DC", "Value"}, {"ACMAG", "AC Magnitude"}, {"ACPHASE", "AC Phase"}}},
        {"VSIN", "Voltage Source", "Sinusoidal", "V", N2,
         {{"DC", "DC Magnitude"}, {"AC", "AC Magnitude"}, {"FREQ", "Frequency"}, {"VAMPL", "Amplitude"},
          {"VOFF", "Offset"}, {"PHASE", "Phase"}, {"DF", "Damping Factor"}, {"TD", "Time Delay"}}},
        {"ISIN", "Current Source", "Sinusoidal", "I", N2,
         {{"IAMPL", "Amplitude"}, {"IOFF", "Offset"}, {"VAMPL", "VAMPL"}, {"FREQ", "Frequency"}}},
        {"VPULSE", "Voltage Source", "Pulse", "V", N3,
         {{"DC", "DC Magnitude"}, {"AC", "AC Magnitude"}, {"PW", "Pulse Width"}, {"TD", "Time Delay"},
          {"TF", "Fall Time"}, {"TR", "Rise Time"}, {"V1", "Initial Value"}, {"V2", "Pulsed Value"}, {"PER", "Period"}}},
        {"IPULSE", "Current Source", "Pulse", "I", N3,
         {{"I1", "Initial Value"}, {"I2", "Pulsed Value"}, {"V1", "V1"}, {"PER", "Period"}}},
        {"VEXP", "Voltage Source", "Exponential", "V", N4,
         {{"DC", "DC Magnitude"}, {"AC", "AC Magnitude"}, {"TC1", "Rise Time Constant"}, {"TC2", "Fall Time Constant"},
          {"TD1", "Rise Delay Time"}, {"TD2", "Fall Delay Time"}, {"V1", "Initial Value"}, {"V2", "Pulsed Value"}}},
        {"IEXP", "Current Source", "Exponential", "I", N4, {{"I1", "Initial Value"}, {"I2", "Pulsed Value"}}},
        {"VSFFM", "Voltage Source", "Single-Frequency FM", "V", N5,
         {{"DC", "DC Magnitude"}, {"AC", "AC Magnitude"}, {"FC", "Carrier Frequency"}, {"FM", "Signal Frequency"},
          {"MOD", "Modulation Index"}, {"VAMPL", "Amplitude"}, {"VOFF", "Offset"}}},
        {"ISFFM", "Current Source", "Single-Frequency FM", "I", N5, {{"IAMPL", "Amplitude"}, {"IOFF", "Offset"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.model);
        std::vector<std::pair<std::string, std::string>> parameters;
        for (const auto& [source, target] : c.renamed) parameters.push_back({source, "{" + source + "_value}"});
        parameters.push_back({"PSpiceTemplate", c.prefix + "^@REFDES %+ %- @DC"});
        ISch_Component* component = Component(c.model, kTwoPins, parameters);
        ASSERT_TRUE(Import(component, c.model));
        ExpectNative(Sim(component), c.kind, c.subKind, c.prefix, c.netlist);
        EXPECT_EQ(Sim(component)->GetState_ModelName(), c.model);
        // Renamed on the component, curly braces gone; a property of the other source stays.
        for (const auto& [source, target] : c.renamed) {
            if (source == target)
                EXPECT_EQ(Text(component, source), "{" + source + "_value}");
            else
                EXPECT_EQ(Text(component, target), source + "_value") << source;
        }
    }

    // Another voltage source keeps its template in the generic editor, complete; another current
    // source takes the generic path. Lower-case letters select the same devices.
    ISch_Component* v = Component("VBIG", kTwoPins, {{"PSpiceTemplate", "v^@REFDES %+ %- BIG(@A)"}});
    ASSERT_TRUE(Import(v, "VBIG"));
    ExpectNative(Sim(v), "Voltage Source", "Generic Editor", "V", "@DESIGNATOR %1 %2 BIG(@A)");
    ISch_Component* i = Component("ISPECIAL", kTwoPins, {{"PSpiceTemplate", "I^@REFDES %+ %- X"}});
    ASSERT_TRUE(Import(i, "ISPECIAL"));
    auto ip = Parameters(Sim(i));
    EXPECT_EQ(ip["Kind"], "Current Source");
    EXPECT_EQ(ip["Spice Prefix"], "I");
    EXPECT_EQ(ip["Syntax"], "PSpice");
    EXPECT_EQ(ip.count("SubKind"), 0u);
    EXPECT_EQ(Sim(i)->GetState_MapAsString(), "(1:1),(2:2)");
    EXPECT_FALSE(Sim(i)->GetState_BuiltInSwitchA());
    EXPECT_TRUE(log.Messages().empty());
}

TEST_F(Templates, ControlledSourcesBecomeNativeWithTheirGain) {
    const std::vector<std::pair<std::string, std::string>> fourPins = {{"1", "1"}, {"2", "2"}, {"3", "3"}, {"4", "4"}};
    struct Case {
        char letter;
        std::string kind, subKind, netlist;
    };
    const std::string sensed = "V@DESIGNATOR %1 %2 0V\r\n@DESIGNATOR %3 %4 V@DESIGNATOR @GAIN";
    for (const Case& c : std::vector<Case>{{'E', "Voltage Source", "Voltage-Controlled", "@DESIGNATOR %3 %4 %1 %2 @GAIN"},
                                           {'G', "Current Source", "Voltage-Controlled", "@DESIGNATOR %3 %4 %1 %2 @GAIN"},
                                           {'h', "Voltage Source", "Current-Controlled", sensed},
                                           {'F', "Current Source", "Current-Controlled", sensed}}) {
        SCOPED_TRACE(c.letter);
        std::string t(1, c.letter);
        ISch_Component* component =
            Component(t, fourPins, {{"GAIN", "{2.5}"}, {"PSpiceTemplate", t + "^@REFDES %3 %4 %1 %2 @GAIN"}});
        ASSERT_TRUE(Import(component, t));
        ExpectNative(Sim(component), c.kind, c.subKind, std::string(1, static_cast<char>(std::toupper(c.letter))),
                     c.netlist);
        EXPECT_EQ(Text(component, "Gain"), "2.5");
    }
    // The multiplier of the E family is a general model with its own template.
    ISch_Component* mult = Component("MULT", {{"IN1", "1"}, {"IN2", "2"}, {"OUT", "3"}},
                                     {{"GAIN", "2"}, {"PSpiceTemplate", "E^@REFDES %OUT 0 VALUE {V(%IN1)*V(%IN2)}"}});
    ASSERT_TRUE(Import(mult, "mult"));
    ExpectNative(Sim(mult), "General", "Generic Editor", "E", "@DESIGNATOR %1 0 VALUE {V(%2)*V(%3)}");
    EXPECT_EQ(Text(mult, "GAIN"), "2");
}

TEST_F(Templates, ResistorsTakeValueAndToleranceAndHandTheValueOver) {
    ISch_Component* r = Component("R", {{"1", "1"}, {"2", "2"}},
                                  {{"TOLERANCE", "5%"}, {"PSpiceTemplate", "R^@REFDES %1 %2 ?TOLERANCE|R^@REFDES| @VALUE"}},
                                  "4k7");
    ISch_Parameter* comment = r->GetState_SchComment();
    comment->SetState_Location({123, 456});
    comment->SetState_Color(0x00FF00);
    comment->SetState_FontId(3);
    comment->SetState_Orientation(1);
    comment->SetState_Justification(eJustify_TopRight);
    comment->SetState_ShowName(true);
    comment->SetState_Autoposition(false);
    ASSERT_TRUE(Import(r, "R"));
    auto p = ExpectNative(Sim(r), "General", "Resistor", "R", "@DESIGNATOR %1 %2 @VALUE");
    EXPECT_EQ(p["Tolerance"], "5%");
    EXPECT_EQ(p.count("Value"), 0u);  // the component had no Value parameter before the hand-over
    // The comment's text and look move to a hidden "Value", and the comment shows it.
    ISch_Parameter* value = FindParameter(r, "Value");
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->GetState_Text(), "4k7");
    EXPECT_TRUE(value->GetState_IsHidden());
    EXPECT_EQ(value->GetState_Location(), (Coord{123, 456}));
    EXPECT_EQ(value->GetState_Color(), 0x00FF00);
    EXPECT_EQ(value->GetState_FontId(), 3);
    EXPECT_EQ(value->GetState_Orientation(), 1);
    EXPECT_EQ(value->GetState_Justification(), eJustify_TopRight);
    EXPECT_TRUE(value->GetState_ShowName());
    EXPECT_FALSE(value->GetState_Autoposition());
    EXPECT_EQ(r->GetState_SchComment()->GetState_Text(), "=Value");
    EXPECT_EQ(r->GetState_SchComment()->GetState_DisplayString(), "4k7");

    // A Value parameter is copied to the model; a comment "*" stays and the Value only hides.
    ISch_Component* r2 = Component("R", {{"1", "1"}, {"2", "2"}},
                                   {{"Value", "{1K}"}, {"TOLERANCE", "{1%"}, {"PSpiceTemplate", "r^@REFDES %1 %2 @value"}});
    ASSERT_TRUE(Import(r2, "R"));
    auto p2 = Parameters(Sim(r2));
    EXPECT_EQ(p2["SubKind"], "Resistor");
    EXPECT_EQ(p2["Value"], "1K");
    EXPECT_EQ(p2["Tolerance"], "{1%");
    EXPECT_EQ(Text(r2, "Value"), "{1K}");
    EXPECT_TRUE(FindParameter(r2, "Value")->GetState_IsHidden());
    EXPECT_EQ(r2->GetState_SchComment()->GetState_Text(), "*");
}

TEST_F(Templates, CapacitorsAndInductorsTakeTheirInitialConditions) {
    ISch_Component* c = Component("C", {{"1", "1"}, {"2", "2"}},
                                  {{"Value", "10n"}, {"IC", "{2V}"}, {"PSpiceTemplate", "C^@REFDES %1 %2 @VALUE ?IC/IC=@IC/"}});
    ASSERT_TRUE(Import(c, "C"));
    auto pc = ExpectNative(Sim(c), "General", "Capacitor", "C", "@DESIGNATOR %1 %2 @VALUE");
    EXPECT_EQ(pc["Value"], "10n");
    EXPECT_EQ(pc["Initial Voltage"], "2V");
    EXPECT_EQ(pc.count("Tolerance"), 0u);

    ISch_Component* l = Component("L", {{"1", "1"}, {"2", "2"}},
                                  {{"IC", "1m"}, {"TOLERANCE", "10%"}, {"PSpiceTemplate", "L^@REFDES %1 %2 @VALUE"}});
    ASSERT_TRUE(Import(l, "L"));
    auto pl = ExpectNative(Sim(l), "General", "Inductor", "L",
                           R"(@DESIGNATOR %1 %2 @VALUE ?"INITIAL CURRENT"|IC=@"INITIAL CURRENT"|)");
    EXPECT_EQ(pl["Initial Current"], "1m");
    EXPECT_EQ(pl["Tolerance"], "10%");
    EXPECT_EQ(pl.count("Initial Voltage"), 0u);
}

TEST_F(Templates, OtherDevicesKeepTheirTemplateAndPointToTheirModelFile) {
    fs::path dir = test::ScratchDir("pspice-generic");
    test::WriteText(dir / "Q2N.mdl", ".MODEL Q2N NPN(BF=100)\r\n");
    ISch_Component* q = Component("Q2N", {{"C", "3"}, {"B", "1"}, {"E", "2"}},
                                  {{"PSpiceTemplate", "Q^@REFDES %C %B %E @MODEL ?AREA/@AREA/"}});
    ASSERT_TRUE(Import(q, "Q2N", true, (dir / "Q2N.mdl").string()));
    ISch_Implementation* sim = Sim(q);
    ASSERT_NE(sim, nullptr);
    EXPECT_EQ(sim->GetState_ModelName(), "Q2N");
    EXPECT_EQ(sim->GetState_MapAsString(), "(1:3),(2:1),(3:2)");
    EXPECT_FALSE(sim->GetState_BuiltInSwitchA());
    auto p = Parameters(sim);
    EXPECT_EQ(p["Syntax"], "PSpice");
    EXPECT_EQ(p["Spice Prefix"], "Q");
    EXPECT_EQ(p["Netlist"], "@DESIGNATOR %1 %2 %3 @MODEL ?AREA/@AREA/");
    EXPECT_EQ(p.count("Kind"), 0u);
    ASSERT_EQ(sim->GetState_DataFileLinkCount(), 1);
    EXPECT_EQ(sim->GetState_DataFileLinkEntity(0), "Q2N");
    EXPECT_EQ(sim->GetState_DataFileLinkLocation(0), (dir / "Q2N.mdl").string());
    EXPECT_EQ(sim->GetState_DataFileLinkKind(0), "PSpice");
    EXPECT_TRUE(log.Messages().empty());

    // A part with a model never takes the device mapping, even a resistor; a template whose first
    // letter is the prefix loses the text before "@DESIGNATOR". The simulation server's check of a
    // model that its file lacks is logged with the part's designator.
    ISch_Component* r = Component("RMOD", {{"1", "1"}, {"2", "2"}}, {{"PSpiceTemplate", "R@REFDES %1 %2 RMOD @VALUE"}}, "1k");
    ASSERT_TRUE(Import(r, "RMOD", true, (dir / "Q2N.mdl").string()));
    auto pr = Parameters(Sim(r));
    EXPECT_EQ(pr.count("Kind"), 0u);
    EXPECT_EQ(pr["Netlist"], "@DESIGNATOR %1 %2 RMOD @VALUE");
    EXPECT_EQ(Sim(r)->GetState_MapAsString(), "(1:1),(2:2)");
    EXPECT_EQ(r->GetState_SchComment()->GetState_Text(), "=Value");
    EXPECT_EQ(test::Messages(log),
              (std::vector<std::string>{"error: Could not initialize model : \"RMOD\" for part \"R7\""}));

    // An existing current "SIM" model is reused; another kind of model is left alone.
    ISch_Component* x = Component("POT", {{"1", "1"}, {"T", "2"}, {"2", "3"}},
                                  {{"PSpiceTemplate", "X^@REFDES %1 %T %2 POT PARAMS: SET=@SET"}});
    ISch_Implementation* footprint = x->AddImplementation();
    footprint->SetState_ModelType("PCBLIB");
    ISch_Implementation* existing = x->AddImplementation();
    existing->SetState_ModelType("sim");
    existing->SetState_IsCurrent(true);
    ASSERT_TRUE(Import(x, "POT", true));
    EXPECT_EQ(Implementations(x).size(), 2u);
    EXPECT_EQ(existing->GetState_ModelName(), "POT");
    EXPECT_EQ(existing->GetState_ModelType(), "SIM");
    EXPECT_EQ(footprint->GetState_ModelName(), "");
    EXPECT_EQ(existing->GetState_DataFileLinkCount(), 0);
    EXPECT_EQ(Parameters(existing)["Netlist"], "@DESIGNATOR %1 %2 %3 POT PARAMS: SET=@SET");

    // A template that begins with the designator keeps the host's underscore form.
    ISch_Component* caret = Component("K", {{"1", "1"}}, {{"PSpiceTemplate", "^@REFDES %1 K"}});
    ASSERT_TRUE(Import(caret, "K", true));
    EXPECT_EQ(Parameters(Sim(caret))["Netlist"], "_@DESIGNATOR %1 K");
    EXPECT_EQ(Parameters(Sim(caret))["Spice Prefix"], "^");
}

TEST_F(Templates, PinPassNumbersPinsByFirstUseAndReportsThoseItCannotMap) {
    auto run = [&](const std::string& templateText, const std::vector<std::pair<std::string, std::string>>& pins) {
        ISch_Component* component = Component("U", pins, {});
        TPSpiceTemplateImporter importer(app, templateText, component, "MODEL", {}, true, &log);
        EXPECT_TRUE(importer.Run());
        return std::make_pair(importer.NetlistTemplate, importer.PinMap);
    };
    // A pin used twice gets one number; delimiters end names; "%%" and a "%" before a delimiter stay.
    EXPECT_EQ(run("X %A %B,%a(%%) %/ 5%", {{"A", "1"}, {"B", "2"}}),
              std::make_pair(std::string("X %1 %2,%1(%%) %/ 5%"), std::string("(1:1),(2:2)")));
    // Two pins of one name: two entries with one number. A pin at the very end, of any length.
    EXPECT_EQ(run("U %GND %VCC", {{"VCC", "8"}, {"GND", "1"}, {"gnd", "4"}}),
              std::make_pair(std::string("U %1 %2"), std::string("(1:1),(1:4),(2:8)")));
    EXPECT_EQ(run("U %Q", {{"q", "9"}}), std::make_pair(std::string("U %1"), std::string("(1:9)")));
    EXPECT_TRUE(log.Messages().empty());
    // A pin the component lacks keeps its name and still takes a number; a "%" right behind a name
    // is reported and copied as it stands.
    EXPECT_EQ(run("U %NOPE %B %X%Y", {{"B", "2"}}),
              std::make_pair(std::string("U %NOPE %2 %X%Y"), std::string("(2:2)")));
    EXPECT_EQ(test::Messages(log),
              (std::vector<std::string>{"error: Could not map PSpice template pin \"NOPE\" on component \"U\"",
                                        "error: Could not map PSpice template pin \"X\" on component \"U\""}));
    // References to the designator are rewritten in the host's form, in any case.
    EXPECT_EQ(run("D^@refdes %1 @REFDES", {{"1", "1"}}).first, "D_@DESIGNATOR %1 @DESIGNATOR");
}

TEST_F(Templates, PartsWithoutATemplateOrModelAreLeftAlone) {
    ISch_Component* none = Component("N", kTwoPins, {{"Value", "1"}});
    EXPECT_FALSE(Import(none, "N"));
    EXPECT_TRUE(Implementations(none).empty());
    ISch_Component* star = Component("S", kTwoPins, {{"pspicetemplate", "R^@REFDES %+ %- @VALUE"}}, "1k");
    EXPECT_TRUE(Import(star, "*"));
    EXPECT_TRUE(Implementations(star).empty());
    EXPECT_EQ(star->GetState_SchComment()->GetState_Text(), "1k");
    EXPECT_EQ(FindParameter(star, "Value"), nullptr);
    EXPECT_FALSE(TPSpiceTemplateImporter(app, "R %1", nullptr, "R", {}, false, &log).Run());
    EXPECT_TRUE(log.Messages().empty());
}

namespace {

// A host component as the library import makes it from a cached component: pins named as the
// first view's pins, numbered from the first part's pin numbers, and the view's properties as
// parameters.
ISch_Component* HostComponent(IHostApplication& app, const dbo::TDboDesign& design, const dbo::TDboLibComponent& cached,
                              std::string& templateText) {
    auto* component = dynamic_cast<ISch_Component*>(app.SchServer()->CreateSchObject(eSchComponent, 0));
    component->SetState_LibReference(cached.PartInfo ? cached.PartInfo->CompName : "?");
    const dbo::TDboLibView* view = cached.Packages.GetPackages(0)->Views.GetViews(0);
    const dbo::TDboLibPart* part = cached.PartInfo ? cached.PartInfo->Parts.GetParts(0) : nullptr;
    for (int i = 0; view->Pins && i < view->Pins->Count(); ++i) {
        auto* pin = dynamic_cast<ISch_Pin*>(app.SchServer()->CreateSchObject(ePin, 0));
        pin->SetState_Name(view->Pins->GetPins(i)->PinName);
        pin->SetState_Designator(part && i < part->PartPins.Count() ? part->PartPins.GetPins(i)->PinNumber
                                                                     : std::to_string(i + 1));
        component->AddSchObject(pin);
    }
    for (int i = 0; i < view->UserProps.Count(); ++i) {
        auto* prop = view->UserProps.GetProperties(i);
        auto* parameter = dynamic_cast<ISch_Parameter*>(app.SchServer()->CreateSchObject(eParameter, 0));
        parameter->SetState_Name(design.GetString(prop->NameIdx));
        parameter->SetState_Text(design.GetString(prop->ValueIdx));
        if (parameter->GetState_Name() == "PSpiceTemplate") templateText = parameter->GetState_Text();
        component->AddSchObject(parameter);
    }
    return component;
}

}  // namespace

TEST_F(Templates, EveryTemplateOnTheSamplePartsBecomesAnImplementation) {
    ORCADX_REQUIRE_CORPUS();
    int templates = 0, native = 0, generic = 0;
    std::map<std::string, int> families;
    for (const auto& file : test::CorpusFiles({".dsn", ".olb"})) {
        dbo::TDboDesign design(file.string(), nullptr, 0, nullptr);
        try {
            design.Load(false);
        } catch (const std::exception&) {
            continue;  // damaged samples are the loader's tests
        }
        for (int c = 0; c < design.ComponentCount(); ++c) {
            const dbo::TDboLibComponent& cached = *design.GetComponent(c);
            if (cached.Packages.Count() == 0 || cached.Packages.GetPackages(0)->Views.Count() == 0) continue;
            const dbo::TDboLibView* view = cached.Packages.GetPackages(0)->Views.GetViews(0);
            if (!view->GetUserPropByName("PSpiceTemplate")) continue;
            std::string templateText;
            ISch_Component* component = HostComponent(app, design, cached, templateText);
            components.push_back(component);
            bool imported = pspice::ImportComponentSimulation(app, component, cached, nullptr, &log);
            SCOPED_TRACE(file.filename().string() + ": " + component->GetState_LibReference() + ": " + templateText);
            ++templates;
            EXPECT_TRUE(imported);
            ISch_Implementation* sim = Sim(component);
            ASSERT_NE(sim, nullptr);
            EXPECT_FALSE(sim->GetState_ModelName().empty());
            auto p = Parameters(sim);
            if (sim->GetState_BuiltInSwitchA()) {
                ++native;
                ++families[p["Kind"] + "/" + p["SubKind"]];
                EXPECT_TRUE(sim->GetState_IsCurrent());
                EXPECT_FALSE(p["Netlist"].empty());
                continue;
            }
            ++generic;
            EXPECT_EQ(p["Syntax"], "PSpice");
            EXPECT_EQ(p["Spice Prefix"], templateText.substr(0, 1));
            EXPECT_EQ(p.count("Netlist"), 1u);
            EXPECT_EQ(p["Netlist"].find("REFDES"), std::string::npos);
        }
    }
    // Every device family of the samples is there.
    EXPECT_GT(templates, 150);
    EXPECT_GT(generic, 100);
    EXPECT_GT(native, 20);
    for (const char* family : {"Voltage Source/DC Source", "Voltage Source/Sinusoidal", "Voltage Source/Pulse",
                               "Voltage Source/Voltage-Controlled", "General/Resistor", "General/Capacitor",
                               "General/Inductor"})
        EXPECT_GT(families[family], 0) << family;
}

// The page import's hook on the placed parts of the sample design: a part implemented by a model
// has it extracted and linked, and the host's simulation server finds the model in the linked
// file; other parts take their package's name.
TEST_F(Templates, PlacedPartsLinkTheModelsTheirLibrariesHold) {
    ORCADX_REQUIRE_CORPUS();
    const fs::path root = test::CorpusDir() / "Series-Regulator";
    const fs::path dir = test::ScratchDir("pspice-placed-parts");
    dbo::TDboDesign design((root / "P1_Olteanu_Rares.dsn").string(), nullptr, 0, nullptr);
    ASSERT_TRUE(design.Load(false));
    IProject* project = app.CreateProject((dir / "P.VsProj").string());
    ImporterOptions options;
    options.libraryDirectories = {(root / "Libs").string()};
    pspice::TPSpiceModelImportManager manager(&app, design.FileName, project, &options, nullptr, 0, &log);

    std::map<std::string, int> linked, unlinked;
    std::set<std::string> named;  // models the parts name, with or without a template
    int parts = 0;
    for (int v = 0; v < design.ViewCount(); ++v)
        for (int p = 0; p < design.GetViews(v)->PageCount(); ++p) {
            auto& list = *design.GetViews(v)->GetPages(p)->PartsAndBlocks;
            for (int i = 0; i < list.Count(); ++i) {
                auto* part = dynamic_cast<dbo::TDboPart*>(list.GetItems(i));
                const dbo::TDboLibComponent* cached = part ? design.FindComponent(part->SrcPkg) : nullptr;
                if (!cached || cached->Packages.Count() == 0) continue;
                std::string templateText;
                ISch_Component* component = HostComponent(app, design, *cached, templateText);
                components.push_back(component);
                bool imported = pspice::ImportPartSimulation(app, component, *part, &manager, &log);
                EXPECT_EQ(imported, !templateText.empty()) << part->GetDesignator();
                bool model = part->GetImplementationType() == dbo::TDboPart::kImplementationPSpiceModel &&
                             !part->GetImplementation().empty();
                if (model) named.insert(part->GetImplementation());
                if (!imported) continue;
                ++parts;
                ISch_Implementation* sim = Sim(component);
                ASSERT_NE(sim, nullptr);
                EXPECT_EQ(sim->GetState_ModelName(), model ? part->GetImplementation() : part->SrcPkg);
                if (sim->GetState_DataFileLinkCount() == 1) {
                    ++linked[sim->GetState_ModelName()];
                    EXPECT_EQ(sim->GetState_DataFileLinkLocation(0),
                              manager.FindModel(part->GetImplementation(), part->GetImplementationPath())->ModelFile);
                } else if (model) {
                    ++unlinked[sim->GetState_ModelName()];
                }
            }
        }
    EXPECT_GT(parts, 50);
    // The two models of the libraries here, linked on every part that names them; the others are
    // reported once each, and no linked model fails the simulation server's check.
    EXPECT_EQ(linked.size(), 2u);
    EXPECT_GT(linked["QBC846B"], 5);
    EXPECT_GT(linked["MLED81"], 0);
    EXPECT_TRUE(unlinked.count("QBC856B"));
    for (const auto& m : test::Messages(log)) {
        EXPECT_EQ(m.find("Could not initialize model"), std::string::npos) << m;
        if (m.find("PSpice model not found") != std::string::npos) {
            std::string name = m.substr(m.find('"') + 1, m.rfind('"') - m.find('"') - 1);
            EXPECT_TRUE(named.count(name) && !linked.count(name)) << m;
        }
    }
    EXPECT_EQ(project->GetDocumentCount(), 2);
}
