// The import of a design's simulation profiles into the options of the host project, with the global
// parameters that the design's pages carry.
#include <algorithm>
#include <filesystem>

#include "platform/Status.h"
#include "platform/TextCompare.h"
#include "platform/TextFiles.h"
#include "pspice/PSpiceProfileImport.h"

namespace orcadx::pspice {

namespace {

const char kImportTitle[] = "Importing PSpice Simulation Profiles";
const char kOutputType[] = "QsolveNetlist";
const char kFirstProfileName[] = "Mixed Sim";

std::string Key(const char* name, size_t index) { return name + std::to_string(index); }

// A batch of writes to the options: BeginUpdate now, EndUpdate at the end of the scope, also when
// an exception passes.
class TOptionsUpdate {
public:
    explicit TOptionsUpdate(host::IOptionsStorage& storage) : storage_(storage) { storage_.BeginUpdate(); }
    ~TOptionsUpdate() { storage_.EndUpdate(); }
    TOptionsUpdate(const TOptionsUpdate&) = delete;
    TOptionsUpdate& operator=(const TOptionsUpdate&) = delete;

private:
    host::IOptionsStorage& storage_;
};

// The settings that the import starts each profile from: the defaults with a new id, without the
// two analyses that the defaults switch on.
void PrepareSettings(TBaseQsolveNetlistSettings& settings) {
    settings.SetState_Default();
    settings.OperatingPoint->Active = false;
    settings.Transient->Active = false;
}

}  // namespace

void MakeProfileSettings(const TPSpiceSimulationProfile& profile, const TGlobalParameterList& globals,
                         TBaseQsolveNetlistSettings& settings) {
    PrepareSettings(settings);
    globals.CopyTo(settings.GlobalParameters);
    profile.Export_ToQsolveSettings(settings);
    settings.SimulationName = profile.ProfileName;
    std::erase(settings.SimulationName, '"');
}

// ---- TPSpiceSimulationProfileImportManager ---------------------------------------------------

TPSpiceSimulationProfileImportManager::TPSpiceSimulationProfileImportManager(std::string fileName,
                                                                             host::IProject* project,
                                                                             host::IHandler_Status* progress,
                                                                             int32_t progressRange,
                                                                             host::ILogSection* log)
    : FileName(std::move(fileName)), Project(project), Progress(progress), ProgressRange(progressRange), Log(log) {}

host::IOptionsStorage* TPSpiceSimulationProfileImportManager::Storage() const {
    return Project ? Project->GetOptionsStorage() : nullptr;
}

void TPSpiceSimulationProfileImportManager::RunImport() {
    platform::StatusReporter(Progress).Line(kImportTitle);
    Log = platform::AddSubSection(Log, kImportTitle);

    // The project file has the design's name; Windows finds it whatever the case of either name.
    std::string lookedFor = std::filesystem::path(FileName).replace_extension(".opj").string();
    std::string found = platform::FindFileNoCase(lookedFor);
    std::error_code ec;
    if (!std::filesystem::is_regular_file(found, ec)) {
        platform::LogMessage(Log, host::kLogError, "Orcad Project file not found - " + lookedFor);
        KeepGlobalParameters();
        return;
    }
    ProjectFile = found;
    platform::LogMessage(Log, host::kLogInfo, "Processing Orcad Project file - " + ProjectFile);
    TOrcadProject project(ProjectFile);
    if (!project.Load()) {
        platform::LogMessage(Log, host::kLogError, "Failed to load Orcad Project file - " + ProjectFile);
        return;
    }
    std::string active;
    TStrings list;
    if (!project.GetProfileFileNames(active, list)) {
        platform::LogMessage(Log, host::kLogError, "Orcad Project file contains no simulation profiles - " + ProjectFile);
        return;
    }
    ImportProfiles(active, list);
}

void TPSpiceSimulationProfileImportManager::ImportProfiles(const std::string& active, const TStrings& list) {
    // First pass: every profile file is read; one that fails keeps its index, without an object.
    std::vector<std::unique_ptr<TPSpiceSimulationProfile>> profiles(list.size());
    platform::ProgressSpreader reading(Progress, ProgressRange, static_cast<int64_t>(list.size()));
    for (size_t i = 0; i < list.size(); ++i) {
        platform::LogMessage(Log, host::kLogInfo, "Processing simulation profile - " + list[i]);
        auto profile = std::make_unique<TPSpiceSimulationProfile>(list[i], Log);
        if (profile->Load()) {
            profile->IsActive = platform::SameTextNoCase(profile->FileName, active);
            profiles[i] = std::move(profile);
        }
        reading.Step(static_cast<int64_t>(i + 1));
    }

    // Second pass: each profile that loaded is translated and stored under its index.
    host::IOptionsStorage* storage = Storage();
    if (!storage) {
        platform::LogMessage(Log, host::kLogError, "The host project has no options to keep simulation profiles - " + FileName);
        return;
    }
    TBaseQsolveNetlistSettings settings;
    TOptionsUpdate update(*storage);
    storage->EraseSection(kSimulationProfilesSection);
    platform::ProgressSpreader storing(Progress, ProgressRange, static_cast<int64_t>(list.size()));
    for (size_t i = 0; i < profiles.size(); ++i) {
        const TPSpiceSimulationProfile* profile = profiles[i].get();
        if (!profile) continue;
        platform::LogMessage(Log, host::kLogInfo, "Importing simulation profile - " + profile->ProfileName);
        MakeProfileSettings(*profile, GlobalParameters, settings);
        const std::string text = settings.Export_ToParameters();
        storage->WriteValue(kSimulationProfilesSection, Key("ProfileId", i), settings.ProfileId);
        storage->WriteValue(kSimulationProfilesSection, Key("ProfileName", i), settings.SimulationName);
        storage->WriteValue(kSimulationProfilesSection, Key("OutputType", i), kOutputType);
        storage->WriteValue(kSimulationProfilesSection, Key("ConfigParameters", i), text);
        if (profile->IsActive) storage->WriteValue(kSimulationProfilesSection, "ActiveProfile", settings.ProfileId);
        storing.Step(static_cast<int64_t>(i + 1));
    }
    // With no profile to hold them, the design's global parameters are not kept: say which.
    if (std::none_of(profiles.begin(), profiles.end(), [](const auto& p) { return p != nullptr; }))
        for (size_t i = 0; i < GlobalParameters.Count(); ++i)
            platform::LogMessage(Log, host::kLogWarning,
                                 "Global parameter not carried over - " + GlobalParameters.GetParameter(i).Name + " = " +
                                     GlobalParameters.GetParameter(i).Value);
}

// Without a project file, the global parameters of the design still reach the host project: into
// its active profile, or into a first profile made for them.
void TPSpiceSimulationProfileImportManager::KeepGlobalParameters() {
    host::IOptionsStorage* storage = Storage();
    if (GlobalParameters.Empty() || !storage) return;
    TOptionsUpdate update(*storage);
    const std::string activeId = storage->ReadValue(kSimulationProfilesSection, "ActiveProfile", "");
    if (activeId.empty()) {
        TBaseQsolveNetlistSettings settings;
        PrepareSettings(settings);
        settings.SimulationName = kFirstProfileName;
        GlobalParameters.CopyTo(settings.GlobalParameters);
        const std::string text = settings.Export_ToParameters();
        storage->WriteValue(kSimulationProfilesSection, "ActiveProfile", settings.ProfileId);
        storage->WriteValue(kSimulationProfilesSection, "ProfileId0", settings.ProfileId);
        storage->WriteValue(kSimulationProfilesSection, "ProfileName0", kFirstProfileName);
        storage->WriteValue(kSimulationProfilesSection, "OutputType0", kOutputType);
        storage->WriteValue(kSimulationProfilesSection, "ConfigParameters0", text);
        return;
    }
    // Every entry with the active id, up to the first index without an id.
    for (size_t i = 0;; ++i) {
        const std::string id = storage->ReadValue(kSimulationProfilesSection, Key("ProfileId", i), "");
        if (id.empty()) break;
        if (id != activeId) continue;
        const std::string stored = storage->ReadValue(kSimulationProfilesSection, Key("ConfigParameters", i), "");
        if (stored.empty()) break;
        TBaseQsolveNetlistSettings settings;
        try {
            settings.Import_FromParameters(stored);
        } catch (const std::exception& e) {
            // Settings that don't read are left as they are, rather than overwritten with defaults.
            platform::LogMessage(Log, host::kLogError,
                                 "Cannot read the stored simulation profile " + id + " (" + e.what() + ") - " +
                                     Project->GetFullPath());
            continue;
        }
        GlobalParameters.CopyTo(settings.GlobalParameters);
        storage->WriteLongValue(kSimulationProfilesSection, Key("ConfigParameters", i), settings.Export_ToParameters());
    }
}

// ---- reading back ----------------------------------------------------------------------------

std::vector<TStoredSimulationProfile> ReadStoredProfiles(host::IOptionsStorage& storage, const TStrings& keys) {
    std::vector<int32_t> indexes;
    const std::string_view prefix = "ProfileId";
    for (const std::string& key : keys) {
        if (key.size() <= prefix.size() || key.size() > prefix.size() + 9 || key.compare(0, prefix.size(), prefix) != 0)
            continue;
        std::string_view digits = std::string_view(key).substr(prefix.size());
        if (!std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) continue;
        if (digits.size() > 1 && digits[0] == '0') continue;  // not a key that an index makes
        indexes.push_back(static_cast<int32_t>(std::stol(std::string(digits))));
    }
    std::sort(indexes.begin(), indexes.end());
    indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
    const std::string activeId = storage.ReadValue(kSimulationProfilesSection, "ActiveProfile", "");
    std::vector<TStoredSimulationProfile> profiles;
    for (int32_t index : indexes) {
        TStoredSimulationProfile p;
        p.Index = index;
        p.ProfileId = storage.ReadValue(kSimulationProfilesSection, Key("ProfileId", index), "");
        p.ProfileName = storage.ReadValue(kSimulationProfilesSection, Key("ProfileName", index), "");
        p.OutputType = storage.ReadValue(kSimulationProfilesSection, Key("OutputType", index), "");
        p.ConfigParameters = storage.ReadValue(kSimulationProfilesSection, Key("ConfigParameters", index), "");
        p.Active = !activeId.empty() && p.ProfileId == activeId;
        profiles.push_back(std::move(p));
    }
    return profiles;
}

}  // namespace orcadx::pspice
