// orcadx: the command line of the host stand-in. It loads the translator plug-in and runs one job.
#include <CLI/CLI.hpp>
#include <unistd.h>

#include <fstream>
#include <iostream>

#include "cli/Context.h"

namespace orcadx::cli {

Context& GetContext() {
    static Context context;
    return context;
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

}  // namespace orcadx::cli

int main(int argc, char** argv) {
    using namespace orcadx::cli;
    CLI::App app{"orcadx: translate OrCAD Capture designs (.DSN) and libraries (.OLB)"};
    app.require_subcommand(1);
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
        return app.exit(e);
    } catch (const ExitRequest& e) {
        return e.code;
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << "\n";
        return 2;
    }
    return 0;
}
