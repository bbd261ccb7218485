// One complete set of simulation settings: defaults, the parameter string, the legacy ".cfg" file,
// the SPICE text of the whole setup and its checks; with the lists it holds.
#include "pspice/RT_Qsolve_Settings.h"

#include <algorithm>
#include <filesystem>
#include <random>
#include <stdexcept>

#include "platform/TextCompare.h"
#include "platform/TextFiles.h"

namespace orcadx::pspice {

namespace {

using platform::SameTextNoCase;

platform::IniFile* gCfgFile = nullptr;

bool LessNoCase(const std::string& a, const std::string& b) { return platform::CompareTextNoCase(a, b) < 0; }

bool ContainsTrue(const std::string& text) {
    std::string upper = text;
    for (char& c : upper) c = platform::FoldUpper(c);
    return upper.find("TRUE") != std::string::npos;
}

// A stored integer in the range [low, high], or nothing.
bool ReadRange(const std::string& text, const char* key, int low, int high, int& value) {
    int32_t v = ReadStoredInteger(text, key);
    if (v < low || v > high) return false;
    value = v;
    return true;
}

}  // namespace

// ---- lists ----------------------------------------------------------------------------------

bool TSortedStringList::Add(const std::string& text) {
    auto it = std::lower_bound(items_.begin(), items_.end(), text, LessNoCase);
    if (it != items_.end() && platform::CompareTextNoCase(*it, text) == 0) return false;
    items_.insert(it, text);
    return true;
}

void TSortedStringList::Assign(std::vector<std::string> items) {
    std::stable_sort(items.begin(), items.end(), LessNoCase);
    items.erase(std::unique(items.begin(), items.end(),
                            [](const std::string& a, const std::string& b) { return SameTextNoCase(a, b); }),
                items.end());
    items_ = std::move(items);
}

bool TSortedStringList::Contains(std::string_view text) const {
    auto it = std::lower_bound(items_.begin(), items_.end(), text,
                               [](const std::string& a, std::string_view b) { return platform::CompareTextNoCase(a, b) < 0; });
    return it != items_.end() && SameTextNoCase(*it, text);
}

bool TSortedStringList::Remove(std::string_view text) {
    auto it = std::lower_bound(items_.begin(), items_.end(), text,
                               [](const std::string& a, std::string_view b) { return platform::CompareTextNoCase(a, b) < 0; });
    if (it == items_.end() || !SameTextNoCase(*it, text)) return false;
    items_.erase(it);
    return true;
}

void TNetlistInfo::Clear() {
    CycleFrequency = -1.0;
    StepFrequency = -1.0;
    ACSourceCount = 0;
    for (TSortedStringList* list : {&Sources, &DesignatorParameters, &Parameters, &VoltageNodes, &SupplyCurrents,
                                    &DeviceCurrents, &SubcktVars, &Powers})
        list->Clear();
}

void TGlobalParameterList::AddParameter(const std::string& name, const std::string& value) {
    items_.push_back(TGlobalParameter{name, value});
}

const TGlobalParameter* TGlobalParameterList::GetParameterByName(std::string_view name) const {
    for (size_t i = items_.size(); i-- > 0;)
        if (SameTextNoCase(items_[i].Name, name)) return &items_[i];
    return nullptr;
}

void TGlobalParameterList::CopyTo(TGlobalParameterList& other) const {
    if (&other == this) return;
    other.items_ = items_;
}

void TGlobalParameterList::GetState_NetlistStrings(TStrings& lines) const {
    for (const TGlobalParameter& p : items_) lines.push_back(".PARAM " + p.Name + "=" + p.Value);
}

void TGlobalParameterList::Export_ToParameters(platform::TParameterList& parameters) const {
    for (size_t i = 0; i < items_.size(); ++i) {
        parameters.Add("ParamName" + std::to_string(i), items_[i].Name);
        parameters.Add("ParamValue" + std::to_string(i), items_[i].Value);
    }
}

void TGlobalParameterList::Import_FromParameters(const platform::TParameterList& parameters) {
    Clear();
    std::string name, value;
    for (size_t i = 0; parameters.Find("ParamName" + std::to_string(i), name); ++i) {
        value.clear();
        parameters.Find("ParamValue" + std::to_string(i), value);
        AddParameter(name, value);
    }
}

// ---- the .cfg file --------------------------------------------------------------------------

TCfgFileScope::TCfgFileScope(platform::IniFile& file) : saved_(gCfgFile) { gCfgFile = &file; }

TCfgFileScope::~TCfgFileScope() { gCfgFile = saved_; }

platform::IniFile& CurrentCfgFile() {
    if (!gCfgFile) throw std::runtime_error("No simulation settings file is open");
    return *gCfgFile;
}

// ---- the settings ---------------------------------------------------------------------------

TBaseQsolveNetlistSettings::TBaseQsolveNetlistSettings(host::IProject* project)
    : TOutputSettings(project),
      OperatingPoint(std::make_unique<TOperatingPointAnalysis>(this)),
      Transient(std::make_unique<TTransientAnalysis>(this)),
      AC(std::make_unique<TACAnalysis>(this)),
      Noise(std::make_unique<TNoiseAnalysis>(this)),
      ParameterSweep(std::make_unique<TParameterSweepAnalysis>(this)),
      DCSweep(std::make_unique<TDCSweepAnalysis>(this)),
      TemperatureSweep(std::make_unique<TTemperatureSweepAnalysis>(this)),
      TransferFunction(std::make_unique<TTransferFunctionAnalysis>(this)),
      PoleZero(std::make_unique<TPoleZeroAnalysis>(this)),
      MonteCarlo(std::make_unique<TMonteCarloAnalysis>(this)),
      SpiceOptions(std::make_unique<TSpiceOptions>()) {}

TBaseQsolveNetlistSettings::~TBaseQsolveNetlistSettings() = default;

std::vector<TAnalysis*> TBaseQsolveNetlistSettings::Analyses() const {
    return {DCSweep.get(),        AC.get(),    Transient.get(),      TransferFunction.get(),
            PoleZero.get(),       Noise.get(), OperatingPoint.get(), ParameterSweep.get(),
            TemperatureSweep.get(), MonteCarlo.get()};
}

std::string TBaseQsolveNetlistSettings::NewProfileId() {
    static std::mt19937 random{std::random_device{}()};
    std::uniform_int_distribution<int> letter(0, 24);  // A to Y
    std::string id;
    for (int i = 0; i < 8; ++i) id += static_cast<char>('A' + letter(random));
    return id;
}

void TBaseQsolveNetlistSettings::SetState_Default() {
    ActiveSignals.Clear();
    SheetsToNetlist = eActiveProject;
    NetlistType = eNetlist_Hierarchical;
    SaveDataFor = eSaveNodeVoltageSupplyDeviceCurrentPower;
    KeepLastSetup = true;
    for (TAnalysis* analysis : Analyses()) analysis->SetState_Default();
    SpiceOptions->SetState_Default();
    GlobalParameters.Clear();
    OldCfgLoaded = false;
    SimulationName.clear();
    ProfileId = NewProfileId();
}

std::string TBaseQsolveNetlistSettings::Export_ToParameters() {
    TDecimalSeparatorScope period('.');
    platform::TParameterList p;
    p.Add("Record", "QsolveNetlistView");
    p.AddInteger("SheetsToNetlist", SheetsToNetlist);
    p.AddInteger("NetlistType", NetlistType);
    p.Add("SimulationName", SimulationName);
    p.Add("ProfileId", ProfileId);
    int index = 0;
    for (const std::string& signal : ActiveSignals.Items())
        if (!signal.empty()) p.Add("Variable" + std::to_string(index++), signal);
    p.AddInteger("AnalysesDataSavedIndex", SaveDataFor);
    p.AddBoolean("SimView_KeepLastSetup", KeepLastSetup);
    for (TAnalysis* analysis : Analyses()) analysis->Export_ToParameters(p);
    SpiceOptions->Export_ToParameters(p);
    GlobalParameters.Export_ToParameters(p);
    if (OldCfgLoaded) p.Add("OldCfgLoaded", "True");
    return p.ToString();
}

void TBaseQsolveNetlistSettings::Import_FromParameters(std::string_view text) {
    TDecimalSeparatorScope period('.');
    platform::TParameterList p;
    p.FromString(text);
    OldCfgLoaded = false;
    p.FindBoolean("OldCfgLoaded", OldCfgLoaded);
    if (!OldCfgLoaded && OldCfgFileExists()) {
        Import_FromFile();
        return;
    }
    std::string value;
    if (!p.Find("Record", value) || !SameTextNoCase(value, "QsolveNetlistView")) return;
    int number = 0;
    if (p.Find("SheetsToNetlist", value) && ReadRange(value, "SheetsToNetlist", 0, 1, number))
        SheetsToNetlist = static_cast<TSheetsToNetlist>(number);
    if (p.Find("NetlistType", value) && ReadRange(value, "NetlistType", 0, 1, number))
        NetlistType = static_cast<TNetlistType>(number);
    p.Find("SimulationName", SimulationName);
    p.Find("ProfileId", ProfileId);
    if (p.Find("Variable0", value)) {
        ActiveSignals.Clear();
        for (int i = 0; p.Find("Variable" + std::to_string(i), value); ++i)
            if (!value.empty()) ActiveSignals.Add(value);
    }
    if (p.Find("AnalysesDataSavedIndex", value) && ReadRange(value, "AnalysesDataSavedIndex", 0, 4, number))
        SaveDataFor = static_cast<TSaveDataFor>(number);
    p.FindBoolean("SimView_KeepLastSetup", KeepLastSetup);
    for (TAnalysis* analysis : Analyses()) analysis->Import_FromParameters(p);
    SpiceOptions->Import_FromParameters(p);
    GlobalParameters.Import_FromParameters(p);
}

std::string TBaseQsolveNetlistSettings::GetCfgFilename() const {
    if (!Project) return "";
    std::string path = Project->GetFullPath();
    if (path.empty()) return "";
    return std::filesystem::path(path).replace_extension(".cfg").string();
}

bool TBaseQsolveNetlistSettings::OldCfgFileExists() const {
    std::string name = GetCfgFilename();
    std::error_code ec;
    return !name.empty() && std::filesystem::is_regular_file(platform::FindFileNoCase(name), ec);
}

void TBaseQsolveNetlistSettings::Import_FromFile() { Import_FromFile(GetCfgFilename()); }

void TBaseQsolveNetlistSettings::Import_FromFile(const std::string& fileName) {
    platform::IniFile file(fileName.empty() ? fileName : platform::FindFileNoCase(fileName));
    TCfgFileScope scope(file);
    // A key in the range [low, high]; a text that is no number reads as the default.
    auto integer = [&](const char* section, const char* key, int defaultValue, int low, int high, int& value) {
        int32_t v = defaultValue;
        try {
            v = ReadStoredInteger(file.ReadString(section, key, std::to_string(defaultValue)), key);
        } catch (const std::runtime_error&) {
        }
        if (v < low || v > high) return false;
        value = v;
        return true;
    };
    int number = 0;
    if (integer("Netlist Options", "SheetsToNetlist", 1, 0, 1, number))
        SheetsToNetlist = static_cast<TSheetsToNetlist>(number);
    ActiveSignals.Clear();
    for (int i = 0;; ++i) {
        std::string signal = file.ReadString("Probe Setup", "Variable" + std::to_string(i), "");
        if (signal.empty()) break;
        ActiveSignals.Add(signal);
    }
    if (integer("Analog Options", "AnalysesDataSavedIndex", 2, 0, 4, number))
        SaveDataFor = static_cast<TSaveDataFor>(number);
    KeepLastSetup = ContainsTrue(file.ReadString("SimView Setup", "KeepLastSetup", "True"));
    SpiceOptions->Import_FromFile();
    for (TAnalysis* analysis : Analyses()) analysis->Import_FromFile();
    OldCfgLoaded = true;
}

void TBaseQsolveNetlistSettings::SetState_NetlistInfo(const TNetlistInfo& info) {
    if (&info == &NetlistInfo) return;
    NetlistInfo.Clear();
    NetlistInfo.CycleFrequency = info.CycleFrequency;
    NetlistInfo.StepFrequency = info.StepFrequency;
    NetlistInfo.ACSourceCount = info.ACSourceCount;
    NetlistInfo.Sources = info.Sources;
    NetlistInfo.DesignatorParameters = info.DesignatorParameters;
    NetlistInfo.Parameters = info.Parameters;
    NetlistInfo.VoltageNodes = info.VoltageNodes;
    NetlistInfo.SupplyCurrents = info.SupplyCurrents;
    NetlistInfo.DeviceCurrents = info.DeviceCurrents;
    NetlistInfo.SubcktVars = info.SubcktVars;
    NetlistInfo.Powers = info.Powers;
    for (size_t i = 0; i < GlobalParameters.Count(); ++i) NetlistInfo.Parameters.Add(GlobalParameters.GetParameter(i).Name);
    NetlistInfo.VoltageNodes.Remove("0");
}

void TBaseQsolveNetlistSettings::GetState_AnalysesStrings(TStrings& lines) {
    lines.clear();
    const std::pair<const char*, TAnalysis*> kPlots[] = {
        {"AC", AC.get()},   {"DC", DCSweep.get()},          {"TRAN", Transient.get()},     {"NOISE", Noise.get()},
        {"TF", TransferFunction.get()}, {"PZ", PoleZero.get()}, {"OP", OperatingPoint.get()}};
    for (const auto& [title, analysis] : kPlots) {
        if (!analysis->Active) continue;
        std::string head = std::string("*PLOT ") + title + " -1 1";
        std::string list;
        if (!ActiveSignals.Empty()) {
            for (const std::string& signal : ActiveSignals.Items()) {
                list += " A=" + SignalName(signal);
                if (list.size() > 60) {
                    lines.push_back(head + list);
                    list.clear();
                }
            }
        } else if (!NetlistInfo.VoltageNodes.Empty()) {
            list = " A=" + SignalName(NetlistInfo.VoltageNodes[0]);
        }
        if (!list.empty()) lines.push_back(head + list);
    }
    lines.push_back("");
    if (!KeepLastSetup) lines.push_back(".OPTION KeepLastSetup=False");
    SpiceOptions->GetState_NetlistStrings(lines);
    lines.push_back("*Selected Circuit Analyses:");
    for (TAnalysis* analysis : std::initializer_list<TAnalysis*>{DCSweep.get(), AC.get(), Transient.get(),
                                                                 TransferFunction.get(), PoleZero.get(), Noise.get(),
                                                                 OperatingPoint.get()})
        analysis->GetState_NetlistStrings(lines);
    if (ParameterSweep->Active || TemperatureSweep->Active || MonteCarlo->Active) {
        lines.push_back(".CONTROL");
        ParameterSweep->GetState_NetlistStrings(lines);
        TemperatureSweep->GetState_NetlistStrings(lines);
        MonteCarlo->GetState_NetlistStrings(lines);
        lines.push_back(".ENDC");
    }
    if (!GlobalParameters.Empty()) {
        lines.push_back("");
        lines.push_back("*Global Parameters:");
        GlobalParameters.GetState_NetlistStrings(lines);
    }
}

void TBaseQsolveNetlistSettings::ReportError(TStrings* errors, const std::string& message, const std::string& title) {
    std::string text = "Error: " + message + (title.empty() ? "" : " in " + title);
    if (errors)
        errors->push_back(text);
    else
        ShowError(text);
}

void TBaseQsolveNetlistSettings::GetState_SetupErrors(TStrings* errors) {
    if (!errors) return;
    bool sweeps = ParameterSweep->Active || TemperatureSweep->Active || MonteCarlo->Active;
    bool runs = OperatingPoint->Active || AC->Active || DCSweep->Active || Noise->Active || Transient->Active ||
                TransferFunction->Active;
    auto enableTransient = [&] {
        Transient->Active = true;
        Transient->AlwaysSetDefaults = true;
    };
    if (!sweeps && !runs && !PoleZero->Active) {
        if (AskYesNo("No Analyses have been enabled.\nEnable default Transient Analysis?"))
            enableTransient();
        else
            ReportError(errors, "No Analyses have been enabled.", "");
    } else if (sweeps && !runs) {
        std::string names;
        const std::pair<const char*, bool> kSweeps[] = {{"Parameter Sweep", ParameterSweep->Active},
                                                        {"Temperature Sweep", TemperatureSweep->Active},
                                                        {"Monte Carlo", MonteCarlo->Active}};
        for (const auto& [name, active] : kSweeps)
            if (active) names += (names.empty() ? "" : ", ") + std::string(name);
        std::string message =
            "Transient, AC Small Signal, DC Sweep, Noise, Transfer Function or Operating Point must be enabled to run " +
            names + ".";
        if (AskYesNo(message + " Enable default Transient Analysis?"))
            enableTransient();
        else
            ReportError(errors, message, "");
    }
    DCSweep->CheckState_AnalysisSetup(errors);
    if (AC->Active && NetlistInfo.ACSourceCount < 1) ReportError(errors, "No source specified", AC->Title());
    for (TAnalysis* analysis :
         std::initializer_list<TAnalysis*>{AC.get(), Transient.get(), TransferFunction.get(), PoleZero.get(), Noise.get(),
                                           ParameterSweep.get(), TemperatureSweep.get(), MonteCarlo.get()})
        analysis->CheckState_AnalysisSetup(errors);
}

}  // namespace orcadx::pspice
