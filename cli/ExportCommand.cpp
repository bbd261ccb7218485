// orcadx export LIB.SchLib -o FILE.OLB [--version N]: a host schematic library becomes a Capture
// library file, written by the translator's ExportFileW.
#include <filesystem>
#include <iostream>

#include "cli/Context.h"
#include "entry/FileTest.h"
#include "host/HostApplication.h"
#include "platform/CodePage.h"
#include "platform/Parameters.h"

namespace orcadx::cli {

namespace {

struct ExportOptions {
    std::string input;
    std::string output;
    std::string version;
};

int Fail(const std::string& text) {
    std::cerr << "error: " << text << "\n";
    return 2;
}

int Run(const ExportOptions& opt) {
    namespace fs = std::filesystem;
    auto& ctx = GetContext();
    if (!entry::HasExtension(opt.input, ".SchLib"))
        return Fail(opt.input + ": only schematic libraries (.SchLib) can be exported in this build");
    if (!entry::HasExtension(opt.output, ".OLB")) return Fail(opt.output + ": the name must end in .OLB");
    for (const std::string* name : {&opt.input, &opt.output})
        if (name->find('|') != std::string::npos) return Fail(*name + ": a file name with '|' can't be passed on");
    if (!fs::is_regular_file(opt.input)) return Fail(opt.input + ": no such file");
    std::string input = fs::absolute(opt.input).lexically_normal().string();
    std::string output = fs::absolute(opt.output).lexically_normal().string();

    auto& translator = ctx.GetTranslator();
    host::HostApplication app;
    translator.RegisterHost(&app);
    struct Unregister {
        Translator& t;
        ~Unregister() { t.RegisterHost(nullptr); }
    } unregister{translator};
    ctx.StartRun();
    host::ILogSection* section = nullptr;
    ctx.log->AddSubSection("Exporting Library - " + fs::path(input).filename().string(), &section);
    host::IServerDocument* document = nullptr;
    try {
        document = app.OpenDocumentFile(input);
    } catch (const std::exception& e) {
        section->AddMessage(host::kLogError, e.what());
    }
    std::u16string results;
    bool written = false;
    if (document) {
        std::string parameters = "DocumentName=" + input + " | FileName=" + output + " | FileType=OLB";
        if (!opt.version.empty()) parameters = platform::JoinParameters(parameters, "OrcadVersion=" + opt.version);
        try {
            written = translator.ExportFileW(platform::Utf8ToUtf16(parameters).c_str(), &results);
        } catch (const std::exception& e) {
            section->AddMessage(host::kLogError, e.what());
        }
        for (const std::string& box : app.ErrorBoxLog()) section->AddMessage(host::kLogError, box);
    } else if (app.ErrorBoxLog().empty() && ctx.log->AllMessages(host::kLogError).empty()) {
        section->AddMessage(host::kLogError, "Cannot open " + input + " as a schematic library");
    }
    std::string text = platform::Utf16ToUtf8(results);
    if (written) {
        section->AddMessage(host::kLogInfo, "Written " + output);
        section->AddMessage(host::kLogInfo, text);
    }
    ctx.verbose = true;
    int errors = ctx.FinishRun();
    if (written) std::cout << text << "\n";
    return errors > 0 || !written ? 1 : 0;
}

}  // namespace

void AddExportCommand(CLI::App& app) {
    static ExportOptions opt;
    auto* cmd = app.add_subcommand("export", "Export a schematic library (.SchLib) to a Capture library (.OLB)");
    cmd->add_option("input", opt.input, "Schematic library")->required();
    cmd->add_option("-o,--output", opt.output, "Capture library to write")->required();
    cmd->add_option("--version", opt.version,
                    "OrcadVersion to write, decimal: 65537 (0x00010001), 65538, 131075 (0x00020003, the default) "
                    "and the other versions Capture knows");
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
