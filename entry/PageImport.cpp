// The export that imports one page of a design on its own, for the command line and for checks of
// single pages.
#include <string>

#include "entry/HostAccess.h"
#include "entry/TranslatorApi.h"
#include "import/SCHPageDocument.h"
#include "platform/CodePage.h"
#include "platform/Status.h"

using namespace orcadx;

bool ImportDSNPage(const WideChar* FileName, const WideChar* ViewAndPage, host::IOrcadImporterOption* Options,
                   host::IHandler_Status* Status, host::ILogSection* Log, const WideChar* OutputFolder,
                   host::IProject* Project) {
    try {
        host::IHostApplication* app = entry::HostApplication();
        if (!app) throw std::runtime_error("No host is registered");
        auto narrow = [](const WideChar* text) { return text ? platform::Utf16ToUtf8(text) : std::string(); };
        importer::ImportDesignPage(*app, narrow(FileName), narrow(ViewAndPage), Options, Status, Log,
                                   narrow(OutputFolder), Project);
        return true;
    } catch (const std::exception& e) {
        try {
            platform::LogMessage(Log, host::kLogError, e.what());
        } catch (...) {
        }
        return false;
    }
}
