// Library import of the largest sample library against its load: the translation into host
// objects alone, the import with the library document saved, and the whole ImportOLB (load,
// import, extent parameters stripped, two saves). Prints Google Benchmark's report, then a table
// of each against the load.
//
//   orcadx_import_bench [--corpus DIR] [Google Benchmark flags]
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "dbo/DboDesign.h"
#include "entry/TranslatorApi.h"
#include "host/ClientServices.h"
#include "host/HostApplication.h"
#include "host/HostSupport.h"
#include "import/SCHLibraryImport.h"
#include "platform/CodePage.h"

namespace fs = std::filesystem;
using namespace orcadx;

namespace {

fs::path Scratch() {
    fs::path dir = fs::temp_directory_path() / "orcadx-import-bench";
    fs::create_directories(dir);
    return dir;
}

host::HostOptions Quiet(const fs::path& dir) {
    host::HostOptions o;
    o.Seed = 5;
    o.SettingsFolder = (dir / "settings").string();
    o.TemplatesFolder = (dir / "templates").string();
    return o;
}

void BM_Load(benchmark::State& state, const fs::path& file) {
    for (auto _ : state) {
        dbo::TDboDesign d(file.string(), nullptr, 100, nullptr);
        benchmark::DoNotOptimize(d.Load(false));
    }
}

// Each iteration in a new host; `timed(app)` runs with the clock going, the rest (the host's making
// and freeing) without.
template <class Timed>
void WithFreshHost(benchmark::State& state, const fs::path& dir, Timed timed) {
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
void BM_Translate(benchmark::State& state, const fs::path& file) {
    const fs::path dir = Scratch();
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
void BM_ImportLibrary(benchmark::State& state, const fs::path& file) {
    const fs::path dir = Scratch();
    dbo::TDboDesign design(file.string(), nullptr, 100, nullptr);
    design.Load(false);
    host::ImporterOptions options;
    WithFreshHost(state, dir, [&](host::HostApplication& app) {
        bool templates = false;
        benchmark::DoNotOptimize(
            importer::ImportLibrary(app, design, &options, nullptr, 100, nullptr, dir.string(), nullptr, true, templates));
    });
}

// The whole export as a host calls it.
void BM_ImportOLB(benchmark::State& state, const fs::path& file) {
    const fs::path dir = Scratch();
    std::u16string name = platform::Utf8ToUtf16(file.string()), folder = platform::Utf8ToUtf16(dir.string());
    host::ImporterOptions options;
    WithFreshHost(state, dir, [&](host::HostApplication& app) {
        RegisterHost(&app);
        uint8_t templates = 0;
        ImportOLB(name.c_str(), &options, nullptr, nullptr, folder.c_str(), nullptr, &templates);
        RegisterHost(nullptr);
    });
}

class RatioReporter : public benchmark::ConsoleReporter {
public:
    using ConsoleReporter::ConsoleReporter;
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
        // On a shared machine the CPU time is the steadier figure.
        double load = 0;
        for (const auto& [name, ms] : ms_)
            if (name.rfind("Load/", 0) == 0) load = ms.second;
        std::printf("\n| Step | Real ms | CPU ms | CPU x load |\n|---|---:|---:|---:|\n");
        for (const char* step : {"Load/", "Translate/", "ImportLibrary/", "ImportOLB/"})
            for (const auto& [name, ms] : ms_)
                if (name.rfind(step, 0) == 0)
                    std::printf("| %s | %.1f | %.1f | %.1f |\n", name.c_str(), ms.first, ms.second,
                                load > 0 ? ms.second / load : 0.0);
    }

private:
    std::map<std::string, std::pair<double, double>> ms_;  // real, CPU
};

}  // namespace

int main(int argc, char** argv) {
    fs::path corpus = ORCADX_CORPUS_DIR;
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (std::string(argv[i]) == "--corpus" && i + 1 < argc) corpus = argv[++i];
        else args.push_back(argv[i]);
    }
    int n = static_cast<int>(args.size());
    benchmark::Initialize(&n, args.data());
    // The largest library of the sample set.
    fs::path largest;
    if (fs::is_directory(corpus))
        for (const auto& e : fs::recursive_directory_iterator(corpus)) {
            std::string ext = e.path().extension().string();
            std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
            if (e.is_regular_file() && ext == ".olb" && (largest.empty() || e.file_size() > fs::file_size(largest)))
                largest = e.path();
        }
    if (largest.empty()) {
        std::fprintf(stderr, "no sample library in %s\n", corpus.string().c_str());
        return 1;
    }
    const std::string name = largest.filename().string();
    benchmark::RegisterBenchmark(("Load/" + name).c_str(), BM_Load, largest)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("Translate/" + name).c_str(), BM_Translate, largest)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("ImportLibrary/" + name).c_str(), BM_ImportLibrary, largest)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("ImportOLB/" + name).c_str(), BM_ImportOLB, largest)->Unit(benchmark::kMillisecond);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
