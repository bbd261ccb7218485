// The simulation settings of the host's mixed-signal simulator: the ten analyses, the SPICE option
// table, the global parameters, the signals to keep and what the netlister tells about the circuit.
// A set of settings is stored as a parameter string in the host project, and reads the legacy
// ".cfg" file that older projects kept beside them. Nothing here needs a user interface.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/ClientInterfaces.h"
#include "platform/IniFile.h"
#include "platform/Parameters.h"

namespace orcadx::pspice {

using TStrings = std::vector<std::string>;

// ---------------------------------------------------------------------------------------------
// Number text

// The module's decimal separator of number text, a period unless a scope changes it.
char DecimalSeparator();
// Sets the decimal separator for its lifetime and puts the former one back at its end.
class TDecimalSeparatorScope {
public:
    explicit TDecimalSeparatorScope(char separator);
    ~TDecimalSeparatorScope();
    TDecimalSeparatorScope(const TDecimalSeparatorScope&) = delete;
    TDecimalSeparatorScope& operator=(const TDecimalSeparatorScope&) = delete;

private:
    char saved_;
};

// General format with `digits` significant digits: plain form, or exponent form ("5E-6", "1E21")
// when the value needs more than `digits` places before the separator or lies below 1E-4; trailing
// zeros dropped; the module's decimal separator.
std::string FormatGeneral(double value, int digits);
// Fixed format with `decimals` decimals and `separator`.
std::string FormatFixed(double value, int decimals, char separator = '.');

// A whole text as a plain number with `separator` as decimal separator, blanks around it allowed;
// false when it is no number or not finite.
bool ParseReal(std::string_view text, char separator, double& value);
// A stored real: parsed with the module's separator, then once more with a comma; raises
// std::runtime_error naming `key` when neither works.
double ReadStoredReal(std::string_view text, std::string_view key);
// A stored integer in decimal (32-bit, blanks around it allowed); raises std::runtime_error
// naming `key` when the text is none.
int32_t ReadStoredInteger(std::string_view text, std::string_view key);

// The engineering text of a number: three significant digits or more with a suffix ("1.000p",
// "4.700k", "10.00meg").
std::string EngText(double value);
// An engineering value: the longest numeric prefix scaled by the suffix letter behind it
// (T G MEG K M U N P F, any case; any other letter scales by 1). With `commaStep`, a comma where
// the number stops is taken as a decimal period. An empty text or one without digits gives 0.
double ParseEng(std::string_view text, bool commaStep = true);
// The leading integer of a text (blanks before it allowed), 0 when there is none; values beyond
// the 32-bit range stop at its ends.
int32_t LeadingInteger(std::string_view text);

// A tolerance as stored: the fraction times 100 with 15 significant digits and "%"; a negative
// tolerance is stored as the empty text.
std::string ToleranceText(double fraction);
// The leading number of the text, without its sign, divided by 100; 0 without a number.
double ParseTolerance(std::string_view text);

// ---------------------------------------------------------------------------------------------
// Enumerations

enum TAnalysisType {
    atNone,
    atOP,
    atTransient,
    atAC,
    atNoise,
    atParamSweep,
    atDCSweep,
    atTempSweep,
    atTransferFunc,
    atPoleZero,
    atMonteCarlo
};
enum TSweepType { eLinearSweep, eOctaveSweep, eDecadeSweep };
enum TDistributionType { eGaussian, eWorstCase, eUniform };
enum TPzTransferFunctionType { ePzVoltage, ePzCurrent };
enum TPzAnalysisType { ePolesOnly, eZerosOnly, ePolesAndZeros };
enum TIntegrationMethod { eTrapezoidal, eGear2, eGear3, eGear4, eGear5, eGear6 };
enum TSaveDataFor {
    eSaveNodeVoltageSupplyCurrent,
    eSaveNodeVoltageSupplyDeviceCurrent,
    eSaveNodeVoltageSupplyDeviceCurrentPower,
    eSaveNodeVoltageSupplyDeviceCurrentSubcktVars,
    eSaveActiveSignals
};
enum TSheetsToNetlist { eActiveSheet, eActiveProject };
enum TNetlistType { eNetlist_Flattened, eNetlist_Hierarchical };
enum TSpiceOptionDataType {
    eOption_Eng,
    eOption_PositiveEng,
    eOption_PositiveEng_ZeroIsNone,
    eOption_PositiveEng_ZeroIsAuto,
    eOption_PositiveEng_ZeroIsOff,
    eOption_PositiveInt,
    eOption_TempDegreesC,
    eOption_YesNo,
    eOption_ZeroIsNo_OneIsYes,
    eOption_Eng_ZeroToOne,
    eOption_ZeroIsNone_0123_NoneMinTypMax,
    eOption_minus101_NoneNoYes
};

// Text forms: "LIN" "OCT" "DEC", "GAUSS" "WORST" "UNIFORM", "VOL" "CUR", "POL" "ZER" "PZ".
const char* SweepTypeText(TSweepType value);
const char* DistributionTypeText(TDistributionType value);
const char* PzTransferFunctionTypeText(TPzTransferFunctionType value);
const char* PzAnalysisTypeText(TPzAnalysisType value);

// ---------------------------------------------------------------------------------------------
// Lists

// A string list kept sorted without regard to ASCII case, holding each text once, searched by
// halving.
class TSortedStringList {
public:
    // False when the text was there already.
    bool Add(const std::string& text);
    // Replaces the items; sorts once.
    void Assign(std::vector<std::string> items);
    bool Contains(std::string_view text) const;
    bool Remove(std::string_view text);
    void Clear() { items_.clear(); }
    size_t Count() const { return items_.size(); }
    bool Empty() const { return items_.empty(); }
    const std::string& operator[](size_t index) const { return items_[index]; }
    const std::vector<std::string>& Items() const { return items_; }

private:
    std::vector<std::string> items_;
};

// What the netlister reports about the circuit.
struct TNetlistInfo {
    double CycleFrequency = -1.0;  // lowest frequency of interest; -1 when unset
    double StepFrequency = -1.0;   // highest frequency of interest; -1 when unset
    int32_t ACSourceCount = 0;
    TSortedStringList Sources;
    TSortedStringList DesignatorParameters;
    TSortedStringList Parameters;
    TSortedStringList VoltageNodes;
    TSortedStringList SupplyCurrents;
    TSortedStringList DeviceCurrents;
    TSortedStringList SubcktVars;
    TSortedStringList Powers;

