#include "host/ClientServices.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace orcadx::host {

namespace {

std::filesystem::path LocalPath(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return std::filesystem::path(path);
}

IClient& ClientOf(IHostApplication& host) {
    IClient* client = host.Client();
    if (!client) throw EApiErr("The host has no client");
    return *client;
}

IServerDocument* ServerDocumentOf(IHostApplication& host, ISch_Document* document) {
    if (!document) return nullptr;
    return ClientOf(host).GetDocumentByPath(document->GetState_DocumentName());
}

}  // namespace

void RunProcess(IHostApplication& host, const std::string& name, const std::string& parameters) {
    if (!ClientOf(host).RunProcess(name, parameters))
        throw EApiErr("Process " + name + " failed (" + parameters + ")");
}

IServerDocument* OpenOrCreateDocument(IHostApplication& host, const std::string& path, const std::string& kind,
                                      const std::string& format, bool force) {
    IClient& client = ClientOf(host);
    std::filesystem::path file = LocalPath(path);
    std::error_code ec;
    if (!force && std::filesystem::exists(file, ec)) {
        IServerDocument* opened = client.OpenDocument(kind, path);
        if (!opened) throw EApiErr("Cannot open document " + path);
        return opened;
    }
    if (IServerDocument* open = client.GetDocumentByPath(path)) client.CloseDocument(open);
    std::string name = file.filename().string();
    IServerDocument* document = client.NewDocument(kind, name, name);
    if (!document) throw EApiErr("Cannot create document from file " + path);
    client.ShowDocument(document);
    document->SetFileName(path);
    {
        std::ofstream empty(file, std::ios::binary | std::ios::trunc);
        if (!empty) throw EApiErr("Cannot create document from file " + path);
    }
    SaveDocument(host, document, true, format);
    return document;
}

void SaveDocument(IHostApplication& host, IServerDocument* document, bool modified, const std::string& format) {
    if (!document) return;
    document->SetModified(modified);
    std::string program = host.GetProgramFileName();
    std::error_code ec;
    if (!program.empty() &&
        std::filesystem::exists(LocalPath(program).parent_path() / "DefaultClientWrapper.dll", ec)) {
        if (!document->DoFileSave(format)) throw EApiErr("Cannot save document " + document->GetFileName());
        return;
    }
    IClient& client = ClientOf(host);
    client.ShowDocument(document);
    document->Focus();
    RunProcess(host, "WorkspaceManager:SaveObject", "SaveMode=Standard|ObjectKind=Document|FileFormat=" + format);
}

void SaveAndHideDocument(IHostApplication& host, ISch_Document* document) {
    if (host.GetInTestMode()) ClientOf(host).ProcessMessages();
    if (IServerDocument* server = ServerDocumentOf(host, document)) {
        SaveDocument(host, server, true, "Binary");
        ClientOf(host).HideDocument(server);
    }
}

void CloseServerDocument(IHostApplication& host, ISch_Document* document) {
    if (IServerDocument* server = ServerDocumentOf(host, document)) ClientOf(host).CloseDocument(server);
}

void RemoveLibraryComponent(IHostApplication& host, ISch_Lib* library, const std::string& name) {
    if (!library) return;
    if (ISch_Component* component = library->GetState_SchComponentByLibRef(name)) {
        library->RemoveSchComponent(component);
        return;
    }
    IServerDocument* server = ServerDocumentOf(host, library);
    if (!server) throw EApiErr("The library " + library->GetState_DocumentName() + " is not open");
    ClientOf(host).ShowDocument(server);
    server->Focus();
    RunProcess(host, "SCH:DeleteComponentFromLibrary", "Name=" + name + "|NoDialog=False");
}

}  // namespace orcadx::host
