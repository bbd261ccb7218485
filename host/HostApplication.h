// The host application: schematic server, client with its open documents, workspace with its
// projects and message panel, analytics and the simulation server's model initialiser. One object
// of this class is the whole host; the translator sees it through IHostApplication.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/ClientInterfaces.h"
#include "host/Netlist.h"

namespace orcadx::host {

namespace impl {
class AppState;
class SchServer;
}  // namespace impl

struct HostOptions {
    bool TestMode = false;
    bool WithWorkspace = true;
    // Folder of the host's data files ("OrCAD-CAPSYM.SchLib"); empty: "templates" below the
    // settings folder.
    std::string TemplatesFolder;
    // Per-user settings folder; empty: $XDG_CONFIG_HOME/vantor or ~/.config/vantor.
    std::string SettingsFolder;
    // Seed of the unique ids; 0 takes $ORCADX_SEED when set, else a random seed.
    uint32_t Seed = 0;
    // A sheet or library closed after it was saved stays in memory, and opening its file again,
    // while the file is as that save left it, gives the same objects back instead of reading the
    // file: for a caller that reads what a translator has just written and closed (the netlist of
    // a design imported into a temporary project).
    bool KeepClosedDocuments = false;
};

// Options of a host whose settings and data files go into "settings" and "templates" below
// `folder`, with unique ids from `seed` (0: a random seed): a host of its own for one test or
// benchmark run.
inline HostOptions HostOptionsIn(const std::string& folder, uint32_t seed = 0) {
    HostOptions options;
    options.Seed = seed;
    options.SettingsFolder = folder + "/settings";
    options.TemplatesFolder = folder + "/templates";
    return options;
}

class HostApplication final : public IHostApplication {
public:
    explicit HostApplication(HostOptions options = {});
    ~HostApplication() override;
    HostApplication(const HostApplication&) = delete;
    HostApplication& operator=(const HostApplication&) = delete;

    // IHostApplication
    IClient* Client() override;
    ISch_ServerInterface* SchServer() override;
    IWorkspace* Workspace() override;
    IAnalyticsMonitor* Analytics() override;
    ISimModelInitializer* SimModelInitializer() override;
    bool GetInTestMode() override;
    std::string GetProgramFileName() override;
    std::string GetSettingsFolder() override;

    // Host side.
    // Starts the schematic server if needed and gives it.
    ISch_ServerInterface* StartSchServer();
    // A new project file at `path` (written at once), focused.
    IProject* CreateProject(const std::string& path);
    // Opens a project file, focused; null when it can't be read.
    IProject* OpenProject(const std::string& path);
    void FocusProject(IProject* project);
    // The keys of a section of a project's options, in sorted order; none for a project that is
    // not this host's.
    std::vector<std::string> OptionKeys(IProject* project, const std::string& section) const;
    // Opens a document file of either kind by its extension (".SchDoc", ".SchLib").
    IServerDocument* OpenDocumentFile(const std::string& path);
    // The schematic document behind a client document.
    ISch_Document* SchDocumentOf(IServerDocument* document);
    // What the host has recorded: processes run, notifications, error boxes, analytics events.
    std::vector<std::string> ProcessLog() const;
    std::vector<std::string> NotificationLog() const;
    std::vector<std::string> ErrorBoxLog() const;
    std::vector<std::string> AnalyticsLog() const;
    // Number of schematic objects alive in the server (documents included).
    size_t LiveObjectCount() const;

private:
    std::unique_ptr<impl::AppState> state_;
};

// Writes the host's library of standard Capture symbols (power, port and off-page symbols under
// their Capture names) to `path`.
void WriteStandardSymbolLibrary(HostApplication& app, const std::string& path);

// The netlist of the sheets of a project, hierarchy flattened (the rules are those of
// impl::CompileNetlist in host/Connectivity.h). Open documents are read as they stand, the others
// are opened from their files; a sheet that can't be read is named in the netlist's problems.
Netlist CompileProjectNetlist(HostApplication& app, IProject& project);

}  // namespace orcadx::host
