// orcadx: the command line of the host stand-in. It loads the translator plug-in and runs one job.
#include <CLI/CLI.hpp>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "cli/Context.h"

namespace orcadx::cli {

Context& GetContext() {
    static Context context;
    return context;
}

bool InputExists(const std::string& file) {
    std::error_code ec;
    if (std::filesystem::exists(file, ec)) return true;
    std::cerr << "error: " << file << " does not exist\n";
    return false;
}

Translator& Context::GetTranslator() {
    if (!translator_) translator_ = std::make_unique<Translator>();
    return *translator_;
}

void Context::StartRun() {
    status = std::make_unique<ConsoleStatus>(stderr, isatty(fileno(stderr)) != 0, quiet);
    log = std::make_unique<host::LogSection>();
}

int Context::FinishRun() {
    status.reset();
    if (!log) return 0;
    int errors = static_cast<int>(log->AllMessages(host::kLogError).size());
    bool worthShowing = errors > 0 || !log->AllMessages(host::kLogWarning).empty() ||
                        (verbose && !log->AllMessages().empty());
    if (worthShowing) log->Write(std::cerr);
    if (!logFile.empty()) {
        std::ofstream out(logFile);
        log->Write(out);
        if (!out) std::cerr << "error: cannot write the log to " << logFile << "\n";
    }
    return errors;
}

namespace {

// A load builds many small objects in a few milliseconds, and the first touch of each fresh page
// of memory costs a page fault, as much as the reading itself. The heap therefore grows in large
// steps, backed by huge pages where the kernel offers them on request; large blocks come from the
// heap too, and freed memory stays for reuse.
void TuneHeap() {
    constexpr uintptr_t kHugePage = 2 << 20;
    mallopt(M_TOP_PAD, 32 << 20);
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    // One block makes the heap grow now, by the block and the pad; the new part is then marked.
    void* block = malloc(kHugePage);
    auto start = (reinterpret_cast<uintptr_t>(block) + kHugePage - 1) & ~(kHugePage - 1);
    auto end = reinterpret_cast<uintptr_t>(sbrk(0));
    if (block && end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
    free(block);
}

}  // namespace

}  // namespace orcadx::cli

int main(int argc, char** argv) {
    using namespace orcadx::cli;
    TuneHeap();
    CLI::App app{"orcadx: translate OrCAD Capture designs (.DSN) and libraries (.OLB)"};
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("orcadx ") + ORCADX_VERSION);
    // The global flags stand anywhere on the line, also behind the subcommand and its arguments.
    app.fallthrough();
    auto& ctx = GetContext();
    app.add_option("--log", ctx.logFile, "Write the whole log tree to this file");
    app.add_flag("--stats", ctx.stats, "Print the analytics that an import recorded");
    app.add_flag("-q,--quiet", ctx.quiet, "No progress output");
    app.add_flag("-v,--verbose", ctx.verbose, "Print the log even when it holds only information");
    for (auto add : {AddValidateCommand, AddInfoCommand, AddDumpCommand, AddAnalyzeCommand, AddImportCommand,
                     AddExportCommand, AddRenderCommand, AddSimCommand, AddNetlistCommand, AddBomCommand})
        if (add) add(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        // A word that names no subcommand is told as such, not as a missing subcommand.
        std::vector<std::string> rest = app.remaining();
        if (app.get_subcommands().empty() && !rest.empty() && !rest.front().starts_with("-")) {
            std::cerr << "error: unknown subcommand \"" << rest.front() << "\"\n"
                      << "Run with --help for more information.\n";
            return kExitUsage;
        }
        // Help and version end with 0; any mistake on the command line with 2.
        return app.exit(e) == 0 ? 0 : kExitUsage;
    } catch (const ExitRequest& e) {
        return e.code;
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << "\n";
        return kExitFailed;
    }
    return 0;
}
