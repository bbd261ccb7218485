// The pictures of an imported project: one SVG per sheet and an index.html in page order.
#pragma once

#include <string>
#include <vector>

#include "host/HostApplication.h"

namespace orcadx::cli {

// Renders the sheets of the one project file (.VsProj) in `folder` into `output`, and writes
// `output`/index.html: the sheets in the project's order, each sheet symbol a link to the sheet it
// names. Gives the files written; throws when the folder holds no single project or a sheet can't be
// opened or written.
std::vector<std::string> RenderProjectFolder(host::HostApplication& app, const std::string& folder,
                                             const std::string& output);

}  // namespace orcadx::cli
