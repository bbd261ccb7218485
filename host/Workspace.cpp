// Client, workspace, projects, options store, named processes and the application object.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <unordered_map>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "host/Connectivity.h"
#include "host/DocumentFiles.h"
#include "host/HostApplication.h"
#include "host/SchServer.h"

namespace fs = std::filesystem;

namespace orcadx::host {

namespace impl {

namespace {

constexpr const char* kProjectFormat = "VantorProject";
constexpr const char* kStandardSymbolsFile = "OrCAD-CAPSYM.SchLib";

std::string Upper(std::string s) {
    for (char& c : s)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return s;
}

std::string FileNameOf(const std::string& path) { return fs::path(NormalizePath(path)).filename().string(); }

std::string ExtensionUpper(const std::string& path) { return Upper(fs::path(NormalizePath(path)).extension().string()); }

// "Name=Value|Name=Value" as a map with names in upper case.
std::map<std::string, std::string> ParseParameters(const std::string& text) {
    std::map<std::string, std::string> out;
    size_t start = 0;
    while (start <= text.size()) {
        size_t bar = text.find('|', start);
        std::string item = text.substr(start, bar == std::string::npos ? std::string::npos : bar - start);
        size_t eq = item.find('=');
        if (eq != std::string::npos) {
            auto trim = [](std::string s) {
                size_t b = s.find_first_not_of(' '), e = s.find_last_not_of(' ');
                return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
            };
            out[Upper(trim(item.substr(0, eq)))] = trim(item.substr(eq + 1));
        }
        if (bar == std::string::npos) break;
        start = bar + 1;
    }
    return out;
}

std::string Param(const std::map<std::string, std::string>& p, const char* name, const std::string& def = {}) {
    auto it = p.find(Upper(name));
    return it == p.end() ? def : it->second;
}

}  // namespace

class AppState;
void WriteStandardSymbols(SchServer& server, const std::string& path);

// ----- Workspace documents and nets ------------------------------------------------------------------

class NetImpl final : public INet {
public:
    explicit NetImpl(NetInfo info) : info_(std::move(info)) {}
    std::string GetNetName() override { return info_.Name; }
    int32_t GetWireCount() override { return static_cast<int32_t>(info_.WireIds.size()); }
    std::string GetWireUniqueId(int32_t index) override {
        if (index < 0 || index >= GetWireCount()) throw EApiErr("Wire index out of range");
        return info_.WireIds[index];
    }

private:
    NetInfo info_;
};

class WsDocument final : public IDocument {
public:
    WsDocument(std::string path, std::string kind) : path_(std::move(path)), kind_(std::move(kind)) {}
    std::string GetFullPath() override { return path_; }
    std::string GetFileName() override { return FileNameOf(path_); }
    std::string GetDocumentKind() override { return kind_; }
    int32_t GetNetCount() override { return static_cast<int32_t>(nets_.size()); }
    INet* GetNet(int32_t index) override {
        if (index < 0 || index >= GetNetCount()) throw EApiErr("Net index out of range");
        return nets_[index].get();
    }
    void SetNets(const std::vector<NetInfo>& nets) {
        nets_.clear();
        for (const auto& n : nets) nets_.push_back(std::make_unique<NetImpl>(n));
    }

private:
    std::string path_;
    std::string kind_;
    std::vector<std::unique_ptr<NetImpl>> nets_;
};

// ----- Projects -----------------------------------------------------------------------------

class Project;

class OptionsStore final : public IOptionsStorage {
public:
    explicit OptionsStore(Project* project) : project_(project) {}
    void BeginUpdate() override { ++depth_; }
    void EndUpdate() override;
    void EraseSection(const std::string& section) override {
        sections_.erase(section);
        Changed();
    }
    std::string ReadValue(const std::string& section, const std::string& key, const std::string& def) override {
        auto s = sections_.find(section);
        if (s == sections_.end()) return def;
        auto k = s->second.find(key);
        return k == s->second.end() ? def : k->second;
    }
    void WriteValue(const std::string& section, const std::string& key, const std::string& value) override {
        sections_[section][key] = value;
        Changed();
    }
    void WriteLongValue(const std::string& section, const std::string& key, const std::string& value) override {
        WriteValue(section, key, value);
    }
    nlohmann::json ToJson() const { return sections_; }
    std::vector<std::string> Keys(const std::string& section) const {
        std::vector<std::string> keys;
        auto s = sections_.find(section);
        if (s != sections_.end())
            for (const auto& [key, value] : s->second) keys.push_back(key);
        return keys;
    }
    void FromJson(const nlohmann::json& j) {
        sections_.clear();
        if (!j.is_object()) return;
        for (const auto& [section, values] : j.items())
            if (values.is_object())
                for (const auto& [key, value] : values.items())
                    if (value.is_string()) sections_[section][key] = value.get<std::string>();
    }

private:
    void Changed();
    Project* project_;
    int depth_ = 0;
    bool dirty_ = false;
    std::map<std::string, std::map<std::string, std::string>> sections_;
};

class Project final : public IProject {
public:
    Project(AppState* app, std::string path) : app_(app), path_(NormalizePath(path)), options_(this) {
        own_ = std::make_unique<WsDocument>(path_, KindOfPath(path_));
    }
    static std::string KindOfPath(const std::string& path) {
        return ExtensionUpper(path) == ".VSLIBPKG" ? "INTEGRATEDLIBRARY" : "PCBPROJECT";
    }
    std::string GetFullPath() override { return path_; }
    IDocument* GetProjectDocument() override { return own_.get(); }
    int32_t GetDocumentCount() override { return static_cast<int32_t>(documents_.size()); }
    IDocument* GetDocument(int32_t index) override {
        if (index < 0 || index >= GetDocumentCount()) throw EApiErr("Document index out of range");
        return documents_[index].get();
    }
    IDocument* GetTopLevelDocument() override;
    void AddSourceDocument(const std::string& path) override;
    int32_t GetSearchPathCount() override { return static_cast<int32_t>(searchPaths_.size()); }
    std::string GetSearchPath(int32_t index) override {
        if (index < 0 || index >= GetSearchPathCount()) throw EApiErr("Search path index out of range");
        return searchPaths_[index].first;
    }
    void AddSearchPath(const std::string& path, bool includeSubFolders) override {
        searchPaths_.emplace_back(path, includeSubFolders);
        Save();
    }
    IOptionsStorage* GetOptionsStorage() override { return &options_; }
    const OptionsStore& Options() const { return options_; }

