// The SPICE option table of the simulation settings: the 58 options with their data types and
// defaults, their normal forms, SPICE text and both stored forms.
#include <stdexcept>

#include "pspice/RT_Qsolve_Settings.h"
#include "platform/TextCompare.h"

namespace orcadx::pspice {

namespace {

using platform::SameTextNoCase;

constexpr const char* kAnalogOptions = "Analog Options";

struct OptionRow {
    const char* name;
    TSpiceOptionDataType type;
    const char* defaultText;
    const char* description;
};

// clang-format off
constexpr OptionRow kOptionTable[TSpiceOptions::kOptionCount] = {
    {"ABSTOL", eOption_PositiveEng, "1e-12", "Absolute current error tolerance [0,]"},
    {"ACCT", eOption_YesNo, "NO", "Display accounting information"},
    {"ADCSTEP", eOption_PositiveEng, "0.01", "Analog change for digital event [0,]"},
    {"AUTOPARTIAL", eOption_YesNo, "NO", "Use AP computation"},
    {"BADMOS3", eOption_YesNo, "NO", "Use MOS3 with kappa discontinuity"},
    {"BOOLH", eOption_PositiveEng, "4.5", "Boolean output high value [0,]"},
    {"BOOLL", eOption_PositiveEng, "0", "Boolean output low value [0,]"},
    {"BOOLT", eOption_PositiveEng, "1.5", "Boolean input threshold value [0,]"},
    {"BYPASS", eOption_ZeroIsNo_OneIsYes, "1", "Use nonlinear model evaluation"},
    {"CHGTOL", eOption_PositiveEng, "1e-14", "Charge tolerance in coulombs [0,]"},
    {"CONVABSSTEP", eOption_PositiveEng, "0.1", "Absolute step for code model inputs [0,]"},
    {"CONVLIMIT", eOption_YesNo, "NO", "Disable converge assistance"},
    {"CONVSTEP", eOption_PositiveEng, "0.25", "Fractional step for code model inputs [0,]"},
    {"CURRENTMNS", eOption_PositiveEng, "1.5", "Device current min scale factor from typical [0,]"},
    {"CURRENTMXS", eOption_PositiveEng, "0.5", "Device current max scale factor from typical [0,]"},
    {"DEFAD", eOption_PositiveEng, "0", "MOS drain diffusion area [0,]"},
    {"DEFAS", eOption_PositiveEng, "0", "MOS source diffusion area [0,]"},
    {"DEFL", eOption_PositiveEng, "100", "MOS channel length in micrometers [0,]"},
    {"DEFW", eOption_PositiveEng, "100", "MOS channel width in micrometers [0,]"},
    {"DRIVEMNS", eOption_PositiveEng, "1.5", "Output drive min scale factor from typical [0,]"},
    {"DRIVEMXS", eOption_PositiveEng, "0.5", "Output drive max scale factor from typical [0,]"},
    {"DRVMNTYMX", eOption_ZeroIsNone_0123_NoneMinTypMax, "0", "DRV selection"},
    {"DYNAMICDC", eOption_ZeroIsNo_OneIsYes, "1", "Use dynamic GMIN and source stepping convergence algorithms"},
    {"DYNAMICDCFACTOR", eOption_PositiveEng, "10", "Factor used in dynamic GMIN stepping algorithm"},
    {"GMIN", eOption_PositiveEng, "1p", "Min. allowed branch conductance [0,]"},
    {"GMINSTEP", eOption_PositiveInt, "10", "Steps used in GMIN step algorithm [0,]"},
    {"IMNTYMX", eOption_ZeroIsNone_0123_NoneMinTypMax, "0", "I selection"},
    {"ITL1", eOption_PositiveInt, "100", "DC operating point iteration limit [0,]"},
    {"ITL2", eOption_PositiveInt, "50", "DC transfer curve iteration limit [0,]"},
    {"ITL3", eOption_PositiveInt, "4", "Min transient iterations for SPICE2 [0,]"},
    {"ITL4", eOption_PositiveInt, "40", "Max transient analysis timepoint iterations [0,]"},
    {"ITL5", eOption_PositiveInt, "5000", "Max transient analysis iteration (SPICE2)[0,]"},
    {"KEEPOPINFO", eOption_YesNo, "NO", "Retain operating point information"},
    {"LDMNTYMX", eOption_ZeroIsNone_0123_NoneMinTypMax, "0", "LD selection"},
    {"LIST", eOption_YesNo, "NO", "Display flat SPICE netlist"},
    {"LOADMNS", eOption_PositiveEng, "1.5", "Input load min scale factor from typical [0,]"},
    {"LOADMXS", eOption_PositiveEng, "0.5", "Input load min scale factor from typical [0,]"},
    {"MAXEVTITER", eOption_PositiveInt, "0", "Max event iterations per point [0,]"},
    {"MAXOPALTER", eOption_PositiveInt, "0", "Max DCOP analog/event alternations [0,]"},
    {"MINBREAK", eOption_PositiveEng_ZeroIsAuto, "0", "Min time between breakpoints [0=AUTO,]"},
    {"NOOPALTER", eOption_YesNo, "NO", "Alternate DCOP analog/event"},
    {"NOOPITER", eOption_ZeroIsNo_OneIsYes, "0", "Go directly to GMIN stepping"},
    {"OPTS", eOption_YesNo, "NO", "Display OPTION information"},
    {"PIVREL", eOption_Eng_ZeroToOne, "1.000m", "Relative pivot ratio [0,1]"},
    {"PIVTOL", eOption_PositiveEng, "1e-13", "Absolute min. matrix entry for pivot [0,]"},
    {"PROPMNS", eOption_PositiveEng, "0.5", "Propagation-delay min scale factor from typical [0,]"},
    {"PROPMXS", eOption_PositiveEng, "1.5", "Propagation-delay max scale factor from typical [0,]"},
    {"RAMPTIME", eOption_PositiveEng, "0", "Transient analysis supply ramp time [0,]"},
    {"RELTOL", eOption_PositiveEng, "1.000m", "Relative simulation error tolerance [0,]"},
    {"RSHUNT", eOption_PositiveEng_ZeroIsNone, "0", "Analog node resistor to ground value [0=NONE,]"},
    {"SIMWARN", eOption_minus101_NoneNoYes, "-1", "Show simcode warnings"},
    {"SRCSTEP", eOption_PositiveInt, "10", "Steps used in source step algorithm [0,]"},
    {"TEMP", eOption_TempDegreesC, "27", "Circuit operating temperature [-273.15,]"},
    {"TNOM", eOption_TempDegreesC, "27", "Device parameter measurement temp [-273.15,]"},
    {"TPMNTYMX", eOption_ZeroIsNone_0123_NoneMinTypMax, "0", "TP selection"},
    {"TRTOL", eOption_PositiveEng, "7", "Transient analysis error tolerance [0,]"},
    {"TRYTOCOMPACT", eOption_YesNo, "NO", "Try to condense LTRA history"},
    {"VNTOL", eOption_PositiveEng, "1.000u", "Absolute voltage error tolerance [0,]"},
};
// clang-format on

bool IsIntegerType(TSpiceOptionDataType type) {
    return type == eOption_PositiveInt || type == eOption_ZeroIsNo_OneIsYes ||
           type == eOption_ZeroIsNone_0123_NoneMinTypMax || type == eOption_minus101_NoneNoYes;
}

}  // namespace

std::string NormalOptionValue(TSpiceOptionDataType type, std::string_view text) {
    if (type == eOption_YesNo) return std::string(text);
    if (IsIntegerType(type)) return std::to_string(LeadingInteger(text));
    return EngText(ParseEng(text));
}

std::string MethodText(TIntegrationMethod method) {
    return method == eTrapezoidal ? "Trapezoidal" : "Gear " + std::to_string(static_cast<int>(method) + 1);
}

TIntegrationMethod ParseMethod(std::string_view text) {
    std::string t = platform::TrimBlanks(text);
    for (int gear = eGear2; gear <= eGear6; ++gear)
        if (SameTextNoCase(t, MethodText(static_cast<TIntegrationMethod>(gear)))) return static_cast<TIntegrationMethod>(gear);
    return eTrapezoidal;
}

TSpiceOptions::TSpiceOptions() {
    for (size_t i = 0; i < kOptionCount; ++i) {
        const OptionRow& row = kOptionTable[i];
        TSpiceOption& option = Options[i];
        option.Name = row.name;
        option.Description = row.description;
        option.DataType = row.type;
        option.DefaultValue = NormalOptionValue(row.type, row.defaultText);
        option.Value = option.DefaultValue;
    }
}

void TSpiceOptions::SetState_Default() {
    Method = eTrapezoidal;
    DVCC = 5.0;
    DVDD = 15.0;
    SpiceRefNode = "GND";
    for (TSpiceOption& option : Options) option.SetToDefault();
}

TSpiceOption* TSpiceOptions::FindOption(std::string_view name) {
    // The table is sorted by name, so the option is found by halving.
    size_t lo = 0, hi = kOptionCount;
    while (lo < hi) {
        size_t mid = (lo + hi) / 2;
        int c = platform::CompareTextNoCase(Options[mid].Name, name);
        if (c == 0) return &Options[mid];
        if (c < 0)
            lo = mid + 1;
        else
            hi = mid;
    }
    return nullptr;
}

const TSpiceOption* TSpiceOptions::FindOption(std::string_view name) const {
    return const_cast<TSpiceOptions*>(this)->FindOption(name);
}

void TSpiceOptions::SetOptionValueByName(std::string_view name, std::string_view text) {
    if (TSpiceOption* option = FindOption(name)) option->Value = NormalOptionValue(option->DataType, text);
}

void TSpiceOptions::GetState_NetlistStrings(TStrings& lines) const {
    std::string line = ".OPTIONS";
    for (const TSpiceOption& option : Options) {
        if (option.Value == option.DefaultValue) continue;
        switch (option.DataType) {
        case eOption_PositiveEng:
        case eOption_PositiveEng_ZeroIsNone:
        case eOption_PositiveEng_ZeroIsAuto:
        case eOption_PositiveEng_ZeroIsOff:
        case eOption_TempDegreesC:
        case eOption_Eng_ZeroToOne:
            line += " " + option.Name + "=" + FormatGeneral(ParseEng(option.Value), 4);
            break;
        case eOption_YesNo:
            line += " " + option.Name;
            break;
        default:
            line += " " + option.Name + "=" + platform::TrimBlanks(option.Value);
            break;
        }
        if (line.size() > 70) {
            lines.push_back(line);
            line = ".OPTIONS";
        }
    }
    if (Method != eTrapezoidal) line += " METHOD=GEAR MAXORD=" + std::to_string(static_cast<int>(Method) + 1);
    if (line != ".OPTIONS") lines.push_back(line);
}

void TSpiceOptions::Export_ToParameters(platform::TParameterList& parameters) const {
    parameters.Add("OPTION_Method", MethodText(Method));
    parameters.Add("OPTION_DVCC", EngText(DVCC));
    parameters.Add("OPTION_DVDD", EngText(DVDD));
    parameters.Add("OPTION_SpiceRefNode", SpiceRefNode);
    for (const TSpiceOption& option : Options)
        if (!SameTextNoCase(option.Value, option.DefaultValue)) parameters.Add("OPTION_" + option.Name, option.Value);
}

void TSpiceOptions::Import_FromParameters(const platform::TParameterList& parameters) {
    std::string text;
    if (parameters.Find("OPTION_Method", text)) Method = ParseMethod(text);
    if (parameters.Find("OPTION_DVCC", text)) DVCC = ParseEng(text);
    if (parameters.Find("OPTION_DVDD", text)) DVDD = ParseEng(text);
    parameters.Find("OPTION_SpiceRefNode", SpiceRefNode);
    for (TSpiceOption& option : Options)
        if (parameters.Find("OPTION_" + option.Name, text)) option.Value = NormalOptionValue(option.DataType, text);
}

void TSpiceOptions::Export_ToFile() const {
    platform::IniFile& file = CurrentCfgFile();
    file.WriteString(kAnalogOptions, "METHOD", Method == eTrapezoidal ? "TRAPEZOIDAL" : MethodText(Method));
    file.WriteString(kAnalogOptions, "DVCC", FormatGeneral(DVCC, 4));
    file.WriteString(kAnalogOptions, "DVDD", FormatGeneral(DVDD, 4));
    file.WriteString(kAnalogOptions, "SpiceRefNode", SpiceRefNode);
    for (const TSpiceOption& option : Options) file.WriteString(kAnalogOptions, option.Name, option.Value);
}

void TSpiceOptions::Import_FromFile() {
    const platform::IniFile& file = CurrentCfgFile();
    SetState_Default();
    Method = ParseMethod(file.ReadString(kAnalogOptions, "METHOD", "TRAPEZOIDAL"));
    auto number = [&](const char* key, double& field) {
        std::string text = file.ReadString(kAnalogOptions, key, "");
        double value = 0;
        if (ParseReal(text, DecimalSeparator(), value) || ParseReal(text, ',', value)) field = value;
    };
    number("DVCC", DVCC);
    number("DVDD", DVDD);
    SpiceRefNode = file.ReadString(kAnalogOptions, "SpiceRefNode", "GND");
    for (TSpiceOption& option : Options)
        option.Value = NormalOptionValue(option.DataType, file.ReadString(kAnalogOptions, option.Name, option.DefaultValue));
}

}  // namespace orcadx::pspice
