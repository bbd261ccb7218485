#include "cli/NetlistSource.h"

#include <filesystem>
#include <fstream>
#include <iostream>

#include "cli/Context.h"
#include "entry/FileTest.h"
#include "host/HostApplication.h"
#include "platform/CodePage.h"

namespace orcadx::cli {

namespace {

namespace fs = std::filesystem;

int FromProject(const std::string& file, host::Netlist& netlist) {
    host::HostOptions options;
    options.WithWorkspace = true;
    host::HostApplication app(options);
    host::IProject* project = app.OpenProject(fs::absolute(file).string());
    if (!project) {
        std::cerr << "error: " << file << " is not a project file\n";
        return kExitFailed;
    }
    netlist = host::CompileProjectNetlist(app, *project);
    return 0;
}

int FromDesign(const std::string& file, host::Netlist& netlist) {
    auto& ctx = GetContext();
    TemporaryFolder folder("orcadx-netlist");
    if (folder.Path().empty()) {
        std::cerr << "error: cannot make a temporary folder for the import\n";
        return kExitFailed;
    }
    auto& translator = ctx.GetTranslator();
    // The sheets the import writes and closes are read back from memory, not from their files.
    host::HostOptions hostOptions;
    hostOptions.KeepClosedDocuments = true;
    host::HostApplication app(hostOptions);
    translator.RegisterHost(&app);
    host::IProject* project = app.CreateProject((fs::path(folder.Path()) / (fs::path(file).stem().string() + ".VsProj")).string());
    std::u16string name = platform::Utf8ToUtf16(fs::absolute(file).string());
    std::u16string out = platform::Utf8ToUtf16(folder.Path());
    bool valid = translator.IsValidDSN(name.c_str());
    if (!valid) {
        translator.RegisterHost(nullptr);
        std::cerr << "error: " << file << " is not a valid Capture design\n";
        return kExitFailed;
    }
    ctx.StartRun();
    host::ImporterOptions options;
    uint8_t templatesImported = 0;
    translator.ImportDSN(name.c_str(), &options, ctx.status.get(), ctx.log.get(), out.c_str(), project, &templatesImported);
    translator.RegisterHost(nullptr);
    if (ctx.FinishRun() > 0) {
        std::cerr << "error: the import of " << file << " failed\n";
        return kExitFailed;
    }
    netlist = host::CompileProjectNetlist(app, *project);
    netlist.Title = fs::path(file).stem().string();
    return 0;
}

}  // namespace

int LoadNetlist(const std::string& file, host::Netlist& netlist) {
    bool design = entry::HasExtension(file, ".DSN");
    if (!design && !entry::HasExtension(file, ".VsProj")) {
        std::cerr << "error: " << file << ": the name must end in .DSN or .VsProj\n";
        return kExitUsage;
    }
    if (!InputExists(file)) return kExitFailed;
    int code = design ? FromDesign(file, netlist) : FromProject(file, netlist);
    if (code == 0)
        for (const std::string& problem : netlist.Problems) std::cerr << "warning: " << problem << "\n";
    return code;
}

bool WriteOutput(const std::string& path, const std::string& text) {
    if (path.empty() || path == "-") {
        std::cout << text;
        return static_cast<bool>(std::cout.flush());
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    if (out.flush()) return true;
    std::cerr << "error: cannot write " << path << "\n";
    return false;
}

}  // namespace orcadx::cli
