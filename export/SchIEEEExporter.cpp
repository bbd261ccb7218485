#include "export/SchIEEEExporter.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "platform/Status.h"

namespace orcadx::exporter {

namespace {

// The shapes, one row per symbol number from 1. A group of points up to a semicolon is one
// polyline; "arc (x, y) radius r, a to b" is one arc from angle a to angle b in degrees.
constexpr std::array<const char*, 34> kShapes{
    "arc (0, 0) radius 3, 0 to 180; arc (0, 0) radius 3, 181 to 360",
    "(12, 8) (0, 4) (12, 0)",
    "(0, 8) (12, 4) (0, 0)",
    "(0, 0) (0, 6) (12, 0) (0, 0)",
    "(0, 0) (0, 3); (6, 0) (6, 3); arc (3, 3) radius 3, 0 to 180",
    "(0, 0) (8, 8); (0, 8) (8, 0)",
    "(0, 0) (6, 3) (6, 0) (12, 0) (6, 0) (6, -3) (0, 0)",
    "(8, 0) (8, 8) (0, 8)",
    "(4, 0) (8, 4) (4, 8) (0, 4) (4, 0); (0, 0) (8, 0)",
    "(4, 0) (8, 8) (0, 8) (4, 0)",
    "(0, 0) (8, 4) (0, 8) (0, 0)",
    "(0, 0) (8, 0) (8, 8) (16, 8) (16, 0) (24, 0)",
    "(0, 0) (4, 1) (4, 7) (16, 8) (12, 7) (12, 1) (0, 0)",
    "(0, 2) (0, -2); (0, 0) (20, 0); (20, 2) (20, -2)",
    "(0, 11) (3, 11) (3, -11) (0, -11)",
    "(1, 0) (2, 1) (2, 2) (3, 3) (2, 4) (2, 5) (1, 6)",
    "(0, 6) (12, 0)",
    "(-4, 4) (5, 4); (-2, 4) (-3, -5); arc (12, 2) radius 9, 173 to 244",
    "(0, 6) (12, 0) (0, -6); (0, -8) (12, -2)",
    "(12, 6) (0, 0) (12, -6); (0, -2) (12, -8)",
    "(2, 2) (1, 3) (-3, 3) (-2, 0) (-4, -4) (1, -4) (2, -3)",
    "(4, 0) (8, 4) (4, 8) (0, 4) (4, 0); (0, 0) (8, 0); (0, 4) (8, 4)",
    "(4, 0) (8, 4) (4, 8) (0, 4) (4, 0); (0, 8) (8, 8)",
    "(4, 0) (8, 4) (4, 8) (0, 4) (4, 0); (0, 8) (8, 8); (0, 4) (8, 4)",
    "(-2, 0) (3, 0); (0, 2) (5, 2); (-1, -1) (2, 3); (1, -1) (4, 3)",
    "arc (40, 0) radius 20, 270 to 90; (40, 20) (0, 20) (0, -20) (40, -20)",
    "(0, 20) (0, -20) (40, 0) (0, 20)",
    "arc (-20, 0) radius 28, 315 to 45; (0, 20) (30, 20); (0, -20) (30, -20); (0, 10) (6, 10); "
    "(0, -10) (6, -10); arc (30, -20) radius 40, 30 to 90; arc (30, 19) radius 40, 270 to 330",
    "arc (-15, 0) radius 28, 315 to 45; arc (-20, 0) radius 28, 315 to 45; (5, 20) (35, 20); "
    "(5, -20) (35, -20); (0, 10) (6, 10); (0, -10) (6, -10); arc (35, -20) radius 40, 30 to 90; "
    "arc (35, 20) radius 40, 270 to 330",
    "(0, 0) (6, 0) (6, 3) (12, 0) (6, -3) (6, 0)",
    "(12, 0) (0, 4) (12, 8); (14, 0) (26, 4) (14, 8)",
    "(2, 0) (0, 2) (-2, 0) (0, -2) (2, 0)",
    "(0, 0) (-6, 2) (-6, -2)",
    "(6, 2) (0, 0) (6, -2); (7, 2) (7, -2) (13, 0)",
};

TIeeeShapeItem ParseItem(const std::string& text) {
    TIeeeShapeItem item;
    const char* s = text.c_str();
    while (*s == ' ') ++s;
    int consumed = 0;
    if (std::sscanf(s, "arc (%d, %d) radius %d, %d to %d%n", &item.Center.X, &item.Center.Y, &item.Radius,
                    &item.StartAngle, &item.EndAngle, &consumed) == 5) {
        item.IsArc = true;
        s += consumed;
    } else {
        host::Coord p;
        while (std::sscanf(s, " (%d, %d)%n", &p.X, &p.Y, &consumed) == 2) {
            item.Points.push_back(p);
            s += consumed;
        }
    }
    while (*s == ' ') ++s;
    if (*s != '\0' || (!item.IsArc && item.Points.empty()))
        throw std::logic_error("IEEE shape table: cannot read \"" + text + "\"");
    return item;
}

std::vector<std::vector<TIeeeShapeItem>> ParseShapes() {
    std::vector<std::vector<TIeeeShapeItem>> shapes;
    for (const char* row : kShapes) {
        std::vector<TIeeeShapeItem> items;
        std::string text = row;
        size_t start = 0;
        while (start <= text.size()) {
            size_t semicolon = text.find(';', start);
            items.push_back(ParseItem(text.substr(start, semicolon == std::string::npos ? std::string::npos
                                                                                         : semicolon - start)));
            if (semicolon == std::string::npos) break;
            start = semicolon + 1;
        }
        shapes.push_back(std::move(items));
    }
    return shapes;
}

}  // namespace

const std::vector<TIeeeShapeItem>& IeeeShape(int32_t symbol) {
    static const std::vector<std::vector<TIeeeShapeItem>> shapes = ParseShapes();
    static const std::vector<TIeeeShapeItem> none;
    if (symbol < 1 || symbol > static_cast<int32_t>(shapes.size())) return none;
    return shapes[static_cast<size_t>(symbol - 1)];
}

TSCHIeeeExporter::TSCHIeeeExporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                   host::ISch_BasicContainer* container, dbo::TDboStorableList* target)
    : TSCHCommonExporter(host, design, container), Target(target) {}

