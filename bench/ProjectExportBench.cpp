// Project export of imported sample designs: each design is imported once into a host project;
// then ExportProject runs again and again on it (the library of placed components made by the
// host, the standard symbols, the compile, every sheet, the file's save). Prints Google Benchmark's
// report, then a table of each design's export time against the number of host objects on its
// sheets, to show that the cost grows linearly with the design. BEAGLEBONEBLK_C3.DSN's sheets are
// also exported copied 1, 2 and 4 times into one project, for the slope on one design.
//
//   orcadx_project_export_bench [--corpus DIR] [Google Benchmark flags]
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>

#include "BenchSupport.h"
#include "export/SCHExportProject.h"
#include "host/SchObjects.h"
#include "import/Manage_FontTable.h"
#include "import/SCHDesignImport.h"

namespace fs = std::filesystem;
using namespace orcadx;

namespace {

// The designs measured, from small to large; BEAGLEBONEBLK_C3.DSN is the one the target names.
const char* const kDesigns[] = {"OOPTB_TB6.DSN", "CutiePi_V2.3-20210409.DSN", "OOPTB_TB1.DSN", "BEAGLEBONEBLK_C3.DSN",
                                "parallella-hw/buddy/buddy_sch_rev1.dsn"};

size_t CountObjects(host::impl::ObjectCore* object) {
    size_t n = 1;
    for (host::impl::ObjectCore* child : object->Children()) n += CountObjects(child);
    return n;
}

// One host with the project that the import of the design makes.
struct ImportedProject {
    explicit ImportedProject(const fs::path& file)
        : dir(bench::Scratch("orcadx-project-export-bench-" + file.stem().string())), app(bench::Quiet(dir)) {
        app.StartSchServer();
        project = app.CreateProject((dir / (file.stem().string() + ".VsProj")).string());
        dbo::TDboDesign design(file.string(), nullptr, 100, nullptr);
        design.Load(false);
        host::ImporterOptions options;
        bool templates = false;
        std::string library = importer::ImportLibrary(app, design, &options, nullptr, 100, nullptr, dir.string(),
                                                      project, false, templates);
        importer::ImportDesign(app, design, library, &options, nullptr, 100, nullptr, dir.string(), project, templates);
        if (!library.empty()) importer::RemoveExtentParameters(app, library);
        for (int32_t i = 0; i < project->GetDocumentCount(); ++i) {
            host::IDocument* document = project->GetDocument(i);
            if (document->GetDocumentKind() != "SCH") continue;
            ++sheets;
            // Open, as a user's project is open in the host.
            if (host::ISch_Document* sheet = app.SchDocumentOf(app.OpenDocumentFile(document->GetFullPath())))
                objects += CountObjects(host::impl::CoreOf(sheet));
        }
    }
    fs::path dir;
    host::HostApplication app;
    host::IProject* project = nullptr;
    size_t sheets = 0, objects = 0;
};

// The sheets of an imported project copied `times` times (under new file names) into a project of
// their own, in the same host: a design `times` as large, for the slope of the export's cost.
struct RepeatedProject {
    RepeatedProject(ImportedProject& base, int times) : dir(base.dir / ("x" + std::to_string(times))) {
        fs::create_directories(dir);
        project = base.app.CreateProject((dir / "Repeated.VsProj").string());
        for (int k = 0; k < times; ++k)
            for (int32_t i = 0; i < base.project->GetDocumentCount(); ++i) {
                host::IDocument* document = base.project->GetDocument(i);
                if (document->GetDocumentKind() != "SCH") continue;
                fs::path from = document->GetFullPath();
                fs::path to = dir / (from.stem().string() + "_" + std::to_string(k) + from.extension().string());
                fs::copy_file(from, to, fs::copy_options::overwrite_existing);
                project->AddSourceDocument(to.string());
                ++sheets;
                if (host::ISch_Document* sheet = base.app.SchDocumentOf(base.app.OpenDocumentFile(to.string())))
                    objects += CountObjects(host::impl::CoreOf(sheet));
            }
    }
    fs::path dir;
    host::IProject* project = nullptr;
    size_t sheets = 0, objects = 0;
};

std::map<std::string, std::unique_ptr<ImportedProject>>& Projects() {
    static std::map<std::string, std::unique_ptr<ImportedProject>> projects;
    return projects;
}

void BM_ExportProject(benchmark::State& state, const fs::path& file) {
    auto& slot = Projects()[file.string()];
    if (!slot) slot = std::make_unique<ImportedProject>(file);
    const std::string out = (slot->dir / "export.DSN").string();
    for (auto _ : state) exporter::ExportProject(slot->app, slot->project, out, 0x00010001);
    state.counters["sheets"] = static_cast<double>(slot->sheets);
    state.counters["objects"] = static_cast<double>(slot->objects);
}

// The export of BEAGLEBONEBLK_C3.DSN's sheets repeated `times` times.
void BM_ExportRepeated(benchmark::State& state, const fs::path& file, int times) {
    auto& slot = Projects()[file.string()];
    if (!slot) slot = std::make_unique<ImportedProject>(file);
    static std::map<int, std::unique_ptr<RepeatedProject>> repeated;
    auto& copy = repeated[times];
    if (!copy) copy = std::make_unique<RepeatedProject>(*slot, times);
    // The host makes the library of placed components from the focused project.
    slot->app.FocusProject(copy->project);
    const std::string out = (copy->dir / "export.DSN").string();
    for (auto _ : state) exporter::ExportProject(slot->app, copy->project, out, 0x00010001);
    slot->app.FocusProject(slot->project);
    state.counters["sheets"] = static_cast<double>(copy->sheets);
    state.counters["objects"] = static_cast<double>(copy->objects);
}

// Google Benchmark's report, then one line per design: CPU ms, objects, microseconds per object.
class PerObjectReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration) rows_.push_back(run);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n| Design | Sheets | Host objects | CPU ms | us per object |\n|---|---:|---:|---:|---:|\n");
        for (const Run& run : rows_) {
            double ms = run.GetAdjustedCPUTime();  // in the unit set below
            double objects = run.counters.at("objects");
            std::printf("| %s | %.0f | %.0f | %.1f | %.2f |\n", run.run_name.function_name.c_str(),
                        double(run.counters.at("sheets")), objects, ms, objects > 0 ? ms * 1000.0 / objects : 0.0);
        }
    }

private:
    std::vector<Run> rows_;
};

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> rest;
    fs::path corpus = bench::PathOption(argc, argv, rest, "--corpus", ORCADX_CORPUS_DIR);
    for (const char* name : kDesigns) {
        fs::path file = corpus / name;
        if (!fs::is_regular_file(file)) continue;
        benchmark::RegisterBenchmark(name, [file](benchmark::State& state) { BM_ExportProject(state, file); })
            ->Unit(benchmark::kMillisecond);
    }
    fs::path bbb = corpus / "BEAGLEBONEBLK_C3.DSN";
    if (fs::is_regular_file(bbb))
        for (int times : {1, 2, 4})
            benchmark::RegisterBenchmark(("BEAGLEBONEBLK_C3.DSN x" + std::to_string(times)).c_str(),
                                         [bbb, times](benchmark::State& state) { BM_ExportRepeated(state, bbb, times); })
                ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, rest.data());
    PerObjectReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
