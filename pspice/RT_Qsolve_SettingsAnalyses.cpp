// The ten analyses of the simulation settings: defaults, SPICE text, setup checks, and their fields
// in the parameter list and in the ".cfg" file.
#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <unordered_map>

#include "pspice/RT_Qsolve_Settings.h"
#include "platform/TextCompare.h"

namespace orcadx::pspice {

namespace {

using platform::SameTextNoCase;

constexpr const char* kSetup = "Analyses Setup";

const TFieldVisitor::EnumForm kSweepForm{{"LIN", "OCT", "DEC"}, true, eLinearSweep};
const TFieldVisitor::EnumForm kDistributionForm{{"GAUSS", "WORST", "UNIFORM"}, true, eUniform};
const TFieldVisitor::EnumForm kTfTypeForm{{"VOL", "CUR"}, false, ePzCurrent};
const TFieldVisitor::EnumForm kAnalTypeForm{{"POL", "ZER", "PZ"}, false, ePolesAndZeros};

// The default frequency of transient times when the netlister gave none.
constexpr double kDefaultFrequency = 1000000;

std::string G(double value) { return FormatGeneral(value, 4); }

const char* EnumText(const TFieldVisitor::EnumForm& form, int value) {
    return value >= 0 && value < static_cast<int>(form.texts.size()) ? form.texts[static_cast<size_t>(value)]
                                                                     : form.texts[0];
}

std::string Folded(std::string_view text) {
    std::string s(text);
    for (char& c : s) c = platform::FoldUpper(c);
    return s;
}

// ---- the four stored forms -----------------------------------------------------------------

class TParameterWriter final : public TFieldVisitor {
public:
    explicit TParameterWriter(platform::TParameterList& list) : list_(list) {}
    bool Reading() const override { return false; }
    bool ToFile() const override { return false; }
    void Boolean(const char* param, const char*, const char*, bool& field) override { list_.AddBoolean(param, field); }
    void Integer(const char* param, const char*, const char*, int32_t& field) override { list_.AddInteger(param, field); }
    void Real(const char* param, const char*, const char*, double& field, int) override { list_.Add(param, G(field)); }
    void String(const char* param, const char*, const char*, std::string& field) override { list_.Add(param, field); }
    void Tolerance(const char* param, const char*, const char*, double& field) override {
        list_.Add(param, ToleranceText(field));
    }
    void List(const char* param, const char*, const char*, TStrings& field) override {
        int index = 0;
        for (const std::string& line : field)
            if (!line.empty()) list_.Add(param + std::to_string(index++), line);
    }
    void EnumValue(const char* param, const char*, const char*, int& field, const EnumForm& form) override {
        list_.Add(param, EnumText(form, field));
    }

private:
    platform::TParameterList& list_;
};

class TParameterReader final : public TFieldVisitor {
public:
    explicit TParameterReader(const platform::TParameterList& list) : list_(list) {}
    bool Reading() const override { return true; }
    bool ToFile() const override { return false; }
    void Boolean(const char* param, const char*, const char*, bool& field) override { list_.FindBoolean(param, field); }
    void Integer(const char* param, const char*, const char*, int32_t& field) override {
        std::string text;
        if (list_.Find(param, text)) field = ReadStoredInteger(text, param);
    }
    void Real(const char* param, const char*, const char*, double& field, int) override {
        std::string text;
        if (list_.Find(param, text)) field = ReadStoredReal(text, param);
    }
    void String(const char* param, const char*, const char*, std::string& field) override { list_.Find(param, field); }
    void Tolerance(const char* param, const char*, const char*, double& field) override {
        std::string text;
        if (list_.Find(param, text)) field = ParseTolerance(text);
    }
    void List(const char* param, const char*, const char*, TStrings& field) override {
        field.clear();
        std::string text;
        for (int index = 0; list_.Find(param + std::to_string(index), text); ++index)
            if (!text.empty()) field.push_back(text);
    }
    void EnumValue(const char* param, const char*, const char*, int& field, const EnumForm& form) override {
        std::string text;
        if (!list_.Find(param, text)) return;
        if (form.byFirstLetter) {
            // Told by the first letter; another letter leaves the field as it was.
            if (text.empty()) return;
            for (size_t i = 0; i < form.texts.size(); ++i)
                if (platform::FoldUpper(text[0]) == form.texts[i][0]) field = static_cast<int>(i);
            return;
        }
        field = 0;
        for (size_t i = 0; i < form.texts.size(); ++i)
            if (SameTextNoCase(platform::TrimBlanks(text), form.texts[i])) field = static_cast<int>(i);
    }

private:
    const platform::TParameterList& list_;
};

class TFileWriter final : public TFieldVisitor {
public:
    TFileWriter() : file_(CurrentCfgFile()) {}
    bool Reading() const override { return false; }
    bool ToFile() const override { return true; }
    void Boolean(const char*, const char* section, const char* key, bool& field) override {
        file_.WriteString(section, key, field ? "True" : "False");
    }
    void Integer(const char*, const char* section, const char* key, int32_t& field) override {
        file_.WriteString(section, key, std::to_string(field));
    }
    void Real(const char*, const char* section, const char* key, double& field, int fileDigits) override {
        file_.WriteString(section, key, FormatGeneral(field, fileDigits));
    }
    void String(const char*, const char* section, const char* key, std::string& field) override {
        file_.WriteString(section, key, field);
    }
    void Tolerance(const char*, const char* section, const char* key, double& field) override {
        file_.WriteString(section, key, ToleranceText(field));
    }
    void List(const char*, const char* section, const char* key, TStrings& field) override {
        // The old entries go first, up to the first index without a value.
        for (int index = 0; file_.HasValue(section, key + std::to_string(index)); ++index)
            file_.DeleteKey(section, key + std::to_string(index));
        int index = 0;
        for (const std::string& line : field)
            if (!line.empty()) file_.WriteString(section, key + std::to_string(index++), line);
    }
    void EnumValue(const char*, const char* section, const char* key, int& field, const EnumForm& form) override {
        file_.WriteString(section, key, EnumText(form, field));
    }

private:
    platform::IniFile& file_;
};

// Reads the file; a missing key reads as the field's current value, which the caller has set to
// its default, and so does a number that doesn't parse.
class TFileReader final : public TFieldVisitor {
public:
    TFileReader() : file_(CurrentCfgFile()) {}
    bool Reading() const override { return true; }
    bool ToFile() const override { return true; }
    void Boolean(const char*, const char* section, const char* key, bool& field) override {
        field = Folded(file_.ReadString(section, key, field ? "True" : "False")).find("TRUE") != std::string::npos;
    }
    void Integer(const char*, const char* section, const char* key, int32_t& field) override {
        std::string text = file_.ReadString(section, key, std::to_string(field));
        try {
            field = ReadStoredInteger(text, key);
        } catch (const std::runtime_error&) {
        }
    }
    void Real(const char*, const char* section, const char* key, double& field, int) override {
        std::string text = file_.ReadString(section, key, "");
        double value = 0;
        if (ParseReal(text, DecimalSeparator(), value) || ParseReal(text, ',', value)) field = value;
    }
    void String(const char*, const char* section, const char* key, std::string& field) override {
        field = file_.ReadString(section, key, field);
    }
    void Tolerance(const char*, const char* section, const char* key, double& field) override {
        field = ParseTolerance(file_.ReadString(section, key, ToleranceText(field)));
    }
    void List(const char*, const char* section, const char* key, TStrings& field) override {
        field.clear();
        for (int index = 0;; ++index) {
            std::string text = file_.ReadString(section, key + std::to_string(index), "");
            if (text.empty()) break;
            field.push_back(text);
        }
    }
    void EnumValue(const char*, const char* section, const char* key, int& field, const EnumForm& form) override {
        std::string text = file_.ReadString(section, key, EnumText(form, field));
        field = form.fileFallback;
        for (size_t i = 0; i < form.texts.size(); ++i)
            if (text == form.texts[i]) field = static_cast<int>(i);
    }

private:
    const platform::IniFile& file_;
};

// Names of signals for the Fourier analysis, each with a leading blank, from the last to the first.
void AppendReversed(const TSortedStringList& list, TStrings& names, bool skipZ) {
    for (size_t i = list.Count(); i-- > 0;) {
        const std::string& name = list[i];
        if (skipZ && name.find("[z]") != std::string::npos) continue;
        names.push_back(" " + SignalName(name));
    }
}

// The text of a source, node or sweep variable that may be empty or "0": both mean "none".
bool IsNone(const std::string& node) { return node.empty() || node == "0"; }

const char* DefaultToleranceParameter(char letter) {
    switch (platform::FoldUpper(letter)) {
    case 'Q': return "[BF]";
    case 'M': return "[KP]";
    case 'J': return "[BETA]";
    case 'Z': return "[BETA]";
    case 'A': return "[TP_VAL]";
    default: return "";
    }
}

}  // namespace

// ---- the base -------------------------------------------------------------------------------

void TAnalysis::Export_ToParameters(platform::TParameterList& parameters) {
    TParameterWriter writer(parameters);
    Fields(writer);
}

void TAnalysis::Import_FromParameters(const platform::TParameterList& parameters) {
    TParameterReader reader(parameters);
    Fields(reader);
}

void TAnalysis::Export_ToFile() {
    TFileWriter writer;
    Fields(writer);
}

void TAnalysis::Import_FromFile() {
    TFileReader reader;  // before the defaults, so that a missing file scope changes nothing
    SetState_Default();
    Fields(reader);
}

bool TAnalysis::Fail(TStrings* errors, const std::string& message) {
    Owner->ReportError(errors, message, Title());
    return false;
}

bool TAnalysis::CheckSweep(TStrings* errors, double start, double stop, double step, const char* const rules[4]) {
    if (start == stop) return Fail(errors, rules[0]);
    if (stop > start && !(step > 0)) return Fail(errors, rules[1]);
    if (start > stop && !(step < 0)) return Fail(errors, rules[2]);
    if (std::fabs(step) > std::fabs(stop - start)) return Fail(errors, rules[3]);
    return true;
}

std::string SignalName(const std::string& name) {
    static constexpr const char* kMarks[] = {"[ib]", "[ig]", "[ic]", "[id]", "[ie]", "[is]", "[i]", "[v]", "[p]", "[z]"};
    for (const char* mark : kMarks)
        if (name.find(mark) != std::string::npos) return "@" + name;
    return name;
}

// ---- operating point ------------------------------------------------------------------------

void TOperatingPointAnalysis::SetState_Default() { Active = true; }

void TOperatingPointAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (Active) lines.push_back(".OP");
}

