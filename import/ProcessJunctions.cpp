#include "import/ProcessJunctions.h"

#include <algorithm>
#include <unordered_map>

#include "import/HostIteration.h"
#include "platform/Status.h"

namespace orcadx::importer {

namespace {

uint64_t PointKey(int32_t x, int32_t y) {
    return (uint64_t(uint32_t(x)) << 32) | uint32_t(y);
}

// The segments of one axis, indexed for the two questions the classification asks: does a segment
// run through a point (ends excluded), and how many segments end at it.
class AxisIndex {
public:
    // `along` is the coordinate that varies along the segment, `across` the one that is constant.
    void Add(int32_t across, int32_t from, int32_t to, int32_t endX1, int32_t endY1, int32_t endX2, int32_t endY2) {
        lines_[across].push_back({std::min(from, to), std::max(from, to)});
        ++ends_[PointKey(endX1, endY1)];
        ++ends_[PointKey(endX2, endY2)];
    }

    // Sorts each line's segments by their lower end and notes the running maximum of the upper
    // ends, so that RunsThrough is a binary search.
    void Finish() {
        for (auto& [across, spans] : lines_) {
            std::sort(spans.begin(), spans.end());
            int32_t reach = INT32_MIN;
            for (Span& s : spans) s.reach = reach = std::max(reach, s.hi);
        }
    }

    // Some segment on the line `across` has lo < along < hi.
    bool RunsThrough(int32_t across, int32_t along) const {
        auto it = lines_.find(across);
        if (it == lines_.end()) return false;
        const auto& spans = it->second;
        auto first = std::lower_bound(spans.begin(), spans.end(), along,
                                      [](const Span& s, int32_t v) { return s.lo < v; });
        return first != spans.begin() && std::prev(first)->reach > along;
    }