    WsDocument* FindDocument(const std::string& path) {
        std::string wanted = NormalizePath(path);
        for (auto& d : documents_)
            if (d->GetFullPath() == wanted) return d.get();
        return nullptr;
    }
    std::string Folder() const { return fs::path(path_).parent_path().string(); }
    void Save();
    bool Load(std::string& error);
    void Compile();

private:
    AppState* app_;
    std::string path_;
    std::unique_ptr<WsDocument> own_;
    std::vector<std::unique_ptr<WsDocument>> documents_;
    std::vector<std::pair<std::string, bool>> searchPaths_;
    OptionsStore options_;
};

void OptionsStore::EndUpdate() {
    if (depth_ > 0) --depth_;
    if (depth_ == 0 && dirty_) {
        dirty_ = false;
        project_->Save();
    }
}

void OptionsStore::Changed() {
    if (depth_ > 0) {
        dirty_ = true;
        return;
    }
    project_->Save();
}

// ----- Client ---------------------------------------------------------------------------------

class Client;

class ServerDoc final : public IServerDocument {
public:
    ServerDoc(Client* client, std::unique_ptr<ObjectCore> doc, std::string path, std::string kind);
    ~ServerDoc() override;
    std::string GetFileName() override { return path_; }
    std::string GetKind() override { return kind_; }
    bool GetModified() override { return modified_; }
    void SetModified(bool modified) override { modified_ = modified; }
    void Focus() override;
    bool DoFileSave(const std::string& format) override;
    void SetFileName(const std::string& path) override;
    void Notify(const INotification& notification) override;
    bool GetIsShown() override { return shown_; }
    CoordRect GetViewArea() override { return view_; }

    ObjectCore* Doc() { return doc_.get(); }
    // The document's objects, taken out of the server: the document is closed without them.
    std::unique_ptr<ObjectCore> TakeDoc();
    // True when nothing changed since the document was last saved and its file is still the one
    // written then (its time and size given).
    bool AsSaved(fs::file_time_type& time, uintmax_t& size);
    void SetShown(bool shown) { shown_ = shown; }
    void SetView(CoordRect r) { view_ = r; }

private:
    Client* client_;
    std::unique_ptr<ObjectCore> doc_;
    std::string path_;
    std::string kind_;
    bool modified_ = false;
    bool shown_ = false;
    CoordRect view_{};
    // The last save: the file, the server's count of changes then, and the file's time and size.
    bool saved_ = false;
    std::string savedPath_;
    uint64_t savedChanges_ = 0;
    fs::file_time_type savedTime_{};
    uintmax_t savedSize_ = 0;
};

class Client final : public IClient {
public:
    explicit Client(AppState* app) : app_(app) {}
    ~Client() override { CloseAll(); }
    void CloseAll() {
        current_ = nullptr;
        docs_.clear();
        closed_.clear();
    }

