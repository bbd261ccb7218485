// The host's schematic objects: properties, interfaces per kind, geometry, iterators, ownership,
// fonts, sheet styles, connections and nets.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "HostTestUtil.h"
#include "TestSupport.h"
#include "host/Connectivity.h"
#include "host/SchObjects.h"

using namespace orcadx::host;
using orcadx::test::Make;
using orcadx::test::Mil;

namespace {

struct HostFixture : ::testing::Test {
    HostFixture() : app(orcadx::test::Options(7, true)) { app.StartSchServer(); }
    ISch_ServerInterface* server() { return app.SchServer(); }
    HostApplication app;
};

std::vector<ISch_BasicContainer*> Collect(ISch_BasicContainer* container, const ObjectSet& kinds, int32_t mode) {
    std::vector<ISch_BasicContainer*> out;
    auto it = container->SchIterator_Create(kinds, mode);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject()) out.push_back(o);
    return out;
}

}  // namespace

TEST_F(HostFixture, EveryKindHasItsInterfaceAndReadsBackItsProperties) {
    // Each kind of the table is made, reports its number and supports its own interface only.
    struct Expect {
        int32_t kind;
        bool graphical, pin, component, parameter, polygon, label;
    };
    const std::vector<Expect> table = {
        {eRectangle, true, false, false, false, false, false},  {eLine, true, false, false, false, false, false},
        {eBusEntry, true, false, false, false, false, false},   {eArc, true, false, false, false, false, false},
        {eEllipticalArc, true, false, false, false, false, false}, {eRoundRectangle, true, false, false, false, false, false},
        {eImage, true, false, false, false, false, false},      {ePie, true, false, false, false, false, false},
        {eTextFrame, true, false, false, false, false, false},  {eEllipse, true, false, false, false, false, false},
        {eJunction, true, false, false, false, false, false},   {ePolygon, true, false, false, false, true, false},
        {ePolyline, true, false, false, false, true, false},    {eWire, true, false, false, false, true, false},
        {eBus, true, false, false, false, true, false},         {eBezier, true, false, false, false, true, false},
        {eLabel, true, false, false, false, false, true},       {eNetLabel, true, false, false, false, false, true},
        {eSchComponent, true, false, true, false, false, false}, {eParameter, true, false, false, true, false, true},
        {eSymbol, true, false, false, false, false, false},     {eNoERC, true, false, false, false, false, false},
        {ePin, true, true, false, false, false, false},         {ePort, true, false, false, false, false, false},
        {ePowerObject, true, false, false, false, false, false}, {eSheetEntry, true, false, false, false, false, false},
        {eSheetSymbol, true, false, false, false, false, false}, {eImplementation, false, false, false, false, false, false},
        {eCrossSheetConnector, true, false, false, false, false, false}, {eBundleBlock, true, false, false, false, false, false},
    };
    for (const auto& e : table) {
        SCOPED_TRACE(e.kind);
        ISch_BasicContainer* o = server()->CreateSchObject(e.kind, 0);
        ASSERT_NE(o, nullptr);
        EXPECT_EQ(o->GetState_ObjectId(), e.kind);
        EXPECT_EQ(o->GetState_Container(), nullptr);
        EXPECT_EQ(o->GetState_UniqueId().size(), 8u);
        EXPECT_EQ(dynamic_cast<ISch_GraphicalObject*>(o) != nullptr, e.graphical);
        EXPECT_EQ(dynamic_cast<ISch_Pin*>(o) != nullptr, e.pin);
        EXPECT_EQ(dynamic_cast<ISch_Component*>(o) != nullptr, e.component);
        EXPECT_EQ(dynamic_cast<ISch_Parameter*>(o) != nullptr, e.parameter);
        EXPECT_EQ(dynamic_cast<ISch_Polygon*>(o) != nullptr, e.polygon);
        EXPECT_EQ(dynamic_cast<ISch_Label*>(o) != nullptr, e.label);
        o->SetState_Text("some text");
        EXPECT_EQ(o->GetState_Text(), "some text");
        if (auto* g = dynamic_cast<ISch_GraphicalObject*>(o)) {
            g->SetState_Color(0x123456);
            g->SetState_AreaColor(0x654321);
            g->SetState_OwnerPartId(3);
            g->SetState_OwnerPartDisplayMode(1);
            g->SetState_Enabled(false);
            EXPECT_EQ(g->GetState_Color(), 0x123456);
            EXPECT_EQ(g->GetState_AreaColor(), 0x654321);
            EXPECT_EQ(g->GetState_OwnerPartId(), 3);
            EXPECT_EQ(g->GetState_OwnerPartDisplayMode(), 1);
            EXPECT_FALSE(g->GetState_Enabled());
        }
        server()->DestroySchObject(o);
    }
    EXPECT_EQ(server()->CreateSchObject(1, 0), nullptr);
    EXPECT_EQ(server()->CreateSchObject(eSheet, 0), nullptr);

    // Typed properties of the kinds the translators fill.
    auto* pin = Make<ISch_Pin>(app, ePin);
    pin->SetState_Name("CLK");
    pin->SetState_Designator("7");
    pin->SetState_Electrical(7);
    pin->SetState_PinLength(Mil(30));
    pin->SetState_IsHidden(true);
    pin->SetState_ShowDesignator(false);
    pin->SetState_HiddenNetName("VCC");
    pin->SetState_InnerEdge(1);
    pin->SetState_OuterEdge(3);
    pin->SetState_CustomStyleEnabled(1, true);
    pin->SetState_CustomStyleColor(1, 8404992);
    pin->SetState_CustomStylePositionMode(0, 0);
    EXPECT_EQ(pin->GetState_Name(), "CLK");
    EXPECT_EQ(pin->GetState_Designator(), "7");
    EXPECT_EQ(pin->GetState_Electrical(), 7);
    EXPECT_EQ(pin->GetState_PinLength(), Mil(30));
    EXPECT_TRUE(pin->GetState_IsHidden());
    EXPECT_FALSE(pin->GetState_ShowDesignator());
    EXPECT_EQ(pin->GetState_HiddenNetName(), "VCC");
    EXPECT_EQ(pin->GetState_InnerEdge(), 1);
    EXPECT_EQ(pin->GetState_OuterEdge(), 3);
    EXPECT_TRUE(pin->GetState_CustomStyleEnabled(1));
    EXPECT_FALSE(pin->GetState_CustomStyleEnabled(0));
    EXPECT_EQ(pin->GetState_CustomStyleColor(1), 8404992);

    auto* arc = Make<ISch_Arc>(app, eArc);
    arc->SetState_StartAngle(-179.5f);
    arc->SetState_EndAngle(12.25);
    EXPECT_DOUBLE_EQ(arc->GetState_StartAngle(), -179.5);
    EXPECT_DOUBLE_EQ(arc->GetState_EndAngle(), 12.25);

    auto* offSheet = Make<ISch_CrossSheetConnector>(app, eCrossSheetConnector);
    offSheet->SetState_Style(1);
    EXPECT_EQ(offSheet->GetState_Side(), 1);  // one property under two names
    offSheet->SetState_Side(0);
    EXPECT_EQ(offSheet->GetState_Style(), 0);

    auto* component = Make<ISch_Component>(app, eSchComponent);
    EXPECT_EQ(component->GetState_PartCount(), 0);
    EXPECT_EQ(component->GetState_CurrentPartId(), 1);
    ASSERT_NE(component->GetState_SchDesignator(), nullptr);
    EXPECT_EQ(component->GetState_SchDesignator(), component->GetState_SchDesignator());
    EXPECT_EQ(component->GetState_SchComment()->GetState_Name(), "Comment");
    component->AddAlias("R_ALT");
    component->AddAlias("R2");
    EXPECT_EQ(component->GetState_AliasCount(), 2);
    EXPECT_EQ(component->GetState_Alias(1), "R2");
    EXPECT_THROW(component->GetState_Alias(2), EApiErr);
    ISch_Implementation* sim = component->AddImplementation();
    sim->SetState_ModelType("SIM");
    sim->SetState_MapAsString("(1:3),(2:4)");
    sim->SetState_BuiltInSwitchB(true);
    sim->AddDataFileLink("Q2N2222", "/models/q.lib", "PSpice");
    EXPECT_EQ(sim->GetState_Container(), component);
    EXPECT_EQ(sim->GetState_MapAsString(), "(1:3),(2:4)");
    EXPECT_TRUE(sim->GetState_BuiltInSwitchB());
    EXPECT_FALSE(sim->GetState_BuiltInSwitchA());
    ASSERT_EQ(sim->GetState_DataFileLinkCount(), 1);
    EXPECT_EQ(sim->GetState_DataFileLinkLocation(0), "/models/q.lib");
    EXPECT_EQ(Collect(component, {eImplementation}, 0).size(), 1u);
    // The comment shows a parameter it names with "=".
    auto* value = Make<ISch_Parameter>(app, eParameter);
    value->SetState_Name("Value");
    value->SetState_Text("4k7");
    component->AddSchObject(value);
    component->GetState_SchComment()->SetState_Text("=Value");
    EXPECT_EQ(component->GetState_SchComment()->GetState_DisplayString(), "4k7");
    component->GetState_SchComment()->SetState_Text("=Missing");
    EXPECT_EQ(component->GetState_SchComment()->GetState_DisplayString(), "=Missing");

    // Pins take "Name" and "Number" parameters; a parameter of another name does nothing.
    auto* nameParam = Make<ISch_Parameter>(app, eParameter);
    nameParam->SetState_Name("name");
    nameParam->SetState_Text("RESET");
    EXPECT_TRUE(pin->ApplyParameter(nameParam));
    EXPECT_EQ(pin->GetState_Name(), "RESET");
    nameParam->SetState_Name("Number");
    nameParam->SetState_Text("12");
    EXPECT_TRUE(pin->ApplyParameter(nameParam));
    EXPECT_EQ(pin->GetState_Designator(), "12");
    nameParam->SetState_Name("Other");
    EXPECT_FALSE(pin->ApplyParameter(nameParam));
    for (ISch_BasicContainer* o : std::initializer_list<ISch_BasicContainer*>{pin, arc, offSheet, component, nameParam})
        server()->DestroySchObject(o);
}

