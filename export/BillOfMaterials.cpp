#include "export/BillOfMaterials.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <unordered_set>

#include <nlohmann/json.hpp>

#include "dbo/DboDesign.h"
#include "platform/TextCompare.h"

namespace orcadx::exporter {

namespace {

std::string CsvField(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos && (text.empty() || (text.front() != ' ' && text.back() != ' ')))
        return text;
    std::string out = "\"";
    for (char c : text) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

}  // namespace

std::vector<BomLine> BomLines(const host::Netlist& netlist) {
    std::map<std::tuple<std::string, std::string, std::string>, size_t> lineOf;
    std::vector<BomLine> lines;
    std::unordered_set<std::string> counted;
    for (const host::NetlistPart& part : netlist.Parts) {
        if (part.Designator.empty() || !counted.insert(platform::UpperCaseAscii(part.Designator)).second) continue;
        auto [it, fresh] = lineOf.emplace(std::make_tuple(part.Value, part.LibReference, part.Footprint), lines.size());
        if (fresh) lines.push_back({part.Value, part.LibReference, part.Footprint, {}});
        lines[it->second].Designators.push_back(part.Designator);
    }
    for (BomLine& line : lines) std::sort(line.Designators.begin(), line.Designators.end(), dbo::NaturalLess);
    std::sort(lines.begin(), lines.end(),
              [](const BomLine& a, const BomLine& b) { return dbo::NaturalLess(a.Designators.front(), b.Designators.front()); });
    return lines;
}

std::string BomCsv(const std::vector<BomLine>& lines) {
    std::string out = "Item,Quantity,Reference,Value,Part,Footprint\r\n";
    size_t item = 0;
    for (const BomLine& line : lines) {
        std::string designators;
        for (const std::string& d : line.Designators) designators += (designators.empty() ? "" : ", ") + d;
        out += std::to_string(++item) + "," + std::to_string(line.Quantity()) + "," + CsvField(designators) + "," +
               CsvField(line.Value) + "," + CsvField(line.LibReference) + "," + CsvField(line.Footprint) + "\r\n";
    }
    return out;
}

std::string BomJson(const std::vector<BomLine>& lines, const std::string& title) {
    nlohmann::ordered_json items = nlohmann::ordered_json::array();
    size_t item = 0;
    for (const BomLine& line : lines)
        items.push_back({{"item", ++item},
                         {"quantity", line.Quantity()},
                         {"designators", line.Designators},
                         {"value", line.Value},
                         {"part", line.LibReference},
                         {"footprint", line.Footprint}});
    nlohmann::ordered_json doc{{"title", title}, {"items", items}};
    return doc.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace orcadx::exporter
