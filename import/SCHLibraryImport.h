// Library import: the packages and symbols of a Capture file become the components of one host
// schematic library. A Capture library is imported by this alone; a design has its cached library
// translated here first, because its pages place components from the result.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "import/SCHBaseImport.h"

namespace orcadx::dbo {
class TDboLibBaseView;
class TDboLibComponent;
class TDboLibPackage;
class TDboLibPart;
class TDboLibPartPin;
class TDboLibSymbol;
class TDboPin;
}  // namespace orcadx::dbo

namespace orcadx::pspice {
class TPSpiceModelImportManager;
}  // namespace orcadx::pspice

namespace orcadx::importer {

// Hidden parameters that carry a symbol's extents from the library import to the page import:
// "Vantor-Right" and "Vantor-Bottom" for the first package, with the package number appended for
// the others.
extern const char kExtentRight[];
extern const char kExtentBottom[];

// The aliases of the file by part name (ASCII case folded), in file order.
using AliasIndex = std::unordered_map<std::string, std::vector<std::string>>;
AliasIndex BuildAliasIndex(const dbo::TDboDesign& design);

// Pins, graphics and properties of views and symbols into one host component.
class TSCHBaseLibraryComponentImporter : public TSCHCommonImporter {
public:
    // `Document` and `Container` are the library; `component` stands in it and is current.
    TSCHBaseLibraryComponentImporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                     host::IOrcadImporterOption* options, host::ILogSection* log, host::ISch_Lib* library,
                                     host::ISch_Component* component);

    host::ISch_Component* Component;

    // A new free pin for `pin`, numbered from `partPin` when given.
    virtual host::ISch_Pin* ImportPin(dbo::TDboPin* pin, dbo::TDboLibPartPin* partPin);

    // Every pin of the view into the component's current part and display mode; `part` gives the
    // pin numbers and may be null.
    void ImportPins(dbo::TDboLibBaseView* view, dbo::TDboLibPart* part);
    void ImportViewGraphics(dbo::TDboLibBaseView* view);
    // A hidden parameter of the current part.
    void AddHiddenParameter(const std::string& name, const std::string& text);
    // The side of the component a zero-length pin lies nearest to, as a pin orientation.
    static int NearestEdge(host::ISch_Pin* pin, host::ISch_Component* component);
};

// One cached component (its packages and part information) into one host component.
class TSCHLibraryComponentImporter : public TSCHBaseLibraryComponentImporter {
public:
    TSCHLibraryComponentImporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                 host::IOrcadImporterOption* options, host::ILogSection* log, host::ISch_Lib* library,
                                 host::ISch_Component* component, dbo::TDboLibComponent* package,
                                 pspice::TPSpiceModelImportManager* modelManager, const AliasIndex* aliases = nullptr);

    dbo::TDboLibComponent* Package;
    pspice::TPSpiceModelImportManager* ModelManager;  // may be null
    bool TemplatesImported = false;

    void RunImport() override;
    void ImportParts();
    void ImportPart(dbo::TDboLibPart* part, dbo::TDboLibPackage* package);
    void ImportAliases();
    void ImportReferenceAndFootprint();
    void ImportSimulation();
    void ImportExtentParameters();

private:
    const AliasIndex* aliases_;
    std::unique_ptr<AliasIndex> ownAliases_;
};

// A symbol (title block, power, port, off-page) into one graphical host component.
class TSCHLibrarySymbolImporter : public TSCHBaseLibraryComponentImporter {
public:
    TSCHLibrarySymbolImporter(host::IHostApplication& host, dbo::TDboDesign* design, host::IOrcadImporterOption* options,
                              host::ILogSection* log, host::ISch_Lib* library, host::ISch_Component* component,
                              dbo::TDboLibSymbol* symbol);

    dbo::TDboLibSymbol* Symbol;

    host::ISch_Pin* ImportPin(dbo::TDboPin* pin, dbo::TDboLibPartPin* partPin) override;
    void RunImport() override;
};

// The whole file into the library document.
class TSCHLibraryImporter : public TSCHImporter {
public:
    // Sets the library's display unit to tens of mils.
    TSCHLibraryImporter(host::IHostApplication& host, dbo::TDboDesign* design, host::IOrcadImporterOption* options,
                        host::ILogSection* log, host::ISch_Document* document, host::IHandler_Status* status,
                        int32_t progressSteps);
    ~TSCHLibraryImporter() override;

    host::ISch_Lib* Document;
    host::IHandler_Status* Status;
    int32_t ProgressSteps;
    // The PSpice model import of a library file's own import; null otherwise.
    std::shared_ptr<pspice::TPSpiceModelImportManager> ModelManager;
    bool TemplatesImported = false;

    void RunImport() override;
    void ImportComponent(dbo::TDboLibComponent* cached);
    void ImportSymbol(dbo::TDboLibSymbol* symbol);

private:
    host::ISch_Component* NewComponent(const std::string& libReference);
    // Logs the packages of the directory whose stream could not be read.
    void ReportMissingPackages();
    AliasIndex aliases_;
};

// The file name of the library that an import of `sourceFile` makes in `folder`: the source's name
// with its extension replaced by "_Library.SchLib".
std::string LibraryFileName(const std::string& sourceFile, const std::string& folder);

// Makes the host library of a loaded file and returns its full file name, or "" when the file has
// neither components nor symbols. `libraryOnly` is set for the import of a library file: then 80
// percent of `progress` go to the components and 20 to the PSpice models. `templatesImported` is
// set when a PSpice template became a simulation model.
std::string ImportLibrary(host::IHostApplication& host, dbo::TDboDesign& design, host::IOrcadImporterOption* options,
                          host::IHandler_Status* status, int32_t progress, host::ILogSection* logs,
                          const std::string& folder, host::IProject* project, bool libraryOnly,
                          bool& templatesImported);

// What ImportLibrary would make: the library's name into `documentNames`, and with `modelNames` the
// PSpice models that the views name. Makes nothing in the host.
void AnalyzeLibrary(const dbo::TDboDesign& design, host::IStringList* documentNames, host::IStringList* modelNames);

// Strips the extent parameters from every component of the library file, saves and closes it.
void RemoveExtentParameters(host::IHostApplication& host, const std::string& libraryFile);

}  // namespace orcadx::importer
