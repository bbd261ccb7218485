// The netlist of a whole project: every sheet occurrence's groups of touching objects (SheetGroups)
// become nodes of one union-find, joined through the names that connect them in their scopes, the
// global names, the sheet entries and the pins that several sections of a package share.
#include <algorithm>
#include <filesystem>
#include <unordered_map>
#include <unordered_set>

#include "host/Connectivity.h"
#include "host/HostApplication.h"
#include "platform/TextCompare.h"
#include "platform/TextFiles.h"

namespace orcadx::host::impl {

using platform::FileNameOf;
using platform::TrimBlanks;

namespace {

std::string Fold(const std::string& s) { return platform::UpperCaseAscii(s); }

bool IsTrue(const std::string& text) { return Fold(TrimBlanks(text)) == "TRUE"; }

ObjectCore* Parameter(ObjectCore* owner, const std::string& name) {
    for (ObjectCore* c : owner->Children())
        if (c->Kind() == eParameter && SameTextIgnoringCase(c->GetStr("Name"), name)) return c;
    return nullptr;
}

ObjectCore* ChildOf(ObjectCore* owner, int32_t kind) {
    for (ObjectCore* c : owner->Children())
        if (c->Kind() == kind) return c;
    return nullptr;
}

// The members of a bus name "D[0..7]" ("D0" ... "D7"), or of "D[7..0]" in falling order; empty for
// a name that names no range.
std::vector<std::string> BusMembers(const std::string& name) {
    size_t open = name.find('['), dots = name.find("..", open == std::string::npos ? 0 : open);
    size_t close = name.find(']', dots == std::string::npos ? 0 : dots);
    if (open == std::string::npos || dots == std::string::npos || close == std::string::npos) return {};
    auto number = [](const std::string& s, long& out) {
        if (s.empty() || s.size() > 6 || s.find_first_not_of("0123456789") != std::string::npos) return false;
        out = std::stol(s);
        return true;
    };
    long first = 0, last = 0;
    if (!number(TrimBlanks(name.substr(open + 1, dots - open - 1)), first) ||
        !number(TrimBlanks(name.substr(dots + 2, close - dots - 2)), last))
        return {};
    std::string base = name.substr(0, open), tail = name.substr(close + 1);
    std::vector<std::string> out;
    for (long i = first;; i += first <= last ? 1 : -1) {
        out.push_back(base + std::to_string(i) + tail);
        if (i == last) break;
    }
    return out;
}

// The global net a hidden pin joins: its HiddenNetName, else, as Capture joins its invisible power
// pins, the net named as the pin is. Nothing for a pin that is shown.
std::string HiddenNetOf(ObjectCore* pin) {
    if (!pin->GetBool("IsHidden")) return {};
    std::string net = pin->GetStr("HiddenNetName");
    return net.empty() ? pin->GetStr("Name") : net;
}

bool OnBus(const SheetGroup& group) {
    for (ObjectCore* o : group.Objects)
        if (o->Kind() == eBus) return true;
    return false;
}

// Capture gives each net of a page one name: the groups of wires that net labels of one name join
// on the page are one net, and when that net holds a port or an off-page connector, it goes on to
// other pages under the connector's name only; its labels join nothing beyond the page. Buses are
// left out: their labels name members.
std::vector<bool> PageOnlyLabels(const std::vector<SheetGroup>& groups) {
    UnionFind page(groups.size());
    std::unordered_map<std::string, size_t> firstWithLabel;
    for (size_t g = 0; g < groups.size(); ++g) {
        if (OnBus(groups[g])) continue;
        for (ObjectCore* o : groups[g].Objects)
            if (o->Kind() == eNetLabel && !o->GetStr("Text").empty()) {
                auto [it, fresh] = firstWithLabel.emplace(o->GetStr("Text"), g);
                if (!fresh) page.Join(it->second, g);
            }
    }
    std::vector<bool> connector(groups.size(), false);
    for (size_t g = 0; g < groups.size(); ++g)
        for (ObjectCore* o : groups[g].Objects)
            if (o->Kind() == ePort || o->Kind() == eCrossSheetConnector) connector[page.Find(g)] = true;
    std::vector<bool> out(groups.size(), false);
    for (size_t g = 0; g < groups.size(); ++g) out[g] = !OnBus(groups[g]) && connector[page.Find(g)];
    return out;
}

// What a sheet holds, worked out once however often the sheet is used.
struct SheetData {
    std::string FileName;
    ObjectCore* Sheet = nullptr;
    std::vector<SheetGroup> Groups;
    std::unordered_map<const ObjectCore*, size_t> GroupOf;  // every object of a group
    std::vector<ObjectCore*> Components;
    std::vector<ObjectCore*> Symbols;
    bool GroupsPages = false;  // groups the pages of one design view (see Data)
    // For each group: its net labels name it on this sheet only, for the groups that its labels
    // join on the sheet hold a port or off-sheet connector (see PageOnlyLabels).
    std::vector<bool> PageOnly;
};

// Where a name comes from: the higher it stands and the lower its rank, the more it names the net.
// At one level of the hierarchy Capture names a net after a port first, then an off-page
// connector, a power object, a net label, and last after a hidden power pin.
enum NameRank { eRankPort = 0, eRankOffSheet = 1, eRankPower = 2, eRankLabel = 3, eRankHiddenPin = 4 };

bool IsGlobal(int rank) { return rank == eRankPower || rank == eRankHiddenPin; }

struct NameSource {
    size_t Node;
    std::string Name;
    int Rank;
    size_t Scope;
};

struct Scope {
    size_t Depth = 0;
    std::vector<std::string> Path;  // designators of the sheet symbols above
    std::string View;               // the documents of the scope, folded and joined
    size_t Uses = 0;                // scopes with the same documents
};

class NetlistCompiler {
public:
    NetlistCompiler(const std::vector<ProjectSheet>& sheets, const std::string& title) {
        netlist_.Title = title;
        for (const ProjectSheet& s : sheets) {
            if (!s.Sheet) continue;
            byName_.emplace(Fold(FileNameOf(s.FileName)), data_.size());
            data_.push_back(std::make_unique<SheetData>());
            data_.back()->FileName = FileNameOf(s.FileName);
            data_.back()->Sheet = s.Sheet;
        }
    }

