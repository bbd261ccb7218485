// OrCAD project files and PSpice profile files read into objects, from text built here and from
// the sample projects.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "PSpiceTestSupport.h"
#include "TestSupport.h"
#include "host/HostSupport.h"
#include "platform/TextCompare.h"
#include "pspice/PSpiceProfileImport.h"

using namespace orcadx;
using namespace orcadx::pspice;
namespace fs = std::filesystem;

namespace {

fs::path Write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

// A profile in the form PSpice writes, with every kind of section; the transient, AC and
// parametric sections are on.
const char* const kProfile =
    "@OrCAD Simulation Server Version: 1.0\r\n"
    "\r\n"
    "@Settings: 0 1\r\n"
    "@General:\r\n"
    "ProfileName= \"tran\" \r\n"
    "ProfileFile= \"tran.sim\" \r\n"
    "DesignFile=d.dsn\r\n"
    "Connectivity= \"SCHEMATIC1.net\" \r\n"
    "NetlistFile= \"tran.cir\" \r\n"
    "Notes=\r\n"
    "@#$BEGINNOTES\r\n"
    "ProfileName=inside the notes\r\n"
    "@#$ENDNOTES\r\n"
    "DataFile = \"spaced key\"\r\n"
    "@End General\r\n"
    "@Analysis: 0 1\r\n"
    "+1 1 0 0 \r\n"
    "+0 \"10ms\" \r\n+1 \"\" \r\n+2 \"1m\" \r\n+3 \"10u\" \r\n+4 \"1k\" \r\n+5 \"\" \r\n+6 \"9\" \r\n"
    "@End Analysis\r\n"
    "@Analysis: 1 1\r\n"
    "+2 1 0\r\n"
    "+0 \"101\" \r\n+1 \"10\" \r\n+2 \"1meg\" \r\n+3 \"V(out)\" \r\n+4 \"V1\" \r\n+5 \"\" \r\n"
    "@End Analysis\r\n"
    "@Analysis: 2 0\r\n"
    "+0 0\r\n"
    "+0 \"\" \r\n+1 \"\" \r\n+2 \"\" \r\n+3 \"\" \r\n+4 \"\" \r\n+5 \"\" \r\n+6 \"\" \r\n+7 \"\" \r\n"
    "@End Analysis\r\n"
    "@Analysis: 3 0\r\n"
    "+0 0 1\r\n"
    "+0 \"\" \r\n+1 \"V2\" \r\n"
    "@End Analysis\r\n"
    "@Analysis: 4 0\r\n"
    "+1 0 1 0 0 0 0 0 0 0 1\r\n"
    "+0 \"20\" \r\n+1 \"\" \r\n+2 \"17\" \r\n+3 \"\" \r\n+4 \"\" \r\n+5 \"\" \r\n+6 \"\" \r\n+7 \"\" \r\n"
    "LoadFile 0 \"\" \r\nSaveFile 0 \"\" \r\n"
    "@End Analysis\r\n"
    "@Analysis: 5 1\r\n"
    "+0 2\r\n"
    "+0 \"\" \r\n+1 \"freqtest\" \r\n+2 \"\" \r\n+3 \"\" \r\n+4 \"380\" \r\n+5 \"1500\" \r\n+6 \"300\" \r\n+7 \"\" \r\n"
    "@End Analysis\r\n"
    "@Analysis: 6 0\r\n+1 \r\n+0 \"\" \r\n@End Analysis\r\n"
    "@Analysis: 7 0\r\n+0 0\r\n+0 \"\" \r\n+1 \"\" \r\n+2 \"\" \r\n+3 \"\" \r\n+4 \"\" \r\n@End Analysis\r\n"
    "@Analysis: 8 0\r\n+0 \r\n@End Analysis\r\n"
    "@Analysis: 9 0\r\n+0 \"\" \r\n@End Analysis\r\n"
    "@Analysis: 10 1\r\n"
    "+1 4\r\n"
    "+0 \"V3\" \r\n+1 \"\" \r\n+2 \"\" \r\n+3 \"\" \r\n+4 \"-1\" \r\n+5 \"1\" \r\n+6 \"0.5\" \r\n+7 \"\" \r\n"
    "@End Analysis\r\n"
    "@Analysis: 11 1\r\n"
    "+ 1 0 0 1 0 0 0 0 0 0 0 0 0 1 0 0 0 0 1 0 0 0 0 \r\n"
    "+ +RELTOL \"0.01\" \r\n"
    "+  +abstol \"1n\"\r\n"
    "+ +NOSUCH \"1\" \r\n"
    "+ 0 0 0 0 0 0 0 0 0\r\n"
    "@End Analysis\r\n"
    "@Analysis: 12 0\r\n+2236960 0 1\r\n@End Analysis\r\n"
    "@Analysis: 15 0\r\n@End Analysis\r\n"
    "@Analysis: 19 0\r\n+0 \"0\" \r\n@End Analysis\r\n";

std::vector<std::string> Messages(const host::LogSection& log) { return log.AllMessages(); }

}  // namespace

