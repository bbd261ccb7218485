// IEEE symbols of a host component become polylines and arcs in the view: each symbol number its
// shape, placed at the symbol, turned by its orientation, and left out of the shift that moves the
// rest of the drawing to the extents' corner.
#include <cmath>
#include <map>
#include <optional>

#include "ExportTestSupport.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "export/SCHExport.h"

using namespace orcadx;
using namespace orcadx::host;
using test::Unit;

namespace {

struct Arc {
    int cx, cy, r, start, end;
};
// A polyline (points) or an arc.
struct Item {
    std::vector<std::pair<int, int>> points;
    std::optional<Arc> arc;
};
Item P(std::vector<std::pair<int, int>> points) { return {std::move(points), std::nullopt}; }
Item A(int cx, int cy, int r, int start, int end) { return {{}, Arc{cx, cy, r, start, end}}; }

// The shapes of the symbols 1 to 34, offsets in Capture units with y upward.
const std::vector<std::vector<Item>> kExpected = {
    {A(0, 0, 3, 0, 180), A(0, 0, 3, 181, 360)},
    {P({{12, 8}, {0, 4}, {12, 0}})},
    {P({{0, 8}, {12, 4}, {0, 0}})},
    {P({{0, 0}, {0, 6}, {12, 0}, {0, 0}})},
    {P({{0, 0}, {0, 3}}), P({{6, 0}, {6, 3}}), A(3, 3, 3, 0, 180)},
    {P({{0, 0}, {8, 8}}), P({{0, 8}, {8, 0}})},
    {P({{0, 0}, {6, 3}, {6, 0}, {12, 0}, {6, 0}, {6, -3}, {0, 0}})},
    {P({{8, 0}, {8, 8}, {0, 8}})},
    {P({{4, 0}, {8, 4}, {4, 8}, {0, 4}, {4, 0}}), P({{0, 0}, {8, 0}})},
    {P({{4, 0}, {8, 8}, {0, 8}, {4, 0}})},
    {P({{0, 0}, {8, 4}, {0, 8}, {0, 0}})},
    {P({{0, 0}, {8, 0}, {8, 8}, {16, 8}, {16, 0}, {24, 0}})},
    {P({{0, 0}, {4, 1}, {4, 7}, {16, 8}, {12, 7}, {12, 1}, {0, 0}})},
    {P({{0, 2}, {0, -2}}), P({{0, 0}, {20, 0}}), P({{20, 2}, {20, -2}})},
    {P({{0, 11}, {3, 11}, {3, -11}, {0, -11}})},
    {P({{1, 0}, {2, 1}, {2, 2}, {3, 3}, {2, 4}, {2, 5}, {1, 6}})},
    {P({{0, 6}, {12, 0}})},
    {P({{-4, 4}, {5, 4}}), P({{-2, 4}, {-3, -5}}), A(12, 2, 9, 173, 244)},
    {P({{0, 6}, {12, 0}, {0, -6}}), P({{0, -8}, {12, -2}})},
    {P({{12, 6}, {0, 0}, {12, -6}}), P({{0, -2}, {12, -8}})},
    {P({{2, 2}, {1, 3}, {-3, 3}, {-2, 0}, {-4, -4}, {1, -4}, {2, -3}})},
    {P({{4, 0}, {8, 4}, {4, 8}, {0, 4}, {4, 0}}), P({{0, 0}, {8, 0}}), P({{0, 4}, {8, 4}})},
    {P({{4, 0}, {8, 4}, {4, 8}, {0, 4}, {4, 0}}), P({{0, 8}, {8, 8}})},
    {P({{4, 0}, {8, 4}, {4, 8}, {0, 4}, {4, 0}}), P({{0, 8}, {8, 8}}), P({{0, 4}, {8, 4}})},
    {P({{-2, 0}, {3, 0}}), P({{0, 2}, {5, 2}}), P({{-1, -1}, {2, 3}}), P({{1, -1}, {4, 3}})},
    {A(40, 0, 20, 270, 90), P({{40, 20}, {0, 20}, {0, -20}, {40, -20}})},
    {P({{0, 20}, {0, -20}, {40, 0}, {0, 20}})},
    {A(-20, 0, 28, 315, 45), P({{0, 20}, {30, 20}}), P({{0, -20}, {30, -20}}), P({{0, 10}, {6, 10}}),
     P({{0, -10}, {6, -10}}), A(30, -20, 40, 30, 90), A(30, 19, 40, 270, 330)},
    {A(-15, 0, 28, 315, 45), A(-20, 0, 28, 315, 45), P({{5, 20}, {35, 20}}), P({{5, -20}, {35, -20}}),
     P({{0, 10}, {6, 10}}), P({{0, -10}, {6, -10}}), A(35, -20, 40, 30, 90), A(35, 20, 40, 270, 330)},
    {P({{0, 0}, {6, 0}, {6, 3}, {12, 0}, {6, -3}, {6, 0}})},
    {P({{12, 0}, {0, 4}, {12, 8}}), P({{14, 0}, {26, 4}, {14, 8}})},
    {P({{2, 0}, {0, 2}, {-2, 0}, {0, -2}, {2, 0}})},
    {P({{0, 0}, {-6, 2}, {-6, -2}})},
    {P({{6, 2}, {0, 0}, {6, -2}}), P({{7, 2}, {7, -2}, {13, 0}})},
};

// Host point (in Capture units, y upward) to Capture coordinates, cut toward zero.
std::pair<int, int> ToCapture(double hx, double hy) {
    return {static_cast<int>(std::llround(hx) / 100000), -static_cast<int>(std::llround(hy) / 100000)};
}

class IeeeExport : public test::ExportFixture {
protected:
    // A component with a body from (0, 0) to (100, -100) and one IEEE symbol at (40, -40).
    ISch_Component* AddSymbolComponent(ISch_Lib* library, const std::string& name, int symbol, int orientation) {
        ISch_Component* component = AddComponent(library, name);
        AddRectangle(component, {0, Unit(-100)}, {Unit(100), 0});
        auto* ieee = Make<ISch_Symbol>(eSymbol);
        ieee->SetState_Symbol(symbol);
        ieee->SetState_Location({Unit(40), Unit(-40)});
        ieee->SetState_Orientation(orientation);
        ieee->SetState_OwnerPartId(1);
        component->AddSchObject(ieee);
        return component;
    }
    // The graphics of the first view of each component of the written file, by name.
    std::map<std::string, const dbo::TDboGraphicInstanceList*> Export(ISch_Lib* library) {
        std::string results;
        exporter::ExportLibrary(App(), library, (dir_ / "Ieee.OLB").string(), 0x00010001, results);
        loaded_ = LoadDesign(dir_ / "Ieee.OLB");
        std::map<std::string, const dbo::TDboGraphicInstanceList*> views;
        for (auto& c : loaded_->Components)
            views[c->PartInfo->CompName] = c->Packages.GetPackages(0)->Views.GetViews(0)->Graphics.get();
        return views;
    }
    std::unique_ptr<dbo::TDboDesign> loaded_;
};

}  // namespace

