#include "NetlistSupport.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include "platform/TextCompare.h"

namespace orcadx::test {

NetlistBuilder::NetlistBuilder(const std::string& title, const std::string& sheet) {
    netlist.Title = title;
    netlist.Occurrences.push_back({sheet, {}, 0});
}

size_t NetlistBuilder::Occurrence(size_t parent, const std::string& designator, const std::string& sheet) {
    std::vector<std::string> path = netlist.Occurrences.at(parent).Path;
    path.push_back(designator);
    netlist.Occurrences.push_back({sheet, path, netlist.Occurrences.size()});
    return netlist.Occurrences.size() - 1;
}

size_t NetlistBuilder::Part(const std::string& designator, const std::string& libReference, const std::string& value,
                            const std::string& footprint, const std::vector<PinDef>& pins, int32_t partId,
                            int32_t partCount, const std::vector<host::PackagePin>& package, size_t occurrence,
                            const std::string& library) {
    host::NetlistPart part;
    part.Designator = designator;
    part.LibReference = libReference;
    part.Value = value;
    part.Footprint = footprint;
    part.Library = library;
    part.PartId = partId;
    part.PartCount = partCount;
    part.Occurrence = occurrence;
    part.Sheet = netlist.Occurrences.at(occurrence).Sheet;
    for (const PinDef& p : pins) {
        host::NetlistPin pin;
        pin.Number = p.Number;
        pin.Name = p.Name;
        pin.Electrical = p.Electrical;
        pin.Hidden = !p.HiddenNet.empty();
        pin.HiddenNet = p.HiddenNet;
        part.Pins.push_back(pin);
        if (package.empty()) part.Package.push_back({p.Name, {p.Number}, p.Electrical, pin.Hidden, p.HiddenNet});
    }
    if (!package.empty()) part.Package = package;
    netlist.Parts.push_back(std::move(part));
    return netlist.Parts.size() - 1;
}

void NetlistBuilder::Net(const std::string& name, const std::vector<std::pair<size_t, size_t>>& pins, bool unconnected) {
    host::NetlistNet net;
    net.Named = !name.empty();
    net.Unconnected = unconnected;
    for (auto [part, pin] : pins) {
        net.Nodes.push_back({part, pin});
        netlist.Parts.at(part).Pins.at(pin).Net = netlist.Nets.size();
    }
    const host::NetlistPart& first = netlist.Parts.at(pins.at(0).first);
    net.Name = name.empty() ? "Net" + first.Designator + "_" + first.Pins.at(pins.at(0).second).Number : name;
    netlist.Nets.push_back(std::move(net));
}

host::Netlist FromAllegro(const exporter::AllegroNetlist& allegro, const std::string& title) {
    NetlistBuilder b(title);
    std::map<std::string, const exporter::AllegroPrimitive*> primitives;
    for (const auto& p : allegro.Primitives) primitives[p.Name] = &p;
    // Each placed section: its pins are the numbers of its section in every PIN_NUMBER list.
    std::map<std::string, std::map<std::string, std::pair<size_t, size_t>>> pinOf;  // designator, number
    for (const exporter::AllegroPackage& package : allegro.Packages) {
        auto it = primitives.find(package.Primitive);
        if (it == primitives.end()) throw std::runtime_error("no library part " + package.Primitive);
        const exporter::AllegroPrimitive& primitive = *it->second;
        int32_t count = static_cast<int32_t>(package.Sections.size());
        std::vector<host::PackagePin> packagePins;
        for (const auto& [name, numbers] : primitive.Pins) {
            host::PackagePin pp;
            pp.Name = name;
            std::string list = numbers.substr(1, numbers.size() - 2);
            for (size_t start = 0; start <= list.size();) {
                size_t comma = list.find(',', start);
                if (comma == std::string::npos) comma = list.size();
                std::string n = list.substr(start, comma - start);
                pp.Numbers.push_back(n == "0" ? "" : n);
                start = comma + 1;
            }
            packagePins.push_back(pp);
        }
        for (const auto& [net, number] : primitive.PowerPins)
            packagePins.push_back({number, std::vector<std::string>(std::max(count, 1), number), host::ePinPower, true, net});
        for (int32_t s = 1; s <= std::max(count, 1); ++s) {
            std::vector<PinDef> pins;
            for (const host::PackagePin& pp : packagePins) {
                size_t index = static_cast<size_t>(s - 1);
                std::string number = index < pp.Numbers.size() ? pp.Numbers[index] : std::string();
                if (number.empty()) continue;
                pins.push_back({number, pp.Name, pp.Electrical, pp.HiddenNet});
            }
            auto body = [&](const char* key) {
                auto f = primitive.Body.find(key);
                return f == primitive.Body.end() ? std::string() : f->second;
            };
            size_t part = b.Part(package.Designator, body("PART_NAME"), body("VALUE"), body("JEDEC_TYPE"), pins, s,
                                 std::max(count, 1), packagePins);
            for (size_t k = 0; k < pins.size(); ++k) {
                std::string key = platform::UpperCaseAscii(pins[k].Number);
                if (!pinOf[platform::UpperCaseAscii(package.Designator)].count(key))
                    pinOf[platform::UpperCaseAscii(package.Designator)][key] = {part, k};
            }
        }
    }
    auto lookup = [&](const std::string& designator, const std::string& number) {
        auto d = pinOf.find(platform::UpperCaseAscii(designator));
        if (d == pinOf.end()) throw std::runtime_error("no part " + designator);
        auto p = d->second.find(platform::UpperCaseAscii(number));
        if (p == d->second.end()) throw std::runtime_error("no pin " + designator + "." + number);
        return p->second;
    };
    std::map<std::string, std::vector<std::pair<size_t, size_t>>> hidden;  // net name to hidden pins
    for (const host::NetlistPart& part : b.netlist.Parts)
        for (const host::NetlistPin& pin : part.Pins)
            if (pin.Hidden) hidden[platform::UpperCaseAscii(pin.HiddenNet)].push_back(lookup(part.Designator, pin.Number));
    for (const exporter::AllegroNet& net : allegro.Nets) {
        if (net.Name == "NC") {
            for (const auto& node : net.Nodes) b.Net("", {lookup(node.Designator, node.Pin)}, true);
            continue;
        }
        std::vector<std::pair<size_t, size_t>> pins;
        for (const auto& node : net.Nodes) {
            auto pin = lookup(node.Designator, node.Pin);
            if (std::find(pins.begin(), pins.end(), pin) == pins.end()) pins.push_back(pin);
        }
        auto h = hidden.find(platform::UpperCaseAscii(net.Name));
        if (h != hidden.end()) {
            pins.insert(pins.end(), h->second.begin(), h->second.end());
            hidden.erase(h);
        }
        if (!pins.empty()) b.Net(net.Name, pins);
    }
    for (const auto& [name, pins] : hidden) {
        const host::NetlistPart& part = b.netlist.Parts[pins[0].first];
        b.Net(part.Pins[pins[0].second].HiddenNet, pins);
    }
    return b.netlist;
}

}  // namespace orcadx::test
