// A sheet and a library built through the host interfaces, with one object of every kind.
#pragma once

#include <filesystem>
#include <string>

#include "host/HostApplication.h"

namespace orcadx::test {

constexpr int32_t Mil(double mils) { return static_cast<int32_t>(mils * 10000); }

// Host options with a fixed seed of the unique ids.
inline host::HostOptions Options(uint32_t seed, bool testMode = false, const std::string& templates = {},
                                 bool workspace = true) {
    host::HostOptions options;
    options.Seed = seed;
    options.TestMode = testMode;
    options.TemplatesFolder = templates;
    options.WithWorkspace = workspace;
    return options;
}

// Typed object made by the host's factory.
template <class T>
T* Make(host::IHostApplication& app, int32_t kind) {
    auto* object = dynamic_cast<T*>(app.SchServer()->CreateSchObject(kind, 0));
    if (!object) throw std::runtime_error("host made no object of kind " + std::to_string(kind));
    return object;
}

// A resistor-like component with two pins, a rectangle body, a designator "R1", a comment, a
// parameter, a footprint implementation and an IEEE symbol.
host::ISch_Component* MakeComponent(host::IHostApplication& app, const std::string& libReference);

// A sheet document at `path`, made through OpenOrCreateDocument, holding one object of every kind,
// saved. Gives the sheet.
host::ISch_Sheet* BuildSampleSheet(host::HostApplication& app, const std::filesystem::path& path);

// A library at `path` with two components ("RES" with two parts, "CAP"), saved.
host::ISch_Lib* BuildSampleLibrary(host::HostApplication& app, const std::filesystem::path& path);

std::string ReadFile(const std::filesystem::path& path);

// Writes a 2 by 2 pixel PNG picture.
void WriteTinyPng(const std::filesystem::path& path);

}  // namespace orcadx::test