    void Clear();
    bool SourceExists(std::string_view name) const { return Sources.Contains(name); }
    bool VoltageNodeExists(std::string_view name) const { return VoltageNodes.Contains(name); }
};

struct TGlobalParameter {
    std::string Name;
    std::string Value;
};

class TGlobalParameterList {
public:
    // Appends, without any test for doubles.
    void AddParameter(const std::string& name, const std::string& value);
    size_t Count() const { return items_.size(); }
    bool Empty() const { return items_.empty(); }
    const TGlobalParameter& GetParameter(size_t index) const { return items_[index]; }
    void SetParameter(size_t index, const TGlobalParameter& parameter) { items_[index] = parameter; }
    // The last parameter of the name (without regard to ASCII case), or null.
    const TGlobalParameter* GetParameterByName(std::string_view name) const;
    void Clear() { items_.clear(); }
    // Clears `other` and appends copies of these.
    void CopyTo(TGlobalParameterList& other) const;

    // ".PARAM name=value" for each.
    void GetState_NetlistStrings(TStrings& lines) const;
    // "ParamName" + i and "ParamValue" + i, from 0.
    void Export_ToParameters(platform::TParameterList& parameters) const;
    // Clears, then reads pairs from index 0 until the first missing "ParamName" + i.
    void Import_FromParameters(const platform::TParameterList& parameters);

private:
    std::vector<TGlobalParameter> items_;
};

// ---------------------------------------------------------------------------------------------
// The ".cfg" file

// Makes `file` the settings file that the analyses' and options' Export_ToFile and Import_FromFile
// use, and puts the former one back at its end. The file is module-wide state: no two threads may
// use it at once.
class TCfgFileScope {
public:
    explicit TCfgFileScope(platform::IniFile& file);
    ~TCfgFileScope();
    TCfgFileScope(const TCfgFileScope&) = delete;
    TCfgFileScope& operator=(const TCfgFileScope&) = delete;

private:
    platform::IniFile* saved_;
};

// The settings file of the current scope; raises std::runtime_error outside any scope.
platform::IniFile& CurrentCfgFile();

// Visits the stored fields of an analysis, one call per field in the order of its table, for the
// four stored forms: parameters and file, each read and written. A field is named by its key in the
// parameter list, its section in the file and its key there.
class TFieldVisitor {
public:
    struct EnumForm {
        std::vector<const char*> texts;  // by value
        bool byFirstLetter;              // parameter text read by its first letter, else whole
        int fileFallback;                // file text that matches no text exactly (case-sensitive)
    };

