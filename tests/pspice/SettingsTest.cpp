// A whole set of simulation settings: defaults, the parameter string, the SPICE option table, the
// legacy ".cfg" file, the text of the whole setup and its checks; and the settings that each profile
// of the sample set gives.
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "TestSupport.h"
#include "host/HostSupport.h"
#include "platform/IniFile.h"
#include "pspice/PSpiceProfileImport.h"
#include "pspice/RT_Qsolve_Settings.h"

using namespace orcadx;
using namespace orcadx::pspice;
namespace fs = std::filesystem;

namespace {

// A project of the host, as far as the settings ask it: its path.
class PathProject final : public host::IProject {
public:
    explicit PathProject(std::string path) : path_(std::move(path)) {}
    std::string GetFullPath() override { return path_; }
    host::IDocument* GetProjectDocument() override { return nullptr; }
    int32_t GetDocumentCount() override { return 0; }
    host::IDocument* GetDocument(int32_t) override { return nullptr; }
    host::IDocument* GetTopLevelDocument() override { return nullptr; }
    void AddSourceDocument(const std::string&) override {}
    int32_t GetSearchPathCount() override { return 0; }
    std::string GetSearchPath(int32_t) override { return ""; }
    void AddSearchPath(const std::string&, bool) override {}
    host::IOptionsStorage* GetOptionsStorage() override { return nullptr; }

private:
    std::string path_;
};

// Settings whose user answers Yes.
class YesSettings final : public TBaseQsolveNetlistSettings {
public:
    bool AskYesNo(const std::string& question) override {
        asked.push_back(question);
        return true;
    }
    TStrings asked;
};

// Every field away from its default.
void FillEverything(TBaseQsolveNetlistSettings& s) {
    s.SetState_Default();
    s.SheetsToNetlist = eActiveSheet;
    s.NetlistType = eNetlist_Flattened;
    s.SimulationName = "Profile with = sign";
    s.ActiveSignals.Assign({"V(out)", "Q1[ic]"});
    s.SaveDataFor = eSaveActiveSignals;
    s.KeepLastSetup = false;
    s.OldCfgLoaded = true;
    TDCSweepAnalysis& dc = *s.DCSweep;
    dc.Active = true, dc.PrimarySource = "V1", dc.PrimaryStart = -1.5, dc.PrimaryStop = 2.5, dc.PrimaryStep = 0.25;
    dc.EnableSecondary = true, dc.SecondarySource = "V2", dc.SecondaryStart = 1, dc.SecondaryStop = 2, dc.SecondaryStep = 0.5;
    s.AC->Active = true, s.AC->SweepType = eDecadeSweep, s.AC->StartFrequency = 10, s.AC->StopFrequency = 1E8,
    s.AC->TestPoints = 20;
    TTransientAnalysis& t = *s.Transient;
    t.AlwaysSetDefaults = false, t.DefaultCycles = 7, t.DefaultPointsPerCycle = 30, t.StartTime = 1E-3,
    t.StopTime = 2E-3, t.StepTime = 1E-6, t.MaxStepTime = 2E-6, t.UseInitialConditions = true,
    t.FourierAnalysis = true, t.FundamentalFrequency = 1000, t.Harmonics = 8;
    s.TransferFunction->Active = true, s.TransferFunction->Source = "V1", s.TransferFunction->Reference = "out";
    s.PoleZero->Active = true, s.PoleZero->Node1 = "in", s.PoleZero->Node3 = "out", s.PoleZero->TfType = ePzCurrent,
    s.PoleZero->AnalType = eZerosOnly;
    TNoiseAnalysis& n = *s.Noise;
    n.Active = true, n.Source = "V1", n.Output = "out", n.Reference = "ref", n.Start = 1, n.Stop = 1E3, n.TestPoints = 5,
    n.PointsPerSummary = 2, n.SweepType = eOctaveSweep;
    s.OperatingPoint->Active = false;
    TParameterSweepAnalysis& ps = *s.ParameterSweep;
    ps.Active = true, ps.Parameter1 = "R1", ps.Start1 = 1, ps.Stop1 = 2, ps.Step1 = 0.5, ps.SweepType1 = true,
    ps.SecondaryEnabled = true, ps.Parameter2 = "C1", ps.Start2 = 3, ps.Stop2 = 4, ps.Step2 = 1, ps.SweepType2 = true;
    s.TemperatureSweep->Active = true, s.TemperatureSweep->Start = -40, s.TemperatureSweep->Stop = 85,
    s.TemperatureSweep->Step = 25;
    TMonteCarloAnalysis& mc = *s.MonteCarlo;
    mc.Active = true, mc.Seed = 42, mc.DistributionType = eWorstCase, mc.NumberOfRuns = 9,
    mc.ResistorTolerance = 0.01, mc.InductorTolerance = 0.02, mc.TransistorTolerance = 0.03,
    mc.CapacitorTolerance = 0.04, mc.DCSourceTolerance = 0.05, mc.DigitalTpTolerance = 0.125;
    mc.SpecificTolerances = {"R1 DEV=1%", "", "C1 DEV=2%"};
    s.SpiceOptions->Method = eGear3;
    s.SpiceOptions->DVCC = 3.3;
    s.SpiceOptions->DVDD = 12;
    s.SpiceOptions->SpiceRefNode = "0";
    s.SpiceOptions->SetOptionValueByName("RELTOL", "0.01");
    s.SpiceOptions->SetOptionValueByName("ACCT", "YES");
    s.SpiceOptions->SetOptionValueByName("ITL4", "100");
    s.GlobalParameters.AddParameter("Gain", "2");
    s.GlobalParameters.AddParameter("Gain", "3");
}

std::string Resave(const std::string& text) {
    TBaseQsolveNetlistSettings s;
    s.Import_FromParameters(text);
    return s.Export_ToParameters();
}

}  // namespace