TEST_F(HostFixture, ContainersOwnTheirObjectsAndNothingLeaks) {
    size_t before = app.LiveObjectCount();
    auto* component = Make<ISch_Component>(app, eSchComponent);
    auto* pin = Make<ISch_Pin>(app, ePin);
    component->AddSchObject(pin);
    EXPECT_EQ(pin->GetState_Container(), component);
    // An object moves when added to another container; it can't hold itself.
    auto* other = Make<ISch_Component>(app, eSchComponent);
    other->AddSchObject(pin);
    EXPECT_EQ(pin->GetState_Container(), other);
    EXPECT_TRUE(Collect(component, {ePin}, 0).empty());
    EXPECT_THROW(other->AddSchObject(other), EApiErr);
    EXPECT_TRUE(other->RemoveSchObject(pin));
    EXPECT_FALSE(other->RemoveSchObject(pin));
    EXPECT_EQ(pin->GetState_Container(), nullptr);
    component->AddSchObject(pin);
    server()->DestroySchObject(component);  // takes the pin with it
    server()->DestroySchObject(other);
    EXPECT_EQ(app.LiveObjectCount(), before);
}

TEST_F(HostFixture, ComponentTurnsAndMirrorsItsPrimitivesAboutItsLocation) {
    // A symbol of 300 by 100 mils with its upper left corner at the origin, as a library import makes.
    ISch_Component* c = orcadx::test::MakeComponent(app, "RES");
    auto bounds = [&] { return c->GetState_BoundingRectangle(); };
    EXPECT_EQ(bounds(), (CoordRect{Mil(-100), Mil(-100), Mil(400), 0}));  // pins reach 100 mils out

    c->MoveToXY(Mil(1000), Mil(2000));
    EXPECT_EQ(c->GetState_Location(), (Coord{Mil(1000), Mil(2000)}));
    EXPECT_EQ(bounds(), (CoordRect{Mil(900), Mil(1900), Mil(1400), Mil(2000)}));

    // One quarter turn counter-clockwise: x in [-h, 0] becomes y in [0, w] ...
    c->SetState_Orientation(1);
    EXPECT_EQ(bounds(), (CoordRect{Mil(1000), Mil(1900), Mil(1100), Mil(2400)}));
    auto pins = Collect(c, {ePin}, 0);
    ASSERT_EQ(pins.size(), 2u);
    EXPECT_EQ(dynamic_cast<ISch_Pin*>(pins[0])->GetState_Orientation(), 3);
    EXPECT_EQ(dynamic_cast<ISch_Pin*>(pins[1])->GetState_Orientation(), 1);
    // ... and a mirror flips left to right about the location: x in [-h, 0].
    c->SetState_IsMirrored(true);
    EXPECT_EQ(bounds(), (CoordRect{Mil(900), Mil(1900), Mil(1000), Mil(2400)}));

    // What is shown depends on orientation and mirror, not on the order they were set in.
    ISch_Component* d = orcadx::test::MakeComponent(app, "RES");
    d->MoveToXY(Mil(1000), Mil(2000));
    d->SetState_IsMirrored(true);
    d->SetState_Orientation(1);
    EXPECT_EQ(d->GetState_BoundingRectangle(), bounds());
    for (int o : {2, 3, 0, 3}) {
        c->SetState_Orientation(o);
        d->SetState_IsMirrored(false);
        d->SetState_Orientation(o);
        d->SetState_IsMirrored(true);
        EXPECT_EQ(d->GetState_BoundingRectangle(), bounds()) << "orientation " << o;
    }
    // Back to the start: every primitive is where it was.
    c->SetState_IsMirrored(false);
    c->SetState_Orientation(0);
    c->MoveToXY(0, 0);
    EXPECT_EQ(bounds(), (CoordRect{Mil(-100), Mil(-100), Mil(400), 0}));
    EXPECT_EQ(dynamic_cast<ISch_Pin*>(Collect(c, {ePin}, 0)[0])->GetState_Orientation(), 2);

    // Mirroring at the location flips the flag; turning by RotateBy90 under a mirror turns the
    // orientation the other way, so that the result matches the orientation it reports.
    c->Mirror(c->GetState_Location());
    EXPECT_TRUE(c->GetState_IsMirrored());
    c->RotateBy90(c->GetState_Location(), 1);
    EXPECT_EQ(c->GetState_Orientation(), 3);
    d->SetState_Orientation(0);
    d->SetState_IsMirrored(false);
    d->MoveToXY(0, 0);
    d->SetState_Orientation(3);
    d->SetState_IsMirrored(true);
    EXPECT_EQ(d->GetState_BoundingRectangle(), bounds());
    server()->DestroySchObject(c);
    server()->DestroySchObject(d);
}

