// The functions that the translator library exports with C linkage. A host loads the library with
// dlopen, looks these names up and calls them; every call runs a whole validation, analysis, import
// or export on the caller's thread and returns.
//
// Strings at this boundary are wide (UTF-16, zero-terminated) and owned by the caller; a null
// pointer and an empty string mean the same. The interfaces are the host's, borrowed for the call.
#pragma once

#include <cstdint>
#include <string>

#include "host/HostInterfaces.h"

namespace orcadx::host {
class IProject;
class ISch_Document;
class IHostApplication;
}  // namespace orcadx::host

#define ORCADX_EXPORT extern "C" __attribute__((visibility("default")))

using WideChar = char16_t;

// The host hands its globals (client, schematic server, workspace, analytics) to the plug-in once,
// right after loading it.
ORCADX_EXPORT void RegisterHost(orcadx::host::IHostApplication* host);

ORCADX_EXPORT bool IsValidDSN(const WideChar* FileName);
ORCADX_EXPORT bool IsValidOLB(const WideChar* FileName);
ORCADX_EXPORT bool AnalyzeDSN(const WideChar* FileName, orcadx::host::IHandler_Status* Status,
                              orcadx::host::IStringList* Analysis, orcadx::host::IStringList* AnalysisDetail);
ORCADX_EXPORT bool AnalyzeOLB(const WideChar* FileName, orcadx::host::IHandler_Status* Status,
                              orcadx::host::IStringList* Analysis, orcadx::host::IStringList* AnalysisDetail);
ORCADX_EXPORT void ImportDSN(const WideChar* FileName, orcadx::host::IOrcadImporterOption* Options,
                             orcadx::host::IHandler_Status* Status, orcadx::host::ILogSection* Log,
                             const WideChar* OutputFolder, orcadx::host::IProject* Project,
                             uint8_t* TemplatesImported);
ORCADX_EXPORT void ImportOLB(const WideChar* FileName, orcadx::host::IOrcadImporterOption* Options,
                             orcadx::host::IHandler_Status* Status, orcadx::host::ILogSection* Log,
                             const WideChar* OutputFolder, orcadx::host::IProject* Project,
                             uint8_t* TemplatesImported);
// `Results` is an in-out wide string; the text result of a library export is written into it.
ORCADX_EXPORT bool ExportFileW(const WideChar* Parameters, std::u16string* Results);
ORCADX_EXPORT bool OrCad71Saver(const WideChar* Parameters);
ORCADX_EXPORT bool OrCad71Validator(const WideChar* Parameters);
ORCADX_EXPORT bool ExportFileFromSch(const WideChar* FileName, int32_t Unused, orcadx::host::ISch_Document* Document);
ORCADX_EXPORT bool ExportFileFromSchEx(const WideChar* FileName, int32_t Unused, orcadx::host::ISch_Document* Document,
                                       int32_t Unused2);
ORCADX_EXPORT const WideChar* GetSchExporterDescription();
// One page of a design ("VIEW/PAGE", or a page name that only one view has) into a sheet of the
// output folder, with the library import before it; false on failure, with the reason in the log.
ORCADX_EXPORT bool ImportDSNPage(const WideChar* FileName, const WideChar* ViewAndPage,
                                 orcadx::host::IOrcadImporterOption* Options, orcadx::host::IHandler_Status* Status,
                                 orcadx::host::ILogSection* Log, const WideChar* OutputFolder,
                                 orcadx::host::IProject* Project);

// Function pointer types, for a host that looks the exports up by name.
using PFN_RegisterHost = void (*)(orcadx::host::IHostApplication*);
using PFN_IsValid = bool (*)(const WideChar*);
using PFN_Analyze = bool (*)(const WideChar*, orcadx::host::IHandler_Status*, orcadx::host::IStringList*,
                             orcadx::host::IStringList*);
using PFN_Import = void (*)(const WideChar*, orcadx::host::IOrcadImporterOption*, orcadx::host::IHandler_Status*,
                            orcadx::host::ILogSection*, const WideChar*, orcadx::host::IProject*, uint8_t*);
using PFN_ExportFileW = bool (*)(const WideChar*, std::u16string*);
using PFN_Parameters = bool (*)(const WideChar*);
using PFN_ExportFileFromSch = bool (*)(const WideChar*, int32_t, orcadx::host::ISch_Document*);
using PFN_ExportFileFromSchEx = bool (*)(const WideChar*, int32_t, orcadx::host::ISch_Document*, int32_t);
using PFN_GetDescription = const WideChar* (*)();
using PFN_ImportPage = bool (*)(const WideChar*, const WideChar*, orcadx::host::IOrcadImporterOption*,
                                orcadx::host::IHandler_Status*, orcadx::host::ILogSection*, const WideChar*,
                                orcadx::host::IProject*);
