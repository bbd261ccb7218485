// PSpice templates on parts become host simulation models.
#include "pspice/PSpiceTemplateImport.h"

#include <fmt/format.h>

#include <cstring>

#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "platform/Status.h"
#include "pspice/PSpiceModelImport.h"
#include "pspice/PSpiceText.h"

namespace orcadx::pspice {

namespace {

using host::ISch_BasicContainer;
using host::ISch_Parameter;

// Host netlist templates of the independent sources, by sub-kind.
const char kDcNetlist[] = R"(@DESIGNATOR %1 %2 @VALUE #"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";
const char kSinNetlist[] =
    R"(@DESIGNATOR %1 %2 ?"DC MAGNITUDE"|DC @"DC MAGNITUDE"| SIN(?OFFSET/&OFFSET//0/ ?AMPLITUDE/&AMPLITUDE//1/ )"
    R"(?FREQUENCY/&FREQUENCY//1K/ ?DELAY/&DELAY//0/ ?"DAMPING FACTOR"/&"DAMPING FACTOR"//0/ &PHASE) )"
    R"(#"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";
const char kPulseNetlist[] =
    R"(@DESIGNATOR %1 %2 ?"DC MAGNITUDE"|DC @"DC MAGNITUDE"| PULSE(?"INITIAL VALUE"/&"INITIAL VALUE"//0/ )"
    R"(?"PULSED VALUE"/&"PULSED VALUE"//5/ ?"TIME DELAY"/&"TIME DELAY"//0/ ?"RISE TIME"/&"RISE TIME"//4U/ )"
    R"(?"FALL TIME"/&"FALL TIME"//1U/ ?"PULSE WIDTH"/&"PULSE WIDTH"//0/ ?PERIOD/&PERIOD//5U/ &PHASE) )"
    R"(#"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";
const char kExpNetlist[] =
    R"(@DESIGNATOR %1 %2 ?"DC MAGNITUDE"|DC @"DC MAGNITUDE"| EXP(?"INITIAL VALUE"/&"INITIAL VALUE"//0/ )"
    R"(?"PULSED VALUE"/&"PULSED VALUE"//5/ ?"RISE DELAY TIME"/&"RISE DELAY TIME"//1U/ )"
    R"(?"RISE TIME CONSTANT"/&"RISE TIME CONSTANT"//700N/ ?"FALL DELAY TIME"/&"FALL DELAY TIME"//2U/ )"
    R"(&"FALL TIME CONSTANT") #"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";
const char kSffmNetlist[] =
    R"(@DESIGNATOR %1 %2 ?"DC MAGNITUDE"|DC @"DC MAGNITUDE"| SFFM(@OFFSET @AMPLITUDE @"CARRIER FREQUENCY" )"
    R"(@"MODULATION INDEX" @"SIGNAL FREQUENCY") #"AC MAGNITUDE"|AC @"AC MAGNITUDE"| @"AC PHASE")";

// A source property and the host parameter it becomes; the current source's property name where
// it differs.
struct SourceRename {
    const char* voltage;
    const char* current;
    const char* target;
};

// One row of the independent sources: the model names of each source that select it.
struct SourceRow {
    std::vector<const char*> voltageNames;
    std::vector<const char*> currentNames;
    const char* subKind;
    const char* netlist;
    std::vector<SourceRename> renames;
};

const SourceRename kDcMagnitude{"DC", "DC", "DC Magnitude"};
const SourceRename kAcMagnitude{"AC", "AC", "AC Magnitude"};

const std::vector<SourceRow>& SourceRows() {
    static const std::vector<SourceRow> rows = {
        {{"VDC", "VSRC"}, {"IDC"}, "DC Source", kDcNetlist, {{"DC", "DC", "Value"}, kAcMagnitude}},
        {{"VAC"}, {}, "DC Source", kDcNetlist, {{"DC", "DC", "Value"}, {"ACMAG", "ACMAG", "AC Magnitude"}}},
        {{},
         {"IAC"},
         "DC Source",
         kDcNetlist,
         {{"DC", "DC", "Value"}, {"ACMAG", "ACMAG", "AC Magnitude"}, {"ACPHASE", "ACPHASE", "AC Phase"}}},
        {{"VSIN"},
         {"ISIN"},
         "Sinusoidal",
         kSinNetlist,
         {kDcMagnitude,
          kAcMagnitude,
          {"FREQ", "FREQ", "Frequency"},
          {"VAMPL", "IAMPL", "Amplitude"},
          {"VOFF", "IOFF", "Offset"},
          {"PHASE", "PHASE", "Phase"},
          {"DF", "DF", "Damping Factor"},
          {"TD", "TD", "Time Delay"}}},
        {{"VPULSE"},
         {"IPULSE"},
         "Pulse",
         kPulseNetlist,
         {kDcMagnitude,
          kAcMagnitude,
          {"PW", "PW", "Pulse Width"},
          {"TD", "TD", "Time Delay"},
          {"TF", "TF", "Fall Time"},
          {"TR", "TR", "Rise Time"},
          {"V1", "I1", "Initial Value"},
          {"V2", "I2", "Pulsed Value"},
          {"PER", "PER", "Period"}}},
        {{"VEXP"},
         {"IEXP"},
         "Exponential",
         kExpNetlist,
         {kDcMagnitude,
          kAcMagnitude,
          {"TC1", "TC1", "Rise Time Constant"},
          {"TC2", "TC2", "Fall Time Constant"},
          {"TD1", "TD1", "Rise Delay Time"},
          {"TD2", "TD2", "Fall Delay Time"},
          {"V1", "I1", "Initial Value"},
          {"V2", "I2", "Pulsed Value"}}},
        {{"VSFFM"},
         {"ISFFM"},
         "Single-Frequency FM",
         kSffmNetlist,
         {kDcMagnitude,
          kAcMagnitude,
          {"FC", "FC", "Carrier Frequency"},
          {"FM", "FM", "Signal Frequency"},
          {"MOD", "MOD", "Modulation Index"},
          {"VAMPL", "IAMPL", "Amplitude"},
          {"VOFF", "IOFF", "Offset"}}},
    };
    return rows;
}

const SourceRow* FindSourceRow(const std::string& modelName, bool voltage) {
    for (const SourceRow& row : SourceRows())
        for (const char* name : voltage ? row.voltageNames : row.currentNames)
            if (platform::SameTextNoCase(modelName, name)) return &row;
    return nullptr;
}

bool IsPinDelimiter(char c) { return c != '\0' && std::strchr("\t ().,/;[]{|}", c) != nullptr; }

template <class T>
T* As(ISch_BasicContainer* object) {
    return dynamic_cast<T*>(object);
}

}  // namespace

ISch_Parameter* FindParameter(ISch_BasicContainer* container, const std::string& name) {
    auto it = container->SchIterator_Create({host::eParameter}, host::eIterateFirstLevel);
    for (ISch_BasicContainer* o = it->FirstSchObject(); o; o = it->NextSchObject())
        if (auto* parameter = As<ISch_Parameter>(o); parameter && platform::SameTextNoCase(parameter->GetState_Name(), name))
            return parameter;
    return nullptr;
}

TPSpiceTemplateImporter::TPSpiceTemplateImporter(host::IHostApplication& host, std::string templateText,
                                                 host::ISch_Component* component, std::string modelName,
                                                 std::string modelFile, bool hasModelImplementation,
                                                 host::ILogSection* log)
    : Log(log),
      Template(std::move(templateText)),
      Component(component),
      ModelName(std::move(modelName)),
      ModelFile(std::move(modelFile)),
      HasModelImplementation(hasModelImplementation),
      host_(host) {}

bool TPSpiceTemplateImporter::Run() {
    if (!Component) return false;
    if (Template.empty())
        if (ISch_Parameter* parameter = FindParameter(Component, "PSpiceTemplate")) Template = parameter->GetState_Text();
    if (Template.empty()) return false;
    Prepare();
    Apply();
    return true;
}

// ----- Preparation ---------------------------------------------------------------------------------

void TPSpiceTemplateImporter::Prepare() {
    NetlistTemplate = ReplaceAllNoCase(Template, "^@REFDES", "_@DESIGNATOR");
    NetlistTemplate = ReplaceAllNoCase(NetlistTemplate, "@REFDES", "@DESIGNATOR");
    UsesValue = FindNoCase(NetlistTemplate, "@VALUE") != std::string::npos;
    SpicePrefix = Template.substr(0, 1);
    MapPins();
}

void TPSpiceTemplateImporter::MapPins() {
    // The component's pins by name, in the component's order.
    auto it = Component->SchIterator_Create({host::ePin}, host::eIterateFirstLevel);
    for (ISch_BasicContainer* o = it->FirstSchObject(); o; o = it->NextSchObject())
        if (auto* pin = As<host::ISch_Pin>(o))
            designatorsByPin_[UpperAscii(pin->GetState_Name())].push_back(pin->GetState_Designator());

    enum { kOutside, kFirstCharacter, kName } mode = kOutside;
    std::string output, pin;
    const std::string& text = NetlistTemplate;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool last = i + 1 == text.size();
        switch (mode) {
            case kOutside:
                if (c == '%') {
                    mode = kFirstCharacter;
                    pin.clear();
                }
                output += c;
                break;
            case kFirstCharacter:
                if (c == '%' || IsPinDelimiter(c)) {
                    output += c;
                    mode = kOutside;
                } else {
                    pin.assign(1, c);
                    mode = kName;
                    if (last) ProcessPin(pin, output);
                }
                break;
            case kName:
                if (c == '%') {
                    LogPinError(pin);
                    output += pin;
                    output += c;
                    mode = kOutside;
                } else if (IsPinDelimiter(c)) {
                    ProcessPin(pin, output);
                    output += c;
                    mode = kOutside;
                } else {
                    pin += c;
                    if (last) ProcessPin(pin, output);
                }
                break;
        }
    }
    NetlistTemplate = std::move(output);
    if (!PinMap.empty() && PinMap.front() == ',') PinMap.erase(0, 1);
}

