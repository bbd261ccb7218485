// orcadx info FILE: what a Capture file holds, from its library record to its pages.
#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <vector>

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

// The tree of storages and streams, one line each, walked with a stack of its own: a file may nest
// storages far deeper than the call stack goes. Indentation stops growing at kMaxIndent levels, and
// deeper lines say their level, so that the output grows with the number of entries alone.
constexpr size_t kMaxIndent = 32;

void PrintTree(dbo::TDboIStorage& root, std::ostream& out) {
    struct Level {
        dbo::TDboIStorage* storage;
        std::unique_ptr<dbo::TDboIStorage> owned;
        std::vector<platform::CfbEntry> entries;
        size_t next = 0;
    };
    std::vector<Level> stack;
    stack.push_back({&root, nullptr, root.Platform().List()});
    while (!stack.empty()) {
        Level& level = stack.back();
        if (level.next == level.entries.size()) {
            stack.pop_back();
            continue;
        }
        const platform::CfbEntry& e = level.entries[level.next++];
        const size_t depth = stack.size();
        std::string name = dbo::UnescapeStorageName(e.name);
        out << std::string(std::min(depth, kMaxIndent) * 2, ' ');
        if (depth > kMaxIndent) out << "[level " << depth << "] ";
        if (!e.isStorage) {
            out << name << "  " << e.size << "\n";
            continue;
        }
        out << name << "/\n";
        std::unique_ptr<dbo::TDboIStorage> child;
        level.storage->OpenStorageSafe(name, child);
        auto entries = child->Platform().List();
        dbo::TDboIStorage* raw = child.get();
        stack.push_back({raw, std::move(child), std::move(entries)});
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
    design->KeepStorage = opt.tree;  // the tree is read from the file opened once
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
        std::unique_ptr<dbo::TDboIStorage> root = std::move(design->Storage);
        if (!root) dbo::OpenRootStorage(opt.file, root);
        PrintTree(*root, out);
    }
    out.flush();
    // The process ends right after this: the design's memory goes back with it, not object by object.
    // Held by a static pointer, it stays reachable for leak checkers (volatile, so that the store
    // to a pointer nothing reads is kept).
    [[maybe_unused]] static dbo::TDboDesign* volatile keptUntilExit = nullptr;
    keptUntilExit = design.release();
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
