// OrCAD project files (".opj") and the PSpice simulation profiles (".sim") they list, read into
// objects; a profile's translation into the host's simulation settings; and the import of a
// design's profiles into the options of the host project.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/HostInterfaces.h"
#include "pspice/RT_Qsolve_Settings.h"

namespace orcadx::pspice {

// One parenthesised field of a project file: "(Name value value (sub-field) ...)".
class TOrcadFileField {
public:
    explicit TOrcadFileField(std::string name) : Name(std::move(name)) {}
    // Frees the nested fields without recursion, so that no depth of nesting exhausts the stack.
    ~TOrcadFileField();
    TOrcadFileField(const TOrcadFileField&) = delete;
    TOrcadFileField& operator=(const TOrcadFileField&) = delete;

    std::string Name;
    TStrings Values;  // in file order; a quoted value keeps its quotes
    std::vector<std::unique_ptr<TOrcadFileField>> SubFields;

    TOrcadFileField* GetSubField(size_t index) const { return SubFields.at(index).get(); }
    size_t SubFieldCount() const { return SubFields.size(); }
    // The first value, empty for a field with none.
    std::string FirstValue() const { return Values.empty() ? std::string() : Values.front(); }
};

// An OrCAD project file: a tree of fields with the root "ExpressProject".
class TOrcadProject {
public:
    explicit TOrcadProject(std::string fileName) : FileName(std::move(fileName)) {}

    std::string FileName;
    std::unique_ptr<TOrcadFileField> ExpressProject;  // may be absent

    // False when the file can't be read, doesn't start with "(", or its root isn't "ExpressProject"
    // (case included).
    bool Load();
    // The profile files of the folder "Simulation Profiles" in the folder "PSpice Resources", made
    // full against the project file and found on disk without regard to case; `active` is the
    // active profile's path, possibly empty. False when no profile file is named; then `list` is
    // empty.
    bool GetProfileFileNames(std::string& active, TStrings& list) const;
};

// The records of a profile's analysis sections. Values stay text as the file holds them.
struct TPSpiceTransientRecord {
    bool Enabled = false;
    bool UseInitialConditions = false;
    bool FourierEnabled = false;
    std::string StopTime, StartTime, MaxStep, FourierFrequency, Harmonics;
};

struct TPSpiceACRecord {
    bool Enabled = false;
    int32_t SweepKind = 0;  // 0 linear, 1 octave, 2 decade, 3 list
    bool NoiseEnabled = false;
    std::string Points, StartFrequency, StopFrequency, NoiseOutput, NoiseSource;
};

struct TPSpiceDCSweepRecord {
    bool Enabled = false;
    int32_t SweepKind = 0;
    int32_t VariableKind = 0;  // 0, 1 source, 2 global parameter, 3 model parameter, 4 temperature
    std::string SourceName, Start, Stop, Step;
};

struct TPSpiceBiasPointRecord {
    bool Enabled = false;
    bool TransferFunctionEnabled = false;
    std::string TransferFunctionSource;
};

struct TPSpiceMonteCarloRecord {
    bool Enabled = false;
    int32_t Distribution = 0;  // 0 Gaussian, 1 worst case
    std::string Runs, Seed;
};

struct TPSpiceParametricSweepRecord {
    bool Enabled = false;
    int32_t SweepKind = 0;
    int32_t VariableKind = 0;
    std::string SourceName, ParameterName, Start, Stop, Step;
};

struct TPSpiceTemperatureRecord {
    bool Enabled = false;
};

// The options that a profile's options section can hold, in the order of OptionValues.
extern const std::array<const char*, 29> kProfileOptionNames;
// Positions of the option flags that are carried over.
constexpr size_t kOptionFlagACCT = 0, kOptionFlagLIST = 3, kOptionFlagOPTS = 13;

// One PSpice simulation profile file.
class TPSpiceSimulationProfile {
public:
    TPSpiceSimulationProfile(std::string fileName, host::ILogSection* log)
        : FileName(std::move(fileName)), Log(log) {}

