// orcadx import FILE.DSN|FILE.OLB -o OUTDIR: a Capture design becomes a project of sheets and a
// library in OUTDIR; a Capture library becomes a schematic library, OUTDIR/<name>_Library.SchLib,
// listed in the project.
#include <filesystem>
#include <iostream>
#include <memory>

#include "cli/Context.h"
#include "entry/FileTest.h"
#include "host/HostApplication.h"
#include "platform/CodePage.h"

namespace orcadx::cli {

namespace {

struct ImportOptions {
    std::string file;
    std::string outDir;
    std::string page;  // VIEW/PAGE: only this page of a design
    host::ImporterOptions options;
};

int Run(ImportOptions& opt) {
    namespace fs = std::filesystem;
    auto& ctx = GetContext();
    if (!InputExists(opt.file)) return kExitFailed;
    std::unique_ptr<CaptureInput> input;
    try {
        input = std::make_unique<CaptureInput>(opt.file);
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << "\n";
        return kExitFailed;
    }
    if (!input->Known()) {
        std::cerr << "error: " << opt.file << ": the name must end in .DSN or .OLB (or .OBK, a library backup)\n";
        return kExitUsage;
    }
    const bool library = input->IsLibrary();
    if (!opt.page.empty() && library) {
        std::cerr << "error: --page needs a design (.DSN)\n";
        return kExitUsage;
    }
    auto& translator = ctx.GetTranslator();
    if (!opt.page.empty() && !translator.ImportDSNPage) {
        std::cerr << "error: the translator " << translator.Path() << " can't import single pages\n";
        return kExitFailed;
    }
    std::error_code ec;
    fs::create_directories(opt.outDir, ec);
    if (ec) {
        std::cerr << "error: cannot create " << opt.outDir << ": " << ec.message() << "\n";
        return kExitFailed;
    }
    fs::path outDir = fs::absolute(opt.outDir);
    for (auto& directory : opt.options.libraryDirectories) directory = fs::absolute(directory).string();
    host::HostApplication app;
    translator.RegisterHost(&app);
    host::IProject* project = app.CreateProject((outDir / (fs::path(opt.file).stem().string() + ".VsProj")).string());
    ctx.StartRun();
    std::u16string file = platform::Utf8ToUtf16(input->Path());
    std::u16string folder = platform::Utf8ToUtf16(outDir.string());
    uint8_t templatesImported = 0;
    bool valid = library ? translator.IsValidOLB(file.c_str()) : translator.IsValidDSN(file.c_str());
    if (!opt.page.empty()) {
        std::u16string page = platform::Utf8ToUtf16(opt.page);
        if (valid)
            translator.ImportDSNPage(file.c_str(), page.c_str(), &opt.options, ctx.status.get(), ctx.log.get(),
                                     folder.c_str(), project);
    } else {
        auto import = library ? translator.ImportOLB : translator.ImportDSN;
        import(file.c_str(), &opt.options, ctx.status.get(), ctx.log.get(), folder.c_str(), project, &templatesImported);
    }
    translator.RegisterHost(nullptr);
    int errors = ctx.FinishRun();
    if (ctx.stats)
        for (const auto& event : app.AnalyticsLog()) std::cout << event << "\n";
    if (!valid) {
        std::cerr << "error: " << opt.file << " is not a valid Capture " << (library ? "library" : "design") << "\n";
        return kExitFailed;
    }
    return errors > 0 ? kExitFailed : 0;
}

}  // namespace

void AddImportCommand(CLI::App& app) {
    static ImportOptions opt;
    auto* cmd = app.add_subcommand("import", "Import a Capture design (.DSN) or library (.OLB, .OBK)");
    cmd->add_option("file", opt.file, "Capture file")->required();
    cmd->add_option("-o,--output", opt.outDir, "Folder of the project to make")->required();
    cmd->add_option("--page", opt.page, "Import only this page of a design: VIEW/PAGE, or a page name that one view has");
    auto& o = opt.options;
    o.defaultComponentFill = true;
    cmd->add_flag("--skip-title-blocks", o.skipTitleBlocks, "Leave title blocks out");
    cmd->add_option("--template", o.templateFileName, "Sheet template for every page")
        ->each([&o](const std::string&) { o.useTemplate = true; });
    cmd->add_flag("--auto-position-parameters", o.autoPositionParameters, "Let the host place parameters");
    cmd->add_flag("--clear-preference", o.clearPreference, "Run the preference step after the import");
    cmd->add_option("--scale", o.importScale, "Import scale; 0 or less: no scaling");
    cmd->add_flag("--scale-sheet-to-pin-spacing", o.scaleSheetToPinSpacing,
                  "Scale custom sheet sizes by the page's pin spacing");
    cmd->add_option("--junction-mode", o.junctionMode, "1 keeps all junctions");
    cmd->add_flag("!--no-component-fill", o.defaultComponentFill, "Don't give components the default fill");
    cmd->add_flag("--off-page-as-ports", o.offPageAsPorts, "Import off-page connectors as ports");
    cmd->add_option("--lib-path", o.libraryDirectories,
                    "Folder of PSpice model libraries (.lib), searched with its sub-folders before the file's own "
                    "folder; repeatable")
        ->allow_extra_args(false);
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