TEST(Settings, CreateAndDefaults) {
    TBaseQsolveNetlistSettings s;
    EXPECT_EQ(s.SaveDataFor, eSaveNodeVoltageSupplyDeviceCurrent);
    for (TAnalysis* a : s.Analyses()) EXPECT_FALSE(a->Active) << a->Name();
    EXPECT_TRUE(s.Transient->AlwaysSetDefaults);
    EXPECT_EQ(s.Transient->StopTime, 0);
    EXPECT_EQ(s.MonteCarlo->Seed, 1);
    EXPECT_EQ(s.MonteCarlo->DistributionType, eUniform);
    EXPECT_EQ(s.PoleZero->AnalType, ePolesAndZeros);
    EXPECT_EQ(s.Analyses().size(), 10u);

    s.MonteCarlo->SpecificTolerances = {"R1 DEV=1%"};
    s.SetState_Default();
    EXPECT_TRUE(s.OperatingPoint->Active);
    EXPECT_TRUE(s.Transient->Active);
    EXPECT_DOUBLE_EQ(s.Transient->StopTime, 5E-6);
    EXPECT_DOUBLE_EQ(s.Transient->StepTime, 2E-8);
    EXPECT_DOUBLE_EQ(s.Transient->MaxStepTime, 2E-8);
    EXPECT_DOUBLE_EQ(s.Transient->FundamentalFrequency, 1E6);
    EXPECT_EQ(s.Transient->Harmonics, 10);
    EXPECT_DOUBLE_EQ(s.AC->StopFrequency, 1E6);
    EXPECT_EQ(s.AC->TestPoints, 100);
    EXPECT_EQ(s.Noise->Reference, "0");
    EXPECT_EQ(s.PoleZero->Node2, "0");
    EXPECT_EQ(s.MonteCarlo->Seed, -1);
    EXPECT_EQ(s.MonteCarlo->NumberOfRuns, 5);
    EXPECT_DOUBLE_EQ(s.MonteCarlo->DigitalTpTolerance, 0.1);
    EXPECT_EQ(s.MonteCarlo->SpecificTolerances, TStrings{"R1 DEV=1%"});  // left as it is
    EXPECT_EQ(s.SaveDataFor, eSaveNodeVoltageSupplyDeviceCurrentPower);
    EXPECT_EQ(s.SheetsToNetlist, eActiveProject);
    EXPECT_EQ(s.NetlistType, eNetlist_Hierarchical);
    EXPECT_TRUE(s.KeepLastSetup);

    std::set<std::string> ids;
    for (int i = 0; i < 300; ++i) {
        std::string id = TBaseQsolveNetlistSettings::NewProfileId();
        ASSERT_EQ(id.size(), 8u);
        for (char c : id) ASSERT_TRUE(c >= 'A' && c <= 'Y') << id;
        ids.insert(id);
    }
    EXPECT_GT(ids.size(), 290u);
}

TEST(Settings, OptionTableNormalFormsAndSpiceText) {
    TSpiceOptions o;
    for (size_t i = 1; i < o.Options.size(); ++i) EXPECT_LT(o.Options[i - 1].Name, o.Options[i].Name);
    EXPECT_EQ(o.FindOption("gmin")->DefaultValue, "1.000p");
    EXPECT_EQ(o.FindOption("ABSTOL")->DefaultValue, "1.000p");
    EXPECT_EQ(o.FindOption("DEFL")->DefaultValue, "100.0");
    EXPECT_EQ(o.FindOption("TEMP")->DefaultValue, "27.00");
    EXPECT_EQ(o.FindOption("SIMWARN")->DefaultValue, "-1");
    EXPECT_EQ(o.FindOption("ACCT")->DefaultValue, "NO");
    EXPECT_EQ(o.FindOption("VNTOL")->Description, "Absolute voltage error tolerance [0,]");
    EXPECT_EQ(o.FindOption("NOSUCH"), nullptr);

    o.SetOptionValueByName("abstol", "1.0pA");
    EXPECT_EQ(o.FindOption("ABSTOL")->Value, "1.000p");
    o.SetOptionValueByName("ITL1", "100x");
    EXPECT_EQ(o.FindOption("ITL1")->Value, "100");
    o.SetOptionValueByName("ACCT", "YES");
    EXPECT_EQ(o.FindOption("ACCT")->Value, "YES");
    o.SetOptionValueByName("NOSUCH", "1");

    TStrings lines;
    o.GetState_NetlistStrings(lines);
    EXPECT_EQ(lines, TStrings{".OPTIONS ACCT"});  // the others stand at their defaults
    o.SetOptionValueByName("RELTOL", "0.01");
    o.SetOptionValueByName("TNOM", "-40");
    o.SetOptionValue(27, " 200 ");  // ITL1, as it stands
    o.SetOptionValueByName("RSHUNT", "1G");
    o.SetOptionValueByName("BYPASS", "0");
    o.SetOptionValueByName("LIST", "YES");
    o.SetOptionValueByName("DRVMNTYMX", "2");
    o.Method = eGear4;
    lines.clear();
    o.GetState_NetlistStrings(lines);
    // A line is emitted once it is longer than 70 characters.
    EXPECT_EQ(lines, (TStrings{".OPTIONS ACCT BYPASS=0 DRVMNTYMX=2 ITL1=200 LIST RELTOL=0.01 RSHUNT=1E9",
                               ".OPTIONS TNOM=-40 METHOD=GEAR MAXORD=4"}));

    platform::TParameterList p;
    o.Export_ToParameters(p);
    EXPECT_EQ(p.ToString(), "OPTION_Method=Gear 4|OPTION_DVCC=5.000|OPTION_DVDD=15.00|OPTION_SpiceRefNode=GND|"
                            "OPTION_ACCT=YES|OPTION_BYPASS=0|OPTION_DRVMNTYMX=2|OPTION_ITL1= 200 |OPTION_LIST=YES|"
                            "OPTION_RELTOL=10.00m|OPTION_RSHUNT=1.000g|OPTION_TNOM=-40.00");
    o.SetOptionValueByName("RELTOL", "1m");  // back at its default: no longer written
    p.Clear();
    o.Export_ToParameters(p);
    EXPECT_EQ(p.ToString().find("RELTOL"), std::string::npos);

    TSpiceOptions read;
    p.FromString("OPTION_Method=gear 6|OPTION_DVCC=3.3|OPTION_ABSTOL=1n|OPTION_ITL2=7.5");
    read.Import_FromParameters(p);
    EXPECT_EQ(read.Method, eGear6);
    EXPECT_DOUBLE_EQ(read.DVCC, 3.3);
    EXPECT_DOUBLE_EQ(read.DVDD, 15);
    EXPECT_EQ(read.FindOption("ABSTOL")->Value, "1.000n");
    EXPECT_EQ(read.FindOption("ITL2")->Value, "7");
    EXPECT_EQ(read.FindOption("GMIN")->Value, "1.000p");
    p.FromString("OPTION_Method=Euler");
    read.Import_FromParameters(p);
    EXPECT_EQ(read.Method, eTrapezoidal);
    EXPECT_EQ(MethodText(eGear2), "Gear 2");
}