    IServerDocument* GetDocumentByPath(const std::string& path) override;
    IServerDocument* OpenDocument(const std::string& kind, const std::string& path) override;
    IServerDocument* NewDocument(const std::string& kind, const std::string& name, const std::string& caption) override;
    void CloseDocument(IServerDocument* document) override;
    void HideDocument(IServerDocument* document) override {
        if (auto* d = Find(document)) d->SetShown(false);
    }
    void ShowDocument(IServerDocument* document) override {
        if (auto* d = Find(document)) d->SetShown(true);
    }
    IServerDocument* GetCurrentDocument() override { return current_; }
    bool StartServer(const std::string& name) override;
    bool IsServerRunning(const std::string& name) override;
    std::string GetDefaultExtension(const std::string& kind) override {
        std::string k = Upper(kind);
        if (k == "SCH") return ".SchDoc";
        if (k == "SCHLIB") return ".SchLib";
        if (k == "PCBPROJECT") return ".VsProj";
        return "";
    }
    std::string GetDocumentKindFromPath(const std::string& path) override {
        std::string ext = ExtensionUpper(path);
        if (ext == ".SCHDOC") return "SCH";
        if (ext == ".SCHLIB") return "SCHLIB";
        if (ext == ".VSPROJ") return "PCBPROJECT";
        if (ext == ".VSLIBPKG") return "INTEGRATEDLIBRARY";
        return "";
    }
    intptr_t GetMainWindowHandle() override { return 0; }
    bool RunProcess(const std::string& name, const std::string& parameters) override;
    bool LaunchCommand(const std::string& command, const std::string& parameters, int32_t number) override;
    void ProcessMessages() override { ++messagesServed_; }
    void SendDocumentNotification(int32_t code, IDocument* document) override {
        notifications_.push_back(fmt::format("{} {}", code, document ? document->GetFullPath() : std::string("-")));
    }
    void ShowErrorBox(const std::string& text, const std::string& caption) override {
        errorBoxes_.push_back((caption.empty() ? std::string("Error") : caption) + ": " + text);
    }
    void SetBusyCursor(bool busy) override { busy_ = busy; }
    std::string GetTemplatesFolder() override;

    void SetCurrent(ServerDoc* doc) { current_ = doc; }
    ServerDoc* Find(IServerDocument* document) {
        for (auto& d : docs_)
            if (d.get() == document) return d.get();
        return nullptr;
    }
    ServerDoc* FindByDoc(ObjectCore* doc) {
        for (auto& d : docs_)
            if (d->Doc() == doc) return d.get();
        return nullptr;
    }
    AppState* App() { return app_; }

    std::vector<std::string> processes_;
    std::vector<std::string> notifications_;
    std::vector<std::string> errorBoxes_;

private:
    IServerDocument* Adopt(std::unique_ptr<ObjectCore> doc, const std::string& path, const std::string& kind);
    bool CreateLibraryFromProject(const std::map<std::string, std::string>& p);

    // A closed document kept in memory (HostOptions::KeepClosedDocuments), with the size and time
    // of its file when it closed.
    struct ClosedDocument {
        std::unique_ptr<ObjectCore> Doc;
        std::string Kind;
        std::uintmax_t Size = 0;
        fs::file_time_type Time;
    };
    static bool FileStamp(const std::string& path, std::uintmax_t& size, fs::file_time_type& time);

