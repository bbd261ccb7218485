// orcadx render DOC -o OUT: a picture of a host document. A sheet (.SchDoc) becomes one SVG file,
// a library (.SchLib) a folder with one SVG per component, and a folder holding a project (as
// orcadx import makes it) a folder with one SVG per sheet and an index.html.
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "cli/Context.h"
#include "cli/RenderProject.h"
#include "host/HostApplication.h"
#include "host/Render.h"

namespace orcadx::cli {

void AddRenderCommand(CLI::App& app) {
    auto* cmd = app.add_subcommand("render", "Draw a host sheet (.SchDoc), library (.SchLib) or project folder as SVG");
    auto document = std::make_shared<std::string>();
    auto output = std::make_shared<std::string>();
    cmd->add_option("DOC", *document, "The .SchDoc or .SchLib file, or a folder with one project file (.VsProj)")
        ->required();
    cmd->add_option("-o,--output", *output, "SVG file for a sheet, folder for a library or a project")->required();
    cmd->callback([document, output] {
        if (!InputExists(*document)) throw ExitRequest{kExitFailed};
        host::HostApplication host;
        try {
            auto files = std::filesystem::is_directory(*document) ? RenderProjectFolder(host, *document, *output)
                                                                  : host::RenderDocumentFile(host, *document, *output);
            if (!GetContext().quiet)
                for (const auto& f : files) std::cout << f << "\n";
        } catch (const std::exception& e) {
            std::cerr << "error: " << e.what() << "\n";
            for (const auto& message : host.ErrorBoxLog()) std::cerr << "  " << message << "\n";
            throw ExitRequest{kExitFailed};
        }
    });
}

}  // namespace orcadx::cli
