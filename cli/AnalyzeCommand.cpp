// orcadx analyze FILE: what an import of a Capture design or library would make, without making
// it: the documents, and the PSpice models that its parts name with the library file that holds
// each.
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>

#include "cli/Context.h"
#include "platform/CodePage.h"
#include "platform/TextCompare.h"
#include "pspice/PSpiceModelImport.h"

namespace orcadx::cli {

namespace {

struct AnalyzeOptions {
    std::string file;
    std::vector<std::string> libraryDirectories;  // --lib-path
};

// Each model once, with where an import would find it: the library folders, then the file's own.
void PrintModels(const std::vector<std::string>& names, const AnalyzeOptions& opt) {
    auto noCase = [](const std::string& a, const std::string& b) { return platform::CompareTextNoCase(a, b) < 0; };
    std::set<std::string, decltype(noCase)> seen(noCase);
    std::vector<std::string> unique, folders;
    for (const auto& name : names)
        if (seen.insert(name).second) unique.push_back(name);
    for (const auto& d : opt.libraryDirectories) folders.push_back(std::filesystem::absolute(d).string());
    folders.push_back(std::filesystem::absolute(opt.file).parent_path().string());
    for (const auto& m : pspice::LocateModels(unique, folders)) {
        std::cout << "  " << m.ModelName << ": ";
        if (m.LibraryFile.empty())
            std::cout << "not found\n";
        else
            std::cout << (m.Kind == pspice::eModelType_Subckt ? "subcircuit" : "model") << " in " << m.LibraryFile
                      << "\n";
    }
}

int Run(const AnalyzeOptions& opt) {
    const std::string& fileName = opt.file;
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
    PrintModels(models.items, opt);
    if (models.items.empty()) std::cout << "  (none)\n";
    return 0;
}

}  // namespace

void AddAnalyzeCommand(CLI::App& app) {
    static AnalyzeOptions opt;
    auto* cmd = app.add_subcommand("analyze", "List what an import of a Capture design or library would make");
    cmd->add_option("file", opt.file, "Capture file (.DSN, .OLB, .OBK)")->required();
    cmd->add_option("--lib-path", opt.libraryDirectories,
                    "Folder of PSpice model libraries (.lib), searched with its sub-folders before the file's own "
                    "folder; repeatable")
        ->allow_extra_args(false);
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