    // At least two segments end exactly at the point.
    bool TwoEnds(int32_t x, int32_t y) const {
        auto it = ends_.find(PointKey(x, y));
        return it != ends_.end() && it->second >= 2;
    }

private:
    struct Span {
        int32_t lo, hi;
        int32_t reach = 0;  // the greatest hi of this span and all before it
        bool operator<(const Span& o) const { return lo != o.lo ? lo < o.lo : hi < o.hi; }
    };
    std::unordered_map<int32_t, std::vector<Span>> lines_;
    std::unordered_map<uint64_t, int32_t> ends_;
};

std::vector<TSegment> CollectSegments(host::ISch_Document* document, std::vector<TSegment>& verticals) {
    std::vector<TSegment> horizontals;
    for (host::ISch_Wire* wire : CollectObjects<host::ISch_Wire>(document, {host::eWire})) {
        int32_t count = wire->GetState_VertexCount();
        for (int32_t i = 1; i < count; ++i) {
            host::Coord a = wire->GetState_Vertex(i), b = wire->GetState_Vertex(i + 1);
            if (a.Y == b.Y && a.X != b.X) horizontals.push_back({a.X, a.Y, b.X, b.Y});
            else if (a.X == b.X && a.Y != b.Y) verticals.push_back({a.X, a.Y, b.X, b.Y});
        }
    }
    return horizontals;
}

std::string PointText(host::ISch_Document* document, host::Coord p) {
    return "(" + document->CoordToDisplayText(p.X) + "," + document->CoordToDisplayText(p.Y) + ")";
}

bool LocationLess(host::Coord a, host::Coord b) { return a.X != b.X ? a.X < b.X : a.Y < b.Y; }

}  // namespace

void ReportAtPoint(host::IHostApplication& app, const std::string& title, const std::string& text,
                   host::Coord location, host::ISch_Document* document) {
    host::IWorkspace* workspace = app.Workspace();
    if (!workspace) return;
    const std::string path = document ? document->GetState_DocumentName() : std::string();
    const int64_t x = location.X, y = location.Y;
    host::WorkspaceMessage message;
    message.MessageClass = "Orcad Importer : " + title;
    message.Text = text;
    message.Source = "Orcad Importer";
    message.Document = path;
    message.CallbackProcess = "SCH:Zoom";
    message.CallbackParameters = "FocusDoc=" + path + "|Object=Window" + "|Location.X=" + std::to_string(x - 5000000) +
                                 "|Location.Y=" + std::to_string(y - 5000000) + "|Corner.X=" +
                                 std::to_string(x + 5000000) + "|Corner.Y=" + std::to_string(y + 5000000);
    message.ImageIndex = 15;
    workspace->AddMessage(message);
}

void AnalyzeJunctions(host::IHostApplication& app, host::ISch_Document* document,
                      const std::vector<host::ISch_Junction*>& keep, const std::vector<host::ISch_Junction*>& drop,
                      host::ILogSection* log) {
    auto* sheet = dynamic_cast<host::ISch_Sheet*>(document);
    if (!sheet || !app.Workspace()) return;
    std::vector<host::Coord> all;
    all.reserve(keep.size() + drop.size());
    for (auto* j : keep) all.push_back(j->GetState_Location());
    for (auto* j : drop) all.push_back(j->GetState_Location());
    std::sort(all.begin(), all.end(), LocationLess);

    // The sheet doesn't change during the walk, so each array is fetched once.
    for (bool buses : {false, true}) {
        std::unique_ptr<host::IConnectionsArray> connections =
            buses ? sheet->GetState_BusConnections() : sheet->GetState_WireConnections();
        if (!connections) continue;
        const int32_t count = connections->GetState_ConnectionsCount();
        for (int32_t i = 0; i < count; ++i) {
            if (connections->GetState_ConnectionObjectsCount(i) <= 2) continue;
            host::Coord p = connections->GetState_ConnectionLocation(i);
            if (std::binary_search(all.begin(), all.end(), p, LocationLess)) continue;
            std::string text = "Auto-Junction at " + PointText(document, p) +
                               " has been added. Please check if this is desirable.";
            platform::LogMessage(log, host::kLogWarning, text);
            ReportAtPoint(app, "Net Analyzer Warning", text, p, document);
        }
    }
}

void ProcessJunctions(host::IHostApplication& app, host::ISch_Document* document,
                      host::IOrcadImporterOption* options, host::ILogSection* log) {
    if (!document) return;
    std::vector<TSegment> verticals;
    std::vector<TSegment> horizontals = CollectSegments(document, verticals);
    AxisIndex h, v;  // h: horizontals by y, along x; v: verticals by x, along y
    for (const TSegment& s : horizontals) h.Add(s.Y1, s.X1, s.X2, s.X1, s.Y1, s.X2, s.Y2);
    for (const TSegment& s : verticals) v.Add(s.X1, s.Y1, s.Y2, s.X1, s.Y1, s.X2, s.Y2);
    h.Finish();
    v.Finish();

    std::vector<host::ISch_Junction*> keep, drop;
    for (host::ISch_Junction* j : CollectObjects<host::ISch_Junction>(document, {host::eJunction})) {
        host::Coord p = j->GetState_Location();
        bool onHorizontal = h.RunsThrough(p.Y, p.X);
        bool onVertical = v.RunsThrough(p.X, p.Y);
        bool verticalEnds = v.TwoEnds(p.X, p.Y);
        bool horizontalEnds = h.TwoEnds(p.X, p.Y);
        bool stays = (onHorizontal && verticalEnds) || (onVertical && horizontalEnds) || (verticalEnds && horizontalEnds);
        (stays ? keep : drop).push_back(j);
    }
    if (options && options->GetJunctionMode() == 1) {
        keep.insert(keep.end(), drop.begin(), drop.end());
        drop.clear();
    }

    AnalyzeJunctions(app, document, keep, drop, log);

    for (host::ISch_Junction* j : keep) {
        j->SetState_Locked(true);
        std::string text = "Junction at " + PointText(document, j->GetState_Location()) + " has been added.";
        platform::LogMessage(log, host::kLogWarning, text);
        ReportAtPoint(app, "Junction Added", text, j->GetState_Location(), document);
    }
    host::ISch_ServerInterface* server = app.SchServer();
    for (host::ISch_Junction* j : drop) {
        std::string text = "Junction at " + PointText(document, j->GetState_Location()) +
                           " has been removed. It will be automatically calculated.";
        platform::LogMessage(log, host::kLogWarning, text);
        ReportAtPoint(app, "Junction Removed", text, j->GetState_Location(), document);
        if (document->RemoveSchObject(j) && server) server->DestroySchObject(j);
    }
}

}  // namespace orcadx::importer
