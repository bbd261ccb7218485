#include "export/SCHCacheLibraryBuilder.h"

#include <filesystem>

#include "export/SCHLibraryExport.h"
#include "platform/TextCompare.h"

namespace orcadx::exporter {

namespace {

host::IClient& ClientOf(host::IHostApplication& host) {
    host::IClient* client = host.Client();
    if (!client) throw host::EApiErr("The host has no client");
    return *client;
}

// Hides the client's document of the library, when the client has it open.
void Hide(host::IClient& client, importer::TSchLibraryManager& library) {
    if (host::IServerDocument* document = client.GetDocumentByPath(library.Document->GetState_DocumentName()))
        client.HideDocument(document);
}

}  // namespace

TSCHCacheBuilder::TSCHCacheBuilder(host::IHostApplication& host, host::IProject* project)
    : Project(project), host_(host) {}

TSCHCacheBuilder::~TSCHCacheBuilder() {
    for (auto* library : {&SymbolLibrary, &ProjectLibrary}) {
        if (!*library) continue;
        try {
            (*library)->Close(false);
        } catch (const std::exception&) {
            // The document is gone already; there is nothing left to close.
        }
        library->reset();
    }
}

void TSCHCacheBuilder::Run() {
    host::IClient& client = ClientOf(host_);
    if (!Project) throw host::EApiErr("No project to export");
    // The host's command works on the project of the focused schematic document.
    for (int32_t i = 0; i < Project->GetDocumentCount(); ++i) {
        host::IDocument* document = Project->GetDocument(i);
        if (!document || !platform::SameTextNoCase(document->GetDocumentKind(), "SCH")) continue;
        host::IServerDocument* sheet = client.OpenDocument("Sch", document->GetFullPath());
        if (!sheet) throw host::EApiErr("Cannot open document " + document->GetFullPath());
        client.ShowDocument(sheet);
        sheet->Focus();
        break;
    }
    host::ISch_ServerInterface* server = host_.SchServer();
    if (!server) throw host::EApiErr("The schematic server doesn't run");
    // Without a sheet nothing is placed, and there is no library of placed components to make.
    if (dynamic_cast<host::ISch_Sheet*>(server->GetCurrentSchDocument())) {
        if (!client.LaunchCommand("CreateLibraryFromProject",
                                  std::string("AddLibraryToProject=False|FileName=") + kTempLibraryName +
                                      "|RunQuiet=True",
                                  34))
            throw host::EApiErr("The host could not make the library of the project's components");
        // The command writes the library beside the project file.
        std::filesystem::path folder = std::filesystem::path(Project->GetFullPath()).parent_path();
        ProjectLibrary =
            importer::TSchLibraryManager::CreateFromFileName(host_, (folder / kTempLibraryName).string());
        Hide(client, *ProjectLibrary);
    }
    SymbolLibrary = importer::TSchLibraryManager::CreateFromFileName(host_, client.GetTemplatesFolder() +
                                                                                kSymbolLibraryName);
    Hide(client, *SymbolLibrary);
}

TSCHCacheExporter::TSCHCacheExporter(host::IHostApplication& host, dbo::TDboDesign* design, host::IProject* project)
    : TSCHCommonExporter(host, design, nullptr), Builder(std::make_unique<TSCHCacheBuilder>(host, project)) {}

void TSCHCacheExporter::RunExport() {
    Builder->Run();
    for (auto* library : {Builder->ProjectLibrary.get(), Builder->SymbolLibrary.get()}) {
        if (!library) continue;
        TSCHLibraryExporter exporter(Host, Design, library->Document->GetState_DocumentName());
        exporter.RunExport();
    }
}

}  // namespace orcadx::exporter