    Netlist Run() {
        std::vector<size_t> tops = TopSheets();
        size_t root = NewScope(0, {});
        for (size_t d : tops) scopes_[root].View += Fold(data_[d]->FileName) + ";";
        for (size_t d : tops) Visit(d, root, {}, {});
        MakeNets();
        return std::move(netlist_);
    }

private:
    // ----- Sheets and occurrences ------------------------------------------------------------

    SheetData& Data(size_t index) {
        SheetData& d = *data_[index];
        if (!analysed_.insert(index).second) return d;
        d.Groups = SheetGroups(*d.Sheet);
        bool names = false;
        for (size_t g = 0; g < d.Groups.size(); ++g)
            for (ObjectCore* o : d.Groups[g].Objects) {
                d.GroupOf[o] = g;
                int32_t k = o->Kind();
                if (k == ePowerObject || k == eCrossSheetConnector || k == eNetLabel) names = true;
            }
        for (ObjectCore* o : d.Sheet->Children()) {
            if (o->Kind() == eSchComponent) d.Components.push_back(o);
            if (o->Kind() == eSheetSymbol) d.Symbols.push_back(o);
        }
        // What the import makes of a design view of several pages: a sheet of nothing but a symbol
        // for each page, named after the page's document, with the stubs and ports that lead to it.
        d.GroupsPages = d.Symbols.size() >= 2 && d.Components.empty() && !names;
        d.PageOnly = PageOnlyLabels(d.Groups);
        for (ObjectCore* symbol : d.Symbols) {
            ObjectCore* file = ChildOf(symbol, eSheetFileName);
            std::string target = file ? FileNameOf(TrimBlanks(file->GetStr("Text"))) : std::string();
            size_t dot = target.rfind('.');
            if (dot == std::string::npos || !SameTextIgnoringCase(target.substr(0, dot), TrimBlanks(SymbolName(symbol))))
                d.GroupsPages = false;
        }
        return d;
    }