TEST_F(HostFixture, PrimitivesTurnAndMirror) {
    auto* rect = Make<ISch_Rectangle>(app, eRectangle);
    rect->SetState_Location({0, 0});
    rect->SetState_Corner({Mil(200), Mil(100)});
    rect->RotateBy90({0, 0}, 1);
    EXPECT_EQ(rect->GetState_Location(), (Coord{Mil(-100), 0}));  // corners stay lower left, upper right
    EXPECT_EQ(rect->GetState_Corner(), (Coord{0, Mil(200)}));

    auto* arc = Make<ISch_Arc>(app, eArc);
    arc->SetState_Location({Mil(100), 0});
    arc->SetState_StartAngle(10);
    arc->SetState_EndAngle(80);
    arc->Mirror({0, 0});
    EXPECT_EQ(arc->GetState_Location(), (Coord{Mil(-100), 0}));
    EXPECT_DOUBLE_EQ(arc->GetState_StartAngle(), 100);
    EXPECT_DOUBLE_EQ(arc->GetState_EndAngle(), 170);
    arc->SetState_Radius(Mil(10));
    arc->SetState_StartAngle(0);
    arc->SetState_EndAngle(90);
    EXPECT_EQ(arc->GetState_BoundingRectangle(), (CoordRect{Mil(-100), 0, Mil(-90), Mil(10)}));

    auto* port = Make<ISch_Port>(app, ePort);
    port->SetState_Location({Mil(100), 0});
    port->SetState_Width(Mil(500));
    port->SetState_Style(2);  // right
    port->Mirror({0, 0});
    EXPECT_EQ(port->GetState_Location(), (Coord{Mil(-600), 0}));
    EXPECT_EQ(port->GetState_Style(), 1);
    port->SetState_Location({0, 0});
    port->RotateBy90({0, 0}, 1);
    EXPECT_EQ(port->GetState_Style(), 6);  // pointing left turns to pointing down
    EXPECT_EQ(port->GetState_BoundingRectangle().Y2, Mil(500));

    auto* wire = Make<ISch_Wire>(app, eWire);
    wire->SetState_VertexCount(2);
    wire->SetState_Vertex(1, {0, 0});
    wire->SetState_Vertex(2, {Mil(100), 0});
    wire->InsertVertex(2, {Mil(50), 0});
    EXPECT_EQ(wire->GetState_VertexCount(), 3);
    EXPECT_EQ(wire->GetState_Vertex(2), (Coord{Mil(50), 0}));
    EXPECT_THROW(wire->GetState_Vertex(4), EApiErr);
    wire->MoveToXY(Mil(10), Mil(10));
    EXPECT_EQ(wire->GetState_Vertex(3), (Coord{Mil(110), Mil(10)}));

    auto* symbol = Make<ISch_SheetSymbol>(app, eSheetSymbol);
    symbol->SetState_Location({Mil(1000), Mil(1000)});
    symbol->SetState_XSize(Mil(400));
    symbol->SetState_YSize(Mil(300));
    auto* entry = Make<ISch_SheetEntry>(app, eSheetEntry);
    entry->SetState_Side(1);
    entry->SetState_DistanceFromTop(Mil(100));
    symbol->AddSchObject(entry);
    EXPECT_EQ(entry->GetState_Location(), (Coord{Mil(1400), Mil(900)}));
    entry->SetState_Side(3);
    EXPECT_EQ(entry->GetState_Location(), (Coord{Mil(1100), Mil(700)}));
    symbol->MoveByXY(Mil(100), 0);
    EXPECT_EQ(entry->GetState_Location(), (Coord{Mil(1200), Mil(700)}));
    entry->SetState_Side(0);
    symbol->Mirror(symbol->GetState_Location());  // spans x - XSize .. x, entry on the other side
    EXPECT_EQ(symbol->GetState_Location(), (Coord{Mil(700), Mil(1000)}));
    EXPECT_EQ(entry->GetState_Side(), 1);
    for (ISch_BasicContainer* o : std::initializer_list<ISch_BasicContainer*>{rect, arc, port, wire, symbol})
        server()->DestroySchObject(o);
}

