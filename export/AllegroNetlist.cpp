#include "export/AllegroNetlist.h"

#include <algorithm>
#include <ctime>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

#include <fmt/format.h>

#include "dbo/DboDesign.h"
#include "export/NetlistWriters.h"
#include "platform/TextCompare.h"

namespace orcadx::exporter {

namespace {

using platform::UpperCaseAscii;

std::string Lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return text;
}

// One name of a lower-case design path: wrapped in backslashes when it begins with a digit or holds
// anything but letters, digits and "_" ("\vdd2.85\", "\0\").
std::string PathName(const std::string& name) {
    std::string lower = Lower(name);
    bool plain = !lower.empty() && !(lower[0] >= '0' && lower[0] <= '9');
    for (char c : lower)
        if (!((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_')) plain = false;
    return plain ? lower : "\\" + lower + "\\";
}

std::string FileStem(const std::string& fileName) {
    size_t dot = fileName.rfind('.');
    return dot == std::string::npos || dot == 0 ? fileName : fileName.substr(0, dot);
}

// Design paths of the sheet occurrences: '@ROOT.VIEW(SCH_1):' and, one level down,
// '@ROOT.VIEW(SCH_1):BLK1@ROOT.INNER(SCH_1):', in upper case and in the escaped lower case.
class DesignPaths {
public:
    explicit DesignPaths(const host::Netlist& netlist) : netlist_(netlist) {
        root_ = UpperCaseAscii(netlist.Title.empty() ? std::string("DESIGN") : netlist.Title);
        upper_.resize(netlist.Occurrences.size());
        lower_.resize(netlist.Occurrences.size());
        page_.resize(netlist.Occurrences.size());
        std::unordered_map<size_t, int> pagesOfScope;
        std::vector<size_t> parentAtDepth;
        for (size_t i = 0; i < netlist.Occurrences.size(); ++i) {
            const host::SheetOccurrence& o = netlist.Occurrences[i];
            page_[i] = ++pagesOfScope[o.Scope];
            std::string view = UpperCaseAscii(FileStem(o.Sheet));
            // Occurrences come in walking order: the parent of one at depth d is the last one met at
            // depth d - 1.
            size_t depth = o.Path.size();
            parentAtDepth.resize(depth + 1);
            parentAtDepth[depth] = i;
            if (depth == 0) {
                if (view_.empty()) view_ = view;
                upper_[i] = "@" + root_ + "." + view_ + "(SCH_1):";
                lower_[i] = "@" + PathName(root_) + "." + PathName(view_) + "(sch_1):";
            } else {
                size_t parent = parentAtDepth[depth - 1];
                const std::string& block = o.Path.back();
                upper_[i] = upper_[parent] + UpperCaseAscii(block) + "@" + root_ + "." + view + "(SCH_1):";
                lower_[i] = lower_[parent] + PathName(block) + "@" + PathName(root_) + "." + PathName(view) + "(sch_1):";
            }
        }
        if (view_.empty()) view_ = "SCHEMATIC1";
    }

    std::string NetPath(const std::string& name) const { return "@" + root_ + "." + view_ + "(SCH_1):" + name; }
    std::string NetSignal(const std::string& name) const {
        return "@" + PathName(root_) + "." + PathName(view_) + "(sch_1):" + PathName(name);
    }
    std::string Instance(size_t part) const {
        const host::NetlistPart& p = netlist_.Parts[part];
        return upper_.at(p.Occurrence) + "INS" + std::to_string(part + 1) + "@" + Cell(p, true);
    }
    std::string InstanceLower(size_t part, bool page) const {
        const host::NetlistPart& p = netlist_.Parts[part];
        std::string ins = (page ? "page" + std::to_string(page_.at(p.Occurrence)) + "_" : std::string()) + "ins" +
                          std::to_string(part + 1);
        return lower_.at(p.Occurrence) + ins + "@" + Cell(p, false);
    }
    const std::string& Root() const { return root_; }

private:
    std::string Cell(const host::NetlistPart& p, bool upper) const {
        std::string library = LibraryStem(p.Library);
        if (library.empty()) library = root_;
        if (upper) return UpperCaseAscii(library) + "." + UpperCaseAscii(p.LibReference) + ".NORMAL(CHIPS)";
        return PathName(library) + "." + PathName(p.LibReference + ".normal") + "(chips)";
    }

    const host::Netlist& netlist_;
    std::string root_, view_;
    std::vector<std::string> upper_, lower_;
    std::vector<int> page_;
};

// The library parts of a netlist: one per part name, footprint, value and pins.
struct Primitive {
    std::string Name;
    const host::NetlistPart* Sample;
};

std::string Signature(const host::NetlistPart& p) {
    std::string s = p.LibReference + "\x1f" + p.Footprint + "\x1f" + p.Value;
    for (const host::PackagePin& pin : p.Package) {
        s += "\x1e" + pin.Name + (pin.Hidden ? "\x1dH" + pin.HiddenNet : "");
        for (const std::string& n : pin.Numbers) s += "\x1d" + n;
    }
    return s;
}

std::string SectionLetter(int32_t part) {
    std::string out;
    for (int32_t n = part; n > 0; n = (n - 1) / 26) out.insert(out.begin(), char('A' + (n - 1) % 26));
    return out;
}

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

// "Mar 02 2016 00:37:24", the form of Capture's POST_TIME.
std::string PostTime(const AllegroStamp& stamp) {
    std::string date = stamp.Date;
    std::replace(date.begin(), date.end(), '-', ' ');
    return date + " " + stamp.Time;
}

}  // namespace

AllegroStamp StampNow(const std::string& writer) {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char date[32], time[32];
    std::strftime(date, sizeof date, "%b-%d-%Y", &local);
    std::strftime(time, sizeof time, "%H:%M:%S", &local);
    return {writer, date, time};
}

AllegroNetlistFiles WriteAllegroNetlist(const host::Netlist& netlist, const AllegroStamp& stamp) {
    DesignPaths paths(netlist);
    std::string header = "{ Using " + stamp.Writer + " on " + stamp.Date + " at " + stamp.Time + " }\n";
    AllegroNetlistFiles files;

    // Library parts, named after part name, footprint and value; a second part of the same name and
    // other pins is numbered.
    std::vector<Primitive> primitives;
    std::vector<size_t> primitiveOf(netlist.Parts.size());
    {
        std::unordered_map<std::string, size_t> bySignature;
        std::unordered_set<std::string> names;
        for (size_t i = 0; i < netlist.Parts.size(); ++i) {
            const host::NetlistPart& p = netlist.Parts[i];
            auto [it, fresh] = bySignature.emplace(Signature(p), primitives.size());
            if (fresh) {
                std::string base = UpperCaseAscii(p.LibReference + "_" + p.Footprint + "_" + p.Value), name = base;
                for (int k = 2; !names.insert(name).second; ++k) name = base + "_" + std::to_string(k);
                primitives.push_back({name, &p});
            }
            primitiveOf[i] = it->second;
        }
    }

    // pstxnet.dat: the nets in natural order of their names, the pins of each in natural order;
    // hidden pins that join their net by name stand in pstchip.dat instead, and pins that touch
    // nothing in NC.
    std::vector<const host::NetlistNet*> nets;
    std::vector<std::pair<size_t, size_t>> unconnected;  // part, pin
    for (const host::NetlistNet& net : netlist.Nets) {
        if (net.Unconnected) {
            for (const host::NetlistNode& n : net.Nodes) unconnected.emplace_back(n.Part, n.Pin);
            continue;
        }
        nets.push_back(&net);
    }
    std::stable_sort(nets.begin(), nets.end(),
                     [](const host::NetlistNet* a, const host::NetlistNet* b) { return dbo::NaturalLess(a->Name, b->Name); });
    auto nodeLess = [&](const std::pair<size_t, size_t>& a, const std::pair<size_t, size_t>& b) {
        return NodeLess(netlist, a.first, a.second, b.first, b.second);
    };
    auto writeNode = [&](std::string& out, size_t part, size_t pin) {
        const host::NetlistPart& p = netlist.Parts[part];
        out += "NODE_NAME\t" + UpperCaseAscii(p.Designator) + " " + p.Pins[pin].Number + "\n";
        out += " " + Quoted(paths.Instance(part)) + ":\n";
        out += " " + Quoted(p.Pins[pin].Name) + ":;\n";
    };
    std::string& out = files.Nets;
    out = "FILE_TYPE = EXPANDEDNETLIST;\n" + header;
    for (const host::NetlistNet* net : nets) {
        std::vector<std::pair<size_t, size_t>> nodes;
        for (const host::NetlistNode& n : net->Nodes) {
            const host::NetlistPin& pin = netlist.Parts[n.Part].Pins[n.Pin];
            if (!(pin.Hidden && !pin.HiddenNet.empty())) nodes.emplace_back(n.Part, n.Pin);
        }
        if (nodes.empty()) continue;
        std::sort(nodes.begin(), nodes.end(), nodeLess);
        out += "NET_NAME\n" + Quoted(net->Name) + "\n";
        out += " " + Quoted(paths.NetPath(net->Name)) + ":\n";
        out += " C_SIGNAL=" + Quoted(paths.NetSignal(net->Name)) + ";\n";
        for (auto [part, pin] : nodes) writeNode(out, part, pin);
    }
    if (!unconnected.empty()) {
        std::sort(unconnected.begin(), unconnected.end(), nodeLess);
        out += "NET_NAME\n'NC'\n 'NC':\n C_SIGNAL='NC';\n";
        for (auto [part, pin] : unconnected) writeNode(out, part, pin);
    }
    out += "END.\n";

    // pstxprt.dat: one PART_NAME per designator, with its placed sections.
    std::string& parts = files.Parts;
    parts = "FILE_TYPE = EXPANDEDPARTLIST;\n" + header;
    parts += "DIRECTIVES\n PST_VERSION='PST_HDL_CENTRIC_VERSION_0';\n ROOT_DRAWING=" + Quoted(paths.Root()) +
             ";\n POST_TIME=" + Quoted(PostTime(stamp)) + ";\n SOURCE_TOOL='CAPTURE_WRITER';\nEND_DIRECTIVES;\n\n";
    for (const std::vector<size_t>& package : PartPackages(netlist)) {
        const host::NetlistPart& first = netlist.Parts[package[0]];
        parts += "PART_NAME\n " + UpperCaseAscii(first.Designator) + " " + Quoted(primitives[primitiveOf[package[0]]].Name) +
                 ":;\n\n";
        for (size_t i : package) {
            const host::NetlistPart& p = netlist.Parts[i];
            parts += "SECTION_NUMBER " + std::to_string(p.PartId) + "\n";
            parts += " " + Quoted(paths.Instance(i)) + ":\n";
            parts += " C_PATH=" + Quoted(paths.InstanceLower(i, false)) + ",\n";
            parts += " P_PATH=" + Quoted(paths.InstanceLower(i, true)) + ",\n";
            parts += " PRIM_FILE='.\\pstchip.dat',\n";
            parts += " SECTION=" + Quoted(p.PartCount > 1 ? SectionLetter(p.PartId) : "") + ";\n\n";
        }
    }
    parts += "END.\n";

    // pstchip.dat: each library part with its pins (one number per section) and, in its body, the
    // hidden pins that join a net by name.
    std::string& chips = files.Chips;
    chips = "FILE_TYPE=LIBRARY_PARTS;\n" + header;
    for (const Primitive& primitive : primitives) {
        const host::NetlistPart& p = *primitive.Sample;
        chips += "primitive " + Quoted(primitive.Name) + ";\n  pin\n";
        std::vector<std::pair<std::string, std::string>> power;
        for (const host::PackagePin& pin : p.Package) {
            if (pin.Hidden && !pin.HiddenNet.empty()) {
                for (const std::string& n : pin.Numbers)
                    if (!n.empty() && std::find(power.begin(), power.end(), std::make_pair(pin.HiddenNet, n)) == power.end())
                        power.emplace_back(pin.HiddenNet, n);
                continue;
            }
            std::string numbers;
            for (const std::string& n : pin.Numbers) numbers += (numbers.empty() ? "" : ",") + (n.empty() ? "0" : n);
            chips += "    " + Quoted(pin.Name) + ":\n      PIN_NUMBER=" + Quoted("(" + numbers + ")") + ";\n";
            chips += std::string("      PINUSE=") + (pin.Electrical == host::ePinPower ? "'POWER'" : "'UNSPEC'") + ";\n";
        }
        chips += "  end_pin;\n  body\n";
        for (const auto& [net, number] : power) chips += "    POWER_PINS=" + Quoted("(" + net + ":" + number + ")") + ";\n";
        chips += "    PART_NAME=" + Quoted(p.LibReference) + ";\n";
        chips += "    JEDEC_TYPE=" + Quoted(p.Footprint) + ";\n";
        chips += "    VALUE=" + Quoted(p.Value) + ";\n";
        chips += "  end_body;\nend_primitive;\n";
    }
    chips += "END.\n";
    return files;
}

void SaveAllegroNetlist(const AllegroNetlistFiles& files, const std::filesystem::path& folder) {
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    for (auto [name, text] : {std::pair{"pstxnet.dat", &files.Nets}, std::pair{"pstxprt.dat", &files.Parts},
                              std::pair{"pstchip.dat", &files.Chips}}) {
        std::filesystem::path path = folder / name;
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file << *text;
        if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
    }
}

// ----- Reading -----------------------------------------------------------------------------------

namespace {

class Lines {
public:
    Lines(const std::string& text, std::string file) : file_(std::move(file)) {
        std::istringstream in(text);
        std::string line;
        while (std::getline(in, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            lines_.push_back(line);
        }
    }
    bool AtEnd() const { return pos_ >= lines_.size(); }
    const std::string& Peek() const { return lines_[pos_]; }
    const std::string& Next() {
        line_ = pos_ + 1;
        if (AtEnd()) Fail("the file ends too early");
        return lines_[pos_++];
    }
    // Names the line last read, or the one missing at the end.
    [[noreturn]] void Fail(const std::string& what) const {
        throw std::runtime_error(file_ + ", line " + std::to_string(line_) + ": " + what);
    }
    // The text between the first pair of single quotes of a line.
    std::string Quote(const std::string& line) const {
        size_t a = line.find('\''), b = line.rfind('\'');
        if (a == std::string::npos || b <= a) Fail("no quoted text in \"" + line + "\"");
        return line.substr(a + 1, b - a - 1);
    }

private:
    std::string file_;
    std::vector<std::string> lines_;
    size_t pos_ = 0;
    size_t line_ = 0;
};

std::string TrimBlanks(const std::string& s) {
    size_t a = s.find_first_not_of(" \t"), b = s.find_last_not_of(" \t");
    return a == std::string::npos ? std::string() : s.substr(a, b - a + 1);
}

bool StartsWith(const std::string& s, const std::string& prefix) { return s.compare(0, prefix.size(), prefix) == 0; }

void ReadNets(const std::string& text, AllegroNetlist& out) {
    Lines in(text, "pstxnet.dat");
    while (!in.AtEnd()) {
        std::string line = in.Next();
        if (line == "NET_NAME") {
            AllegroNet net;
            net.Name = in.Quote(in.Next());
            in.Next();  // design path
            if (!StartsWith(TrimBlanks(in.Next()), "C_SIGNAL=")) in.Fail("C_SIGNAL expected");
            out.Nets.push_back(std::move(net));
        } else if (StartsWith(line, "NODE_NAME")) {
            if (out.Nets.empty()) in.Fail("a node before the first net");
            std::string rest = TrimBlanks(line.substr(9));
            size_t space = rest.find(' ');
            if (space == std::string::npos) in.Fail("NODE_NAME without a pin number");
            AllegroNode node{rest.substr(0, space), TrimBlanks(rest.substr(space + 1)), {}};
            in.Next();  // instance path
            node.PinName = in.Quote(in.Next());
            // Newer writers follow with a block of properties up to a lone ";", which the loop passes.
            out.Nets.back().Nodes.push_back(std::move(node));
        } else if (line == "END.") {
            return;
        }
    }
}

void ReadParts(const std::string& text, AllegroNetlist& out) {
    Lines in(text, "pstxprt.dat");
    while (!in.AtEnd()) {
        std::string line = in.Next();
        if (line == "PART_NAME") {
            std::string entry = TrimBlanks(in.Next());
            size_t space = entry.find(' ');
            if (space == std::string::npos) in.Fail("PART_NAME without a library part");
            out.Packages.push_back({entry.substr(0, space), in.Quote(entry), {}});
        } else if (StartsWith(TrimBlanks(line), "SECTION=")) {
            if (out.Packages.empty()) in.Fail("a section before the first part");
            out.Packages.back().Sections.push_back(in.Quote(line));
        } else if (line == "END.") {
            return;
        }
    }
}

void ReadChips(const std::string& text, AllegroNetlist& out) {
    Lines in(text, "pstchip.dat");
    bool body = false;
    while (!in.AtEnd()) {
        std::string line = TrimBlanks(in.Next());
        if (StartsWith(line, "primitive ")) {
            out.Primitives.push_back({in.Quote(line), {}, {}, {}});
            body = false;
        } else if (line == "body") {
            body = true;
        } else if (line == "end_body;") {
            body = false;
        } else if (out.Primitives.empty() || line == "pin" || line == "end_pin;" || line == "end_primitive;") {
            continue;
        } else if (!body && line.size() > 1 && line[0] == '\'' && line.back() == ':') {
            out.Primitives.back().Pins.emplace_back(in.Quote(line), "");
        } else if (!body && StartsWith(line, "PIN_NUMBER=")) {
            if (out.Primitives.back().Pins.empty()) in.Fail("PIN_NUMBER before a pin");
            out.Primitives.back().Pins.back().second = in.Quote(line);
        } else if (body && StartsWith(line, "POWER_PINS=")) {
            std::string value = in.Quote(line);  // (net:pin)
            size_t colon = value.rfind(':');
            if (value.size() < 3 || value.front() != '(' || value.back() != ')' || colon == std::string::npos)
                in.Fail("POWER_PINS is not (net:pin)");
            out.Primitives.back().PowerPins.emplace_back(value.substr(1, colon - 1), value.substr(colon + 1, value.size() - colon - 2));
        } else if (body && line.find('=') != std::string::npos) {
            size_t eq = line.find('=');
            out.Primitives.back().Body[line.substr(0, eq)] = in.Quote(line);
        } else if (line == "END.") {
            return;
        }
    }
}

std::string ReadFileText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path.string());
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

AllegroNetlist ReadAllegroNetlist(const AllegroNetlistFiles& files) {
    AllegroNetlist out;
    ReadNets(files.Nets, out);
    ReadParts(files.Parts, out);
    ReadChips(files.Chips, out);
    return out;
}

AllegroNetlist LoadAllegroNetlist(const std::filesystem::path& folder) {
    return ReadAllegroNetlist({ReadFileText(folder / "pstxnet.dat"), ReadFileText(folder / "pstxprt.dat"),
                               ReadFileText(folder / "pstchip.dat")});
}

// ----- Comparing ---------------------------------------------------------------------------------

namespace {

// The nets of a netlist as sets of pins: NC's pins one net each, hidden power pins added.
struct PinNets {
    std::vector<std::string> Names;
    std::vector<bool> NoConnect;
    std::vector<std::set<std::string>> Pins;     // "DESIGNATOR.PIN", upper case
    std::unordered_map<std::string, size_t> NetOf;
};

PinNets ToPinNets(const AllegroNetlist& netlist) {
    PinNets out;
    std::unordered_map<std::string, size_t> byName;
    auto add = [&](size_t net, const std::string& designator, const std::string& pin) {
        std::string key = UpperCaseAscii(designator) + "." + UpperCaseAscii(pin);
        if (out.NetOf.emplace(key, net).second) out.Pins[net].insert(key);
    };
    auto newNet = [&](const std::string& name, bool nc) {
        out.Names.push_back(name);
        out.NoConnect.push_back(nc);
        out.Pins.emplace_back();
        return out.Names.size() - 1;
    };
    for (const AllegroNet& net : netlist.Nets) {
        if (net.Name == "NC") {
            for (const AllegroNode& node : net.Nodes) add(newNet("NC", true), node.Designator, node.Pin);
            continue;
        }
        auto [it, fresh] = byName.emplace(UpperCaseAscii(net.Name), 0);
        if (fresh) it->second = newNet(net.Name, false);
        for (const AllegroNode& node : net.Nodes) add(it->second, node.Designator, node.Pin);
    }
    std::unordered_map<std::string, const AllegroPrimitive*> primitives;
    for (const AllegroPrimitive& p : netlist.Primitives) primitives[p.Name] = &p;
    for (const AllegroPackage& package : netlist.Packages) {
        auto p = primitives.find(package.Primitive);
        if (p == primitives.end()) continue;
        for (const auto& [name, pin] : p->second->PowerPins) {
            auto [it, fresh] = byName.emplace(UpperCaseAscii(name), 0);
            if (fresh) it->second = newNet(name, false);
            add(it->second, package.Designator, pin);
        }
    }
    return out;
}

// Names that a writer makes up for a net without one: N12345 (Capture) and NetU1_3 (after a pin of
// the net).
bool MadeUpName(const std::string& name, const std::set<std::string>& pins) {
    if (name == "NC") return true;

    if (name.size() > 1 && (name[0] == 'N' || name[0] == 'n') &&
        name.find_first_not_of("0123456789", 1) == std::string::npos)
        return true;
    if (StartsWith(name, "Net")) {
        std::string rest = UpperCaseAscii(name.substr(3));
        for (const std::string& pin : pins) {
            size_t dot = pin.rfind('.');
            if (rest == pin.substr(0, dot) + "_" + pin.substr(dot + 1)) return true;
        }
    }
    return false;
}

// A name without the number that makes it unique ("NRST_258567", "nRST_1" give "NRST", "nRST"):
// Capture gives nets whose names differ only in case the net's id, this netlist a count.
std::string WithoutNumber(const std::string& name) {
    size_t underscore = name.rfind('_');
    if (underscore == std::string::npos || underscore == 0 || underscore + 1 == name.size() ||
        name.find_first_not_of("0123456789", underscore + 1) != std::string::npos)
        return name;
    return name.substr(0, underscore);
}

std::string Join(const std::vector<std::string>& items, size_t limit = 12) {
    std::string out;
    for (size_t i = 0; i < items.size() && i < limit; ++i) out += (i ? ", " : "") + items[i];
    if (items.size() > limit) out += fmt::format(" and {} more", items.size() - limit);
    return out;
}

std::string Describe(const PinNets& nets, size_t net) {
    return nets.NoConnect[net] ? "NC " + *nets.Pins[net].begin() : nets.Names[net];
}

}  // namespace

std::vector<std::string> CompareAllegroNetlists(const AllegroNetlist& expected, const AllegroNetlist& actual) {
    PinNets e = ToPinNets(expected), a = ToPinNets(actual);
    std::vector<std::string> out;
    // Where the pins of each net went on the other side.
    auto spread = [](const PinNets& from, size_t net, const PinNets& to, std::vector<std::string>& missing) {
        std::set<size_t> into;
        for (const std::string& pin : from.Pins[net]) {
            auto it = to.NetOf.find(pin);
            if (it == to.NetOf.end()) missing.push_back(pin);
            else into.insert(it->second);
        }
        return into;
    };
    for (size_t n = 0; n < e.Names.size(); ++n) {
        std::vector<std::string> missing;
        std::set<size_t> into = spread(e, n, a, missing);
        if (into.size() > 1) {
            std::vector<std::string> parts;
            for (size_t m : into) {
                std::vector<std::string> pins;
                for (const std::string& pin : a.Pins[m])
                    if (e.Pins[n].count(pin)) pins.push_back(pin);
                parts.push_back(Describe(a, m) + " (" + Join(pins, 6) + ")");
            }
            out.push_back("net " + Describe(e, n) + " splits into " + Join(parts));
        }
        if (!missing.empty()) out.push_back("net " + Describe(e, n) + ": pins missing: " + Join(missing));
    }
    for (size_t m = 0; m < a.Names.size(); ++m) {
        std::vector<std::string> extra;
        std::set<size_t> from = spread(a, m, e, extra);
        if (from.size() > 1) {
            std::vector<std::string> names;
            for (size_t n : from) names.push_back(Describe(e, n));
            out.push_back("nets " + Join(names) + " merge into " + Describe(a, m));
        }
        if (!extra.empty()) out.push_back("net " + Describe(a, m) + ": pins that the expected netlist lacks: " + Join(extra));
        // One net on each side with the same pins: the names must agree where the expected one has a
        // name of its own.
        if (from.size() == 1 && extra.empty()) {
            size_t n = *from.begin();
            if (e.Pins[n] != a.Pins[m]) continue;  // reported above as a split
            bool expectedMadeUp = MadeUpName(e.Names[n], e.Pins[n]), actualMadeUp = MadeUpName(a.Names[m], a.Pins[m]);
            if (expectedMadeUp && actualMadeUp) continue;
            if (!platform::SameTextNoCase(e.Names[n], a.Names[m]) &&
                !platform::SameTextNoCase(WithoutNumber(e.Names[n]), WithoutNumber(a.Names[m])))
                out.push_back("net " + Describe(e, n) + " is called " + Describe(a, m));
        }
    }
    return out;
}

NetlistMatch MatchAllegroNetlists(const AllegroNetlist& expected, const AllegroNetlist& actual) {
    PinNets e = ToPinNets(expected), a = ToPinNets(actual);
    NetlistMatch out;
    for (size_t n = 0; n < e.Names.size(); ++n) {
        out.Nets += e.NoConnect[n] ? 0 : 1;
        out.Nodes += e.Pins[n].size();
        if (e.Pins[n].empty()) continue;
        auto it = a.NetOf.find(*e.Pins[n].begin());
        if (it == a.NetOf.end() || a.Pins[it->second] != e.Pins[n]) continue;
        out.SameNets += e.NoConnect[n] ? 0 : 1;
        out.SameNodes += e.Pins[n].size();
    }
    return out;
}

}  // namespace orcadx::exporter
