// The top of a design export: a host project becomes a Capture design. All library material goes
// into the design first, then the project is compiled, every sheet gets its page and page name, and
// only then are the sheets exported, so that a sheet symbol on any sheet finds the name of the page
// it stands for. Each sheet becomes a view of its own with one page.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "export/Manage_PageNames.h"
#include "export/SCHCacheLibraryBuilder.h"
#include "export/SCHExport.h"
#include "export/SCHSheetExport.h"
#include "export/StringMap.h"

namespace orcadx::dbo {
class TDboPage;
}

namespace orcadx::exporter {

class TSCHProjectExporter : public TSCHExporter {
public:
    TSCHProjectExporter(host::IHostApplication& host, dbo::TDboDesign* design, host::IProject* project);
    ~TSCHProjectExporter() override;

    host::IHostApplication& Host;
    // Declared in the order of their release in reverse: the view map goes first, the name manager
    // last.
    TPageNameManager PageNames;
    std::unique_ptr<TSCHCacheExporter> CacheExporter;
    host::IProject* Project;

    // Nothing happens for a project without documents.
    void RunExport() override;

    // One per sheet of the project that the schematic server has open, in document order.
    int SheetExporterCount() const { return static_cast<int>(sheets_.size()); }
    TSCHSheetExporter* GetSheetExporter(int index) const;

    // Sections are the Capture views, values the page names with the sheet's index as object.
    TStringMap ViewMap;

private:
    struct SheetSlot;
    void CreateSheetExporters();
    void BuildViewMap();
    void FillViews();
    std::vector<std::unique_ptr<SheetSlot>> sheets_;
};

// Writes the project as a Capture design file of the given version. Failures are exceptions, and
// then no file is written. A project without documents gives an empty design.
void ExportProject(host::IHostApplication& host, host::IProject* project, const std::string& fileName,
                   uint32_t version);

}  // namespace orcadx::exporter