TEST(Settings, ParameterStringRoundTripAndReading) {
    TBaseQsolveNetlistSettings s;
    s.SetState_Default();
    std::string text = s.Export_ToParameters();
    EXPECT_EQ(text.rfind("Record=QsolveNetlistView|SheetsToNetlist=1|NetlistType=1|SimulationName= |ProfileId=" +
                             s.ProfileId + "|AnalysesDataSavedIndex=2|SimView_KeepLastSetup=True|DC_Analysis=False|",
                         0),
              0u)
        << text;
    EXPECT_NE(text.find("|TRAN_StopTime=5E-6|TRAN_StepTime=2E-8|"), std::string::npos);
    EXPECT_NE(text.find("|MonteCarlo_ResistorTolerance=10%|"), std::string::npos);
    EXPECT_EQ(text.find("OldCfgLoaded"), std::string::npos);
    EXPECT_EQ(Resave(text), text);

    TBaseQsolveNetlistSettings full;
    FillEverything(full);
    {
        // Numbers are written with a period whatever the module's separator, which is put back.
        TDecimalSeparatorScope comma(',');
        text = full.Export_ToParameters();
        EXPECT_EQ(DecimalSeparator(), ',');
    }
    EXPECT_NE(text.find("|DC_PrimaryStart=-1.5|"), std::string::npos);
    EXPECT_NE(text.find("|Variable0=Q1[ic]|Variable1=V(out)|"), std::string::npos);
    EXPECT_NE(text.find("|MonteCarlo_SpecificTol0=R1 DEV=1%|MonteCarlo_SpecificTol1=C1 DEV=2%|"), std::string::npos);
    EXPECT_NE(text.find("|MonteCarlo_DigitalTpTolerance=12.5%|"), std::string::npos);
    EXPECT_NE(text.find("|ParamName0=Gain|ParamValue0=2|ParamName1=Gain|ParamValue1=3|OldCfgLoaded=True"),
              std::string::npos);
    EXPECT_EQ(Resave(text), text);
    TBaseQsolveNetlistSettings back;
    back.Import_FromParameters(text);
    EXPECT_EQ(back.SimulationName, "Profile with = sign");
    EXPECT_EQ(back.Transient->DefaultCycles, 7);
    EXPECT_DOUBLE_EQ(back.Transient->StartTime, 1E-3);
    EXPECT_EQ(back.PoleZero->AnalType, eZerosOnly);
    EXPECT_EQ(back.MonteCarlo->SpecificTolerances, (TStrings{"R1 DEV=1%", "C1 DEV=2%"}));
    EXPECT_DOUBLE_EQ(back.MonteCarlo->DigitalTpTolerance, 0.125);
    EXPECT_EQ(back.SpiceOptions->Method, eGear3);
    EXPECT_EQ(back.GlobalParameters.GetParameterByName("gain")->Value, "3");
    EXPECT_TRUE(back.OldCfgLoaded);

    // Keys that aren't known are passed over; fields whose key is absent keep their value.
    TBaseQsolveNetlistSettings r;
    r.SetState_Default();
    r.Import_FromParameters("Record=qsolvenetlistview|Bogus=1|AC_Analysis=True|NOISE_SOURCE=V3|AC_SweepType=decade|"
                            "Noise_SweepType=Xyz|PZ_TfType=cur|PZ_AnalType=what|MonteCarlo_DistributionType=w|"
                            "AC_StartFrequency=2,5|AnalysesDataSavedIndex=7|SheetsToNetlist=0|TRAN_StopTime=garbage|"
                            "MonteCarlo_SpecificTol0=A|MonteCarlo_SpecificTol1=B|MonteCarlo_SpecificTol3=D|"
                            "MonteCarlo_ResistorTolerance=abc");
    EXPECT_TRUE(r.AC->Active);
    EXPECT_EQ(r.AC->SweepType, eDecadeSweep);
    EXPECT_DOUBLE_EQ(r.AC->StartFrequency, 2.5);
    EXPECT_EQ(r.Noise->Source, "V3");
    EXPECT_EQ(r.Noise->SweepType, eLinearSweep);
    EXPECT_EQ(r.PoleZero->TfType, ePzCurrent);
    EXPECT_EQ(r.PoleZero->AnalType, ePolesOnly);
    EXPECT_EQ(r.MonteCarlo->DistributionType, eWorstCase);
    EXPECT_EQ(r.MonteCarlo->SpecificTolerances, (TStrings{"A", "B"}));  // the gap at 2 ends the list
    EXPECT_DOUBLE_EQ(r.MonteCarlo->ResistorTolerance, 0);
    EXPECT_EQ(r.SaveDataFor, eSaveNodeVoltageSupplyDeviceCurrentPower);
    EXPECT_EQ(r.SheetsToNetlist, eActiveSheet);
    EXPECT_DOUBLE_EQ(r.Transient->StopTime, 5E-6) << "with AlwaysSetDefaults the stored times are not read";

    // A bad number is an error for the caller.
    TBaseQsolveNetlistSettings bad;
    bad.SetState_Default();
    try {
        bad.Import_FromParameters("Record=QsolveNetlistView|TRAN_AlwaysSetDefaults=False|TRAN_StopTime=garbage");
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("TRAN_StopTime"), std::string::npos) << e.what();
    }
    EXPECT_THROW(bad.Import_FromParameters("Record=QsolveNetlistView|AC_TestPoints=1.5"), std::runtime_error);
    EXPECT_EQ(DecimalSeparator(), '.');

    // Another record is not read.
    TBaseQsolveNetlistSettings other;
    other.SetState_Default();
    other.Import_FromParameters("Record=Other|AC_Analysis=True");
    EXPECT_FALSE(other.AC->Active);
}