TEST_F(IeeeExport, EverySymbolBecomesItsShape) {
    ISch_Lib* library = NewLibrary();
    for (int symbol = 0; symbol <= 35; ++symbol) AddSymbolComponent(library, "S" + std::to_string(symbol), symbol, 0);
    auto views = Export(library);
    ASSERT_EQ(views.size(), 36u);
    // Symbol 0 and numbers past 34 draw nothing, and leave no empty polyline behind.
    EXPECT_EQ(views["S0"]->Count(), 1);
    EXPECT_EQ(views["S35"]->Count(), 1);
    for (int symbol = 1; symbol <= 34; ++symbol) {
        SCOPED_TRACE("symbol " + std::to_string(symbol));
        const dbo::TDboGraphicInstanceList& graphics = *views["S" + std::to_string(symbol)];
        const auto& shape = kExpected[static_cast<size_t>(symbol - 1)];
        ASSERT_EQ(graphics.Count(), static_cast<int>(shape.size()) + 1);
        EXPECT_NE(dynamic_cast<dbo::TDboLibBox*>(graphics.GetInstances(0)), nullptr);  // the body comes first
        for (size_t i = 0; i < shape.size(); ++i) {
            dbo::TDboObject* record = graphics.GetInstances(static_cast<int>(i) + 1);
            if (shape[i].arc) {
                auto* arc = dynamic_cast<dbo::TDboLibArc*>(record);
                ASSERT_NE(arc, nullptr) << "item " << i;
                const Arc& a = *shape[i].arc;
                double hx = (40 + a.cx) * 1e5, hy = (-40 + a.cy) * 1e5, r = a.r * 1e5;
                EXPECT_EQ(std::make_pair(arc->BoundBoxLeft, arc->BoundBoxTop), ToCapture(hx - r, hy + r));
                EXPECT_EQ(std::make_pair(arc->BoundBoxRight, arc->BoundBoxBott), ToCapture(hx + r, hy - r));
                double s = a.start * M_PI / 180, e = a.end * M_PI / 180;
                EXPECT_EQ(std::make_pair(arc->StartX, arc->StartY), ToCapture(hx + r * std::cos(s), hy + r * std::sin(s)));
                EXPECT_EQ(std::make_pair(arc->EndX, arc->EndY), ToCapture(hx + r * std::cos(e), hy + r * std::sin(e)));
                EXPECT_EQ(arc->LineWidth, 0);
            } else {
                auto* polyline = dynamic_cast<dbo::TDboLibPolyLine*>(record);
                ASSERT_NE(polyline, nullptr) << "item " << i;
                ASSERT_EQ(polyline->Vertices.Count(), static_cast<int>(shape[i].points.size())) << "item " << i;
                for (size_t k = 0; k < shape[i].points.size(); ++k) {
                    auto [px, py] = shape[i].points[k];
                    const dbo::TDboVertex* v = polyline->Vertices.GetVertices(static_cast<int>(k));
                    EXPECT_EQ(std::make_pair(int(v->X), int(v->Y)), std::make_pair(40 + px, 40 - py))
                        << "item " << i << " point " << k;
                }
                EXPECT_EQ(polyline->LineStyle, 0);
                EXPECT_EQ(polyline->GetColor(), 48);
            }
        }
    }
}

