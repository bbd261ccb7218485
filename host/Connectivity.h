// Connections and nets of a sheet, computed from the objects as they stand.
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

#include "host/SchObjects.h"

namespace orcadx::host::impl {

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

}  // namespace orcadx::host::impl
