// Capture's Allegro netlist: the three files pstxnet.dat (nets and their pins), pstxprt.dat (parts
// and their placed sections) and pstchip.dat (library parts with their pins). Written from a
// netlist as Capture writes them, read back, and compared net by net.
//
// As Capture writes them: designators in upper case; pins that touch nothing stand in the pseudo-net
// 'NC'; hidden power pins stand in no net but in the POWER_PINS of their library part, as
// (net name:pin number); a library part is named after its part name, footprint and value.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/Netlist.h"

namespace orcadx::exporter {

struct AllegroNetlistFiles {
    std::string Nets;    // pstxnet.dat
    std::string Parts;   // pstxprt.dat
    std::string Chips;   // pstchip.dat
};

// What the header comment of each file names: the writing program and the time.
struct AllegroStamp {
    std::string Writer = "orcadx";
    std::string Date = "Jan-01-2000";   // Mmm-DD-YYYY
    std::string Time = "00:00:00";      // HH:MM:SS
};

// The stamp of this moment, in local time.
AllegroStamp StampNow(const std::string& writer);

AllegroNetlistFiles WriteAllegroNetlist(const host::Netlist& netlist, const AllegroStamp& stamp);
// Writes the three files into `folder`; throws std::runtime_error naming the file that failed.
void SaveAllegroNetlist(const AllegroNetlistFiles& files, const std::filesystem::path& folder);

// ----- Reading ---------------------------------------------------------------------------------

struct AllegroNode {
    std::string Designator;
    std::string Pin;       // pin number
    std::string PinName;
};

struct AllegroNet {
    std::string Name;
    std::vector<AllegroNode> Nodes;
};

struct AllegroPrimitive {
    std::string Name;
    std::vector<std::pair<std::string, std::string>> Pins;        // pin name, PIN_NUMBER text
    std::vector<std::pair<std::string, std::string>> PowerPins;   // net name, pin number
    std::map<std::string, std::string> Body;                      // other body properties
};

struct AllegroPackage {
    std::string Designator;
    std::string Primitive;
    std::vector<std::string> Sections;  // SECTION of each placed section, in file order
};

struct AllegroNetlist {
    std::vector<AllegroNet> Nets;             // the pseudo-net NC included, under that name
    std::vector<AllegroPackage> Packages;
    std::vector<AllegroPrimitive> Primitives;
};

// Reads the three texts; throws std::runtime_error naming the file and line of what it can't read.
// Both ends of a node record are accepted: the pin-name line ending in ":;" and the newer form
// with a property block.
AllegroNetlist ReadAllegroNetlist(const AllegroNetlistFiles& files);
// Reads pstxnet.dat, pstxprt.dat and pstchip.dat from a folder.
AllegroNetlist LoadAllegroNetlist(const std::filesystem::path& folder);

// ----- Comparing -------------------------------------------------------------------------------

// The differences between two netlists, one line each: nets of `expected` whose pins `actual`
// splits over several nets, nets of `actual` that join pins of several nets of `expected`, nets
// whose pins differ, and nets that match pin for pin but not by name. Pins are compared by
// (designator, pin number) without case; the pins of NC count as one net each; hidden power pins
// join the net their POWER_PINS entry names. Names are compared (without case) where `expected`
// has a name of its own: names made up for unnamed nets (N12345, NetU1_3) and NC match any, and a
// number that makes a name unique counts for nothing (NRST_258567 matches nRST_1).
std::vector<std::string> CompareAllegroNetlists(const AllegroNetlist& expected, const AllegroNetlist& actual);

// How much of `expected` `actual` gives: its nets (NC left out) and its nodes (pins, hidden power
// pins included, NC's too), and of these the nets whose pins are the pins of one net of `actual`,
// and the nodes of such nets (a pin of NC counts when `actual` joins it to nothing else).
struct NetlistMatch {
    size_t Nets = 0, Nodes = 0;
    size_t SameNets = 0, SameNodes = 0;
};
NetlistMatch MatchAllegroNetlists(const AllegroNetlist& expected, const AllegroNetlist& actual);

}  // namespace orcadx::exporter
