// orcadx info FILE: what a Capture file holds, from its library record to its pages.
#include <fmt/format.h>

#include <iostream>

#include "cli/Context.h"
#include "dbo/DboDesign.h"
#include "dbo/DboFileIO.h"
#include "dbo/DboSummary.h"

namespace orcadx::cli {

namespace {

struct InfoOptions {
    std::string file;
    int strings = 10;
    bool pages = false;
    bool tree = true;
};

void PrintTree(dbo::TDboIStorage& storage, int depth, std::ostream& out) {
    for (const auto& e : storage.Platform().List()) {
        std::string name = dbo::UnescapeStorageName(e.name);
        std::string indent(static_cast<size_t>(depth) * 2, ' ');
        if (e.isStorage) {
            out << indent << name << "/\n";
            std::unique_ptr<dbo::TDboIStorage> child;
            storage.OpenStorageSafe(name, child);
            PrintTree(*child, depth + 1, out);
        } else {
            out << indent << name << "  " << e.size << "\n";
        }
    }
}

int Run(const InfoOptions& opt) {
    if (!InputExists(opt.file)) return kExitFailed;
    std::ostream& out = std::cout;
    // The whole file; when that fails, the library record alone, so that the header can be shown.
    auto& ctx = GetContext();
    ctx.StartRun();
    ctx.status->SetProgressRange(100);
    auto design = std::make_unique<dbo::TDboDesign>(opt.file, ctx.status.get(), 100, ctx.log.get());
    std::string loadError;
    try {
        design->Load(false);
        ctx.status->CompleteProgress();
        ctx.FinishRun();
    } catch (const std::exception& e) {
        ctx.FinishRun();
        loadError = e.what();
        design = std::make_unique<dbo::TDboDesign>(opt.file, nullptr, 0, nullptr);
        try {
            design->Load(true);
        } catch (const std::exception& e2) {
            std::cerr << "error: " << e2.what() << "\n";
            return kExitFailed;
        }
    }
    dbo::TDboLib& lib = *design->Lib;
    out << "File:        " << opt.file << "\n";
    out << "Identifier:  \"" << TrimRight(lib.IdentifierText()) << "\""
        << (lib.IsDesign() ? " (design)" : lib.IsLibrary() ? " (library)" : " (unknown)") << "\n";
    out << fmt::format("Version:     0x{:08X}{}\n", design->Version,
                       dbo::InVersionSet(design->Version, dbo::VersionSet::Known) ? "" : " (unknown)");
    out << "Fonts:       " << lib.Fonts.Count() << "\n";
    out << "Strings:     " << lib.Strings.size() << "\n";
    for (int i = 0; i < static_cast<int>(lib.Strings.size()) && i < opt.strings; ++i)
        out << fmt::format("  [{}] \"{}\"\n", i, lib.Strings[i]);
    if (loadError.empty()) {
        dbo::DescribeLibrary(*design, out);
        dbo::DescribeViews(*design, opt.pages, out);
    }
    if (opt.tree) {
        out << "Streams:\n";
        std::unique_ptr<dbo::TDboIStorage> root;
        dbo::OpenRootStorage(opt.file, root);
        PrintTree(*root, 1, out);
    }
    if (!loadError.empty()) {
        std::cerr << "error: the file could not be read whole: " << loadError << "\n";
        return kExitFailed;
    }
    return 0;
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
    static InfoOptions opt;
    auto* cmd = app.add_subcommand("info", "Show what a Capture design or library holds");
    cmd->add_option("file", opt.file, "Capture file (.DSN, .OLB)")->required();
    cmd->add_option("--strings", opt.strings, "How many strings of the string list to show");
    cmd->add_flag("--pages", opt.pages, "Per page: name, size and object counts");
    cmd->add_flag("--no-tree", [](int64_t) { opt.tree = false; }, "Leave out the tree of storages and streams");
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
