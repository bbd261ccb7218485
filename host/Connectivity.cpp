#include "host/Connectivity.h"

#include <algorithm>
#include <map>
#include <unordered_map>

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

bool IsLine(const Item& item) { return item.Kind == Role::Wire || item.Kind == Role::Bus; }

uint64_t PointKey(Coord p) { return (uint64_t(uint32_t(p.X)) << 32) | uint32_t(p.Y); }

bool PointLess(const Coord& a, const Coord& b) { return a.X != b.X ? a.X < b.X : a.Y < b.Y; }

// An item at a point: for a wire or bus, the wire ends it has there (an end counts 1, a pass
// through the middle of a segment 2); for any other object, how many of its points lie there.
struct Touch {
    size_t Item;
    int32_t Count;
};

// The objects of a sheet with an index of where they stand. Segments are found by their row (a
// horizontal one), their column (a vertical one) or in the short list of slanted ones, so that
// finding what meets at a point does not go over the whole sheet.
class SheetGeometry {
public:
    explicit SheetGeometry(ObjectCore& sheet) {
        Gather(&sheet, items_);
        for (size_t i = 0; i < items_.size(); ++i) {
            const Item& item = items_[i];
            if (item.Kind == Role::NetLabel) continue;
            for (Coord p : item.Points) candidates_.push_back(p);
            if (IsLine(item)) {
                const auto& v = item.Points;
                for (size_t k = 0; k + 1 < v.size(); ++k) {
                    if (v[k] == v[k + 1]) continue;
                    Segment s{i, v[k], v[k + 1]};
                    if (s.A.Y == s.B.Y) rows_[s.A.Y].push_back(s);
                    else if (s.A.X == s.B.X) columns_[s.A.X].push_back(s);
                    else slanted_.push_back(s);
                }
            } else {
                for (Coord p : item.Points) objectsAt_[PointKey(p)].push_back(i);
            }
        }
        std::sort(candidates_.begin(), candidates_.end(), PointLess);
        candidates_.erase(std::unique(candidates_.begin(), candidates_.end()), candidates_.end());
    }

    const std::vector<Item>& Items() const { return items_; }
    // Every point of every object but the net labels, sorted by x then y, each once.
    const std::vector<Coord>& Candidates() const { return candidates_; }

    // The wires and buses at `p`, in item order.
    void LinesAt(Coord p, std::vector<Touch>& out) const {
        out.clear();
        auto scan = [&](const std::vector<Segment>& segments) {
            for (const Segment& s : segments) {
                int32_t n = s.Count(p);
                if (n == 0) continue;
                out.push_back({s.Item, n});
            }
        };
        if (auto it = rows_.find(p.Y); it != rows_.end()) scan(it->second);
        if (auto it = columns_.find(p.X); it != columns_.end()) scan(it->second);
        scan(slanted_);
        std::sort(out.begin(), out.end(), [](const Touch& a, const Touch& b) { return a.Item < b.Item; });
        size_t w = 0;
        for (size_t r = 0; r < out.size(); ++r) {
            if (w > 0 && out[w - 1].Item == out[r].Item) out[w - 1].Count += out[r].Count;
            else out[w++] = out[r];
        }
        out.resize(w);
    }

    // The other objects at `p`, one entry per point of theirs that lies there, in item order.
    const std::vector<size_t>& ObjectsAt(Coord p) const {
        static const std::vector<size_t> none;
        auto it = objectsAt_.find(PointKey(p));
        return it == objectsAt_.end() ? none : it->second;
    }

private:
    struct Segment {
        size_t Item;
        Coord A, B;
        int32_t Count(Coord p) const {
            if (p == A || p == B) return 1;
            int64_t cross = int64_t(B.X - A.X) * (p.Y - A.Y) - int64_t(B.Y - A.Y) * (p.X - A.X);
            if (cross != 0) return 0;
            bool inside = std::min(A.X, B.X) <= p.X && p.X <= std::max(A.X, B.X) && std::min(A.Y, B.Y) <= p.Y &&
                          p.Y <= std::max(A.Y, B.Y);
            return inside ? 2 : 0;
        }
    };

    std::vector<Item> items_;
    std::vector<Coord> candidates_;
    std::unordered_map<int32_t, std::vector<Segment>> rows_, columns_;
    std::vector<Segment> slanted_;
    std::unordered_map<uint64_t, std::vector<size_t>> objectsAt_;
};

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