    virtual ~TFieldVisitor() = default;
    virtual bool Reading() const = 0;
    virtual bool ToFile() const = 0;
    virtual void Boolean(const char* param, const char* section, const char* key, bool& field) = 0;
    virtual void Integer(const char* param, const char* section, const char* key, int32_t& field) = 0;
    // `fileDigits`: significant digits of the value when written to the file.
    virtual void Real(const char* param, const char* section, const char* key, double& field,
                      int fileDigits = 4) = 0;
    virtual void String(const char* param, const char* section, const char* key, std::string& field) = 0;
    virtual void Tolerance(const char* param, const char* section, const char* key, double& field) = 0;
    // A list stored under the key + index, from 0; empty lines are not stored.
    virtual void List(const char* param, const char* section, const char* key, TStrings& field) = 0;
    virtual void EnumValue(const char* param, const char* section, const char* key, int& field,
                           const EnumForm& form) = 0;

    template <class E>
    void Enum(const char* param, const char* section, const char* key, E& field, const EnumForm& form) {
        int value = static_cast<int>(field);
        EnumValue(param, section, key, value, form);
        field = static_cast<E>(value);
    }
};

// ---------------------------------------------------------------------------------------------
// Analyses

class TBaseQsolveNetlistSettings;

class TAnalysis {
public:
    TAnalysis(TBaseQsolveNetlistSettings* owner, TAnalysisType type) : Owner(owner), AnalysisType(type) {}
    virtual ~TAnalysis() = default;
    TAnalysis(const TAnalysis&) = delete;
    TAnalysis& operator=(const TAnalysis&) = delete;

    TBaseQsolveNetlistSettings* Owner;  // not owned
    bool Active = false;
    const TAnalysisType AnalysisType;

    virtual void SetState_Default() = 0;
    // Appends the SPICE lines when Active, else nothing.
    virtual void GetState_NetlistStrings(TStrings& lines) = 0;
    // True when not Active or all tests pass; the first failing test is reported through Owner.
    virtual bool CheckState_AnalysisSetup(TStrings* errors) = 0;
    virtual void Export_ToParameters(platform::TParameterList& parameters);
    // Changes only the fields whose key is present.
    virtual void Import_FromParameters(const platform::TParameterList& parameters);
    // Writes to / reads from the settings file of the current TCfgFileScope. A key that is missing
    // from the file reads as the field's default.
    virtual void Export_ToFile();
    virtual void Import_FromFile();
    // The display name.
    virtual std::string Name() const = 0;
    // The title that setup errors name; empty for none.
    virtual std::string Title() const = 0;
    // Visits the stored fields.
    virtual void Fields(TFieldVisitor& visitor) = 0;

protected:
    // Reports "Error: " + message + " in " + Title() through Owner; gives false.
    bool Fail(TStrings* errors, const std::string& message);
    // The four step rules of a sweep; `rules` holds the four messages (different, greater, less,
    // too large). False after reporting the first that fails.
    bool CheckSweep(TStrings* errors, double start, double stop, double step, const char* const rules[4]);
};

class TOperatingPointAnalysis final : public TAnalysis {
public:
    explicit TOperatingPointAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atOP) {}
    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings*) override { return true; }
    std::string Name() const override { return "Operating Point Analysis"; }
    std::string Title() const override { return ""; }
    void Fields(TFieldVisitor& visitor) override;
};