TEST(Settings, LegacyCfgFile) {
    fs::path dir = test::ScratchDir("settings-cfg");
    std::string longNode(300, 'N');
    std::ofstream(dir / "Proj.CFG", std::ios::binary)
        << "[Netlist Options]\r\nSheetsToNetlist=0\r\n"
           "[Probe Setup]\r\nVariable0=V(out)\r\nVariable1=I(R1)\r\nVariable3=gap\r\n"
           "[Analog Options]\r\nAnalysesDataSavedIndex=9\r\nMETHOD=Gear 5\r\nDVCC=3,3\r\nDVDD=x\r\n"
           "SpiceRefNode=" + longNode + "\r\nRELTOL=0.01\r\nACCT=YES\r\n"
           "[SimView Setup]\r\nKeepLastSetup=  false\r\n"
           "[Analyses Setup]\r\nOPAnalysis=no\r\nACAnalysis=this is TRUE\r\nAlwaysSetTransientDefaults=False\r\n"
           "PoleZero=True\r\nMonteCarlo=True\r\n"
           "[Transient Analysis Setup]\r\nStopTime=0.002\r\nStepTime=abc\r\nHarmonics=x\r\n"
           "[AC Analysis Setup]\r\nSweepType=DEC\r\nTestPoints=33\r\n"
           "[Noise Setup]\r\nSweepType=dec\r\n"
           "[Pole Zero Setup]\r\nTfType=vol\r\nAnalType=ZER\r\n"
           "[Monte Carlo Setup]\r\nDistributionType=GAUSS\r\nResistorTolerance=5\r\nSpecificTol0=R1 DEV=1%\r\n";
    PathProject project((dir / "Proj.VsProj").string());
    TBaseQsolveNetlistSettings s(&project);
    EXPECT_EQ(s.GetCfgFilename(), (dir / "Proj.cfg").string());
    ASSERT_TRUE(s.OldCfgFileExists());  // found without regard to case
    s.SetState_Default();
    s.SaveDataFor = eSaveActiveSignals;
    s.Import_FromFile();
    EXPECT_TRUE(s.OldCfgLoaded);
    EXPECT_EQ(s.SheetsToNetlist, eActiveSheet);
    EXPECT_EQ(s.ActiveSignals.Items(), (std::vector<std::string>{"I(R1)", "V(out)"}));
    EXPECT_EQ(s.SaveDataFor, eSaveActiveSignals) << "a value outside 0 to 4 leaves the field";
    EXPECT_EQ(s.SpiceOptions->Method, eGear5);
    EXPECT_DOUBLE_EQ(s.SpiceOptions->DVCC, 3.3);
    EXPECT_DOUBLE_EQ(s.SpiceOptions->DVDD, 15);
    EXPECT_EQ(s.SpiceOptions->SpiceRefNode, longNode.substr(0, 255));
    EXPECT_EQ(s.SpiceOptions->FindOption("RELTOL")->Value, "10.00m");
    EXPECT_EQ(s.SpiceOptions->FindOption("ACCT")->Value, "YES");
    EXPECT_EQ(s.SpiceOptions->FindOption("GMIN")->Value, "1.000p");
    EXPECT_FALSE(s.KeepLastSetup);
    EXPECT_FALSE(s.OperatingPoint->Active);
    EXPECT_TRUE(s.Transient->Active) << "a missing TransientAnalysis reads as True";
    EXPECT_FALSE(s.Transient->AlwaysSetDefaults);
    EXPECT_DOUBLE_EQ(s.Transient->StopTime, 0.002);
    EXPECT_DOUBLE_EQ(s.Transient->StepTime, 2E-8) << "a text that is no number gives the default";
    EXPECT_EQ(s.Transient->Harmonics, 10);
    EXPECT_TRUE(s.AC->Active);
    EXPECT_EQ(s.AC->SweepType, eDecadeSweep);
    EXPECT_EQ(s.AC->TestPoints, 33);
    EXPECT_EQ(s.Noise->SweepType, eLinearSweep) << "file texts are compared with case";
    EXPECT_FALSE(s.Noise->Active);
    EXPECT_TRUE(s.PoleZero->Active);
    EXPECT_EQ(s.PoleZero->TfType, ePzCurrent);
    EXPECT_EQ(s.PoleZero->AnalType, eZerosOnly);
    EXPECT_EQ(s.MonteCarlo->DistributionType, eGaussian);
    EXPECT_DOUBLE_EQ(s.MonteCarlo->ResistorTolerance, 0.05);
    EXPECT_DOUBLE_EQ(s.MonteCarlo->InductorTolerance, 0.1);
    EXPECT_EQ(s.MonteCarlo->SpecificTolerances, TStrings{"R1 DEV=1%"});

    // A parameter string without "OldCfgLoaded" gives way to the project's file; with it, not.
    TBaseQsolveNetlistSettings viaText(&project);
    viaText.SetState_Default();
    viaText.Import_FromParameters("Record=QsolveNetlistView|AC_TestPoints=7");
    EXPECT_TRUE(viaText.OldCfgLoaded);
    EXPECT_EQ(viaText.AC->TestPoints, 33);
    viaText.Import_FromParameters("Record=QsolveNetlistView|AC_TestPoints=7|OldCfgLoaded=True");
    EXPECT_EQ(viaText.AC->TestPoints, 7);

    // A missing file gives the defaults of every key.
    TBaseQsolveNetlistSettings none;
    none.Import_FromFile((dir / "missing.cfg").string());
    EXPECT_TRUE(none.OldCfgLoaded);
    EXPECT_TRUE(none.OperatingPoint->Active);
    EXPECT_TRUE(none.Transient->Active);
    EXPECT_TRUE(none.Transient->AlwaysSetDefaults);
    EXPECT_DOUBLE_EQ(none.Transient->StopTime, 5E-6);
    EXPECT_FALSE(none.AC->Active);
    EXPECT_EQ(none.SaveDataFor, eSaveNodeVoltageSupplyDeviceCurrentPower);
    EXPECT_EQ(none.SheetsToNetlist, eActiveProject);
    EXPECT_TRUE(none.KeepLastSetup);
    EXPECT_EQ(none.SpiceOptions->SpiceRefNode, "GND");
    EXPECT_DOUBLE_EQ(none.MonteCarlo->CapacitorTolerance, 0.1);
    TBaseQsolveNetlistSettings noProject;
    EXPECT_EQ(noProject.GetCfgFilename(), "");
    EXPECT_FALSE(noProject.OldCfgFileExists());
}

