#include "import/SCHDesignImport.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "dbo/DboDesign.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "host/ClientServices.h"
#include "import/HostIteration.h"
#include "import/ProcessHierarchy.h"
#include "import/SCHPageDocument.h"
#include "import/SCHSheetImport.h"
#include "platform/NameIndex.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"
#include "platform/TextFiles.h"
#include "pspice/PSpiceModelImport.h"
#include "pspice/PSpiceProfileImport.h"

namespace orcadx::importer {

using platform::FileNameOf;

namespace fs = std::filesystem;

namespace {

std::string WithExtension(const std::string& name, const std::string& extension) {
    return fs::path(name).replace_extension(extension).string();
}

std::string InFolder(const std::string& folder, const std::string& name) {
    return (fs::path(folder) / name).string();
}

// The pages of every view in file order, named through `names`, and the PSpice models their parts
// name; shared by the analysis of the importer and AnalyzeDesign.
void AnalyzePages(dbo::TDboDesign& design, exporter::TPageNameManager& names, host::IStringList* documentNames,
                  host::IStringList* modelNames) {
    for (int v = 0; v < design.ViewCount(); ++v) {
        dbo::TDboSchematics* view = design.GetViews(v);
        for (auto& page : view->Pages) {
            std::string name = WithExtension(names.GetUniquePageName(view->ViewName, page->PageName), ".SchDoc");
            if (documentNames) documentNames->Add(name);
            if (!modelNames) continue;
            for (int i = 0; i < page->PartsAndBlocks->Count(); ++i) {
                auto* part = dynamic_cast<dbo::TDboPart*>(page->PartsAndBlocks->GetItems(i));
                if (!part || part->GetImplementationType() != dbo::TDboPart::kImplementationPSpiceModel) continue;
                std::string model = part->GetImplementation();
                if (!model.empty()) modelNames->Add(model);
            }
        }
    }
}

}  // namespace

// ----- Design importer ----------------------------------------------------------------------------

TSCHDesignImporter::TSCHDesignImporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                       const std::string& libraryName, host::IOrcadImporterOption* options,
                                       host::IHandler_Status* status, int32_t progress, host::ILogSection* log,
                                       const std::string& folder, host::IProject* project)
    : TSCHImporter(host, design, options, log), LibraryName(libraryName), Status(status), Folder(folder),
      Project(project) {
    const int32_t q = progress / 10;
    ProgressSteps = 7 * q;
    ModelManager = std::make_unique<pspice::TPSpiceModelImportManager>(&host, design->FileName, project, options,
                                                                       status, 2 * q, log);
    ProfileManager =
        std::make_unique<pspice::TPSpiceSimulationProfileImportManager>(design->FileName, project, status, q, log);
    RegisterPageNames();
}

TSCHDesignImporter::~TSCHDesignImporter() = default;

void TSCHDesignImporter::RegisterPageNames() {
    for (int v = 0; v < Design->ViewCount(); ++v) {
        dbo::TDboSchematics* view = Design->GetViews(v);
        for (auto& page : view->Pages) PageNames.GetUniquePageName(view->ViewName, page->PageName);
    }
}

void TSCHDesignImporter::RunImport() {
    TProcessHierarchy().Run(*Design);
    platform::StatusReporter status(Status);
    const int total = Design->PageCount();
    status.Title("Importing Design");
    Design->SortViews();
    std::vector<host::ISch_Document*> documents;
    platform::ProgressSpreader progress(Status, ProgressSteps, total);
    int done = 0;
    for (int v = 0; v < Design->ViewCount(); ++v) {
        dbo::TDboSchematics* view = Design->GetViews(v);
        std::stable_sort(view->Pages.begin(), view->Pages.end(), [](const auto& a, const auto& b) {
            return dbo::NaturalCompare(a->PageName, b->PageName) < 0;
        });
        for (auto& page : view->Pages) {
            status.Line("Importing View " + view->ViewName + " of Page " + page->PageName);
            if (host::ISch_Document* document = ImportPage(view->ViewName, *page)) documents.push_back(document);
            progress.Step(++done);
        }
    }
    if (!platform::UseNativeImportRules()) UpdateSheetSymbols(Folder, documents);
    ModelManager->RunImport();
    for (host::ISch_Document* document : documents) host::CloseServerDocument(Host, document);
    if (TemplatesImported) ProfileManager->RunImport();
}

void TSCHDesignImporter::RunAnalysis(host::IStringList* documentNames, host::IStringList* modelNames) {
    AnalyzePages(*Design, PageNames, documentNames, modelNames);
}

host::ISch_Document* TSCHDesignImporter::ImportPage(const std::string& viewName, dbo::TDboPage& page) {
    bool templates = false;
    host::ISch_Document* document =
        importer::ImportPage(Host, *Design, LibraryName, Options, Log, Folder, Project, PageNames, viewName, page,
                             ModelManager.get(), &templates, [this](host::ISch_Sheet* sheet) { ExtractGlobalParams(sheet); });
    if (templates) TemplatesImported = true;
    return document;
}

