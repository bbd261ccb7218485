// The translator plug-in, loaded with dlopen as a host loads it, with its exports looked up by name.
#pragma once

#include <string>

#include "entry/TranslatorApi.h"

namespace orcadx::cli {

class Translator {
public:
    // Loads the library: $ORCADX_TRANSLATOR, else liborcadx_translator.so beside the program or in
    // ../lib. Raises std::runtime_error with dlerror's text when it can't.
    Translator();
    ~Translator();
    Translator(const Translator&) = delete;
    Translator& operator=(const Translator&) = delete;

    const std::string& Path() const { return path_; }

    PFN_RegisterHost RegisterHost = nullptr;
    PFN_IsValid IsValidDSN = nullptr;
    PFN_IsValid IsValidOLB = nullptr;
    PFN_Analyze AnalyzeDSN = nullptr;
    PFN_Analyze AnalyzeOLB = nullptr;
    PFN_Import ImportDSN = nullptr;
    PFN_Import ImportOLB = nullptr;
    PFN_ExportFileW ExportFileW = nullptr;
    PFN_Parameters OrCad71Saver = nullptr;
    PFN_Parameters OrCad71Validator = nullptr;
    PFN_ExportFileFromSch ExportFileFromSch = nullptr;
    PFN_ExportFileFromSchEx ExportFileFromSchEx = nullptr;
    PFN_GetDescription GetSchExporterDescription = nullptr;
    // Null when the library doesn't export it.
    PFN_ImportPage ImportDSNPage = nullptr;

private:
    void* handle_ = nullptr;
    std::string path_;
};

}  // namespace orcadx::cli
