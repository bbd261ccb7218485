// The exported functions of the translator library.
#include <exception>
#include <memory>
#include <string>

#include "dbo/DboDesign.h"
#include "entry/FileTest.h"
#include "entry/HostAccess.h"
#include "platform/Parameters.h"
#include "platform/Status.h"
#include "entry/TranslatorApi.h"
#include "platform/CodePage.h"
#include "import/SCHDesignImport.h"
#include "import/SCHLibraryImport.h"

using namespace orcadx;

namespace {

std::string Narrow(const WideChar* text) { return text ? platform::Utf16ToUtf8(text) : std::string(); }

}  // namespace

void RegisterHost(host::IHostApplication* app) { entry::SetHostApplication(app); }

bool IsValidDSN(const WideChar* FileName) { return entry::IsValidFile(Narrow(FileName), ".DSN"); }

bool IsValidOLB(const WideChar* FileName) { return entry::IsValidFile(Narrow(FileName), ".OLB"); }

// ----- Drivers of the analyses and imports ----------------------------------------------------

namespace {

const char kLibraryKey[] = "OrCAD.SCHLIB";
const char kDesignKey[] = "OrCAD.SCH";

// Document notifications around an import: the project's document with 47 and 48, none with 7 and 6.
void Notify(host::IHostApplication& app, int32_t code, host::IProject* project) {
    if (host::IClient* client = app.Client())
        client->SendDocumentNotification(code, project ? project->GetProjectDocument() : nullptr);
}

void NotifyStart(host::IHostApplication& app, host::IProject* project) {
    Notify(app, 47, project);
    Notify(app, 7, nullptr);
}

// The closing notifications; they also run on the way out of a failed import, where a failure of
// theirs must not hide the first one.
void NotifyEnd(host::IHostApplication& app, host::IProject* project) {
    try {
        Notify(app, 6, nullptr);
        Notify(app, 48, project);
    } catch (...) {
    }
}

// The schematic server, asked to start when it isn't running.
void EnsureSchServer(host::IHostApplication& app) {
    if (!app.SchServer())
        if (host::IClient* client = app.Client()) client->StartServer("SCH");
}

std::string MessageOf(std::exception_ptr failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "Unknown error";
    }
}

// AnalyzeDSN and AnalyzeOLB after their file test: what an import would make, without making it.
// Every failure is swallowed; the lists may then be partial.
void Analyze(const std::string& fileName, bool library, host::IHandler_Status* Status, host::IStringList* Analysis,
             host::IStringList* AnalysisDetail) {
    platform::StatusReporter status(Status);
    try {
        status.Begin();
    } catch (...) {
        return;
    }
    try {
        std::unique_ptr<dbo::TDboDesign> design;
        try {
            design = std::make_unique<dbo::TDboDesign>(fileName, Status, 100, nullptr);
            status.Range(100);
            if (design->Load(false)) {
                importer::AnalyzeLibrary(*design, Analysis, library ? AnalysisDetail : nullptr);
                if (!library) importer::AnalyzeDesign(*design, Analysis, AnalysisDetail);
            }
            status.Complete();
        } catch (...) {
        }
        design.reset();
    } catch (...) {
    }
    try {
        status.End();
    } catch (...) {
    }
}

// The library import behind ImportOLB, after its file test.
void ImportLibraryFile(host::IHostApplication& app, const std::string& fileName, host::IOrcadImporterOption* Options,
                       host::IHandler_Status* Status, host::ILogSection* Log, const std::string& folder,
                       host::IProject* Project, uint8_t* TemplatesImported) {
    platform::AnalyticsStart(kLibraryKey);
    std::unique_ptr<dbo::TDboDesign> design;
    platform::StatusReporter status(Status);
    bool begun = false;
    try {
        EnsureSchServer(app);
        NotifyStart(app, Project);
        design = std::make_unique<dbo::TDboDesign>(fileName, Status, 100, Log);
        status.Begin();
        begun = true;
        status.Range(250);
        if (design->Load(false)) {
            bool templates = false;
            std::string library = importer::ImportLibrary(app, *design, Options, Status, 100, Log, folder, Project,
                                                          true, templates);
            if (TemplatesImported) *TemplatesImported = templates ? 1 : 0;
            if (!library.empty()) {
                bool designTemplates = false;
                importer::ImportDesign(app, *design, library, Options, Status, 50, Log, folder, Project,
                                       designTemplates);
                importer::RemoveExtentParameters(app, library);
            }
        }
        status.Complete();
        begun = false;
        status.End();
        platform::AnalyticsSuccess(kLibraryKey, design->SymbolCount());
        design.reset();
        NotifyEnd(app, Project);
    } catch (...) {
        std::exception_ptr failure = std::current_exception();
        try {
            if (begun) status.End();
        } catch (...) {
        }
        design.reset();
        NotifyEnd(app, Project);
        try {
            std::rethrow_exception(failure);
        } catch (const host::EApiErr& e) {
            // The host's own errors go to the user in its error box, with the default caption.
            if (host::IClient* client = app.Client()) client->ShowErrorBox(e.what(), "Error");
        } catch (...) {
            try {
                platform::LogMessage(Log, host::kLogError, MessageOf(failure));
            } catch (...) {
            }
            platform::AnalyticsFailure(kLibraryKey);
        }
    }
}

