#include "cli/Translator.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

namespace orcadx::cli {

namespace {

std::filesystem::path ProgramFolder() {
    std::error_code ec;
    auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::filesystem::current_path() : exe.parent_path();
}

template <class F>
void Resolve(void* handle, const char* name, F& out) {
    void* sym = dlsym(handle, name);
    if (!sym) throw std::runtime_error(std::string("The translator does not export ") + name);
    out = reinterpret_cast<F>(sym);
}

}  // namespace

Translator::Translator() {
    std::vector<std::filesystem::path> candidates;
    if (const char* env = std::getenv("ORCADX_TRANSLATOR")) candidates.emplace_back(env);
    auto here = ProgramFolder();
    candidates.push_back(here / "liborcadx_translator.so");
    candidates.push_back(here / ".." / "bin" / "liborcadx_translator.so");
    candidates.push_back(here / ".." / "lib" / "liborcadx_translator.so");
    std::string errors;
    for (const auto& c : candidates) {
        if (!std::filesystem::exists(c)) continue;
        handle_ = dlopen(c.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle_) {
            path_ = c.string();
            break;
        }
        errors += std::string("\n  ") + dlerror();
    }
    if (!handle_) throw std::runtime_error("Cannot load the translator library liborcadx_translator.so" + errors);
    Resolve(handle_, "RegisterHost", RegisterHost);
    Resolve(handle_, "IsValidDSN", IsValidDSN);
    Resolve(handle_, "IsValidOLB", IsValidOLB);
    Resolve(handle_, "AnalyzeDSN", AnalyzeDSN);
    Resolve(handle_, "AnalyzeOLB", AnalyzeOLB);
    Resolve(handle_, "ImportDSN", ImportDSN);
    Resolve(handle_, "ImportOLB", ImportOLB);
    Resolve(handle_, "ExportFileW", ExportFileW);
    Resolve(handle_, "OrCad71Saver", OrCad71Saver);
    Resolve(handle_, "OrCad71Validator", OrCad71Validator);
    Resolve(handle_, "ExportFileFromSch", ExportFileFromSch);
    Resolve(handle_, "ExportFileFromSchEx", ExportFileFromSchEx);
    Resolve(handle_, "GetSchExporterDescription", GetSchExporterDescription);
    ImportDSNPage = reinterpret_cast<PFN_ImportPage>(dlsym(handle_, "ImportDSNPage"));
}

Translator::~Translator() {
    if (handle_) dlclose(handle_);
}

}  // namespace orcadx::cli
