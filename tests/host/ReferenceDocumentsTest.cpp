// The checked-in reference documents (tests/data/host), written by hand from docs/host-format.md:
// a sheet with every object kind and a library with components of two parts. Every property holds
// a value of its own, mostly not the default, so that a property read from or written to the wrong
// key shows. Loading gives those values through the typed interfaces; saving gives the same bytes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include <nlohmann/json.hpp>

#include "HostTestUtil.h"
#include "TestSupport.h"
#include "host/ClientServices.h"
#include "host/SchObjects.h"

using namespace orcadx::host;
using orcadx::test::Mil;
using orcadx::test::ReadFile;
using Json = nlohmann::json;
namespace fs = std::filesystem;

namespace {

fs::path Reference(const std::string& name) { return fs::path(ORCADX_SOURCE_DIR) / "tests" / "data" / "host" / name; }

Json Pt(Coord c) { return Json::array({c.X, c.Y}); }

Json FontOf(ISch_FontManager* fonts, int32_t id) {
    FontDescription f;
    if (!fonts->GetFontDescription(id, f)) return "no font " + std::to_string(id);
    return Json{{"bold", f.Bold},           {"italic", f.Italic},         {"name", f.FontName}, {"rotation", f.Rotation},
                {"size", f.Size},           {"strikeout", f.Strikeout}, {"underline", f.Underline}};
}

// What an object shows through the typed accessors of the interfaces it supports, under the names
// of the accessors; fonts as their descriptions. Written against the interfaces, not the file.
Json View(ISch_BasicContainer* o, ISch_FontManager* fonts) {
    Json v;
    v["Text"] = o->GetState_Text();
    v["UniqueId"] = o->GetState_UniqueId();
    auto font = [&](int32_t id) { return FontOf(fonts, id); };
    if (auto* x = dynamic_cast<ISch_GraphicalObject*>(o)) {
        // Sheet entries and bundle edges have no location of their own (checked on their own).
        if (!dynamic_cast<ISch_SheetEntry*>(o) && !dynamic_cast<ISch_BundleEdge*>(o))
            v["Location"] = Pt(x->GetState_Location());
        v["Color"] = x->GetState_Color();
        v["AreaColor"] = x->GetState_AreaColor();
        v["OwnerPartId"] = x->GetState_OwnerPartId();
        v["OwnerPartDisplayMode"] = x->GetState_OwnerPartDisplayMode();
        v["Enabled"] = x->GetState_Enabled();
    }
    if (auto* x = dynamic_cast<ISch_Line*>(o)) {
        v["Corner"] = Pt(x->GetState_Corner());
        v["LineWidth"] = x->GetState_LineWidth();
        v["LineStyle"] = x->GetState_LineStyle();
    }
    if (auto* x = dynamic_cast<ISch_BusEntry*>(o)) {
        v["Corner"] = Pt(x->GetState_Corner());
        v["LineWidth"] = x->GetState_LineWidth();
    }
    if (auto* x = dynamic_cast<ISch_Rectangle*>(o)) {
        v["Corner"] = Pt(x->GetState_Corner());
        v["LineWidth"] = x->GetState_LineWidth();
        v["IsSolid"] = x->GetState_IsSolid();
        v["Transparent"] = x->GetState_Transparent();
    }
    if (auto* x = dynamic_cast<ISch_RoundRectangle*>(o)) {
        v["CornerXRadius"] = x->GetState_CornerXRadius();
        v["CornerYRadius"] = x->GetState_CornerYRadius();
    }
    if (auto* x = dynamic_cast<ISch_Image*>(o)) {
        v["FileName"] = x->GetState_FileName();
        v["EmbedImage"] = x->GetState_EmbedImage();
        v["KeepAspect"] = x->GetState_KeepAspect();
    }
    if (auto* x = dynamic_cast<ISch_TextFrame*>(o)) {
        v["FontId"] = font(x->GetState_FontId());
        v["TextColor"] = x->GetState_TextColor();
        v["Alignment"] = x->GetState_Alignment();
        v["WordWrap"] = x->GetState_WordWrap();
        v["ShowBorder"] = x->GetState_ShowBorder();
    }
    if (auto* x = dynamic_cast<ISch_Ellipse*>(o)) {
        v["Radius"] = x->GetState_Radius();
        v["SecondaryRadius"] = x->GetState_SecondaryRadius();
        v["LineWidth"] = x->GetState_LineWidth();
        v["IsSolid"] = x->GetState_IsSolid();
        v["Transparent"] = x->GetState_Transparent();
    }
    if (auto* x = dynamic_cast<ISch_Arc*>(o)) {
        v["Radius"] = x->GetState_Radius();
        v["StartAngle"] = x->GetState_StartAngle();
        v["EndAngle"] = x->GetState_EndAngle();
        v["LineWidth"] = x->GetState_LineWidth();
    }
    if (auto* x = dynamic_cast<ISch_EllipticalArc*>(o)) v["SecondaryRadius"] = x->GetState_SecondaryRadius();
    if (auto* x = dynamic_cast<ISch_Pie*>(o)) v["IsSolid"] = x->GetState_IsSolid();
    if (auto* x = dynamic_cast<ISch_Polygon*>(o)) {
        v["LineWidth"] = x->GetState_LineWidth();
        v["IsSolid"] = x->GetState_IsSolid();
        v["Transparent"] = x->GetState_Transparent();
        Json vertices = Json::array();
        for (int32_t i = 1; i <= x->GetState_VertexCount(); ++i) vertices.push_back(Pt(x->GetState_Vertex(i)));
        v["Vertices"] = vertices;
    }
    if (auto* x = dynamic_cast<ISch_Polyline*>(o)) v["LineStyle"] = x->GetState_LineStyle();
    if (auto* x = dynamic_cast<ISch_Label*>(o)) {
        v["FontId"] = font(x->GetState_FontId());
        v["Orientation"] = x->GetState_Orientation();
        v["Justification"] = x->GetState_Justification();
        v["IsMirrored"] = x->GetState_IsMirrored();
    }
    if (auto* x = dynamic_cast<ISch_ComplexText*>(o)) {
        v["IsHidden"] = x->GetState_IsHidden();
        v["Autoposition"] = x->GetState_Autoposition();
    }
    if (auto* x = dynamic_cast<ISch_Parameter*>(o)) {
        v["Name"] = x->GetState_Name();
        v["ShowName"] = x->GetState_ShowName();
        v["Description"] = x->GetState_Description();
    }
    if (auto* x = dynamic_cast<ISch_Junction*>(o)) {
        v["Locked"] = x->GetState_Locked();
        v["Size"] = x->GetState_Size();
    }
    if (auto* x = dynamic_cast<ISch_NoERC*>(o)) {
        v["Symbol"] = x->GetState_Symbol();
        v["Orientation"] = x->GetState_Orientation();
    }
    if (auto* x = dynamic_cast<ISch_Symbol*>(o)) {
        v["Symbol"] = x->GetState_Symbol();
        v["Orientation"] = x->GetState_Orientation();
        v["IsMirrored"] = x->GetState_IsMirrored();
        v["LineWidth"] = x->GetState_LineWidth();
        v["ScaleFactor"] = x->GetState_ScaleFactor();
    }
    if (auto* x = dynamic_cast<ISch_Pin*>(o)) {
        v["Name"] = x->GetState_Name();
        v["Designator"] = x->GetState_Designator();
        v["Orientation"] = x->GetState_Orientation();
        v["Electrical"] = x->GetState_Electrical();
        v["PinLength"] = x->GetState_PinLength();
        v["IsHidden"] = x->GetState_IsHidden();
        v["ShowName"] = x->GetState_ShowName();
        v["ShowDesignator"] = x->GetState_ShowDesignator();
        v["HiddenNetName"] = x->GetState_HiddenNetName();
        v["Description"] = x->GetState_Description();
        v["InnerEdge"] = x->GetState_InnerEdge();
        v["OuterEdge"] = x->GetState_OuterEdge();
        for (int32_t style : {0, 1}) {
            std::string prefix = style == 0 ? "NameStyle" : "DesignatorStyle";
            v[prefix + "Enabled"] = x->GetState_CustomStyleEnabled(style);
            v[prefix + "FontId"] = font(x->GetState_CustomStyleFontId(style));
            v[prefix + "PositionMode"] = x->GetState_CustomStylePositionMode(style);
            v[prefix + "Color"] = x->GetState_CustomStyleColor(style);
        }
    }
    if (auto* x = dynamic_cast<ISch_Port*>(o)) {
        v["Name"] = x->GetState_Name();
        v["Style"] = x->GetState_Style();
        v["IOType"] = x->GetState_IOType();
        v["Alignment"] = x->GetState_Alignment();
        v["Width"] = x->GetState_Width();
        v["Height"] = x->GetState_Height();
        v["FontId"] = font(x->GetState_FontId());
        v["TextColor"] = x->GetState_TextColor();
    }
    if (auto* x = dynamic_cast<ISch_PowerObject*>(o)) {
        v["Style"] = x->GetState_Style();
        v["Orientation"] = x->GetState_Orientation();
        v["ShowNetName"] = x->GetState_ShowNetName();
        v["FontId"] = font(x->GetState_FontId());
    }
    if (auto* x = dynamic_cast<ISch_SheetSymbol*>(o)) {
        v["XSize"] = x->GetState_XSize();
        v["YSize"] = x->GetState_YSize();
        v["LineWidth"] = x->GetState_LineWidth();
        v["IsSolid"] = x->GetState_IsSolid();
    }
    if (auto* x = dynamic_cast<ISch_SheetEntry*>(o)) {
        v["Name"] = x->GetState_Name();
        v["Side"] = x->GetState_Side();
        v["DistanceFromTop"] = x->GetState_DistanceFromTop();
        v["IOType"] = x->GetState_IOType();
        v["Style"] = x->GetState_Style();
        v["TextColor"] = x->GetState_TextColor();
        v["FontId"] = font(x->GetState_FontId());
    }
    if (auto* x = dynamic_cast<ISch_BundleEdge*>(o)) {
        v["Name"] = x->GetState_Name();
        v["Side"] = x->GetState_Side();
        v["DistanceFromTop"] = x->GetState_DistanceFromTop();
    }
    if (auto* x = dynamic_cast<ISch_BundleBlock*>(o)) {
        v["Name"] = x->GetState_Name();
        v["XSize"] = x->GetState_XSize();
        v["YSize"] = x->GetState_YSize();
        v["LineWidth"] = x->GetState_LineWidth();
        v["PrimaryPosition"] = x->GetState_PrimaryPosition();
    }
    if (auto* x = dynamic_cast<ISch_Implementation*>(o)) {
        v["ModelName"] = x->GetState_ModelName();
        v["ModelType"] = x->GetState_ModelType();
        v["Description"] = x->GetState_Description();
        v["IsCurrent"] = x->GetState_IsCurrent();
        v["MapAsString"] = x->GetState_MapAsString();
        v["BuiltInSwitchA"] = x->GetState_BuiltInSwitchA();
        v["BuiltInSwitchB"] = x->GetState_BuiltInSwitchB();
        Json links = Json::array();
        for (int32_t i = 0; i < x->GetState_DataFileLinkCount(); ++i)
            links.push_back({{"Entity", x->GetState_DataFileLinkEntity(i)},
                             {"Location", x->GetState_DataFileLinkLocation(i)},
                             {"Kind", x->GetState_DataFileLinkKind(i)}});
        v["DataFileLinks"] = links;
    }
    if (auto* x = dynamic_cast<ISch_Component*>(o)) {
        v["LibReference"] = x->GetState_LibReference();
        v["DesignItemId"] = x->GetState_DesignItemId();
        v["SourceLibraryName"] = x->GetState_SourceLibraryName();
        v["ComponentDescription"] = x->GetState_ComponentDescription();
        v["PartCount"] = x->GetState_PartCount();
        v["CurrentPartId"] = x->GetState_CurrentPartId();
        v["DisplayMode"] = x->GetState_DisplayMode();
        v["DisplayModeCount"] = x->GetState_DisplayModeCount();
        v["IsMirrored"] = x->GetState_IsMirrored();
        v["Orientation"] = x->GetState_Orientation();
        v["ComponentKind"] = x->GetState_ComponentKind();
        v["HighFlag"] = x->GetState_HighFlag();
        v["IsPlaced"] = x->GetState_IsPlaced();
        Json aliases = Json::array();
        for (int32_t i = 0; i < x->GetState_AliasCount(); ++i) aliases.push_back(x->GetState_Alias(i));
        v["Aliases"] = aliases;
    }
    if (auto* x = dynamic_cast<ISch_Document*>(o)) {
        v["UseCustomSheet"] = x->GetState_UseCustomSheet();
        v["CustomX"] = x->GetState_CustomX();
        v["CustomY"] = x->GetState_CustomY();
        v["CustomMargin"] = x->GetState_CustomMargin();
        v["CustomZonesX"] = x->GetState_CustomZonesX();
        v["CustomZonesY"] = x->GetState_CustomZonesY();
        v["SheetStyle"] = x->GetState_SheetStyle();
        v["DisplayUnit"] = x->GetState_DisplayUnit();
        v["SnapGridSize"] = x->GetState_SnapGridSize();
        v["VisibleGridSize"] = x->GetState_VisibleGridSize();
        v["ShowTemplateGraphics"] = x->GetState_ShowTemplateGraphics();
        v["TemplateFileName"] = x->GetState_TemplateFileName();
        v["Enabled"] = x->GetState_Enabled();
    }
    return v;
}

// Compares every loaded object with its entry in the file: kind, children in order, and each
// property through the interfaces (font indexes of the file as the fonts they name). Counts the
// objects of each kind.
void CompareWithFile(ISch_BasicContainer* o, const Json& file, const Json& fonts, ISch_FontManager* fontManager,
                     std::map<int, int>& kinds, const std::string& where) {
    SCOPED_TRACE(where);
    ASSERT_EQ(o->GetState_ObjectId(), file["kind"].get<int>());
    ++kinds[file["kind"].get<int>()];
    Json expected = file["props"];
    for (auto& [key, value] : expected.items())
        if (key.size() >= 6 && key.compare(key.size() - 6, 6, "FontId") == 0) value = fonts.at(value.get<size_t>() - 1);
    expected.erase("ImageData");  // checked as the embedded size
    EXPECT_EQ(View(o, fontManager), expected);

    impl::ObjectCore* core = impl::CoreOf(o);
    ASSERT_NE(core, nullptr);
    const Json children = file.value("children", Json::array());
    ASSERT_EQ(core->Children().size(), children.size());
    for (size_t i = 0; i < children.size(); ++i) {
        ISch_BasicContainer* child = core->Children()[i]->Iface();
        EXPECT_EQ(child->GetState_Container(), o);
        CompareWithFile(child, children[i], fonts, fontManager, kinds,
                        where + "/" + children[i]["props"].value("UniqueId", "?"));
    }
}

struct Loaded {
    ISch_Document* document = nullptr;
    IServerDocument* server = nullptr;
};

Loaded Open(HostApplication& app, const fs::path& path) {
    Loaded l;
    l.server = app.OpenDocumentFile(path.string());
    if (l.server) l.document = app.SchDocumentOf(l.server);
    return l;
}

template <class T>
T* FindById(ISch_BasicContainer* root, const std::string& uniqueId) {
    auto it = root->SchIterator_Create({}, eIterateAllLevels);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject())
        if (o->GetState_UniqueId() == uniqueId) return dynamic_cast<T*>(o);
    impl::ObjectCore* core = impl::CoreOf(root);
    for (impl::ObjectCore* c : core->Children())  // a library iterates the current component only
        if (T* found = FindById<T>(c->Iface(), uniqueId)) return found;
    return nullptr;
}

}  // namespace

