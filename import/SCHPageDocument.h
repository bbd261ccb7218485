// One Capture page as one host sheet document: the document made and sized like the page, the
// page importer run on it, the sheet saved. The design import runs these for every page; until it
// does, one page of a design imports on its own through ImportDesignPage.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/ClientInterfaces.h"

namespace orcadx::dbo {
class TDboDesign;
class TDboPage;
}  // namespace orcadx::dbo

namespace orcadx::exporter {
class TPageNameManager;
}

namespace orcadx::pspice {
class TPSpiceModelImportManager;
}

namespace orcadx::importer {

// A view notification that carries a host rectangle: code 24 asks a document to show that area.
class TViewNotification_CoordRect final : public host::INotification {
public:
    TViewNotification_CoordRect(int32_t code, host::CoordRect rect) : code_(code), rect_(rect) {}
    int32_t GetCode() const override { return code_; }
    bool GetCoordRect(host::CoordRect& rect) const override {
        rect = rect_;
        return true;
    }
    const host::CoordRect& Rect() const { return rect_; }

private:
    int32_t code_;
    host::CoordRect rect_;
};

// The host's conversions of lengths: mils and millimetres to host units.
int32_t MilToCoord(double mils);
int32_t MmToCoord(double millimetres);

// A new sheet in `folder` named after the page by `pageNames`, added to `project` (when given),
// with the page's size, margin and zones (one of the host's sheet styles when all five agree) and
// the import scale as its grid. Null when the host gives no document.
host::ISch_Document* CreatePageDocument(host::IHostApplication& host, const std::string& folder, host::IProject* project,
                                        host::IOrcadImporterOption* options, exporter::TPageNameManager& pageNames,
                                        const std::string& viewName, dbo::TDboPage& page);

// Makes the page's document and fills it with the page importer, between bulk changes; the sheet
// is saved and hidden and stays open. Null when the host gives no document. Placed parts are taken
// from the library `libraryName`; `modelManager` (may be null) extracts the PSpice models they name,
// and `templatesImported` is set when a part's PSpice template became a simulation model.
// `afterUpdate` runs on the sheet after its connectivity update, within a bulk change.
host::ISch_Document* ImportPage(host::IHostApplication& host, dbo::TDboDesign& design, const std::string& libraryName,
                                host::IOrcadImporterOption* options, host::ILogSection* log, const std::string& folder,
                                host::IProject* project, exporter::TPageNameManager& pageNames,
                                const std::string& viewName, dbo::TDboPage& page,
                                pspice::TPSpiceModelImportManager* modelManager = nullptr,
                                bool* templatesImported = nullptr,
                                const std::function<void(host::ISch_Sheet*)>& afterUpdate = {});

// Imports one page of the design file `fileName` into a sheet in `folder`: the file is loaded, its
// hierarchy folded into the placed objects, every page named as the design import names them, the
// design's library imported (its parts are placed from it), and the page `viewAndPage`
// ("VIEW/PAGE"; a page name alone when only one view has it) imported. Gives the document's path.
// Raises when the file can't be loaded or has no such page.
std::string ImportDesignPage(host::IHostApplication& host, const std::string& fileName, const std::string& viewAndPage,
                             host::IOrcadImporterOption* options, host::IHandler_Status* status, host::ILogSection* log,
                             const std::string& folder, host::IProject* project);

}  // namespace orcadx::importer
