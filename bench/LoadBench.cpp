// Load(false) of every sample Capture file: time, MB/s, objects/s, and the peak memory of one load
// against the file's size. Prints Google Benchmark's usual report, then a table of all files.
//
//   orcadx_bench [--corpus DIR] [Google Benchmark flags]
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchBasics.h"
#include "dbo/DboDesign.h"
#include "dbo/DboSummary.h"
#include "dbo/DboViewObjects.h"

namespace fs = std::filesystem;
using namespace orcadx;

namespace {

// Objects that a load made: components, symbols, pages and every object on the pages.
int64_t CountObjects(const dbo::TDboDesign& d) {
    int64_t n = d.ComponentCount() + d.SymbolCount();
    for (int v = 0; v < d.ViewCount(); ++v) {
        dbo::TDboSchematics* view = d.GetViews(v);
        if (!view) continue;
        for (const auto& page : view->Pages) {
            dbo::PageCounts c = dbo::CountPageObjects(*page);
            n += 1 + c.wires + c.buses + c.parts + c.blocks + c.ports + c.powers + c.offPages + c.titleBlocks +
                 c.busEntries + c.netAliases + c.graphics;
        }
    }
    return n;
}

struct FileFacts {
    uint64_t size = 0;
    int64_t objects = 0;
    uint64_t peak = 0;  // growth of the resident set during one load
    uint32_t version = 0;
};

std::map<std::string, FileFacts> facts;

// One load in a fresh process (this program run again with --measure): its object count and the
// growth of its resident set. A fresh heap keeps the memory of earlier loads out of the figure.
FileFacts MeasureHere(const fs::path& path) {
    FileFacts f;
    f.size = fs::file_size(path);
    uint64_t before = bench::StatusKiB("VmRSS") * 1024;
    dbo::TDboDesign d(path.string(), nullptr, 100, nullptr);
    d.Load(false);
    uint64_t peak = bench::StatusKiB("VmHWM") * 1024;
    f.peak = peak > before ? peak - before : 0;
    f.objects = CountObjects(d);
    f.version = d.Version;
    return f;
}

FileFacts Measure(const fs::path& path) {
    const std::string command = bench::MeasureCommand(path);
    FILE* p = popen(command.c_str(), "r");
    if (!p) throw std::runtime_error("can't run " + command);
    FileFacts f;
    unsigned long long size = 0, peak = 0;
    long long objects = 0;
    unsigned version = 0;
    int n = std::fscanf(p, "%llu %lld %llu %x", &size, &objects, &peak, &version);
    int status = pclose(p);
    if (n != 4 || status != 0) throw std::runtime_error("the measuring load failed");
    f.size = size;
    f.objects = objects;
    f.peak = peak;
    f.version = version;
    return f;
}

void BM_Load(benchmark::State& state, const fs::path& path, const std::string& name) {
    const FileFacts& f = facts[name];
    for (auto _ : state) {
        dbo::TDboDesign d(path.string(), nullptr, 100, nullptr);
        benchmark::DoNotOptimize(d.Load(false));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * f.size));
    state.counters["objects/s"] =
        benchmark::Counter(static_cast<double>(f.objects), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["peak_MiB"] = static_cast<double>(f.peak) / (1 << 20);
}

// Collects the runs and prints one table at the end, after the console report.
class TableReporter : public benchmark::ConsoleReporter {
public:
    explicit TableReporter(bool color) : ConsoleReporter(color ? OO_ColorTabular : OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& r : runs)
            if (r.run_type == Run::RT_Iteration && !r.error_occurred) runs_.push_back(r);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n| File | Version | Size KiB | Objects | Load ms | MB/s | kObjects/s | Peak MiB | Peak / size |\n");
        std::printf("|---|---|---:|---:|---:|---:|---:|---:|---:|\n");
        double totalBytes = 0, totalSeconds = 0;
        for (const auto& r : runs_) {
            std::string name = r.run_name.function_name.substr(r.run_name.function_name.find('/') + 1);
            const FileFacts& f = facts[name];
            double seconds = r.real_accumulated_time / static_cast<double>(r.iterations);
            double mbs = f.size / seconds / 1e6;
            totalBytes += f.size;
            totalSeconds += seconds;
            std::printf("| %s | %08X | %.1f | %lld | %.2f | %.1f | %.0f | %.1f | %.1f |\n", name.c_str(), f.version,
                        f.size / 1024.0, static_cast<long long>(f.objects), seconds * 1e3, mbs,
                        f.objects / seconds / 1e3, f.peak / 1048576.0, f.size ? double(f.peak) / f.size : 0.0);
        }
        if (totalSeconds > 0)
            std::printf("\n%zu files, %.1f MB in %.2f s: %.1f MB/s overall\n", runs_.size(), totalBytes / 1e6,
                        totalSeconds, totalBytes / totalSeconds / 1e6);
    }

private:
    std::vector<Run> runs_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--measure") {
        FileFacts f = MeasureHere(argv[2]);
        std::printf("%llu %lld %llu %x\n", static_cast<unsigned long long>(f.size), static_cast<long long>(f.objects),
                    static_cast<unsigned long long>(f.peak), f.version);
        return 0;
    }
    std::vector<char*> args;
    const fs::path corpus = bench::PathOption(argc, argv, args, "--corpus", ORCADX_CORPUS_DIR);
    benchmark::Initialize(&argc, args.data());

    const std::vector<fs::path> files = bench::FilesWithExtensions(corpus, {".dsn", ".olb", ".obk"});
    if (files.empty()) {
        std::fprintf(stderr, "no sample files in %s\n", corpus.string().c_str());
        return 1;
    }
    for (const auto& path : files) {
        std::string name = fs::relative(path, corpus).string();
        try {
            facts[name] = Measure(path);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "%s: %s\n", name.c_str(), e.what());
            continue;
        }
        benchmark::RegisterBenchmark(("Load/" + name).c_str(), BM_Load, path, name)->Unit(benchmark::kMillisecond);
    }
    TableReporter reporter(isatty(STDOUT_FILENO) != 0);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