// Joins the objects that meet at a point, and each net label with the wire or bus it stands on.
// A wire and a bus meet only through the objects between them, never directly; bus entries join
// nothing.
void JoinByPlace(const SheetGeometry& geometry, UnionFind& sets) {
    const auto& items = geometry.Items();
    std::vector<Touch> lines;
    std::vector<size_t> wires, buses, others, group;
    for (Coord p : geometry.Candidates()) {
        geometry.LinesAt(p, lines);
        wires.clear();
        buses.clear();
        others.clear();
        for (const Touch& t : lines) (items[t.Item].Kind == Role::Wire ? wires : buses).push_back(t.Item);
        for (size_t i : geometry.ObjectsAt(p))
            if (items[i].Kind != Role::BusEntry && (others.empty() || others.back() != i)) others.push_back(i);
        group = wires;
        if (!wires.empty() || buses.empty()) group.insert(group.end(), others.begin(), others.end());
        for (size_t i = 1; i < group.size(); ++i) sets.Join(group[0], group[i]);
        group = buses;
        if (wires.empty()) group.insert(group.end(), others.begin(), others.end());
        for (size_t i = 1; i < group.size(); ++i) sets.Join(group[0], group[i]);
    }
    // A net label names the wire or bus it stands on: a bus when its text names a range.
    for (size_t i = 0; i < items.size(); ++i) {
        if (items[i].Kind != Role::NetLabel) continue;
        bool busName = items[i].Object->GetStr("Text").find("..") != std::string::npos;
        geometry.LinesAt(items[i].Points[0], lines);
        for (const Touch& t : lines) {
            if ((items[t.Item].Kind == Role::Bus) != busName) continue;
            sets.Join(i, t.Item);
            break;
        }
    }
}

std::string NameOf(const Item& item) {
    switch (item.Kind) {
        case Role::NetLabel:
        case Role::Power:
        case Role::OffSheet: return item.Object->GetStr("Text");
        case Role::Port:
        case Role::Entry: return item.Object->GetStr("Name");
        default: return {};
    }
}

int NamePriority(Role r) {
    switch (r) {
        case Role::NetLabel: return 0;
        case Role::Power: return 1;
        case Role::Port: return 2;
        case Role::OffSheet: return 3;
        case Role::Entry: return 4;
        default: return 9;
    }
}

}  // namespace

std::vector<ConnectionPoint> ConnectionPoints(ObjectCore& sheet, bool buses) {
    SheetGeometry geometry(sheet);
    const auto& items = geometry.Items();
    std::vector<ConnectionPoint> out;
    std::vector<Touch> lines;
    for (Coord p : geometry.Candidates()) {
        geometry.LinesAt(p, lines);
        int32_t count = 0;
        bool involved = false;
        for (const Touch& t : lines) {
            count += t.Count;
            if ((items[t.Item].Kind == Role::Bus) == buses) involved = true;
        }
        count += static_cast<int32_t>(geometry.ObjectsAt(p).size());
        if (involved && count >= 2) out.push_back({p, count});
    }
    return out;
}

std::unique_ptr<IConnectionsArray> ComputeConnections(ObjectCore& sheet, bool buses) {
    return std::make_unique<ConnectionsArray>(ConnectionPoints(sheet, buses));
}

std::vector<SheetGroup> SheetGroups(ObjectCore& sheet) {
    SheetGeometry geometry(sheet);
    const auto& items = geometry.Items();
    UnionFind sets(items.size());
    JoinByPlace(geometry, sets);
    std::vector<SheetGroup> groups;
    std::unordered_map<size_t, size_t> groupOfRoot;
    for (size_t i = 0; i < items.size(); ++i) {
        if (items[i].Kind == Role::BusEntry) continue;
        auto [it, fresh] = groupOfRoot.emplace(sets.Find(i), groups.size());
        if (fresh) groups.emplace_back();
        groups[it->second].Objects.push_back(items[i].Object);
    }
    return groups;
}

std::vector<NetInfo> CompileNets(ObjectCore& sheet) {
    SheetGeometry geometry(sheet);
    const auto& items = geometry.Items();
    UnionFind sets(items.size());
    JoinByPlace(geometry, sets);
    // Names: objects of one name form one net.
    std::map<std::string, size_t> byName;
    for (size_t i = 0; i < items.size(); ++i) {
        std::string name = NameOf(items[i]);
        if (name.empty() || items[i].Kind == Role::Entry) continue;
        auto [it, fresh] = byName.emplace(name, i);
        if (!fresh) sets.Join(it->second, i);
    }

    // The members of each set, in item order.
    std::unordered_map<size_t, std::vector<size_t>> members;
    for (size_t i = 0; i < items.size(); ++i) members[sets.Find(i)].push_back(i);

    std::vector<NetInfo> nets;
    std::unordered_map<size_t, size_t> netOfRoot;
    int unnamed = 0;
    for (size_t i = 0; i < items.size(); ++i) {
        if (!IsLine(items[i])) continue;
        size_t root = sets.Find(i);
        auto it = netOfRoot.find(root);
        if (it == netOfRoot.end()) {
            std::string name;
            int best = 9;
            std::string pinName;
            for (size_t k : members[root]) {
                std::string n = NameOf(items[k]);
                if (!n.empty() && NamePriority(items[k].Kind) < best) {
                    best = NamePriority(items[k].Kind);
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
