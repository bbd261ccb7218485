#include "export/NetlistWriters.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "dbo/DboDesign.h"
#include "platform/TextCompare.h"
#include "platform/TextFiles.h"

namespace orcadx::exporter {

std::vector<std::vector<size_t>> PartPackages(const host::Netlist& netlist) {
    std::vector<std::vector<size_t>> packages;
    std::unordered_map<std::string, size_t> byDesignator;
    for (size_t i = 0; i < netlist.Parts.size(); ++i) {
        auto [it, fresh] = byDesignator.emplace(platform::UpperCaseAscii(netlist.Parts[i].Designator), packages.size());
        if (fresh) packages.emplace_back();
        packages[it->second].push_back(i);
    }
    std::stable_sort(packages.begin(), packages.end(), [&](const auto& a, const auto& b) {
        return dbo::NaturalLess(netlist.Parts[a[0]].Designator, netlist.Parts[b[0]].Designator);
    });
    for (auto& p : packages)
        std::stable_sort(p.begin(), p.end(), [&](size_t a, size_t b) { return netlist.Parts[a].PartId < netlist.Parts[b].PartId; });
    return packages;
}

bool NodeLess(const host::Netlist& netlist, size_t partA, size_t pinA, size_t partB, size_t pinB) {
    const host::NetlistPart &pa = netlist.Parts[partA], &pb = netlist.Parts[partB];
    int d = dbo::NaturalCompare(pa.Designator, pb.Designator);
    if (d != 0) return d < 0;
    return dbo::NaturalLess(pa.Pins[pinA].Number, pb.Pins[pinB].Number);
}

std::string LibraryStem(const std::string& path) {
    std::string name = platform::FileNameOf(path);
    size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

namespace {

// The nodes of a net in natural order of designator and pin number.
std::vector<host::NetlistNode> SortedNodes(const host::Netlist& netlist, const host::NetlistNet& net) {
    std::vector<host::NetlistNode> nodes = net.Nodes;
    std::stable_sort(nodes.begin(), nodes.end(), [&](const host::NetlistNode& a, const host::NetlistNode& b) {
        return NodeLess(netlist, a.Part, a.Pin, b.Part, b.Pin);
    });
    return nodes;
}

// A quoted s-expression string.
std::string Q(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        if (c == '\n') {
            out += "\\n";
            continue;
        }
        if (c == '\r') continue;
        out += c;
    }
    return out + "\"";
}

// A time stamp of KiCad's form (a version-4 UUID), made from a text so that the same part always
// gets the same one.
std::string StampOf(const std::string& text) {
    auto mix = [](uint64_t z) {
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    };
    uint64_t h = 1469598103934665603ull;
    for (unsigned char c : text) h = (h ^ c) * 1099511628211ull;
    std::string hex = fmt::format("{:016x}{:016x}", mix(h), mix(h + 0x9e3779b97f4a7c15ull));
    hex[12] = '4';
    hex[16] = "89ab"[(hex[16] - '0') & 3];
    return hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" + hex.substr(16, 4) + "-" +
           hex.substr(20, 12);
}

// The library of a part by its file's name, else the design's.
std::string LibraryOf(const host::NetlistPart& part, const host::Netlist& netlist) {
    std::string library = LibraryStem(part.Library);
    return library.empty() ? netlist.Title : library;
}

}  // namespace

const char* KiCadPinType(int32_t electrical) {
    switch (electrical) {
        case host::ePinInput: return "input";
        case host::ePinBidirectional: return "bidirectional";
        case host::ePinOutput: return "output";
        case host::ePinOpenCollector: return "open_collector";
        case host::ePinTristate: return "tri_state";
        case host::ePinOpenEmitter: return "open_emitter";
        case host::ePinPower: return "power_in";
        default: return "passive";
    }
}

std::string WriteKiCadNetlist(const host::Netlist& netlist, const KiCadStamp& stamp) {
    std::string out = "(export (version \"E\")\n";
    out += "  (design\n    (source " + Q(stamp.Source) + ")\n    (date " + Q(stamp.Date) + ")\n    (tool " + Q(stamp.Tool) + ")\n";
    out += "    (sheet (number \"1\") (name \"/\") (tstamps \"/\")\n      (title_block\n        (title " + Q(netlist.Title) +
           ")\n        (company)\n        (rev)\n        (date)\n        (source " + Q(stamp.Source) + "))))\n";

    auto packages = PartPackages(netlist);
    out += "  (components";
    for (const auto& package : packages) {
        const host::NetlistPart& p = netlist.Parts[package[0]];
        std::string library = LibraryOf(p, netlist);
        out += "\n    (comp (ref " + Q(p.Designator) + ")\n      (value " + Q(p.Value.empty() ? "~" : p.Value) + ")\n";
        out += "      (footprint " + Q(p.Footprint) + ")\n";
        out += "      (libsource (lib " + Q(library) + ") (part " + Q(p.LibReference) + ") (description " + Q(p.Description) + "))\n";
        out += "      (property (name \"Sheetname\") (value " + Q(p.Sheet) + "))\n";
        std::string names = "/", stamps = "/", walked;
        for (const std::string& level : netlist.Occurrences.at(p.Occurrence).Path) {
            names += level + "/";
            walked += "/" + level;
            stamps += StampOf(walked) + "/";
        }
        out += "      (sheetpath (names " + Q(names) + ") (tstamps " + Q(stamps) + "))\n";
        out += "      (tstamps " + Q(StampOf(platform::UpperCaseAscii(p.Designator))) + "))";
    }
    out += ")\n";

    // Library parts: one per library and part name, with every pin of every section.
    out += "  (libparts";
    std::map<std::pair<std::string, std::string>, size_t> libparts;
    for (size_t i = 0; i < netlist.Parts.size(); ++i)
        libparts.emplace(std::make_pair(LibraryOf(netlist.Parts[i], netlist), netlist.Parts[i].LibReference), i);
    std::map<std::string, bool> libraries;
    for (const auto& [key, index] : libparts) {
        const host::NetlistPart& p = netlist.Parts[index];
        libraries[key.first] = true;
        out += "\n    (libpart (lib " + Q(key.first) + ") (part " + Q(key.second) + ")\n      (description " + Q(p.Description) + ")\n";
        out += "      (fields\n        (field (name \"Reference\") " + Q(p.Designator.substr(0, p.Designator.find_first_of("0123456789?"))) +
               ")\n        (field (name \"Value\") " + Q(p.Value.empty() ? "~" : p.Value) + "))\n      (pins";
        std::vector<std::pair<std::string, const host::PackagePin*>> pins;
        for (const host::PackagePin& pin : p.Package)
            for (const std::string& n : pin.Numbers)
                if (!n.empty() && std::none_of(pins.begin(), pins.end(), [&](const auto& x) { return x.first == n; }))
                    pins.emplace_back(n, &pin);
        std::stable_sort(pins.begin(), pins.end(), [](const auto& a, const auto& b) { return dbo::NaturalLess(a.first, b.first); });
        for (const auto& [number, pin] : pins)
            out += "\n        (pin (num " + Q(number) + ") (name " + Q(pin->Name) + ") (type " + Q(KiCadPinType(pin->Electrical)) + "))";
        out += "))";
    }
    out += ")\n  (libraries";
    for (const auto& [library, _] : libraries) out += "\n    (library (logical " + Q(library) + ")\n      (uri \"\"))";
    out += ")\n";

    // Nets: named ones by name, then the pins that touch nothing, each a net of its own.
    std::vector<const host::NetlistNet*> nets;
    for (const host::NetlistNet& net : netlist.Nets) nets.push_back(&net);
    std::stable_sort(nets.begin(), nets.end(), [](const host::NetlistNet* a, const host::NetlistNet* b) {
        if (a->Unconnected != b->Unconnected) return b->Unconnected;
        return dbo::NaturalLess(a->Name, b->Name);
    });
    out += "  (nets";
    size_t code = 0;
    for (const host::NetlistNet* net : nets) {
        std::vector<host::NetlistNode> nodes = SortedNodes(netlist, *net);
        std::string name = net->Name;
        if (net->Unconnected) {
            const host::NetlistPart& p = netlist.Parts[nodes[0].Part];
            name = "unconnected-(" + p.Designator + "-Pad" + p.Pins[nodes[0].Pin].Number + ")";
        }
        out += "\n    (net (code " + Q(std::to_string(++code)) + ") (name " + Q(name) + ")";
        for (const host::NetlistNode& node : nodes) {
            const host::NetlistPart& p = netlist.Parts[node.Part];
            const host::NetlistPin& pin = p.Pins[node.Pin];
            std::string type = KiCadPinType(pin.Electrical);
            if (net->Unconnected) type += "+no_connect";
            out += "\n      (node (ref " + Q(p.Designator) + ") (pin " + Q(pin.Number) + ")";
            if (!pin.Name.empty()) out += " (pinfunction " + Q(pin.Name) + ")";
            out += " (pintype " + Q(type) + "))";
        }
        out += ")";
    }
    out += "))\n";
    return out;
}

std::string WriteJsonNetlist(const host::Netlist& netlist) {
    using Json = nlohmann::ordered_json;
    Json parts = Json::array();
    for (const auto& package : PartPackages(netlist)) {
        const host::NetlistPart& p = netlist.Parts[package[0]];
        Json sections = Json::array();
        for (size_t i : package) {
            const host::NetlistPart& s = netlist.Parts[i];
            Json pins = Json::array();
            for (const host::NetlistPin& pin : s.Pins) {
                const host::NetlistNet* net = host::NetOf(netlist, pin);
                pins.push_back({{"number", pin.Number},
                                {"name", pin.Name},
                                {"type", KiCadPinType(pin.Electrical)},
                                {"hidden", pin.Hidden},
                                {"net", net && !net->Unconnected ? Json(net->Name) : Json(nullptr)}});
            }
            sections.push_back({{"part", s.PartId}, {"sheet", s.Sheet}, {"id", s.UniqueId}, {"pins", pins}});
        }
        Json parameters = Json::object();
        for (const auto& [name, text] : p.Parameters) parameters[name] = text;
        parts.push_back({{"designator", p.Designator},
                         {"value", p.Value},
                         {"part", p.LibReference},
                         {"library", p.Library},
                         {"footprint", p.Footprint},
                         {"description", p.Description},
                         {"path", netlist.Occurrences.at(p.Occurrence).Path},
                         {"sections", sections},
                         {"parameters", parameters}});
    }
    std::vector<const host::NetlistNet*> nets;
    for (const host::NetlistNet& net : netlist.Nets) nets.push_back(&net);
    std::stable_sort(nets.begin(), nets.end(),
                     [](const host::NetlistNet* a, const host::NetlistNet* b) { return dbo::NaturalLess(a->Name, b->Name); });
    Json jnets = Json::array();
    for (const host::NetlistNet* net : nets) {
        Json nodes = Json::array();
        for (const host::NetlistNode& node : SortedNodes(netlist, *net)) {
            const host::NetlistPart& p = netlist.Parts[node.Part];
            const host::NetlistPin& pin = p.Pins[node.Pin];
            nodes.push_back({{"designator", p.Designator},
                             {"pin", pin.Number},
                             {"name", pin.Name},
                             {"type", KiCadPinType(pin.Electrical)},
                             {"hidden", pin.Hidden}});
        }
        jnets.push_back({{"name", net->Name}, {"named", net->Named}, {"unconnected", net->Unconnected}, {"nodes", nodes}});
    }
    Json doc{{"format", "orcadx-netlist"},
             {"version", 1},
             {"title", netlist.Title},
             {"parts", parts},
             {"nets", jnets},
             {"problems", netlist.Problems}};
    return doc.dump(1, '\t', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace orcadx::exporter
