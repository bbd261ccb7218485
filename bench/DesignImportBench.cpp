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

uint64_t StatusKiB(const std::string& key) {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line))
        if (line.compare(0, key.size() + 1, key + ":") == 0) return std::stoull(line.substr(key.size() + 1));
    return 0;
}

// The largest file ending in .dsn (any case) below `corpus`.
fs::path LargestDesign(const fs::path& corpus) {
    fs::path largest;
    if (!fs::is_directory(corpus)) return largest;
    for (const auto& e : fs::recursive_directory_iterator(corpus)) {
        std::string ext = e.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
        if (e.is_regular_file() && ext == ".dsn" && (largest.empty() || e.file_size() > fs::file_size(largest)))
            largest = e.path();
    }
    return largest;
}

void ImportOnce(host::HostApplication& app, const fs::path& file, const fs::path& dir) {
    std::u16string name = platform::Utf8ToUtf16(file.string()), folder = platform::Utf8ToUtf16(dir.string());
    host::ImporterOptions options;
    host::IProject* project = app.CreateProject((dir / "bench.VsProj").string());
    RegisterHost(&app);
    uint8_t templates = 0;
    ImportDSN(name.c_str(), &options, nullptr, nullptr, folder.c_str(), project, &templates);
    RegisterHost(nullptr);
}

void BM_Load(benchmark::State& state, const fs::path& file) {
    for (auto _ : state) {
        dbo::TDboDesign d(file.string(), nullptr, 100, nullptr);
        benchmark::DoNotOptimize(d.Load(false));
    }
}

void BM_ImportDSN(benchmark::State& state, const fs::path& file) {
    const fs::path dir = bench::Scratch("orcadx-design-bench");
    bench::WithFreshHost(state, dir, [&](host::HostApplication& app) { ImportOnce(app, file, dir); });
}

// One import in this fresh process: the peak resident set, and its growth over the start.
int Measure(const fs::path& file) {
    const fs::path dir = bench::Scratch("orcadx-design-bench-measure");
    const uint64_t before = StatusKiB("VmRSS");
    {
        host::HostApplication app(bench::Quiet(dir));
        app.StartSchServer();
        ImportOnce(app, file, dir);
    }
    const uint64_t peak = StatusKiB("VmHWM");
    std::printf("%llu %llu\n", static_cast<unsigned long long>(peak), static_cast<unsigned long long>(peak - before));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--measure") return Measure(argv[2]);
    std::vector<char*> rest;
    const fs::path corpus = bench::CorpusOption(argc, argv, rest, ORCADX_CORPUS_DIR);
    std::vector<fs::path> files = {corpus / "BEAGLEBONEBLK_C3.DSN", LargestDesign(corpus)};
    for (const auto& file : files) {
        if (file.empty() || !fs::exists(file)) {
            std::fprintf(stderr, "no sample design at %s\n", file.string().c_str());
            return 1;
        }
        const std::string name = file.filename().string();
        benchmark::RegisterBenchmark(("Load/" + name).c_str(), BM_Load, file)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("ImportDSN/" + name).c_str(), BM_ImportDSN, file)->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::printf("\n| File | KiB | Peak MiB of one ImportDSN | Growth MiB |\n|---|---:|---:|---:|\n");
    for (const auto& file : files) {
        std::string command = "'" + fs::read_symlink("/proc/self/exe").string() + "' --measure '" + file.string() + "'";
        FILE* p = popen(command.c_str(), "r");
        unsigned long long peak = 0, growth = 0;
        if (!p || std::fscanf(p, "%llu %llu", &peak, &growth) != 2) return 1;
        pclose(p);
        std::printf("| %s | %.0f | %.1f | %.1f |\n", file.filename().string().c_str(), fs::file_size(file) / 1024.0,
                    peak / 1024.0, growth / 1024.0);
    }
    return 0;
}
