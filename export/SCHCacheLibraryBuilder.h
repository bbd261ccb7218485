// The library material of a design export: every component that the project's sheets place and
// every standard symbol (power, port, off-page) pass through the library export into the design
// before any sheet is exported, so that the sheet exporters find them by name.
#pragma once

#include <memory>

#include "export/SCHExport.h"
#include "import/SchLibManager.h"

namespace orcadx::exporter {

// The host library that the host derives from the project ("TempLibForExport.SchLib": one
// component for each library reference placed on the project's sheets), and the host's library of
// standard Capture symbols ("OrCAD-CAPSYM.SchLib" in its templates folder).
class TSCHCacheBuilder {
public:
    TSCHCacheBuilder(host::IHostApplication& host, host::IProject* project);
    // Closes both libraries without saving: the symbol library first.
    ~TSCHCacheBuilder();
    TSCHCacheBuilder(const TSCHCacheBuilder&) = delete;
    TSCHCacheBuilder& operator=(const TSCHCacheBuilder&) = delete;

    host::IProject* Project;
    std::unique_ptr<importer::TSchLibraryManager> ProjectLibrary;
    std::unique_ptr<importer::TSchLibraryManager> SymbolLibrary;

    // Focuses the project's first sheet, has the host write the temporary library, and opens both
    // libraries hidden. A failing host call raises.
    void Run();

private:
    host::IHostApplication& host_;
};

// Exports the two libraries of its builder into the design: the project's components first, so
// that a name found in both is found in the project's library.
class TSCHCacheExporter : public TSCHCommonExporter {
public:
    TSCHCacheExporter(host::IHostApplication& host, dbo::TDboDesign* design, host::IProject* project);

    std::unique_ptr<TSCHCacheBuilder> Builder;

    void RunExport() override;
};

// Name of the library that the host writes for the export, and of the host's standard symbols.
inline constexpr const char* kTempLibraryName = "TempLibForExport.SchLib";
inline constexpr const char* kSymbolLibraryName = "OrCAD-CAPSYM.SchLib";

}  // namespace orcadx::exporter