TEST(Settings, AnalysesWriteTheCfgFileAndReadItBack) {
    fs::path dir = test::ScratchDir("settings-cfg-write");
    platform::IniFile ini((dir / "w.cfg").string());
    ini.WriteString("Monte Carlo Setup", "SpecificTol0", "old0");
    ini.WriteString("Monte Carlo Setup", "SpecificTol1", "old1");
    ini.WriteString("Monte Carlo Setup", "SpecificTol2", "old2");
    TBaseQsolveNetlistSettings s;
    FillEverything(s);
    s.OldCfgLoaded = false;
    s.MonteCarlo->SpecificTolerances = {"R1 DEV=1%"};
    s.DCSweep->EnableSecondary = false;
    s.Transient->StopTime = 1.23456789012345E-3;
    {
        TDecimalSeparatorScope comma(',');
        TCfgFileScope scope(ini);
        for (TAnalysis* a : s.Analyses()) a->Export_ToFile();
        s.SpiceOptions->Export_ToFile();
    }
    EXPECT_THROW(s.AC->Export_ToFile(), std::runtime_error) << "no file outside a scope";
    EXPECT_EQ(ini.ReadString("Monte Carlo Setup", "SpecificTol0", ""), "R1 DEV=1%");
    EXPECT_FALSE(ini.HasValue("Monte Carlo Setup", "SpecificTol1"));
    EXPECT_FALSE(ini.HasValue("DC Analysis Setup", "SecondarySource"));
    EXPECT_EQ(ini.ReadString("Analyses Setup", "AlwaysSetTransientDefaults", ""), "False");
    EXPECT_EQ(ini.ReadString("Transient Analysis Setup", "StopTime", ""), "0,00123456789012345");
    EXPECT_EQ(ini.ReadString("DC Analysis Setup", "PrimaryStart", ""), "-1,5");
    EXPECT_EQ(ini.ReadString("AC Analysis Setup", "SweepType", ""), "DEC");
    EXPECT_EQ(ini.ReadString("Analog Options", "METHOD", ""), "Gear 3");
    EXPECT_EQ(ini.ReadString("Analog Options", "GMIN", ""), "1.000p");
    EXPECT_EQ(ini.ReadString("Monte Carlo Setup", "DigitalTpTolerance", ""), "12,5%");
    ini.Save();

    // Read back, the analyses and options are what was written (the settings' own keys aside).
    TBaseQsolveNetlistSettings back;
    back.SetState_Default();
    back.Import_FromFile((dir / "w.cfg").string());
    for (TBaseQsolveNetlistSettings* x : {&s, &back}) {
        x->ActiveSignals.Clear();
        x->GlobalParameters.Clear();
        x->SimulationName.clear();
        x->ProfileId = "SAME";
        x->OldCfgLoaded = false;
        x->SheetsToNetlist = eActiveProject;
        x->NetlistType = eNetlist_Hierarchical;
        x->SaveDataFor = eSaveActiveSignals;
        x->KeepLastSetup = true;
    }
    s.DCSweep->SecondarySource.clear();
    s.DCSweep->SecondaryStart = s.DCSweep->SecondaryStop = s.DCSweep->SecondaryStep = 0;
    EXPECT_EQ(back.Export_ToParameters(), s.Export_ToParameters());
    EXPECT_DOUBLE_EQ(back.Transient->StopTime, 1.23456789012345E-3) << "transient times keep 15 digits";
}