TEST_F(HostFixture, IteratorsGiveChildrenOrAllLevelsWithFilters) {
    auto dir = orcadx::test::ScratchDir("host_iterators");
    ISch_Sheet* sheet = orcadx::test::BuildSampleSheet(app, dir / "Iter.SchDoc");
    // Mode 0: direct children only, each once; mode 2 also the pins and parameters of components.
    EXPECT_TRUE(Collect(sheet, {ePin}, eIterateFirstLevel).empty());
    EXPECT_EQ(Collect(sheet, {ePin}, eIterateAllLevels).size(), 2u);
    EXPECT_EQ(Collect(sheet, {eSchComponent}, 0).size(), 1u);
    EXPECT_EQ(Collect(sheet, {eWire, eBus}, 0).size(), 4u);
    auto all = Collect(sheet, {}, 2);
    EXPECT_EQ(std::set<ISch_BasicContainer*>(all.begin(), all.end()).size(), all.size());

    // A point filter finds what touches the point.
    auto it = sheet->SchIterator_Create({eJunction}, 0);
    it->AddFilter_Area(Mil(2800), Mil(2450), Mil(2800), Mil(2450));
    ASSERT_NE(it->FirstSchObject(), nullptr);
    EXPECT_EQ(it->NextSchObject(), nullptr);

    // On a sheet a component shows the pins of its current part; a part filter does the same
    // anywhere.
    auto* component = dynamic_cast<ISch_Component*>(Collect(sheet, {eSchComponent}, 0)[0]);
    auto* partTwoPin = Make<ISch_Pin>(app, ePin);
    partTwoPin->SetState_OwnerPartId(2);
    component->AddSchObject(partTwoPin);
    EXPECT_EQ(Collect(sheet, {ePin}, 2).size(), 2u);
    component->SetState_CurrentPartId(2);
    EXPECT_EQ(Collect(sheet, {ePin}, 2).size(), 1u);
    component->SetState_CurrentPartId(1);
    auto filtered = component->SchIterator_Create({ePin}, 0);
    filtered->AddFilter_PartPrimitives(2, 0);
    EXPECT_EQ(filtered->FirstSchObject(), partTwoPin);
    EXPECT_EQ(filtered->NextSchObject(), nullptr);

    // A library gives its components for kind 26 and its current component's primitives otherwise.
    ISch_Lib* lib = orcadx::test::BuildSampleLibrary(app, dir / "Iter.SchLib");
    EXPECT_EQ(Collect(lib, {eSchComponent}, 0).size(), 2u);
    ISch_Component* cap = lib->GetState_SchComponentByLibRef("cap/x");
    ASSERT_NE(cap, nullptr);
    lib->SetState_CurrentSchComponent(cap);
    auto pins = Collect(lib, {ePin}, 0);
    ASSERT_EQ(pins.size(), 2u);
    EXPECT_EQ(pins[0]->GetState_Container(), cap);
    EXPECT_EQ(Collect(lib, {ePin}, 2).size(), 4u);
}

