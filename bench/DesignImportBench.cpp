// Design import of BEAGLEBONEBLK_C3.DSN and of the largest sample design: the load alone, and the
// whole ImportDSN as a host calls it (load, library import, every page, files written), then the
// peak memory of one import in a fresh process.
//
//   orcadx_design_bench [--corpus DIR] [Google Benchmark flags]
//   orcadx_design_bench --measure FILE      (one import; prints the peak resident set in KiB)
#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "entry/TranslatorApi.h"
#include "platform/CodePage.h"

namespace fs = std::filesystem;
using namespace orcadx;

namespace {

void ImportOnce(host::HostApplication& app, const fs::path& file, const fs::path& dir) {
    std::u16string name = platform::Utf8ToUtf16(file.string()), folder = platform::Utf8ToUtf16(dir.string());
    host::ImporterOptions options;
    host::IProject* project = app.CreateProject((dir / "bench.VsProj").string());
    RegisterHost(&app);
    uint8_t templates = 0;
    ImportDSN(name.c_str(), &options, nullptr, nullptr, folder.c_str(), project, &templates);
    RegisterHost(nullptr);
}

void BM_ImportDSN(benchmark::State& state, const fs::path& file) {
    const fs::path dir = bench::Scratch("orcadx-design-bench");
    bench::WithFreshHost(state, dir, [&](host::HostApplication& app) { ImportOnce(app, file, dir); });
}

// One import in this fresh process: the peak resident set, and its growth over the start.
int Measure(const fs::path& file) {
    const fs::path dir = bench::Scratch("orcadx-design-bench-measure");
    const uint64_t before = bench::StatusKiB("VmRSS");
    {
        host::HostApplication app(bench::Quiet(dir));
        app.StartSchServer();
        ImportOnce(app, file, dir);
    }
    const uint64_t peak = bench::StatusKiB("VmHWM");
    std::printf("%llu %llu\n", static_cast<unsigned long long>(peak), static_cast<unsigned long long>(peak - before));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--measure") return Measure(argv[2]);
    std::vector<char*> rest;
    const fs::path corpus = bench::PathOption(argc, argv, rest, "--corpus", ORCADX_CORPUS_DIR);
    std::vector<fs::path> files = {corpus / "BEAGLEBONEBLK_C3.DSN", bench::LargestFile(corpus, ".dsn")};
    for (const auto& file : files) {
        if (file.empty() || !fs::exists(file)) {
            std::fprintf(stderr, "no sample design at %s\n", file.string().c_str());
            return 1;
        }
        const std::string name = file.filename().string();
        benchmark::RegisterBenchmark(("Load/" + name).c_str(), bench::BM_Load, file)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("ImportDSN/" + name).c_str(), BM_ImportDSN, file)->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::printf("\n| File | KiB | Peak MiB of one ImportDSN | Growth MiB |\n|---|---:|---:|---:|\n");
    for (const auto& file : files) {
        FILE* p = popen(bench::MeasureCommand(file).c_str(), "r");
        unsigned long long peak = 0, growth = 0;
        if (!p || std::fscanf(p, "%llu %llu", &peak, &growth) != 2) return 1;
        pclose(p);
        std::printf("| %s | %.0f | %.1f | %.1f |\n", file.filename().string().c_str(), fs::file_size(file) / 1024.0,
                    peak / 1024.0, growth / 1024.0);
    }
    return 0;
}