    AppState* app_;
    std::vector<std::unique_ptr<ServerDoc>> docs_;
    std::unordered_map<std::string, ClosedDocument> closed_;  // by normalised path
    ServerDoc* current_ = nullptr;
    int messagesServed_ = 0;
    bool busy_ = false;
};

// ----- Workspace ------------------------------------------------------------------------------

class WorkspaceImpl final : public IWorkspace {
public:
    explicit WorkspaceImpl(AppState* app) : app_(app) {}
    std::string GenerateUniqueId() override;
    void AddMessage(const WorkspaceMessage& message) override { messages_.push_back(message); }
    int32_t GetMessageCount() override { return static_cast<int32_t>(messages_.size()); }
    WorkspaceMessage GetMessage(int32_t index) override {
        if (index < 0 || index >= GetMessageCount()) throw EApiErr("Message index out of range");
        return messages_[index];
    }
    IProject* GetFocusedProject() override { return focused_; }
    IDocument* GetDocumentByPath(const std::string& path) override {
        for (auto& p : projects_)
            if (WsDocument* d = p->FindDocument(path)) return d;
        return nullptr;
    }
    Project* AddProject(std::unique_ptr<Project> project) {
        projects_.push_back(std::move(project));
        focused_ = projects_.back().get();
        return focused_;
    }
    void Focus(IProject* project) {
        for (auto& p : projects_)
            if (p.get() == project) focused_ = p.get();
    }
    Project* Focused() { return focused_; }

private:
    AppState* app_;
    std::vector<WorkspaceMessage> messages_;
    std::vector<std::unique_ptr<Project>> projects_;
    Project* focused_ = nullptr;
};

// ----- Analytics and simulation --------------------------------------------------------------------

class RecordingAnalytics final : public IAnalyticsMonitor {
public:
    void StartTimer(const std::string& c, const std::string& k) override { Log("StartTimer", c, k, ""); }
    void StopTimer(const std::string& c, const std::string& k) override { Log("StopTimer", c, k, ""); }
    void CancelTimer(const std::string& c, const std::string& k) override { Log("CancelTimer", c, k, ""); }
    void SetIntegerValue(const std::string& c, const std::string& k, int64_t v) override {
        Log("SetIntegerValue", c, k, std::to_string(v));
    }
    void SetBooleanValue(const std::string& c, const std::string& k, bool v) override {
        Log("SetBooleanValue", c, k, v ? "true" : "false");
    }
    std::vector<std::string> events_;

private:
    void Log(const char* op, const std::string& c, const std::string& k, const std::string& v) {
        events_.push_back(fmt::format("{} {} {}{}{}", op, c, k, v.empty() ? "" : " ", v));
    }
};

// Checks that a model named by an implementation stands in one of its linked files as a ".MODEL"
// or ".SUBCKT".
class ModelInitializer final : public ISimModelInitializer {
public:
    bool InitializeModel(ISch_Implementation* implementation, ISch_Component*, std::string& message) override {
        if (!implementation) {
            message = "No implementation";
            return false;
        }
        std::string model = Upper(implementation->GetState_ModelName());
        for (int32_t i = 0; i < implementation->GetState_DataFileLinkCount(); ++i) {
            std::ifstream in(NormalizePath(implementation->GetState_DataFileLinkLocation(i)));
            std::string line;
            while (std::getline(in, line)) {
                std::string u = Upper(line);
                size_t b = u.find_first_not_of(" \t");
                if (b == std::string::npos) continue;
                for (const char* keyword : {".MODEL", ".SUBCKT"}) {
                    std::string k = keyword;
                    if (u.compare(b, k.size(), k) != 0) continue;
                    size_t n = u.find_first_not_of(" \t", b + k.size());
                    if (n == std::string::npos) continue;
                    size_t e = u.find_first_of(" \t(", n);
                    if (u.substr(n, e == std::string::npos ? std::string::npos : e - n) == model) return true;
                }
            }
        }
        message = "Model " + implementation->GetState_ModelName() + " not found in its files";
        return false;
    }
};

// ----- Application state ------------------------------------------------------------------------

// The seed of the unique ids when the caller gives none: $ORCADX_SEED when it holds a number other
// than 0 (runs that must give the same bytes, e.g. to compare the output of two builds), else a
// random one.
uint32_t SeedOfIds() {
    if (const char* text = std::getenv("ORCADX_SEED")) {
        char* end = nullptr;
        const unsigned long seed = std::strtoul(text, &end, 10);
        if (end != text && *end == '\0' && seed != 0) return static_cast<uint32_t>(seed);
    }
    return std::random_device{}();
}

class AppState {
public:
    explicit AppState(HostOptions options)
        : options_(std::move(options)),
          ids_(options_.Seed ? options_.Seed : SeedOfIds()),
          client_(this) {
        if (options_.WithWorkspace) workspace_ = std::make_unique<WorkspaceImpl>(this);
    }
    ~AppState() {
        workspace_.reset();
        client_.CloseAll();
        server_.reset();
    }

    SchServer* Server() { return server_.get(); }
    std::string SettingsFolder() const {
        std::string folder = options_.SettingsFolder;
        if (folder.empty()) {
            const char* xdg = std::getenv("XDG_CONFIG_HOME");
            const char* home = std::getenv("HOME");
            folder = xdg && *xdg ? std::string(xdg) + "/vantor" : std::string(home ? home : ".") + "/.config/vantor";
        }
        folder = NormalizePath(folder);
        if (folder.back() != '/') folder += '/';
        return folder;
    }
    SchServer* EnsureServer() {
        if (!server_) {
            server_ = std::make_unique<SchServer>(&ids_);
            server_->LoadDetached = [this](const std::string& path) -> std::unique_ptr<ObjectCore> {
                try {
                    return ReadDocumentFile(*server_, path);
                } catch (const EApiErr&) {
                    return nullptr;
                }
            };
        }
        return server_.get();
    }
    // The sheet of a path: the open document, else a copy read from the file.
    ObjectCore* SheetOf(const std::string& path, std::unique_ptr<ObjectCore>& holder) {
        SchServer* server = EnsureServer();
        if (ISch_Document* open = server->GetSchDocumentByPath(path)) return CoreOf(open);
        try {
            holder = ReadDocumentFile(*server, path);
        } catch (const EApiErr&) {
            return nullptr;
        }
        return holder.get();
    }

