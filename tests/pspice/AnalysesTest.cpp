// The ten analyses: their SPICE text line by line, and the checks of their setup with the messages.
#include <gtest/gtest.h>

#include <functional>

#include "pspice/RT_Qsolve_Settings.h"

using namespace orcadx::pspice;

namespace {

TStrings Lines(TAnalysis& analysis) {
    TStrings lines;
    analysis.GetState_NetlistStrings(lines);
    return lines;
}

// The errors of one analysis' check; empty when it passes.
TStrings Check(TAnalysis& analysis) {
    TStrings errors;
    bool ok = analysis.CheckState_AnalysisSetup(&errors);
    EXPECT_EQ(ok, errors.empty());
    return errors;
}

TNetlistInfo Circuit() {
    TNetlistInfo info;
    info.Sources.Assign({"V1", "V2", "I1"});
    info.DesignatorParameters.Assign({"R1", "R2", "Q1", "Z1", "X1", "C1", "M1A", "J1", "A1", "L1", "V1"});
    info.VoltageNodes.Assign({"0", "in", "out"});
    info.SupplyCurrents.Assign({"I(V1)"});
    info.DeviceCurrents.Assign({"Q1[ic]", "R1[i]"});
    info.Powers.Assign({"R1[p]"});
    info.ACSourceCount = 1;
    return info;
}

}  // namespace