void TOperatingPointAnalysis::Fields(TFieldVisitor& v) { v.Boolean("Op_Analysis", kSetup, "OPAnalysis", Active); }

// ---- transient ------------------------------------------------------------------------------

namespace {
constexpr const char* kTransientSection = "Transient Analysis Setup";
}

void TTransientAnalysis::SetDefaults(double cycleFrequency, double stepFrequency) {
    if (DefaultCycles < 1) DefaultCycles = 5;
    if (DefaultPointsPerCycle < 1) DefaultPointsPerCycle = 50;
    StartTime = 0;
    StopTime = DefaultCycles / cycleFrequency;
    StepTime = 1 / (stepFrequency * DefaultPointsPerCycle);
    MaxStepTime = StepTime;
    FundamentalFrequency = cycleFrequency;
    Harmonics = 10;
}

void TTransientAnalysis::SetState_Default() {
    Active = true;
    AlwaysSetDefaults = true;
    DefaultCycles = 5;
    DefaultPointsPerCycle = 50;
    UseInitialConditions = false;
    FourierAnalysis = false;
    SetDefaults(kDefaultFrequency, kDefaultFrequency);
}

void TTransientAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (!Active) return;
    if (AlwaysSetDefaults) {
        // Frequencies the netlister didn't set give the default times.
        const TNetlistInfo& info = Owner->NetlistInfo;
        SetDefaults(info.CycleFrequency > 0 ? info.CycleFrequency : kDefaultFrequency,
                    info.StepFrequency > 0 ? info.StepFrequency : kDefaultFrequency);
    }
    lines.push_back(".TRAN " + G(StepTime) + " " + G(StopTime) + " " + G(StartTime) + " " + G(MaxStepTime) +
                    (UseInitialConditions ? " UIC" : ""));
    if (!FourierAnalysis) return;
    TStrings names;
    const TNetlistInfo& info = Owner->NetlistInfo;
    switch (Owner->SaveDataFor) {
    case eSaveNodeVoltageSupplyDeviceCurrentSubcktVars:
        names.push_back(" ALL");
        break;
    case eSaveActiveSignals:
        AppendReversed(Owner->ActiveSignals, names, true);
        break;
    default: {
        std::vector<std::string> all = info.VoltageNodes.Items();
        all.insert(all.end(), info.SupplyCurrents.Items().begin(), info.SupplyCurrents.Items().end());
        if (Owner->SaveDataFor == eSaveNodeVoltageSupplyDeviceCurrent ||
            Owner->SaveDataFor == eSaveNodeVoltageSupplyDeviceCurrentPower)
            all.insert(all.end(), info.DeviceCurrents.Items().begin(), info.DeviceCurrents.Items().end());
        if (Owner->SaveDataFor == eSaveNodeVoltageSupplyDeviceCurrentPower)
            all.insert(all.end(), info.Powers.Items().begin(), info.Powers.Items().end());
        TSortedStringList sorted;
        sorted.Assign(std::move(all));
        AppendReversed(sorted, names, false);
        break;
    }
    }
    if (names.empty()) return;
    lines.push_back(".SET NFREQS=" + std::to_string(Harmonics));
    std::string line = ".FOUR " + G(FundamentalFrequency);
    for (const std::string& name : names) {
        if (line.size() >= 80) {
            lines.push_back(line);
            line = "+";
        }
        line += name;
    }
    lines.push_back(line);
}