TEST(ProfileFiles, ProfileFileReadsEverySection) {
    fs::path file = Write(test::ScratchDir("profile-read") / "tran.sim", kProfile);
    host::LogSection log;
    TPSpiceSimulationProfile p(file.string(), &log);
    ASSERT_TRUE(p.Load()) << testing::PrintToString(Messages(log));
    EXPECT_TRUE(Messages(log).empty());
    EXPECT_EQ(p.ProfileName, "\"tran\"");
    EXPECT_EQ(p.ProfileFile, "\"tran.sim\"");
    EXPECT_EQ(p.DesignFile, "d.dsn");
    EXPECT_EQ(p.NetlistFile, "\"tran.cir\"");
    EXPECT_EQ(p.DataFile, "");  // the key isn't trimmed, so "DataFile " is no key

    EXPECT_TRUE(p.Transient.Enabled);
    EXPECT_TRUE(p.Transient.UseInitialConditions);
    EXPECT_TRUE(p.Transient.FourierEnabled);
    EXPECT_EQ(p.Transient.StopTime, "10ms");
    EXPECT_EQ(p.Transient.StartTime, "1m");
    EXPECT_EQ(p.Transient.MaxStep, "10u");
    EXPECT_EQ(p.Transient.FourierFrequency, "1k");
    EXPECT_EQ(p.Transient.Harmonics, "9");

    EXPECT_TRUE(p.AC.Enabled);
    EXPECT_EQ(p.AC.SweepKind, 2);
    EXPECT_TRUE(p.AC.NoiseEnabled);
    EXPECT_EQ(p.AC.Points, "101");
    EXPECT_EQ(p.AC.StartFrequency, "10");
    EXPECT_EQ(p.AC.StopFrequency, "1meg");
    EXPECT_EQ(p.AC.NoiseOutput, "V(out)");
    EXPECT_EQ(p.AC.NoiseSource, "V1");

    EXPECT_FALSE(p.PrimaryDCSweep.Enabled);
    EXPECT_FALSE(p.BiasPoint.Enabled);
    EXPECT_TRUE(p.BiasPoint.TransferFunctionEnabled);
    EXPECT_EQ(p.BiasPoint.TransferFunctionSource, "V2");
    EXPECT_FALSE(p.MonteCarlo.Enabled);
    EXPECT_EQ(p.MonteCarlo.Distribution, 1);
    EXPECT_EQ(p.MonteCarlo.Runs, "20");
    EXPECT_EQ(p.MonteCarlo.Seed, "17");
    EXPECT_TRUE(p.ParametricSweep.Enabled);
    EXPECT_EQ(p.ParametricSweep.VariableKind, 2);
    EXPECT_EQ(p.ParametricSweep.ParameterName, "freqtest");
    EXPECT_EQ(p.ParametricSweep.Start, "380");
    EXPECT_EQ(p.ParametricSweep.Stop, "1500");
    EXPECT_EQ(p.ParametricSweep.Step, "300");
    EXPECT_FALSE(p.Temperature.Enabled);
    EXPECT_TRUE(p.SecondaryDCSweep.Enabled);
    EXPECT_EQ(p.SecondaryDCSweep.SweepKind, 1);
    EXPECT_EQ(p.SecondaryDCSweep.VariableKind, 4);
    EXPECT_EQ(p.SecondaryDCSweep.SourceName, "V3");
    EXPECT_EQ(p.SecondaryDCSweep.Start, "-1");
    EXPECT_EQ(p.SecondaryDCSweep.Stop, "1");
    EXPECT_EQ(p.SecondaryDCSweep.Step, "0.5");

    EXPECT_TRUE(p.OptionFlags[kOptionFlagACCT]);
    EXPECT_TRUE(p.OptionFlags[kOptionFlagLIST]);
    EXPECT_TRUE(p.OptionFlags[kOptionFlagOPTS]);
    EXPECT_EQ(std::count(p.OptionFlags.begin(), p.OptionFlags.end(), true), 3);
    EXPECT_EQ(p.OptionValues[24], "0.01");  // RELTOL
    EXPECT_EQ(p.OptionValues[0], "1n");     // ABSTOL
    EXPECT_EQ(std::count_if(p.OptionValues.begin(), p.OptionValues.end(), [](auto& v) { return !v.empty(); }), 2);
}

