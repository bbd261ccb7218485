// orcadx analyze FILE: what an import of a Capture design or library would make, without making
// it: the documents, and the PSpice models that its parts name.
#include <iostream>
#include <memory>

#include "cli/Context.h"
#include "platform/CodePage.h"

namespace orcadx::cli {

namespace {

int Run(const std::string& fileName) {
    if (!InputExists(fileName)) return kExitFailed;
    std::unique_ptr<CaptureInput> input;
    try {
        input = std::make_unique<CaptureInput>(fileName);
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << "\n";
        return kExitFailed;
    }
    if (!input->Known()) {
        std::cerr << "error: " << fileName << ": the name must end in .DSN or .OLB (or .OBK, a library backup)\n";
        return kExitUsage;
    }
    auto& ctx = GetContext();
    auto& translator = ctx.GetTranslator();
    ctx.StartRun();
    host::StringList documents, models;
    std::u16string file = platform::Utf8ToUtf16(input->Path());
    auto analyze = input->IsLibrary() ? translator.AnalyzeOLB : translator.AnalyzeDSN;
    bool valid = analyze(file.c_str(), ctx.status.get(), &documents, &models);
    ctx.FinishRun();
    if (!valid) {
        std::cerr << "error: " << fileName << " is not a valid Capture " << (input->IsLibrary() ? "library" : "design")
                  << "\n";
        return kExitFailed;
    }
    std::cout << "Documents:\n";
    for (const auto& d : documents.items) std::cout << "  " << d << "\n";
    if (documents.items.empty()) std::cout << "  (none)\n";
    std::cout << "Models:\n";
    for (const auto& m : models.items) std::cout << "  " << m << "\n";
    if (models.items.empty()) std::cout << "  (none)\n";
    return 0;
}

}  // namespace

void AddAnalyzeCommand(CLI::App& app) {
    static std::string file;
    auto* cmd = app.add_subcommand("analyze", "List what an import of a Capture design or library would make");
    cmd->add_option("file", file, "Capture file (.DSN, .OLB, .OBK)")->required();
    cmd->callback([] { throw ExitRequest{Run(file)}; });
}

}  // namespace orcadx::cli
