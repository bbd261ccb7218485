// The design import: every view and page of a loaded Capture design becomes one host sheet of a
// project, in natural page order, with an intermediate sheet for each sheet symbol that stands for a
// view of several pages; the PSpice models that the parts name are copied into the project and the
// simulation profiles follow when a page imported a PSpice template. The same class tells, without
// making anything, which documents and models an import would make.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "export/Manage_PageNames.h"
#include "import/SCHBaseImport.h"

namespace orcadx::dbo {
class TDboPage;
class TDboSchematics;
}  // namespace orcadx::dbo

namespace orcadx::pspice {
class TPSpiceModelImportManager;
class TPSpiceSimulationProfileImportManager;
}  // namespace orcadx::pspice

namespace orcadx::importer {

class TSCHDesignImporter : public TSCHImporter {
public:
    // `progress` is this import's share of the caller's progress: seven tenths go to the pages,
    // two to the models, one to the profiles.
    TSCHDesignImporter(host::IHostApplication& host, dbo::TDboDesign* design, const std::string& libraryName,
                       host::IOrcadImporterOption* options, host::IHandler_Status* status, int32_t progress,
                       host::ILogSection* log, const std::string& folder, host::IProject* project);
    ~TSCHDesignImporter() override;

    std::string LibraryName;
    exporter::TPageNameManager PageNames;
    host::IHandler_Status* Status = nullptr;
    int32_t ProgressSteps = 0;
    std::string Folder;
    host::IProject* Project = nullptr;
    std::unique_ptr<pspice::TPSpiceModelImportManager> ModelManager;
    std::unique_ptr<pspice::TPSpiceSimulationProfileImportManager> ProfileManager;
    bool TemplatesImported = false;

    // Imports every page (views and pages sorted), the intermediate sheets, the models, and the
    // profiles when a template was imported. Each page document is closed at the end.
    void RunImport() override;
    // The documents of the pages, in file order, and the models their parts name.
    void RunAnalysis(host::IStringList* documentNames, host::IStringList* modelNames);
    // One page as a saved sheet, still open; null when the host gives no document.
    host::ISch_Document* ImportPage(const std::string& viewName, dbo::TDboPage& page);
    // Gives the parameters of the sheet's PARAM parts to the profiles and removes those parts.
    void ExtractGlobalParams(host::ISch_Sheet* sheet);
    // Every sheet symbol among `documents` whose file name lists several documents gets an
    // intermediate sheet of its own holding one symbol per listed document.
    void UpdateSheetSymbols(const std::string& folder, const std::vector<host::ISch_Document*>& documents);
    void CreateIntermediateSheet(const std::string& name, host::ISch_SheetSymbol* symbol,
                                 const std::vector<host::ISch_Document*>& documents);

private:
    void RegisterPageNames();
    // A stub and a port on the intermediate sheet for a new entry of the symbol at (x, y).
    void AddEntryStub(host::ISch_Document* sheet, host::ISch_SheetEntry* entry, int32_t x, int32_t y,
                      host::ISch_SheetSymbol* symbol, int32_t& columnWidth);
};

// The design import of a loaded design after its library import (`libraryName`); sets
// `templatesImported` when a page imported a PSpice template.
void ImportDesign(host::IHostApplication& host, dbo::TDboDesign& design, const std::string& libraryName,
                  host::IOrcadImporterOption* options, host::IHandler_Status* status, int32_t progress,
                  host::ILogSection* log, const std::string& folder, host::IProject* project, bool& templatesImported);

// The documents and models an import of the design would make; nothing is made.
void AnalyzeDesign(dbo::TDboDesign& design, host::IStringList* documentNames,
                   host::IStringList* modelNames);

}  // namespace orcadx::importer