    HostOptions options_;
    UniqueIdSource ids_;
    std::unique_ptr<SchServer> server_;
    Client client_;
    std::unique_ptr<WorkspaceImpl> workspace_;
    RecordingAnalytics analytics_;
    ModelInitializer modelInitializer_;
    bool simRunning_ = false;
};

// ----- Definitions that need the application state ---------------------------------------------

ServerDoc::ServerDoc(Client* client, std::unique_ptr<ObjectCore> doc, std::string path, std::string kind)
    : client_(client), doc_(std::move(doc)), path_(NormalizePath(path)), kind_(std::move(kind)) {
    client_->App()->EnsureServer()->RegisterDocument(doc_.get(), path_);
}

ServerDoc::~ServerDoc() {
    if (!doc_) return;
    if (SchServer* server = client_->App()->Server()) server->UnregisterDocument(doc_.get());
}

std::unique_ptr<ObjectCore> ServerDoc::TakeDoc() {
    if (SchServer* server = client_->App()->Server(); server && doc_) server->UnregisterDocument(doc_.get());
    return std::move(doc_);
}

void ServerDoc::Focus() {
    client_->SetCurrent(this);
    client_->App()->EnsureServer()->SetCurrentDocument(doc_.get());
}

bool ServerDoc::DoFileSave(const std::string& format) {
    std::string f = Upper(format);
    if (!f.empty() && f != "BINARY" && f != "ASCII") return false;
    try {
        WriteDocumentFile(*doc_, path_);
    } catch (const EApiErr& e) {
        saved_ = false;
        client_->errorBoxes_.push_back(std::string("Error: ") + e.what());
        return false;
    }
    modified_ = false;
    std::error_code timeError, sizeError;
    savedTime_ = fs::last_write_time(path_, timeError);
    savedSize_ = fs::file_size(path_, sizeError);
    saved_ = !timeError && !sizeError;
    savedPath_ = path_;
    savedChanges_ = client_->App()->EnsureServer()->Changes();
    return true;
}

bool ServerDoc::AsSaved(fs::file_time_type& time, uintmax_t& size) {
    SchServer* server = client_->App()->Server();
    if (!saved_ || savedPath_ != path_ || !server || server->Changes() != savedChanges_) return false;
    std::error_code timeError, sizeError;
    time = fs::last_write_time(path_, timeError);
    size = fs::file_size(path_, sizeError);
    return !timeError && !sizeError && time == savedTime_ && size == savedSize_;
}

void ServerDoc::SetFileName(const std::string& path) {
    path_ = NormalizePath(path);
    client_->App()->EnsureServer()->RenameDocument(doc_.get(), path_);
}

void ServerDoc::Notify(const INotification& notification) {
    client_->notifications_.push_back(fmt::format("{} {}", notification.GetCode(), path_));
    CoordRect r;
    if (notification.GetCode() == 24 && notification.GetCoordRect(r)) view_ = r;
}

IServerDocument* Client::GetDocumentByPath(const std::string& path) {
    std::string wanted = NormalizePath(path);
    for (auto& d : docs_)
        if (d->GetFileName() == wanted) return d.get();
    return nullptr;
}

IServerDocument* Client::Adopt(std::unique_ptr<ObjectCore> doc, const std::string& path, const std::string& kind) {
    docs_.push_back(std::make_unique<ServerDoc>(this, std::move(doc), path, kind));
    return docs_.back().get();
}

IServerDocument* Client::OpenDocument(const std::string& kind, const std::string& path) {
    std::string k = Upper(kind);
    if (k != "SCH" && k != "SCHLIB") return nullptr;
    if (IServerDocument* open = GetDocumentByPath(path)) return Upper(open->GetKind()) == k ? open : nullptr;
    SchServer* server = app_->EnsureServer();
    std::string p = NormalizePath(path);
    if (auto kept = closed_.find(p); kept != closed_.end()) {
        ClosedDocument closed = std::move(kept->second);
        closed_.erase(kept);
        std::uintmax_t size = 0;
        fs::file_time_type time;
        if (closed.Kind == k && FileStamp(p, size, time) && size == closed.Size && time == closed.Time)
            return Adopt(std::move(closed.Doc), p, k);
    }
    std::error_code ec;
    if (!fs::is_regular_file(p, ec)) return nullptr;
    std::unique_ptr<ObjectCore> doc;
    if (fs::file_size(p, ec) == 0) {
        // An empty file is a new document of the kind.
        doc = MakeObject(server, k == "SCH" ? eSheet : eSchLib, true);
    } else if (k == "SCHLIB" && (doc = server->TakeClosedLibrary(p))) {
        // A library closed as its file reads back: no read.
    } else {
        try {
            doc = ReadDocumentFile(*server, p);
        } catch (const EApiErr& e) {
            errorBoxes_.push_back(std::string("Error: ") + e.what());
            return nullptr;
        }
        if ((doc->Kind() == eSchLib) != (k == "SCHLIB")) return nullptr;
    }
    return Adopt(std::move(doc), p, k);
}

IServerDocument* Client::NewDocument(const std::string& kind, const std::string& name, const std::string&) {
    std::string k = Upper(kind);
    if (k != "SCH" && k != "SCHLIB") return nullptr;
    SchServer* server = app_->EnsureServer();
    return Adopt(MakeObject(server, k == "SCH" ? eSheet : eSchLib, true), name, k);
}

bool Client::FileStamp(const std::string& path, std::uintmax_t& size, fs::file_time_type& time) {
    std::error_code ec;
    size = fs::file_size(path, ec);
    if (ec) return false;
    time = fs::last_write_time(path, ec);
    return !ec;
}

void Client::CloseDocument(IServerDocument* document) {
    auto it = std::find_if(docs_.begin(), docs_.end(), [&](const auto& d) { return d.get() == document; });
    if (it == docs_.end()) return;
    if (current_ == it->get()) current_ = nullptr;
    ServerDoc& doc = **it;
    // A library closed as it was saved is kept by the server, to stand for its file when it is
    // used again (components placed from it, opened again).
    SchServer* server = app_->Server();
    fs::file_time_type time;
    uintmax_t size = 0;
    if (server && doc.Doc()->Kind() == eSchLib && doc.AsSaved(time, size) && ReadsBackUnchanged(*server, *doc.Doc())) {
        const std::string path = doc.GetFileName();
        server->KeepClosedLibrary(doc.TakeDoc(), path, time, size);
    }
    ClosedDocument closed;
    if (doc.Doc() && app_->options_.KeepClosedDocuments && !doc.GetModified() &&
        FileStamp(doc.GetFileName(), closed.Size, closed.Time)) {
        closed.Kind = doc.GetKind();
        std::string path = doc.GetFileName();
        closed.Doc = doc.TakeDoc();
        closed_[path] = std::move(closed);
    }
    docs_.erase(it);
}

bool Client::StartServer(const std::string& name) {
    std::string n = Upper(name);
    if (n == "SCH") {
        app_->EnsureServer();
        return true;
    }
    if (n == "SIM") {
        app_->simRunning_ = true;
        return true;
    }
    return false;
}

bool Client::IsServerRunning(const std::string& name) {
    std::string n = Upper(name);
    if (n == "SCH") return app_->Server() != nullptr;
    if (n == "SIM") return app_->simRunning_;
    return false;
}

std::string Client::GetTemplatesFolder() {
    std::string folder = app_->options_.TemplatesFolder;
    if (folder.empty()) folder = (fs::path(NormalizePath(app_->SettingsFolder())) / "templates").string();
    folder = NormalizePath(folder);
    if (folder.back() != '/') folder += '/';
    // The host's data file of standard symbols is made on first use.
    std::error_code ec;
    if (!fs::exists(folder + kStandardSymbolsFile, ec)) {
        try {
            WriteStandardSymbols(*app_->EnsureServer(), folder + kStandardSymbolsFile);
        } catch (const EApiErr& e) {
            errorBoxes_.push_back(std::string("Error: ") + e.what());
        }
    }
    return folder;
}

bool Client::RunProcess(const std::string& name, const std::string& parameters) {
    processes_.push_back(name + " " + parameters);
    auto p = ParseParameters(parameters);
    std::string n = Upper(name);
    if (n == "WORKSPACEMANAGER:SAVEOBJECT") {
        if (!current_) return false;
        return current_->DoFileSave(Param(p, "FileFormat", "Binary"));
    }
    if (n == "SCH:DELETECOMPONENTFROMLIBRARY") {
        if (!current_ || current_->Doc()->Kind() != eSchLib) return false;
        auto* lib = dynamic_cast<ISch_Lib*>(current_->Doc()->Iface());
        // A library without the component already has what the process is for.
        ISch_Component* component = lib->GetState_SchComponentByLibRef(Param(p, "Name"));
        if (!component) return true;
        lib->RemoveSchComponent(component);
        current_->SetModified(true);
        return true;
    }
    if (n == "SCH:ZOOM") {
        if (Upper(Param(p, "Action")) == "DOCUMENT") {
            if (!current_) return false;
            auto* doc = dynamic_cast<ISch_Document*>(current_->Doc()->Iface());
            current_->SetView({0, 0, doc->GetState_SheetSizeX(), doc->GetState_SheetSizeY()});
            return true;
        }
        std::string focus = Param(p, "FocusDoc");
        ServerDoc* target = focus.empty() ? current_ : Find(GetDocumentByPath(focus));
        if (!target) return false;
        target->Focus();
        try {
            target->SetView({std::stoi(Param(p, "Location.X", "0")), std::stoi(Param(p, "Location.Y", "0")),
                             std::stoi(Param(p, "Corner.X", "0")), std::stoi(Param(p, "Corner.Y", "0"))});
        } catch (const std::exception&) {
            return false;
        }
        return true;
    }
    if (n == "WORKSPACEMANAGER:COMPILE") {
        if (!app_->workspace_ || !app_->workspace_->Focused()) return false;
        app_->workspace_->Focused()->Compile();
        return true;
    }
    return false;
}

bool Client::LaunchCommand(const std::string& command, const std::string& parameters, int32_t number) {
    processes_.push_back(fmt::format("{} {} {}", command, parameters, number));
    if (Upper(command) == "CREATELIBRARYFROMPROJECT") return CreateLibraryFromProject(ParseParameters(parameters));
    return false;
}

// A library with one component of each library reference placed on the sheets of the focused
// project, each turned back to its library position.
bool Client::CreateLibraryFromProject(const std::map<std::string, std::string>& p) {
    Project* project = app_->workspace_ ? app_->workspace_->Focused() : nullptr;
    std::string fileName = Param(p, "FileName");
    if (!project || fileName.empty()) return false;
    std::string path = NormalizePath(fileName);
    if (fs::path(NormalizePath(fileName)).is_relative() || fileName.find_first_of("/\\") == std::string::npos)
        path = NormalizePath((fs::path(project->Folder()) / fileName).string());
    SchServer* server = app_->EnsureServer();
    auto library = MakeObject(server, eSchLib, true);
    while (!library->Children().empty()) {
        ObjectCore* c = library->Children().back();
        library->RemoveChild(c);
        delete c;
    }
    std::set<std::string> seen;
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i) {
        IDocument* d = project->GetDocument(i);
        if (Upper(d->GetDocumentKind()) != "SCH") continue;
        std::unique_ptr<ObjectCore> holder;
        ObjectCore* sheet = app_->SheetOf(d->GetFullPath(), holder);
        if (!sheet) continue;
        for (ObjectCore* o : sheet->Children()) {
            if (o->Kind() != eSchComponent) continue;
            std::string ref = Upper(o->GetStr("LibReference"));
            if (!seen.insert(ref).second) continue;
            auto copy = o->Clone(true);
            auto* component = dynamic_cast<ISch_Component*>(copy->Iface());
            component->SetState_IsMirrored(false);
            component->SetState_Orientation(0);
            component->MoveToXY(0, 0);
            copy->SetBool("IsPlaced", false);
            library->AddChild(copy.release());
        }
    }
    try {
        WriteDocumentFile(*library, path);
    } catch (const EApiErr&) {
        return false;
    }
    if (Upper(Param(p, "AddLibraryToProject")) == "TRUE") project->AddSourceDocument(path);
    return true;
}

std::string WorkspaceImpl::GenerateUniqueId() { return app_->ids_.Next(); }

void Project::AddSourceDocument(const std::string& path) {
    std::string p = NormalizePath(path);
    if (FindDocument(p)) return;
    documents_.push_back(std::make_unique<WsDocument>(p, app_->client_.GetDocumentKindFromPath(p)));
    Save();
}

IDocument* Project::GetTopLevelDocument() {
    // The one sheet that no sheet symbol of another sheet of the project names.
    std::vector<WsDocument*> sheets;
    for (auto& d : documents_)
        if (d->GetDocumentKind() == "SCH") sheets.push_back(d.get());
    if (sheets.empty()) return nullptr;
    if (sheets.size() == 1) return sheets[0];
    std::set<std::string> referenced;
    bool anySymbol = false;
    for (WsDocument* d : sheets) {
        std::unique_ptr<ObjectCore> holder;
        ObjectCore* sheet = app_->SheetOf(d->GetFullPath(), holder);
        if (!sheet) continue;
        for (ObjectCore* o : sheet->Children()) {
            if (o->Kind() != eSheetSymbol) continue;
            anySymbol = true;
            for (ObjectCore* c : o->Children())
                if (c->Kind() == eSheetFileName) referenced.insert(Upper(FileNameOf(c->GetStr("Text"))));
        }
    }
    if (!anySymbol) return nullptr;
    WsDocument* top = nullptr;
    for (WsDocument* d : sheets) {
        if (referenced.count(Upper(d->GetFileName()))) continue;
        if (top) return nullptr;
        top = d;
    }
    return top;
}

void Project::Compile() {
    for (auto& d : documents_) {
        if (d->GetDocumentKind() != "SCH") continue;
        std::unique_ptr<ObjectCore> holder;
        ObjectCore* sheet = app_->SheetOf(d->GetFullPath(), holder);
        d->SetNets(sheet ? CompileNets(*sheet) : std::vector<NetInfo>{});
    }
}

void Project::Save() {
    nlohmann::json docs = nlohmann::json::array();
    fs::path folder(Folder());
    for (auto& d : documents_) {
        fs::path rel = fs::path(d->GetFullPath()).lexically_relative(folder);
        docs.push_back(rel.empty() ? d->GetFullPath() : rel.generic_string());
    }
    nlohmann::json paths = nlohmann::json::array();
    for (auto& [path, sub] : searchPaths_) paths.push_back({{"path", path}, {"includeSubFolders", sub}});
    nlohmann::json file{{"format", kProjectFormat},
                        {"version", 1},
                        {"documents", docs},
                        {"searchPaths", paths},
                        {"options", options_.ToJson()}};
    std::ofstream out(path_, std::ios::binary | std::ios::trunc);
    if (!out) throw EApiErr("Cannot write project file " + path_);
    out << file.dump(1, '\t') << "\n";
}

bool Project::Load(std::string& error) {
    std::ifstream in(path_, std::ios::binary);
    if (!in) {
        error = "Cannot open " + path_;
        return false;
    }
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto j = nlohmann::json::parse(text, nullptr, false);
    if (j.is_discarded() || !j.is_object() || j.value("format", "") != kProjectFormat) {
        error = path_ + " is no project file";
        return false;
    }
    documents_.clear();
    if (j.contains("documents") && j["documents"].is_array())
        for (const auto& d : j["documents"])
            if (d.is_string()) {
                std::string p = d.get<std::string>();
                fs::path fp(p);
                std::string full = NormalizePath(fp.is_absolute() ? p : (fs::path(Folder()) / fp).string());
                documents_.push_back(std::make_unique<WsDocument>(full, app_->client_.GetDocumentKindFromPath(full)));
            }
    searchPaths_.clear();
    if (j.contains("searchPaths") && j["searchPaths"].is_array())
        for (const auto& s : j["searchPaths"])
            if (s.is_object()) searchPaths_.emplace_back(s.value("path", ""), s.value("includeSubFolders", false));
    options_.FromJson(j.value("options", nlohmann::json::object()));
    return true;
}

}  // namespace impl