class TTransientAnalysis final : public TAnalysis {
public:
    explicit TTransientAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atTransient) {}
    bool AlwaysSetDefaults = true;
    int32_t DefaultCycles = 0;
    int32_t DefaultPointsPerCycle = 0;
    double StartTime = 0, StopTime = 0, StepTime = 0, MaxStepTime = 0;
    bool UseInitialConditions = false;
    bool FourierAnalysis = false;
    double FundamentalFrequency = 0;
    int32_t Harmonics = 0;

    // Sets the times from two frequencies (see the .cpp).
    void SetDefaults(double cycleFrequency, double stepFrequency);
    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings* errors) override;
    std::string Name() const override { return "Transient Analysis"; }
    std::string Title() const override { return "Transient/Fourier"; }
    void Fields(TFieldVisitor& visitor) override;
};

class TACAnalysis final : public TAnalysis {
public:
    explicit TACAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atAC) {}
    TSweepType SweepType = eLinearSweep;
    double StartFrequency = 0, StopFrequency = 0;
    int32_t TestPoints = 0;

    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings* errors) override;
    std::string Name() const override { return "AC Small Signal Analysis"; }
    std::string Title() const override { return "AC Small Signal"; }
    void Fields(TFieldVisitor& visitor) override;
};

class TNoiseAnalysis final : public TAnalysis {
public:
    explicit TNoiseAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atNoise) {}
    std::string Source, Output, Reference;
    double Start = 0, Stop = 0;
    int32_t TestPoints = 0;
    int32_t PointsPerSummary = 0;
    TSweepType SweepType = eLinearSweep;

    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings* errors) override;
    std::string Name() const override { return "Noise Analysis"; }
    std::string Title() const override { return "Noise"; }
    void Fields(TFieldVisitor& visitor) override;
};

class TParameterSweepAnalysis final : public TAnalysis {
public:
    explicit TParameterSweepAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atParamSweep) {}
    std::string Parameter1;
    double Start1 = 0, Stop1 = 0, Step1 = 0;
    bool SweepType1 = false;  // relative
    bool SecondaryEnabled = false;
    std::string Parameter2;
    double Start2 = 0, Stop2 = 0, Step2 = 0;
    bool SweepType2 = false;  // relative

    // The designator that a sweep variable "designator[parameter]" names (see the .cpp).
    std::string ResolveName(const std::string& name) const;
    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings* errors) override;
    std::string Name() const override { return "Parameter Sweep"; }
    std::string Title() const override { return "Parameter Sweep"; }
    void Fields(TFieldVisitor& visitor) override;

private:
    bool ValidVariable(const std::string& name) const;
};

class TDCSweepAnalysis final : public TAnalysis {
public:
    explicit TDCSweepAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atDCSweep) {}
    std::string PrimarySource;
    double PrimaryStart = 0, PrimaryStop = 0, PrimaryStep = 0;
    bool EnableSecondary = false;
    std::string SecondarySource;
    double SecondaryStart = 0, SecondaryStop = 0, SecondaryStep = 0;

    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings* errors) override;
    std::string Name() const override { return "DC Sweep Analysis"; }
    std::string Title() const override { return "DC Transfer"; }
    void Fields(TFieldVisitor& visitor) override;

private:
    bool ValidSource(const std::string& name) const;
};

class TTemperatureSweepAnalysis final : public TAnalysis {
public:
    explicit TTemperatureSweepAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atTempSweep) {}
    double Start = 0, Stop = 0, Step = 0;

    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings* errors) override;
    std::string Name() const override { return "Temperature Sweep"; }
    std::string Title() const override { return "Temperature Sweep"; }
    void Fields(TFieldVisitor& visitor) override;
};

