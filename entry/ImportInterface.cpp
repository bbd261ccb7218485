// The exported functions of the translator library.
#include <string>

#include "entry/FileTest.h"
#include "entry/HostAccess.h"
#include "platform/Parameters.h"
#include "platform/Status.h"
#include "entry/TranslatorApi.h"
#include "platform/CodePage.h"

using namespace orcadx;

namespace {

std::string Narrow(const WideChar* text) { return text ? platform::Utf16ToUtf8(text) : std::string(); }

const char kNotAvailable[] = "not available in this build";

}  // namespace

void RegisterHost(host::IHostApplication* app) { entry::SetHostApplication(app); }

bool IsValidDSN(const WideChar* FileName) { return entry::IsValidFile(Narrow(FileName), ".DSN"); }

bool IsValidOLB(const WideChar* FileName) { return entry::IsValidFile(Narrow(FileName), ".OLB"); }

bool AnalyzeDSN(const WideChar* FileName, host::IHandler_Status*, host::IStringList*, host::IStringList*) {
    return IsValidDSN(FileName);
}

bool AnalyzeOLB(const WideChar* FileName, host::IHandler_Status*, host::IStringList*, host::IStringList*) {
    return IsValidOLB(FileName);
}

void ImportDSN(const WideChar* FileName, host::IOrcadImporterOption*, host::IHandler_Status*, host::ILogSection* Log,
               const WideChar*, host::IProject*, uint8_t*) {
    if (!IsValidDSN(FileName)) return;
    try {
        platform::LogMessage(Log, host::kLogError, std::string("Design import: ") + kNotAvailable);
    } catch (...) {
    }
}

void ImportOLB(const WideChar* FileName, host::IOrcadImporterOption*, host::IHandler_Status*, host::ILogSection* Log,
               const WideChar*, host::IProject*, uint8_t*) {
    if (!IsValidOLB(FileName)) return;
    try {
        platform::LogMessage(Log, host::kLogError, std::string("Library import: ") + kNotAvailable);
    } catch (...) {
    }
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