// ----- HostApplication -----------------------------------------------------------------------------

HostApplication::HostApplication(HostOptions options) : state_(std::make_unique<impl::AppState>(std::move(options))) {}

HostApplication::~HostApplication() = default;

IClient* HostApplication::Client() { return &state_->client_; }
ISch_ServerInterface* HostApplication::SchServer() { return state_->Server(); }
IWorkspace* HostApplication::Workspace() { return state_->workspace_.get(); }
IAnalyticsMonitor* HostApplication::Analytics() { return &state_->analytics_; }
ISimModelInitializer* HostApplication::SimModelInitializer() {
    return state_->simRunning_ ? &state_->modelInitializer_ : nullptr;
}
bool HostApplication::GetInTestMode() { return state_->options_.TestMode; }

std::string HostApplication::GetProgramFileName() {
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    return ec ? std::string() : exe.string();
}

std::string HostApplication::GetSettingsFolder() { return state_->SettingsFolder(); }

ISch_ServerInterface* HostApplication::StartSchServer() { return state_->EnsureServer(); }

IProject* HostApplication::CreateProject(const std::string& path) {
    if (!state_->workspace_) return nullptr;
    auto project = std::make_unique<impl::Project>(state_.get(), path);
    project->Save();
    return state_->workspace_->AddProject(std::move(project));
}

