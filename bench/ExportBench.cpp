// Library export of the largest sample library against its import: the library is imported once
// into a host; then the export's translation into a new Capture design (nothing written) against
// the import's translation into a new library document (nothing saved), and ExportLibrary (the
// translation and the file's save) against ImportLibrary (the translation and the document's
// save). Prints Google Benchmark's report, then a table of each export step against its import step.
//
//   orcadx_export_bench [--corpus DIR] [Google Benchmark flags]
#include <benchmark/benchmark.h>

#include "BenchSupport.h"
#include "dbo/DboDesign.h"
#include "export/SCHExport.h"
#include "export/SCHLibraryExport.h"
#include "import/Manage_FontTable.h"
#include "import/SCHLibraryImport.h"

namespace fs = std::filesystem;
using namespace orcadx;

namespace {

// One host holding the library that the import of the file makes, for every export run.
struct Imported {
    explicit Imported(const fs::path& file) : dir(bench::Scratch("orcadx-export-bench")), app(bench::Quiet(dir)) {
        app.StartSchServer();
        dbo::TDboDesign design(file.string(), nullptr, 100, nullptr);
        design.Load(false);
        host::ImporterOptions options;
        bool templates = false;
        std::string path =
            importer::ImportLibrary(app, design, &options, nullptr, 100, nullptr, dir.string(), nullptr, true, templates);
        library = dynamic_cast<host::ISch_Lib*>(app.SchDocumentOf(app.OpenDocumentFile(path)));
    }
    fs::path dir;
    host::HostApplication app;
    host::ISch_Lib* library = nullptr;
};

Imported& ImportedOnce(const fs::path& file) {
    static Imported imported(file);
    return imported;
}

void BM_ExportTranslate(benchmark::State& state, const fs::path& file) {
    Imported& imported = ImportedOnce(file);
    for (auto _ : state) {
        importer::FontTableManager().Clear();
        dbo::TDboDesign design((imported.dir / "translate.OLB").string(), nullptr, 0, nullptr);
        exporter::TSCHLibraryExporter exporter(imported.app, &design, imported.library);
        exporter.RunExport();
        benchmark::DoNotOptimize(design.ComponentCount());
    }
}

void BM_ExportLibrary(benchmark::State& state, const fs::path& file) {
    Imported& imported = ImportedOnce(file);
    const std::string out = (imported.dir / "export.OLB").string();
    for (auto _ : state) {
        std::string results;
        exporter::ExportLibrary(imported.app, imported.library, out, 0x00010001, results);
        benchmark::DoNotOptimize(results);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return bench::RunLibrarySteps(argc, argv, ORCADX_CORPUS_DIR,
                                  {{"ImportTranslate", bench::BM_ImportTranslate, "ImportTranslate"},
                                   {"ExportTranslate", BM_ExportTranslate, "ImportTranslate"},
                                   {"ImportLibrary", bench::BM_ImportLibrary, "ImportLibrary"},
                                   {"ExportLibrary", BM_ExportLibrary, "ImportLibrary"}},
                                  "x import");
}
