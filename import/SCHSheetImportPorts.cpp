// The page importer's symbols that name nets: hierarchical ports, off-page connectors (as the
// host's off-sheet connectors or as ports) and power objects.
#include <fmt/format.h>

#include <cmath>

#include "dbo/DboDesign.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "import/SCHSheetImport.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"

namespace orcadx::importer {

namespace {

// The family of a port symbol: its name without the "-L" or "-R" that says which end the text
// keeps to; empty for any name outside the ten known ones.
std::string PortFamily(const std::string& symbolName) {
    static const char* const kNames[] = {"PORTBOTH", "PORTLEFT", "PORTRIGHT", "PORTNO", "OFFPAGELEFT"};
    for (const char* family : kNames) {
        std::string f = family;
        if (symbolName == f + "-L" || symbolName == f + "-R") return f;
    }
    return {};
}

bool IsRightForm(const std::string& symbolName) {
    return symbolName.size() >= 2 && symbolName.compare(symbolName.size() - 2, 2, "-R") == 0;
}

int32_t AbsDiff(int32_t a, int32_t b) { return static_cast<int32_t>(std::llabs(int64_t(a) - b)); }

}  // namespace

int32_t MapPortType(int32_t type) {
    if (platform::UseNativeImportRules()) return 0;
    switch (type) {
        case 0: return 2;
        case 1: return 3;
        case 2:
        case 3: return 1;
        case 4: return 0;
        case 5: return 2;
        case 6:
        case 7: return 1;
        default: return 0;
    }
}

int32_t MapPortStyle(int rotation, const std::string& symbolName) {
    static const int32_t kStyles[4][5] = {
        // PORTBOTH, PORTLEFT, PORTRIGHT, PORTNO, OFFPAGELEFT
        {3, 1, 2, 0, 1},
        {7, 6, 5, 4, 6},
        {3, 2, 1, 0, 2},
        {7, 5, 6, 4, 5},
    };
    const std::string family = PortFamily(symbolName);
    int column = family == "PORTBOTH"      ? 0
                 : family == "PORTLEFT"    ? 1
                 : family == "PORTRIGHT"   ? 2
                 : family == "PORTNO"      ? 3
                 : family == "OFFPAGELEFT" ? 4
                                           : -1;
    return column < 0 ? 0 : kStyles[rotation & 3][column];
}

int32_t PortWidth(const std::string& text, int32_t scale) {
    int64_t n = 2;
    for (char c : text)
        if (c != '\\' && (static_cast<unsigned char>(c) & 0xC0) != 0x80) ++n;
    if (n < 6) n = 6;
    int64_t unit = platform::RoundHalfEven(scale / 1.488002976005952e-5);
    int64_t width = n * unit;
    width -= width % 200000;
    return static_cast<int32_t>(std::min<int64_t>(width, INT32_MAX - INT32_MAX % 200000));
}

std::optional<PortPlace> PortPlacement(const dbo::TDboPort& port) {
    const std::string family = PortFamily(port.SymName);
    if (family.empty() || family == "OFFPAGELEFT") return std::nullopt;
    const bool right = IsRightForm(port.SymName);
    const bool mirrored = port.GetMirror() != 0;
    PortPlace place;
    switch (port.GetRotation()) {
        case 0:
            place.alignment = right ? 2 : 1;
            if (mirrored) place.dx = 30;
            break;
        case 1:
            place.alignment = right ? 1 : 2;
            if (mirrored) place.dy = 30;
            break;
        case 2:
            place.alignment = right ? 1 : 2;
            if (!mirrored) place.dx = -30;
            break;
        default:
            place.alignment = right ? 2 : 1;
            place.dy = mirrored ? 20 : -10;
            break;
    }
    return place;
}

// ----- Ports -------------------------------------------------------------------------------------

void TSCHPageImporter::MirrorPort(host::ISch_Port* port) {
    host::Coord l = port->GetState_Location();
    int32_t style = port->GetState_Style();
    if (style >= 4 && style <= 7) {
        l.Y -= port->GetState_Width();
        if (style == 5 || style == 6) port->SetState_Style(11 - style);
    } else {
        l.X -= port->GetState_Width();
        if (style == 1 || style == 2) port->SetState_Style(3 - style);
    }
    port->SetState_Location(l);
    int32_t alignment = port->GetState_Alignment();
    if (alignment == 1 || alignment == 2) port->SetState_Alignment(3 - alignment);
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportPort(dbo::TDboPort& record) {
    auto* port = CreateObject<host::ISch_Port>(host::ePort);
    if (!port) return nullptr;
    port->SetState_Width(ScaleCoord(record.Width));
    port->SetState_Name(NormaliseBusName(record.GetPortName()));
    port->SetState_IOType(MapPortType(record.PortType));
    port->SetState_Style(MapPortStyle(record.GetRotation(), record.SymName));
    port->SetState_FontId(DefaultFaceFont(5));
    int code = record.GetColor();
    if (!IsDefaultColor(code)) port->SetState_Color(MapColor(code));
    if (std::optional<PortPlace> place = PortPlacement(record)) {
        port->SetState_Alignment(place->alignment);
        port->SetState_Location({ScaleCoord(place->dx) + ToCoordX(record.LocationX),
                                 ScaleCoord(place->dy) + ToCoordY(record.LocationY)});
        if (record.GetMirror() != 0) MirrorPort(port);
    } else {
        UnknownPort(record, port);
    }
    return port;
}

void TSCHPageImporter::UnknownPort(dbo::TDboPort& record, host::ISch_Port* port) {
    LogMessage(host::kLogError, port->GetState_Name() + " (of type " + record.SymName +
                                    ") is an unknown Port. Vantor Studio recognises the following Ports (L & R) - "
                                    "PORTBOTH, PORTNO, PORTLEFT, PORTRIGHT");
    dbo::TDboLibSymbol* symbol = FindSymbol(record.SymName, std::string());
    if (!symbol) return;
    int r = record.GetRotation();
    const int32_t H = record.Height, W = record.Width, x = record.LocationX, y = record.LocationY;
    int32_t bx = x, by = y;
    switch (r) {
        case 0: by = y - H / 2; break;
        case 1: bx = x - H / 2; by = y - W; break;
        case 2: bx = x - W; by = y - H / 2; break;
        default: bx = x - H / 2; by = y - H; break;
    }
    const int32_t px = symbol->PinX(), py = symbol->PinY();
    int32_t ox = px, oy = py;
    switch (r) {
        case 0: break;
        case 1: ox = py; oy = symbol->Right - px; break;
        case 2: ox = symbol->Right - px; oy = symbol->Bottom - py; break;
        default: ox = symbol->Bottom - py; oy = px; break;
    }
    const int32_t s = ScaleCoord(AbsDiff(symbol->Right, symbol->Left));
    port->SetState_Width(s);
    host::Coord l{ToCoordX(bx) + ScaleCoord(ox), ToCoordY(by) - ScaleCoord(oy)};
    if (r & 1) {
        if (l.Y == ToCoordY(by)) l.Y -= s;
    } else if (l.X - s == ToCoordX(bx)) {
        l.X -= s;
    }
    port->SetState_Location(l);
    if (record.GetMirror() != 0 && !(r & 1)) r = 2 - r;
    if (r == 1 || r == 3) {
        port->RotateBy90(l, r);
        port->SetState_Location(l);
    }
}

// ----- Symbols -----------------------------------------------------------------------------------

dbo::TDboLibSymbol* TSCHPageImporter::FindSymbol(const std::string& name, const std::string& libraryPath) {
    if (!Design || !Design->Symbols) return nullptr;
    if (!symbolsIndexed_) {
        for (int i = 0; i < Design->Symbols->Count(); ++i) {
            dbo::TDboLibSymbol* symbol = Design->GetSymbol(i);
            if (symbol) symbols_[platform::UpperCaseAscii(symbol->ViewName)].push_back(symbol);
        }
        symbolsIndexed_ = true;
    }
    auto it = symbols_.find(platform::UpperCaseAscii(name));
    if (it == symbols_.end() || it->second.empty()) return nullptr;
    if (!libraryPath.empty())
        for (dbo::TDboLibSymbol* symbol : it->second)
            if (platform::SameTextNoCase(symbol->LibPathStr, libraryPath)) return symbol;
    return it->second.front();
}

std::optional<TSCHPageImporter::Geometry> TSCHPageImporter::SymbolGeometry(dbo::TDboPortInst& object) {
    dbo::TDboLibSymbol* symbol = FindSymbol(object.SymName, object.GetSrcLib());
    if (!symbol || !symbol->Pins || symbol->Pins->Count() == 0) return std::nullopt;
    const dbo::TDboPin* pin = symbol->Pins->GetPins(0);
    if (!pin) return std::nullopt;
    const int32_t w = ScaleCoord(AbsDiff(symbol->Right, symbol->Left));
    const int32_t h = ScaleCoord(AbsDiff(symbol->Bottom, symbol->Top));
    const int32_t px = ScaleCoord(LowSigned16(pin->OffsetX));
    const int32_t py = -ScaleCoord(LowSigned16(pin->OffsetY));
    int d = pin->OffsetX == symbol->Left     ? 0
            : pin->OffsetX == symbol->Right  ? 2
            : pin->OffsetY == symbol->Top    ? 3
            : pin->OffsetY == symbol->Bottom ? 1
                                             : 3;
    const int32_t X = ToCoordX(object.LocationX), Y = ToCoordY(object.LocationY);
    const bool mirrored = object.GetMirror() != 0;
    const int rotation = object.GetRotation();
    Geometry g;
    switch (rotation) {
        case 0: g.Location = {mirrored ? X + (w - px) : X + px, Y + py}; break;
        case 1: g.Location = {X - py, mirrored ? Y - px : Y - (w - px)}; break;
        case 2: g.Location = {mirrored ? X + px : X + (w - px), Y - (h + py)}; break;
        default: g.Location = {X + (h + py), mirrored ? Y - (w - px) : Y - px}; break;
    }
    g.Orientation = (rotation + d) & 3;
    return g;
}

// ----- Off-page connectors -----------------------------------------------------------------------

void TSCHPageImporter::UnknownOffPage(dbo::TDboOffPage& record, host::Coord location) {
    LogMessage(host::kLogWarning, fmt::format("Off-Page Connector of type {} at {} is not recognised", record.SymName,
                                              PointText(location)));
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportOffPage(dbo::TDboOffPage& record) {
    auto* connector = CreateObject<host::ISch_CrossSheetConnector>(host::eCrossSheetConnector);
    if (!connector) return nullptr;
    connector->SetState_Color(MapColor(8));
    connector->SetState_Text(NormaliseBusName(record.GetPortName()));
    connector->SetState_ShowNetName(!platform::UseNativeImportRules());
    if (std::optional<Geometry> g = SymbolGeometry(record)) {
        connector->SetState_Location(g->Location);
        connector->SetState_Orientation(g->Orientation);
    }
    host::Coord at = connector->GetState_Location();
    if (record.GetMirror() != 0) {
        if (connector->GetState_Orientation() & 1) connector->RotateBy90(at, 2);
        connector->Mirror(at);
    }
    if (record.SymName == "OFFPAGELEFT-L") {
        connector->SetState_Style(0);
    } else {
        connector->SetState_Style(1);
        if (platform::SameTextNoCase(record.GetSrcLib(), Design->LibPath()))
            connector->SetState_Orientation((connector->GetState_Orientation() + 1) & 3);
    }
    if (record.SymName != "OFFPAGELEFT-L" && record.SymName != "OFFPAGELEFT-R")
        UnknownOffPage(record, connector->GetState_Location());
    return connector;
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportOffPageAsPort(dbo::TDboOffPage& record) {
    auto* port = CreateObject<host::ISch_Port>(host::ePort);
    if (!port) return nullptr;
    port->SetState_Color(MapColor(8));
    port->SetState_Name(NormaliseBusName(record.GetPortName()));
    port->SetState_Style(MapPortStyle(record.GetRotation(), record.SymName));
    port->SetState_Width(PortWidth(port->GetState_Name(), 7));
    port->SetState_Alignment(0);
    if (std::optional<Geometry> g = SymbolGeometry(record)) {
        port->SetState_Location(g->Location);
        const bool mirrored = record.GetMirror() != 0;
        if (g->Orientation <= 1 ? mirrored : !mirrored) MirrorPort(port);
    }
    if (record.SymName == "OFFPAGELEFT-R") {
        port->SetState_IOType(1);
    } else if (record.SymName == "OFFPAGELEFT-L") {
        port->SetState_IOType(2);
    } else {
        UnknownOffPage(record, port->GetState_Location());
    }
    return port;
}

// ----- Power objects -----------------------------------------------------------------------------

host::ISch_GraphicalObject* TSCHPageImporter::ImportPower(dbo::TDboPower& record) {
    auto* power = CreateObject<host::ISch_PowerObject>(host::ePowerObject);
    if (!power) return nullptr;
    int code = record.GetColor();
    if (!IsDefaultColor(code)) power->SetState_Color(MapColor(code));
    power->SetState_Text(record.GetPortName());
    power->SetState_ShowNetName(record.GetVisiblePropByName("Name") != nullptr);
    std::optional<Geometry> g = SymbolGeometry(record);
    if (!g) return power;
    const std::string& name = record.SymName;
    int32_t style = 1;
    if (name == "VCC" || name == "VCC_CIRCLE") style = 0;
    else if (name == "VCC_ARROW") style = 1;
    else if (name == "VCC_BAR") style = 2;
    else if (name == "VCC_WAVE") style = 3;
    else if (name == "GND" || name == "GND_POWER" || name == "GND POWER") style = 4;
    else if (name == "GND_SIGNAL" || name == "GND SIGNAL" || name == "GND_FIELD SIGNAL") style = 5;
    else if (name == "GND_EARTH") style = 6;
    else
        LogMessage(host::kLogWarning, fmt::format("Power Port of type {} at {} was replaced with Arrow style port",
                                                  name, PointText(g->Location)));
    power->SetState_Style(style);
    power->SetState_Orientation(g->Orientation);
    power->SetState_Location(g->Location);
    return power;
}

}  // namespace orcadx::importer
