#include "export/SCHExport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <unordered_set>

#include <fmt/format.h>

#include "dbo/DboBaseObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "export/SCHLibraryExport.h"
#include "import/Manage_FontTable.h"
#include "platform/IniFile.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"

namespace orcadx::exporter {

using dbo::Exception;
using host::Coord;
using host::CoordRect;

namespace {

constexpr double kDegreesToRadians = 0.017453292519943295;
constexpr double kFullTurn = 6.283185307179586;

// Host colours in ascending order, each with its Capture colour code. Black stands twice; the
// search below always lands on the first row, the default colour.
struct ColorRow {
    int32_t color;
    int code;
};
constexpr std::array<ColorRow, 47> kColorTable{{
    {0x000000, 48}, {0x000000, 40}, {0x000042, 32}, {0x000084, 24}, {0x0000FF, 8},  {0x004100, 34},
    {0x004184, 33}, {0x008200, 26}, {0x008284, 41}, {0x0082FF, 25}, {0x00FF00, 18}, {0x00FF84, 10},
    {0x00FFFF, 9},  {0x420000, 37}, {0x420042, 38}, {0x420084, 22}, {0x424100, 35}, {0x424184, 16},
    {0x428200, 27}, {0x428284, 42}, {0x4282FF, 17}, {0x42FF00, 11}, {0x840000, 36}, {0x840042, 39},
    {0x840084, 30}, {0x8400FF, 23}, {0x844100, 20}, {0x848200, 19}, {0x848242, 44}, {0x848284, 43},
    {0x8482FF, 0},  {0x84FF00, 3},  {0x84FF84, 2},  {0x84FFFF, 1},  {0xA50000, 29}, {0xC68200, 13},
    {0xC68284, 14}, {0xC6C3C6, 45}, {0xFF0000, 28}, {0xFF0084, 31}, {0xFF00FF, 15}, {0xFF8200, 5},
    {0xFF8284, 21}, {0xFF82FF, 7},  {0xFFFF00, 12}, {0xFFFF84, 4},  {0xFFFFFF, 47},
}};

// 32-bit results of arithmetic done wider, wrapping as the host's 32-bit arithmetic does.
int32_t Wrap(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

int32_t Round(double value) { return Wrap(platform::RoundHalfEven(value)); }

// The record a drawing export fills: the library object itself, or the one inside a page
// instance, which afterwards takes over what it repeats.
template <class Lib, class Page>
struct Target {
    std::unique_ptr<dbo::TDboObject> record;
    Lib* lib = nullptr;
    Page* page = nullptr;
};

template <class Lib, class Page>
Target<Lib, Page> TargetOf(std::unique_ptr<dbo::TDboObject> record, const char* message) {
    Target<Lib, Page> t;
    if (auto* lib = dynamic_cast<Lib*>(record.get())) {
        t.lib = lib;
    } else if (auto* page = dynamic_cast<Page*>(record.get())) {
        t.page = page;
        t.lib = page->LibObject.get();
    }
    if (!t.lib) throw Exception(message);
    t.record = std::move(record);
    return t;
}

int16_t Cut16(int32_t value) { return static_cast<int16_t>(value); }

void CopyBounds(dbo::TDboGraphicInstance& page, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    page.BoundingBoxLeft = Cut16(left);
    page.BoundingBoxTop = Cut16(top);
    page.BoundingBoxRight = Cut16(right);
    page.BoundingBoxBottom = Cut16(bottom);
}

// What a page instance repeats of its library object, by kind.
void CopyToPage(dbo::TDboGraphicInstance& page, const dbo::TDboLibCommentText& lib) {
    CopyBounds(page, lib.BoundBoxLeft, lib.BoundBoxTop, lib.BoundBoxRight, lib.BoundBoxBott);
    page.LocationX = Cut16(lib.TxtLocationX);
    page.LocationY = Cut16(lib.TxtLocationY);
    page.SetColor(lib.GetColor());
    page.SetRotation(lib.GetRotation());
}
void CopyToPage(dbo::TDboGraphicInstance& page, const dbo::TDboLibEllipse& lib) {
    CopyBounds(page, lib.BoundBoxLeft, lib.BoundBoxTop, lib.BoundBoxRight, lib.BoundBoxBott);
    page.SetColor(lib.GetColor());
}
void CopyToPage(dbo::TDboGraphicInstance& page, const dbo::TDboLibArc& lib) {
    CopyBounds(page, lib.BoundBoxLeft, lib.BoundBoxTop, lib.BoundBoxRight, lib.BoundBoxBott);
    page.SetColor(lib.GetColor());
}
void CopyToPage(dbo::TDboGraphicInstance& page, const dbo::TDboLibBitmap& lib) {
    CopyBounds(page, lib.BoundBoxLeft, lib.BoundBoxTop, lib.BoundBoxRight, lib.BoundBoxBott);
}
void CopyToPage(dbo::TDboGraphicInstance& page, const dbo::TDboLibObject& lib) { page.SetColor(lib.GetColor()); }

template <class Lib, class Page>
std::unique_ptr<dbo::TDboObject> Finish(Target<Lib, Page>& t) {
    if (t.page) CopyToPage(*t.page, *t.lib);
    return std::move(t.record);
}

bool InSet(const host::ObjectSet& set, int32_t kind) { return std::find(set.begin(), set.end(), kind) != set.end(); }

int FillStyleOf(bool solid) { return solid ? 0 : 1; }

std::string SettingsFile(host::IHostApplication& host) {
    std::string folder = host.GetSettingsFolder();
    if (!folder.empty() && folder.back() != '/' && folder.back() != '\\') folder += '/';
    return folder + "Penwork.Ini";
}

// A boolean of an initialisation file: a number (0 false, else true) or true/false, yes/no, on/off;
// anything else, or nothing, gives the default.
bool ReadIniBool(const std::string& path, const std::string& section, const std::string& key, bool defaultValue) {
    std::string text = platform::IniFile(path).ReadString(section, key, "");
    for (const char* word : {"true", "yes", "on"})
        if (platform::SameTextNoCase(text, word)) return true;
    for (const char* word : {"false", "no", "off"})
        if (platform::SameTextNoCase(text, word)) return false;
    char* end = nullptr;
    long value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || end == text.c_str() || *end != '\0') return defaultValue;
    return value != 0;
}

}  // namespace

const host::ObjectSet& GraphicsKindSet() {
    static const host::ObjectSet kinds{host::eRectangle,    host::eLine,     host::eArc,       host::eEllipticalArc,
                                       host::eRoundRectangle, host::eImage,  host::ePie,       host::eTextFrame,
                                       host::eEllipse,      host::ePolygon,  host::ePolyline,  host::eBezier,
                                       host::eLabel,        host::eSymbol};
    return kinds;
}

const host::ObjectSet& PinKindSet() {
    static const host::ObjectSet kinds{host::ePin};
    return kinds;
}

int ConvertColor(int32_t hostColor) {
    const int last = static_cast<int>(kColorTable.size()) - 1;
    auto pass = [&](int start, int32_t key) {
        int p = start;
        for (int i = start; i < last; ++i)
            if (kColorTable[i].color < key && key <= kColorTable[i + 1].color) p = i + 1;
        return p;
    };
    int p = pass(0, hostColor & 0xFF0000);
    p = pass(p, (hostColor & 0x00FF00) + (kColorTable[p].color & 0xFF0000));
    p = pass(p, (hostColor & 0x0000FF) + (kColorTable[p].color & 0xFFFF00));
    return kColorTable[p].code;
}

int ConvertLineWidth(int32_t hostWidth) {
    if (hostWidth <= 1) return 0;
    return hostWidth == 2 ? 1 : 2;
}

int ConvertLineStyle(int32_t hostStyle) { return hostStyle == 1 || hostStyle == 2 ? hostStyle : 0; }

std::string LegalName(const std::string& text) {
    std::string out = text;
    for (char& c : out)
        if (std::string_view("\"*,./:;<=>?\\|").find(c) != std::string_view::npos) c = '_';
    return out;
}

std::string PartLetter(int index) {
    uint32_t code = 64u + static_cast<uint32_t>(index);
    std::string out;
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
    return out;
}

host::ISch_Parameter* FindParameter(host::ISch_BasicContainer* object, const std::string& name) {
    auto it = object->SchIterator_Create({host::eParameter}, host::eIterateFirstLevel);
    for (auto* child = it->FirstSchObject(); child; child = it->NextSchObject())
        if (auto* parameter = dynamic_cast<host::ISch_Parameter*>(child))
            if (parameter->GetState_Name() == name) return parameter;
    return nullptr;
}

std::unique_ptr<dbo::TDboPin> NewPinFor(dbo::TDboBaseDesign* design, const std::string& name) {
    if (name.find("..") != std::string::npos) return dbo::Make<dbo::TDboPinBus>(design);
    return dbo::Make<dbo::TDboPinScalar>(design);
}

std::string FootprintName(host::ISch_Component* component) {
    std::string current, last;
    bool haveCurrent = false;
    auto it = component->SchIterator_Create({host::eImplementation}, host::eIterateFirstLevel);
    for (auto* object = it->FirstSchObject(); object; object = it->NextSchObject()) {
        auto* model = dynamic_cast<host::ISch_Implementation*>(object);
        if (!model || !platform::SameTextNoCase(model->GetState_ModelType(), "PCBLIB")) continue;
        last = model->GetState_ModelName();
        if (!haveCurrent && model->GetState_IsCurrent()) {
            current = last;
            haveCurrent = true;
        }
    }
    return haveCurrent ? current : last;
}

// ---------------------------------------------------------------------------------------------
// TSCHCommonExporter

TSCHCommonExporter::TSCHCommonExporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                       host::ISch_BasicContainer* container)
    : TSCHExporter(design), Host(host), Container(container) {
    ExportHollowRectangles = ReadIniBool(SettingsFile(host), "OrCAD Translator", "ExportHollowRectangles", true);
}