bool TTransientAnalysis::CheckState_AnalysisSetup(TStrings* errors) {
    if (AlwaysSetDefaults) return true;
    if (Active) {
        if (StartTime < 0) return Fail(errors, "START time must be greater than zero");
        if (!(StartTime < StopTime)) return Fail(errors, "STOP time must be greater than START time");
        if (!(StepTime > 0)) return Fail(errors, "STEP time must be greater than zero");
        if (StepTime > StopTime - StartTime) return Fail(errors, "STEP time is too large");
        if (!(MaxStepTime > 0)) return Fail(errors, "Max STEP time must be greater than zero");
        if (MaxStepTime > StopTime - StartTime) return Fail(errors, "Max STEP time is too large");
        if (FourierAnalysis) {
            if (!(FundamentalFrequency > 0)) return Fail(errors, "Fundamental frequency must be greater than zero");
            if (1 / FundamentalFrequency > StopTime) return Fail(errors, "Fundamental frequency is too low");
            if (Harmonics < 1) return Fail(errors, "Number of harmonics must be one or greater");
        }
    }
    if (DefaultCycles < 1) return Fail(errors, "The default number of cycles must be greater than zero");
    if (DefaultPointsPerCycle < 1)
        return Fail(errors, "The default number of points per cycle must be greater than zero");
    return true;
}