    // The documents that a sheet symbol names, by index; names outside the project are reported.
    std::vector<size_t> Targets(ObjectCore* symbol, const SheetData& sheet) {
        std::vector<size_t> out;
        ObjectCore* file = ChildOf(symbol, eSheetFileName);
        std::string text = file ? file->GetStr("Text") : std::string();
        size_t start = 0;
        while (start <= text.size()) {
            size_t end = text.find(';', start);
            if (end == std::string::npos) end = text.size();
            std::string name = FileNameOf(TrimBlanks(text.substr(start, end - start)));
            start = end + 1;
            if (name.empty()) continue;
            auto it = byName_.find(Fold(name));
            if (it != byName_.end()) out.push_back(it->second);
            else Problem("Sheet symbol " + SymbolName(symbol) + " on " + sheet.FileName + " names " + name +
                         ", which is not a sheet of the project");
        }
        return out;
    }

    static std::string SymbolName(ObjectCore* symbol) {
        ObjectCore* name = ChildOf(symbol, eSheetName);
        return name ? name->GetStr("Text") : std::string();
    }

    std::vector<size_t> TopSheets() {
        std::vector<bool> named(data_.size(), false);
        for (size_t d = 0; d < data_.size(); ++d)
            for (ObjectCore* symbol : Data(d).Symbols) {
                problemsMuted_ = true;
                for (size_t t : Targets(symbol, Data(d))) named[t] = true;
                problemsMuted_ = false;
            }
        std::vector<size_t> tops;
        for (size_t d = 0; d < data_.size(); ++d)
            if (!named[d]) tops.push_back(d);
        if (tops.empty() && !data_.empty()) Problem("Every sheet of the project is named by a sheet symbol: no sheet stands at the top");
        return tops;
    }

    size_t NewScope(size_t depth, std::vector<std::string> path) {
        scopes_.push_back({depth, std::move(path), {}, 0});
        return scopes_.size() - 1;
    }

    // One occurrence of sheet `d` in `scope`; `chain` holds the sheet symbols above it, outermost
    // first, and `stack` the documents above it.
    void Visit(size_t d, size_t scope, std::vector<ObjectCore*> chain, std::vector<size_t> stack) {
        if (std::find(stack.begin(), stack.end(), d) != stack.end()) {
            Problem("Sheet " + data_[d]->FileName + " stands inside itself; its occurrence there is left out");
            return;
        }
        stack.push_back(d);
        SheetData& sheet = Data(d);
        size_t occurrence = netlist_.Occurrences.size();
        netlist_.Occurrences.push_back({sheet.FileName, scopes_[scope].Path, scope});

        // The scopes of the sheets below, before the entries that lead into them are joined.
        std::vector<std::vector<size_t>> targets(sheet.Symbols.size());
        std::unordered_map<const ObjectCore*, size_t> childScope;
        for (size_t s = 0; s < sheet.Symbols.size(); ++s) {
            ObjectCore* symbol = sheet.Symbols[s];
            targets[s] = Targets(symbol, sheet);
            if (sheet.GroupsPages && stack.size() > 1) {  // never at the top
                childScope[symbol] = scope;
                continue;
            }
            std::vector<std::string> path = scopes_[scope].Path;
            path.push_back(Resolve(SymbolName(symbol), symbol, chain, sheet.Sheet));
            size_t child = NewScope(scopes_[scope].Depth + 1, std::move(path));
            for (size_t t : targets[s]) {
                scopes_[child].View += Fold(data_[t]->FileName) + ";";
                if (targets[s].size() == 1 && Data(t).GroupsPages)
                    for (ObjectCore* page : Data(t).Symbols) {
                        problemsMuted_ = true;
                        for (size_t p : Targets(page, Data(t))) scopes_[child].View += Fold(data_[p]->FileName) + ";";
                        problemsMuted_ = false;
                    }
            }
            childScope[symbol] = child;
        }

        size_t base = nodes_.Size();
        for (size_t g = 0; g < sheet.Groups.size(); ++g) nodes_.Add();
        for (size_t g = 0; g < sheet.Groups.size(); ++g) 
            JoinGroup(sheet.Groups[g], base + g, scope, occurrence, sheet.PageOnly[g], childScope);
        for (ObjectCore* component : sheet.Components) AddPart(component, sheet, base, occurrence, chain);

        for (size_t s = 0; s < sheet.Symbols.size(); ++s) {
            std::vector<ObjectCore*> below = chain;
            below.push_back(sheet.Symbols[s]);
            for (size_t t : targets[s]) Visit(t, childScope[sheet.Symbols[s]], below, stack);
        }
    }

