// orcadx sim FILE.opj|FILE.sim|PROJECT.VsProj: the PSpice simulation profiles of an OrCAD project or
// one profile file, or the profiles that an import stored in a host project, as the host's simulator
// would run them: the SPICE text of each profile's analyses and the checks of its setup. The output
// is SPICE text; what isn't SPICE is a comment line ("*").
#include <algorithm>
#include <functional>
#include <iostream>
#include <map>

#include "cli/Context.h"
#include "host/HostApplication.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"
#include "pspice/PSpiceProfileImport.h"

namespace orcadx::cli {

namespace {

using pspice::TBaseQsolveNetlistSettings;

struct SimOptions {
    std::string file;
    bool parameters = false;
};

// One set of settings to show, with its name and where it came from.
struct ShownProfile {
    std::string name;
    std::string source;
    bool active = false;
    std::unique_ptr<TBaseQsolveNetlistSettings> settings;
};

// The settings of a profile file, made as the profile import makes them.
ShownProfile FromProfile(const pspice::TPSpiceSimulationProfile& profile) {
    ShownProfile shown;
    shown.settings = std::make_unique<TBaseQsolveNetlistSettings>();
    pspice::MakeProfileSettings(profile, pspice::TGlobalParameterList(), *shown.settings);
    shown.name = shown.settings->SimulationName;
    shown.source = profile.FileName;
    shown.active = profile.IsActive;
    return shown;
}

std::vector<ShownProfile> ProfilesOfProfileFile(const std::string& file, host::ILogSection* log) {
    std::vector<ShownProfile> shown;
    pspice::TPSpiceSimulationProfile profile(file, log);
    if (profile.Load()) shown.push_back(FromProfile(profile));
    return shown;
}

std::vector<ShownProfile> ProfilesOfProject(const std::string& file, host::ILogSection* log) {
    std::vector<ShownProfile> shown;
    pspice::TOrcadProject project(file);
    if (!project.Load()) {
        platform::LogMessage(log, 0, "Failed to load Orcad Project file - " + file);
        return shown;
    }
    std::string active;
    pspice::TStrings files;
    project.GetProfileFileNames(active, files);
    for (const std::string& name : files) {
        pspice::TPSpiceSimulationProfile profile(name, log);
        if (!profile.Load()) continue;
        profile.IsActive = platform::SameTextNoCase(name, active);
        shown.push_back(FromProfile(profile));
    }
    return shown;
}

// The profiles that an import stored in the options of a host project, in the order of their index.
std::vector<ShownProfile> ProfilesOfHostProject(const std::string& file, host::ILogSection* log) {
    std::vector<ShownProfile> shown;
    host::HostApplication app;
    host::IProject* project = app.OpenProject(file);
    if (!project) {
        platform::LogMessage(log, host::kLogError, "Cannot read the project file " + file);
        return shown;
    }
    host::IOptionsStorage* storage = project->GetOptionsStorage();
    const auto keys = app.OptionKeys(project, pspice::kSimulationProfilesSection);
    for (const pspice::TStoredSimulationProfile& stored : pspice::ReadStoredProfiles(*storage, keys)) {
        ShownProfile p;
        p.name = stored.ProfileName;
        p.source = file + ", profile " + std::to_string(stored.Index) + " (" + stored.ProfileId + ")";
        p.active = stored.Active;
        p.settings = std::make_unique<TBaseQsolveNetlistSettings>();
        try {
            p.settings->Import_FromParameters(stored.ConfigParameters);
        } catch (const std::exception& e) {
            platform::LogMessage(log, host::kLogError,
                                 "Stored profile " + std::to_string(stored.Index) + " of " + file + ": " + e.what());
            continue;
        }
        shown.push_back(std::move(p));
    }
    return shown;
}

// Where the settings come from, by the file's extension (any case).
using ProfileSource = std::function<std::vector<ShownProfile>(const std::string&, host::ILogSection*)>;

const ProfileSource* SourceFor(const std::string& file) {
    static const std::map<std::string, ProfileSource> kSources = {
        {".OPJ", ProfilesOfProject},
        {".SIM", ProfilesOfProfileFile},
        {".VSPROJ", ProfilesOfHostProject},
    };
    std::string ext = std::filesystem::path(file).extension().string();
    for (char& c : ext) c = platform::FoldUpper(c);
    auto it = kSources.find(ext);
    return it == kSources.end() ? nullptr : &it->second;
}

void Print(ShownProfile& p, bool parameters, std::ostream& out) {
    TBaseQsolveNetlistSettings& s = *p.settings;
    out << "* Profile \"" << p.name << "\"" << (p.active ? " (active)" : "") << " - " << p.source << "\n";
    pspice::TStrings lines;
    s.GetState_AnalysesStrings(lines);
    for (const std::string& line : lines) out << line << "\n";
    pspice::TStrings errors;
    s.GetState_SetupErrors(&errors);
    out << "* Setup check without the circuit's netlist (its sources, nodes and designators are unknown), errors: "
        << errors.size() << "\n";
    for (const std::string& error : errors) out << "*   " << error << "\n";
    if (parameters) out << "* Settings: " << s.Export_ToParameters() << "\n";
    out << "\n";
}

int Run(const SimOptions& opt) {
    const ProfileSource* source = SourceFor(opt.file);
    if (!source) {
        std::cerr << "error: " << opt.file
                  << " is no OrCAD project (.opj), PSpice profile (.sim) or host project (.VsProj)\n";
        return kExitUsage;
    }
    if (!InputExists(opt.file)) return kExitFailed;
    auto& ctx = GetContext();
    ctx.StartRun();
    std::vector<ShownProfile> profiles = (*source)(opt.file, ctx.log.get());
    if (profiles.empty() && ctx.log->AllMessages(host::kLogError).empty())
        std::cout << "* No simulation profiles in " << opt.file << "\n";
    for (ShownProfile& p : profiles) Print(p, opt.parameters, std::cout);
    return ctx.FinishRun() > 0 ? kExitFailed : 0;
}

}  // namespace

void AddSimCommand(CLI::App& app) {
    static SimOptions opt;
    auto* cmd = app.add_subcommand("sim", "Show the simulation profiles of an OrCAD project, a PSpice profile file or "
                                          "an imported host project as SPICE text, with the checks of their setup");
    cmd->add_option("file", opt.file,
                    "OrCAD project (.opj), PSpice simulation profile (.sim) or host project (.VsProj)")
        ->required();
    cmd->add_flag("--parameters", opt.parameters, "Also print each profile's settings as the host stores them");
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