TEST(ProfileFiles, ProfileFileFailuresAndEdgeCases) {
    fs::path dir = test::ScratchDir("profile-fail");
    auto load = [&](const std::string& name, const std::string& text, std::vector<std::string>* messages = nullptr) {
        fs::path file = Write(dir / name, text);
        host::LogSection log;
        TPSpiceSimulationProfile p(file.string(), &log);
        bool ok = p.Load();
        if (messages) *messages = Messages(log);
        return ok;
    };
    const std::string head = "@OrCAD Simulation Server Version: 1.0\n";
    std::vector<std::string> m;
    std::string path = (dir / "x.sim").string();

    host::LogSection log;
    TPSpiceSimulationProfile missing((dir / "none.sim").string(), &log);
    EXPECT_FALSE(missing.Load());
    EXPECT_EQ(Messages(log), std::vector<std::string>{"Simulation profile file not found - " + (dir / "none.sim").string()});

    EXPECT_FALSE(load("x.sim", "", &m));
    EXPECT_EQ(m, std::vector<std::string>{"Simulation profile file is empty - " + path});
    EXPECT_FALSE(load("x.sim", "@OrCAD Simulation Server Version: 1.1\n", &m));
    EXPECT_EQ(m, std::vector<std::string>{"Unrecognised simulation profile file version - " + path});
    EXPECT_TRUE(load("x.sim", "@ORCAD SIMULATION server version: 1.0\n", &m));

    // A settings section of two lines fails; a header followed by an "@" line is one line.
    EXPECT_FALSE(load("x.sim", head + "@Settings: 0 1\nstray\n@End Settings\n", &m));
    EXPECT_EQ(m, std::vector<std::string>{"Could not read settings from simulation profile - " + path});
    EXPECT_TRUE(load("x.sim", head + "@Settings: 0 1\n@General:\n@End General\n", &m));

    // A section of unknown name fails without a message.
    EXPECT_FALSE(load("x.sim", head + "@Whatever: 1\n@End\n", &m));
    EXPECT_TRUE(m.empty());

    // Analysis ids: 20 is none; 8 and 12 to 19 set nothing; a bias point needs no value lines.
    EXPECT_FALSE(load("x.sim", head + "@Analysis: 20 1\n+0\n@End Analysis\n", &m));
    EXPECT_EQ(m, std::vector<std::string>{"Could not read analysis 20 section of profile file - " + path});
    for (int id : {8, 12, 13, 14, 15, 16, 17, 18, 19})
        EXPECT_TRUE(load("x.sim", head + "@Analysis: " + std::to_string(id) + " 1\n@End Analysis\n")) << id;
    {
        fs::path file = Write(dir / "bias.sim", head + "@Analysis: 3 1\n+0 0 1\n@End Analysis\n");
        TPSpiceSimulationProfile p(file.string(), nullptr);
        ASSERT_TRUE(p.Load());
        EXPECT_TRUE(p.BiasPoint.Enabled);
        EXPECT_TRUE(p.BiasPoint.TransferFunctionEnabled);
        EXPECT_EQ(p.BiasPoint.TransferFunctionSource, "");
    }
    // Too few value lines, a flags line missing, and a flag that is no number fail the section.
    EXPECT_FALSE(load("x.sim", head + "@Analysis: 0 1\n+0 0 0\n+0 \"1\"\n@End Analysis\n", &m));
    EXPECT_EQ(m, std::vector<std::string>{"Could not read analysis 0 section of profile file - " + path});
    EXPECT_FALSE(load("x.sim", head + "@Analysis: 1 1\n", &m));
    EXPECT_EQ(m, std::vector<std::string>{"Could not read analysis 1 section of profile file - " + path});
    EXPECT_FALSE(load("x.sim", head + "@Analysis: 2 1\n+x 0\n+0 \"\"\n+1 \"\"\n+2 \"\"\n+3 \"\"\n+4 \"\"\n+5 \"\"\n+6 \"\"\n+7 \"\"\n", &m));
    EXPECT_EQ(m, std::vector<std::string>{"Could not read analysis 2 section of profile file - " + path});
    EXPECT_FALSE(load("x.sim", head + "@Analysis: two 1\n@End Analysis\n", &m));
    EXPECT_EQ(m, std::vector<std::string>{"Could not read analysis two section of profile file - " + path});

    // Without a closing line a section runs to the end, and the headers inside it open sections of
    // their own: the temperature section below is read although it stands inside the first.
    {
        fs::path file = Write(dir / "open.sim", head + "@Analysis: 8 0\n+0\n@Analysis: 6 1\n+1\n+0 \"\"\n");
        TPSpiceSimulationProfile p(file.string(), nullptr);
        ASSERT_TRUE(p.Load());
        EXPECT_TRUE(p.Temperature.Enabled);
    }
    // Lines with "@" inside a section don't end it; "@end" in small letters is no closing line.
    {
        fs::path file =
            Write(dir / "inner.sim", head + "@General:\nDesignFile=d\n@note\nProfileName=\"a\"\n@end\nOutFile=o\n@End General\n");
        TPSpiceSimulationProfile p(file.string(), nullptr);
        ASSERT_TRUE(p.Load());
        EXPECT_EQ(p.ProfileName, "\"a\"");
        EXPECT_EQ(p.OutFile, "o");
    }
}

