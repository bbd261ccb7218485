// A stand-in for the translator plug-in, so that the command line's handling of an import's outcome
// is tested apart from the translation itself. A file is valid when it is a compound file; an
// import of a valid file logs one message whose severity $ORCADX_FAKE_IMPORT names ("error",
// "warning", anything else information). Everything else answers false.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "entry/TranslatorApi.h"

using namespace orcadx;

namespace {

std::string Narrow(const WideChar* text) {
    std::string out;
    for (; text && *text; ++text) out += static_cast<char>(*text < 0x80 ? *text : '?');
    return out;
}

bool IsCompoundFile(const WideChar* fileName) {
    std::ifstream in(Narrow(fileName), std::ios::binary);
    char head[8] = {};
    return in.read(head, 8) && std::memcmp(head, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) == 0;
}

void FakeImport(const WideChar* fileName, host::ILogSection* log) {
    if (!IsCompoundFile(fileName) || !log) return;
    const char* mode = std::getenv("ORCADX_FAKE_IMPORT");
    std::string m = mode ? mode : "";
    int32_t severity = m == "error" ? host::kLogError : m == "warning" ? host::kLogWarning : host::kLogInfo;
    log->AddMessage(severity, "Fake import of " + Narrow(fileName) + ": " + (m.empty() ? "info" : m));
}

}  // namespace

void RegisterHost(host::IHostApplication*) {}
bool IsValidDSN(const WideChar* FileName) { return IsCompoundFile(FileName); }
bool IsValidOLB(const WideChar* FileName) { return IsCompoundFile(FileName); }
bool AnalyzeDSN(const WideChar*, host::IHandler_Status*, host::IStringList*, host::IStringList*) { return false; }
bool AnalyzeOLB(const WideChar*, host::IHandler_Status*, host::IStringList*, host::IStringList*) { return false; }
void ImportDSN(const WideChar* FileName, host::IOrcadImporterOption*, host::IHandler_Status*, host::ILogSection* Log,
               const WideChar*, host::IProject*, uint8_t*) {
    FakeImport(FileName, Log);
}
void ImportOLB(const WideChar* FileName, host::IOrcadImporterOption*, host::IHandler_Status*, host::ILogSection* Log,
               const WideChar*, host::IProject*, uint8_t*) {
    FakeImport(FileName, Log);
}
bool ExportFileW(const WideChar*, std::u16string*) { return false; }
bool OrCad71Saver(const WideChar*) { return false; }
bool OrCad71Validator(const WideChar*) { return false; }
bool ExportFileFromSch(const WideChar*, int32_t, host::ISch_Document*) { return false; }
bool ExportFileFromSchEx(const WideChar*, int32_t, host::ISch_Document*, int32_t) { return false; }
const WideChar* GetSchExporterDescription() { return u"Fake"; }
