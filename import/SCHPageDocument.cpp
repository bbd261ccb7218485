#include "import/SCHPageDocument.h"

#include <cmath>
#include <filesystem>

#include "dbo/DboDesign.h"
#include "dbo/DboViewObjects.h"
#include "export/Manage_PageNames.h"
#include "host/ClientServices.h"
#include "import/ProcessHierarchy.h"
#include "import/SCHLibraryImport.h"
#include "import/SCHSheetImport.h"
#include "platform/Status.h"
#include "pspice/PSpiceModelImport.h"

namespace orcadx::importer {

namespace {

int32_t Clamp32(double value) {
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

// `value` with its fraction rounded to `digits` decimals, as the sheet scale factors are.
double RoundFraction(double value, int digits) {
    double whole = std::trunc(value);
    double scale = std::pow(10.0, digits);
    return whole + std::round((value - whole) * scale) / scale;
}

// Runs `body` between BeginBulkChange and EndBulkChange, ending the state also on an exception.
template <class F>
void InBulkChange(host::ISch_Document* document, F&& body) {
    document->BeginBulkChange();
    try {
        body();
    } catch (...) {
        document->EndBulkChange();
        throw;
    }
    document->EndBulkChange();
}

}  // namespace

int32_t MilToCoord(double mils) { return Clamp32(std::round(mils * 10000)); }
int32_t MmToCoord(double millimetres) { return Clamp32(std::round(millimetres * 10000 / 0.0254)); }

host::ISch_Document* CreatePageDocument(host::IHostApplication& host, const std::string& folder, host::IProject* project,
                                        host::IOrcadImporterOption* options, exporter::TPageNameManager& pageNames,
                                        const std::string& viewName, dbo::TDboPage& page) {
    std::filesystem::path name = pageNames.GetUniquePageName(viewName, page.PageName);
    name.replace_extension(".SchDoc");
    const std::string path = (std::filesystem::path(folder) / name).string();
    host::IServerDocument* server = host::OpenOrCreateDocument(host, path, "SCH", "BINARY", true);
    if (host.Client()) host.Client()->StartServer("SCH");
    host::ISch_ServerInterface* schServer = host.SchServer();
    host::ISch_Document* document = schServer ? schServer->GetSchDocumentByPath(path) : nullptr;
    if (!document) return nullptr;
    if (project) project->AddSourceDocument(path);

    document->SetState_UseCustomSheet(true);
    document->SetState_CustomZonesX(page.GridHorCnt);
    document->SetState_CustomZonesY(page.GridVertCnt);
    const int32_t scale = options ? options->GetImportScale() : 0;
    if (scale > 0) {
        document->SetState_SnapGridSize(scale);
        document->SetState_VisibleGridSize(scale);
    }
    const int32_t margin = std::max(page.GridHorWidth, page.GridVertWidth);
    const bool metric = page.Units != 0;
    document->SetState_DisplayUnit(metric ? host::eUnitMM : host::eUnitMil);
    if (metric) {
        document->SetState_CustomMargin(MmToCoord(margin / 1000.0));
        document->SetState_CustomX(MmToCoord(page.Width / 1000.0));
        document->SetState_CustomY(MmToCoord(page.Height / 1000.0));
    } else {
        document->SetState_CustomMargin(MilToCoord(margin));
        document->SetState_CustomX(MilToCoord(page.Width));
        document->SetState_CustomY(MilToCoord(page.Height));
    }
    if (options && options->GetScaleSheetToPinSpacing() && scale > 0 && page.Pin2PinSpacing > 0) {
        auto scaled = [&](int32_t x) {
            if (metric) {
                double f = RoundFraction(0.0254 * scale / 10000, 5);
                return Clamp32(std::round(x * f * 1000 / page.Pin2PinSpacing));
            }
            double f = RoundFraction(scale / 10000.0, 3);
            return Clamp32(std::round(x * f / page.Pin2PinSpacing));
        };
        document->SetState_CustomX(scaled(document->GetState_CustomX()));
        document->SetState_CustomY(scaled(document->GetState_CustomY()));
    }
    // A size that one of the host's sheet styles has exactly becomes that style.
    if (host::ISch_Preferences* preferences = schServer->GetPreferences()) {
        for (int32_t style = 0; style <= 17; ++style) {
            if (document->GetState_CustomX() == preferences->GetState_SheetStyle_XSize(style) &&
                document->GetState_CustomY() == preferences->GetState_SheetStyle_YSize(style) &&
                document->GetState_CustomMargin() == preferences->GetState_SheetStyle_MarginWidth(style) &&
                document->GetState_CustomZonesX() == preferences->GetState_SheetStyle_XZones(style) &&
                document->GetState_CustomZonesY() == preferences->GetState_SheetStyle_YZones(style)) {
                document->SetState_SheetStyle(style);
                document->SetState_UseCustomSheet(false);
                break;
            }
        }
    }
    if (server) server->Notify(TViewNotification_CoordRect(24, {0, 0, document->GetState_CustomX(), document->GetState_CustomY()}));
    if (host.Client()) host.Client()->RunProcess("Sch:Zoom", "Action=Document");
    return document;
}

host::ISch_Document* ImportPage(host::IHostApplication& host, dbo::TDboDesign& design, const std::string& libraryName,
                                host::IOrcadImporterOption* options, host::ILogSection* log, const std::string& folder,
                                host::IProject* project, exporter::TPageNameManager& pageNames,
                                const std::string& viewName, dbo::TDboPage& page,
                                pspice::TPSpiceModelImportManager* modelManager, bool* templatesImported,
                                const std::function<void(host::ISch_Sheet*)>& afterUpdate) {
    host::ISch_Document* document = CreatePageDocument(host, folder, project, options, pageNames, viewName, page);
    if (!document) return nullptr;
    document->SetState_Enabled(false);
    const bool withTemplate = options && options->GetUseTemplate();
    document->SetState_ShowTemplateGraphics(withTemplate);
    if (withTemplate) document->SetState_TemplateFileName(options->GetTemplateFileName());
    InBulkChange(document, [&] {
        TSCHPageImporter importer(host, &design, libraryName, options, log, &page, document, &pageNames);
        importer.ModelManager = modelManager;
        importer.RunImport();
        if (importer.TemplatesImported && templatesImported) *templatesImported = true;
    });
    if (auto* sheet = dynamic_cast<host::ISch_Sheet*>(document))
        InBulkChange(sheet, [&] {
            sheet->UpdateConnectivity();
            if (afterUpdate) afterUpdate(sheet);
        });
    host::SaveAndHideDocument(host, document);
    document->SetState_Enabled(true);
    return document;
}

std::string ImportDesignPage(host::IHostApplication& host, const std::string& fileName, const std::string& viewAndPage,
                             host::IOrcadImporterOption* options, host::IHandler_Status* status, host::ILogSection* log,
                             const std::string& folder, host::IProject* project) {
    if (host.Client()) host.Client()->StartServer("SCH");
    dbo::TDboDesign design(fileName, status, 100, log);
    if (!design.Load(false)) throw std::runtime_error("Cannot load the design " + fileName);
    // The occurrences of the hierarchy fold into the placed objects before any page is translated.
    TProcessHierarchy().Run(design);
    // Names in file order, as the design import gives them, so that every page keeps its name.
    exporter::TPageNameManager pageNames;
    std::pair<dbo::TDboSchematics*, dbo::TDboPage*> exact{}, byPageName{};
    int pageNameMatches = 0;
    for (int v = 0; v < design.ViewCount(); ++v) {
        dbo::TDboSchematics* view = design.GetViews(v);
        for (auto& page : view->Pages) {
            pageNames.GetUniquePageName(view->ViewName, page->PageName);
            if (!exact.second && viewAndPage == view->ViewName + "/" + page->PageName) exact = {view, page.get()};
            if (viewAndPage == page->PageName && pageNameMatches++ == 0) byPageName = {view, page.get()};
        }
    }
    auto [foundView, found] = exact.second ? exact : byPageName;
    if (!exact.second && pageNameMatches > 1)
        throw std::runtime_error("The page name " + viewAndPage + " stands in several views of " + fileName +
                                 ": give VIEW/PAGE");
    if (!found) throw std::runtime_error("The design " + fileName + " has no page " + viewAndPage);
    // The library first: the page's parts, its title block and the symbols of the native rules are its
    // components.
    bool templatesImported = false;
    const std::string library =
        ImportLibrary(host, design, options, status, 100, log, folder, project, false, templatesImported);
    pspice::TPSpiceModelImportManager models(&host, design.FileName, project, options, status, 0, log);
    host::ISch_Document* document = ImportPage(host, design, library, options, log, folder, project, pageNames,
                                               foundView->ViewName, *found, &models, &templatesImported);
    if (!library.empty()) RemoveExtentParameters(host, library);
    if (!document) throw std::runtime_error("The host made no document for the page " + viewAndPage);
    std::string path = document->GetState_DocumentName();
    models.RunImport();
    host::CloseServerDocument(host, document);
    return path;
}

}  // namespace orcadx::importer