TEST(ProfileFiles, ProjectFileFieldsAndProfiles) {
    fs::path dir = test::ScratchDir("project-read");
    Write(dir / "proj-PSpiceFiles" / "SCHEMATIC1" / "A.sim", "x");
    Write(dir / "proj-PSpiceFiles" / "SCHEMATIC1" / "b.sim", "x");
    fs::path opj = Write(dir / "proj.opj",
                         "(ExpressProject \"proj\"\n"
                         "  (ProjectVersion \"19981106\")\n"
                         "  (Title \"a (b) c\" unquoted)\n"
                         "  (Folder \"Simulation Profiles\"\n"
                         "    (File.PSpice.{09528990-3187-11D2-BC7B-00A0C90CBF91} \"outside.sim\"))\n"
                         "  (Folder \"Outer\"\n"
                         "    (FOLDER \"pspice resources\"\n"
                         "      (Folder \"Model Libraries\")\n"
                         "      (Folder \"Simulation Profiles\"\n"
                         "        (ActiveProfile \".\\proj-pspicefiles\\schematic1\\a.sim\")\n"
                         "        (file.pspice.{09528990-3187-11d2-bc7b-00a0c90cbf91}\n"
                         "           \".\\proj-pspicefiles\\schematic1\\a.sim\" (DisplayName \"A\"))\n"
                         "        (File.PSpice.{09528990-3187-11D2-BC7B-00A0C90CBF91} \"C:\\x\\c.sim\")\n"
                         "        (File.PSpice.{09528990-3187-11D2-BC7B-00A0C90CBF91} \"\")\n"
                         "        (File.PSpice.{09528990-3187-11D2-BC7B-00A0C90CBF91} \"\\\\srv\\d.sim\")\n"
                         "        (ActiveProfile \".\\proj-pspicefiles\\schematic1\\B.sim\"))))\n"
                         "  (Folder \"PSpice Resources\"\n"
                         "    (Folder \"Stimulus Files\"))\n"
                         "  (Empty))\n");
    TOrcadProject project(opj.string());
    ASSERT_TRUE(project.Load());
    const TOrcadFileField& root = *project.ExpressProject;
    EXPECT_EQ(root.FirstValue(), "\"proj\"");
    ASSERT_EQ(root.SubFieldCount(), 6u);
    EXPECT_EQ(root.GetSubField(1)->Name, "Title");
    EXPECT_EQ(root.GetSubField(1)->Values, (TStrings{"\"a (b) c\"", "unquoted"}));
    EXPECT_EQ(root.GetSubField(5)->Name, "Empty");
    EXPECT_EQ(root.GetSubField(5)->FirstValue(), "");

    std::string active;
    TStrings list;
    ASSERT_TRUE(project.GetProfileFileNames(active, list));
    std::string folder = (dir / "proj-PSpiceFiles" / "SCHEMATIC1").string();
    // A value of two quotes keeps them (quotes go only from three characters on) and names a file.
    EXPECT_EQ(list, (TStrings{folder + "/A.sim", "C:\\x\\c.sim", (dir / "\"\"").string(), "\\\\srv\\d.sim"}));
    EXPECT_EQ(active, folder + "/b.sim");  // the later ActiveProfile counts

    // A "PSpice Resources" folder without "Simulation Profiles" gives no profile.
    fs::path none = Write(dir / "none.opj", "(ExpressProject (Folder \"PSpice Resources\" (Folder \"Model Libraries\")))");
    TOrcadProject noProfiles(none.string());
    ASSERT_TRUE(noProfiles.Load());
    EXPECT_FALSE(noProfiles.GetProfileFileNames(active, list));
    EXPECT_TRUE(list.empty());

    // Only a root "ExpressProject", in this case, opened at the first character, loads.
    for (const char* text : {" (ExpressProject)", "(expressproject)", "(Express", "", "ExpressProject"}) {
        fs::path bad = Write(dir / "bad.opj", text);
        EXPECT_FALSE(TOrcadProject(bad.string()).Load()) << text;
    }
    EXPECT_FALSE(TOrcadProject((dir / "missing.opj").string()).Load());
    // A file that ends inside its fields still gives the fields read so far.
    fs::path cut = Write(dir / "cut.opj", "(ExpressProject (Folder \"x\" (Sub");
    TOrcadProject cutProject(cut.string());
    ASSERT_TRUE(cutProject.Load());
    ASSERT_EQ(cutProject.ExpressProject->SubFieldCount(), 1u);
    EXPECT_EQ(cutProject.ExpressProject->GetSubField(0)->SubFieldCount(), 0u);

    // Nesting of any depth neither exhausts the stack on reading nor on freeing.
    std::string deep = "(ExpressProject ";
    for (int i = 0; i < 200000; ++i) deep += "(Folder ";
    fs::path deepFile = Write(dir / "deep.opj", deep);
    TOrcadProject deepProject(deepFile.string());
    EXPECT_TRUE(deepProject.Load());
    EXPECT_FALSE(deepProject.GetProfileFileNames(active, list));
}