TEST(HostReferenceDocuments, SheetLoadsToItsValuesAndSavesToItsBytes) {
    const std::string original = ReadFile(Reference("Reference.SchDoc"));
    const Json file = Json::parse(original);
    auto dir = orcadx::test::ScratchDir("host_reference_sheet");
    // A session that knows other fonts first, so that the file's indexes and the session's ids
    // differ.
    HostApplication app(orcadx::test::Options(31));
    ISch_FontManager* fonts = app.StartSchServer()->GetFontManager();
    fonts->GetFontID(20, 45, false, false, false, false, "Wingdings");
    fonts->GetFontID(9, 180, false, false, false, false, "Consolas");  // the file's fourth font

    fs::copy_file(Reference("Reference.SchDoc"), dir / "Reference.SchDoc", fs::copy_options::overwrite_existing);
    Loaded sheet = Open(app, dir / "Reference.SchDoc");
    ASSERT_NE(sheet.document, nullptr) << (app.ErrorBoxLog().empty() ? "" : app.ErrorBoxLog().back());
    std::map<int, int> kinds;
    CompareWithFile(sheet.document, file["document"], file["fonts"], fonts, kinds, "sheet");
    for (int kind : {4, 5, 7, 8, 9, 10, 11, 12, 13, 15, 16, 17, 18, 19, 20, 21, 22, 24, 26, 27, 28, 31, 32, 34, 35,
                     36, 37, 38, 39, 40, 41, 46, 48, 53, 54})
        EXPECT_GT(kinds[kind], 0) << "no object of kind " << kind;

    // What follows from the properties: the fonts, the sheet in effect, the entries' places on their
    // symbol, the comment's text, the image's bytes.
    ISch_Document* doc = sheet.document;
    EXPECT_EQ(doc->GetState_SheetSizeX(), Mil(11000));
    EXPECT_EQ(doc->GetState_SheetSizeY(), Mil(8500));
    EXPECT_EQ(doc->GetState_SheetMargin(), Mil(200));
    auto* label = FindById<ISch_Label>(doc, "LABL0001");
    ASSERT_NE(label, nullptr);
    FontDescription font;
    ASSERT_TRUE(fonts->GetFontDescription(label->GetState_FontId(), font));
    EXPECT_EQ(font, (FontDescription{8, 0, false, true, false, true, "Courier New"}));
    auto* frame = FindById<ISch_TextFrame>(doc, "TXFR0001");
    ASSERT_NE(frame, nullptr);
    ASSERT_TRUE(fonts->GetFontDescription(frame->GetState_FontId(), font));
    EXPECT_EQ(font, (FontDescription{12, 90, true, false, true, false, "Arial"}));
    auto* netLabel = FindById<ISch_NetLabel>(doc, "NETL0001");
    ASSERT_NE(netLabel, nullptr);
    ASSERT_TRUE(fonts->GetFontDescription(netLabel->GetState_FontId(), font));
    EXPECT_EQ(font, (FontDescription{16, 270, true, true, true, true, "Times New Roman"}));
    EXPECT_EQ(netLabel->GetState_FontId(), fonts->GetFontID(16, 270, true, true, true, true, "Times New Roman"));
    // The fourth font was known before: the file's index 4 maps to that id.
    auto* port = FindById<ISch_Port>(doc, "PORT0001");
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->GetState_FontId(), fonts->GetFontID(9, 180, false, false, false, false, "Consolas"));

    auto* symbol = FindById<ISch_SheetSymbol>(doc, "SSYM0001");
    ASSERT_NE(symbol, nullptr);
    EXPECT_EQ(symbol->GetState_SheetName()->GetState_Text(), "U_Power");
    EXPECT_EQ(symbol->GetState_SheetFileName()->GetState_Text(), "Power.SchDoc");
    // Right side, 150 mils below the top; bottom side, 300 mils from the left.
    EXPECT_EQ(FindById<ISch_SheetEntry>(doc, "SENT0001")->GetState_Location(), (Coord{Mil(2800), Mil(2450)}));
    EXPECT_EQ(FindById<ISch_SheetEntry>(doc, "SENT0002")->GetState_Location(), (Coord{Mil(2300), Mil(2100)}));
    // Top side of the bundle block, 70 mils from its left.
    EXPECT_EQ(FindById<ISch_BundleEdge>(doc, "BEDG0001")->GetState_Location(), (Coord{Mil(3570), Mil(2600)}));

    auto* component = FindById<ISch_Component>(doc, "COMP0001");
    ASSERT_NE(component, nullptr);
    EXPECT_EQ(component->GetState_SchDesignator()->GetState_UniqueId(), "DSGN0001");
    EXPECT_EQ(component->GetState_SchComment()->GetState_UniqueId(), "CMNT0001");
    EXPECT_EQ(component->GetState_SchComment()->GetState_DisplayString(), "LM358");
    auto* image = FindById<ISch_Image>(doc, "IMAG0001");
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->GetState_EmbeddedSize(), 75);
    auto* wire = FindById<ISch_Wire>(doc, "WIRE0001");
    ASSERT_NE(wire, nullptr);
    EXPECT_EQ(wire->GetState_Location(), (Coord{Mil(500), Mil(1000)}));

    // Saved under another name: the same bytes, although the session's font ids differ.
    sheet.server->SetFileName((dir / "Saved.SchDoc").string());
    ASSERT_TRUE(sheet.server->DoFileSave("Binary"));
    EXPECT_EQ(ReadFile(dir / "Saved.SchDoc"), original);
    // And once more in a session that starts from nothing.
    HostApplication fresh(orcadx::test::Options(32));
    fresh.StartSchServer();
    Loaded again = Open(fresh, dir / "Saved.SchDoc");
    ASSERT_NE(again.document, nullptr);
    again.server->SetFileName((dir / "Again.SchDoc").string());
    ASSERT_TRUE(again.server->DoFileSave("Binary"));
    EXPECT_EQ(ReadFile(dir / "Again.SchDoc"), original);
}

