// orcadx bom FILE.DSN|PROJECT.VsProj [-o FILE] [--format csv|json]: the parts to buy, one line per
// value, library part and footprint, with the count and the designators.
#include "cli/Context.h"
#include "cli/NetlistSource.h"
#include "export/BillOfMaterials.h"

namespace orcadx::cli {

namespace {

struct BomOptions {
    std::string file;
    std::string output;
    std::string format = "csv";
};

int Run(const BomOptions& opt) {
    host::Netlist netlist;
    if (int code = LoadNetlist(opt.file, netlist)) return code;
    std::vector<exporter::BomLine> lines = exporter::BomLines(netlist);
    std::string text = opt.format == "json" ? exporter::BomJson(lines, netlist.Title) : exporter::BomCsv(lines);
    return WriteOutput(opt.output, text) ? 0 : kExitFailed;
}

}  // namespace

void AddBomCommand(CLI::App& app) {
    static BomOptions opt;
    auto* cmd = app.add_subcommand("bom", "The bill of materials of a design or project");
    cmd->add_option("file", opt.file, "Capture design (.DSN) or host project (.VsProj)")->required();
    cmd->add_option("-o,--output", opt.output, "Output file; standard output when left out");
    cmd->add_option("--format", opt.format, "csv or json")->check(CLI::IsMember({"csv", "json"}));
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
