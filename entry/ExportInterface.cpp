// The exported functions that write Capture files from host documents.
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <string>

#include "dbo/DboBaseObjects.h"
#include "dbo/DboFileIO.h"
#include "entry/HostAccess.h"
#include "entry/TranslatorApi.h"
#include "entry/FileTest.h"
#include "export/SCHExport.h"
#include "export/SCHExportProject.h"
#include "platform/CodePage.h"
#include "platform/Parameters.h"
#include "platform/TextCompare.h"

using namespace orcadx;

namespace {

std::string Narrow(const WideChar* text) { return text ? platform::Utf16ToUtf8(text) : std::string(); }

// The version written when the parameters name none.
constexpr uint32_t kDefaultExportVersion = 0x00020003;

std::string RequiredParameter(const std::string& parameters, const std::string& name) {
    std::string value = platform::GetParameterValue(parameters, name);
    if (value.empty()) throw dbo::Exception("Parameter '" + name + "' is not found or is empty.");
    return value;
}

// "OrcadVersion" as decimal text (or hexadecimal behind "0x" or "$"); a version that no Capture
// file has is refused as well, since nothing could read the file written with it.
uint32_t ParseVersion(const std::string& text) {
    std::string digits = text;
    int base = 10;
    if (digits.rfind("0x", 0) == 0 || digits.rfind("0X", 0) == 0) {
        digits = digits.substr(2);
        base = 16;
    } else if (!digits.empty() && digits[0] == '$') {
        digits = digits.substr(1);
        base = 16;
    }
    char* end = nullptr;
    errno = 0;
    unsigned long long value = std::strtoull(digits.c_str(), &end, base);
    bool parsed = !digits.empty() && digits[0] != '-' && digits[0] != '+' && end && *end == '\0' && errno == 0 &&
                  value <= 0xFFFFFFFFull;
    if (!parsed || !dbo::InVersionSet(static_cast<uint32_t>(value), dbo::VersionSet::Known))
        throw dbo::Exception("Orcad Version is incorrect.");
    return static_cast<uint32_t>(value);
}

// Switches the host's pointer to its busy form for the life of the object.
struct BusyCursor {
    explicit BusyCursor(host::IClient* client) : client_(client) {
        if (client_) client_->SetBusyCursor(true);
    }
    ~BusyCursor() {
        if (client_) client_->SetBusyCursor(false);
    }
    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;

private:
    host::IClient* client_;
};

// Steps of the export that run once the parameters are read: failures are shown in the host's
// error box and give false.
bool RunExport(host::IHostApplication& host, const std::string& parameters, const std::string& fileName,
               const std::string& fileType, uint32_t version, std::string& results) {
    host::IClient* client = host.Client();
    try {
        if (client) client->StartServer("SCH");
        BusyCursor busy(client);
        if (fileType == "DSN") {
            host::IWorkspace* workspace = host.Workspace();
            host::IProject* project = workspace ? workspace->GetFocusedProject() : nullptr;
            if (!project) throw dbo::Exception("Could not get the project.");
            exporter::ExportProject(host, project, fileName, version);
            return true;
        }
        if (fileType == "OLB") {
            std::string documentName = RequiredParameter(parameters, "DocumentName");
            host::ISch_ServerInterface* server = host.SchServer();
            auto* library =
                server ? dynamic_cast<host::ISch_Lib*>(server->GetSchDocumentByPath(documentName)) : nullptr;
            if (!library) throw dbo::Exception("Could not get the SchLib.");
            std::string text;
            exporter::ExportLibrary(host, library, fileName, version, text);
            if (!results.empty()) results += " | ";
            results += text;
            return true;
        }
        return false;
    } catch (const std::exception& e) {
        if (client) client->ShowErrorBox(e.what(), "Error");
        return false;
    }
}

}  // namespace

bool ExportFileW(const WideChar* Parameters, std::u16string* Results) {
    std::string parameters = Narrow(Parameters);
    std::string fileName = RequiredParameter(parameters, "FileName");
    std::string fileType = RequiredParameter(parameters, "FileType");
    uint32_t version = kDefaultExportVersion;
    std::string versionText = platform::GetParameterValue(parameters, "OrcadVersion");
    if (!versionText.empty()) version = ParseVersion(versionText);
    host::IHostApplication* host = entry::HostApplication();
    if (!host) return false;
    std::string results = Results ? platform::Utf16ToUtf8(*Results) : std::string();
    bool done = RunExport(*host, parameters, fileName, fileType, version, results);
    if (done && Results) *Results = platform::Utf8ToUtf16(results);
    return done;
}

bool OrCad71Saver(const WideChar* Parameters) {
    if (!Parameters) return false;
    std::string parameters = Narrow(Parameters);
    if (platform::GetParameterValue(parameters, "OrcadVersion").empty())
        parameters = platform::JoinParameters(parameters, "OrcadVersion=65537");
    std::u16string results;
    return ExportFileW(platform::Utf8ToUtf16(parameters).c_str(), &results);
}

// Exports the focused project of which the document is a part, as the file type that the file
// name's extension gives, through OrCad71Saver (version 0x00010001).
bool ExportFileFromSch(const WideChar* FileName, int32_t, host::ISch_Document* Document) {
    host::IHostApplication* host = entry::HostApplication();
    host::IWorkspace* workspace = host ? host->Workspace() : nullptr;
    host::IProject* project = workspace ? workspace->GetFocusedProject() : nullptr;
    if (!project || !Document) return false;
    std::string path = Document->GetState_DocumentName();
    bool inProject = false;
    for (int32_t i = 0; i < project->GetDocumentCount() && !inProject; ++i)
        if (host::IDocument* document = project->GetDocument(i))
            inProject = entry::SamePath(document->GetFullPath(), path);
    if (!inProject) return false;
    std::string fileName = Narrow(FileName);
    std::string fileType = platform::UpperCaseAscii(entry::ExtensionOf(fileName));
    if (!fileType.empty()) fileType.erase(0, 1);
    std::string parameters = "DocumentName=" + path + " | FileName=" + fileName + " | FileType=" + fileType;
    return OrCad71Saver(platform::Utf8ToUtf16(parameters).c_str());
}

bool ExportFileFromSchEx(const WideChar* FileName, int32_t Unused, host::ISch_Document* Document, int32_t) {
    return ExportFileFromSch(FileName, Unused, Document);
}

const WideChar* GetSchExporterDescription() { return u"Orcad v7 Capture Design (*.dsn)"; }