void TSCHDesignImporter::ExtractGlobalParams(host::ISch_Sheet* sheet) {
    std::vector<host::ISch_Component*> params;
    for (auto* c : CollectObjects<host::ISch_Component>(sheet, {host::eSchComponent}))
        if (platform::SameTextNoCase(c->GetState_LibReference(), "PARAM")) params.push_back(c);
    for (auto it = params.rbegin(); it != params.rend(); ++it) {
        for (auto* p : CollectObjects<host::ISch_Parameter>(*it, {host::eParameter}))
            if (p->GetState_ShowName()) ProfileManager->AddGlobalParameter(p->GetState_Name(), p->GetState_Text());
        sheet->RemoveSchObject(*it);
        Server().DestroySchObject(*it);
    }
}

void TSCHDesignImporter::UpdateSheetSymbols(const std::string& folder, const std::vector<host::ISch_Document*>& documents) {
    // The documents by file name, case ignored.
    std::vector<std::string> fileNames;
    fileNames.reserve(documents.size());
    for (host::ISch_Document* document : documents) fileNames.push_back(FileNameOf(document->GetState_DocumentName()));
    auto nameAt = [&](uint32_t i) -> std::string_view { return fileNames[i]; };
    platform::NameIndex<true> byName;
    for (uint32_t i = 0; i < fileNames.size(); ++i) byName.Add(i, nameAt);

    for (host::ISch_Document* document : documents) {
        bool changed = false;
        for (auto* symbol : CollectObjects<host::ISch_SheetSymbol>(document, {host::eSheetSymbol})) {
            host::ISch_SheetFileName* fileName = symbol->GetState_SheetFileName();
            if (!fileName) continue;
            const std::string text = fileName->GetState_Text();
            if (text.find(';') == std::string::npos) continue;
            std::vector<host::ISch_Document*> listed;
            size_t start = 0;
            while (start <= text.size()) {
                size_t end = text.find(';', start);
                if (end == std::string::npos) end = text.size();
                const int64_t at = byName.Find(std::string_view(text).substr(start, end - start), nameAt);
                if (at >= 0 && documents[at] != document) listed.push_back(documents[at]);
                start = end + 1;
            }
            if (listed.empty()) continue;
            std::stable_sort(listed.begin(), listed.end(), [](host::ISch_Document* a, host::ISch_Document* b) {
                return dbo::NaturalCompare(FileNameOf(a->GetState_DocumentName()),
                                           FileNameOf(b->GetState_DocumentName())) < 0;
            });
            const std::string extension = Host.Client() ? Host.Client()->GetDefaultExtension("SCH") : ".SchDoc";
            std::string designator = symbol->GetState_SheetName() ? symbol->GetState_SheetName()->GetState_Text() : "";
            const std::string name = InFolder(folder, WithExtension(designator, extension));
            // A page of that name (in a file written from an earlier import, the intermediate sheet
            // itself) stays as it is: making the sheet anew would close a document still in use.
            if (byName.Find(FileNameOf(name), nameAt) >= 0) continue;
            CreateIntermediateSheet(name, symbol, listed);
            if (Project) Project->AddSourceDocument(name);
            fileName->SetState_Text(FileNameOf(name));
            changed = true;
        }
        // The sheet was saved before; closing it doesn't save, so it is saved again with the
        // symbols that now name their intermediate sheets.
        if (changed)
            if (host::IServerDocument* server = Host.Client() ? Host.Client()->GetDocumentByPath(document->GetState_DocumentName()) : nullptr)
                host::SaveDocument(Host, server, true, "Binary");
    }
}