TEST(Settings, WholeSetupTextAndChecks) {
    TBaseQsolveNetlistSettings s;
    s.SetState_Default();
    TNetlistInfo info;
    info.VoltageNodes.Assign({"0", "out", "in"});
    info.Sources.Assign({"V1"});
    info.DesignatorParameters.Assign({"R1"});
    info.ACSourceCount = 0;
    s.GlobalParameters.AddParameter("Gain", "2");
    s.SetState_NetlistInfo(info);
    EXPECT_TRUE(s.NetlistInfo.Parameters.Contains("GAIN"));
    EXPECT_FALSE(s.NetlistInfo.VoltageNodeExists("0"));

    s.Transient->AlwaysSetDefaults = false;
    s.Transient->StopTime = 1E-3;
    s.Transient->StepTime = s.Transient->MaxStepTime = 1E-6;
    s.AC->Active = true;
    s.KeepLastSetup = false;
    s.SpiceOptions->SetOptionValueByName("RELTOL", "0.01");
    s.ParameterSweep->Active = true;
    s.ParameterSweep->Parameter1 = "Gain";
    s.ParameterSweep->Stop1 = 4;
    s.ParameterSweep->Step1 = 1;
    TStrings lines;
    s.GetState_AnalysesStrings(lines);
    EXPECT_EQ(lines, (TStrings{"*PLOT AC -1 1 A=in", "*PLOT TRAN -1 1 A=in", "*PLOT OP -1 1 A=in", "",
                               ".OPTION KeepLastSetup=False", ".OPTIONS RELTOL=0.01", "*Selected Circuit Analyses:",
                               ".AC LIN 100 1 1E6", ".TRAN 1E-6 0.001 0 1E-6", ".OP", ".CONTROL", "SWEEP Gain 0 4 1",
                               ".ENDC", "", "*Global Parameters:", ".PARAM Gain=2"}));

    // Plot lines carry the active signals, a new line once the list passes 60 characters.
    s.ActiveSignals.Assign({"V(out)", "Q1[ic]", "V(a_long_node_name_1)", "V(a_long_node_name_2)", "V(in)"});
    s.AC->Active = s.Transient->Active = s.OperatingPoint->Active = false;
    s.DCSweep->Active = true;
    s.DCSweep->PrimarySource = "V1";
    s.DCSweep->PrimaryStop = 1;
    s.DCSweep->PrimaryStep = 1;
    s.GetState_AnalysesStrings(lines);
    EXPECT_EQ(lines[0], "*PLOT DC -1 1 A=@Q1[ic] A=V(a_long_node_name_1) A=V(a_long_node_name_2) A=V(in)");
    EXPECT_EQ(lines[1], "*PLOT DC -1 1 A=V(out)");

    TStrings errors;
    s.GetState_SetupErrors(&errors);
    EXPECT_EQ(errors, TStrings{});
    s.AC->Active = true;
    s.AC->TestPoints = 1;
    s.DCSweep->PrimarySource = "V9";
    errors.clear();
    s.GetState_SetupErrors(&errors);
    EXPECT_EQ(errors, (TStrings{"Error: Invalid PRIMARY SOURCE specified in DC Transfer",
                                "Error: No source specified in AC Small Signal",
                                "Error: Number of test points must be greater than two in AC Small Signal"}));
    s.GetState_SetupErrors(nullptr);  // does nothing without a list
    EXPECT_TRUE(s.ShownErrors.empty());

    // Nothing to run: the user is asked; No reports it, Yes turns the default transient on.
    TBaseQsolveNetlistSettings idle;
    idle.SetState_Default();
    idle.OperatingPoint->Active = idle.Transient->Active = false;
    errors.clear();
    idle.GetState_SetupErrors(&errors);
    EXPECT_EQ(errors, TStrings{"Error: No Analyses have been enabled."});
    YesSettings yes;
    yes.SetState_Default();
    yes.OperatingPoint->Active = yes.Transient->Active = false;
    yes.Transient->AlwaysSetDefaults = false;
    errors.clear();
    yes.GetState_SetupErrors(&errors);
    EXPECT_EQ(yes.asked, TStrings{"No Analyses have been enabled.\nEnable default Transient Analysis?"});
    EXPECT_TRUE(yes.Transient->Active);
    EXPECT_TRUE(yes.Transient->AlwaysSetDefaults);
    EXPECT_TRUE(errors.empty());
    // A sweep alone can't run.
    idle.TemperatureSweep->Active = true;
    idle.TemperatureSweep->Stop = 10;
    idle.TemperatureSweep->Step = 1;
    idle.MonteCarlo->Active = true;
    idle.PoleZero->Active = true;
    errors.clear();
    idle.GetState_SetupErrors(&errors);
    EXPECT_EQ(errors, TStrings{"Error: Transient, AC Small Signal, DC Sweep, Noise, Transfer Function or Operating "
                               "Point must be enabled to run Temperature Sweep, Monte Carlo."});
}