    std::string FileName;
    host::ILogSection* Log;  // may be null
    bool IsActive = false;
    // The keys of the "General" section, text after the "=" with outer blanks trimmed, quotes kept.
    std::string ProfileName, ProfileFile, DesignFile, ProjectFile, NetlistFile, RootSchematics, DataFile, OutFile;
    TPSpiceTransientRecord Transient;
    TPSpiceACRecord AC;
    TPSpiceDCSweepRecord PrimaryDCSweep;
    TPSpiceBiasPointRecord BiasPoint;
    TPSpiceMonteCarloRecord MonteCarlo;
    TPSpiceParametricSweepRecord ParametricSweep;
    TPSpiceTemperatureRecord Temperature;
    TPSpiceDCSweepRecord SecondaryDCSweep;
    std::array<bool, 16> OptionFlags{};
    std::array<std::string, 29> OptionValues;

    // Reads the file; false after an error in the log (or none, for a section of unknown name).
    bool Load();
    // Fills settings that the caller has prepared with what this profile holds, and reports to the
    // log, as errors, what the host's simulator can't do.
    void Export_ToQsolveSettings(TBaseQsolveNetlistSettings& settings) const;

private:
    bool ReadSection(const std::vector<std::string>& lines, const std::string& name, const std::string& header,
                     size_t first, size_t last);
    void ReadGeneral(const std::vector<std::string>& lines, size_t first, size_t last);
    bool ReadAnalysis(const std::vector<std::string>& lines, const std::string& header, size_t first, size_t last);
    void Error(const std::string& text) const;
};

// ---- import into the host project ----------------------------------------------------------

// The section of the host project's options that holds the simulation profiles.
inline constexpr char kSimulationProfilesSection[] = "SimulationProfiles";

// Fills `settings` as the import stores a profile: defaults with a new profile id, neither
// operating point nor transient unless the profile asks for them, a copy of `globals`, the
// profile's analyses and options, and its name without double quotes as the simulation name.
void MakeProfileSettings(const TPSpiceSimulationProfile& profile, const TGlobalParameterList& globals,
                         TBaseQsolveNetlistSettings& settings);

// Imports the simulation profiles of a Capture design's OrCAD project (the ".opj" beside the design
// file, of the same name) into the options of the host project, one entry per profile that loads,
// each with the global parameters that the design's pages carry. Without a project file the global
// parameters still reach the project's active profile, or a new one.
class TPSpiceSimulationProfileImportManager {
public:
    // `progressRange` units are given for each of the two passes over the profiles. Project,
    // progress and log may be null.
    TPSpiceSimulationProfileImportManager(std::string fileName, host::IProject* project,
                                          host::IHandler_Status* progress, int32_t progressRange,
                                          host::ILogSection* log);

    std::string FileName;  // the Capture design file
    host::IProject* Project;
    host::IHandler_Status* Progress;
    int32_t ProgressRange;
    host::ILogSection* Log;  // the run's own section once RunImport has started
    std::string ProjectFile;  // the ".opj" once found
    TGlobalParameterList GlobalParameters;

    void AddGlobalParameter(const std::string& name, const std::string& value) {
        GlobalParameters.AddParameter(name, value);
    }
    // Reports to the log and never raises for what the files hold; a failing host call raises
    // EApiErr.
    void RunImport();

private:
    void ImportProfiles(const std::string& active, const TStrings& list);
    void KeepGlobalParameters();
    host::IOptionsStorage* Storage() const;
};

// One profile as the import stored it in the project's options.
struct TStoredSimulationProfile {
    int32_t Index = 0;  // of the keys "ProfileId" + index, ...
    std::string ProfileId, ProfileName, OutputType, ConfigParameters;
    bool Active = false;  // its id is the section's "ActiveProfile"
};

// The stored profiles in the order of their index. `keys` are the keys of the section; the numbers
// behind its "ProfileId" keys give the indexes, which may have gaps.
std::vector<TStoredSimulationProfile> ReadStoredProfiles(host::IOptionsStorage& storage, const TStrings& keys);

}  // namespace orcadx::pspice