IProject* HostApplication::OpenProject(const std::string& path) {
    if (!state_->workspace_) return nullptr;
    auto project = std::make_unique<impl::Project>(state_.get(), path);
    std::string error;
    if (!project->Load(error)) return nullptr;
    return state_->workspace_->AddProject(std::move(project));
}

std::vector<std::string> HostApplication::OptionKeys(IProject* project, const std::string& section) const {
    auto* own = dynamic_cast<impl::Project*>(project);
    return own ? own->Options().Keys(section) : std::vector<std::string>{};
}

void HostApplication::FocusProject(IProject* project) {
    if (state_->workspace_) state_->workspace_->Focus(project);
}

IServerDocument* HostApplication::OpenDocumentFile(const std::string& path) {
    std::string kind = state_->client_.GetDocumentKindFromPath(path);
    return kind.empty() ? nullptr : state_->client_.OpenDocument(kind, path);
}

ISch_Document* HostApplication::SchDocumentOf(IServerDocument* document) {
    impl::ServerDoc* doc = state_->client_.Find(document);
    return doc ? dynamic_cast<ISch_Document*>(doc->Doc()->Iface()) : nullptr;
}

std::vector<std::string> HostApplication::ProcessLog() const { return state_->client_.processes_; }
std::vector<std::string> HostApplication::NotificationLog() const { return state_->client_.notifications_; }
std::vector<std::string> HostApplication::ErrorBoxLog() const { return state_->client_.errorBoxes_; }
std::vector<std::string> HostApplication::AnalyticsLog() const { return state_->analytics_.events_; }
size_t HostApplication::LiveObjectCount() const { return state_->server_ ? state_->server_->LiveObjectCount() : 0; }

}  // namespace orcadx::host