TEST(Analyses, SpiceTextOfEachKind) {
    TBaseQsolveNetlistSettings s;
    s.SetState_Default();
    s.SetState_NetlistInfo(Circuit());

    EXPECT_EQ(Lines(*s.OperatingPoint), TStrings{".OP"});
    s.OperatingPoint->Active = false;
    EXPECT_TRUE(Lines(*s.OperatingPoint).empty());

    TTransientAnalysis& t = *s.Transient;
    t.AlwaysSetDefaults = false;
    t.StartTime = 0;
    t.StopTime = 1E-3;
    t.StepTime = 1E-6;
    t.MaxStepTime = 2E-6;
    EXPECT_EQ(Lines(t), TStrings{".TRAN 1E-6 0.001 0 2E-6"});
    t.UseInitialConditions = true;
    EXPECT_EQ(Lines(t), TStrings{".TRAN 1E-6 0.001 0 2E-6 UIC"});
    t.Active = false;
    EXPECT_TRUE(Lines(t).empty());
    t.Active = true;
    t.UseInitialConditions = false;
    t.FourierAnalysis = true;
    t.FundamentalFrequency = 1000;
    t.Harmonics = 9;
    s.SaveDataFor = eSaveNodeVoltageSupplyDeviceCurrentSubcktVars;
    EXPECT_EQ(Lines(t), (TStrings{".TRAN 1E-6 0.001 0 2E-6", ".SET NFREQS=9", ".FOUR 1000 ALL"}));
    // Active signals from the last to the first, without those of "[z]", device signals with "@".
    s.SaveDataFor = eSaveActiveSignals;
    s.ActiveSignals.Assign({"a", "b[z]", "Q1[ic]", "out"});
    EXPECT_EQ(Lines(t), (TStrings{".TRAN 1E-6 0.001 0 2E-6", ".SET NFREQS=9", ".FOUR 1000 @Q1[ic] out a"}));
    // Otherwise the netlist's signals, sorted without case, by what is saved.
    s.SaveDataFor = eSaveNodeVoltageSupplyCurrent;
    EXPECT_EQ(Lines(t).back(), ".FOUR 1000 out in I(V1)");
    s.SaveDataFor = eSaveNodeVoltageSupplyDeviceCurrent;
    EXPECT_EQ(Lines(t).back(), ".FOUR 1000 @R1[i] @Q1[ic] out in I(V1)");
    s.SaveDataFor = eSaveNodeVoltageSupplyDeviceCurrentPower;
    EXPECT_EQ(Lines(t).back(), ".FOUR 1000 @R1[p] @R1[i] @Q1[ic] out in I(V1)");
    // No names, no Fourier lines; a long list goes on "+" lines once a line reaches 80 characters.
    s.SaveDataFor = eSaveActiveSignals;
    s.ActiveSignals.Clear();
    EXPECT_EQ(Lines(t), TStrings{".TRAN 1E-6 0.001 0 2E-6"});
    std::vector<std::string> many;
    for (int i = 10; i < 40; ++i) many.push_back("node" + std::to_string(i));
    s.ActiveSignals.Assign(many);
    TStrings lines = Lines(t);
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[2], ".FOUR 1000 node39 node38 node37 node36 node35 node34 node33 node32 node31 node30");
    EXPECT_EQ(lines[3], "+ node29 node28 node27 node26 node25 node24 node23 node22 node21 node20 node19 node18");
    EXPECT_EQ(lines[4], "+ node17 node16 node15 node14 node13 node12 node11 node10");
    // With AlwaysSetDefaults the times come from the netlister's frequencies.
    t.FourierAnalysis = false;
    t.AlwaysSetDefaults = true;
    s.NetlistInfo.CycleFrequency = 1000;
    s.NetlistInfo.StepFrequency = 1E5;
    EXPECT_EQ(Lines(t), TStrings{".TRAN 2E-7 0.005 0 2E-7"});

    TACAnalysis& ac = *s.AC;
    ac.Active = true;
    ac.SweepType = eDecadeSweep;
    ac.TestPoints = 10;
    EXPECT_EQ(Lines(ac), TStrings{".AC DEC 10 1 1E6"});
    ac.SweepType = eOctaveSweep;
    EXPECT_EQ(Lines(ac), TStrings{".AC OCT 10 1 1E6"});

    TNoiseAnalysis& n = *s.Noise;
    n.Active = true;
    n.Output = "out";
    n.Source = "V1";
    n.TestPoints = 20;
    n.Start = 10;
    n.Stop = 1E5;
    EXPECT_EQ(Lines(n), TStrings{".NOISE V(out) V1 LIN 20 10 1E5"});
    n.Reference = "ref";
    n.PointsPerSummary = 5;
    n.SweepType = eOctaveSweep;
    EXPECT_EQ(Lines(n), TStrings{".NOISE V(out,ref) V1 OCT 20 10 1E5 5"});
    n.Reference = "";
    n.PointsPerSummary = -1;
    EXPECT_EQ(Lines(n), TStrings{".NOISE V(out) V1 OCT 20 10 1E5"});

    TParameterSweepAnalysis& ps = *s.ParameterSweep;
    ps.Active = true;
    ps.Parameter1 = "R1";
    ps.Start1 = 1;
    ps.Stop1 = 10;
    ps.Step1 = 1;
    EXPECT_EQ(Lines(ps), TStrings{"SWEEP R1 1 10 1"});
    ps.SweepType1 = true;
    ps.SecondaryEnabled = true;
    EXPECT_EQ(Lines(ps), TStrings{"SWEEP R1 relative 1 10 1"});  // no second name, no second sweep
    ps.Parameter2 = "C1";
    ps.Start2 = 2;
    ps.Stop2 = 4;
    ps.Step2 = 0.5;
    EXPECT_EQ(Lines(ps), TStrings{"SWEEP R1 relative 1 10 1 C1 2 4 0.5"});
    ps.SweepType2 = true;
    EXPECT_EQ(Lines(ps), TStrings{"SWEEP R1 relative 1 10 1 C1 relative 2 4 0.5"});

    TDCSweepAnalysis& dc = *s.DCSweep;
    dc.Active = true;
    dc.PrimarySource = "V1";
    dc.PrimaryStop = 5;
    dc.PrimaryStep = 0.1;
    EXPECT_EQ(Lines(dc), TStrings{".DC V1 0 5 0.1"});
    dc.EnableSecondary = true;
    dc.SecondarySource = "V2";
    dc.SecondaryStart = -1;
    dc.SecondaryStop = 1;
    dc.SecondaryStep = 0.25;
    EXPECT_EQ(Lines(dc), TStrings{".DC V1 0 5 0.1 V2 -1 1 0.25"});

    TTemperatureSweepAnalysis& ts = *s.TemperatureSweep;
    ts.Active = true;
    ts.Start = -40;
    ts.Stop = 85;
    ts.Step = 25;
    EXPECT_EQ(Lines(ts), TStrings{"SWEEP OPTION[TEMP] -40 85 25"});

    TTransferFunctionAnalysis& tf = *s.TransferFunction;
    tf.Active = true;
    tf.Source = "V1";
    EXPECT_EQ(Lines(tf), (TStrings{".TF V(in) V1", ".TF V(out) V1"}));  // node "0" was taken out
    tf.Reference = "OUT";
    EXPECT_EQ(Lines(tf), (TStrings{".TF V(in,OUT) V1"}));

    TPoleZeroAnalysis& pz = *s.PoleZero;
    pz.Active = true;
    pz.Node1 = "in";
    pz.Node3 = "out";
    EXPECT_EQ(Lines(pz), TStrings{".PZ in 0 out 0 VOL PZ"});
    pz.TfType = ePzCurrent;
    pz.AnalType = ePolesOnly;
    EXPECT_EQ(Lines(pz), TStrings{".PZ in 0 out 0 CUR POL"});
    pz.AnalType = eZerosOnly;
    EXPECT_EQ(Lines(pz), TStrings{".PZ in 0 out 0 CUR ZER"});
}

