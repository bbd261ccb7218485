// A project's netlist as plain data: every placed part of every occurrence of every sheet, and the
// nets that join their pins, with the hierarchy flattened. The host's connectivity (Connectivity.h)
// makes it; netlist and bill-of-materials writers read it without touching host objects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace orcadx::host {

inline constexpr size_t kNoNet = static_cast<size_t>(-1);

// Electrical type of a pin (ISch_Pin::Electrical): Capture's pin types.
enum PinElectrical : int32_t {
    ePinInput = 0,
    ePinBidirectional = 1,
    ePinOutput = 2,
    ePinOpenCollector = 3,
    ePinPassive = 4,
    ePinTristate = 5,
    ePinOpenEmitter = 6,
    ePinPower = 7,
};

struct NetlistPin {
    std::string Number;  // the pin's designator
    std::string Name;
    int32_t Electrical = ePinPassive;
    bool Hidden = false;    // not drawn; joins the net named HiddenNet when that is not empty
    std::string HiddenNet;
    size_t Net = kNoNet;    // index into Netlist::Nets
};

// One pin of a package over all its sections: the numbers it has in part 1, 2, ... ("" where a part
// lacks it).
struct PackagePin {
    std::string Name;
    std::vector<std::string> Numbers;
    int32_t Electrical = ePinPassive;
    bool Hidden = false;
    std::string HiddenNet;
};

// One placed section of a component in one occurrence of its sheet.
struct NetlistPart {
    std::string Designator;    // as it reads in this occurrence
    std::string LibReference;
    std::string Library;       // the library the component came from, when known
    std::string Value;         // the comment, or a "Value" parameter
    std::string Footprint;     // "PCB Footprint", else the component's footprint model
    std::string Description;
    int32_t PartId = 1;        // the section shown, from 1
    int32_t PartCount = 1;     // sections of the package
    std::string Sheet;         // file name of the sheet document
    size_t Occurrence = 0;     // index into Netlist::Occurrences
    std::string UniqueId;
    std::vector<NetlistPin> Pins;       // the section's pins, hidden ones included
    std::vector<PackagePin> Package;    // every pin of every section
    std::vector<std::pair<std::string, std::string>> Parameters;  // name and text as it reads here
};

struct NetlistNode {
    size_t Part = 0;  // index into Netlist::Parts
    size_t Pin = 0;   // index into that part's Pins
};

struct NetlistNet {
    std::string Name;
    // The name comes from a net label, power object, port, off-sheet connector or sheet entry;
    // otherwise it is made up from a pin.
    bool Named = false;
    // One pin that touches nothing else.
    bool Unconnected = false;
    // One node per (designator, pin number), in the order the pins were met.
    std::vector<NetlistNode> Nodes;
};

// One occurrence of a sheet: the top-level sheets have one each, and each sheet symbol gives the
// sheets it names one more.
struct SheetOccurrence {
    std::string Sheet;                 // file name
    std::vector<std::string> Path;     // designators of the sheet symbols above, outermost first
    size_t Scope = 0;                  // sheets of one scope share net labels and off-sheet connectors
};

struct Netlist {
    std::string Title;                           // the project's name
    std::vector<SheetOccurrence> Occurrences;
    std::vector<NetlistPart> Parts;
    std::vector<NetlistNet> Nets;
    std::vector<std::string> Problems;           // what the connectivity could not resolve
};

// The net of a part's pin, or null.
inline const NetlistNet* NetOf(const Netlist& netlist, const NetlistPin& pin) {
    return pin.Net == kNoNet ? nullptr : &netlist.Nets[pin.Net];
}

}  // namespace orcadx::host