void TTransientAnalysis::Fields(TFieldVisitor& v) {
    const char* s = kTransientSection;
    v.Boolean("TRAN_Analysis", kSetup, "TransientAnalysis", Active);
    v.Boolean("TRAN_AlwaysSetDefaults", kSetup, "AlwaysSetTransientDefaults", AlwaysSetDefaults);
    v.Integer("TRAN_DefaultCycles", s, "DefaultCycles", DefaultCycles);
    v.Integer("TRAN_DefaultPointsPerCycle", s, "DefaultPointsPerCycle", DefaultPointsPerCycle);
    v.Boolean("TRAN_UseInitialConditions", s, "UseInitialConditions", UseInitialConditions);
    v.Boolean("TRAN_FourierAnalysis", s, "FourierAnalysis", FourierAnalysis);
    if (v.Reading() && AlwaysSetDefaults) {
        // Stored times are not read: the defaults stand in their place.
        SetDefaults(kDefaultFrequency, kDefaultFrequency);
        return;
    }
    v.Real("TRAN_StartTime", s, "StartTime", StartTime, 15);
    v.Real("TRAN_StopTime", s, "StopTime", StopTime, 15);
    v.Real("TRAN_StepTime", s, "StepTime", StepTime, 15);
    v.Real("TRAN_MaxStepTime", s, "MaxStepTime", MaxStepTime, 15);
    v.Real("TRAN_FourierFundFreq", s, "FundamentalFrequency", FundamentalFrequency, 15);
    v.Integer("TRAN_FourierNumHarmonics", s, "Harmonics", Harmonics);
}

// ---- AC -------------------------------------------------------------------------------------

void TACAnalysis::SetState_Default() {
    Active = false;
    SweepType = eLinearSweep;
    StartFrequency = 1.0;
    StopFrequency = 1000000.0;
    TestPoints = 100;
}

void TACAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (!Active) return;
    lines.push_back(std::string(".AC ") + SweepTypeText(SweepType) + " " + std::to_string(TestPoints) + " " +
                    G(StartFrequency) + " " + G(StopFrequency));
}

bool TACAnalysis::CheckState_AnalysisSetup(TStrings* errors) {
    if (!Active) return true;
    if (TestPoints < 3) return Fail(errors, "Number of test points must be greater than two");
    if (!(StartFrequency > 0)) return Fail(errors, "Start frequency must be greater than zero");
    if (!(StartFrequency < StopFrequency)) return Fail(errors, "Stop frequency must be greater than start frequency");
    return true;
}

void TACAnalysis::Fields(TFieldVisitor& v) {
    const char* s = "AC Analysis Setup";
    v.Boolean("AC_Analysis", kSetup, "ACAnalysis", Active);
    v.Enum("AC_SweepType", s, "SweepType", SweepType, kSweepForm);
    v.Real("AC_StartFrequency", s, "StartFrequency", StartFrequency);
    v.Real("AC_StopFrequency", s, "StopFrequency", StopFrequency);
    v.Integer("AC_TestPoints", s, "TestPoints", TestPoints);
}

// ---- noise ----------------------------------------------------------------------------------

void TNoiseAnalysis::SetState_Default() {
    Active = false;
    Source.clear();
    Output.clear();
    Reference = "0";
    Start = 0;
    Stop = 0;
    TestPoints = 0;
    PointsPerSummary = 0;
    SweepType = eLinearSweep;
}

void TNoiseAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (!Active) return;
    std::string line = ".NOISE V(" + Output + (IsNone(Reference) ? "" : "," + Reference) + ") " + Source + " " +
                       SweepTypeText(SweepType) + " " + std::to_string(TestPoints) + " " + G(Start) + " " + G(Stop);
    if (PointsPerSummary > 0) line += " " + std::to_string(PointsPerSummary);
    lines.push_back(line);
}

