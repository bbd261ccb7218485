#include "host/Connectivity.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <set>

namespace orcadx::host::impl {

namespace {

enum class Role { Wire, Bus, Pin, Port, Power, OffSheet, Entry, BusEntry, NetLabel };

struct Item {
    ObjectCore* Object;
    Role Kind;
    std::vector<Coord> Points;  // vertices of a wire or bus, electrical points of the others
};

void Gather(ObjectCore* container, std::vector<Item>& items) {
    for (ObjectCore* o : container->Children()) {
        if (!IsShownOnSheet(o)) continue;
        switch (o->Kind()) {
            case eWire: items.push_back({o, Role::Wire, o->GetVertices()}); break;
            case eBus: items.push_back({o, Role::Bus, o->GetVertices()}); break;
            case ePin:
                if (!o->GetBool("IsHidden")) items.push_back({o, Role::Pin, {PinHotSpot(*o)}});
                break;
            case ePort: {
                Coord a, b;
                PortEnds(*o, a, b);
                items.push_back({o, Role::Port, {a, b}});
                break;
            }
            case ePowerObject: items.push_back({o, Role::Power, {o->GetCoord(kLocation)}}); break;
            case eCrossSheetConnector: items.push_back({o, Role::OffSheet, {o->GetCoord(kLocation)}}); break;
            case eSheetEntry: items.push_back({o, Role::Entry, {SheetEntryLocation(*o)}}); break;
            case eBusEntry: items.push_back({o, Role::BusEntry, {o->GetCoord(kLocation), o->GetCoord(kCorner)}}); break;
            case eNetLabel: items.push_back({o, Role::NetLabel, {o->GetCoord(kLocation)}}); break;
            default: break;
        }
        if (o->Kind() == eSchComponent || o->Kind() == eSheetSymbol) Gather(o, items);
    }
}

bool Inside(Coord p, Coord a, Coord b) {
    int64_t cross = int64_t(b.X - a.X) * (p.Y - a.Y) - int64_t(b.Y - a.Y) * (p.X - a.X);
    if (cross != 0) return false;
    return std::min(a.X, b.X) <= p.X && p.X <= std::max(a.X, b.X) && std::min(a.Y, b.Y) <= p.Y &&
           p.Y <= std::max(a.Y, b.Y);
}

// How many wire ends of a wire or bus meet at `p`: an end counts 1, a pass through the middle 2.
int32_t Touches(const Item& line, Coord p) {
    int32_t n = 0;
    const auto& v = line.Points;
    for (size_t i = 0; i + 1 < v.size(); ++i) {
        if (v[i] == v[i + 1]) continue;
        if (p == v[i] || p == v[i + 1]) ++n;
        else if (Inside(p, v[i], v[i + 1])) n += 2;
    }
    return n;
}

bool IsLine(const Item& item) { return item.Kind == Role::Wire || item.Kind == Role::Bus; }

struct PointKey {
    bool operator()(const Coord& a, const Coord& b) const { return a.X != b.X ? a.X < b.X : a.Y < b.Y; }
};

std::set<Coord, PointKey> Candidates(const std::vector<Item>& items) {
    std::set<Coord, PointKey> points;
    for (const Item& item : items)
        if (item.Kind != Role::NetLabel)
            for (Coord p : item.Points) points.insert(p);
    return points;
}

class ConnectionsArray final : public IConnectionsArray {
public:
    explicit ConnectionsArray(std::vector<ConnectionPoint> points) : points_(std::move(points)) {}
    int32_t GetState_ConnectionsCount() override { return static_cast<int32_t>(points_.size()); }
    Coord GetState_ConnectionLocation(int32_t index) override { return At(index).Location; }
    int32_t GetState_ConnectionObjectsCount(int32_t index) override { return At(index).ObjectCount; }

private:
    const ConnectionPoint& At(int32_t index) {
        if (index < 0 || index >= static_cast<int32_t>(points_.size()))
            throw EApiErr("Connection index " + std::to_string(index) + " out of range");
        return points_[index];
    }
    std::vector<ConnectionPoint> points_;
};

class UnionFind {
public:
    explicit UnionFind(size_t n) : parent_(n) { std::iota(parent_.begin(), parent_.end(), size_t{0}); }
    size_t Find(size_t i) {
        while (parent_[i] != i) i = parent_[i] = parent_[parent_[i]];
        return i;
    }
    void Join(size_t a, size_t b) {
        a = Find(a);
        b = Find(b);
        if (a != b) parent_[std::max(a, b)] = std::min(a, b);
    }

private:
    std::vector<size_t> parent_;
};

}  // namespace

std::vector<ConnectionPoint> ConnectionPoints(ObjectCore& sheet, bool buses) {
    std::vector<Item> items;
    Gather(&sheet, items);
    std::vector<ConnectionPoint> out;
    for (Coord p : Candidates(items)) {
        int32_t count = 0;
        bool involved = false;
        for (const Item& item : items) {
            if (item.Kind == Role::NetLabel) continue;
            if (IsLine(item)) {
                int32_t n = Touches(item, p);
                count += n;
                if (n > 0 && (item.Kind == Role::Bus) == buses) involved = true;
            } else {
                count += static_cast<int32_t>(std::count(item.Points.begin(), item.Points.end(), p));
            }
        }
        if (involved && count >= 2) out.push_back({p, count});
    }
    return out;
}

std::unique_ptr<IConnectionsArray> ComputeConnections(ObjectCore& sheet, bool buses) {
    return std::make_unique<ConnectionsArray>(ConnectionPoints(sheet, buses));
}

std::vector<NetInfo> CompileNets(ObjectCore& sheet) {
    std::vector<Item> items;
    Gather(&sheet, items);
    UnionFind sets(items.size());

    // Objects that meet at a point join; a wire and a bus only through the objects between them.
    for (Coord p : Candidates(items)) {
        std::vector<size_t> wires, buses, others;
        for (size_t i = 0; i < items.size(); ++i) {
            const Item& item = items[i];
            if (item.Kind == Role::NetLabel || item.Kind == Role::BusEntry) continue;
            if (IsLine(item)) {
                if (Touches(item, p) > 0) (item.Kind == Role::Wire ? wires : buses).push_back(i);
            } else if (std::find(item.Points.begin(), item.Points.end(), p) != item.Points.end()) {
                others.push_back(i);
            }
        }
        std::vector<size_t> group = wires;
        if (!wires.empty() || buses.empty()) group.insert(group.end(), others.begin(), others.end());
        for (size_t i = 1; i < group.size(); ++i) sets.Join(group[0], group[i]);
        group = buses;
        if (wires.empty()) group.insert(group.end(), others.begin(), others.end());
        for (size_t i = 1; i < group.size(); ++i) sets.Join(group[0], group[i]);
    }
    // A net label names the wire or bus it stands on.
    for (size_t i = 0; i < items.size(); ++i) {
        if (items[i].Kind != Role::NetLabel) continue;
        Coord p = items[i].Points[0];
        bool busName = items[i].Object->GetStr("Text").find("..") != std::string::npos;
        for (size_t k = 0; k < items.size(); ++k) {
            if (!IsLine(items[k]) || (items[k].Kind == Role::Bus) != busName || Touches(items[k], p) == 0) continue;
            sets.Join(i, k);
            break;
        }
    }
    // Names: objects of one name form one net.
    auto nameOf = [](const Item& item) -> std::string {
        switch (item.Kind) {
            case Role::NetLabel:
            case Role::Power:
            case Role::OffSheet: return item.Object->GetStr("Text");
            case Role::Port:
            case Role::Entry: return item.Object->GetStr("Name");
            default: return {};
        }
    };
    std::map<std::string, size_t> byName;
    for (size_t i = 0; i < items.size(); ++i) {
        std::string name = nameOf(items[i]);
        if (name.empty() || items[i].Kind == Role::Entry) continue;
        auto [it, fresh] = byName.emplace(name, i);
        if (!fresh) sets.Join(it->second, i);
    }

    auto priority = [](Role r) {
        switch (r) {
            case Role::NetLabel: return 0;
            case Role::Power: return 1;
            case Role::Port: return 2;
            case Role::OffSheet: return 3;
            case Role::Entry: return 4;
            default: return 9;
        }
    };
    std::vector<NetInfo> nets;
    std::map<size_t, size_t> netOfRoot;
    int unnamed = 0;
    for (size_t i = 0; i < items.size(); ++i) {
        if (!IsLine(items[i])) continue;
        size_t root = sets.Find(i);
        auto it = netOfRoot.find(root);
        if (it == netOfRoot.end()) {
            std::string name;
            int best = 9;
            std::string pinName;
            for (size_t k = 0; k < items.size(); ++k) {
                if (sets.Find(k) != root) continue;
                std::string n = nameOf(items[k]);
                if (!n.empty() && priority(items[k].Kind) < best) {
                    best = priority(items[k].Kind);
                    name = n;
                }
                if (pinName.empty() && items[k].Kind == Role::Pin) {
                    ObjectCore* component = items[k].Object->OwnerComponent();
                    std::string designator;
                    if (component)
                        for (ObjectCore* c : component->Children())
                            if (c->Kind() == eDesignator) designator = DisplayString(*c);
                    pinName = "Net" + designator + "_" + items[k].Object->GetStr("Designator");
                }
            }
            if (name.empty()) name = !pinName.empty() ? pinName : "N" + std::to_string(++unnamed);
            it = netOfRoot.emplace(root, nets.size()).first;
            nets.push_back({name, {}});
        }
        nets[it->second].WireIds.push_back(items[i].Object->GetStr("UniqueId"));
    }
    return nets;
}

}  // namespace orcadx::host::impl
