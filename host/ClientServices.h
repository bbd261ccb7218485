// Document handling that the translator does through the host's interfaces: creating, saving,
// hiding and closing documents and removing library components. These functions use nothing but the
// virtual functions of ClientInterfaces.h and SchInterfaces.h, so the translator links them into
// itself (target orcadx_host_services). A failing host call raises EApiErr.
#pragma once

#include <string>

#include "host/ClientInterfaces.h"

namespace orcadx::host {

// Makes a new document at `path` when `force` is set or no file lies there (any document open at the
// path is closed first, an empty file is laid at the path and the document is saved); otherwise
// opens the file. Raises "Cannot create document from file " + path when the host gives no document.
IServerDocument* OpenOrCreateDocument(IHostApplication& host, const std::string& path, const std::string& kind,
                                      const std::string& format, bool force);

// Sets the modified flag and saves: by DoFileSave when the host's client wrapper lies beside its
// program, otherwise by showing and focusing the document and running "WorkspaceManager:SaveObject".
void SaveDocument(IHostApplication& host, IServerDocument* document, bool modified, const std::string& format);

// Saves the schematic document (format "Binary") and hides it; in test mode the host's messages are
// served first.
void SaveAndHideDocument(IHostApplication& host, ISch_Document* document);

// Closes the client document of a schematic document, if there is one.
void CloseServerDocument(IHostApplication& host, ISch_Document* document);

// Removes a component from a library: directly when the library finds it by library reference,
// otherwise through the process "SCH:DeleteComponentFromLibrary" on the focused library.
void RemoveLibraryComponent(IHostApplication& host, ISch_Lib* library, const std::string& name);

// Runs a named process and raises when the host reports a failure.
void RunProcess(IHostApplication& host, const std::string& name, const std::string& parameters);

}  // namespace orcadx::host