class TTransferFunctionAnalysis final : public TAnalysis {
public:
    explicit TTransferFunctionAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atTransferFunc) {}
    std::string Source, Reference;

    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings* errors) override;
    std::string Name() const override { return "Transfer Function Analysis"; }
    std::string Title() const override { return "Transfer Function"; }
    void Fields(TFieldVisitor& visitor) override;
};

class TPoleZeroAnalysis final : public TAnalysis {
public:
    explicit TPoleZeroAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atPoleZero) {}
    std::string Node1, Node2, Node3, Node4;  // input, input reference, output, output reference
    TPzTransferFunctionType TfType = ePzVoltage;
    TPzAnalysisType AnalType = ePolesAndZeros;

    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings* errors) override;
    std::string Name() const override { return "Pole-Zero Analysis"; }
    std::string Title() const override { return "Pole-Zero"; }
    void Fields(TFieldVisitor& visitor) override;
};

class TMonteCarloAnalysis final : public TAnalysis {
public:
    explicit TMonteCarloAnalysis(TBaseQsolveNetlistSettings* owner) : TAnalysis(owner, atMonteCarlo) {}
    int32_t Seed = 1;
    TDistributionType DistributionType = eUniform;
    int32_t NumberOfRuns = 0;
    double ResistorTolerance = 0, InductorTolerance = 0, TransistorTolerance = 0, CapacitorTolerance = 0,
           DCSourceTolerance = 0, DigitalTpTolerance = 0;
    TStrings SpecificTolerances;  // left as it is by SetState_Default; emptied before each read

    void SetState_Default() override;
    void GetState_NetlistStrings(TStrings& lines) override;
    bool CheckState_AnalysisSetup(TStrings* errors) override;
    std::string Name() const override { return "Monte Carlo Analysis"; }
    std::string Title() const override { return "Monte Carlo"; }
    void Fields(TFieldVisitor& visitor) override;

private:
    // The tolerance text for a designator's first letter, empty for none.
    std::string ToleranceFor(char letter) const;
};

// ---------------------------------------------------------------------------------------------
// SPICE options

struct TSpiceOption {
    std::string Name;
    std::string Description;
    std::string Value;         // in the normal form of its data type
    std::string DefaultValue;  // in the normal form of its data type
    TSpiceOptionDataType DataType = eOption_Eng;
    void SetToDefault() { Value = DefaultValue; }
};

// An option's text in the normal form of its data type.
std::string NormalOptionValue(TSpiceOptionDataType type, std::string_view text);

class TSpiceOptions {
public:
    static constexpr size_t kOptionCount = 58;
    TSpiceOptions();

    TIntegrationMethod Method = eTrapezoidal;
    double DVCC = 5.0;
    double DVDD = 15.0;
    std::string SpiceRefNode = "GND";
    std::array<TSpiceOption, kOptionCount> Options;

    void SetState_Default();
    void GetState_NetlistStrings(TStrings& lines) const;
    void Export_ToParameters(platform::TParameterList& parameters) const;
    void Import_FromParameters(const platform::TParameterList& parameters);
    void Export_ToFile() const;
    void Import_FromFile();
    // Stores the text as it stands.
    void SetOptionValue(size_t index, const std::string& text) { Options.at(index).Value = text; }
    // Stores the text in normal form; a name not in the table is ignored.
    void SetOptionValueByName(std::string_view name, std::string_view text);
    // The option of the name (without regard to ASCII case), or null.
    TSpiceOption* FindOption(std::string_view name);
    const TSpiceOption* FindOption(std::string_view name) const;
};

// "Trapezoidal", "Gear 2" to "Gear 6".
std::string MethodText(TIntegrationMethod method);
// The five Gear forms (any case); any other text is trapezoidal.
TIntegrationMethod ParseMethod(std::string_view text);

// ---------------------------------------------------------------------------------------------
// The settings

// The host's output settings, as far as the simulation settings use them.
class TOutputSettings {
public:
    explicit TOutputSettings(host::IProject* project) : Project(project) {}
    virtual ~TOutputSettings() = default;
    host::IProject* Project;  // may be null