void TSCHDesignImporter::CreateIntermediateSheet(const std::string& name, host::ISch_SheetSymbol* symbol,
                                                 const std::vector<host::ISch_Document*>& documents) {
    host::IServerDocument* server = host::OpenOrCreateDocument(Host, name, "SCH", "Binary", true);
    host::ISch_Document* sheet = Server().GetSchDocumentByPath(name);
    if (!sheet) return;
    const auto entries = CollectObjects<host::ISch_SheetEntry>(symbol, {host::eSheetEntry});
    int32_t x = MilToCoord(500), y = MilToCoord(7000);
    int32_t columnWidth = MilToCoord(2200), rowTop = MilToCoord(7000), rowHeight = 0;
    for (host::ISch_Document* document : documents) {
        auto* child = CreateObject<host::ISch_SheetSymbol>(host::eSheetSymbol);
        if (!child) return;
        const std::string path = document->GetState_DocumentName();
        if (auto* designator = child->GetState_SheetName()) {
            designator->SetState_Text(fs::path(path).stem().string());
            designator->SetState_Autoposition(false);
            designator->SetState_Location({x, y});
        }
        if (Host.Workspace()) child->SetState_UniqueId(Host.Workspace()->GenerateUniqueId());
        if (auto* file = child->GetState_SheetFileName()) {
            file->SetState_Text(FileNameOf(path));
            file->SetState_IsHidden(true);
        }
        child->SetState_XSize(MilToCoord(2000));
        if (!entries.empty()) {
            int32_t d = MilToCoord(100);
            const int32_t font = Server().GetFontManager()->GetFontID(6, 0, false, false, false, false, "Arial");
            for (auto* port : CollectObjects<host::ISch_Port>(document, {host::ePort})) {
                for (auto* entry : entries) {
                    if (port->GetState_Name() != entry->GetState_Name()) continue;
                    auto* added = CreateObject<host::ISch_SheetEntry>(host::eSheetEntry);
                    if (!added) continue;
                    added->SetState_Name(port->GetState_Name());
                    added->SetState_IOType(entry->GetState_IOType());
                    added->SetState_DistanceFromTop(d);
                    added->SetState_Side(1);
                    d += MilToCoord(150);
                    added->SetState_FontId(font);
                    child->AddSchObject(added);
                    child->Refresh();
                    AddEntryStub(sheet, added, x, y, child, columnWidth);
                }
            }
            child->SetState_YSize(std::max(MilToCoord(300), d));
        } else {
            child->SetState_YSize(MilToCoord(1400));
        }
        child->SetState_Location({x, y});
        if (rowHeight < child->GetState_YSize() + MilToCoord(100)) rowHeight = child->GetState_YSize() + MilToCoord(100);
        x += columnWidth;
        if (x + columnWidth >= sheet->GetState_SheetSizeX()) {
            rowTop -= rowHeight;
            rowHeight = 0;
            x = MilToCoord(500);
            y = rowTop;
        }
        sheet->AddSchObject(child);
    }
    if (rowTop < MilToCoord(100)) {
        const int32_t width = sheet->GetState_SheetSizeX(), height = sheet->GetState_SheetSizeY();
        const int32_t margin = sheet->GetState_SheetMargin();
        sheet->SetState_UseCustomSheet(true);
        sheet->SetState_CustomX(width);
        sheet->SetState_CustomMargin(margin);
        const int32_t grow = std::abs(rowTop) + rowHeight + MilToCoord(300);
        sheet->SetState_CustomY(height + grow);
        for (auto* o : CollectObjects<host::ISch_GraphicalObject>(
                 sheet, {host::eWire, host::eBus, host::ePort, host::eSheetSymbol}))
            o->MoveByXY(0, grow);
    }
    const int32_t scale = ImportScale();
    if (scale > 0) {
        sheet->SetState_SnapGridSize(scale);
        sheet->SetState_VisibleGridSize(scale);
    }
    host::SaveDocument(Host, server, true, "Binary");
}

void TSCHDesignImporter::AddEntryStub(host::ISch_Document* sheet, host::ISch_SheetEntry* entry, int32_t x, int32_t y,
                                      host::ISch_SheetSymbol* symbol, int32_t& columnWidth) {
    const host::Coord at = entry->GetState_Location();
    const int32_t x1 = at.X + x, y1 = at.Y + y, x2 = x1 + MilToCoord(100);
    const std::string name = entry->GetState_Name();
    const bool bus = name.find('[') != std::string::npos && name.find(']') != std::string::npos;
    if (auto* line = CreateObject<host::ISch_Polyline>(bus ? host::eBus : host::eWire)) {
        line->SetState_VertexCount(2);
        line->SetState_Vertex(1, {x1, y1});
        line->SetState_Vertex(2, {x2, y1});
        sheet->AddSchObject(line);
    }
    auto* port = CreateObject<host::ISch_Port>(host::ePort);
    if (!port) return;
    port->SetState_Location({x2, y1});
    port->SetState_Name(name);
    port->SetState_IOType(entry->GetState_IOType());
    port->SetState_Style(2);
    port->SetState_Alignment(0);
    port->SetState_FontId(Server().GetFontManager()->GetFontID(5, 0, false, false, false, false, "Arial"));
    port->SetState_Width(PortWidth(name, 7));
    const int32_t needed = symbol->GetState_XSize() + MilToCoord(100) + port->GetState_Width() + MilToCoord(100);
    if (needed > columnWidth) columnWidth = needed;
    sheet->AddSchObject(port);
}

// ----- Entry points -------------------------------------------------------------------------------

void ImportDesign(host::IHostApplication& host, dbo::TDboDesign& design, const std::string& libraryName,
                  host::IOrcadImporterOption* options, host::IHandler_Status* status, int32_t progress,
                  host::ILogSection* log, const std::string& folder, host::IProject* project, bool& templatesImported) {
    TSCHDesignImporter importer(host, &design, libraryName, options, status, progress, log, folder, project);
    importer.RunImport();
    templatesImported = importer.TemplatesImported;
}

void AnalyzeDesign(dbo::TDboDesign& design, host::IStringList* documentNames, host::IStringList* modelNames) {
    exporter::TPageNameManager names;
    AnalyzePages(design, names, documentNames, modelNames);
}

}  // namespace orcadx::importer
