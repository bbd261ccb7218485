#include "export/SCHExportProject.h"

#include <filesystem>
#include <unordered_set>

#include "dbo/DboLib.h"
#include "dbo/DboViewObjects.h"
#include "host/ClientServices.h"
#include "import/Manage_FontTable.h"
#include "platform/TextCompare.h"
#include "platform/TextFiles.h"

namespace orcadx::exporter {

using platform::FileNameOf;

namespace {

bool IsSheetKind(host::IDocument* document) {
    return document && platform::SameTextNoCase(document->GetDocumentKind(), "SCH");
}

}  // namespace

// One sheet on its way to a page.
struct TSCHProjectExporter::SheetSlot {
    host::IDocument* Document = nullptr;
    host::ISch_Document* Sheet = nullptr;
    std::unique_ptr<dbo::TDboPage> OwnedPage;  // until the page joins its view
    dbo::TDboPage* Page = nullptr;
    std::unique_ptr<TSCHSheetExporter> Exporter;
};

TSCHProjectExporter::TSCHProjectExporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                         host::IProject* project)
    : TSCHExporter(design),
      Host(host),
      CacheExporter(std::make_unique<TSCHCacheExporter>(host, design, project)),
      Project(project) {}

TSCHProjectExporter::~TSCHProjectExporter() = default;

TSCHSheetExporter* TSCHProjectExporter::GetSheetExporter(int index) const { return sheets_.at(index)->Exporter.get(); }

void TSCHProjectExporter::RunExport() {
    if (!Project || Project->GetDocumentCount() <= 0) return;
    importer::FontTableManager().AddSystemFont(Host);
    CacheExporter->RunExport();
    // The sheet exporters read the nets of the compiled project.
    host::RunProcess(Host, "WorkspaceManager:Compile", "ObjectKind=All");
    CreateSheetExporters();
    BuildViewMap();
    FillViews();
    CacheExporter->ExportFonts(Design->Lib->Fonts);
}

void TSCHProjectExporter::CreateSheetExporters() {
    host::ISch_ServerInterface* server = Host.SchServer();
    if (!server) throw host::EApiErr("The schematic server doesn't run");
    for (int32_t i = 0; i < Project->GetDocumentCount(); ++i) {
        host::IDocument* document = Project->GetDocument(i);
        if (!IsSheetKind(document)) continue;
        host::ISch_Document* open = server->GetSchDocumentByPath(document->GetFullPath());
        // A sheet of the project that isn't open is opened through the client, as the cache
        // builder opens the first one.
        if (!open && Host.Client() && Host.Client()->OpenDocument("Sch", document->GetFullPath()))
            open = server->GetSchDocumentByPath(document->GetFullPath());
        auto* sheet = dynamic_cast<host::ISch_Sheet*>(open);
        if (!sheet) continue;
        auto slot = std::make_unique<SheetSlot>();
        slot->Document = document;
        slot->Sheet = sheet;
        slot->OwnedPage = std::make_unique<dbo::TDboPage>(Design);
        slot->Page = slot->OwnedPage.get();
        // Names the page and sizes it; the page is filled once every page has its name.
        slot->Exporter =
            std::make_unique<TSCHSheetExporter>(Host, Design, slot->Page, sheet, document, &PageNames, Project);
        sheets_.push_back(std::move(slot));
    }
}

void TSCHProjectExporter::BuildViewMap() {
    std::unordered_set<const SheetSlot*> claimed;
    auto claim = [&](host::IDocument* document) -> SheetSlot* {
        // The sheet of the document's own path, else the first unclaimed one of its file name.
        for (auto& slot : sheets_)
            if (!claimed.count(slot.get()) &&
                platform::SameTextNoCase(slot->Sheet->GetState_DocumentName(), document->GetFullPath()))
                return slot.get();
        for (auto& slot : sheets_)
            if (!claimed.count(slot.get()) &&
                platform::SameTextNoCase(FileNameOf(slot->Sheet->GetState_DocumentName()), document->GetFileName()))
                return slot.get();
        return nullptr;
    };
    auto add = [&](SheetSlot* slot, const std::string& name) {
        std::string view = name;
        // A second sheet of the same file name (another folder) gets a view and page name of its own.
        if (ViewMap.GetSections(view)) {
            view = PageNames.GetUniquePageName(slot->Sheet->GetState_DocumentName(),
                                               FileNameOf(slot->Sheet->GetState_DocumentName()));
            slot->Page->PageName = view;
        }
        ViewMap.AddStringObject(view, view, slot);
        claimed.insert(slot);
    };
    for (int32_t i = 0; i < Project->GetDocumentCount(); ++i) {
        host::IDocument* document = Project->GetDocument(i);
        if (!IsSheetKind(document)) continue;
        SheetSlot* slot = claim(document);
        if (!slot) continue;
        add(slot, PageNames.GetUniquePageName("", document->GetFileName()));
    }
    for (auto& slot : sheets_)
        if (!claimed.count(slot.get())) add(slot.get(), slot->Page->PageName);
}

void TSCHProjectExporter::FillViews() {
    host::IDocument* top = Project->GetTopLevelDocument();
    std::string topPath = top ? top->GetFullPath() : std::string();
    for (int i = 0; i < ViewMap.Count(); ++i) {
        const std::string& name = ViewMap.SectionName(i);
        if (i == 0) Design->Lib->RootViewName = name;
        auto view = std::make_unique<dbo::TDboSchematics>(Design);
        view->ViewName = name;
        TStringList* values = ViewMap.SectionList(i);
        for (int v = 0; v < values->Count(); ++v) {
            auto* slot = values->ObjectAs<SheetSlot>(v);
            slot->Exporter->RunExport();
            if (top && platform::SameTextNoCase(topPath, slot->Sheet->GetState_DocumentName()))
                Design->Lib->RootViewName = values->Strings(v);
            view->AddPage(std::move(slot->OwnedPage));
        }
        Design->AddView(std::move(view));
    }
}

void ExportProject(host::IHostApplication& host, host::IProject* project, const std::string& fileName,
                   uint32_t version) {
    importer::FontTableManager().Clear();
    dbo::TDboDesign design(fileName, nullptr, 0, nullptr);
    design.Version = version;
    {
        TSCHProjectExporter exporter(host, &design, project);
        exporter.RunExport();
    }
    design.Save();
}

}  // namespace orcadx::exporter