    // ----- Joining by name ----------------------------------------------------------------------

    size_t Key(const std::string& key) {
        auto [it, fresh] = keys_.emplace(key, 0);
        if (fresh) it->second = nodes_.Add();
        return it->second;
    }
    size_t NameKey(size_t scope, const std::string& name) {
        size_t k = Key(std::to_string(scope) + "\x1fN\x1f" + name);
        scopeNames_.emplace_back(k, Fold(name));
        return k;
    }
    // A net label's name on one occurrence of a page; a global net of that name takes it in too.
    size_t PageKey(size_t occurrence, const std::string& name) {
        size_t k = Key(std::to_string(occurrence) + "\x1fL\x1f" + name);
        scopeNames_.emplace_back(k, Fold(name));
        return k;
    }
    size_t PortKey(size_t scope, const std::string& name) { return Key(std::to_string(scope) + "\x1fP\x1f" + Fold(name)); }
    size_t GlobalKey(const std::string& name) {
        globals_.insert(Fold(name));
        return Key("\x1fG\x1f" + Fold(name));
    }

    // A name on a group: joins the group with the name's keys, member by member for a bus name.
    // `keys` gives the keys of one scalar name.
    template <class KeysOf>
    void JoinName(size_t node, const std::string& name, bool onBus, KeysOf keys,
                  std::vector<std::vector<size_t>>& busViews) {
        for (size_t k : keys(name)) nodes_.Join(node, k);
        if (!onBus) return;
        std::vector<std::string> members = BusMembers(name);
        if (members.empty()) return;
        std::vector<size_t> view;
        for (const std::string& m : members) {
            size_t member = nodes_.Add();
            for (size_t k : keys(m)) nodes_.Join(member, k);
            view.push_back(member);
        }
        busViews.push_back(std::move(view));
    }

