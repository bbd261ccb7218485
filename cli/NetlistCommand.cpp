// orcadx netlist FILE.DSN|PROJECT.VsProj [-o FILE] [--format allegro|kicad|json]: the nets of the
// whole design, hierarchy flattened, in Capture's Allegro netlist files, a KiCad netlist or JSON.
#include <filesystem>
#include <iostream>

#include <fmt/format.h>

#include "cli/Context.h"
#include "cli/NetlistSource.h"
#include "export/AllegroNetlist.h"
#include "export/NetlistWriters.h"

namespace orcadx::cli {

namespace {

struct NetlistOptions {
    std::string file;
    std::string output;
    std::string format = "allegro";
    std::string compare;
};

// Compares the netlist with the Allegro netlist Capture wrote into `folder`: one line per net that
// splits, merges or differs, and a count. Exit code 1 when anything differs.
int Compare(const host::Netlist& netlist, const std::string& folder) {
    exporter::AllegroNetlist capture, ours;
    try {
        capture = exporter::LoadAllegroNetlist(folder);
        ours = exporter::ReadAllegroNetlist(exporter::WriteAllegroNetlist(netlist, {}));
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << "\n";
        return kExitFailed;
    }
    std::vector<std::string> diff = exporter::CompareAllegroNetlists(capture, ours);
    for (const std::string& line : diff) std::cout << line << "\n";
    exporter::NetlistMatch match = exporter::MatchAllegroNetlists(capture, ours);
    std::cout << fmt::format("{} of {} nets and {} of {} nodes of {} match, {} differences\n", match.SameNets, match.Nets,
                             match.SameNodes, match.Nodes, folder, diff.size());
    return diff.empty() ? 0 : kExitFailed;
}

int Run(const NetlistOptions& opt) {
    host::Netlist netlist;
    if (int code = LoadNetlist(opt.file, netlist)) return code;
    auto& ctx = GetContext();
    if (!opt.compare.empty()) return Compare(netlist, opt.compare);
    if (opt.format == "allegro") {
        // Three files, into the folder -o names, else into "allegro" here, as Capture writes them
        // beside a design.
        std::filesystem::path folder = opt.output.empty() ? std::filesystem::path("allegro") : std::filesystem::path(opt.output);
        try {
            exporter::SaveAllegroNetlist(
                exporter::WriteAllegroNetlist(netlist, exporter::StampNow(std::string("orcadx ") + ORCADX_VERSION)), folder);
        } catch (const std::exception& e) {
            std::cerr << "error: " << e.what() << "\n";
            return kExitFailed;
        }
        if (!ctx.quiet) std::cerr << "pstxnet.dat, pstxprt.dat and pstchip.dat written to " << folder.string() << "\n";
        return 0;
    }
    std::string text;
    if (opt.format == "kicad") {
        exporter::AllegroStamp now = exporter::StampNow("");
        text = exporter::WriteKiCadNetlist(
            netlist, {std::filesystem::absolute(opt.file).string(), now.Date + " " + now.Time, std::string("orcadx ") + ORCADX_VERSION});
    } else {
        text = exporter::WriteJsonNetlist(netlist);
    }
    return WriteOutput(opt.output, text) ? 0 : kExitFailed;
}

}  // namespace

void AddNetlistCommand(CLI::App& app) {
    static NetlistOptions opt;
    auto* cmd = app.add_subcommand("netlist", "The nets of a design or project, hierarchy flattened");
    cmd->add_option("file", opt.file, "Capture design (.DSN) or host project (.VsProj)")->required();
    cmd->add_option("-o,--output", opt.output,
                    "Output file (kicad, json; standard output when left out) or folder (allegro; default ./allegro)");
    cmd->add_option("--format", opt.format, "allegro (pstxnet.dat, pstxprt.dat, pstchip.dat), kicad (.net) or json")
        ->check(CLI::IsMember({"allegro", "kicad", "json"}));
    cmd->add_option("--compare", opt.compare,
                    "Instead of writing, compare with the Allegro netlist in this folder and list every net that differs");
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
