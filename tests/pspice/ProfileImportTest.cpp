// The import of a design's simulation profiles into the options of the host project: profiles and
// project files written in place, host projects of the stand-in host.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "../TestSupport.h"
#include "PSpiceTestSupport.h"
#include "dbo/DboDesign.h"
#include "host/HostApplication.h"
#include "import/SCHDesignImport.h"
#include "import/SCHLibraryImport.h"
#include "platform/TextFiles.h"
#include "pspice/PSpiceProfileImport.h"

namespace orcadx::pspice {
namespace {

namespace fs = std::filesystem;
using test::Messages;
using test::WriteText;

const std::string kSection = kSimulationProfilesSection;

host::HostOptions Options(uint32_t seed) {
    host::HostOptions options;
    options.Seed = seed;
    return options;
}

// A profile file with its name as the file writes it and the analysis sections given.
std::string Profile(const std::string& quotedName, const std::string& analyses) {
    return "@OrCAD Simulation Server Version: 1.0\n@General:\nProfileName= " + quotedName + "\n@End General\n" + analyses;
}

// A transient section: stop time, maximum step.
std::string Transient(const std::string& stop, const std::string& maxStep) {
    return "@Analysis: 0 1\n+0 0 0 0\n+0 \"" + stop + "\"\n+1 \"\"\n+2 \"0\"\n+3 \"" + maxStep +
           "\"\n+4 \"\"\n+5 \"\"\n+6 \"\"\n@End Analysis\n";
}

// A DC sweep section of the sweep and variable kinds given, over V1 from 0 to 5.
std::string DCSweep(int sweepKind, int variableKind) {
    return "@Analysis: 2 1\n+" + std::to_string(sweepKind) + " " + std::to_string(variableKind) +
           "\n+0 \"V1\"\n+1 \"\"\n+2 \"\"\n+3 \"\"\n+4 \"0\"\n+5 \"5\"\n+6 \"1\"\n+7 \"\"\n@End Analysis\n";
}

const std::string kBiasPoint = "@Analysis: 3 1\n+0 0 0\n+0 \"\"\n+1 \"\"\n@End Analysis\n";

// A project file listing the profiles (paths relative to it) and the active one.
std::string ProjectFile(const std::vector<std::string>& profiles, const std::string& active) {
    std::string text = "(ExpressProject \"Design\"\n  (Folder \"PSpice Resources\"\n    (Folder \"Simulation Profiles\"\n";
    for (const auto& p : profiles) text += "      (File.PSpice.{09528990-3187-11D2-BC7B-00A0C90CBF91} \"" + p + "\")\n";
    if (!active.empty()) text += "      (ActiveProfile \"" + active + "\")\n";
    return text + ")))\n";
}

// The settings that a stored parameter string reads back to.
std::unique_ptr<TBaseQsolveNetlistSettings> ReadBack(const std::string& text) {
    auto settings = std::make_unique<TBaseQsolveNetlistSettings>();
    settings->Import_FromParameters(text);
    return settings;
}

// The analyses that are on in read-back settings are those the profile file marks as on (`on` by
// section id: 0 transient, 1 AC, 2 DC sweep, 3 bias point, 4 Monte Carlo, 5 and 6 parametric and
// temperature sweep); pole-zero is never on.
void ExpectAnalysesOn(const TBaseQsolveNetlistSettings& settings, std::map<int, bool> on) {
    EXPECT_EQ(settings.Transient->Active, on[0]);
    EXPECT_EQ(settings.AC->Active, on[1]);
    EXPECT_EQ(settings.DCSweep->Active, on[2]);
    EXPECT_EQ(settings.OperatingPoint->Active, on[3]);
    EXPECT_EQ(settings.MonteCarlo->Active, on[4]);
    EXPECT_EQ(settings.ParameterSweep->Active || settings.TemperatureSweep->Active, on[5] || on[6]);
    EXPECT_FALSE(settings.PoleZero->Active);
}

std::vector<std::pair<std::string, std::string>> Globals(const TGlobalParameterList& list) {
    std::vector<std::pair<std::string, std::string>> out;
    for (size_t i = 0; i < list.Count(); ++i) out.emplace_back(list.GetParameter(i).Name, list.GetParameter(i).Value);
    return out;
}

struct ProfileImport : ::testing::Test {
    fs::path dir =
        test::ScratchDir(std::string("profile-import-") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    host::HostApplication app{Options(7)};
    host::IProject* project = app.CreateProject((dir / "Design.VsProj").string());
    host::IOptionsStorage& storage = *project->GetOptionsStorage();
    host::LogSection log;
    host::StatusRecorder status;

    std::string Read(const std::string& key) { return storage.ReadValue(kSection, key, ""); }
    std::vector<std::string> Keys() { return app.OptionKeys(project, kSection); }
    // The import of the design file `design` (need not exist) with the global parameters given.
    void Run(const std::string& design, const std::vector<std::pair<std::string, std::string>>& globals = {}) {
        TPSpiceSimulationProfileImportManager manager((dir / design).string(), project, &status, 10, &log);
        for (const auto& [name, value] : globals) manager.AddGlobalParameter(name, value);
        manager.RunImport();
    }
};

// Each profile that loads is stored under its index in the project file, with the design's global
// parameters; the section's earlier content goes; what the host can't do is logged under the
// profile's name.
TEST_F(ProfileImport, ProfilesOfTheProjectFileReachTheProjectOptions) {
    WriteText(dir / "design-PSpiceFiles" / "SCHEMATIC1" / "tran.sim",
              Profile("\"My \"\"tran\"\"\"", Transient("2ms", "")));
    WriteText(dir / "design-PSpiceFiles" / "SCHEMATIC1" / "dc.sim", Profile("\"dc\"", DCSweep(1, 3) + kBiasPoint));
    // The project file is found beside the design whatever the case of either name.
    WriteText(dir / "Design.opj", ProjectFile({".\\design-pspicefiles\\schematic1\\tran.sim",
                                               ".\\design-pspicefiles\\schematic1\\missing.sim",
                                               ".\\design-pspicefiles\\schematic1\\dc.sim"},
                                              ".\\DESIGN-PSPICEFILES\\SCHEMATIC1\\DC.SIM"));
    storage.WriteValue(kSection, "ProfileId5", "STALE");
    storage.WriteValue("Other", "Key", "kept");

    Run("DESIGN.DSN", {{"freq", "1k"}, {"R", "10"}, {"freq", "2k"}});

    // A profile that failed to load leaves a gap.
    EXPECT_EQ(Keys(), (std::vector<std::string>{"ActiveProfile", "ConfigParameters0", "ConfigParameters2", "OutputType0",
                                                "OutputType2", "ProfileId0", "ProfileId2", "ProfileName0",
                                                "ProfileName2"}));
    EXPECT_EQ(storage.ReadValue("Other", "Key", ""), "kept");
    EXPECT_EQ(Read("ProfileName0"), "My tran");
    EXPECT_EQ(Read("ProfileName2"), "dc");
    EXPECT_EQ(Read("OutputType0"), "QsolveNetlist");
    EXPECT_EQ(Read("OutputType2"), "QsolveNetlist");
    EXPECT_EQ(Read("ActiveProfile"), Read("ProfileId2"));
    EXPECT_NE(Read("ProfileId0"), Read("ProfileId2"));
    EXPECT_EQ(Read("ProfileId0").size(), 8u);

    auto tran = ReadBack(Read("ConfigParameters0"));
    EXPECT_EQ(tran->ProfileId, Read("ProfileId0"));
    EXPECT_EQ(tran->SimulationName, "My tran");
    EXPECT_TRUE(tran->Transient->Active);
    EXPECT_DOUBLE_EQ(tran->Transient->MaxStepTime, 2E-3 / 50);
    EXPECT_FALSE(tran->OperatingPoint->Active) << "no bias point section";
    EXPECT_FALSE(tran->PoleZero->Active);
    EXPECT_FALSE(tran->DCSweep->Active);
    const std::vector<std::pair<std::string, std::string>> globals{{"freq", "1k"}, {"R", "10"}, {"freq", "2k"}};
    EXPECT_EQ(Globals(tran->GlobalParameters), globals);
    const TGlobalParameter* freq = tran->GlobalParameters.GetParameterByName("FREQ");
    ASSERT_NE(freq, nullptr);
    EXPECT_EQ(freq->Value, "2k") << "the last of a name counts";
    auto dc = ReadBack(Read("ConfigParameters2"));
    EXPECT_FALSE(dc->Transient->Active);
    EXPECT_TRUE(dc->OperatingPoint->Active);
    EXPECT_TRUE(dc->DCSweep->Active);
    EXPECT_EQ(dc->DCSweep->PrimarySource, "V1") << "the values are taken although the kinds are not possible";
    EXPECT_DOUBLE_EQ(dc->DCSweep->PrimaryStop, 5);
    EXPECT_EQ(Globals(dc->GlobalParameters), globals);

    const std::string sims = (dir / "design-PSpiceFiles" / "SCHEMATIC1").string() + "/";
    const std::string missing = (dir / "design-pspicefiles" / "schematic1" / "missing.sim").string();
    ASSERT_EQ(log.Sections().size(), 1u);
    EXPECT_EQ(log.Sections()[0]->Title(), "Importing PSpice Simulation Profiles");
    EXPECT_EQ(Messages(log),
              (std::vector<std::string>{
                  "info: Processing Orcad Project file - " + (dir / "Design.opj").string(),
                  "info: Processing simulation profile - " + sims + "tran.sim",
                  "info: Processing simulation profile - " + missing,
                  "error: Simulation profile file not found - " + missing,
                  "info: Processing simulation profile - " + sims + "dc.sim",
                  "info: Importing simulation profile - \"My \"\"tran\"\"\"",
                  "info: Importing simulation profile - \"dc\"",
                  "error: Primary DC sweep type of \"octave\" not possible in Vantor Studio - \"dc\"",
                  "error: Primary DC sweep variable type \"Model Parameter\" not possible in Vantor Studio - \"dc\""}));
    EXPECT_EQ(status.lines, std::vector<std::string>{"Importing PSpice Simulation Profiles"});
    EXPECT_EQ(status.position, 20) << "each pass gives its whole range when the last profile loads";

    // The project file on disk holds the section.
    host::HostApplication again{Options(8)};
    host::IProject* reopened = again.OpenProject(project->GetFullPath());
    ASSERT_NE(reopened, nullptr);
    auto stored = ReadStoredProfiles(*reopened->GetOptionsStorage(), again.OptionKeys(reopened, kSection));
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(stored[0].Index, 0);
    EXPECT_FALSE(stored[0].Active);
    EXPECT_EQ(stored[1].Index, 2);
    EXPECT_TRUE(stored[1].Active);
    EXPECT_EQ(stored[1].ProfileName, "dc");
    EXPECT_EQ(stored[1].ConfigParameters, Read("ConfigParameters2"));
}

// An empty active profile leaves none active; a project file that doesn't load or lists no profile
// leaves the options alone; the last profile failing leaves its share of progress out.
TEST_F(ProfileImport, ActiveProfileAndProjectFilesThatGiveNothing) {
    WriteText(dir / "a.sim", Profile("\"a\"", kBiasPoint));
    WriteText(dir / "one.opj", ProjectFile({"a.sim", "gone.sim"}, ""));
    Run("one.dsn");
    EXPECT_EQ(Read("ActiveProfile"), "");
    EXPECT_EQ(Keys().size(), 4u);
    EXPECT_EQ(status.position, 10 + 5);

    storage.WriteValue(kSection, "ProfileId0", "KEEP");
    WriteText(dir / "broken.opj", "(NotAProject)");
    WriteText(dir / "empty.opj", ProjectFile({}, "a.sim"));
    log = host::LogSection();
    Run("broken.DSN");
    Run("empty.DSN");
    EXPECT_EQ(Read("ProfileId0"), "KEEP");
    EXPECT_EQ(Messages(log), (std::vector<std::string>{
                                 "info: Processing Orcad Project file - " + (dir / "broken.opj").string(),
                                 "error: Failed to load Orcad Project file - " + (dir / "broken.opj").string(),
                                 "info: Processing Orcad Project file - " + (dir / "empty.opj").string(),
                                 "error: Orcad Project file contains no simulation profiles - " +
                                     (dir / "empty.opj").string()}));

    // Without a project or a log nothing breaks.
    TPSpiceSimulationProfileImportManager alone((dir / "one.dsn").string(), nullptr, nullptr, 10, nullptr);
    alone.AddGlobalParameter("x", "1");
    EXPECT_NO_THROW(alone.RunImport());
    EXPECT_EQ(alone.ProjectFile, (dir / "one.opj").string());
}

// Without a project file the design's global parameters still reach the project: a first profile
// when it has none, else every entry of its active profile up to the first index without an id.
TEST_F(ProfileImport, WithoutAProjectFileTheGlobalParametersStillArrive) {
    Run("none.dsn");
    EXPECT_TRUE(Keys().empty()) << "nothing to keep without global parameters";
    EXPECT_EQ(Messages(log), std::vector<std::string>{"error: Orcad Project file not found - " +
                                                      (dir / "none.opj").string()});

    Run("none.dsn", {{"gain", "3"}});
    EXPECT_EQ(Keys(), (std::vector<std::string>{"ActiveProfile", "ConfigParameters0", "OutputType0", "ProfileId0",
                                                "ProfileName0"}));
    EXPECT_EQ(Read("ActiveProfile"), Read("ProfileId0"));
    EXPECT_EQ(Read("ProfileName0"), "Mixed Sim");
    EXPECT_EQ(Read("OutputType0"), "QsolveNetlist");
    auto first = ReadBack(Read("ConfigParameters0"));
    EXPECT_EQ(first->SimulationName, "Mixed Sim");
    EXPECT_FALSE(first->OperatingPoint->Active);
    EXPECT_FALSE(first->Transient->Active);
    EXPECT_EQ(Globals(first->GlobalParameters), (std::vector<std::pair<std::string, std::string>>{{"gain", "3"}}));

    // Existing profiles: 0 is another, 1 and 2 are the active one, 3 is missing, 4 lies past the gap.
    storage.EraseSection(kSection);
    TBaseQsolveNetlistSettings other;
    other.SetState_Default();
    other.GlobalParameters.AddParameter("old", "1");
    other.AC->Active = true;
    const std::string otherText = other.Export_ToParameters();
    storage.WriteValue(kSection, "ActiveProfile", "ACTIVEID");
    for (const auto& [index, id] : std::map<int, std::string>{{0, "OTHERID"}, {1, "ACTIVEID"}, {2, "ACTIVEID"}, {4, "ACTIVEID"}}) {
        storage.WriteValue(kSection, "ProfileId" + std::to_string(index), id);
        storage.WriteValue(kSection, "ConfigParameters" + std::to_string(index), otherText);
    }
    Run("none.dsn", {{"gain", "4"}});
    for (int index : {1, 2}) {
        auto updated = ReadBack(Read("ConfigParameters" + std::to_string(index)));
        EXPECT_EQ(Globals(updated->GlobalParameters), (std::vector<std::pair<std::string, std::string>>{{"gain", "4"}}))
            << index;
        EXPECT_TRUE(updated->AC->Active) << "the rest of the profile stays";
    }
    EXPECT_EQ(Read("ConfigParameters0"), otherText);
    EXPECT_EQ(Read("ConfigParameters4"), otherText);
    EXPECT_EQ(Read("ActiveProfile"), "ACTIVEID");

    // An active entry without settings ends the scan; settings that don't read are reported and
    // stay.
    storage.WriteValue(kSection, "ConfigParameters1", "");
    storage.WriteValue(kSection, "ConfigParameters2", "Record=QsolveNetlistView|TRAN_AlwaysSetDefaults=False|TRAN_StartTime=soon");
    Run("none.dsn", {{"gain", "5"}});
    EXPECT_EQ(Read("ConfigParameters2"), "Record=QsolveNetlistView|TRAN_AlwaysSetDefaults=False|TRAN_StartTime=soon");
    storage.WriteValue(kSection, "ConfigParameters1", "Record=QsolveNetlistView|TRAN_AlwaysSetDefaults=False|TRAN_StartTime=soon");
    log = host::LogSection();
    Run("none.dsn", {{"gain", "5"}});
    const auto errors = log.AllMessages(host::kLogError);
    ASSERT_EQ(errors.size(), 3u);
    EXPECT_NE(errors[1].find("Cannot read the stored simulation profile ACTIVEID"), std::string::npos) << errors[1];
}

// Stored profiles read back by index; keys that no index makes are passed over.
TEST_F(ProfileImport, StoredProfilesReadBackInIndexOrder) {
    for (const char* key : {"ProfileId10", "ProfileId2", "ProfileId02", "ProfileIdX", "ProfileId"})
        storage.WriteValue(kSection, key, std::string("id-") + key);
    storage.WriteValue(kSection, "ProfileName10", "ten");
    storage.WriteValue(kSection, "ActiveProfile", "id-ProfileId10");
    auto stored = ReadStoredProfiles(storage, Keys());
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(stored[0].Index, 2);
    EXPECT_EQ(stored[0].ProfileId, "id-ProfileId2");
    EXPECT_FALSE(stored[0].Active);
    EXPECT_EQ(stored[1].Index, 10);
    EXPECT_EQ(stored[1].ProfileName, "ten");
    EXPECT_TRUE(stored[1].Active);
}

// Every sample project with profiles: one stored profile per profile file that loads, the active one
// as the project file says, each reading back to the analyses its file has on, with the global
// parameters.
TEST_F(ProfileImport, SampleProjectsStoreEveryProfile) {
    ORCADX_REQUIRE_CORPUS();
    size_t projectsWithProfiles = 0, storedProfiles = 0;
    for (const fs::path& opj : test::CorpusFiles({".opj"})) {
        SCOPED_TRACE(opj.string());
        TOrcadProject orcad(opj.string());
        ASSERT_TRUE(orcad.Load());
        std::string active;
        TStrings files;
        if (!orcad.GetProfileFileNames(active, files)) continue;
        ++projectsWithProfiles;
        host::HostApplication host{Options(9)};
        host::IProject* target = host.CreateProject((dir / (opj.stem().string() + ".VsProj")).string());
        host::LogSection runLog;
        TPSpiceSimulationProfileImportManager manager(fs::path(opj).replace_extension(".DSN").string(), target, nullptr,
                                                      10, &runLog);
        manager.AddGlobalParameter("corpus", "1meg");
        manager.RunImport();
        EXPECT_EQ(manager.ProjectFile, opj.string());
        auto stored = ReadStoredProfiles(*target->GetOptionsStorage(), host.OptionKeys(target, kSection));
        std::map<int32_t, const TStoredSimulationProfile*> byIndex;
        for (const auto& s : stored) byIndex[s.Index] = &s;
        for (size_t i = 0; i < files.size(); ++i) {
            SCOPED_TRACE(files[i]);
            if (!fs::exists(files[i])) {
                EXPECT_EQ(byIndex.count(static_cast<int32_t>(i)), 0u);
                continue;
            }
            ASSERT_EQ(byIndex.count(static_cast<int32_t>(i)), 1u);
            const TStoredSimulationProfile& s = *byIndex[static_cast<int32_t>(i)];
            ++storedProfiles;
            EXPECT_EQ(s.Active, files[i] == active);
            EXPECT_EQ(s.ProfileName, fs::path(files[i]).stem().string());
            auto settings = ReadBack(s.ConfigParameters);
            ExpectAnalysesOn(*settings, test::AnalysesOn(files[i]));
            EXPECT_EQ(Globals(settings->GlobalParameters),
                      (std::vector<std::pair<std::string, std::string>>{{"corpus", "1meg"}}));
        }
        EXPECT_EQ(stored.size(), static_cast<size_t>(std::count_if(files.begin(), files.end(),
                                                                   [](const std::string& f) { return fs::exists(f); })));
        EXPECT_EQ(std::count_if(stored.begin(), stored.end(), [](const auto& s) { return s.Active; }),
                  active.empty() ? 0 : 1);
    }
    // Series-Regulator lists profiles that the sample set doesn't carry.
    EXPECT_EQ(projectsWithProfiles, 6u);
    EXPECT_EQ(storedProfiles, 16u);
}

// The whole design import of every sample design that has an OrCAD project with profiles: one
// stored profile per profile file that the sample set carries, the active one as the project file
// says, each reading back to the analyses of its file; the parameters of the pages' PARAM parts in
// every profile; what a profile holds that the host can't do logged under the profile's name.
TEST(DesignProfileImport, SampleDesignsStoreTheirProfilesWithTheGlobalParametersOfTheirPages) {
    ORCADX_REQUIRE_CORPUS();
    // A global parameter that the PARAM parts of a design's pages carry; the other designs' PARAM
    // parts (the library has them) show no parameter names, or stand on no page.
    const std::map<std::string, std::string> kGlobalOf = {{"lab10comm.opj", "freqtest"},
                                                          {"P1_Olteanu_Rares.opj", "R_LOAD"}};
    size_t designs = 0, storedProfiles = 0;
    for (const fs::path& opj : test::CorpusFiles({".opj"})) {
        TOrcadProject orcad(opj.string());
        std::string active;
        TStrings files;
        if (!orcad.Load() || !orcad.GetProfileFileNames(active, files)) continue;
        const fs::path dsn = platform::FindFileNoCase(fs::path(opj).replace_extension(".dsn").string());
        if (!fs::exists(dsn)) continue;
        SCOPED_TRACE(dsn.string());
        ++designs;
        fs::path folder = test::ScratchDir("design-profiles-" + opj.stem().string());
        host::HostApplication app(host::HostOptionsIn(folder.string(), 11));
        app.StartSchServer();
        host::IProject* project = app.CreateProject((folder / (opj.stem().string() + ".VsProj")).string());
        host::LogSection log;
        host::ImporterOptions importOptions;
        dbo::TDboDesign design(dsn.string(), nullptr, 100, &log);
        ASSERT_TRUE(design.Load(false));
        bool templates = false;
        std::string library = importer::ImportLibrary(app, design, &importOptions, nullptr, 100, &log,
                                                      folder.string(), project, false, templates);
        templates = false;
        importer::ImportDesign(app, design, library, &importOptions, nullptr, 100, &log, folder.string(), project,
                               templates);
        ASSERT_TRUE(templates) << "a PSpice design imports its templates, and so its profiles";

        auto stored = ReadStoredProfiles(*project->GetOptionsStorage(), app.OptionKeys(project, kSimulationProfilesSection));
        std::map<int32_t, const TStoredSimulationProfile*> byIndex;
        for (const auto& s : stored) byIndex[s.Index] = &s;
        std::vector<std::string> names;
        std::vector<std::pair<std::string, std::string>> firstGlobals;
        for (size_t i = 0; i < files.size(); ++i) {
            SCOPED_TRACE(files[i]);
            const bool carried = fs::exists(files[i]);
            ASSERT_EQ(byIndex.count(static_cast<int32_t>(i)), carried ? 1u : 0u);
            if (!carried) continue;
            const TStoredSimulationProfile& s = *byIndex[static_cast<int32_t>(i)];
            ++storedProfiles;
            names.push_back("\"" + s.ProfileName + "\"");
            EXPECT_EQ(s.Active, files[i] == active);
            EXPECT_EQ(s.OutputType, "QsolveNetlist");
            auto settings = ReadBack(s.ConfigParameters);
            EXPECT_EQ(settings->SimulationName, fs::path(files[i]).stem().string());
            ExpectAnalysesOn(*settings, test::AnalysesOn(files[i]));
            auto globals = Globals(settings->GlobalParameters);
            if (firstGlobals.empty()) firstGlobals = globals;
            EXPECT_EQ(globals, firstGlobals) << "every profile has the same global parameters";
            auto expected = kGlobalOf.find(opj.filename().string());
            if (expected != kGlobalOf.end())
                EXPECT_NE(settings->GlobalParameters.GetParameterByName(expected->second), nullptr)
                    << expected->second << " " << ::testing::PrintToString(globals);
            else
                EXPECT_TRUE(globals.empty());
        }
        EXPECT_EQ(stored.size(), byIndex.size());
        // Every message of what the host can't do ends with the name of a stored profile.
        for (const std::string& error : log.AllMessages(host::kLogError)) {
            if (error.find("not possible in Vantor Studio - ") == std::string::npos &&
                error.find("settings ignored - ") == std::string::npos)
                continue;
            EXPECT_TRUE(std::any_of(names.begin(), names.end(),
                                    [&](const std::string& name) { return error.ends_with(" - " + name); }))
                << error;
        }
    }
    EXPECT_EQ(designs, 6u);
    EXPECT_EQ(storedProfiles, 16u);
}

}  // namespace
}  // namespace orcadx::pspice