bool TNoiseAnalysis::CheckState_AnalysisSetup(TStrings* errors) {
    if (!Active) return true;
    if (Source.empty()) return Fail(errors, "No SOURCE specified");
    if (!Owner->NetlistInfo.SourceExists(Source)) return Fail(errors, "Invalid SOURCE specified");
    if (Output.empty()) return Fail(errors, "No OUTPUT specified");
    if (SameTextNoCase(Output, Reference)) return Fail(errors, "OUTPUT And REFERENCE nodes must be different");
    if (TestPoints < 3) return Fail(errors, "Number of test points must be greater than two");
    if (!(Start > 0)) return Fail(errors, "START frequency must be greater than zero");
    if (!(Start < Stop)) return Fail(errors, "STOP frequency must be greater than start frequency");
    if (PointsPerSummary < 0) return Fail(errors, "Number of points per summary must be zero or greater");
    return true;
}

void TNoiseAnalysis::Fields(TFieldVisitor& v) {
    // Written with the prefix "Noise_" and read with "NOISE_": the lookup ignores case.
    const char* s = "Noise Setup";
    v.Boolean("Noise_Analysis", kSetup, "NoiseAnalysis", Active);
    v.String("Noise_Source", s, "Source", Source);
    v.String("Noise_Output", s, "Output", Output);
    v.String("Noise_Reference", s, "Reference", Reference);
    v.Real("Noise_Start", s, "Start", Start);
    v.Real("Noise_Stop", s, "Stop", Stop);
    v.Integer("Noise_TestPoints", s, "TestPoints", TestPoints);
    v.Integer("Noise_PointsPerSummary", s, "PointsPerSummary", PointsPerSummary);
    v.Enum("Noise_SweepType", s, "SweepType", SweepType, kSweepForm);
}

// ---- parameter sweep ------------------------------------------------------------------------

void TParameterSweepAnalysis::SetState_Default() {
    Active = false;
    Parameter1.clear();
    Start1 = Stop1 = Step1 = 0;
    SweepType1 = false;
    SecondaryEnabled = false;
    Parameter2.clear();
    Start2 = Stop2 = Step2 = 0;
    SweepType2 = false;
}

// A name "designator[parameter]" is tested by its designator: when the designator alone has no
// parameters, the bracket holds "Position" and designator + "A" has parameters, the name stands for
// designator + "A". A name without a bracket stays as it is.
std::string TParameterSweepAnalysis::ResolveName(const std::string& name) const {
    size_t open = name.find('[');
    if (open == std::string::npos) return name;
    std::string designator = name.substr(0, open);
    size_t close = name.find(']', open);
    std::string bracket = name.substr(open + 1, close == std::string::npos ? std::string::npos : close - open - 1);
    const TSortedStringList& known = Owner->NetlistInfo.DesignatorParameters;
    if (!known.Contains(designator) && SameTextNoCase(bracket, "Position") && known.Contains(designator + "A"))
        return designator + "A";
    return designator;
}

bool TParameterSweepAnalysis::ValidVariable(const std::string& name) const {
    if (name.empty()) return false;
    if (Owner->NetlistInfo.DesignatorParameters.Contains(ResolveName(name))) return true;
    return Owner->GlobalParameters.GetParameterByName(name) != nullptr || Owner->NetlistInfo.Parameters.Contains(name);
}

void TParameterSweepAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (!Active) return;
    std::string line = "SWEEP " + Parameter1 + (SweepType1 ? " relative" : "") + " " + G(Start1) + " " + G(Stop1) +
                       " " + G(Step1);
    if (SecondaryEnabled && !Parameter2.empty())
        line += " " + Parameter2 + (SweepType2 ? " relative" : "") + " " + G(Start2) + " " + G(Stop2) + " " + G(Step2);
    lines.push_back(line);
}

bool TParameterSweepAnalysis::CheckState_AnalysisSetup(TStrings* errors) {
    static constexpr const char* kPrimary[4] = {
        "The primary START And STOP values must be different", "The primary STEP value must be greater than zero",
        "The primary STEP value must be less than zero", "The primary STEP value is too large"};
    static constexpr const char* kSecondary[4] = {
        "The secondary START And STOP values must be different", "The secondary STEP value must be greater than zero",
        "The secondary STEP value must be less than zero", "The secondary STEP value is too large"};
    if (!Active) return true;
    if (!ValidVariable(Parameter1)) return Fail(errors, "Invalid or missing PRIMARY sweep variable");
    if (!CheckSweep(errors, Start1, Stop1, Step1, kPrimary)) return false;
    if (SecondaryEnabled) {
        if (!ValidVariable(Parameter2)) return Fail(errors, "Invalid or missing SECONDARY variable");
        if (SameTextNoCase(Parameter1, Parameter2))
            return Fail(errors, "PRIMARY And SECONDARY sweep variables must be different");
        if (!CheckSweep(errors, Start2, Stop2, Step2, kSecondary)) return false;
    }
    return true;
}