    void JoinGroup(const SheetGroup& group, size_t node, size_t scope, size_t occurrence, bool pageOnlyLabels,
                   const std::unordered_map<const ObjectCore*, size_t>& childScope) {
        bool onBus = OnBus(group);
        std::vector<std::vector<size_t>> busViews;
        for (ObjectCore* o : group.Objects) {
            switch (o->Kind()) {
                case eWire:
                case eBus: wired_.insert(node); break;
                case eNetLabel:
                case eCrossSheetConnector: {
                    std::string name = o->GetStr("Text");
                    if (name.empty()) break;
                    bool label = o->Kind() == eNetLabel;
                    // Labels always join on their page; beyond it unless a connector names their net.
                    bool pageOnly = label && pageOnlyLabels;
                    JoinName(node, name, onBus,
                             [&](const std::string& n) {
                                 if (pageOnly) return std::vector<size_t>{PageKey(occurrence, n)};
                                 return std::vector<size_t>{NameKey(scope, n), PageKey(occurrence, n)};
                             },
                             busViews);
                    sources_.push_back({node, name, label ? eRankLabel : eRankOffSheet, scope});
                    break;
                }
                case ePort: {
                    std::string name = o->GetStr("Name");
                    if (name.empty()) break;
                    JoinName(node, name, onBus,
                             [&](const std::string& n) { return std::vector<size_t>{NameKey(scope, n), PortKey(scope, n)}; },
                             busViews);
                    sources_.push_back({node, name, eRankPort, scope});
                    break;
                }
                case ePowerObject: {
                    std::string name = o->GetStr("Text");
                    if (name.empty()) break;
                    nodes_.Join(node, GlobalKey(name));
                    sources_.push_back({node, name, eRankPower, scope});
                    break;
                }
                case eSheetEntry: {
                    std::string name = o->GetStr("Name");
                    auto it = childScope.find(o->Parent());
                    if (name.empty() || it == childScope.end()) break;
                    size_t inner = it->second;
                    JoinName(node, name, onBus, [&](const std::string& n) { return std::vector<size_t>{PortKey(inner, n)}; },
                             busViews);
                    break;
                }
                default: break;
            }
        }
        // The names on one bus are the same wires, member by member.
        for (size_t v = 1; v < busViews.size(); ++v) {
            if (busViews[v].size() != busViews[0].size()) ++busWidthMismatches_;
            for (size_t i = 0; i < busViews[v].size() && i < busViews[0].size(); ++i)
                nodes_.Join(busViews[0][i], busViews[v][i]);
        }
    }

    // ----- Parts ---------------------------------------------------------------------------

    // The text of "=Name" references: the object's own parameter, the sheet symbols' from the
    // innermost outward, the sheet's.
    static std::string Resolve(const std::string& text, ObjectCore* object, const std::vector<ObjectCore*>& chain,
                               ObjectCore* sheet) {
        if (text.size() < 2 || text[0] != '=') return text;
        std::string name = text.substr(1);
        if (ObjectCore* p = object ? Parameter(object, name) : nullptr) {
            std::string value = p->GetStr("Text");
            if (value.size() < 2 || value[0] != '=') return value;
            name = value.substr(1);
        }
        for (size_t k = chain.size(); k-- > 0;) {
            ObjectCore* p = Parameter(chain[k], name);
            if (!p) continue;
            std::string value = p->GetStr("Text");
            if (value.size() < 2 || value[0] != '=') return value;
            name = value.substr(1);
        }
        if (ObjectCore* p = Parameter(sheet, name)) return p->GetStr("Text");
        return text;
    }