int32_t TSCHCommonExporter::ConvertX(int32_t value) { return value / kHostUnitsPerCaptureUnit; }
int32_t TSCHCommonExporter::ConvertY(int32_t value) { return -(value / kHostUnitsPerCaptureUnit); }
int32_t TSCHCommonExporter::ConvertSize(int32_t value) { return value / kHostUnitsPerCaptureUnit; }

void TSCHCommonExporter::CollectObjects(std::vector<host::ISch_BasicContainer*>& list, const host::ObjectSet& kinds,
                                        int32_t depth) {
    list.clear();
    if (!Container) return;
    auto it = Container->SchIterator_Create(kinds, depth);
    if (auto* component = dynamic_cast<host::ISch_Component*>(Container))
        it->AddFilter_PartPrimitives(component->GetState_CurrentPartId(), component->GetState_DisplayMode());
    for (auto* object = it->FirstSchObject(); object; object = it->NextSchObject()) {
        int32_t kind = object->GetState_ObjectId();
        if (kind < 80 && InSet(kinds, kind)) list.push_back(object);
    }
    it.reset();
    auto* library = dynamic_cast<host::ISch_Lib*>(Container);
    if (!library) return;
    // A library iterator doesn't know parts: the pins are taken again from the current component,
    // those of its current part and display mode and those common to all parts.
    for (auto*& object : list)
        if (object && object->GetState_ObjectId() == host::ePin) object = nullptr;
    host::ISch_Component* component = library->GetState_CurrentSchComponent();
    if (!component) return;
    int32_t part = component->GetState_CurrentPartId();
    std::unordered_set<host::ISch_BasicContainer*> present(list.begin(), list.end());
    auto pins = component->SchIterator_Create(PinKindSet(), host::eIterateFirstLevel);
    pins->AddFilter_PartPrimitives(part, component->GetState_DisplayMode());
    for (auto* object = pins->FirstSchObject(); object; object = pins->NextSchObject()) {
        auto* pin = dynamic_cast<host::ISch_GraphicalObject*>(object);
        if (!pin || present.count(object)) continue;
        int32_t owner = pin->GetState_OwnerPartId();
        if (owner == part || owner == 0) {
            list.push_back(object);
            present.insert(object);
        }
    }
}

