#include "import/SchLibManager.h"

#include <algorithm>

#include "host/ClientServices.h"
#include "platform/TextCompare.h"

namespace orcadx::importer {

namespace {

bool NameLess(const std::string& a, const std::string& b) { return platform::CompareTextNoCase(a, b) < 0; }

host::IClient& ClientOf(host::IHostApplication& host) {
    host::IClient* client = host.Client();
    if (!client) throw host::EApiErr("The host has no client");
    return *client;
}

// The schematic server's document of an open client document.
host::ISch_Document* SchDocumentOf(host::IHostApplication& host, const std::string& path) {
    host::ISch_ServerInterface* server = host.SchServer();
    host::ISch_Document* sch = server ? server->GetSchDocumentByPath(path) : nullptr;
    if (!sch) throw host::EApiErr("The schematic server has no document " + path);
    return sch;
}

}  // namespace

TSchLibraryManager::TSchLibraryManager(host::IHostApplication& host, host::ISch_Document* document)
    : Document(document), Library(dynamic_cast<host::ISch_Lib*>(document)), host_(host) {
    if (!Library) throw host::EApiErr("The document is no schematic library");
    Library->BeginBulkChange();
    try {
        auto it = Library->SchIterator_Create({host::eSchComponent}, host::eIterateFirstLevel);
        for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject())
            if (auto* component = dynamic_cast<host::ISch_Component*>(o)) Insert(component->GetState_LibReference(), component);
    } catch (...) {
        Library->EndBulkChange();
        throw;
    }
    Library->EndBulkChange();
}

std::unique_ptr<TSchLibraryManager> TSchLibraryManager::CreateFromFileName(host::IHostApplication& host,
                                                                           const std::string& file) {
    host::IServerDocument* document = ClientOf(host).OpenDocument("SCHLIB", file);
    if (!document) throw host::EApiErr("Cannot open document " + file);
    document->Focus();
    return std::make_unique<TSchLibraryManager>(host, SchDocumentOf(host, file));
}

std::unique_ptr<TSchLibraryManager> TSchLibraryManager::CreateNew(host::IHostApplication& host,
                                                                  const std::string& name) {
    host::IServerDocument* document = ClientOf(host).NewDocument("SCHLib", name, name);
    if (!document) throw host::EApiErr("Cannot create document " + name);
    document->Focus();
    return std::make_unique<TSchLibraryManager>(host, SchDocumentOf(host, document->GetFileName()));
}

int TSchLibraryManager::Insert(const std::string& name, host::ISch_Component* component) {
    auto at = std::lower_bound(names_.begin(), names_.end(), name, NameLess);
    const int index = static_cast<int>(at - names_.begin());
    names_.insert(at, name);
    holders_.insert(holders_.begin() + index, std::make_unique<TComponentHolder>(component));
    return index;
}

std::string TSchLibraryManager::GetName(int index) const {
    return index >= 0 && index < Count() ? names_[index] : std::string();
}

int TSchLibraryManager::IndexOf(const std::string& name) const {
    auto at = std::lower_bound(names_.begin(), names_.end(), name, NameLess);
    if (at == names_.end() || !platform::SameTextNoCase(*at, name)) return -1;
    return static_cast<int>(at - names_.begin());
}

host::ISch_Component* TSchLibraryManager::AddComponent(const std::string& name) {
    auto* component = dynamic_cast<host::ISch_Component*>(host_.SchServer()
                                                              ? host_.SchServer()->CreateSchObject(host::eSchComponent, 0)
                                                              : nullptr);
    if (!component) throw host::EApiErr("The host made no component");
    component->SetState_LibReference(name);
    Library->AddSchComponent(component);
    int index = Insert(component->GetState_LibReference(), component);
    if (CurrentIndex >= index) ++CurrentIndex;
    SetCurrentIndex(index);
    return component;
}

void TSchLibraryManager::DeleteComponent(const std::string& name) {
    const int index = IndexOf(name);
    if (index < 0) return;
    host::ISch_Component* component = holders_[index]->Component;
    names_.erase(names_.begin() + index);
    holders_.erase(holders_.begin() + index);
    Library->RemoveSchComponent(component);
    if (index == CurrentIndex) {
        CurrentIndex = -1;
        SetCurrentIndex(0);
    } else if (index < CurrentIndex) {
        --CurrentIndex;
    }
}

bool TSchLibraryManager::SetCurrentIndex(int index) {
    if (index < 0 || index >= Count()) return false;
    Library->SetState_CurrentSchComponent(holders_[index]->Component);
    CurrentIndex = index;
    return true;
}

host::ISch_Component* TSchLibraryManager::GetComponents(int index) {
    return SetCurrentIndex(index) ? holders_[index]->Component : nullptr;
}

host::IServerDocument* TSchLibraryManager::ServerDocument() const {
    if (!Document) return nullptr;
    host::IClient* client = host_.Client();
    return client ? client->GetDocumentByPath(Document->GetState_DocumentName()) : nullptr;
}

void TSchLibraryManager::Close(bool save) {
    host::IServerDocument* document = ServerDocument();
    if (document) {
        if (save) host::SaveDocument(host_, document, true, "Binary");
        document->SetModified(false);
        ClientOf(host_).CloseDocument(document);
    }
    Document = nullptr;
    Library = nullptr;
    names_.clear();
    holders_.clear();
    CurrentIndex = -1;
}

void TSchLibraryManager::SetFocus() {
    if (host::IServerDocument* document = ServerDocument()) document->Focus();
}

}  // namespace orcadx::importer