    void AddPart(ObjectCore* component, const SheetData& sheet, size_t base, size_t occurrence,
                 const std::vector<ObjectCore*>& chain) {
        if (component->GetInt("ComponentKind") == eComponentKind_Graphical) return;
        auto text = [&](ObjectCore* t) { return t ? Resolve(t->GetStr("Text"), component, chain, sheet.Sheet) : std::string(); };
        // Simulation sources, and parts marked to stay out of the netlist (Capture's NETLIST_IGNORE).
        if (IsTrue(text(Parameter(component, "PSpiceOnly"))) || IsTrue(text(Parameter(component, "NETLIST_IGNORE"))))
            return;

        NetlistPart part;
        part.Designator = TrimBlanks(text(ChildOf(component, eDesignator)));
        part.LibReference = component->GetStr("LibReference");
        part.Library = component->GetStr("SourceLibraryName");
        part.Description = Resolve(component->GetStr("ComponentDescription"), component, chain, sheet.Sheet);
        ObjectCore* value = Parameter(component, "Value");
        part.Value = text(value ? value : Parameter(component, "Comment"));
        part.Footprint = text(Parameter(component, "PCB Footprint"));
        part.PartId = std::max(1, component->GetInt("CurrentPartId", 1));
        part.PartCount = std::max({1, component->GetInt("PartCount", 1), part.PartId});
        part.Sheet = sheet.FileName;
        part.Occurrence = occurrence;
        part.UniqueId = component->GetStr("UniqueId");
        std::string currentModel, anyModel;
        for (ObjectCore* c : component->Children()) {
            if (c->Kind() == eParameter) part.Parameters.emplace_back(c->GetStr("Name"), text(c));
            if (c->Kind() == eImplementation && SameTextIgnoringCase(c->GetStr("ModelType"), "PCBLIB")) {
                if (anyModel.empty()) anyModel = c->GetStr("ModelName");
                if (c->GetBool("IsCurrent") && currentModel.empty()) currentModel = c->GetStr("ModelName");
            }
        }
        if (part.Footprint.empty()) part.Footprint = !currentModel.empty() ? currentModel : anyModel;
        size_t index = netlist_.Parts.size();

        // The package: pins by name over the parts, for descriptions of the library part.
        int32_t mode = component->GetInt("DisplayMode");
        std::unordered_map<std::string, std::vector<size_t>> byName;  // name to package pins of that name
        std::unordered_map<std::string, size_t> taken;                  // "part\x1fname" to uses
        for (ObjectCore* pin : component->Children()) {
            if (pin->Kind() != ePin || pin->GetInt("OwnerPartDisplayMode") != mode) continue;
            int32_t owner = pin->GetInt("OwnerPartId");
            std::string name = pin->GetStr("Name");
            std::vector<int32_t> parts;
            if (owner <= 0) for (int32_t p = 1; p <= part.PartCount; ++p) parts.push_back(p);
            else parts.push_back(owner);
            for (int32_t p : parts) {
                size_t use = taken[std::to_string(p) + "\x1f" + name]++;
                auto& list = byName[name];
                if (use >= list.size()) {
                    list.push_back(part.Package.size());
                    PackagePin pp;
                    pp.Name = name;
                    pp.Numbers.assign(static_cast<size_t>(part.PartCount), std::string());
                    pp.Electrical = pin->GetInt("Electrical", ePinPassive);
                    pp.Hidden = pin->GetBool("IsHidden");
                    pp.HiddenNet = HiddenNetOf(pin);
                    part.Package.push_back(std::move(pp));
                }
                if (p >= 1 && p <= part.PartCount) part.Package[list[use]].Numbers[static_cast<size_t>(p - 1)] = pin->GetStr("Designator");
            }
        }

        for (ObjectCore* pin : component->Children()) {
            if (pin->Kind() != ePin || !IsShownOnSheet(pin)) continue;
            NetlistPin p;
            p.Number = pin->GetStr("Designator");
            p.Name = pin->GetStr("Name");
            p.Electrical = pin->GetInt("Electrical", ePinPassive);
            p.Hidden = pin->GetBool("IsHidden");
            p.HiddenNet = HiddenNetOf(pin);
            size_t node;
            auto it = sheet.GroupOf.find(pin);
            if (!p.Hidden && it != sheet.GroupOf.end()) {
                node = base + it->second;
                // A power pin that touches nothing joins the global net of its name, as in Capture.
                if (p.Electrical == ePinPower && !p.Name.empty() && sheet.Groups[it->second].Objects.size() == 1) {
                    nodes_.Join(node, GlobalKey(p.Name));
                    sources_.push_back({node, p.Name, eRankHiddenPin, netlist_.Occurrences[occurrence].Scope});
                }
            } else {
                node = nodes_.Add();
                if (p.Hidden && !p.HiddenNet.empty()) {
                    nodes_.Join(node, GlobalKey(p.HiddenNet));
                    sources_.push_back({node, p.HiddenNet, eRankHiddenPin, netlist_.Occurrences[occurrence].Scope});
                }
            }
            // The same pin of another section of the package is the same node.
            nodes_.Join(node, Key("\x1f" "PIN\x1f" + Fold(part.Designator) + "\x1f" + Fold(p.Number)));
            pins_.push_back({index, part.Pins.size(), node});
            part.Pins.push_back(std::move(p));
        }

        auto [it, fresh] = sections_.emplace(Fold(part.Designator) + "\x1f" + std::to_string(part.PartId), index);
        if (!fresh && !part.Designator.empty()) {
            const NetlistPart& other = netlist_.Parts[it->second];
            Problem("Part " + part.Designator + (part.PartCount > 1 ? " section " + std::to_string(part.PartId) : "") +
                    " stands twice: on " + other.Sheet + " and on " + part.Sheet);
        }
        netlist_.Parts.push_back(std::move(part));
    }

