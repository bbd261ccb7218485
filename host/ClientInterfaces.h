// Abstract interfaces of the host's client, workspace and projects: documents as files, named
// processes, the message panel, the options of a project, and the application object through
// which the translator reaches all of them.
//
// Paths are UTF-8; the host accepts "\" as well as "/" as separator. Document kinds are "SCH"
// (sheet) and "SCHLIB" (library), compared without regard to case.
#pragma once

#include <cstdint>
#include <string>

#include "host/HostInterfaces.h"
#include "host/SchInterfaces.h"

namespace orcadx::host {

// A notification that the translator sends to a document. Code 24 carries a rectangle: the area of
// the sheet to show.
class INotification {
public:
    virtual ~INotification() = default;
    virtual int32_t GetCode() const = 0;
    // True when the notification carries a rectangle.
    virtual bool GetCoordRect(CoordRect& rect) const = 0;
};

// An open document as the client sees it.
class IServerDocument {
public:
    virtual ~IServerDocument() = default;
    virtual std::string GetFileName() = 0;  // full path
    virtual std::string GetKind() = 0;
    virtual bool GetModified() = 0;
    virtual void SetModified(bool modified) = 0;
    // Gives the document the focus: it becomes the client's and the schematic server's current one.
    virtual void Focus() = 0;
    // Writes the document to its file; format "Binary" or "ASCII" (both are the host's JSON).
    virtual bool DoFileSave(const std::string& format) = 0;
    virtual void SetFileName(const std::string& path) = 0;
    virtual void Notify(const INotification& notification) = 0;
    virtual bool GetIsShown() = 0;
    // The area last asked to be shown (code 24 or a zoom process).
    virtual CoordRect GetViewArea() = 0;
};

// A net of a compiled sheet.
class INet {
public:
    virtual ~INet() = default;
    virtual std::string GetNetName() = 0;
    virtual int32_t GetWireCount() = 0;
    // Unique id of a wire or bus of the net.
    virtual std::string GetWireUniqueId(int32_t index) = 0;
};

// A document as the workspace sees it: a file of a project, with the nets found by the last compile.
class IDocument {
public:
    virtual ~IDocument() = default;
    virtual std::string GetFullPath() = 0;
    virtual std::string GetFileName() = 0;  // without folder
    virtual std::string GetDocumentKind() = 0;
    virtual int32_t GetNetCount() = 0;
    virtual INet* GetNet(int32_t index) = 0;
};

// The options store of a project: sections of name/value pairs, saved with the project.
class IOptionsStorage {
public:
    virtual ~IOptionsStorage() = default;
    virtual void BeginUpdate() = 0;
    virtual void EndUpdate() = 0;
    virtual void EraseSection(const std::string& section) = 0;
    virtual std::string ReadValue(const std::string& section, const std::string& key,
                                  const std::string& defaultValue) = 0;
    virtual void WriteValue(const std::string& section, const std::string& key, const std::string& value) = 0;
    // The writer for long texts; the same store as WriteValue.
    virtual void WriteLongValue(const std::string& section, const std::string& key,
                                const std::string& value) = 0;
};

class IProject {
public:
    virtual ~IProject() = default;
    virtual std::string GetFullPath() = 0;
    // The project's own document, the one passed with document notifications.
    virtual IDocument* GetProjectDocument() = 0;
    virtual int32_t GetDocumentCount() = 0;
    virtual IDocument* GetDocument(int32_t index) = 0;
    // The sheet at the top of the hierarchy, or null.
    virtual IDocument* GetTopLevelDocument() = 0;
    // The file joins the project (once); the project file is saved.
    virtual void AddSourceDocument(const std::string& path) = 0;
    virtual int32_t GetSearchPathCount() = 0;
    virtual std::string GetSearchPath(int32_t index) = 0;
    virtual void AddSearchPath(const std::string& path, bool includeSubFolders) = 0;
    virtual IOptionsStorage* GetOptionsStorage() = 0;
};

// One entry of the workspace's message panel.
struct WorkspaceMessage {
    std::string MessageClass;
    std::string Text;
    std::string Source;
    std::string Document;
    std::string CallbackProcess;
    std::string CallbackParameters;
    int32_t ImageIndex = 0;
};

class IWorkspace {
public:
    virtual ~IWorkspace() = default;
    // A new id of eight capital letters, unique in this process.
    virtual std::string GenerateUniqueId() = 0;
    virtual void AddMessage(const WorkspaceMessage& message) = 0;
    virtual int32_t GetMessageCount() = 0;
    virtual WorkspaceMessage GetMessage(int32_t index) = 0;
    // The focused project, or null.
    virtual IProject* GetFocusedProject() = 0;
    // The workspace's document of a path (a document of an open project), or null.
    virtual IDocument* GetDocumentByPath(const std::string& path) = 0;
};

class IClient {
public:
    virtual ~IClient() = default;
    // The open document of that path, or null.
    virtual IServerDocument* GetDocumentByPath(const std::string& path) = 0;
    // Opens the file (or gives the document already open); null when it can't.
    virtual IServerDocument* OpenDocument(const std::string& kind, const std::string& path) = 0;
    // A new, empty document of the kind named `name` (no folder), not yet on disk; null for an
    // unknown kind.
    virtual IServerDocument* NewDocument(const std::string& kind, const std::string& name,
                                         const std::string& caption) = 0;
    // Closes without saving; the document's objects are destroyed.
    virtual void CloseDocument(IServerDocument* document) = 0;
    virtual void HideDocument(IServerDocument* document) = 0;
    virtual void ShowDocument(IServerDocument* document) = 0;
    // The focused document, or null.
    virtual IServerDocument* GetCurrentDocument() = 0;
    virtual bool StartServer(const std::string& name) = 0;
    virtual bool IsServerRunning(const std::string& name) = 0;
    // ".SchDoc" for "SCH", ".SchLib" for "SCHLIB".
    virtual std::string GetDefaultExtension(const std::string& kind) = 0;
    // The kind of a file by its name: "SCH", "SCHLIB", "PCBPROJECT", "INTEGRATEDLIBRARY", or "".
    virtual std::string GetDocumentKindFromPath(const std::string& path) = 0;
    virtual intptr_t GetMainWindowHandle() = 0;
    // Runs a named process; parameters are "Name=Value" pairs joined by "|". False when the process
    // is unknown or fails.
    virtual bool RunProcess(const std::string& name, const std::string& parameters) = 0;
    // Launches an editor command (as "CreateLibraryFromProject") in the current window.
    virtual bool LaunchCommand(const std::string& command, const std::string& parameters, int32_t number) = 0;
    // Serves the host's pending messages.
    virtual void ProcessMessages() = 0;
    virtual void SendDocumentNotification(int32_t code, IDocument* document) = 0;
    virtual void ShowErrorBox(const std::string& text, const std::string& caption) = 0;
    virtual void SetBusyCursor(bool busy) = 0;
    // Folder of the host's templates and data files, with a trailing separator.
    virtual std::string GetTemplatesFolder() = 0;
};

// The simulation server's model initialiser ("SIM").
class ISimModelInitializer {
public:
    virtual ~ISimModelInitializer() = default;
    // Checks the model that the implementation names and completes its parameters; false on failure,
    // with a reason in `message`.
    virtual bool InitializeModel(ISch_Implementation* implementation, ISch_Component* component,
                                 std::string& message) = 0;
};

// The host application: the plug-in's way to the host's globals. The translator receives it
// through its export RegisterHost.
class IHostApplication {
public:
    virtual ~IHostApplication() = default;
    virtual IClient* Client() = 0;
    // The schematic server, or null while it doesn't run (Client()->StartServer("SCH") starts it).
    virtual ISch_ServerInterface* SchServer() = 0;
    // May be null.
    virtual IWorkspace* Workspace() = 0;
    // Never null; a host without analytics gives a monitor that records nothing.
    virtual IAnalyticsMonitor* Analytics() = 0;
    // Null while the server "SIM" doesn't run or has no initialiser.
    virtual ISimModelInitializer* SimModelInitializer() = 0;
    virtual bool GetInTestMode() = 0;
    // Full path of the host's program file.
    virtual std::string GetProgramFileName() = 0;
    // Per-user settings folder (where "Penwork.Ini" lies), with a trailing separator.
    virtual std::string GetSettingsFolder() = 0;
};

}  // namespace orcadx::host