    // Shows an error to the user. The translator has no window: the text joins ShownErrors, where
    // the caller finds it.
    virtual void ShowError(const std::string& text) { ShownErrors.push_back(text); }
    // Asks the user a question with the answers Yes and No. Without a user the answer is No.
    virtual bool AskYesNo(const std::string& question) {
        (void)question;
        return false;
    }
    TStrings ShownErrors;
};

class TBaseQsolveNetlistSettings : public TOutputSettings {
public:
    explicit TBaseQsolveNetlistSettings(host::IProject* project = nullptr);
    ~TBaseQsolveNetlistSettings() override;

    std::unique_ptr<TOperatingPointAnalysis> OperatingPoint;
    std::unique_ptr<TTransientAnalysis> Transient;
    std::unique_ptr<TACAnalysis> AC;
    std::unique_ptr<TNoiseAnalysis> Noise;
    std::unique_ptr<TParameterSweepAnalysis> ParameterSweep;
    std::unique_ptr<TDCSweepAnalysis> DCSweep;
    std::unique_ptr<TTemperatureSweepAnalysis> TemperatureSweep;
    std::unique_ptr<TTransferFunctionAnalysis> TransferFunction;
    std::unique_ptr<TPoleZeroAnalysis> PoleZero;
    std::unique_ptr<TMonteCarloAnalysis> MonteCarlo;
    std::unique_ptr<TSpiceOptions> SpiceOptions;
    TSheetsToNetlist SheetsToNetlist = eActiveSheet;
    TNetlistType NetlistType = eNetlist_Flattened;
    TSortedStringList ActiveSignals;
    TGlobalParameterList GlobalParameters;
    bool KeepLastSetup = false;
    TSaveDataFor SaveDataFor = eSaveNodeVoltageSupplyDeviceCurrent;
    TNetlistInfo NetlistInfo;
    bool OldCfgLoaded = false;
    std::string SimulationName;
    std::string ProfileId;

    // The analyses in the order DC, AC, Transient, TF, PZ, Noise, OP, ParamSweep, TempSweep, MC:
    // the order of defaults and of both stored forms.
    std::vector<TAnalysis*> Analyses() const;

    virtual void SetState_Default();
    // The parameter string. Numbers are written with a period whatever the module's separator.
    virtual std::string Export_ToParameters();
    // Reads a parameter string; when it holds no "OldCfgLoaded" and the project's old ".cfg" file
    // exists, the file is read instead. A bad number raises std::runtime_error naming its key;
    // keys that aren't known are passed over.
    virtual void Import_FromParameters(std::string_view text);
    virtual void SetState_SchNetlistInfo() {}
    virtual void SetState_NsxNetlistInfo() {}

    // The project's path with the extension ".cfg"; empty without a project.
    std::string GetCfgFilename() const;
    bool OldCfgFileExists() const;
    // Reads the project's ".cfg" file, or the one named; a missing file gives the defaults.
    void Import_FromFile();
    void Import_FromFile(const std::string& fileName);

    // Takes what the netlister reports: the lists and numbers of `info`, the names of the global
    // parameters added to its parameters, and the node "0" taken out of its voltage nodes.
    void SetState_NetlistInfo(const TNetlistInfo& info);
    // The SPICE text of the whole setup: plot lines, options, analyses, sweeps, global parameters.
    virtual void GetState_AnalysesStrings(TStrings& lines);
    // Checks that something can run and that every analysis is set up well; does nothing without
    // a list.
    void GetState_SetupErrors(TStrings* errors);

    // Reports "Error: " + message (+ " in " + title) to the list, or with ShowError without one.
    void ReportError(TStrings* errors, const std::string& message, const std::string& title);
    // A new id: eight capital letters from A to Y.
    static std::string NewProfileId();
};

// A signal name as SPICE text: names of device currents, voltages and powers ("[ib]", "[v]", ...)
// get a leading "@".
std::string SignalName(const std::string& name);

}  // namespace orcadx::pspice
