// Library import of the largest sample library against its load: the translation into host
// objects alone, the import with the library document saved, and the whole ImportOLB (load,
// import, extent parameters stripped, two saves). Prints Google Benchmark's report, then a table
// of each against the load.
//
//   orcadx_import_bench [--corpus DIR] [Google Benchmark flags]
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "dbo/DboDesign.h"
#include "entry/TranslatorApi.h"
#include "host/HostApplication.h"
#include "host/HostSupport.h"
#include "platform/CodePage.h"

namespace fs = std::filesystem;
using namespace orcadx;

namespace {

// The whole import as a host calls it.
void BM_ImportOLB(benchmark::State& state, const fs::path& file) {
    const fs::path dir = bench::Scratch("orcadx-import-bench");
    std::u16string name = platform::Utf8ToUtf16(file.string()), folder = platform::Utf8ToUtf16(dir.string());
    host::ImporterOptions options;
    bench::WithFreshHost(state, dir, [&](host::HostApplication& app) {
        RegisterHost(&app);
        uint8_t templates = 0;
        ImportOLB(name.c_str(), &options, nullptr, nullptr, folder.c_str(), nullptr, &templates);
        RegisterHost(nullptr);
    });
}

}  // namespace

int main(int argc, char** argv) {
    return bench::RunLibrarySteps(argc, argv, ORCADX_CORPUS_DIR,
                                  {{"Load", bench::BM_Load, "Load"},
                                   {"Translate", bench::BM_ImportTranslate, "Load"},
                                   {"ImportLibrary", bench::BM_ImportLibrary, "Load"},
                                   {"ImportOLB", BM_ImportOLB, "Load"}},
                                  "x load");
}