void TPSpiceTemplateImporter::ProcessPin(const std::string& pin, std::string& output) {
    if (int used = pins_.IndexOf(pin); used >= 0) {
        output += std::to_string(used + 1);
        return;
    }
    pins_.Add(pin);
    const std::string number = std::to_string(pins_.Count());
    auto found = designatorsByPin_.find(UpperAscii(pin));
    if (found == designatorsByPin_.end()) {
        LogPinError(pin);
        output += pin;
        return;
    }
    for (const std::string& designator : found->second) PinMap += ",(" + number + ":" + designator + ")";
    output += number;
}

void TPSpiceTemplateImporter::LogPinError(const std::string& pin) {
    platform::LogMessage(Log, host::kLogError,
                         fmt::format("Could not map PSpice template pin \"{}\" on component \"{}\"", pin,
                                     Component->GetState_LibReference()));
}

// ----- Application ---------------------------------------------------------------------------------

void TPSpiceTemplateImporter::Apply() {
    if (ModelName.empty() || ModelName == "*") return;
    Implementation = FindOrCreateImplementation();
    if (!Implementation) return;
    Implementation->SetState_ModelType("SIM");
    Implementation->SetState_ModelName(ModelName);
    bool complete = !HasModelImplementation && MapDevice();
    if (complete) {
        Implementation->SetState_BuiltInSwitchB(true);
        Implementation->SetState_BuiltInSwitchA(true);
        Implementation->SetState_IsCurrent(true);
    } else {
        Implementation->SetState_MapAsString(PinMap);
        SetImplementationParameter("Syntax", "PSpice");
        if (!NetlistTemplate.empty()) SetImplementationParameter("Netlist", BuiltNetlistTemplate());
        SetImplementationParameter("Spice Prefix", SpicePrefix);
        if (!ModelFile.empty()) {
            Implementation->AddDataFileLink(ModelName, ModelFile, "PSpice");
            InitializeSimulationModel();
        }
    }
    if (UsesValue) HandOverValue();
}