    // ----- Nets ------------------------------------------------------------------------------

    void MakeNets() {
        // A name in a scope that is also a global name is the global net.
        for (const auto& [key, name] : scopeNames_)
            if (globals_.count(name)) nodes_.Join(key, GlobalKey(name));
        std::unordered_map<std::string, size_t> viewUses;
        for (const Scope& s : scopes_) ++viewUses[s.View];
        for (Scope& s : scopes_) s.Uses = viewUses[s.View];

        // Nets in the order their first pins were met; one node per designator and pin number.
        std::unordered_map<size_t, size_t> netOfRoot;
        std::vector<size_t> rootOfNet;
        std::unordered_set<std::string> seen;
        for (const PinRef& ref : pins_) {
            size_t root = nodes_.Find(ref.Node);
            auto [it, fresh] = netOfRoot.emplace(root, netlist_.Nets.size());
            if (fresh) {
                netlist_.Nets.emplace_back();
                rootOfNet.push_back(root);
            }
            NetlistPart& part = netlist_.Parts[ref.Part];
            part.Pins[ref.Pin].Net = it->second;
            std::string key = std::to_string(it->second) + "\x1f" + Fold(part.Designator) + "\x1f" + Fold(part.Pins[ref.Pin].Number);
            if (seen.insert(key).second) netlist_.Nets[it->second].Nodes.push_back({ref.Part, ref.Pin});
        }

        // Names: the best source of each net.
        auto depth = [&](const NameSource& s) { return scopes_[s.Scope].Depth; };
        auto better = [&](const NameSource& a, const NameSource& b) {
            if (depth(a) != depth(b)) return depth(a) < depth(b);
            if (a.Rank != b.Rank) return a.Rank < b.Rank;
            return Fold(a.Name) < Fold(b.Name);
        };
        std::vector<const NameSource*> best(netlist_.Nets.size(), nullptr);
        for (const NameSource& s : sources_) {
            auto it = netOfRoot.find(nodes_.Find(s.Node));
            if (it == netOfRoot.end()) continue;
            const NameSource*& b = best[it->second];
            if (!b || better(s, *b)) b = &s;
        }
        std::unordered_set<size_t> wiredRoots;
        for (size_t w : wired_) wiredRoots.insert(nodes_.Find(w));
        auto suffix = [&](const NameSource* b) {
            std::string out;
            if (b && !IsGlobal(b->Rank))
                for (const std::string& d : scopes_[b->Scope].Path) out += "_" + d;
            return out;
        };
        for (size_t n = 0; n < netlist_.Nets.size(); ++n) {
            NetlistNet& net = netlist_.Nets[n];
            const NameSource* b = best[n];
            if (b) {
                net.Named = true;
                net.Name = b->Name;
                if (!IsGlobal(b->Rank) && scopes_[b->Scope].Uses > 1) net.Name += suffix(b);
            } else {
                const NetlistNode& first = net.Nodes.front();
                const NetlistPin& pin = netlist_.Parts[first.Part].Pins[first.Pin];
                net.Name = "Net" + netlist_.Parts[first.Part].Designator + "_" + pin.Number;
                net.Unconnected = net.Nodes.size() == 1 && !pin.Hidden && !wiredRoots.count(rootOfNet[n]);
            }
        }

        // A name that several nets would share stays with the one nearest the top; the others take
        // the path of their name, then a number.
        std::unordered_map<std::string, std::vector<size_t>> byName;
        std::unordered_set<std::string> used;
        for (size_t n = 0; n < netlist_.Nets.size(); ++n) {
            byName[Fold(netlist_.Nets[n].Name)].push_back(n);
            used.insert(Fold(netlist_.Nets[n].Name));
        }
        std::unordered_set<std::string> settled;
        for (size_t n = 0; n < netlist_.Nets.size(); ++n) {
            std::string name = Fold(netlist_.Nets[n].Name);
            std::vector<size_t>& same = byName[name];
            if (same.size() < 2 || !settled.insert(name).second) continue;
            std::stable_sort(same.begin(), same.end(), [&](size_t a, size_t b) {
                size_t da = best[a] ? depth(*best[a]) : 0, db = best[b] ? depth(*best[b]) : 0;
                return da < db;
            });
            for (size_t i = 1; i < same.size(); ++i) {
                NetlistNet& net = netlist_.Nets[same[i]];
                std::string base = net.Name + suffix(best[same[i]]), candidate = base;
                for (size_t k = 1; used.count(Fold(candidate)); ++k) candidate = base + "_" + std::to_string(k);
                used.insert(Fold(candidate));
                net.Name = candidate;
            }
        }
        if (busWidthMismatches_ > 0)
            Problem(std::to_string(busWidthMismatches_) +
                    " bus(es) carry names of different widths; their members join as far as both reach");
    }

