// What the translation benchmarks share: a scratch folder, a quiet host, the largest sample library,
// the corpus option, and a report of each step's time against a reference step.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "BenchBasics.h"
#include "dbo/DboDesign.h"
#include "host/ClientServices.h"
#include "host/HostApplication.h"
#include "host/HostSupport.h"
#include "import/SCHLibraryImport.h"

namespace orcadx::bench {

inline std::filesystem::path Scratch(const std::string& name) {
    std::filesystem::path dir = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directories(dir);
    return dir;
}

inline host::HostOptions Quiet(const std::filesystem::path& dir) { return host::HostOptionsIn(dir.string(), 5); }

// The load of a Capture file alone.
inline void BM_Load(benchmark::State& state, const std::filesystem::path& file) {
    for (auto _ : state) {
        dbo::TDboDesign d(file.string(), nullptr, 100, nullptr);
        benchmark::DoNotOptimize(d.Load(false));
    }
}

// Each iteration in a new host; `timed(app)` runs with the clock going, the rest (the host's making
// and freeing) without.
template <class Timed>
inline void WithFreshHost(benchmark::State& state, const std::filesystem::path& dir, Timed timed) {
    for (auto _ : state) {
        state.PauseTiming();
        {
            host::HostApplication app(Quiet(dir));
            app.StartSchServer();
            state.ResumeTiming();
            timed(app);
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
}

// The components and symbols into a fresh library document, nothing saved.
inline void BM_ImportTranslate(benchmark::State& state, const std::filesystem::path& file) {
    const std::filesystem::path dir = Scratch("orcadx-import-bench");
    dbo::TDboDesign design(file.string(), nullptr, 100, nullptr);
    design.Load(false);
    host::ImporterOptions options;
    WithFreshHost(state, dir, [&](host::HostApplication& app) {
        state.PauseTiming();
        const std::string path = (dir / "translate.SchLib").string();
        host::ISch_Document* library =
            app.SchDocumentOf(host::OpenOrCreateDocument(app, path, "SCHLIB", "Binary", true));
        state.ResumeTiming();
        importer::TSCHLibraryImporter importer(app, &design, &options, nullptr, library, nullptr, 100);
        importer.RunImport();
    });
}

// ImportLibrary: the translation and the library document's save.
inline void BM_ImportLibrary(benchmark::State& state, const std::filesystem::path& file) {
    const std::filesystem::path dir = Scratch("orcadx-import-bench");
    dbo::TDboDesign design(file.string(), nullptr, 100, nullptr);
    design.Load(false);
    host::ImporterOptions options;
    WithFreshHost(state, dir, [&](host::HostApplication& app) {
        bool templates = false;
        benchmark::DoNotOptimize(
            importer::ImportLibrary(app, design, &options, nullptr, 100, nullptr, dir.string(), nullptr, true, templates));
    });
}

// Google Benchmark's report, then a table of the steps in the order given, each with its CPU time
// against that of its reference step (on a shared machine the CPU time is the steadier figure).
class RatioReporter : public benchmark::ConsoleReporter {
public:
    struct Step {
        std::string prefix;     // the benchmark's name up to "/"
        std::string reference;  // the prefix of the step it is measured against
    };
    explicit RatioReporter(std::vector<Step> steps, std::string column) : steps_(std::move(steps)), column_(column) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& r : runs)
            if (r.run_type == Run::RT_Iteration && !r.error_occurred) {
                const double n = static_cast<double>(r.iterations);
                ms_[r.run_name.function_name] = {r.real_accumulated_time / n * 1e3, r.cpu_accumulated_time / n * 1e3};
            }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        auto cpu = [&](const std::string& prefix) {
            for (const auto& [name, ms] : ms_)
                if (name.rfind(prefix + "/", 0) == 0) return ms.second;
            return 0.0;
        };
        std::printf("\n| Step | Real ms | CPU ms | CPU %s |\n|---|---:|---:|---:|\n", column_.c_str());
        for (const Step& step : steps_)
            for (const auto& [name, ms] : ms_)
                if (name.rfind(step.prefix + "/", 0) == 0) {
                    double reference = cpu(step.reference);
                    std::printf("| %s | %.1f | %.1f | %.2f |\n", name.c_str(), ms.first, ms.second,
                                reference > 0 ? ms.second / reference : 0.0);
                }
    }

private:
    std::vector<Step> steps_;
    std::string column_;
    std::map<std::string, std::pair<double, double>> ms_;  // real, CPU
};

// One benchmark on the largest sample library: its name (up to "/"), what it runs, and the step
// the table measures it against.
struct LibraryStep {
    const char* name;
    void (*function)(benchmark::State&, const std::filesystem::path&);
    const char* reference;
};

// The main of a benchmark program over the largest sample library ("--corpus DIR" or the build's
// corpus): runs the steps and prints the report with the table; 1 when there is no library.
inline int RunLibrarySteps(int argc, char** argv, const std::filesystem::path& defaultCorpus,
                           const std::vector<LibraryStep>& steps, const std::string& column) {
    std::vector<char*> args;
    std::filesystem::path corpus = PathOption(argc, argv, args, "--corpus", defaultCorpus);
    benchmark::Initialize(&argc, args.data());
    std::filesystem::path largest = LargestFile(corpus, ".olb");
    if (largest.empty()) {
        std::fprintf(stderr, "no sample library in %s\n", corpus.string().c_str());
        return 1;
    }
    std::vector<RatioReporter::Step> table;
    for (const LibraryStep& step : steps) {
        benchmark::RegisterBenchmark((std::string(step.name) + "/" + largest.filename().string()).c_str(),
                                     step.function, largest)
            ->Unit(benchmark::kMillisecond);
        table.push_back({step.name, step.reference});
    }
    RatioReporter reporter(table, column);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

}  // namespace orcadx::bench