TEST(Settings, ProfileTranslationAndItsMessages) {
    fs::path dir = test::ScratchDir("profile-translate");
    std::ofstream(dir / "t.sim", std::ios::binary)
        << "@OrCAD Simulation Server Version: 1.0\n@General:\nProfileName= \"My \"\"run\" \n@End General\n"
           "@Analysis: 0 1\n+0 1 0 0\n+0 \"2ms\"\n+1 \"\"\n+2 \"1m\"\n+3 \"\"\n+4 \"1k\"\n+5 \"\"\n+6 \"7x\"\n@End Analysis\n"
           "@Analysis: 1 1\n+2 1 0\n+0 \"21\"\n+1 \"1,5\"\n+2 \"10meg\"\n+3 \"V(out)\"\n+4 \"V1\"\n+5 \"\"\n@End Analysis\n"
           "@Analysis: 2 1\n+2 3\n+0 \"V1\"\n+1 \"\"\n+2 \"\"\n+3 \"\"\n+4 \"0\"\n+5 \"5\"\n+6 \"1\"\n+7 \"\"\n@End Analysis\n"
           "@Analysis: 10 1\n+3 4\n+0 \"V2\"\n+1 \"\"\n+2 \"\"\n+3 \"\"\n+4 \"1\"\n+5 \"2\"\n+6 \"1\"\n+7 \"\"\n@End Analysis\n"
           "@Analysis: 3 1\n+0 0 1\n+0 \"\"\n+1 \"V1\"\n@End Analysis\n"
           "@Analysis: 4 1\n+1 0 0\n+0 \"30\"\n+1 \"\"\n+2 \"5\"\n+3 \"\"\n+4 \"\"\n+5 \"\"\n+6 \"\"\n+7 \"\"\n@End Analysis\n"
           "@Analysis: 5 1\n+1 4\n+0 \"\"\n+1 \"\"\n+2 \"\"\n+3 \"\"\n+4 \"-40\"\n+5 \"85\"\n+6 \"25\"\n+7 \"\"\n@End Analysis\n"
           "@Analysis: 6 1\n+0\n+0 \"\"\n@End Analysis\n"
           "@Analysis: 11 1\n+1 0 0 1 0 0 0 0 0 0 0 0 0 0 0 0\n+ +RELTOL \"0.01\"\n+ +WIDTH \"80\"\n@End Analysis\n";
    host::LogSection log;
    TPSpiceSimulationProfile p((dir / "t.sim").string(), &log);
    ASSERT_TRUE(p.Load());
    EXPECT_EQ(p.ProfileName, "\"My \"\"run\"");
    TBaseQsolveNetlistSettings s;
    s.SetState_Default();
    s.OperatingPoint->Active = s.Transient->Active = false;
    s.PoleZero->Active = true;
    p.Export_ToQsolveSettings(s);
    const std::string name = " - \"My \"\"run\"";
    EXPECT_EQ(log.AllMessages(host::kLogError),
              (TStrings{"Primary DC sweep type of \"decade\" not possible in Vantor Studio" + name,
                        "Primary DC sweep variable type \"Model Parameter\" not possible in Vantor Studio" + name,
                        "Secondary DC sweep type of \"list\" not possible in Vantor Studio" + name,
                        "Secondary DC sweep variable type \"Temperature\" not possible in Vantor Studio" + name,
                        "Parametric sweep type of \"octave\" not possible in Vantor Studio" + name,
                        "Temperature sweep options already specified in Parametric sweep setup, settings ignored" + name}));
    TTransientAnalysis& t = *s.Transient;
    EXPECT_TRUE(t.Active);
    EXPECT_FALSE(t.AlwaysSetDefaults);
    EXPECT_FALSE(t.UseInitialConditions);
    EXPECT_TRUE(t.FourierAnalysis);
    EXPECT_DOUBLE_EQ(t.StopTime, 2E-3);
    EXPECT_DOUBLE_EQ(t.StartTime, 1E-3);
    EXPECT_DOUBLE_EQ(t.MaxStepTime, 2E-3 / 50) << "no maximum step: a fiftieth of the stop time";
    EXPECT_DOUBLE_EQ(t.StepTime, t.MaxStepTime);
    EXPECT_DOUBLE_EQ(t.FundamentalFrequency, 1000);
    EXPECT_EQ(t.Harmonics, 7);
    EXPECT_TRUE(s.AC->Active);
    EXPECT_EQ(s.AC->SweepType, eDecadeSweep);
    EXPECT_EQ(s.AC->TestPoints, 21);
    EXPECT_DOUBLE_EQ(s.AC->StartFrequency, 1) << "the profile's numbers take no comma";
    EXPECT_DOUBLE_EQ(s.AC->StopFrequency, 1E7);
    EXPECT_TRUE(s.Noise->Active);
    EXPECT_EQ(s.Noise->Output, "V(out)");
    EXPECT_EQ(s.Noise->Source, "V1");
    EXPECT_EQ(s.Noise->TestPoints, 21);
    EXPECT_TRUE(s.DCSweep->Active);
    EXPECT_TRUE(s.DCSweep->EnableSecondary);
    EXPECT_EQ(s.DCSweep->SecondarySource, "V2");
    EXPECT_DOUBLE_EQ(s.DCSweep->PrimaryStop, 5);
    EXPECT_TRUE(s.OperatingPoint->Active);
    EXPECT_TRUE(s.TransferFunction->Active);
    EXPECT_EQ(s.TransferFunction->Source, "V1");
    EXPECT_FALSE(s.ParameterSweep->Active);
    EXPECT_TRUE(s.TemperatureSweep->Active);
    EXPECT_DOUBLE_EQ(s.TemperatureSweep->Start, -40);
    EXPECT_DOUBLE_EQ(s.TemperatureSweep->Step, 25);
    EXPECT_TRUE(s.MonteCarlo->Active);
    EXPECT_EQ(s.MonteCarlo->DistributionType, eWorstCase);
    EXPECT_EQ(s.MonteCarlo->NumberOfRuns, 30);
    EXPECT_EQ(s.MonteCarlo->Seed, 5);
    EXPECT_FALSE(s.PoleZero->Active);
    EXPECT_EQ(s.SpiceOptions->FindOption("ACCT")->Value, "YES");
    EXPECT_EQ(s.SpiceOptions->FindOption("LIST")->Value, "YES");
    EXPECT_EQ(s.SpiceOptions->FindOption("OPTS")->Value, "NO");
    EXPECT_EQ(s.SpiceOptions->FindOption("RELTOL")->Value, "10.00m");
}

