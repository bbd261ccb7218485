// A part's "PSpiceTemplate" becomes a simulation model of the host component: an implementation
// of model type "SIM". The well-known PSpice devices (sources, controlled sources, resistors,
// capacitors, inductors) become native host models with kind, sub-kind and a host netlist
// template; every other part keeps its PSpice template and points to its model file.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "host/ClientInterfaces.h"
#include "pspice/PSpiceModelImport.h"

namespace orcadx::dbo {
class TDboLibComponent;
class TDboPart;
}  // namespace orcadx::dbo

namespace orcadx::pspice {

// Serves one component and runs once.
class TPSpiceTemplateImporter {
public:
    // An empty `templateText` makes Run read the component's "PSpiceTemplate" parameter. The host
    // gives the schematic server (to make parameters) and the simulation server (to check a model).
    TPSpiceTemplateImporter(host::IHostApplication& host, std::string templateText, host::ISch_Component* component,
                            std::string modelName, std::string modelFile, bool hasModelImplementation,
                            host::ILogSection* log);

    host::ILogSection* Log = nullptr;
    std::string Template;
    host::ISch_Component* Component = nullptr;
    host::ISch_Implementation* Implementation = nullptr;
    std::string ModelName;
    std::string ModelFile;
    std::string PinMap;
    std::string NetlistTemplate;
    std::string SpicePrefix;
    bool UsesValue = false;
    bool HasModelImplementation = false;

    // True when the component has a template, whatever came of it; false means nothing was touched.
    bool Run();

private:
    void Prepare();
    void MapPins();
    void ProcessPin(const std::string& pin, std::string& output);
    void Apply();
    bool MapDevice();
    bool MapIndependentSource(bool voltage);
    bool MapControlledSource(char letter);
    bool MapPassive(char letter);
    bool MapProperty(const std::string& source, const std::string& target, bool rename);
    std::string BuiltNetlistTemplate() const;
    void HandOverValue();
    void InitializeSimulationModel();
    host::ISch_Implementation* FindOrCreateImplementation();
    host::ISch_Parameter* GetOrCreateParameter(host::ISch_BasicContainer* container, const std::string& name);
    void SetImplementationParameter(const std::string& name, const std::string& value);
    void LogPinError(const std::string& pin);

    host::IHostApplication& host_;
    // Pin pass state: the template's pins in order of first use, and the component's pins by name.
    TNameList pins_;
    std::unordered_map<std::string, std::vector<std::string>> designatorsByPin_;
};

// The first parameter of that name among the container's direct children, ASCII case ignored.
host::ISch_Parameter* FindParameter(host::ISch_BasicContainer* container, const std::string& name);

// The library import's hook, for a component made from a cached Capture component: the model that
// its packages name (the last package that names one decides) is noted at `manager` (may be null),
// and the component's template becomes its simulation model. True when a template was imported.
bool ImportComponentSimulation(host::IHostApplication& host, host::ISch_Component* component,
                               const dbo::TDboLibComponent& cached, TPSpiceModelImportManager* manager,
                               host::ILogSection* log);

// The design import's hook, for a placed part: a part implemented by a PSpice model has the model
// extracted at once by `manager` (may be null) and linked; the template becomes the component's
// simulation model. True when a template was imported.
bool ImportPartSimulation(host::IHostApplication& host, host::ISch_Component* component, const dbo::TDboPart& part,
                          TPSpiceModelImportManager* manager, host::ILogSection* log);

}  // namespace orcadx::pspice