TEST_F(HostFixture, FontsAndSheetStyles) {
    ISch_FontManager* fonts = server()->GetFontManager();
    int32_t a = fonts->GetFontID(10, 0, false, false, false, false, "Arial");
    int32_t b = fonts->GetFontID(10, 0, false, false, true, false, "Arial");
    EXPECT_NE(a, b);
    EXPECT_EQ(fonts->GetFontID(10, 0, false, false, false, false, "Arial"), a);
    EXPECT_GE(a, 1);
    EXPECT_LT(b, fonts->GetFontCount());
    FontDescription font;
    ASSERT_TRUE(fonts->GetFontDescription(b, font));
    EXPECT_TRUE(font.Bold);
    EXPECT_EQ(font.FontName, "Arial");
    EXPECT_FALSE(fonts->GetFontDescription(fonts->GetFontCount(), font));
    // The default font of new objects is id 1: size 10, Times New Roman.
    ASSERT_TRUE(fonts->GetFontDescription(1, font));
    EXPECT_EQ(font, FontDescription{});
    int32_t w1 = 0, w2 = 0, h = 0;
    ASSERT_TRUE(fonts->MeasureText(a, "ABCD", w1, h));
    ASSERT_TRUE(fonts->MeasureText(a, "ABCDABCD", w2, h));
    EXPECT_GT(w1, 0);
    EXPECT_EQ(w2, 2 * w1);
    EXPECT_EQ(h, 30);  // three pixels to the point

    ISch_Preferences* prefs = server()->GetPreferences();
    ASSERT_EQ(prefs->GetState_SheetStyleCount(), 18);
    std::set<std::string> names;
    int matches = 0;
    for (int s = 0; s < 18; ++s) {
        names.insert(prefs->GetState_SheetStyleName(s));
        EXPECT_GT(prefs->GetState_SheetStyle_XSize(s), prefs->GetState_SheetStyle_MarginWidth(s) * 2);
        // A Capture page of 9700 by 7200 mils, margin 100, zones 5 by 4 finds exactly one style.
        if (prefs->GetState_SheetStyle_XSize(s) == Mil(9700) && prefs->GetState_SheetStyle_YSize(s) == Mil(7200) &&
            prefs->GetState_SheetStyle_XZones(s) == 5 && prefs->GetState_SheetStyle_YZones(s) == 4 &&
            prefs->GetState_SheetStyle_MarginWidth(s) == Mil(100))
            ++matches;
    }
    EXPECT_EQ(names.size(), 18u);
    EXPECT_EQ(matches, 1);
    EXPECT_THROW(prefs->GetState_SheetStyle_XSize(18), EApiErr);
    prefs->SetState_BooleanPreference("AutoJunctions", false);
    EXPECT_FALSE(prefs->GetState_BooleanPreference("AutoJunctions"));
}