TEST(HostReferenceDocuments, LibraryLoadsToItsValuesAndSavesToItsBytes) {
    const std::string original = ReadFile(Reference("Reference.SchLib"));
    const Json file = Json::parse(original);
    auto dir = orcadx::test::ScratchDir("host_reference_library");
    HostApplication app(orcadx::test::Options(33));
    ISch_FontManager* fonts = app.StartSchServer()->GetFontManager();
    fonts->GetFontID(11, 0, false, false, false, false, "Segoe UI");
    fs::copy_file(Reference("Reference.SchLib"), dir / "Reference.SchLib", fs::copy_options::overwrite_existing);
    Loaded library = Open(app, dir / "Reference.SchLib");
    auto* lib = dynamic_cast<ISch_Lib*>(library.document);
    ASSERT_NE(lib, nullptr) << (app.ErrorBoxLog().empty() ? "" : app.ErrorBoxLog().back());
    std::map<int, int> kinds;
    CompareWithFile(lib, file["document"], file["fonts"], fonts, kinds, "library");
    EXPECT_EQ(kinds[eSchComponent], 2);
    EXPECT_EQ(kinds[ePin], 4);

    EXPECT_EQ(lib->GetState_ComponentCount(), 2);
    ISch_Component* pair = lib->GetState_SchComponentByLibRef("res_2part");
    ASSERT_NE(pair, nullptr);
    EXPECT_EQ(pair->GetState_UniqueId(), "LCMP0001");
    EXPECT_EQ(pair->GetState_AliasCount(), 1);
    EXPECT_EQ(pair->GetState_Alias(0), "R_PAIR");
    // The library iterates the current component's primitives: each part's pins by a part filter.
    lib->SetState_CurrentSchComponent(pair);
    auto it = lib->SchIterator_Create({ePin}, eIterateFirstLevel);
    it->AddFilter_PartPrimitives(2, 0);
    std::vector<std::string> partTwo;
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject()) partTwo.push_back(o->GetState_UniqueId());
    EXPECT_EQ(partTwo, (std::vector<std::string>{"LPIN0003", "LPIN0004"}));
    auto* sim = FindById<ISch_Implementation>(lib, "LIMP0001");
    ASSERT_NE(sim, nullptr);
    ASSERT_EQ(sim->GetState_DataFileLinkCount(), 1);
    EXPECT_EQ(sim->GetState_DataFileLinkLocation(0), "PSpice Models\\RES.mdl");
    FontDescription font;
    auto* label = FindById<ISch_Label>(lib, "LLAB0001");
    ASSERT_NE(label, nullptr);
    ASSERT_TRUE(fonts->GetFontDescription(label->GetState_FontId(), font));
    EXPECT_EQ(font, (FontDescription{7, 90, false, false, false, true, "Arial"}));

    library.server->SetFileName((dir / "Saved.SchLib").string());
    ASSERT_TRUE(library.server->DoFileSave("Binary"));
    EXPECT_EQ(ReadFile(dir / "Saved.SchLib"), original);
}