void TPSpiceTemplateImporter::InitializeSimulationModel() {
    std::string reason;
    bool initialized = true;
    try {
        host::IClient* client = host_.Client();
        if (client && !client->IsServerRunning("SIM")) client->StartServer("SIM");
        if (host::ISimModelInitializer* initializer = host_.SimModelInitializer())
            initialized = initializer->InitializeModel(Implementation, Component, reason);
    } catch (const std::exception&) {
        initialized = false;
    }
    if (!initialized) {
        host::ISch_Designator* designator = Component->GetState_SchDesignator();
        platform::LogMessage(Log, host::kLogError,
                             fmt::format("Could not initialize model : \"{}\" for part \"{}\"", ModelName,
                                         designator ? designator->GetState_Text() : std::string()));
    }
}

bool TPSpiceTemplateImporter::MapDevice() {
    const char letter = platform::FoldUpper(SpicePrefix.empty() ? '\0' : SpicePrefix.front());
    switch (letter) {
        case 'V':
        case 'I':
            return MapIndependentSource(letter == 'V');
        case 'E':
        case 'G':
        case 'H':
        case 'F':
            return MapControlledSource(letter);
        case 'R':
        case 'C':
        case 'L':
            return MapPassive(letter);
        default:
            return false;
    }
}

bool TPSpiceTemplateImporter::MapIndependentSource(bool voltage) {
    SetImplementationParameter("Kind", voltage ? "Voltage Source" : "Current Source");
    SetImplementationParameter("Spice Prefix", voltage ? "V" : "I");
    const SourceRow* row = FindSourceRow(ModelName, voltage);
    if (!row) {
        // Another voltage source keeps its own template in the generic editor; another current
        // source takes the generic path.
        if (!voltage) return false;
        SetImplementationParameter("SubKind", "Generic Editor");
        if (!NetlistTemplate.empty()) SetImplementationParameter("Netlist", BuiltNetlistTemplate());
        return true;
    }
    SetImplementationParameter("SubKind", row->subKind);
    SetImplementationParameter("Netlist", row->netlist);
    for (const SourceRename& rename : row->renames)
        MapProperty(voltage ? rename.voltage : rename.current, rename.target, true);
    return true;
}