void TParameterSweepAnalysis::Fields(TFieldVisitor& v) {
    const char* s = "Parameter Sweep Setup";
    v.Boolean("ParamSweep_Analysis", kSetup, "ParamSweep", Active);
    v.String("ParamSweep_Parameter1", s, "Parameter1", Parameter1);
    v.Real("ParamSweep_Start1", s, "Start1", Start1);
    v.Real("ParamSweep_Stop1", s, "Stop1", Stop1);
    v.Real("ParamSweep_Step1", s, "Step1", Step1);
    v.Boolean("ParamSweep_SweepType1", s, "SweepType1", SweepType1);
    v.Boolean("ParamSweep_SecondaryEnabled", s, "SecondaryEnabled", SecondaryEnabled);
    v.String("ParamSweep_Parameter2", s, "Parameter2", Parameter2);
    v.Real("ParamSweep_Start2", s, "Start2", Start2);
    v.Real("ParamSweep_Stop2", s, "Stop2", Stop2);
    v.Real("ParamSweep_Step2", s, "Step2", Step2);
    v.Boolean("ParamSweep_SweepType2", s, "SweepType2", SweepType2);
}

// ---- DC sweep -------------------------------------------------------------------------------

void TDCSweepAnalysis::SetState_Default() {
    Active = false;
    PrimarySource.clear();
    PrimaryStart = PrimaryStop = PrimaryStep = 0;
    EnableSecondary = false;
    SecondarySource.clear();
    SecondaryStart = SecondaryStop = SecondaryStep = 0;
}

bool TDCSweepAnalysis::ValidSource(const std::string& name) const {
    return SameTextNoCase(name, "Option[TEMP]") || Owner->NetlistInfo.SourceExists(name);
}

void TDCSweepAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (!Active) return;
    std::string line = ".DC " + PrimarySource + " " + G(PrimaryStart) + " " + G(PrimaryStop) + " " + G(PrimaryStep);
    if (EnableSecondary)
        line += " " + SecondarySource + " " + G(SecondaryStart) + " " + G(SecondaryStop) + " " + G(SecondaryStep);
    lines.push_back(line);
}

bool TDCSweepAnalysis::CheckState_AnalysisSetup(TStrings* errors) {
    static constexpr const char* kPrimary[4] = {
        "The PRIMARY START And STOP values must be different", "The PRIMARY STEP value must be greater than zero",
        "The PRIMARY STEP value must be less than zero", "The PRIMARY STEP value is too large"};
    static constexpr const char* kSecondary[4] = {
        "The SECONDARY START And STOP values must be different", "The SECONDARY STEP value must be greater than zero",
        "The SECONDARY STEP value must be less than zero", "The SECONDARY STEP value is too large"};
    if (!Active) return true;
    if (PrimarySource.empty()) return Fail(errors, "No PRIMARY SOURCE specified");
    if (!ValidSource(PrimarySource)) return Fail(errors, "Invalid PRIMARY SOURCE specified");
    if (!CheckSweep(errors, PrimaryStart, PrimaryStop, PrimaryStep, kPrimary)) return false;
    if (EnableSecondary) {
        if (SecondarySource.empty()) return Fail(errors, "No SECONDARY SOURCE specified");
        if (SameTextNoCase(SecondarySource, PrimarySource))
            return Fail(errors, "The SECONDARY And PRIMARY SOURCES must be different");
        if (!ValidSource(SecondarySource)) return Fail(errors, "Invalid SECONDARY SOURCE");
        if (!CheckSweep(errors, SecondaryStart, SecondaryStop, SecondaryStep, kSecondary)) return false;
    }
    return true;
}

void TDCSweepAnalysis::Fields(TFieldVisitor& v) {
    const char* s = "DC Analysis Setup";
    v.Boolean("DC_Analysis", kSetup, "DCAnalysis", Active);
    v.String("DC_PrimarySource", s, "PrimarySource", PrimarySource);
    v.Real("DC_PrimaryStart", s, "PrimaryStart", PrimaryStart);
    v.Real("DC_PrimaryStop", s, "PrimaryStop", PrimaryStop);
    v.Real("DC_PrimaryStep", s, "PrimaryStep", PrimaryStep);
    v.Boolean("DC_EnableSecondary", s, "EnableSecondary", EnableSecondary);
    // The file holds the secondary sweep only while it is on; the parameters always hold it.
    if (v.ToFile() && !v.Reading() && !EnableSecondary) return;
    v.String("DC_SecondarySource", s, "SecondarySource", SecondarySource);
    v.Real("DC_SecondaryStart", s, "SecondaryStart", SecondaryStart);
    v.Real("DC_SecondaryStop", s, "SecondaryStop", SecondaryStop);
    v.Real("DC_SecondaryStep", s, "SecondaryStep", SecondaryStep);
}

