// The netlist of a Capture design from its file: the design import into a project in a temporary
// folder, the project's connectivity, and Capture's three Allegro netlist files, as
// `orcadx netlist FILE.DSN` makes them. A second figure times the connectivity and the writing
// alone, on the project the import left.
//
//   orcadx_netlist_bench [--design FILE.DSN] [Google Benchmark flags]
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "entry/TranslatorApi.h"
#include "export/AllegroNetlist.h"
#include "host/HostApplication.h"
#include "host/HostSupport.h"
#include "platform/CodePage.h"

namespace fs = std::filesystem;
using namespace orcadx;

namespace {

std::string g_design = std::string(ORCADX_CORPUS_DIR) + "/BEAGLEBONEBLK_C3.DSN";

fs::path TemporaryFolder() {
    std::string pattern = (fs::temp_directory_path() / "orcadx-bench-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot make a temporary folder");
    return pattern;
}

// Imports the design into a new project in `folder`; false when the import made no sheets.
bool Import(host::HostApplication& app, const fs::path& folder, host::IProject*& project) {
    RegisterHost(&app);
    project = app.CreateProject((folder / "design.VsProj").string());
    host::LogSection log;
    host::ImporterOptions options;
    uint8_t templates = 0;
    std::u16string file = platform::Utf8ToUtf16(g_design), out = platform::Utf8ToUtf16(folder.string());
    ImportDSN(file.c_str(), &options, nullptr, &log, out.c_str(), project, &templates);
    RegisterHost(nullptr);
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i)
        if (project->GetDocument(i)->GetDocumentKind() == "SCH") return true;
    return false;
}

host::HostOptions Options(const fs::path& folder) {
    host::HostOptions options = host::HostOptionsIn(folder.string(), 1);
    options.KeepClosedDocuments = true;  // as orcadx netlist runs it
    return options;
}

void NetlistWithImport(benchmark::State& state) {
    size_t nets = 0, parts = 0;
    for (auto _ : state) {
        fs::path folder = TemporaryFolder();
        {
            host::HostApplication app(Options(folder));
            host::IProject* project = nullptr;
            if (!Import(app, folder, project)) {
                state.SkipWithError("the design import makes no sheets in this build");
                break;
            }
            host::Netlist netlist = host::CompileProjectNetlist(app, *project);
            exporter::AllegroNetlistFiles files = exporter::WriteAllegroNetlist(netlist, {});
            benchmark::DoNotOptimize(files);
            nets = netlist.Nets.size();
            parts = netlist.Parts.size();
        }
        state.PauseTiming();
        fs::remove_all(folder);
        state.ResumeTiming();
    }
    state.counters["nets"] = static_cast<double>(nets);
    state.counters["parts"] = static_cast<double>(parts);
}

void NetlistOfImportedProject(benchmark::State& state) {
    fs::path folder = TemporaryFolder();
    {
        host::HostApplication app(Options(folder));
        host::IProject* project = nullptr;
        if (!Import(app, folder, project)) {
            state.SkipWithError("the design import makes no sheets in this build");
        } else {
            for (auto _ : state) {
                host::Netlist netlist = host::CompileProjectNetlist(app, *project);
                benchmark::DoNotOptimize(exporter::WriteAllegroNetlist(netlist, {}));
            }
        }
    }
    fs::remove_all(folder);
}

}  // namespace

BENCHMARK(NetlistWithImport)->Unit(benchmark::kMillisecond);
BENCHMARK(NetlistOfImportedProject)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; ++i)
        if (std::string(argv[i]) == "--design") {
            g_design = argv[i + 1];
            for (int k = i; k + 2 <= argc; ++k) argv[k] = argv[k + 2];
            argc -= 2;
            break;
        }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