TEST_F(IeeeExport, OrientationTurnsAboutTheLocationAndExtentsDontMoveIt) {
    ISch_Lib* library = NewLibrary();
    for (int orientation = 0; orientation < 4; ++orientation)
        AddSymbolComponent(library, "T" + std::to_string(orientation), 7, orientation);
    AddSymbolComponent(library, "ARC1", 26, 1);
    // A body away from the origin: the body moves to (0, 0), the symbol keeps its place.
    ISch_Component* shifted = AddComponent(library, "SHIFTED");
    AddRectangle(shifted, {Unit(20), Unit(-100)}, {Unit(120), Unit(-10)});
    auto* ieee = Make<ISch_Symbol>(eSymbol);
    ieee->SetState_Symbol(17);
    ieee->SetState_Location({Unit(50), Unit(-50)});
    shifted->AddSchObject(ieee);
    auto views = Export(library);

    // Symbol 7, point (6, 3) relative to the symbol; in Capture (6, -3) from (40, 40).
    const std::pair<int, int> turned[] = {{46, 37}, {37, 34}, {34, 43}, {43, 46}};
    for (int orientation = 0; orientation < 4; ++orientation) {
        auto* polyline = dynamic_cast<dbo::TDboLibPolyLine*>(views["T" + std::to_string(orientation)]->GetInstances(1));
        ASSERT_NE(polyline, nullptr);
        const dbo::TDboVertex* v = polyline->Vertices.GetVertices(1);
        EXPECT_EQ(std::make_pair(int(v->X), int(v->Y)), turned[orientation]) << "orientation " << orientation;
        const dbo::TDboVertex* first = polyline->Vertices.GetVertices(0);
        EXPECT_EQ(std::make_pair(int(first->X), int(first->Y)), std::make_pair(40, 40));
    }
    // An arc turns its ends and its two corners, which aren't sorted again: centre (80, 40) in
    // Capture, radius 20, turned once about (40, 40).
    auto* arc = dynamic_cast<dbo::TDboLibArc*>(views["ARC1"]->GetInstances(1));
    ASSERT_NE(arc, nullptr);
    EXPECT_EQ(std::make_pair(arc->BoundBoxLeft, arc->BoundBoxTop), std::make_pair(20, 20));
    EXPECT_EQ(std::make_pair(arc->BoundBoxRight, arc->BoundBoxBott), std::make_pair(60, -20));
    EXPECT_EQ(std::make_pair(arc->StartX, arc->StartY), std::make_pair(60, 0));  // (80, 60) before the turn
    EXPECT_EQ(std::make_pair(arc->EndX, arc->EndY), std::make_pair(20, 0));

    const dbo::TDboGraphicInstanceList& graphics = *views["SHIFTED"];
    auto* body = dynamic_cast<dbo::TDboLibBox*>(graphics.GetInstances(0));
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(std::make_pair(body->UpperLeftX, body->UpperLeftY), std::make_pair(0, 90));
    auto* line = dynamic_cast<dbo::TDboLibPolyLine*>(graphics.GetInstances(1));
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(std::make_pair(int(line->Vertices.GetVertices(0)->X), int(line->Vertices.GetVertices(0)->Y)),
              std::make_pair(50, 44));
}
