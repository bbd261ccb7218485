// The bill of materials of a netlist: one line per group of parts with the same value, library part
// and footprint, with their count and designators.
#pragma once

#include <string>
#include <vector>

#include "host/Netlist.h"

namespace orcadx::exporter {

struct BomLine {
    std::string Value;
    std::string LibReference;
    std::string Footprint;
    std::vector<std::string> Designators;  // in natural order: R2 before R10
    size_t Quantity() const { return Designators.size(); }
};

// The parts of a netlist grouped. A package counts once however many of its sections are placed,
// and once however many occurrences name it by the same designator; parts without a designator
// are left out. Lines stand in the natural order of their first designators.
std::vector<BomLine> BomLines(const host::Netlist& netlist);

// Comma-separated values with a header line: Item, Quantity, Reference (the designators joined by
// ", "), Value, Part, Footprint. Fields are quoted where they need it.
std::string BomCsv(const std::vector<BomLine>& lines);

// {"title", "items": [{"item", "quantity", "designators", "value", "part", "footprint"}]}
std::string BomJson(const std::vector<BomLine>& lines, const std::string& title);

}  // namespace orcadx::exporter