// The design import behind ImportDSN, after its file test: the library first, then every page,
// then the library loses its extent parameters. Every failure ends in the log and the analytics.
void ImportDesignFile(host::IHostApplication& app, const std::string& fileName, host::IOrcadImporterOption* Options,
                      host::IHandler_Status* Status, host::ILogSection* Log, const std::string& folder,
                      host::IProject* Project, uint8_t* TemplatesImported) {
    platform::AnalyticsStart(kDesignKey);
    std::unique_ptr<dbo::TDboDesign> design;
    platform::StatusReporter status(Status);
    try {
        EnsureSchServer(app);
        NotifyStart(app, Project);
        status.Begin();
        design = std::make_unique<dbo::TDboDesign>(fileName, Status, 100, Log);
        // A page that can't be read costs that page only: the others still make the project.
        design->SkipDamagedPages = true;
        status.Range(300);
        if (design->Load(false)) {
            bool libraryTemplates = false;
            std::string library = importer::ImportLibrary(app, *design, Options, Status, 100, Log, folder, Project,
                                                          false, libraryTemplates);
            bool templates = false;
            importer::ImportDesign(app, *design, library, Options, Status, 100, Log, folder, Project, templates);
            if (TemplatesImported) *TemplatesImported = templates ? 1 : 0;
            if (!library.empty()) importer::RemoveExtentParameters(app, library);
            if (Options && Options->GetClearPreference())
                if (host::ISch_ServerInterface* server = app.SchServer())
                    if (host::ISch_Preferences* preferences = server->GetPreferences())
                        preferences->SetState_BooleanPreference("AutoJunctions", false);
        }
        status.Complete();
        status.End();
        platform::AnalyticsSuccess(kDesignKey, design->PageCount());
        design.reset();
        NotifyEnd(app, Project);
    } catch (...) {
        std::exception_ptr failure = std::current_exception();
        design.reset();
        NotifyEnd(app, Project);
        try {
            platform::LogMessage(Log, host::kLogError, MessageOf(failure));
        } catch (...) {
        }
        platform::AnalyticsFailure(kDesignKey);
    }
}

// The host that RegisterHost named; none, with an error in the log that `what` has no host.
host::IHostApplication* RegisteredHost(host::ILogSection* Log, const std::string& what) {
    host::IHostApplication* app = entry::HostApplication();
    if (!app) {
        try {
            platform::LogMessage(Log, host::kLogError, what + ": no host application is registered");
        } catch (...) {
        }
    }
    return app;
}

}  // namespace

bool AnalyzeDSN(const WideChar* FileName, host::IHandler_Status* Status, host::IStringList* Analysis,
                host::IStringList* AnalysisDetail) {
    if (!IsValidDSN(FileName)) return false;
    Analyze(Narrow(FileName), false, Status, Analysis, AnalysisDetail);
    return true;
}

bool AnalyzeOLB(const WideChar* FileName, host::IHandler_Status* Status, host::IStringList* Analysis,
                host::IStringList* AnalysisDetail) {
    if (!IsValidOLB(FileName)) return false;
    Analyze(Narrow(FileName), true, Status, Analysis, AnalysisDetail);
    return true;
}

void ImportDSN(const WideChar* FileName, host::IOrcadImporterOption* Options, host::IHandler_Status* Status,
               host::ILogSection* Log, const WideChar* OutputFolder, host::IProject* Project,
               uint8_t* TemplatesImported) {
    if (!IsValidDSN(FileName)) return;
    host::IHostApplication* app = RegisteredHost(Log, "Design import");
    if (!app) return;
    ImportDesignFile(*app, Narrow(FileName), Options, Status, Log, Narrow(OutputFolder), Project, TemplatesImported);
}

void ImportOLB(const WideChar* FileName, host::IOrcadImporterOption* Options, host::IHandler_Status* Status,
               host::ILogSection* Log, const WideChar* OutputFolder, host::IProject* Project,
               uint8_t* TemplatesImported) {
    if (!IsValidOLB(FileName)) return;
    host::IHostApplication* app = RegisteredHost(Log, "Library import");
    if (!app) return;
    ImportLibraryFile(*app, Narrow(FileName), Options, Status, Log, Narrow(OutputFolder), Project, TemplatesImported);
}

bool OrCad71Validator(const WideChar* Parameters) {
    std::string parameters = Narrow(Parameters);
    if (parameters.empty()) return false;
    std::string fileName = platform::GetParameterValue(parameters, "FileName");
    std::string fileType = platform::GetParameterValue(parameters, "FileType");
    if (fileName.empty() || fileType.empty() || !entry::FileExists(fileName)) return false;
    if (fileType == "DSN") return entry::HasExtension(fileName, ".DSN") && entry::HeaderTest(fileName);
    if (fileType == "OLB") return entry::HasExtension(fileName, ".OLB") && entry::HeaderTest(fileName);
    return false;
}
