// Netlists built in code for the writer tests, and Capture's Allegro netlist turned into a netlist
// of the host's form.
#pragma once

#include <string>
#include <vector>

#include "export/AllegroNetlist.h"
#include "host/Netlist.h"

namespace orcadx::test {

struct PinDef {
    PinDef(std::string number, std::string name, int32_t electrical = host::ePinPassive, std::string hiddenNet = {})
        : Number(std::move(number)), Name(std::move(name)), Electrical(electrical), HiddenNet(std::move(hiddenNet)) {}
    std::string Number;
    std::string Name;
    int32_t Electrical;
    std::string HiddenNet;  // a hidden pin that joins this net
};

// Builds a netlist of one top-level sheet, or of several occurrences.
class NetlistBuilder {
public:
    explicit NetlistBuilder(const std::string& title, const std::string& sheet = "Main.SchDoc");

    // An occurrence below `parent` through the sheet symbol `designator`.
    size_t Occurrence(size_t parent, const std::string& designator, const std::string& sheet);

    // A part; the package is the pins given, unless `package` lists every pin of every section.
    size_t Part(const std::string& designator, const std::string& libReference, const std::string& value,
                const std::string& footprint, const std::vector<PinDef>& pins, int32_t partId = 1,
                int32_t partCount = 1, const std::vector<host::PackagePin>& package = {}, size_t occurrence = 0,
                const std::string& library = {});

    // A net of the pins (part, index of the pin in the part); named unless the name is empty, in which
    // case it is called after its first pin.
    void Net(const std::string& name, const std::vector<std::pair<size_t, size_t>>& pins, bool unconnected = false);

    host::Netlist netlist;
};

// The nets, parts and library parts of Capture's files as a netlist: each placed section a part
// with the pins that its library part gives it, NC's pins unconnected nets, POWER_PINS hidden pins.
host::Netlist FromAllegro(const exporter::AllegroNetlist& allegro, const std::string& title);

}  // namespace orcadx::test