int32_t TSCHIeeeExporter::ConvertX(int32_t value) { return value / kHostUnitsPerCaptureUnit; }
int32_t TSCHIeeeExporter::ConvertY(int32_t value) { return -(value / kHostUnitsPerCaptureUnit); }

void TSCHIeeeExporter::RunExport() {
    std::vector<host::ISch_BasicContainer*> list;
    CollectObjects(list, {host::eSymbol}, host::eIterateAllLevels);
    // Through a library (a symbol's export) the walk at depth 2 reaches into every component: only
    // the symbols of the current one belong to the view.
    host::ISch_Component* current = nullptr;
    if (auto* library = dynamic_cast<host::ISch_Lib*>(Container)) current = library->GetState_CurrentSchComponent();
    for (auto* object : list) {
        Symbol = dynamic_cast<host::ISch_Symbol*>(object);
        if (!Symbol || (current && Symbol->GetState_Container() != current)) continue;
        DrawSymbol();
    }
    Symbol = nullptr;
}

void TSCHIeeeExporter::DrawSymbol() {
    host::Coord location = Symbol->GetState_Location();
    centerX_ = ConvertX(location.X);
    centerY_ = ConvertY(location.Y);
    turns_ = ((Symbol->GetState_Orientation() % 4) + 4) % 4;
    for (const TIeeeShapeItem& item : IeeeShape(Symbol->GetState_Symbol())) {
        int64_t x = location.X + int64_t(item.Center.X) * kHostUnitsPerCaptureUnit;
        int64_t y = location.Y + int64_t(item.Center.Y) * kHostUnitsPerCaptureUnit;
        if (item.IsArc) {
            AddArc(static_cast<int32_t>(x), static_cast<int32_t>(y), item.Radius * kHostUnitsPerCaptureUnit,
                   item.StartAngle, item.EndAngle);
            continue;
        }
        BeginPolyline();
        for (const host::Coord& p : item.Points)
            AddPoint(static_cast<int32_t>(location.X + int64_t(p.X) * kHostUnitsPerCaptureUnit),
                     static_cast<int32_t>(location.Y + int64_t(p.Y) * kHostUnitsPerCaptureUnit));
    }
}

void TSCHIeeeExporter::Turn(int32_t& x, int32_t& y) const {
    for (int32_t i = 0; i < turns_; ++i) {
        int32_t nx = centerX_ + (y - centerY_);
        int32_t ny = centerY_ - (x - centerX_);
        x = nx;
        y = ny;
    }
}

void TSCHIeeeExporter::BeginPolyline() {
    auto polyline = dbo::Make<dbo::TDboLibPolyLine>(Design);
    polyline->LineStyle = 0;
    polyline->LineWidth = 0;
    polyline_ = polyline.get();
    Target->Add(std::move(polyline));
}

void TSCHIeeeExporter::AddPoint(int32_t px, int32_t py) {
    int32_t x = ConvertX(px), y = ConvertY(py);
    Turn(x, y);
    polyline_->Vertices.AddVertex(x, y);
}

void TSCHIeeeExporter::AddArc(int32_t px, int32_t py, int32_t radius, double startAngle, double endAngle) {
    auto arc = dbo::Make<dbo::TDboLibArc>(Design);
    arc->BoundBoxLeft = ConvertX(px - radius);
    arc->BoundBoxRight = ConvertX(px + radius);
    arc->BoundBoxTop = ConvertY(py + radius);
    arc->BoundBoxBott = ConvertY(py - radius);
    auto point = [&](double degrees, int32_t& x, int32_t& y) {
        double a = degrees * 0.017453292519943295;
        x = ConvertX(static_cast<int32_t>(platform::RoundHalfEven(px + radius * std::cos(a))));
        y = ConvertY(static_cast<int32_t>(platform::RoundHalfEven(py + radius * std::sin(a))));
    };
    point(startAngle, arc->StartX, arc->StartY);
    point(endAngle, arc->EndX, arc->EndY);
    Turn(arc->StartX, arc->StartY);
    Turn(arc->EndX, arc->EndY);
    Turn(arc->BoundBoxLeft, arc->BoundBoxTop);
    Turn(arc->BoundBoxRight, arc->BoundBoxBott);
    arc->LineStyle = 0;
    arc->LineWidth = 0;
    polyline_ = nullptr;
    Target->Add(std::move(arc));
}

}  // namespace orcadx::exporter