// Font indexes that name no entry of the file's table, and 0, give the host's default font.
TEST(HostReferenceDocuments, FontIndexOutsideTheTableIsTheDefaultFont) {
    auto dir = orcadx::test::ScratchDir("host_reference_fonts");
    std::ofstream(dir / "Fonts.SchDoc") << R"({"document":{"kind":31,"children":[
        {"kind":22,"props":{"FontId":0,"UniqueId":"A"}},{"kind":22,"props":{"FontId":2,"UniqueId":"B"}},
        {"kind":22,"props":{"FontId":1,"UniqueId":"C"}}]},
        "fonts":[{"bold":true,"italic":false,"name":"Arial","rotation":0,"size":12,"strikeout":false,"underline":false}],
        "format":"VantorSchDoc","version":1})";
    HostApplication app(orcadx::test::Options(34));
    ISch_FontManager* fonts = app.StartSchServer()->GetFontManager();
    Loaded sheet = Open(app, dir / "Fonts.SchDoc");
    ASSERT_NE(sheet.document, nullptr);
    FontDescription font;
    for (const char* id : {"A", "B"}) {
        auto* label = FindById<ISch_Label>(sheet.document, id);
        ASSERT_NE(label, nullptr);
        ASSERT_TRUE(fonts->GetFontDescription(label->GetState_FontId(), font));
        EXPECT_EQ(font, FontDescription{}) << id;
    }
    ASSERT_TRUE(fonts->GetFontDescription(FindById<ISch_Label>(sheet.document, "C")->GetState_FontId(), font));
    EXPECT_EQ(font, (FontDescription{12, 0, false, false, true, false, "Arial"}));
}

