// Where the netlist and bom commands take their netlist from: a host project file as it stands, or
// a Capture design imported by the translator into a temporary project first.
#pragma once

#include <string>

#include "host/Netlist.h"

namespace orcadx::cli {

// Fills `netlist` from FILE.VsProj or FILE.DSN and gives 0, or gives the exit code after telling on
// stderr what went wrong. The netlist's problems are printed as warnings.
int LoadNetlist(const std::string& file, host::Netlist& netlist);

// Writes `text` to `path`, or to standard output when the path is empty or "-"; false, with the
// reason on stderr, when it can't.
bool WriteOutput(const std::string& path, const std::string& text);

}  // namespace orcadx::cli
