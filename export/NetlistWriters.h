// A netlist for other programs: KiCad's netlist (.net, the s-expression that its board editor
// reads) and JSON for scripts.
#pragma once

#include <string>
#include <vector>

#include "host/Netlist.h"

namespace orcadx::exporter {

struct KiCadStamp {
    std::string Source;  // the design file the netlist comes from
    std::string Date;    // free text
    std::string Tool = "orcadx";
};

// (export (version "E") (design ...) (components (comp ...)) (libparts (libpart ...)) (libraries)
// (nets (net (code "1") (name "...") (node (ref "R1") (pin "1") (pinfunction "...") (pintype ...)))))
// One comp per designator; pins that touch nothing are nets of their own named
// "unconnected-(REF-PadN)", as KiCad names them.
std::string WriteKiCadNetlist(const host::Netlist& netlist, const KiCadStamp& stamp);

// {"format": "orcadx-netlist", "version": 1, "title", "parts": [...], "nets": [...], "problems": [...]}:
// parts one per designator with value, part, library, footprint, sheet, path and sections; nets with
// name, named, unconnected and their nodes (designator, pin, name, type, hidden).
std::string WriteJsonNetlist(const host::Netlist& netlist);

// What the netlist writers share. The parts of a netlist by package (indexes into its Parts): the
// sections of one designator together, packages in natural order of their designators, sections by
// part number.
std::vector<std::vector<size_t>> PartPackages(const host::Netlist& netlist);
// Natural order of two nodes (part and pin indexes): by designator, then by pin number.
bool NodeLess(const host::Netlist& netlist, size_t partA, size_t pinA, size_t partB, size_t pinB);
// A library's name from its file's path: without folder and extension.
std::string LibraryStem(const std::string& path);

// The type of a pin as KiCad names it ("input", "passive", "power_in", ...).
const char* KiCadPinType(int32_t electrical);

}  // namespace orcadx::exporter
