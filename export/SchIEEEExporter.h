// IEEE symbols of a host component (clock wedge, open-collector diamond, ...) drawn as plain Capture
// library graphics: each symbol number has a fixed shape of polylines and arcs, placed at the
// symbol's location and turned by its orientation.
#pragma once

#include <string>
#include <vector>

#include "export/SCHExport.h"

namespace orcadx::exporter {

// One piece of a shape, in Capture units from the symbol's location, x to the right and y upward.
struct TIeeeShapeItem {
    bool IsArc = false;
    std::vector<host::Coord> Points;  // a polyline
    host::Coord Center;               // an arc
    int32_t Radius = 0;
    int32_t StartAngle = 0;  // degrees
    int32_t EndAngle = 0;
};

// The shape of symbol number 1 to 34; empty for any other number.
const std::vector<TIeeeShapeItem>& IeeeShape(int32_t symbol);

class TSCHIeeeExporter : public TSCHCommonExporter {
public:
    // `target` is the graphics list of the view being filled.
    TSCHIeeeExporter(host::IHostApplication& host, dbo::TDboDesign* design, host::ISch_BasicContainer* container,
                     dbo::TDboStorableList* target);

    dbo::TDboStorableList* Target;
    host::ISch_Symbol* Symbol = nullptr;

    void RunExport() override;
    // The plain conversions: IEEE symbols don't move with the drawing's extents.
    int32_t ConvertX(int32_t value) override;
    int32_t ConvertY(int32_t value) override;

private:
    void DrawSymbol();
    void BeginPolyline();
    void AddPoint(int32_t px, int32_t py);
    void AddArc(int32_t px, int32_t py, int32_t radius, double startAngle, double endAngle);
    // (x, y) turned about the symbol's converted location once per quarter turn of its orientation.
    void Turn(int32_t& x, int32_t& y) const;

    dbo::TDboLibPolyLine* polyline_ = nullptr;
    int32_t centerX_ = 0, centerY_ = 0, turns_ = 0;
};

}  // namespace orcadx::exporter
