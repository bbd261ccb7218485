// The host's data file of standard Capture symbols: power symbols, hierarchical ports and off-page
// connectors, each a graphical component with one zero-length pin at its connection point and the
// parameters "IsSymbol" and "SymbolType" (33 power, 34 port, 35 off-page).
#include <filesystem>

#include "host/DocumentFiles.h"
#include "host/HostApplication.h"
#include "host/SchServer.h"

namespace orcadx::host {

namespace impl {

namespace {

constexpr int32_t Mil(double mils) { return static_cast<int32_t>(mils * 10000); }

class SymbolBuilder {
public:
    SymbolBuilder(SchServer& server, ObjectCore& library, const std::string& name, int32_t type)
        : server_(server) {
        auto component = MakeObject(&server, eSchComponent, true);
        component_ = component.get();
        library.AddChild(component.release());
        component_->SetStr("LibReference", name);
        component_->SetStr("DesignItemId", name);
        component_->SetInt("ComponentKind", eComponentKind_Graphical);
        for (ObjectCore* c : component_->Children()) c->SetBool("IsHidden", true);
        Parameter("IsSymbol", "True");
        Parameter("SymbolType", std::to_string(type));
    }
    void Parameter(const std::string& name, const std::string& text) {
        auto p = MakeObject(&server_, eParameter, true);
        p->SetStr("Name", name);
        p->SetStr("Text", text);
        p->SetBool("IsHidden", true);
        Add(std::move(p));
    }
    void Polyline(std::initializer_list<std::pair<double, double>> points) {
        auto line = MakeObject(&server_, ePolyline, true);
        std::vector<Coord> v;
        for (auto [x, y] : points) v.push_back({Mil(x), Mil(y)});
        line->SetVertices(v);
        line->SetCoord(kLocation, v.front());
        line->SetInt("Color", 0x000080);
        Add(std::move(line));
    }
    void Circle(double x, double y, double r) {
        auto e = MakeObject(&server_, eEllipse, true);
        e->SetCoord(kLocation, {Mil(x), Mil(y)});
        e->SetInt("Radius", Mil(r));
        e->SetInt("SecondaryRadius", Mil(r));
        e->SetBool("IsSolid", false);
        e->SetInt("Color", 0x000080);
        Add(std::move(e));
    }
    void Pin(const std::string& name, double x, double y, int32_t orientation) {
        auto pin = MakeObject(&server_, ePin, true);
        pin->SetStr("Name", name);
        pin->SetStr("Designator", "1");
        pin->SetCoord(kLocation, {Mil(x), Mil(y)});
        pin->SetInt("Orientation", orientation);
        pin->SetInt("PinLength", 0);
        pin->SetInt("Electrical", 7);
        pin->SetBool("ShowName", false);
        pin->SetBool("ShowDesignator", false);
        Add(std::move(pin));
    }

private:
    void Add(std::unique_ptr<ObjectCore> o) {
        if (o->Has("OwnerPartId")) o->SetInt("OwnerPartId", 1);
        component_->AddChild(o.release());
    }
    SchServer& server_;
    ObjectCore* component_;
};

}  // namespace

void WriteStandardSymbols(SchServer& server, const std::string& path) {
    auto library = MakeObject(&server, eSchLib, true);
    while (!library->Children().empty()) {
        ObjectCore* c = library->Children().back();
        library->RemoveChild(c);
        delete c;
    }
    // Power symbols: drawn in a box of 40 by 40 mils above (VCC) or below (GND) their pin, reaching
    // the far side of the box, so that the pin stands on an edge of the symbol's extents.
    {
        SymbolBuilder s(server, *library, "VCC_BAR", 33);
        s.Polyline({{20, -40}, {20, 0}});
        s.Polyline({{0, 0}, {40, 0}});
        s.Pin("VCC", 20, -40, 3);
    }
    {
        SymbolBuilder s(server, *library, "VCC_ARROW", 33);
        s.Polyline({{20, -40}, {20, 0}});
        s.Polyline({{5, -15}, {20, 0}, {35, -15}});
        s.Pin("VCC", 20, -40, 3);
    }
    {
        SymbolBuilder s(server, *library, "VCC_CIRCLE", 33);
        s.Polyline({{20, -40}, {20, -20}});
        s.Circle(20, -10, 10);
        s.Pin("VCC", 20, -40, 3);
    }
    {
        SymbolBuilder s(server, *library, "VCC_WAVE", 33);
        s.Polyline({{20, -40}, {20, -20}});
        s.Polyline({{0, -10}, {10, -20}, {20, -10}, {30, 0}, {40, -10}});
        s.Pin("VCC", 20, -40, 3);
    }
    {
        SymbolBuilder s(server, *library, "GND_POWER", 33);
        s.Polyline({{20, 0}, {20, -20}});
        s.Polyline({{0, -20}, {40, -20}});
        s.Polyline({{8, -28}, {32, -28}});
        s.Polyline({{16, -36}, {24, -36}});
        s.Pin("GND", 20, 0, 1);
    }
    {
        SymbolBuilder s(server, *library, "GND_SIGNAL", 33);
        s.Polyline({{20, 0}, {20, -20}});
        s.Polyline({{0, -20}, {40, -20}, {20, -40}, {0, -20}});
        s.Pin("GND", 20, 0, 1);
    }
    {
        SymbolBuilder s(server, *library, "GND_EARTH", 33);
        s.Polyline({{20, 0}, {20, -20}});
        s.Polyline({{0, -20}, {40, -20}});
        s.Polyline({{0, -20}, {-8, -36}});
        s.Polyline({{20, -20}, {12, -36}});
        s.Polyline({{40, -20}, {32, -36}});
        s.Pin("GND", 20, 0, 1);
    }
    // Ports: a body 60 by 20 mils; "-L" has its pin at the left end, "-R" at the right end.
    struct PortShape {
        const char* name;
        bool pointLeft, pointRight;
    };
    for (PortShape shape : {PortShape{"PORTNO", false, false}, PortShape{"PORTLEFT", true, false},
                            PortShape{"PORTRIGHT", false, true}, PortShape{"PORTBOTH", true, true}}) {
        for (bool left : {true, false}) {
            SymbolBuilder s(server, *library, std::string(shape.name) + (left ? "-L" : "-R"), 34);
            double l = shape.pointLeft ? 10 : 0, r = shape.pointRight ? 50 : 60;
            if (shape.pointLeft) s.Polyline({{0, -10}, {l, 0}, {r, 0}});
            else s.Polyline({{0, -10}, {0, 0}, {r, 0}});
            if (shape.pointRight) s.Polyline({{r, 0}, {60, -10}, {r, -20}});
            else s.Polyline({{r, 0}, {60, 0}, {60, -20}, {r, -20}});
            if (shape.pointLeft) s.Polyline({{r, -20}, {l, -20}, {0, -10}});
            else s.Polyline({{r, -20}, {0, -20}, {0, -10}});
            s.Pin("", left ? 0 : 60, -10, left ? 2 : 0);
        }
    }
    // Off-page connectors: two chevrons, pin at the left (-L) or right (-R) end.
    for (bool left : {true, false}) {
        SymbolBuilder s(server, *library, left ? "OFFPAGELEFT-L" : "OFFPAGELEFT-R", 35);
        s.Polyline({{10, 0}, {0, -10}, {10, -20}});
        s.Polyline({{20, 0}, {10, -10}, {20, -20}});
        s.Pin("", left ? 0 : 20, -10, left ? 2 : 0);
    }
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(NormalizePath(path)).parent_path(), ec);
    WriteDocumentFile(*library, path);
}

}  // namespace impl

void WriteStandardSymbolLibrary(HostApplication& app, const std::string& path) {
    auto* server = dynamic_cast<impl::SchServer*>(app.StartSchServer());
    if (!server) throw EApiErr("No schematic server");
    impl::WriteStandardSymbols(*server, path);
}

}  // namespace orcadx::host