TEST_F(HostFixture, ConnectionsCountWireEndsAndNetsTakeTheirNames) {
    auto dir = orcadx::test::ScratchDir("host_connections");
    ISch_Sheet* sheet = orcadx::test::BuildSampleSheet(app, dir / "Conn.SchDoc");
    std::map<std::pair<int32_t, int32_t>, int32_t> wires;
    auto array = sheet->GetState_WireConnections();
    for (int32_t i = 0; i < array->GetState_ConnectionsCount(); ++i) {
        Coord c = array->GetState_ConnectionLocation(i);
        wires[{c.X / 10000, c.Y / 10000}] = array->GetState_ConnectionObjectsCount(i);
    }
    EXPECT_EQ((wires[{2800, 2450}]), 3);  // a T: a wire through the point and one ending there
    EXPECT_EQ((wires[{3200, 2450}]), 2);  // a bend
    EXPECT_EQ((wires[{1900, 2450}]), 2);  // pin end and wire end
    EXPECT_EQ((wires[{1200, 2450}]), 3);  // wire end, off-sheet connector, end of the port
    EXPECT_EQ(wires.count({5000, 2000}), 0u);  // the bus entry meets the bus, not a wire
    auto buses = sheet->GetState_BusConnections();
    ASSERT_EQ(buses->GetState_ConnectionsCount(), 1);
    EXPECT_EQ(buses->GetState_ConnectionLocation(0), (Coord{Mil(5000), Mil(2000)}));
    EXPECT_EQ(buses->GetState_ConnectionObjectsCount(0), 3);
    EXPECT_THROW(buses->GetState_ConnectionLocation(1), EApiErr);

    // Two wires that cross without a vertex don't meet.
    auto* cross = Make<ISch_Wire>(app, eWire);
    cross->SetState_VertexCount(2);
    cross->SetState_Vertex(1, {Mil(2600), Mil(2300)});
    cross->SetState_Vertex(2, {Mil(3000), Mil(2300)});
    sheet->AddSchObject(cross);
    for (const auto& c : orcadx::host::impl::ConnectionPoints(*impl::CoreOf(sheet), false))
        EXPECT_FALSE(c.Location == (Coord{Mil(2800), Mil(2300)}));

    // Nets: the net label names the left wire (with the off-sheet connector and the port on it); the
    // two wires that meet in the T carry both power objects and take the name of the first.
    auto nets = orcadx::host::impl::CompileNets(*impl::CoreOf(sheet));
    std::map<std::string, size_t> wiresOf;
    for (const auto& n : nets) wiresOf[n.Name] = n.WireIds.size();
    EXPECT_EQ(wiresOf["SIGNAL"], 1u);
    EXPECT_EQ(wiresOf["VCC"], 2u);
    EXPECT_EQ(wiresOf["D[0..7]"], 1u);
    EXPECT_TRUE(wiresOf.count("N1"));  // the crossing wire touches nothing
    EXPECT_EQ(nets.size(), 4u);
}