TEST(Analyses, MonteCarloAndWorstCaseText) {
    TBaseQsolveNetlistSettings s;
    s.SetState_Default();
    s.SetState_NetlistInfo(Circuit());
    TMonteCarloAnalysis& mc = *s.MonteCarlo;
    mc.Active = true;
    mc.NumberOfRuns = 10;
    mc.Seed = 7;
    mc.DistributionType = eGaussian;
    mc.ResistorTolerance = 0.05;
    mc.CapacitorTolerance = -1;  // no tolerance: no line
    mc.SpecificTolerances = {"R2   DEV=1%", "q1 DEV=2%", "", "J1[BETA] DEV=3%", "Xnew"};
    // Specific tolerances first, with the default parameter of their kind; then every other device
    // with the tolerance of its kind, where its kind has one (X and Z have none, C is negative here).
    EXPECT_EQ(Lines(mc), (TStrings{"TOL R2 DEV=1%", "TOL q1[BF] DEV=2%", "TOL J1[BETA] DEV=3%", "TOL Xnew",
                                   "TOL A1[TP_VAL] DEV=10% Gauss", "TOL L1 DEV=10% Gauss",
                                   "TOL M1A[KP] DEV=10% Gauss", "TOL R1 DEV=5% Gauss", "TOL V1 DEV=10% Gauss",
                                   "MC 10 SEED=7"}));
    mc.DistributionType = eWorstCase;
    mc.SpecificTolerances.clear();
    mc.TransistorTolerance = 0.2;
    mc.CapacitorTolerance = 0.1;
    EXPECT_EQ(Lines(mc), (TStrings{"TOL A1[TP_VAL] DEV=10% Worst", "TOL C1 DEV=10% Worst", "TOL J1[BETA] DEV=20% Worst",
                                   "TOL L1 DEV=10% Worst", "TOL M1A[KP] DEV=20% Worst", "TOL Q1[BF] DEV=20% Worst",
                                   "TOL R1 DEV=5% Worst", "TOL R2 DEV=5% Worst", "TOL V1 DEV=10% Worst",
                                   "MC 10 SEED=7"}));
    mc.DistributionType = eUniform;
    EXPECT_EQ(Lines(mc)[0], "TOL A1[TP_VAL] DEV=10% Uniform");
    mc.Active = false;
    EXPECT_TRUE(Lines(mc).empty());
}

