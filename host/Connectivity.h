// Connections and nets of a sheet, and the netlist of a whole project, computed from the objects as
// they stand. This is the host's one connectivity engine: the compiled documents, the pictures and
// the netlist and bill-of-materials writers all take their nets from here.
//
// A connection is a point where wires, buses and the electrical points of other objects (pin ends,
// port ends, power objects, off-sheet connectors, sheet entries, bus entries) meet. Its object count
// counts each wire end at the point once and a wire that passes through the point twice, so a bend
// counts 2, a T 3 and a cross of two wires with a vertex at the point 4. Two wires that cross
// without a vertex at the crossing don't meet.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/Netlist.h"
#include "host/SchObjects.h"

namespace orcadx::host::impl {

// Sets that join: each element names the lowest element of its set.
class UnionFind {
public:
    explicit UnionFind(size_t n = 0) : parent_(n) {
        for (size_t i = 0; i < n; ++i) parent_[i] = i;
    }
    // A new element in a set of its own.
    size_t Add() {
        parent_.push_back(parent_.size());
        return parent_.size() - 1;
    }
    size_t Find(size_t i) {
        while (parent_[i] != i) i = parent_[i] = parent_[parent_[i]];
        return i;
    }
    void Join(size_t a, size_t b) {
        a = Find(a);
        b = Find(b);
        if (a != b) parent_[a < b ? b : a] = a < b ? a : b;
    }
    size_t Size() const { return parent_.size(); }

private:
    std::vector<size_t> parent_;
};

struct ConnectionPoint {
    Coord Location;
    int32_t ObjectCount = 0;
};

// Points with at least two objects, sorted by x then y; `buses` selects the points that involve a
// bus, otherwise those that involve a wire.
std::vector<ConnectionPoint> ConnectionPoints(ObjectCore& sheet, bool buses);

std::unique_ptr<IConnectionsArray> ComputeConnections(ObjectCore& sheet, bool buses);

struct NetInfo {
    std::string Name;
    std::vector<std::string> WireIds;  // unique ids of the wires and buses of the net
};

// The nets of a sheet that hold at least one wire or bus. A net takes its name from a net label on
// it, else a power object, a port, an off-sheet connector or a sheet entry, else from a pin
// ("NetU1_2"), else a number ("N1"). Net labels, power objects, ports and off-sheet connectors of
// the same name on the sheet form one net; sheet entries don't (entries of two symbols are
// different connections). A label names a bus when its text is a bus name (with ".."), else a wire.
// Wires and buses join only through names: a bus entry or a wire ending on a bus joins nothing.
std::vector<NetInfo> CompileNets(ObjectCore& sheet);

// The objects of a sheet that meet one another, each net label with the wire or bus it stands on:
// one group per net of the sheet before objects of one name are joined. Groups hold wires, buses,
// shown pins, ports, power objects, off-sheet connectors, sheet entries and net labels, in sheet
// order; bus entries stand in none.
struct SheetGroup {
    std::vector<ObjectCore*> Objects;
};
std::vector<SheetGroup> SheetGroups(ObjectCore& sheet);

// A sheet document of a project under its file name (without folder).
struct ProjectSheet {
    std::string FileName;
    ObjectCore* Sheet = nullptr;
};

// The netlist of a project: the hierarchy flattened, one occurrence of a sheet for each place it
// stands in.
//
// - The top-level sheets are those that no sheet symbol of the project names; they share one scope.
// - A sheet symbol names one document, or several joined by ";". Each gets an occurrence in a new
//   scope of its own for that occurrence of the symbol. A sheet below the top that only groups
//   pages shares its scope with the sheets its symbols name: they are the pages of one design
//   view. Such a sheet holds two sheet symbols or more, each named after the document it names
//   ("Page1" for "Page1.SchDoc"), and no components, power objects, off-sheet connectors or net
//   labels; the design import makes one for each view of several pages.
// - Within a scope, net labels, ports and off-sheet connectors of one name are one net (but see
//   below for labels beside a connector). These names count case, as in Capture: "nRST" and "NRST"
//   are two nets, and the second to come gets a number to tell it apart.
// - Power objects are global by name, and so are hidden pins by their HiddenNetName, or by their
//   own name when that is empty (Capture's invisible power pins); so is a shown power pin that
//   touches nothing, by its name. A name in any scope that is also a global name is that global net.
// - A sheet entry joins the ports of its name in the scope of the sheets its symbol names. Bus
//   names ("D[0..7]") join member by member, in order, with the other names on their bus.
// - Pins of one designator and number (the sections of one package) are one node.
// - Texts of the form "=Name" (designators, comments, parameters) read the parameter Name of the
//   object itself, else of the sheet symbols above it, innermost first, where a value "=Other"
//   goes on upward with Other, else of the sheet.
// - Graphical components, and components whose parameter "PSpiceOnly" or "NETLIST_IGNORE" is true,
//   are left out.
//
// A net takes the name nearest the top; at one level, as Capture names it, a port before an
// off-sheet connector before a power object before a net label before a hidden pin.  Net labels of one
// name always join on their page; when what they join there holds a port or an off-sheet
// connector, they join nothing beyond the page (but a global net of their name): the net goes on
// under the connector's name, as Capture gives each net of a page one name. Bus labels always join. A name from inside a sheet used more than once gets
// the designators of the sheet symbols above as a suffix ("CLK_BLK1_U2"); a net without a name is
// called after its first pin ("NetU1_3"). A pin that touches nothing is Unconnected.
Netlist CompileNetlist(const std::vector<ProjectSheet>& sheets, const std::string& title);

}  // namespace orcadx::host::impl
