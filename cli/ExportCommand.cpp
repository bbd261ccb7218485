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
    std::string version = "65537";
};

int Usage(const std::string& text) {
    std::cerr << "error: " << text << "\n";
    return kExitUsage;
}

int Run(const ExportOptions& opt) {
    namespace fs = std::filesystem;
    auto& ctx = GetContext();
    if (!entry::HasExtension(opt.input, ".SchLib"))
        return Usage(opt.input + ": only schematic libraries (.SchLib) can be exported in this build");
    if (!entry::HasExtension(opt.output, ".OLB")) return Usage(opt.output + ": the name must end in .OLB");
    for (const std::string* name : {&opt.input, &opt.output})
        if (name->find('|') != std::string::npos) return Usage(*name + ": a file name with '|' can't be passed on");
    if (!InputExists(opt.input)) return kExitFailed;
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
        std::string parameters = "DocumentName=" + input + " | FileName=" + output +
                                 " | FileType=OLB | OrcadVersion=" + opt.version;
        try {
            written = translator.ExportFileW(platform::Utf8ToUtf16(parameters).c_str(), &results);
        } catch (const std::exception& e) {
            section->AddMessage(host::kLogError, e.what());
        }
    }
    for (const std::string& box : app.ErrorBoxLog()) section->AddMessage(host::kLogError, box);
    if (!document && ctx.log->AllMessages(host::kLogError).empty())
        section->AddMessage(host::kLogError, "Cannot open " + input + " as a schematic library");
    std::string text = platform::Utf16ToUtf8(results);
    if (written) {
        std::string count = platform::GetParameterValue(text, "ExportedComponentCount");
        section->AddMessage(host::kLogInfo, "Written " + output + ": " + count + " component(s) and symbol(s)");
    }
    ctx.verbose = true;
    int errors = ctx.FinishRun();
    if (written) std::cout << text << "\n";
    return errors > 0 || !written ? kExitFailed : 0;
}

}  // namespace

void AddExportCommand(CLI::App& app) {
    static ExportOptions opt;
    auto* cmd = app.add_subcommand("export", "Export a schematic library (.SchLib) to a Capture library (.OLB)");
    cmd->add_option("input", opt.input, "Schematic library")->required();
    cmd->add_option("-o,--output", opt.output, "Capture library to write")->required();
    cmd->add_option("--version", opt.version,
                    "OrcadVersion to write, in decimal: 65537 (0x00010001, Capture 7.1, the default), 65538, or "
                    "131075 and 196611, whose size headers can't hold properties of pins")
        ->capture_default_str();
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
