// orcadx dump FILE [-o OUT.txt]: the library side of a Capture file as indented text.
#include <iostream>

#include "cli/Context.h"
#include "dbo/AsciiDump.h"
#include "dbo/AsciiWriter.h"
#include "dbo/DboDesign.h"

namespace orcadx::cli {

namespace {

struct DumpOptions {
    std::string file;
    std::string output;
};

int Run(const DumpOptions& opt) {
    if (!InputExists(opt.file)) return kExitFailed;
    auto& ctx = GetContext();
    ctx.StartRun();
    try {
        ctx.status->SetProgressRange(100);
        dbo::TDboDesign design(opt.file, ctx.status.get(), 100, ctx.log.get());
        bool loaded = design.Load(false);
        ctx.status->CompleteProgress();
        ctx.FinishRun();
        if (!loaded || !design.IsValid()) {
            std::cerr << "error: " << opt.file << " is not a Capture design or library of a known version\n";
            return kExitFailed;
        }
        if (opt.output.empty() || opt.output == "-") {
            dbo::TAsciiWriter writer(std::cout);
            dbo::WriteDesignAscii(design, opt.file, writer);
        } else {
            dbo::TAsciiWriter writer;
            writer.OpenForWriting(opt.output);
            dbo::WriteDesignAscii(design, opt.file, writer);
        }
    } catch (const std::exception& e) {
        ctx.FinishRun();
        std::cerr << "error: " << e.what() << "\n";
        return kExitFailed;
    }
    return 0;
}

}  // namespace

void AddDumpCommand(CLI::App& app) {
    static DumpOptions opt;
    auto* cmd = app.add_subcommand("dump", "Write the components, symbols and design cache of a file as text");
    cmd->add_option("file", opt.file, "Capture file (.DSN, .OLB)")->required();
    cmd->add_option("-o,--output", opt.output, "Text file to write (standard output when absent)");
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