// ---- temperature sweep ----------------------------------------------------------------------

void TTemperatureSweepAnalysis::SetState_Default() {
    Active = false;
    Start = Stop = Step = 0;
}

void TTemperatureSweepAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (Active) lines.push_back("SWEEP OPTION[TEMP] " + G(Start) + " " + G(Stop) + " " + G(Step));
}

bool TTemperatureSweepAnalysis::CheckState_AnalysisSetup(TStrings* errors) {
    static constexpr const char* kRules[4] = {"START And STOP values must be different",
                                              "STEP value must be greater than zero",
                                              "STEP value must be less than zero", "STEP value is too large"};
    return !Active || CheckSweep(errors, Start, Stop, Step, kRules);
}

void TTemperatureSweepAnalysis::Fields(TFieldVisitor& v) {
    const char* s = "Temperature Sweep Setup";
    v.Boolean("TempSweep_Analysis", kSetup, "TempSweep", Active);
    v.Real("TempSweep_Start", s, "Start", Start);
    v.Real("TempSweep_Stop", s, "Stop", Stop);
    v.Real("TempSweep_Step", s, "Step", Step);
}

// ---- transfer function ----------------------------------------------------------------------

void TTransferFunctionAnalysis::SetState_Default() {
    Active = false;
    Source.clear();
    Reference = "0";
}

void TTransferFunctionAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (!Active) return;
    for (const std::string& node : Owner->NetlistInfo.VoltageNodes.Items()) {
        if (SameTextNoCase(node, Reference)) continue;
        lines.push_back(".TF V(" + node + (IsNone(Reference) ? "" : "," + Reference) + ") " + Source);
    }
}

bool TTransferFunctionAnalysis::CheckState_AnalysisSetup(TStrings* errors) {
    if (!Active) return true;
    if (Source.empty()) return Fail(errors, "No SOURCE specified");
    if (!Owner->NetlistInfo.SourceExists(Source)) return Fail(errors, "Invalid SOURCE specified");
    if (!IsNone(Reference) && !Owner->NetlistInfo.VoltageNodeExists(Reference))
        return Fail(errors, "Invalid REFRENCE specified");
    return true;
}

void TTransferFunctionAnalysis::Fields(TFieldVisitor& v) {
    const char* s = "Transfer Function Setup";
    v.Boolean("TF_Analysis", kSetup, "TransferFunction", Active);
    v.String("TF_Source", s, "Source", Source);
    v.String("TF_Reference", s, "Reference", Reference);
}

// ---- pole-zero ------------------------------------------------------------------------------

void TPoleZeroAnalysis::SetState_Default() {
    Active = false;
    Node1.clear();
    Node2 = "0";
    Node3.clear();
    Node4 = "0";
    TfType = ePzVoltage;
    AnalType = ePolesAndZeros;
}

void TPoleZeroAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (!Active) return;
    lines.push_back(".PZ " + Node1 + " " + Node2 + " " + Node3 + " " + Node4 + " " + PzTransferFunctionTypeText(TfType) +
                    " " + PzAnalysisTypeText(AnalType));
}

bool TPoleZeroAnalysis::CheckState_AnalysisSetup(TStrings* errors) {
    if (!Active) return true;
    const std::pair<const std::string*, const char*> kNodes[] = {
        {&Node1, "Invalid Input Node specified"},
        {&Node2, "Invalid Input Reference Node specified"},
        {&Node3, "Invalid Output Node specified"},
        {&Node4, "Invalid Output Reference Node specified"}};
    for (const auto& [node, message] : kNodes)
        if (!IsNone(*node) && !Owner->NetlistInfo.VoltageNodeExists(*node)) return Fail(errors, message);
    return true;
}

void TPoleZeroAnalysis::Fields(TFieldVisitor& v) {
    const char* s = "Pole Zero Setup";
    v.Boolean("PZ_Analysis", kSetup, "PoleZero", Active);
    v.String("PZ_Node1", s, "Node1", Node1);
    v.String("PZ_Node2", s, "Node2", Node2);
    v.String("PZ_Node3", s, "Node3", Node3);
    v.String("PZ_Node4", s, "Node4", Node4);
    v.Enum("PZ_TfType", s, "TfType", TfType, kTfTypeForm);
    v.Enum("PZ_AnalType", s, "AnalType", AnalType, kAnalTypeForm);
}

// ---- Monte Carlo ----------------------------------------------------------------------------

void TMonteCarloAnalysis::SetState_Default() {
    Active = false;
    Seed = -1;
    DistributionType = eUniform;
    NumberOfRuns = 5;
    ResistorTolerance = InductorTolerance = TransistorTolerance = CapacitorTolerance = DCSourceTolerance =
        DigitalTpTolerance = 0.1;
}

