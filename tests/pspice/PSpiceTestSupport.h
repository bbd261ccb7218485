// Helpers of the PSpice tests: library files written in place, files read back, log messages.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "host/HostSupport.h"

namespace orcadx::test {

inline void WriteText(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

inline std::string ReadText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The lines of a text, with the line ends given, as one string.
inline std::string Lines(const std::vector<std::string>& lines, const std::string& end = "\n") {
    std::string text;
    for (const auto& line : lines) text += line + end;
    return text;
}

// Every message of the tree with its severity, "error: text", "info: text".
inline std::vector<std::string> Messages(const host::LogSection& log) {
    std::vector<std::string> out;
    for (const auto& [severity, text] : log.Messages())
        out.push_back((severity == host::kLogError ? "error: " : severity == host::kLogWarning ? "warning: " : "info: ") +
                      text);
    for (const auto& section : log.Sections())
        for (auto& m : Messages(*section)) out.push_back(m);
    return out;
}

// The analysis sections of a profile file by id, each with its on/off flag, read from the section
// headers ("@Analysis: id on") on their own.
inline std::map<int, bool> AnalysesOn(const std::filesystem::path& profile) {
    static const std::regex header(R"(^@Analysis:\s*(\d+)\s+(\d+))");
    std::ifstream in(profile);
    std::map<int, bool> on;
    std::string line;
    std::smatch m;
    while (std::getline(in, line))
        if (std::regex_search(line, m, header)) on[std::stoi(m[1])] = m[2] != "0";
    return on;
}

}  // namespace orcadx::test