bool TPSpiceTemplateImporter::MapControlledSource(char letter) {
    if (letter == 'E' && platform::SameTextNoCase(ModelName, "MULT")) {
        SetImplementationParameter("Spice Prefix", "E");
        SetImplementationParameter("Kind", "General");
        SetImplementationParameter("SubKind", "Generic Editor");
        if (!NetlistTemplate.empty()) SetImplementationParameter("Netlist", BuiltNetlistTemplate());
        return true;
    }
    const bool voltageOut = letter == 'E' || letter == 'H';
    const bool voltageControlled = letter == 'E' || letter == 'G';
    SetImplementationParameter("Kind", voltageOut ? "Voltage Source" : "Current Source");
    SetImplementationParameter("SubKind", voltageControlled ? "Voltage-Controlled" : "Current-Controlled");
    SetImplementationParameter("Spice Prefix", std::string(1, letter));
    // A current-controlled source senses its current through a zero-volt source of its own.
    SetImplementationParameter("Netlist", voltageControlled
                                              ? "@DESIGNATOR %3 %4 %1 %2 @GAIN"
                                              : "V@DESIGNATOR %1 %2 0V\r\n@DESIGNATOR %3 %4 V@DESIGNATOR @GAIN");
    MapProperty("GAIN", "Gain", true);
    return true;
}

bool TPSpiceTemplateImporter::MapPassive(char letter) {
    SetImplementationParameter("Kind", "General");
    SetImplementationParameter("SubKind", letter == 'R' ? "Resistor" : letter == 'C' ? "Capacitor" : "Inductor");
    SetImplementationParameter("Spice Prefix", std::string(1, letter));
    SetImplementationParameter("Netlist", letter == 'L'
                                              ? R"(@DESIGNATOR %1 %2 @VALUE ?"INITIAL CURRENT"|IC=@"INITIAL CURRENT"|)"
                                              : "@DESIGNATOR %1 %2 @VALUE");
    MapProperty("Value", "Value", false);
    MapProperty("TOLERANCE", "Tolerance", false);
    if (letter == 'C') MapProperty("IC", "Initial Voltage", false);
    if (letter == 'L') MapProperty("IC", "Initial Current", false);
    return true;
}

bool TPSpiceTemplateImporter::MapProperty(const std::string& source, const std::string& target, bool rename) {
    ISch_Parameter* parameter = FindParameter(Component, source);
    if (!parameter) return false;
    std::string text = parameter->GetState_Text();
    if (text.empty()) return false;
    // A value in curly braces is a PSpice expression; the host takes it without them.
    size_t open = text.find('{');
    if (open != std::string::npos && text.find('}', open + 1) != std::string::npos)
        std::erase_if(text, [](char c) { return c == '{' || c == '}'; });
    if (rename) {
        parameter->SetState_Name(target);
        parameter->SetState_Text(text);
    } else {
        GetOrCreateParameter(Implementation, target)->SetState_Text(text);
    }
    return true;
}

std::string TPSpiceTemplateImporter::BuiltNetlistTemplate() const {
    size_t at = FindNoCase(NetlistTemplate, "@DESIGNATOR");
    if (at != std::string::npos && !NetlistTemplate.empty() && !SpicePrefix.empty() &&
        platform::FoldUpper(NetlistTemplate.front()) == platform::FoldUpper(SpicePrefix.front()))
        return NetlistTemplate.substr(at);
    return NetlistTemplate;
}