// The properties that don't go through a plain accessor land in the file under the keys the format
// names.
TEST(HostReferenceDocuments, SpecialPropertiesAreWrittenUnderTheirKeys) {
    auto dir = orcadx::test::ScratchDir("host_reference_keys");
    HostApplication app(orcadx::test::Options(35));
    app.StartSchServer();
    IServerDocument* server = OpenOrCreateDocument(app, (dir / "Keys.SchDoc").string(), "SCH", "Binary", true);
    ISch_Document* sheet = app.SchDocumentOf(server);
    ASSERT_NE(sheet, nullptr);
    using orcadx::test::Make;
    auto* component = Make<ISch_Component>(app, eSchComponent);
    component->SetState_UniqueId("C1");
    component->AddAlias("FIRST");
    component->AddAlias("SECOND");
    component->Placed();
    ISch_Implementation* model = component->AddImplementation();
    model->AddDataFileLink("Q2N2222", "models/q.lib", "PSpice");
    auto* pin = Make<ISch_Pin>(app, ePin);
    pin->SetState_CustomStyleEnabled(0, true);
    pin->SetState_CustomStylePositionMode(0, 2);
    pin->SetState_CustomStyleColor(1, 0x123456);
    pin->SetState_CustomStyleFontId(1, app.SchServer()->GetFontManager()->GetFontID(7, 90, true, false, false, true, "Arial"));
    component->AddSchObject(pin);
    sheet->AddSchObject(component);
    orcadx::test::WriteTinyPng(dir / "tiny.png");
    auto* image = Make<ISch_Image>(app, eImage);
    image->SetState_FileName((dir / "tiny.png").string());
    image->SetState_EmbedImage(true);
    sheet->AddSchObject(image);
    auto* wire = Make<ISch_Wire>(app, eWire);
    wire->SetState_VertexCount(2);
    wire->SetState_Vertex(1, {Mil(10), Mil(20)});
    wire->SetState_Vertex(2, {Mil(30), Mil(20)});
    sheet->AddSchObject(wire);
    ASSERT_TRUE(server->DoFileSave("Binary"));

    Json file = Json::parse(ReadFile(dir / "Keys.SchDoc"));
    const Json& children = file["document"]["children"];
    ASSERT_EQ(children.size(), 3u);
    const Json& c = children[0]["props"];
    EXPECT_EQ(c["Aliases"], Json({"FIRST", "SECOND"}));
    EXPECT_EQ(c["IsPlaced"], true);
    const Json* links = nullptr;
    const Json* pinProps = nullptr;
    for (const Json& child : children[0]["children"]) {
        if (child["kind"] == eImplementation) links = &child["props"]["DataFileLinks"];
        if (child["kind"] == ePin) pinProps = &child["props"];
    }
    ASSERT_NE(links, nullptr);
    EXPECT_EQ(*links, Json::parse(R"([{"Entity":"Q2N2222","Kind":"PSpice","Location":"models/q.lib"}])"));
    ASSERT_NE(pinProps, nullptr);
    EXPECT_EQ((*pinProps)["NameStyleEnabled"], true);
    EXPECT_EQ((*pinProps)["NameStylePositionMode"], 2);
    EXPECT_EQ((*pinProps)["DesignatorStyleColor"], 0x123456);
    EXPECT_EQ((*pinProps)["DesignatorStyleEnabled"], false);
    // Fonts in the order of first use: the designator's default font, then the pin's number font.
    EXPECT_EQ((*pinProps)["DesignatorStyleFontId"], 2);
    EXPECT_EQ((*pinProps)["NameStyleFontId"], 1);
    EXPECT_EQ(file["fonts"], Json::parse(R"([{"bold":false,"italic":false,"name":"Times New Roman","rotation":0,
                                               "size":10,"strikeout":false,"underline":false},
                                              {"bold":false,"italic":false,"name":"Arial","rotation":90,
                                               "size":7,"strikeout":true,"underline":true}])"));
    EXPECT_EQ(children[1]["props"]["ImageData"].get<std::string>().substr(0, 8), "iVBORw0K");  // base64 of PNG
    EXPECT_EQ(children[2]["props"]["Vertices"], Json::parse("[[100000,200000],[300000,200000]]"));
    EXPECT_EQ(children[2]["props"]["Location"], Json::parse("[100000,200000]"));
}