// Each profile of the sample set gives settings whose analyses are those its file has on, and
// whose parameter string reads back to itself.
TEST(Settings, SampleProfilesGiveSettingsThatRoundTrip) {
    ORCADX_REQUIRE_CORPUS();
    auto files = test::CorpusFiles({".sim"});
    ASSERT_EQ(files.size(), 17u);
    for (const fs::path& file : files) {
        SCOPED_TRACE(file.string());
        host::LogSection log;
        TPSpiceSimulationProfile p(file.string(), &log);
        ASSERT_TRUE(p.Load());
        TBaseQsolveNetlistSettings s;
        s.SetState_Default();
        s.OperatingPoint->Active = s.Transient->Active = false;
        p.Export_ToQsolveSettings(s);
        EXPECT_EQ(s.Transient->Active, p.Transient.Enabled);
        EXPECT_EQ(s.AC->Active, p.AC.Enabled);
        EXPECT_EQ(s.DCSweep->Active, p.PrimaryDCSweep.Enabled);
        EXPECT_EQ(s.OperatingPoint->Active, p.BiasPoint.Enabled);
        EXPECT_EQ(s.ParameterSweep->Active, p.ParametricSweep.Enabled && p.ParametricSweep.VariableKind != 4);
        EXPECT_EQ(s.MonteCarlo->Active, p.MonteCarlo.Enabled);
        EXPECT_FALSE(s.PoleZero->Active);
        if (p.Transient.Enabled) {
            EXPECT_DOUBLE_EQ(s.Transient->StopTime, ParseEng(p.Transient.StopTime, false));
        }
        std::string text = s.Export_ToParameters();
        EXPECT_EQ(Resave(text), text);
    }
    // Values written out from the files.
    auto settingsOf = [](const std::string& relative) {
        auto s = std::make_unique<TBaseQsolveNetlistSettings>();
        TPSpiceSimulationProfile p((test::CorpusDir() / relative).string(), nullptr);
        EXPECT_TRUE(p.Load());
        s->SetState_Default();
        s->OperatingPoint->Active = s->Transient->Active = false;
        p.Export_ToQsolveSettings(*s);
        TStrings lines;
        s->GetState_AnalysesStrings(lines);
        return lines;
    };
    auto has = [](const TStrings& lines, const std::string& line) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    };
    EXPECT_TRUE(has(settingsOf("trs80/trs80_power-PSpiceFiles/SCHEMATIC1/bias.sim"), ".TRAN 0.048 2.4 2 0.048"));
    EXPECT_TRUE(has(settingsOf("kiki30501_Orcad-Projects/lab10comm/lab10comm-PSpiceFiles/SCHEMATIC2/freq_max.sim"),
                    ".AC LIN 40 350 1000"));
    TStrings param = settingsOf("kiki30501_Orcad-Projects/lab10comm/lab10comm-PSpiceFiles/SCHEMATIC2/hehehehe.sim");
    EXPECT_TRUE(has(param, ".TRAN 1E-5 0.01 0 1E-5"));
    EXPECT_TRUE(has(param, "SWEEP freqtest 380 1500 300"));
    EXPECT_TRUE(has(settingsOf("kiki30501_Orcad-Projects/hw5_dig_elec/hw5_digi_elec-PSpiceFiles/SCHEMATIC1/q4a_with_body.sim"),
                    ".DC Vin 0 5 0.0001"));
    EXPECT_TRUE(has(settingsOf("kiki30501_Orcad-Projects/Lab_Dig_elec_5/Lab_Dig_elec_5-PSpiceFiles/SCHEMATIC4/2654.sim"),
                    ".TRAN 1E-6 0.002 0.001 1E-6 UIC"));
}