void TPSpiceTemplateImporter::HandOverValue() {
    ISch_Parameter* value = GetOrCreateParameter(Component, "Value");
    value->SetState_IsHidden(true);
    ISch_Parameter* comment = Component->GetState_SchComment();
    if (!comment || comment->GetState_Text() == "*") return;
    value->SetState_Text(comment->GetState_Text());
    value->SetState_Autoposition(comment->GetState_Autoposition());
    value->SetState_ShowName(comment->GetState_ShowName());
    value->SetState_Location(comment->GetState_Location());
    value->SetState_Color(comment->GetState_Color());
    value->SetState_FontId(comment->GetState_FontId());
    value->SetState_Orientation(comment->GetState_Orientation());
    value->SetState_Justification(comment->GetState_Justification());
    comment->SetState_Text("=Value");
}

host::ISch_Implementation* TPSpiceTemplateImporter::FindOrCreateImplementation() {
    auto it = Component->SchIterator_Create({host::eImplementation}, host::eIterateFirstLevel);
    for (ISch_BasicContainer* o = it->FirstSchObject(); o; o = it->NextSchObject())
        if (auto* implementation = As<host::ISch_Implementation>(o))
            if (platform::SameTextNoCase(implementation->GetState_ModelType(), "SIM") &&
                implementation->GetState_IsCurrent())
                return implementation;
    return Component->AddImplementation();
}

ISch_Parameter* TPSpiceTemplateImporter::GetOrCreateParameter(ISch_BasicContainer* container, const std::string& name) {
    if (ISch_Parameter* parameter = FindParameter(container, name)) return parameter;
    host::ISch_ServerInterface* server = host_.SchServer();
    if (!server) throw host::EApiErr("The schematic server does not run: no parameter \"" + name + "\" can be made");
    ISch_BasicContainer* made = server->CreateSchObject(host::eParameter, 0);
    auto* parameter = As<ISch_Parameter>(made);
    if (!parameter) {
        if (made) server->DestroySchObject(made);
        throw host::EApiErr("The schematic server made no parameter \"" + name + "\"");
    }
    parameter->SetState_Name(name);
    container->AddSchObject(parameter);
    return parameter;
}

void TPSpiceTemplateImporter::SetImplementationParameter(const std::string& name, const std::string& value) {
    GetOrCreateParameter(Implementation, name)->SetState_Text(value);
}

// ----- The importers' hooks ------------------------------------------------------------------------

bool ImportComponentSimulation(host::IHostApplication& host, host::ISch_Component* component,
                               const dbo::TDboLibComponent& cached, TPSpiceModelImportManager* manager,
                               host::ILogSection* log) {
    std::string name = cached.PartInfo ? cached.PartInfo->CompName : std::string();
    std::string path;
    bool model = false;
    for (int i = 0; i < cached.Packages.Count(); ++i) {
        const dbo::TDboLibPackage* package = cached.Packages.GetPackages(i);
        const dbo::TDboLibView* view = package && package->Views.Count() > 0 ? package->Views.GetViews(0) : nullptr;
        if (!view || view->GetImplementationType() != dbo::TDboLibView::kImplementationPSpiceModel ||
            view->Implement.empty())
            continue;
        name = view->Implement;
        path = view->Path;
        model = true;
        if (manager) manager->AddModel(name, path);
    }
    return TPSpiceTemplateImporter(host, {}, component, name, path, model, log).Run();
}

bool ImportPartSimulation(host::IHostApplication& host, host::ISch_Component* component, const dbo::TDboPart& part,
                          TPSpiceModelImportManager* manager, host::ILogSection* log) {
    std::string name, file;
    bool model = false;
    std::string implementation = part.GetImplementation();
    if (part.GetImplementationType() == dbo::TDboPart::kImplementationPSpiceModel && !implementation.empty()) {
        name = implementation;
        model = true;
        if (manager)
            if (TPSpiceModel* found = manager->ImportModel(name, part.GetImplementationPath())) file = found->ModelFile;
    } else {
        name = part.SrcPkg;
    }
    return TPSpiceTemplateImporter(host, {}, component, name, file, model, log).Run();
}

}  // namespace orcadx::pspice
