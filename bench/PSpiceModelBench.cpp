// PSpice model libraries: indexing Cadence's optocoupler library (opto.lib, 64 KB, 100 subcircuits,
// 140 .MODEL lines), extracting one model with the subcircuit it calls, and indexing made-up
// libraries of growing size, whose times must grow in proportion.
//
//   orcadx_pspice_bench [Google Benchmark flags]; ORCADX_CORPUS_DIR overrides the sample folder.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "pspice/PSpiceModelImport.h"

namespace fs = std::filesystem;
using namespace orcadx::pspice;

namespace {

fs::path OptoLib() {
    const char* corpus = std::getenv("ORCADX_CORPUS_DIR");
    return fs::path(corpus ? corpus : ORCADX_CORPUS_DIR) / "Series-Regulator" / "Libs" / "opto.lib";
}

void IndexOptoLib(benchmark::State& state) {
    fs::path lib = OptoLib();
    if (!fs::exists(lib)) {
        state.SkipWithError("opto.lib not found");
        return;
    }
    int names = 0;
    for (auto _ : state) {
        TPSpiceModelFile file(lib.string());
        file.GenerateModelList();
        names = file.Subckts.Count() + file.Models.Count();
        benchmark::DoNotOptimize(names);
    }
    state.counters["names"] = names;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(fs::file_size(lib)));
}
BENCHMARK(IndexOptoLib)->Unit(benchmark::kMicrosecond);

void ExtractFromOptoLib(benchmark::State& state) {
    fs::path lib = OptoLib();
    if (!fs::exists(lib)) {
        state.SkipWithError("opto.lib not found");
        return;
    }
    TPSpiceModelFile file(lib.string());
    file.GenerateModelList();
    size_t lines = 0;
    for (auto _ : state) {
        // MCT2E calls A4N25, defined at the head of the file.
        lines = file.GetModelAsStrings("MCT2E").size();
        benchmark::DoNotOptimize(lines);
    }
    state.counters["lines"] = static_cast<double>(lines);
}
BENCHMARK(ExtractFromOptoLib)->Unit(benchmark::kMicrosecond);

// A library of `count` subcircuits, each calling the one before it, and as many models.
fs::path MadeUpLibrary(int count) {
    fs::path path = fs::temp_directory_path() / ("orcadx-bench-" + std::to_string(count) + ".lib");
    if (fs::exists(path)) return path;
    std::ofstream out(path, std::ios::binary);
    for (int i = 0; i < count; ++i) {
        out << "* part " << i << "\r\n.MODEL D" << i << " D(IS=1e-14\r\n+ N=1.05 RS=0.5)\r\n";
        out << ".SUBCKT S" << i << " a b PARAMS: R=1\r\nR1 a b {R}\r\n";
        if (i > 0) out << "X1 a b S" << i - 1 << "\r\n";
        out << ".ENDS S" << i << "\r\n";
    }
    return path;
}

void IndexMadeUpLibrary(benchmark::State& state) {
    fs::path lib = MadeUpLibrary(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        TPSpiceModelFile file(lib.string());
        file.GenerateModelList();
        benchmark::DoNotOptimize(file.Models.Count());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(fs::file_size(lib)));
}
BENCHMARK(IndexMadeUpLibrary)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);

// The last subcircuit calls every other one in turn: the longest chain of references.
void ExtractChainFromMadeUpLibrary(benchmark::State& state) {
    int count = static_cast<int>(state.range(0));
    fs::path lib = MadeUpLibrary(count);
    TPSpiceModelFile file(lib.string());
    file.GenerateModelList();
    for (auto _ : state) benchmark::DoNotOptimize(file.GetModelAsStrings("S" + std::to_string(count - 1)).size());
}
BENCHMARK(ExtractChainFromMadeUpLibrary)->RangeMultiplier(10)->Range(100, 1000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
