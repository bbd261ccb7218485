// Coordinates, colours, widths and the drawing records of the common importer.
#include "import/SCHBaseImport.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <set>
#include <stdexcept>

#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "platform/Status.h"

namespace orcadx::importer {

int32_t SaturateCoord(int64_t value) {
    if (value > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
    if (value < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(value);
}

namespace {

// The library object of a record that is either the library object itself or a page instance
// wrapping it; raises `message` for any other class.
template <class Lib, class Instance>
Lib& Geometry(dbo::TDboObject* record, const char* message) {
    if (auto* lib = dynamic_cast<Lib*>(record)) return *lib;
    if (auto* instance = dynamic_cast<Instance*>(record))
        if (instance->LibObject) return *instance->LibObject;
    throw std::runtime_error(message);
}

// Colour code of a record: the low byte of its RotColMirr (the instance's on a page; a library
// object carries none of its own, so it has the default).
int ColorCode(dbo::TDboObject* record) { return record->GetColor(); }

// Image file names used so far in this process, so that two pictures never share a file.
std::set<std::string>& UsedImageNames() {
    static std::set<std::string> names;
    return names;
}

std::string UniqueImageBase(const std::string& base) {
    auto& used = UsedImageNames();
    std::string name = base;
    for (int n = 1; used.count(name); ++n) name = base + "_" + std::to_string(n);
    used.insert(name);
    return name;
}

const int32_t kColorTable[49] = {
    0xFF0000, 0x84FFFF, 0x84FF84, 0x84FF00, 0xFFFF84, 0xFF8200, -1,       0xFF82FF, 0x0000FF, 0x00FFFF,
    0x00FF84, 0x42FF00, 0xFFFF00, 0xC68200, 0xC68284, 0xFF00FF, 0x424184, 0x4282FF, 0x00FF00, 0x848200,
    0x844100, 0xFF8284, 0x420084, 0x8400FF, 0x000084, 0x0082FF, 0x008200, 0x428200, 0xFF0000, 0xA50000,
    0x840084, 0xFF0084, 0x000042, 0x004184, 0x004100, 0x424100, 0x840000, 0x420000, 0x420042, 0x840042,
    0x000000, 0x008284, 0x428284, 0x848284, 0x848242, 0xC6C3C6, -1,       0xFFFFFF, 0x000000,
};

}  // namespace

// ----- TSCHImporter ------------------------------------------------------------------------------

TSCHImporter::TSCHImporter(host::IHostApplication& host, dbo::TDboDesign* design, host::IOrcadImporterOption* options,
                           host::ILogSection* log)
    : Host(host), Design(design), Options(options), Log(log) {}

TSCHImporter::~TSCHImporter() = default;

host::ISch_ServerInterface& TSCHImporter::Server() const {
    host::ISch_ServerInterface* server = Host.SchServer();
    if (!server) throw host::EApiErr("The schematic server is not running");
    return *server;
}

int32_t TSCHImporter::ImportScale() const { return Options ? Options->GetImportScale() : 0; }
bool TSCHImporter::AutoPositionParameters() const { return Options && Options->GetAutoPositionParameters(); }
bool TSCHImporter::DefaultComponentFill() const { return Options && Options->GetDefaultComponentFill(); }
bool TSCHImporter::SkipTitleBlocks() const { return Options && Options->GetSkipTitleBlocks(); }

void TSCHImporter::LogMessage(int32_t severity, const std::string& text) const {
    platform::LogMessage(Log, severity, text);
}

// ----- Coordinates -------------------------------------------------------------------------------

int32_t TSCHCommonImporter::ScaleCoord(int64_t value) {
    int32_t scale = ImportScale();
    if (scale > 0) return SaturateCoord(platform::RoundHalfEven(static_cast<double>(value) / 10.0 * scale));
    return SaturateCoord(value * 100000);
}

int32_t TSCHCommonImporter::ToCoordX(int32_t value) {
    return ScaleCoord(static_cast<int64_t>(LowSigned16(value)) + OffsetX);
}

int32_t TSCHCommonImporter::ToCoordY(int32_t value) {
    return ScaleCoord(static_cast<int64_t>(OffsetY) - LowSigned16(value));
}

// ----- Colours, widths, styles -------------------------------------------------------------------

bool TSCHCommonImporter::IsDefaultColor(int code) {
    return code < 0 || code >= kDefaultColorCode || kColorTable[code] < 0;
}

int32_t TSCHCommonImporter::MapColor(int code) {
    return IsDefaultColor(code) ? kColorTable[kDefaultColorCode] : kColorTable[code];
}

bool TSCHCommonImporter::WantsColor(int code) const {
    if (!IsDefaultColor(code)) return true;
    return DrawingOwner && (DrawingOwner->ID == 64 || DrawingOwner->ID == 10);
}

int32_t TSCHCommonImporter::MapWidth(int32_t width) {
    switch (width) {
        case 0: return 1;
        case 1: return 2;
        case 2: return 3;
        default: return 1;
    }
}

int32_t TSCHCommonImporter::MapLineStyle(int32_t style) { return style < 3 ? style : style - 2; }

// ----- Drawing records ---------------------------------------------------------------------------

namespace {

// Vertices of a poly-line, polygon or Bezier, numbered from 1.
template <class Poly>
void SetVertices(TSCHCommonImporter& importer, Poly* object, const dbo::TDboVertices& vertices) {
    object->SetState_VertexCount(vertices.Count());
    for (int i = 0; i < vertices.Count(); ++i) {
        const dbo::TDboVertex* v = vertices.GetVertices(i);
        object->SetState_Vertex(i + 1, {importer.ToCoordX(v->X), importer.ToCoordY(v->Y)});
    }
}

}  // namespace

host::ISch_GraphicalObject* TSCHCommonImporter::ImportPolyLine(dbo::TDboObject* instance) {
    auto& record = Geometry<dbo::TDboLibPolyLine, dbo::TDboPolyLine>(instance, "Object isn't a PolyLine.");
    auto* object = CreateObject<host::ISch_Polyline>(host::ePolyline);
    if (!object) return nullptr;
    SetLineWidth(object, record.LineWidth, false);
    object->SetState_LineStyle(MapLineStyle(record.LineStyle));
    SetVertices(*this, object, record.Vertices);
    int code = ColorCode(instance);
    if (WantsColor(code)) object->SetState_Color(MapColor(code));
    return object;
}

host::ISch_GraphicalObject* TSCHCommonImporter::ImportBezier(dbo::TDboObject* instance) {
    auto& record = Geometry<dbo::TDboLibBezier, dbo::TDboBezier>(instance, "Object isn't a Bezier.");
    auto* object = CreateObject<host::ISch_Bezier>(host::eBezier);
    if (!object) return nullptr;
    SetLineWidth(object, record.LineWidth, false);
    object->SetState_LineStyle(MapLineStyle(record.LineStyle));
    SetVertices(*this, object, record.Vertices);
    int code = ColorCode(instance);
    if (!IsDefaultColor(code)) object->SetState_Color(MapColor(code));
    return object;
}

host::ISch_GraphicalObject* TSCHCommonImporter::ImportLine(dbo::TDboObject* instance) {
    auto& record = Geometry<dbo::TDboLibLine, dbo::TDboLine>(instance, "Object isn't a Line.");
    auto* object = CreateObject<host::ISch_Line>(host::eLine);
    if (!object) return nullptr;
    object->SetState_Location({ToCoordX(record.StartX), ToCoordY(record.StartY)});
    object->SetState_Corner({ToCoordX(record.EndX), ToCoordY(record.EndY)});
    SetLineWidth(object, record.LineWidth, false);
    object->SetState_LineStyle(MapLineStyle(record.LineStyle));
    int code = ColorCode(instance);
    if (WantsColor(code)) object->SetState_Color(MapColor(code));
    return object;
}

host::ISch_GraphicalObject* TSCHCommonImporter::ImportFilledGraphic(dbo::TDboObject* instance) {
    auto& record =
        Geometry<dbo::TDboLibFilledGraphic, dbo::TDboFilledGraphic>(instance, "Object isn't a FilledGraphic.");
    auto* object = CreateObject<host::ISch_Polygon>(host::ePolygon);
    if (!object) return nullptr;
    object->SetState_IsSolid(record.FillStyle != 1);
    SetVertices(*this, object, record.Vertices);
    SetLineWidth(object, record.LineWidth, true);
    int code = ColorCode(instance);
    if (!IsDefaultColor(code)) object->SetState_Color(MapColor(code));
    object->SetState_AreaColor(object->GetState_Color());
    return object;
}

host::ISch_GraphicalObject* TSCHCommonImporter::ImportBox(dbo::TDboObject* instance) {
    auto& record = Geometry<dbo::TDboLibBox, dbo::TDboBox>(instance, "Object isn't a Box.");
    auto* object = CreateObject<host::ISch_Rectangle>(host::eRectangle);
    if (!object) return nullptr;
    int32_t y1 = ToCoordY(record.UpperLeftY), y2 = ToCoordY(record.LowerRightY);
    object->SetState_Location({ToCoordX(record.UpperLeftX), std::min(y1, y2)});
    object->SetState_Corner({ToCoordX(record.LowerRightX), std::max(y1, y2)});
    SetLineWidth(object, record.LineWidth, false);
    object->SetState_IsSolid(false);
    if (record.FillStyle != 1) {
        object->SetState_IsSolid(true);
        object->SetState_Transparent(record.FillStyle != 0);
        object->SetState_Color(0xFF0B00);
        object->SetState_AreaColor(0xFF0B00);
    }
    int code = ColorCode(instance);
    if (WantsColor(code)) {
        object->SetState_Color(MapColor(code));
        object->SetState_AreaColor(object->GetState_Color());
    }
    return object;
}

namespace {

// Centre of a bounding box, by truncating division as Capture computes it.
void BoxCentre(int32_t left, int32_t top, int32_t right, int32_t bottom, int32_t& cx, int32_t& cy) {
    cx = left + (right - left) / 2;
    cy = top + (bottom - top) / 2;
}

}  // namespace

host::ISch_GraphicalObject* TSCHCommonImporter::ImportEllipse(dbo::TDboObject* instance) {
    auto& record = Geometry<dbo::TDboLibEllipse, dbo::TDboEllipse>(instance, "Object isn't a Ellipse.");
    auto* object = CreateObject<host::ISch_Ellipse>(host::eEllipse);
    if (!object) return nullptr;
    int32_t cx, cy;
    BoxCentre(record.BoundBoxLeft, record.BoundBoxTop, record.BoundBoxRight, record.BoundBoxBott, cx, cy);
    object->SetState_Location({ToCoordX(cx), ToCoordY(cy)});
    object->SetState_Radius(ScaleCoord((static_cast<int64_t>(record.BoundBoxRight) - record.BoundBoxLeft) / 2));
    object->SetState_SecondaryRadius(
        ScaleCoord((static_cast<int64_t>(record.BoundBoxBott) - record.BoundBoxTop) / 2));
    SetLineWidth(object, record.LineWidth, true);
    object->SetState_IsSolid(record.FillStyle == 0);
    int code = ColorCode(instance);
    if (!IsDefaultColor(code)) object->SetState_Color(MapColor(code));
    object->SetState_AreaColor(object->GetState_Color());
    return object;
}

host::ISch_GraphicalObject* TSCHCommonImporter::ImportArc(dbo::TDboObject* instance) {
    auto& record = Geometry<dbo::TDboLibArc, dbo::TDboArc>(instance, "Object isn't a Arc.");
    auto* object = CreateObject<host::ISch_EllipticalArc>(host::eEllipticalArc);
    if (!object) return nullptr;
    int32_t cx, cy;
    BoxCentre(record.BoundBoxLeft, record.BoundBoxTop, record.BoundBoxRight, record.BoundBoxBott, cx, cy);
    const int32_t hx = ToCoordX(cx), hy = ToCoordY(cy);
    object->SetState_Location({hx, hy});
    object->SetState_Radius(ScaleCoord((static_cast<int64_t>(record.BoundBoxRight) - record.BoundBoxLeft) / 2));
    object->SetState_SecondaryRadius(
        ScaleCoord((static_cast<int64_t>(record.BoundBoxBott) - record.BoundBoxTop) / 2));
    SetLineWidth(object, record.LineWidth, true);
    // Angles in single precision, between -180 and 180, as atan2 gives them.
    auto angle = [&](int32_t x, int32_t y) {
        double dx = static_cast<double>(ToCoordX(x)) - hx;
        double dy = static_cast<double>(ToCoordY(y)) - hy;
        return static_cast<double>(static_cast<float>(std::atan2(dy, dx) * 57.29577951308232));
    };
    object->SetState_StartAngle(angle(record.StartX, record.StartY));
    object->SetState_EndAngle(angle(record.EndX, record.EndY));
    int code = ColorCode(instance);
    if (!IsDefaultColor(code)) object->SetState_Color(MapColor(code));
    return object;
}

host::ISch_GraphicalObject* TSCHCommonImporter::ImportBitmap(dbo::TDboObject* instance) {
    auto& record = Geometry<dbo::TDboLibBitmap, dbo::TDboBitmap>(instance, "Object isn't a Bitmap.");
    auto* object = CreateObject<host::ISch_Image>(host::eImage);
    if (!object) return nullptr;
    object->SetState_Location({ToCoordX(record.BoundBoxLeft), ToCoordY(record.BoundBoxBott)});
    object->SetState_Corner({ToCoordX(record.BoundBoxRight), ToCoordY(record.BoundBoxTop)});
    object->SetState_KeepAspect(true);
    object->SetState_LineWidth(0);
    object->SetState_IsSolid(false);
    object->SetState_Transparent(false);

    // The picture goes through a file beside the document, which the host reads at once.
    std::string base;
    if (Host.GetInTestMode()) {
        base = "C:\\Image";
    } else {
        std::string folder = Document ? std::filesystem::path(Document->GetState_DocumentName()).parent_path().string()
                                      : std::string();
        base = folder.empty() ? std::string("Image") : (std::filesystem::path(folder) / "Image").string();
    }
    base = UniqueImageBase(base);
    static const uint8_t kJpeg[] = {0xFF, 0xD8};
    static const uint8_t kGif[] = {'G', 'I', 'F', '8', '9', 'a'};
    static const uint8_t kPng[] = {0x89, 0x50, 0x4E, 0x47};
    std::string file;
    if (record.TryExtractCompressedGraphic(base + ".jpg", kJpeg, sizeof kJpeg)) file = base + ".jpg";
    else if (record.TryExtractCompressedGraphic(base + ".gif", kGif, sizeof kGif)) file = base + ".gif";
    else if (record.TryExtractCompressedGraphic(base + ".png", kPng, sizeof kPng)) file = base + ".png";
    else if (record.ExtractBitmap(base + ".bmp")) {
        file = base + ".bmp";
    }
    if (!file.empty()) {
        object->SetState_FileName(file);
        try {
            object->SetState_EmbedImage(true);
        } catch (...) {
            std::remove(file.c_str());
            Server().DestroySchObject(object);
            throw;
        }
        std::remove(file.c_str());
    }
    return object;
}

host::ISch_GraphicalObject* TSCHCommonImporter::ImportCommentText(dbo::TDboObject* instance) {
    auto& record = Geometry<dbo::TDboLibCommentText, dbo::TDboCommentText>(instance, "Object isn't a CommentText.");
    if (record.Txt.find_first_of("\r\n") != std::string::npos) return ImportTextFrame(instance, ColorCode(instance));
    return ImportLabel(instance, ColorCode(instance));
}

void TSCHCommonImporter::ImportIEEE(dbo::TDboObject* instance) {
    auto* record = dynamic_cast<dbo::TDboLibIEEE*>(instance);
    if (!record) throw std::runtime_error("Object isn't an IEEE symbol.");
    auto* library = dynamic_cast<host::ISch_Lib*>(Document);
    host::ISch_Component* component = library ? library->GetState_CurrentSchComponent() : nullptr;
    if (!component) return;
    const int32_t savedX = OffsetX, savedY = OffsetY;
    OffsetX = record->LocationX;
    OffsetY = -static_cast<int32_t>(record->LocationY);
    DrawingOwner = record;
    try {
        ImportGraphics(record->Graphics, component);
    } catch (...) {
        DrawingOwner = nullptr;
        OffsetX = savedX;
        OffsetY = savedY;
        throw;
    }
    DrawingOwner = nullptr;
    OffsetX = savedX;
    OffsetY = savedY;
}

// ----- Drawing lists -----------------------------------------------------------------------------

void TSCHCommonImporter::ImportGraphics(dbo::TDboGraphicInstanceList& list, host::ISch_BasicContainer* container) {
    using namespace dbo;
    for (int i = 0; i < list.Count(); ++i) {
        TDboObject* item = list.GetInstances(i);
        if (!item) continue;
        host::ISch_GraphicalObject* object = nullptr;
        switch (item->ID) {
            case kIdLibPolyLine: case kIdPolyLine: object = ImportPolyLine(item); break;
            case kIdLibLine: case kIdLine: object = ImportLine(item); break;
            case kIdLibFilledGraphic: case kIdFilledGraphic: object = ImportFilledGraphic(item); break;
            case kIdLibBox: case kIdBox: object = ImportBox(item); break;
            case kIdLibEllipse: case kIdEllipse: object = ImportEllipse(item); break;
            case kIdLibArc: case kIdArc: object = ImportArc(item); break;
            case kIdLibBitmap: case kIdBitmap: object = ImportBitmap(item); break;
            case kIdLibBezier: case kIdBezier: object = ImportBezier(item); break;
            case kIdLibIEEE: ImportIEEE(item); break;
            case kIdLibCommentText: case kIdCommentText: break;
            default:
                if (item->ID >= kIdOleObject) LogMessage(host::kLogWarning, "Embedded OLE object could not be imported!");
                else LogMessage(host::kLogWarning, fmt::format("Unknown object type: {}.", item->ID));
                break;
        }
        AddGraphic(object, container);
    }
    for (int i = 0; i < list.Count(); ++i) {
        TDboObject* item = list.GetInstances(i);
        if (item && (item->ID == kIdLibCommentText || item->ID == kIdCommentText))
            AddGraphic(ImportCommentText(item), container);
    }
}

void TSCHCommonImporter::AddGraphic(host::ISch_GraphicalObject* object, host::ISch_BasicContainer* container) {
    if (!object) return;
    if (!container) {
        Server().DestroySchObject(object);
        return;
    }
    if (auto* component = dynamic_cast<host::ISch_Component*>(container)) {
        object->SetState_OwnerPartId(component->GetState_CurrentPartId());
        object->SetState_OwnerPartDisplayMode(component->GetState_DisplayMode());
        if (DefaultComponentFill() && object->GetState_ObjectId() == host::eRectangle) {
            auto* rectangle = dynamic_cast<host::ISch_Rectangle*>(object);
            rectangle->SetState_IsSolid(true);
            rectangle->SetState_Transparent(true);
            rectangle->SetState_Color(kComponentFillLineColor);
            rectangle->SetState_AreaColor(kComponentFillAreaColor);
        }
    }
    container->AddSchObject(object);
}

}  // namespace orcadx::importer