int GraphicTypeCode(int32_t kind, bool library) {
    struct Codes {
        int32_t kind;
        int page, library;
    };
    static constexpr Codes kCodes[] = {
        {host::eRectangle, dbo::kIdBox, dbo::kIdLibBox},
        {host::eRoundRectangle, dbo::kIdBox, dbo::kIdLibBox},
        {host::eLine, dbo::kIdLine, dbo::kIdLibLine},
        {host::eArc, dbo::kIdArc, dbo::kIdLibArc},
        {host::eEllipticalArc, dbo::kIdArc, dbo::kIdLibArc},
        {host::eImage, dbo::kIdBitmap, dbo::kIdLibBitmap},
        {host::ePie, dbo::kIdFilledGraphic, dbo::kIdLibFilledGraphic},
        {host::ePolygon, dbo::kIdFilledGraphic, dbo::kIdLibFilledGraphic},
        {host::eTextFrame, dbo::kIdCommentText, dbo::kIdLibCommentText},
        {host::eLabel, dbo::kIdCommentText, dbo::kIdLibCommentText},
        {host::eEllipse, dbo::kIdEllipse, dbo::kIdLibEllipse},
        {host::ePolyline, dbo::kIdPolyLine, dbo::kIdLibPolyLine},
        {host::eSymbol, dbo::kIdPolyLine, dbo::kIdLibPolyLine},
        {host::eBezier, dbo::kIdBezier, dbo::kIdLibBezier},
    };
    for (const Codes& c : kCodes)
        if (c.kind == kind) return library ? c.library : c.page;
    return -1;
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::CreateDboObject(int32_t kind) {
    int code = GraphicTypeCode(kind, false);
    return code < 0 ? nullptr : dbo::TDboGraphicInstanceList::ConstructObject(Design, code);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportObject(host::ISch_BasicContainer* object) {
    switch (object->GetState_ObjectId()) {
        case host::eLabel: return ExportLabel(object);
        case host::eTextFrame: return ExportTextFrame(object);
        case host::eArc: return ExportArc(object);
        case host::eBezier: return ExportBezier(object);
        case host::eEllipse: return ExportEllipse(object);
        case host::eEllipticalArc: return ExportEllipticalArc(object);
        case host::eImage: return ExportImage(object);
        case host::eLine: return ExportLine(object);
        case host::ePie: return ExportPie(object);
        case host::ePolygon: return ExportPolygon(object);
        case host::ePolyline: return ExportPolyline(object);
        case host::eRectangle: return ExportRectangle(object);
        case host::eRoundRectangle: return ExportRoundRectangle(object);
        default: return nullptr;
    }
}

void TSCHCommonExporter::ExportGraphics(dbo::TDboStorableList& target) {
    std::vector<host::ISch_BasicContainer*> list;
    CollectObjects(list, GraphicsKindSet(), host::eIterateFirstLevel);
    for (auto* object : list) {
        if (!object || object->GetState_ObjectId() == host::eSymbol) continue;
        if (auto record = ExportObject(object)) target.Add(std::move(record));
    }
}

void TSCHCommonExporter::ExportPins(dbo::TDboStorableList& target) {
    std::vector<host::ISch_BasicContainer*> list;
    CollectObjects(list, PinKindSet(), host::eIterateAllLevels);
    for (auto* object : list)
        if (object)
            if (auto pin = ExportPin(object)) target.Add(std::move(pin));
}

// ----- Lines, boxes, polygons -------------------------------------------------------------------

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportLine(host::ISch_BasicContainer* object) {
    auto* line = dynamic_cast<host::ISch_Line*>(object);
    if (!line) return nullptr;
    auto t = TargetOf<dbo::TDboLibLine, dbo::TDboLine>(CreateDboObject(line->GetState_ObjectId()),
                                                        "Object isn't a Line.");
    Coord a = line->GetState_Location(), b = line->GetState_Corner();
    t.lib->StartX = ConvertX(a.X);
    t.lib->StartY = ConvertY(a.Y);
    t.lib->EndX = ConvertX(b.X);
    t.lib->EndY = ConvertY(b.Y);
    t.lib->LineWidth = ConvertLineWidth(line->GetState_LineWidth());
    t.lib->LineStyle = ConvertLineStyle(line->GetState_LineStyle());
    t.lib->SetColor(ConvertColor(line->GetState_Color()));
    return Finish(t);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportBox(host::ISch_Rectangle* rectangle, int32_t kind,
                                                               bool consultOption) {
    auto t = TargetOf<dbo::TDboLibBox, dbo::TDboBox>(CreateDboObject(kind), "Object isn't a Box.");
    Coord a = rectangle->GetState_Location(), b = rectangle->GetState_Corner();
    t.lib->UpperLeftX = ConvertX(a.X);
    t.lib->UpperLeftY = ConvertY(a.Y);
    t.lib->LowerRightX = ConvertX(b.X);
    t.lib->LowerRightY = ConvertY(b.Y);
    t.lib->LineWidth = ConvertLineWidth(rectangle->GetState_LineWidth());
    t.lib->LineStyle = 0;
    bool solid = rectangle->GetState_IsSolid();
    if (consultOption) solid = solid && !ExportHollowRectangles;
    t.lib->FillStyle = FillStyleOf(solid);
    t.lib->SetColor(ConvertColor(rectangle->GetState_AreaColor()));
    return Finish(t);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportRectangle(host::ISch_BasicContainer* object) {
    auto* rectangle = dynamic_cast<host::ISch_Rectangle*>(object);
    return rectangle ? ExportBox(rectangle, rectangle->GetState_ObjectId(), true) : nullptr;
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportRoundRectangle(host::ISch_BasicContainer* object) {
    auto* rectangle = dynamic_cast<host::ISch_RoundRectangle*>(object);
    return rectangle ? ExportBox(rectangle, rectangle->GetState_ObjectId(), false) : nullptr;
}

namespace {

template <class Lib>
void AddVertices(Lib& lib, host::ISch_Polygon* polygon, TSCHCommonExporter& exporter) {
    int32_t count = polygon->GetState_VertexCount();
    for (int32_t i = 1; i <= count; ++i) {
        Coord v = polygon->GetState_Vertex(i);
        lib.Vertices.AddVertex(exporter.ConvertX(v.X), exporter.ConvertY(v.Y));
    }
}

}  // namespace

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportPolygon(host::ISch_BasicContainer* object) {
    auto* polygon = dynamic_cast<host::ISch_Polygon*>(object);
    if (!polygon) return nullptr;
    auto t = TargetOf<dbo::TDboLibFilledGraphic, dbo::TDboFilledGraphic>(
        CreateDboObject(polygon->GetState_ObjectId()), "Object isn't a FilledGraphic.");
    AddVertices(*t.lib, polygon, *this);
    t.lib->LineWidth = ConvertLineWidth(polygon->GetState_LineWidth());
    t.lib->LineStyle = 0;
    t.lib->FillStyle = FillStyleOf(polygon->GetState_IsSolid());
    t.lib->SetColor(ConvertColor(polygon->GetState_AreaColor()));
    return Finish(t);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportPolyline(host::ISch_BasicContainer* object) {
    auto* polyline = dynamic_cast<host::ISch_Polyline*>(object);
    if (!polyline) return nullptr;
    auto t = TargetOf<dbo::TDboLibPolyLine, dbo::TDboPolyLine>(CreateDboObject(polyline->GetState_ObjectId()),
                                                                "Object isn't a Polyline.");
    AddVertices(*t.lib, polyline, *this);
    t.lib->LineWidth = ConvertLineWidth(polyline->GetState_LineWidth());
    t.lib->LineStyle = ConvertLineStyle(polyline->GetState_LineStyle());
    t.lib->SetColor(ConvertColor(polyline->GetState_Color()));
    return Finish(t);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportBezier(host::ISch_BasicContainer* object) {
    auto* bezier = dynamic_cast<host::ISch_Bezier*>(object);
    if (!bezier) return nullptr;
    auto t = TargetOf<dbo::TDboLibBezier, dbo::TDboBezier>(CreateDboObject(host::eBezier), "Object isn't a Bezier.");
    AddVertices(*t.lib, bezier, *this);
    t.lib->LineWidth = ConvertLineWidth(bezier->GetState_LineWidth());
    t.lib->LineStyle = 0;
    t.lib->SetColor(ConvertColor(bezier->GetState_Color()));
    return Finish(t);
}

// ----- Ellipses, arcs, pies ---------------------------------------------------------------------

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportEllipse(host::ISch_BasicContainer* object) {
    auto* ellipse = dynamic_cast<host::ISch_Ellipse*>(object);
    if (!ellipse) return nullptr;
    auto t = TargetOf<dbo::TDboLibEllipse, dbo::TDboEllipse>(CreateDboObject(ellipse->GetState_ObjectId()),
                                                              "Object isn't a Ellipse.");
    Coord c = ellipse->GetState_Location();
    int64_t r1 = ellipse->GetState_Radius(), r2 = ellipse->GetState_SecondaryRadius();
    t.lib->BoundBoxLeft = ConvertX(Wrap(c.X - r1));
    t.lib->BoundBoxRight = ConvertX(Wrap(c.X + r1));
    t.lib->BoundBoxTop = ConvertY(Wrap(c.Y + r2));
    t.lib->BoundBoxBott = ConvertY(Wrap(c.Y - r2));
    t.lib->LineWidth = ConvertLineWidth(ellipse->GetState_LineWidth());
    t.lib->LineStyle = 0;
    t.lib->FillStyle = FillStyleOf(ellipse->GetState_IsSolid());
    t.lib->SetColor(ConvertColor(ellipse->GetState_AreaColor()));
    return Finish(t);
}

namespace {

bool IsFullCircle(host::ISch_Arc* arc) {
    return std::fabs(std::fabs(arc->GetState_EndAngle() - arc->GetState_StartAngle()) - 360.0) < 1.0;
}

}  // namespace

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportFullCircle(host::ISch_Arc* arc, int32_t secondaryRadius) {
    host::ISch_ServerInterface* server = Host.SchServer();
    if (!server) throw host::EApiErr("The schematic server doesn't run");
    host::ISch_BasicContainer* made = server->CreateSchObject(host::eEllipse, 0);
    auto* ellipse = dynamic_cast<host::ISch_Ellipse*>(made);
    if (!ellipse) {
        if (made) server->DestroySchObject(made);
        throw host::EApiErr("The host made no ellipse");
    }
    struct Release {
        host::ISch_ServerInterface* server;
        host::ISch_BasicContainer* object;
        ~Release() { server->DestroySchObject(object); }
    } release{server, made};
    ellipse->SetState_LineWidth(arc->GetState_LineWidth());
    ellipse->SetState_Radius(arc->GetState_Radius());
    ellipse->SetState_SecondaryRadius(secondaryRadius);
    ellipse->SetState_IsSolid(false);
    ellipse->SetState_Color(arc->GetState_Color());
    ellipse->SetState_Location(arc->GetState_Location());
    return ExportEllipse(ellipse);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportArcCommon(host::ISch_Arc* arc, int32_t kind, int32_t r1,
                                                                     int32_t r2, bool elliptical) {
    auto t = TargetOf<dbo::TDboLibArc, dbo::TDboArc>(CreateDboObject(kind), "Object isn't a Arc.");
    Coord c = arc->GetState_Location();
    t.lib->BoundBoxLeft = ConvertX(Wrap(int64_t(c.X) - r1));
    t.lib->BoundBoxRight = ConvertX(Wrap(int64_t(c.X) + r1));
    t.lib->BoundBoxTop = ConvertY(Wrap(int64_t(c.Y) + r2));
    t.lib->BoundBoxBott = ConvertY(Wrap(int64_t(c.Y) - r2));
    auto point = [&](double degrees, int32_t& x, int32_t& y) {
        double a = degrees * kDegreesToRadians;
        double d = r1;
        if (elliptical) {
            if (r1 == 0 || r2 == 0) {
                d = 0;
            } else {
                double u = std::cos(a) / r1, v = std::sin(a) / r2;
                d = std::sqrt(1.0 / (u * u + v * v));
            }
        }
        x = ConvertX(Round(c.X + d * std::cos(a)));
        y = ConvertY(Round(c.Y + d * std::sin(a)));
    };
    point(arc->GetState_StartAngle(), t.lib->StartX, t.lib->StartY);
    point(arc->GetState_EndAngle(), t.lib->EndX, t.lib->EndY);
    t.lib->LineWidth = ConvertLineWidth(arc->GetState_LineWidth());
    t.lib->LineStyle = 0;
    t.lib->SetColor(ConvertColor(arc->GetState_Color()));
    return Finish(t);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportArc(host::ISch_BasicContainer* object) {
    auto* arc = dynamic_cast<host::ISch_Arc*>(object);
    if (!arc) return nullptr;
    int32_t r = arc->GetState_Radius();
    if (IsFullCircle(arc)) return ExportFullCircle(arc, r);
    return ExportArcCommon(arc, arc->GetState_ObjectId(), r, r, false);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportEllipticalArc(host::ISch_BasicContainer* object) {
    auto* arc = dynamic_cast<host::ISch_EllipticalArc*>(object);
    if (!arc) return nullptr;
    int32_t r1 = arc->GetState_Radius(), r2 = arc->GetState_SecondaryRadius();
    if (IsFullCircle(arc)) return ExportFullCircle(arc, r2);
    return ExportArcCommon(arc, arc->GetState_ObjectId(), r1, r2, true);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportPie(host::ISch_BasicContainer* object) {
    auto* pie = dynamic_cast<host::ISch_Pie*>(object);
    if (!pie) return nullptr;
    auto t = TargetOf<dbo::TDboLibFilledGraphic, dbo::TDboFilledGraphic>(CreateDboObject(pie->GetState_ObjectId()),
                                                                          "Object isn't a FilledGraphic.");
    Coord c = pie->GetState_Location();
    double r = pie->GetState_Radius();
    double start = pie->GetState_StartAngle(), end = pie->GetState_EndAngle();
    double sweep = end > start ? end - start : 360.0 - (start - end);
    double step = sweep / 360.0 * kFullTurn / 30.0;
    double a = start / 360.0 * kFullTurn;
    t.lib->Vertices.AddVertex(ConvertX(c.X), ConvertY(c.Y));
    for (int i = 0; i < 30; ++i, a += step) {
        int32_t x = Wrap(int64_t(c.X) + Round(r * std::cos(a)));
        int32_t y = Wrap(int64_t(c.Y) + Round(r * std::sin(a)));
        t.lib->Vertices.AddVertex(ConvertX(x), ConvertY(y));
    }
    t.lib->Vertices.AddVertex(ConvertX(c.X), ConvertY(c.Y));
    t.lib->LineWidth = ConvertLineWidth(pie->GetState_LineWidth());
    t.lib->LineStyle = 0;
    t.lib->FillStyle = FillStyleOf(pie->GetState_IsSolid());
    t.lib->SetColor(ConvertColor(pie->GetState_AreaColor()));
    return Finish(t);
}

// ----- Texts and images -------------------------------------------------------------------------

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportText(host::ISch_GraphicalObject* object, int32_t kind,
                                                                int32_t fontId, const std::string& text,
                                                                int32_t rotation, const CoordRect& box,
                                                                bool doubled) {
    auto t = TargetOf<dbo::TDboLibCommentText, dbo::TDboCommentText>(CreateDboObject(kind),
                                                                      "Object isn't a CommentText.");
    int32_t x1 = std::min(box.X1, box.X2), x2 = std::max(box.X1, box.X2);
    int32_t y1 = std::min(box.Y1, box.Y2), y2 = std::max(box.Y1, box.Y2);
    int factor = doubled ? 2 : 1;
    t.lib->BoundBoxLeft = ConvertX(x1);
    t.lib->BoundBoxTop = ConvertY(y2);
    t.lib->BoundBoxRight = Wrap(int64_t(factor) * ConvertX(x2));
    t.lib->BoundBoxBott = Wrap(int64_t(factor) * ConvertY(y1));
    t.lib->TxtLocationX = t.lib->BoundBoxLeft;
    t.lib->TxtLocationY = t.lib->BoundBoxTop;
    t.lib->FontID = importer::FontTableManager().AddFontId(fontId);
    t.lib->Txt = text;
    t.lib->SetColor(ConvertColor(object->GetState_Color()));
    if (rotation >= 0) t.lib->SetRotation(rotation);
    return Finish(t);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportLabel(host::ISch_BasicContainer* object) {
    auto* label = dynamic_cast<host::ISch_Label*>(object);
    if (!label) return nullptr;
    return ExportText(label, label->GetState_ObjectId(), label->GetState_FontId(), label->GetState_Text(),
                      label->GetState_Orientation(), label->GetState_BoundingRectangle(), true);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportTextFrame(host::ISch_BasicContainer* object) {
    auto* frame = dynamic_cast<host::ISch_TextFrame*>(object);
    if (!frame) return nullptr;
    Coord a = frame->GetState_Location(), b = frame->GetState_Corner();
    return ExportText(frame, frame->GetState_ObjectId(), frame->GetState_FontId(), frame->GetState_Text(), -1,
                      {a.X, a.Y, b.X, b.Y}, false);
}

std::unique_ptr<dbo::TDboObject> TSCHCommonExporter::ExportImage(host::ISch_BasicContainer* object) {
    auto* image = dynamic_cast<host::ISch_Image*>(object);
    if (!image) return nullptr;
    if (!image->GetState_EmbedImage()) {
        std::string file = image->GetState_FileName();
        std::string slashed = file;
        std::replace(slashed.begin(), slashed.end(), '\\', '/');
        std::error_code ec;
        if (file.empty() || (!std::filesystem::exists(file, ec) && !std::filesystem::exists(slashed, ec)))
            return nullptr;
    }
    auto t = TargetOf<dbo::TDboLibBitmap, dbo::TDboBitmap>(CreateDboObject(image->GetState_ObjectId()),
                                                            "Object isn't a Bitmap.");
    Coord a = image->GetState_Location(), b = image->GetState_Corner();
    t.lib->BoundBoxLeft = ConvertX(a.X);
    t.lib->BoundBoxTop = ConvertY(b.Y);
    t.lib->BoundBoxRight = ConvertX(b.X);
    t.lib->BoundBoxBott = ConvertY(a.Y);
    // The picture itself isn't carried: the record keeps its place and size, with no pixels.
    t.lib->AssignBitmap({});
    return Finish(t);
}

// ----- Pins and parameters ----------------------------------------------------------------------

std::unique_ptr<dbo::TDboPin> TSCHCommonExporter::ExportPin(host::ISch_BasicContainer* object) {
    auto* hostPin = dynamic_cast<host::ISch_Pin*>(object);
    if (!hostPin) return nullptr;
    std::string name = hostPin->GetState_Name();
    std::unique_ptr<dbo::TDboPin> pin = NewPinFor(Design, name);
    pin->PinName = name.empty() ? hostPin->GetState_Designator() : name;
    Coord location = hostPin->GetState_Location();
    pin->OffsetX = pin->EndX = ConvertX(location.X);
    pin->OffsetY = pin->EndY = ConvertY(location.Y);
    int32_t length = ConvertSize(hostPin->GetState_PinLength());
    switch (hostPin->GetState_Orientation()) {
        case 0: pin->EndX = Wrap(int64_t(pin->OffsetX) + length); break;
        case 1: pin->EndY = Wrap(int64_t(pin->OffsetY) - length); break;
        case 2: pin->EndX = Wrap(int64_t(pin->OffsetX) - length); break;
        case 3: pin->EndY = Wrap(int64_t(pin->OffsetY) + length); break;
        default: break;
    }
    pin->PinType = static_cast<uint8_t>(hostPin->GetState_Electrical());
    pin->SetIsDot(hostPin->GetState_OuterEdge() == 3);
    pin->SetIsClock(hostPin->GetState_InnerEdge() == 1);
    pin->SetIsVisible(!hostPin->GetState_IsHidden());
    ExportParameters(pin.get(), hostPin, location);
    return pin;
}

void TSCHCommonExporter::ExportParameters(dbo::TDboBaseObject* owner, host::ISch_BasicContainer* object,
                                          Coord origin) {
    int32_t kind = object->GetState_ObjectId();
    if (kind != host::eSchComponent && kind != host::ePin && kind != host::ePort && kind != host::eSheetSymbol) return;
    std::vector<host::ISch_Parameter*> parameters;
    auto it = object->SchIterator_Create({host::eParameter}, host::eIterateFirstLevel);
    for (auto* child = it->FirstSchObject(); child; child = it->NextSchObject())
        if (auto* parameter = dynamic_cast<host::ISch_Parameter*>(child)) parameters.push_back(parameter);
    it.reset();
    for (auto* parameter : parameters) {
        if (kind == host::eSchComponent) {
            std::string name = parameter->GetState_Name();
            if (platform::SameTextNoCase(name, "Comment") || platform::SameTextNoCase(name, "Value")) continue;
        }
        ExportParameter(owner, origin, parameter);
    }
}

void TSCHCommonExporter::ExportParameter(dbo::TDboBaseObject* owner, Coord origin, host::ISch_Parameter* parameter) {
    std::string name = parameter->GetState_Name(), text = parameter->GetState_Text();
    if (parameter->GetState_IsHidden()) {
        owner->AddProp(name, text);
        return;
    }
    Coord p = parameter->GetState_Location();
    CoordRect box = parameter->GetState_BoundingRectangle();
    int32_t width = Wrap(std::llabs(int64_t(box.X2) - box.X1) / kHostUnitsPerCaptureUnit);
    int32_t height = Wrap(std::llabs(int64_t(box.Y2) - box.Y1) / kHostUnitsPerCaptureUnit);
    owner->AddVisibleProp(name, text, ConvertSize(Wrap(int64_t(p.X) - origin.X)),
                          ConvertSize(Wrap(int64_t(origin.Y) - p.Y)), width, height,
                          static_cast<uint8_t>(parameter->GetState_FontId() - 1), parameter->GetState_Orientation(),
                          ConvertColor(parameter->GetState_Color()));
}

// ----- Fonts ------------------------------------------------------------------------------------

void TSCHCommonExporter::ExportFonts(dbo::TDboFontList& fontList) {
    fontList.Clear();
    host::ISch_ServerInterface* server = Host.SchServer();
    host::ISch_FontManager* fonts = server ? server->GetFontManager() : nullptr;
    if (!fonts) return;
    const importer::TFontTableManager& table = importer::FontTableManager();
    for (int32_t i = 0; i < table.Count(); ++i) {
        int32_t id = table.GetFontID(i);
        host::FontDescription font;
        if (id < 0 || id >= fonts->GetFontCount() || !fonts->GetFontDescription(id, font)) continue;
        fontList.AddFont(font.Size, font.Rotation, font.Underline, font.Italic, font.Bold, font.Strikeout,
                         font.FontName);
    }
}

// ----- Library files ----------------------------------------------------------------------------

void ExportLibrary(host::IHostApplication& host, host::ISch_Lib* library, const std::string& fileName,
                   uint32_t version, std::string& results) {
    importer::FontTableManager().Clear();
    dbo::TDboDesign design(fileName, nullptr, 0, nullptr);
    design.Version = version;
    TSCHLibraryExporter exporter(host, &design, library);
    exporter.RunExport();
    if (!results.empty()) results += " | ";
    results += "ExportedComponentCount=" + std::to_string(exporter.ComponentNames.size());
    for (size_t i = 0; i < exporter.ComponentNames.size(); ++i)
        results += " | LibReference_" + std::to_string(i) + "=" + exporter.ComponentNames[i];
    design.Save();
}

}  // namespace orcadx::exporter
