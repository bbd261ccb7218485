// orcadx validate FILE...: one line per file, exit code 0 only when all are valid.
#include <fmt/format.h>

#include <filesystem>
#include <iostream>

#include "cli/Context.h"
#include "dbo/DboDesign.h"
#include "entry/FileTest.h"
#include "platform/CodePage.h"

namespace orcadx::cli {

namespace {

// Why a file isn't valid, in the words a user needs: its version and identifier when it could be
// read, else the error.
std::string Explain(const std::string& file) {
    if (!std::filesystem::exists(file)) return "the file does not exist";
    bool dsn = entry::HasExtension(file, ".DSN"), olb = entry::HasExtension(file, ".OLB");
    if (!dsn && !olb) return "the name ends neither in .DSN nor in .OLB";
    try {
        dbo::TDboDesign design(file, nullptr, 0, nullptr);
        design.Load(true);
        std::string id = TrimRight(design.Lib->IdentifierText());
        if (!dbo::InVersionSet(design.Version, dbo::VersionSet::Known))
            return fmt::format("unknown version 0x{:08X}, identifier \"{}\"", design.Version, id);
        if (!design.IsValid()) return fmt::format("identifier \"{}\" is neither a design nor a library (version 0x{:08X})", id, design.Version);
        return fmt::format("version 0x{:08X}, identifier \"{}\"", design.Version, id);
    } catch (const std::exception& e) {
        std::string msg = e.what();
        for (auto& c : msg)
            if (c == '\r' || c == '\n') c = ' ';
        return msg;
    }
}

int Run(const std::vector<std::string>& files) {
    auto& translator = GetContext().GetTranslator();
    int invalid = 0;
    for (const auto& file : files) {
        std::u16string wide = platform::Utf8ToUtf16(file);
        bool valid = entry::HasExtension(file, ".OLB") ? translator.IsValidOLB(wide.c_str())
                                                       : translator.IsValidDSN(wide.c_str());
        if (valid) {
            bool library = false;
            std::string detail;
            try {
                dbo::TDboDesign design(file, nullptr, 0, nullptr);
                design.Load(true);
                library = design.Lib->IsLibrary();
                detail = fmt::format("0x{:08X}", design.Version);
            } catch (...) {
            }
            std::cout << file << ": valid (" << (library ? "library" : "design") << ", version " << detail << ")\n";
        } else {
            ++invalid;
            std::cout << file << ": not valid: " << Explain(file) << "\n";
        }
    }
    return invalid == 0 ? 0 : kExitFailed;
}

}  // namespace

void AddValidateCommand(CLI::App& app) {
    auto* cmd = app.add_subcommand("validate", "Tell whether each file is a valid Capture design or library");
    static std::vector<std::string> files;
    cmd->add_option("files", files, "Capture files (.DSN, .OLB)")->required();
    cmd->callback([] { throw ExitRequest{Run(files)}; });
}

}  // namespace orcadx::cli