// Every project and profile of the sample set reads, and each profile's sections that are on are
// those the file marks as on.
TEST(ProfileFiles, SampleProjectsAndProfilesRead) {
    ORCADX_REQUIRE_CORPUS();
    auto projects = test::CorpusFiles({".opj"});
    ASSERT_FALSE(projects.empty());
    size_t profilesRead = 0;
    std::map<std::string, std::string> activeOf;  // project file name -> active profile file name
    for (const fs::path& opj : projects) {
        SCOPED_TRACE(opj.string());
        TOrcadProject project(opj.string());
        ASSERT_TRUE(project.Load());
        std::string active;
        TStrings list;
        if (!project.GetProfileFileNames(active, list)) continue;
        activeOf[opj.filename().string()] = fs::path(active).filename().string();
        for (const std::string& file : list) {
            host::LogSection log;
            TPSpiceSimulationProfile profile(file, &log);
            if (!fs::exists(file)) {
                // Profiles that the sample set doesn't carry are reported, not guessed.
                EXPECT_FALSE(profile.Load());
                EXPECT_EQ(Messages(log), std::vector<std::string>{"Simulation profile file not found - " + file});
                continue;
            }
            EXPECT_TRUE(profile.Load()) << file;
            EXPECT_TRUE(Messages(log).empty()) << file;
            ++profilesRead;
        }
    }
    EXPECT_EQ(profilesRead, 16u);  // every .sim of the sample set but s645.sim, which no project lists
    EXPECT_EQ(activeOf["lab10comm.opj"], "hehehehe.sim");
    EXPECT_EQ(activeOf["hw5_digi_elec.opj"], "q4b.sim");
    EXPECT_EQ(activeOf["Lab_Dig_elec_5.opj"], "2654.sim");
    EXPECT_EQ(activeOf["Diode_cap_calc.opj"], "HEHE.sim");
    EXPECT_EQ(activeOf["trs80_power.opj"], "");

    // The on/off flags of the records against the headers of the file, read here on their own.
    for (const fs::path& sim : test::CorpusFiles({".sim"})) {
        SCOPED_TRACE(sim.string());
        TPSpiceSimulationProfile p(sim.string(), nullptr);
        ASSERT_TRUE(p.Load());
        std::map<int, bool> on = test::AnalysesOn(sim);
        EXPECT_EQ(p.Transient.Enabled, on[0]);
        EXPECT_EQ(p.AC.Enabled, on[1]);
        EXPECT_EQ(p.PrimaryDCSweep.Enabled, on[2]);
        EXPECT_EQ(p.BiasPoint.Enabled, on[3]);
        EXPECT_EQ(p.MonteCarlo.Enabled, on[4]);
        EXPECT_EQ(p.ParametricSweep.Enabled, on[5]);
        EXPECT_EQ(p.Temperature.Enabled, on[6]);
        EXPECT_EQ(p.SecondaryDCSweep.Enabled, on[10]);
        EXPECT_EQ(p.ProfileName, "\"" + sim.stem().string() + "\"");
    }

    // A few values as the files hold them.
    auto profile = [](const std::string& relative) {
        auto p = std::make_unique<TPSpiceSimulationProfile>((test::CorpusDir() / relative).string(), nullptr);
        EXPECT_TRUE(p->Load()) << relative;
        return p;
    };
    auto bias = profile("trs80/trs80_power-PSpiceFiles/SCHEMATIC1/bias.sim");
    EXPECT_EQ(bias->Transient.StopTime, "2.4s");
    EXPECT_EQ(bias->Transient.StartTime, "2");
    EXPECT_EQ(bias->Transient.MaxStep, "");
    auto freq = profile("kiki30501_Orcad-Projects/lab10comm/lab10comm-PSpiceFiles/SCHEMATIC2/freq_max.sim");
    EXPECT_EQ(freq->AC.SweepKind, 0);
    EXPECT_EQ(freq->AC.Points, "40");
    EXPECT_EQ(freq->AC.StartFrequency, "350");
    EXPECT_EQ(freq->AC.StopFrequency, "1000");
    auto param = profile("kiki30501_Orcad-Projects/lab10comm/lab10comm-PSpiceFiles/SCHEMATIC2/hehehehe.sim");
    EXPECT_EQ(param->Transient.StopTime, "10m");
    EXPECT_EQ(param->Transient.MaxStep, "10u");
    EXPECT_EQ(param->ParametricSweep.VariableKind, 2);
    EXPECT_EQ(param->ParametricSweep.ParameterName, "freqtest");
    EXPECT_EQ(param->ParametricSweep.Step, "300");
    auto dc = profile("kiki30501_Orcad-Projects/hw5_dig_elec/hw5_digi_elec-PSpiceFiles/SCHEMATIC1/q4a_with_body.sim");
    EXPECT_EQ(dc->PrimaryDCSweep.SourceName, "Vin");
    EXPECT_EQ(dc->PrimaryDCSweep.Start, "0");
    EXPECT_EQ(dc->PrimaryDCSweep.Stop, "5");
    EXPECT_EQ(dc->PrimaryDCSweep.Step, "0.1m");
    auto uic = profile("kiki30501_Orcad-Projects/Lab_Dig_elec_5/Lab_Dig_elec_5-PSpiceFiles/SCHEMATIC4/2654.sim");
    EXPECT_TRUE(uic->Transient.UseInitialConditions);
    EXPECT_EQ(uic->Transient.StopTime, "2m");
    EXPECT_EQ(uic->Transient.StartTime, "1m");
    EXPECT_EQ(uic->Transient.MaxStep, "1u");
}