TEST(Analyses, SetupChecksReportTheFirstFailureOfEach) {
    TBaseQsolveNetlistSettings s;
    s.SetState_Default();
    s.SetState_NetlistInfo(Circuit());
    using E = TStrings;

    TTransientAnalysis& t = *s.Transient;
    t.StartTime = -1;
    EXPECT_EQ(Check(t), E{}) << "AlwaysSetDefaults skips the tests";
    t.AlwaysSetDefaults = false;
    EXPECT_EQ(Check(t), E{"Error: START time must be greater than zero in Transient/Fourier"});
    t.StartTime = 0;
    t.StopTime = 1E-3;
    t.StepTime = 1E-6;
    t.MaxStepTime = 1E-6;
    EXPECT_EQ(Check(t), E{});
    auto good = [&] {
        t.Active = true;
        t.StartTime = 0;
        t.StopTime = 1E-3;
        t.StepTime = t.MaxStepTime = 1E-6;
        t.FourierAnalysis = false;
        t.FundamentalFrequency = 0;
        t.Harmonics = 3;
        t.DefaultCycles = 5;
        t.DefaultPointsPerCycle = 50;
    };
    const std::vector<std::pair<std::function<void()>, std::string>> transientCases = {
        {[&] { t.StartTime = 1E-3; }, "STOP time must be greater than START time"},
        {[&] { t.StepTime = 0; }, "STEP time must be greater than zero"},
        {[&] { t.StepTime = 2E-3; }, "STEP time is too large"},
        {[&] { t.MaxStepTime = -1; }, "Max STEP time must be greater than zero"},
        {[&] { t.MaxStepTime = 1.5E-3; }, "Max STEP time is too large"},
        {[&] { t.FourierAnalysis = true; }, "Fundamental frequency must be greater than zero"},
        {[&] { t.FourierAnalysis = true, t.FundamentalFrequency = 100; }, "Fundamental frequency is too low"},
        {[&] { t.FourierAnalysis = true, t.FundamentalFrequency = 1000, t.Harmonics = 0; },
         "Number of harmonics must be one or greater"},
        {[&] { t.Active = false, t.StartTime = 5, t.DefaultCycles = 0; },
         "The default number of cycles must be greater than zero"},
        {[&] { t.DefaultPointsPerCycle = 0; }, "The default number of points per cycle must be greater than zero"},
    };
    for (const auto& [change, message] : transientCases) {
        good();
        change();
        EXPECT_EQ(Check(t), E{"Error: " + message + " in Transient/Fourier"});
    }
    good();
    t.StepTime = t.MaxStepTime = 1E-3;  // a step as large as the range passes
    EXPECT_EQ(Check(t), E{});

    TACAnalysis& ac = *s.AC;
    EXPECT_EQ(Check(ac), E{}) << "an analysis that is off passes";
    ac.Active = true;
    EXPECT_EQ(Check(ac), E{});
    ac.TestPoints = 2;
    EXPECT_EQ(Check(ac), E{"Error: Number of test points must be greater than two in AC Small Signal"});
    ac.TestPoints = 3;
    ac.StartFrequency = 0;
    EXPECT_EQ(Check(ac), E{"Error: Start frequency must be greater than zero in AC Small Signal"});
    ac.StartFrequency = 1E6;
    EXPECT_EQ(Check(ac), E{"Error: Stop frequency must be greater than start frequency in AC Small Signal"});

    TNoiseAnalysis& n = *s.Noise;
    n.Active = true;
    auto noise = [&](const char* message) { return E{std::string("Error: ") + message + " in Noise"}; };
    EXPECT_EQ(Check(n), noise("No SOURCE specified"));
    n.Source = "V9";
    EXPECT_EQ(Check(n), noise("Invalid SOURCE specified"));
    n.Source = "v1";
    EXPECT_EQ(Check(n), noise("No OUTPUT specified"));
    n.Output = "0";
    EXPECT_EQ(Check(n), noise("OUTPUT And REFERENCE nodes must be different"));
    n.Output = "out";
    EXPECT_EQ(Check(n), noise("Number of test points must be greater than two"));
    n.TestPoints = 3;
    EXPECT_EQ(Check(n), noise("START frequency must be greater than zero"));
    n.Start = 10;
    EXPECT_EQ(Check(n), noise("STOP frequency must be greater than start frequency"));
    n.Stop = 100;
    n.PointsPerSummary = -1;
    EXPECT_EQ(Check(n), noise("Number of points per summary must be zero or greater"));
    n.PointsPerSummary = 0;
    EXPECT_EQ(Check(n), E{});

    TDCSweepAnalysis& dc = *s.DCSweep;
    dc.Active = true;
    auto dcError = [&](const char* message) { return E{std::string("Error: ") + message + " in DC Transfer"}; };
    EXPECT_EQ(Check(dc), dcError("No PRIMARY SOURCE specified"));
    dc.PrimarySource = "Vx";
    EXPECT_EQ(Check(dc), dcError("Invalid PRIMARY SOURCE specified"));
    dc.PrimarySource = "option[temp]";  // valid without being in the netlist
    EXPECT_EQ(Check(dc), dcError("The PRIMARY START And STOP values must be different"));
    dc.PrimaryStop = 5;
    EXPECT_EQ(Check(dc), dcError("The PRIMARY STEP value must be greater than zero"));
    dc.PrimaryStart = 10;
    dc.PrimaryStep = 1;
    EXPECT_EQ(Check(dc), dcError("The PRIMARY STEP value must be less than zero"));
    dc.PrimaryStep = -6;
    EXPECT_EQ(Check(dc), dcError("The PRIMARY STEP value is too large"));
    dc.PrimaryStep = -5;  // a reverse sweep with a negative step as large as the range passes
    EXPECT_EQ(Check(dc), E{});
    dc.EnableSecondary = true;
    EXPECT_EQ(Check(dc), dcError("No SECONDARY SOURCE specified"));
    dc.SecondarySource = "OPTION[TEMP]";
    EXPECT_EQ(Check(dc), dcError("The SECONDARY And PRIMARY SOURCES must be different"));
    dc.SecondarySource = "V7";
    EXPECT_EQ(Check(dc), dcError("Invalid SECONDARY SOURCE"));
    dc.SecondarySource = "V2";
    EXPECT_EQ(Check(dc), dcError("The SECONDARY START And STOP values must be different"));
    dc.SecondaryStop = 1;
    EXPECT_EQ(Check(dc), dcError("The SECONDARY STEP value must be greater than zero"));
    dc.SecondaryStep = 2;
    EXPECT_EQ(Check(dc), dcError("The SECONDARY STEP value is too large"));
    dc.SecondaryStart = 2;
    EXPECT_EQ(Check(dc), dcError("The SECONDARY STEP value must be less than zero"));

    TParameterSweepAnalysis& ps = *s.ParameterSweep;
    ps.Active = true;
    auto psError = [&](const char* message) { return E{std::string("Error: ") + message + " in Parameter Sweep"}; };
    EXPECT_EQ(Check(ps), psError("Invalid or missing PRIMARY sweep variable"));
    ps.Parameter1 = "M1[Position]";  // no M1, but M1A: the name stands for M1A
    EXPECT_EQ(Check(ps), psError("The primary START And STOP values must be different"));
    EXPECT_EQ(ps.ResolveName("M1[position]"), "M1A");
    EXPECT_EQ(ps.ResolveName("R1[Position]"), "R1");
    EXPECT_EQ(ps.ResolveName("M1[W]"), "M1");
    EXPECT_EQ(ps.ResolveName("plain"), "plain");
    ps.Stop1 = 1;
    EXPECT_EQ(Check(ps), psError("The primary STEP value must be greater than zero"));
    ps.Step1 = 2;
    EXPECT_EQ(Check(ps), psError("The primary STEP value is too large"));
    ps.Start1 = 2;
    EXPECT_EQ(Check(ps), psError("The primary STEP value must be less than zero"));
    ps.Start1 = 0;
    ps.Step1 = 1;
    ps.SecondaryEnabled = true;
    ps.Parameter2 = "M1[W]";
    EXPECT_EQ(Check(ps), psError("Invalid or missing SECONDARY variable"));
    s.GlobalParameters.AddParameter("Gain", "2");
    ps.Parameter2 = "gain";  // a global parameter is valid
    ps.Parameter1 = "GAIN";
    EXPECT_EQ(Check(ps), psError("PRIMARY And SECONDARY sweep variables must be different"));
    ps.Parameter1 = "R1";
    EXPECT_EQ(Check(ps), psError("The secondary START And STOP values must be different"));
    ps.Stop2 = -1;
    ps.Step2 = 1;
    EXPECT_EQ(Check(ps), psError("The secondary STEP value must be less than zero"));

    TTemperatureSweepAnalysis& ts = *s.TemperatureSweep;
    ts.Active = true;
    auto tsError = [&](const char* message) { return E{std::string("Error: ") + message + " in Temperature Sweep"}; };
    EXPECT_EQ(Check(ts), tsError("START And STOP values must be different"));
    ts.Stop = 100;
    EXPECT_EQ(Check(ts), tsError("STEP value must be greater than zero"));
    ts.Step = 101;
    EXPECT_EQ(Check(ts), tsError("STEP value is too large"));
    ts.Start = 200;
    EXPECT_EQ(Check(ts), tsError("STEP value must be less than zero"));

    TTransferFunctionAnalysis& tf = *s.TransferFunction;
    tf.Active = true;
    auto tfError = [&](const char* message) { return E{std::string("Error: ") + message + " in Transfer Function"}; };
    EXPECT_EQ(Check(tf), tfError("No SOURCE specified"));
    tf.Source = "V5";
    EXPECT_EQ(Check(tf), tfError("Invalid SOURCE specified"));
    tf.Source = "I1";
    tf.Reference = "nowhere";
    EXPECT_EQ(Check(tf), tfError("Invalid REFRENCE specified"));
    tf.Reference = "in";
    EXPECT_EQ(Check(tf), E{});

    TPoleZeroAnalysis& pz = *s.PoleZero;
    pz.Active = true;
    EXPECT_EQ(Check(pz), E{});
    auto pzError = [&](const char* message) { return E{std::string("Error: ") + message + " in Pole-Zero"}; };
    pz.Node4 = "x";
    EXPECT_EQ(Check(pz), pzError("Invalid Output Reference Node specified"));
    pz.Node3 = "x";
    EXPECT_EQ(Check(pz), pzError("Invalid Output Node specified"));
    pz.Node2 = "x";
    EXPECT_EQ(Check(pz), pzError("Invalid Input Reference Node specified"));
    pz.Node1 = "x";
    EXPECT_EQ(Check(pz), pzError("Invalid Input Node specified"));

    TMonteCarloAnalysis& mc = *s.MonteCarlo;
    mc.Active = true;
    mc.SpecificTolerances = {"R1 DEV=1%", "R9[R] DEV=1%", "q1", "Y2 DEV=5%"};
    EXPECT_EQ(Check(mc), E{"Error: Invalid SPECIFIC TOLERANCE for R9, Y2 in Monte Carlo"});
    EXPECT_EQ(Check(*s.OperatingPoint), E{});

    // Without an error list the error is shown.
    s.ShownErrors.clear();
    EXPECT_FALSE(mc.CheckState_AnalysisSetup(nullptr));
    EXPECT_EQ(s.ShownErrors, E{"Error: Invalid SPECIFIC TOLERANCE for R9, Y2 in Monte Carlo"});
}