std::string TMonteCarloAnalysis::ToleranceFor(char letter) const {
    switch (platform::FoldUpper(letter)) {
    case 'Q':
    case 'M':
    case 'J': return ToleranceText(TransistorTolerance);
    case 'A': return ToleranceText(DigitalTpTolerance);
    case 'R': return ToleranceText(ResistorTolerance);
    case 'L': return ToleranceText(InductorTolerance);
    case 'C': return ToleranceText(CapacitorTolerance);
    case 'V':
    case 'I': return ToleranceText(DCSourceTolerance);
    default: return "";
    }
}

void TMonteCarloAnalysis::GetState_NetlistStrings(TStrings& lines) {
    if (!Active) return;
    // The devices that get the default tolerance of their kind, in the order of the designators,
    // found by name without regard to case.
    std::vector<std::string> work;
    std::vector<bool> removed;
    std::unordered_map<std::string, size_t> index;
    for (const std::string& designator : Owner->NetlistInfo.DesignatorParameters.Items()) {
        if (designator.empty()) continue;
        std::string entry = designator + DefaultToleranceParameter(designator[0]);
        if (index.emplace(Folded(entry), work.size()).second) {
            work.push_back(entry);
            removed.push_back(false);
        }
    }
    for (std::string t : SpecificTolerances) {
        if (t.empty()) continue;
        if (t.find('[') == std::string::npos) {
            size_t blank = t.find(' ');
            t.insert(blank == std::string::npos ? t.size() : blank, DefaultToleranceParameter(t[0]));
        }
        size_t blank = t.find(' ');
        if (blank != std::string::npos) {
            size_t next = t.find_first_not_of(' ', blank);
            t = t.substr(0, blank) + (next == std::string::npos ? "" : " " + t.substr(next));
        }
        auto it = index.find(Folded(t.substr(0, blank)));
        if (it != index.end()) removed[it->second] = true;
        lines.push_back("TOL " + t);
    }
    static constexpr const char* kDistribution[] = {"Gauss", "Worst", "Uniform"};
    for (size_t i = 0; i < work.size(); ++i) {
        if (removed[i]) continue;
        std::string tolerance = ToleranceFor(work[i][0]);
        if (!tolerance.empty())
            lines.push_back("TOL " + work[i] + " DEV=" + tolerance + " " + kDistribution[DistributionType]);
    }
    lines.push_back("MC " + std::to_string(NumberOfRuns) + " SEED=" + std::to_string(Seed));
}

bool TMonteCarloAnalysis::CheckState_AnalysisSetup(TStrings* errors) {
    if (!Active) return true;
    std::string unknown;
    for (const std::string& line : SpecificTolerances) {
        std::string word = line.substr(0, line.find(' '));
        word = word.substr(0, word.find('['));
        if (word.empty() || Owner->NetlistInfo.DesignatorParameters.Contains(word)) continue;
        unknown += (unknown.empty() ? "" : ", ") + word;
    }
    if (!unknown.empty()) return Fail(errors, "Invalid SPECIFIC TOLERANCE for " + unknown);
    return true;
}

void TMonteCarloAnalysis::Fields(TFieldVisitor& v) {
    const char* s = "Monte Carlo Setup";
    v.Boolean("MonteCarlo_Analysis", kSetup, "MonteCarlo", Active);
    v.Integer("MonteCarlo_Seed", s, "Seed", Seed);
    v.Enum("MonteCarlo_DistributionType", s, "DistributionType", DistributionType, kDistributionForm);
    v.Integer("MonteCarlo_NumberOfRuns", s, "NumberOfRuns", NumberOfRuns);
    v.Tolerance("MonteCarlo_ResistorTolerance", s, "ResistorTolerance", ResistorTolerance);
    v.Tolerance("MonteCarlo_InductorTolerance", s, "InductorTolerance", InductorTolerance);
    v.Tolerance("MonteCarlo_TransistorTolerance", s, "TransistorTolerance", TransistorTolerance);
    v.Tolerance("MonteCarlo_CapacitorTolerance", s, "CapacitorTolerance", CapacitorTolerance);
    v.Tolerance("MonteCarlo_DCSourceTolerance", s, "DCSourceTolerance", DCSourceTolerance);
    v.Tolerance("MonteCarlo_DigitalTpTolerance", s, "DigitalTpTolerance", DigitalTpTolerance);
    v.List("MonteCarlo_SpecificTol", s, "SpecificTol", SpecificTolerances);
}

// ---- text forms -----------------------------------------------------------------------------

const char* SweepTypeText(TSweepType value) { return EnumText(kSweepForm, value); }
const char* DistributionTypeText(TDistributionType value) { return EnumText(kDistributionForm, value); }
const char* PzTransferFunctionTypeText(TPzTransferFunctionType value) { return EnumText(kTfTypeForm, value); }
const char* PzAnalysisTypeText(TPzAnalysisType value) { return EnumText(kAnalTypeForm, value); }

}  // namespace orcadx::pspice