    void Problem(const std::string& text) {
        if (!problemsMuted_) netlist_.Problems.push_back(text);
    }

    struct PinRef {
        size_t Part;
        size_t Pin;
        size_t Node;
    };

    Netlist netlist_;
    std::vector<std::unique_ptr<SheetData>> data_;
    std::unordered_set<size_t> analysed_;
    std::unordered_map<std::string, size_t> byName_;
    std::vector<Scope> scopes_;
    UnionFind nodes_;
    std::unordered_map<std::string, size_t> keys_;
    std::vector<std::pair<size_t, std::string>> scopeNames_;
    std::unordered_set<std::string> globals_;
    std::vector<NameSource> sources_;
    std::unordered_set<size_t> wired_;
    std::vector<PinRef> pins_;
    std::unordered_map<std::string, size_t> sections_;
    size_t busWidthMismatches_ = 0;
    bool problemsMuted_ = false;
};

}  // namespace

Netlist CompileNetlist(const std::vector<ProjectSheet>& sheets, const std::string& title) {
    return NetlistCompiler(sheets, title).Run();
}

}  // namespace orcadx::host::impl

namespace orcadx::host {

Netlist CompileProjectNetlist(HostApplication& app, IProject& project) {
    std::vector<impl::ProjectSheet> sheets;
    std::vector<std::string> unreadable;
    for (int32_t i = 0; i < project.GetDocumentCount(); ++i) {
        IDocument* document = project.GetDocument(i);
        if (document->GetDocumentKind() != "SCH") continue;
        ISch_Document* sheet = app.SchDocumentOf(app.OpenDocumentFile(document->GetFullPath()));
        if (!sheet) {
            unreadable.push_back(document->GetFullPath());
            continue;
        }
        sheets.push_back({document->GetFileName(), impl::CoreOf(sheet)});
    }
    Netlist netlist =
        impl::CompileNetlist(sheets, std::filesystem::path(project.GetFullPath()).stem().string());
    for (const std::string& path : unreadable)
        netlist.Problems.insert(netlist.Problems.begin(), "Cannot read the sheet " + path);
    return netlist;
}

}  // namespace orcadx::host
