// The frame of a sheet's export: page size and origin, the passes over the sheet, nets, wires and
// buses cut at their connections, junction marks, net labels and bus entries.
#include "export/SCHSheetExport.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "dbo/DboGraphicObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "import/Manage_FontTable.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"
#include "platform/TextFiles.h"

namespace orcadx::exporter {

using host::Coord;

namespace {

constexpr int32_t kMaxWireVertices = 50;
constexpr double kDistanceCap = 32000.0;

int32_t Wrap(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

bool LessXY(const Coord& a, const Coord& b) { return a.X != b.X ? a.X < b.X : a.Y < b.Y; }
bool LessYX(const Coord& a, const Coord& b) { return a.Y != b.Y ? a.Y < b.Y : a.X < b.X; }

// Host units to mils: the fraction rounded to three places first, then to a whole number.
int32_t ToMils(int32_t value) {
    double mils = static_cast<double>(platform::RoundHalfEven(value / 10000.0 * 1000.0)) / 1000.0;
    return Wrap(platform::RoundHalfEven(mils));
}

// The vertices of a wire or bus, from 1.
std::vector<Coord> VerticesOf(host::ISch_Polygon* line) {
    std::vector<Coord> out;
    int32_t n = line->GetState_VertexCount();
    out.reserve(static_cast<size_t>(std::max(n, 0)));
    for (int32_t i = 1; i <= n; ++i) out.push_back(line->GetState_Vertex(i));
    return out;
}

// The electrical end of a pin: its length away from its location in the direction it points.
Coord PinFarEnd(host::ISch_Pin* pin) {
    Coord p = pin->GetState_Location();
    int32_t length = pin->GetState_PinLength();
    switch (pin->GetState_Orientation()) {
        case 0: return {Wrap(int64_t(p.X) + length), p.Y};
        case 1: return {p.X, Wrap(int64_t(p.Y) + length)};
        case 2: return {Wrap(int64_t(p.X) - length), p.Y};
        case 3: return {p.X, Wrap(int64_t(p.Y) - length)};
        default: return p;
    }
}

double Capped(double value) { return std::min(value, kDistanceCap); }

double Distance(float ax, float ay, float bx, float by) {
    double dx = double(ax) - bx, dy = double(ay) - by;
    return Capped(std::sqrt(dx * dx + dy * dy));
}

// Every object of the kinds in `container`, at the depth given.
std::vector<host::ISch_BasicContainer*> ObjectsOf(host::ISch_BasicContainer* container, const host::ObjectSet& kinds,
                                                  int32_t depth) {
    std::vector<host::ISch_BasicContainer*> out;
    if (!container) return out;
    auto it = container->SchIterator_Create(kinds, depth);
    for (auto* object = it->FirstSchObject(); object; object = it->NextSchObject())
        if (std::find(kinds.begin(), kinds.end(), object->GetState_ObjectId()) != kinds.end()) out.push_back(object);
    return out;
}

}  // namespace

int32_t ConvertIoType(int32_t ioType) {
    switch (ioType) {
        case 1: return 2;
        case 2: return 0;
        case 3: return 1;
        default: return 4;
    }
}

double PointToSegmentDistance(Coord p, Coord a, Coord b) {
    // The coordinates are held as single-precision numbers, as the host hands them over.
    float px = static_cast<float>(p.X), py = static_cast<float>(p.Y);
    float x1 = static_cast<float>(a.X), y1 = static_cast<float>(a.Y);
    float x2 = static_cast<float>(b.X), y2 = static_cast<float>(b.Y);
    if (x1 == x2) {
        if (y1 > y2) std::swap(y1, y2);
        if (y1 <= py && py <= y2) return Capped(std::fabs(double(px) - x1));
        return std::min(Distance(px, py, x1, y1), Distance(px, py, x2, y2));
    }
    if (y1 == y2) {
        if (x1 > x2) std::swap(x1, x2);
        if (x1 <= px && px <= x2) return Capped(std::fabs(double(py) - y1));
        return std::min(Distance(px, py, x1, y1), Distance(px, py, x2, y2));
    }
    if (x1 > x2) {
        std::swap(x1, x2);
        std::swap(y1, y2);
    }
    double m = (double(y2) - y1) / (double(x2) - x1);
    double d = m * m + 1;
    double f = (px + m * py + m * m * x1 - m * y1) / d;
    if (f < x1) return Distance(px, py, x1, y1);
    if (f > x2) return Distance(px, py, x2, y2);
    return Capped(std::fabs(m * px - py - m * x1 + y1) / std::sqrt(d));
}

bool PointOnSegment(Coord p, Coord a, Coord b, bool excludeEnds) {
    if (excludeEnds && (p == a || p == b)) return false;
    return std::fabs(PointToSegmentDistance(p, a, b)) < 0.1;
}

// ---------------------------------------------------------------------------------------------
// Point index

void TSCHSheetExporter::PointIndex::Build(std::vector<Coord> points) {
    byX_ = std::move(points);
    std::sort(byX_.begin(), byX_.end(), LessXY);
    byX_.erase(std::unique(byX_.begin(), byX_.end()), byX_.end());
    byY_ = byX_;
    std::sort(byY_.begin(), byY_.end(), LessYX);
}

void TSCHSheetExporter::PointIndex::Query(Coord a, Coord b, std::vector<Coord>& out) const {
    int32_t x1 = std::min(a.X, b.X), x2 = std::max(a.X, b.X);
    int32_t y1 = std::min(a.Y, b.Y), y2 = std::max(a.Y, b.Y);
    if (y1 == y2 && x1 != x2) {
        auto from = std::lower_bound(byY_.begin(), byY_.end(), Coord{x1, y1}, LessYX);
        auto to = std::upper_bound(byY_.begin(), byY_.end(), Coord{x2, y1}, LessYX);
        out.insert(out.end(), from, to);
        return;
    }
    auto from = std::lower_bound(byX_.begin(), byX_.end(), Coord{x1, y1}, LessXY);
    auto to = std::upper_bound(byX_.begin(), byX_.end(), Coord{x2, y2}, LessXY);
    for (auto it = from; it != to; ++it)
        if (it->Y >= y1 && it->Y <= y2) out.push_back(*it);
}

// ---------------------------------------------------------------------------------------------
// Creation, size and coordinates

TSCHSheetExporter::TSCHSheetExporter(host::IHostApplication& host, dbo::TDboDesign* design, dbo::TDboPage* page,
                                     host::ISch_Document* sheet, host::IDocument* compiledDocument,
                                     TPageNameManager* pageNames, host::IProject* project)
    : TSCHCommonExporter(host, design, sheet),
      Sheet(sheet),
      CompiledDocument(compiledDocument),
      Page(page),
      PageNames(pageNames),
      Project(project) {
    if (!Page) return;
    if (Sheet && PageNames) Page->PageName = PageNames->GetUniquePageName("", platform::FileNameOf(Sheet->GetState_DocumentName()));
    ReadPageSize();
    PageTop = (Page->Height - Page->GridVertWidth) / 10;
}

void TSCHSheetExporter::ReadPageSize() {
    if (!Sheet) return;
    int32_t width, height, zonesX, zonesY, margin;
    if (Sheet->GetState_UseCustomSheet()) {
        width = Sheet->GetState_CustomX();
        height = Sheet->GetState_CustomY();
        zonesX = Sheet->GetState_CustomZonesX();
        zonesY = Sheet->GetState_CustomZonesY();
        margin = Sheet->GetState_CustomMargin();
    } else {
        host::ISch_ServerInterface* server = Host.SchServer();
        host::ISch_Preferences* preferences = server ? server->GetPreferences() : nullptr;
        if (!preferences) throw host::EApiErr("The schematic server gives no preferences");
        int32_t style = Sheet->GetState_SheetStyle();
        width = preferences->GetState_SheetStyle_XSize(style);
        height = preferences->GetState_SheetStyle_YSize(style);
        zonesX = preferences->GetState_SheetStyle_XZones(style);
        zonesY = preferences->GetState_SheetStyle_YZones(style);
        margin = preferences->GetState_SheetStyle_MarginWidth(style);
    }
    Page->SetCustomPageSize(ToMils(width), ToMils(height));
    Page->GridHorCnt = static_cast<uint16_t>(zonesX);
    Page->GridVertCnt = static_cast<uint16_t>(zonesY);
    Page->GridHorWidth = Page->GridVertWidth = ToMils(margin);
}

int32_t TSCHSheetExporter::Margin() {
    if (Sheet->GetState_UseCustomSheet()) return Sheet->GetState_CustomMargin();
    host::ISch_ServerInterface* server = Host.SchServer();
    host::ISch_Preferences* preferences = server ? server->GetPreferences() : nullptr;
    return preferences ? preferences->GetState_SheetStyle_MarginWidth(Sheet->GetState_SheetStyle())
                       : Sheet->GetState_SheetMargin();
}

int32_t TSCHSheetExporter::ConvertX(int32_t value) {
    if (!Sheet) return Wrap(int64_t(value / kHostUnitsPerCaptureUnit) - 20);
    return Wrap((int64_t(value) - Margin()) / kHostUnitsPerCaptureUnit);
}

int32_t TSCHSheetExporter::ConvertY(int32_t value) {
    return Wrap(int64_t(PageTop) - value / kHostUnitsPerCaptureUnit);
}

// ---------------------------------------------------------------------------------------------
// Passes

template <class Export>
void TSCHSheetExporter::ExportPass(const host::ObjectSet& kinds, dbo::TDboStorableList& list, Export exportOne) {
    std::vector<host::ISch_BasicContainer*> objects;
    CollectObjects(objects, kinds, host::eIterateFirstLevel);
    for (auto* object : objects)
        if (object)
            if (auto record = exportOne(object)) list.Add(std::move(record));
}

void TSCHSheetExporter::RunExport() {
    // A library or another kind of document has no page to give.
    if (!Page || !dynamic_cast<host::ISch_Sheet*>(Sheet)) return;
    ExportNets();
    ExportGraphics(*Page->Graphics);
    ExportPass({host::eBusEntry}, *Page->BusEntries, [&](auto* o) { return ExportBusEntry(o); });
    ExportPass({host::eSchComponent}, *Page->PartsAndBlocks, [&](auto* o) { return ExportPart(o); });
    ExportPass({host::ePowerObject}, *Page->Powers, [&](auto* o) { return ExportPowerObject(o); });
    ExportPass({host::eCrossSheetConnector}, *Page->OffPages, [&](auto* o) { return ExportOffSheetConnector(o); });
    ExportPass({host::ePort}, *Page->Ports, [&](auto* o) { return ExportPort(o); });
    ExportPass({host::eSheetSymbol}, *Page->PartsAndBlocks, [&](auto* o) { return ExportSheetSymbol(o); });
    ExportPass({host::eSchComponent}, *Page->TitleBlocks, [&](auto* o) { return ExportTitleBlock(o); });
    ExportWires();
}

// ---------------------------------------------------------------------------------------------
// Nets

void TSCHSheetExporter::BuildNetIndex() {
    netsBuilt_ = true;
    if (!CompiledDocument) return;
    int32_t count = CompiledDocument->GetNetCount();
    for (int32_t n = 0; n < count; ++n) {
        host::INet* net = CompiledDocument->GetNet(n);
        if (!net) {
            netNames_.emplace_back();
            continue;
        }
        netNames_.push_back(net->GetNetName());
        netIdOfName_.try_emplace(platform::UpperCaseAscii(netNames_.back()), n);
        int32_t wires = net->GetWireCount();
        for (int32_t w = 0; w < wires; ++w) netOfWire_.try_emplace(net->GetWireUniqueId(w), n);
    }
}

void TSCHSheetExporter::ExportNets() {
    if (!netsBuilt_) BuildNetIndex();
    for (const std::string& name : netNames_) {
        auto alias = dbo::Make<dbo::TDboNetAlias>(Design);
        alias->Alias = name;
        alias->NetID = Page->NetAliases->Count();
        Page->NetAliases->Add(std::move(alias));
    }
}

int32_t TSCHSheetExporter::FindNetId(host::ISch_BasicContainer* wire) {
    if (!netsBuilt_) BuildNetIndex();
    auto net = netOfWire_.find(wire->GetState_UniqueId());
    if (net == netOfWire_.end()) return -1;
    // The first net of the same name without regard to case gives the id.
    auto id = netIdOfName_.find(platform::UpperCaseAscii(netNames_[static_cast<size_t>(net->second)]));
    return id == netIdOfName_.end() ? -1 : id->second;
}

// ---------------------------------------------------------------------------------------------
// Junctions and connections

void TSCHSheetExporter::BuildJunctionIndex() {
    junctionsBuilt_ = true;
    for (auto* object : ObjectsOf(Sheet, {host::eJunction}, host::eIterateFirstLevel))
        if (auto* junction = dynamic_cast<host::ISch_GraphicalObject*>(object))
            junctions_.insert(junction->GetState_Location());
    auto* sheet = dynamic_cast<host::ISch_Sheet*>(Sheet);
    if (!sheet) return;
    for (bool buses : {false, true}) {
        std::unique_ptr<host::IConnectionsArray> connections =
            buses ? sheet->GetState_BusConnections() : sheet->GetState_WireConnections();
        if (!connections) continue;
        int32_t count = connections->GetState_ConnectionsCount();
        for (int32_t i = 0; i < count; ++i)
            if (connections->GetState_ConnectionObjectsCount(i) >= 3)
                junctions_.insert(connections->GetState_ConnectionLocation(i));
    }
}

bool TSCHSheetExporter::HasJunctionAt(int32_t x, int32_t y) {
    if (!junctionsBuilt_) BuildJunctionIndex();
    return junctions_.count({x, y}) > 0;
}

void TSCHSheetExporter::BuildConnectionIndex() {
    connectionsBuilt_ = true;
    connections_.clear();
    for (auto* object : ObjectsOf(Sheet, {host::eWire, host::eBus}, host::eIterateFirstLevel))
        if (auto* line = dynamic_cast<host::ISch_Polygon*>(object))
            for (Coord v : VerticesOf(line)) connections_.insert(v);
    for (auto* object : ObjectsOf(Sheet, {host::ePin}, host::eIterateAllLevels))
        if (auto* pin = dynamic_cast<host::ISch_Pin*>(object)) connections_.insert(PinFarEnd(pin));
}

bool TSCHSheetExporter::HasConnectionAt(int32_t x, int32_t y) {
    if (!connectionsBuilt_) BuildConnectionIndex();
    return connections_.count({x, y}) > 0;
}

// ---------------------------------------------------------------------------------------------
// Wires and buses

void TSCHSheetExporter::BuildCutIndex() {
    cutBuilt_ = true;
    if (!junctionsBuilt_) BuildJunctionIndex();
    std::vector<Coord> points(junctions_.begin(), junctions_.end());
    for (auto* object : ObjectsOf(Sheet, {host::ePin}, host::eIterateAllLevels))
        if (auto* pin = dynamic_cast<host::ISch_Pin*>(object)) points.push_back(PinFarEnd(pin));
    cutPoints_.Build(std::move(points));
}

void TSCHSheetExporter::SplitWireAtConnections(host::ISch_BasicContainer* object) {
    auto* line = dynamic_cast<host::ISch_Polygon*>(object);
    if (!line) return;
    if (!cutBuilt_) BuildCutIndex();
    std::vector<Coord> vertices = VerticesOf(line);
    std::vector<Coord> points;
    for (size_t i = 0; i + 1 < vertices.size(); ++i) cutPoints_.Query(vertices[i], vertices[i + 1], points);
    std::sort(points.begin(), points.end(), LessXY);
    points.erase(std::unique(points.begin(), points.end()), points.end());
    bool changed = false;
    for (Coord p : points) {
        for (size_t s = 0; s + 1 < vertices.size(); ++s) {
            if (!PointOnSegment(p, vertices[s], vertices[s + 1], true)) continue;
            if (static_cast<int32_t>(vertices.size()) != kMaxWireVertices) {
                vertices.insert(vertices.begin() + static_cast<ptrdiff_t>(s) + 1, p);
                line->InsertVertex(static_cast<int32_t>(s) + 2, p);
                changed = true;
            }
            break;
        }
    }
    if (changed) connectionsBuilt_ = false;
}

void TSCHSheetExporter::ExportWires() {
    std::vector<host::ISch_BasicContainer*> objects;
    CollectObjects(objects, {host::eWire, host::eBus}, host::eIterateFirstLevel);
    // The cut points and junctions are taken from the sheet before the first cut: a vertex put
    // where a wire passes changes no connection.
    if (!cutBuilt_) BuildCutIndex();
    for (auto* object : objects) {
        if (!object) continue;
        SplitWireAtConnections(object);
        ExportWire(object, *Page->WiresAndBuses);
    }
}

void TSCHSheetExporter::ExportWire(host::ISch_BasicContainer* object, dbo::TDboStorableList& list) {
    auto* line = dynamic_cast<host::ISch_Polyline*>(object);
    if (!line) return;
    int32_t kind = object->GetState_ObjectId();
    std::vector<Coord> vertices = VerticesOf(line);
    int32_t net = FindNetId(object);
    int color = ConvertColor(line->GetState_Color());
    for (size_t i = 0; i + 1 < vertices.size(); ++i) {
        std::unique_ptr<dbo::TDboWireBus> record;
        if (kind == host::eWire) record = dbo::Make<dbo::TDboWire>(Design);
        else record = dbo::Make<dbo::TDboBus>(Design);
        Coord a = vertices[i], b = vertices[i + 1];
        record->StartX = ConvertX(a.X);
        record->StartY = ConvertY(a.Y);
        record->EndX = ConvertX(b.X);
        record->EndY = ConvertY(b.Y);
        record->NetName = net;
        record->SetColor(color);
        record->Junction = 0;
        if (HasJunctionAt(a.X, a.Y)) record->Junction |= 1;
        if (HasJunctionAt(b.X, b.Y)) record->Junction |= 2;
        AttachNetLabels(*record);
        list.Add(std::move(record));
    }
    if (kind == host::eWire) {
        auto wireNet = dbo::Make<dbo::TDboWireNet>(Design);
        wireNet->NetID = Page->WireNets->Count();
        Page->WireNets->Add(std::move(wireNet));
    }
}

// ---------------------------------------------------------------------------------------------
// Net labels and bus entries

void TSCHSheetExporter::BuildLabelIndex() {
    labelsBuilt_ = true;
    std::vector<host::ISch_BasicContainer*> objects;
    CollectObjects(objects, {host::eNetLabel}, host::eIterateFirstLevel);
    std::vector<Coord> points;
    for (auto* object : objects) {
        auto* label = dynamic_cast<host::ISch_GraphicalObject*>(object);
        if (!label) continue;
        Coord at = label->GetState_Location();
        Coord page{ConvertX(at.X), ConvertY(at.Y)};
        labelsAt_[page].push_back(labels_.size());
        labels_.push_back({object, page, object->GetState_Text().find("..") != std::string::npos});
        points.push_back(page);
    }
    labelPoints_.Build(std::move(points));
}

void TSCHSheetExporter::AttachNetLabels(dbo::TDboWireBus& record) {
    if (!labelsBuilt_) BuildLabelIndex();
    if (labelPoints_.Empty()) return;
    Coord a{record.StartX, record.StartY}, b{record.EndX, record.EndY};
    std::vector<Coord> points;
    labelPoints_.Query(a, b, points);
    std::vector<size_t> found;
    for (Coord p : points) {
        if (!PointOnSegment(p, a, b, false)) continue;
        const std::vector<size_t>& at = labelsAt_[p];
        found.insert(found.end(), at.begin(), at.end());
    }
    // In the order of the sheet.
    std::sort(found.begin(), found.end());
    const bool bus = record.ID == dbo::kIdBus;
    for (size_t i : found) {
        if (labels_[i].BusName != bus) continue;
        if (auto alias = ExportNetLabel(labels_[i].Object)) record.Aliases.Add(std::move(alias));
    }
}

std::unique_ptr<dbo::TDboObject> TSCHSheetExporter::ExportNetLabel(host::ISch_BasicContainer* object) {
    auto* label = dynamic_cast<host::ISch_NetLabel*>(object);
    if (!label) return nullptr;
    auto alias = dbo::Make<dbo::TDboWireAlias>(Design);
    Coord at = label->GetState_Location();
    alias->LocationX = ConvertX(at.X);
    alias->LocationY = ConvertY(at.Y);
    alias->SetRotation(label->GetState_Orientation());
    alias->FontID = importer::FontTableManager().AddFontId(label->GetState_FontId());
    alias->Name = label->GetState_Text();
    alias->SetColor(ConvertColor(label->GetState_Color()));
    return alias;
}

std::unique_ptr<dbo::TDboObject> TSCHSheetExporter::ExportBusEntry(host::ISch_BasicContainer* object) {
    auto* entry = dynamic_cast<host::ISch_BusEntry*>(object);
    if (!entry) return nullptr;
    auto record = dbo::Make<dbo::TDboBusEntry>(Design);
    Coord a = entry->GetState_Location(), b = entry->GetState_Corner();
    record->StartX = ConvertX(a.X);
    record->StartY = ConvertY(a.Y);
    record->EndX = ConvertX(b.X);
    record->EndY = ConvertY(b.Y);
    return record;
}

}  // namespace orcadx::exporter
