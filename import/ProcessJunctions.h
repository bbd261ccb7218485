// Junctions of an imported page. Capture stores a junction at every place where it drew one; the
// host draws the junctions it finds itself at every T and locks only those it cannot find. This
// step keeps a Capture junction (locked) where wires cross through it or meet from both axes, and
// removes the others, which the host then calculates; it warns where the host would add a junction
// that the page didn't have.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/ClientInterfaces.h"

namespace orcadx::importer {

// One straight piece of wire, in host coordinates.
struct TSegment {
    int32_t X1 = 0, Y1 = 0, X2 = 0, Y2 = 0;
};

// Classifies every junction of the document: junctions that stay are locked and logged as added,
// the others are logged as removed and taken out of the document. A junction mode of 1 in the
// options keeps all of them. Messages go to `log` and, with a workspace, to its message panel.
void ProcessJunctions(host::IHostApplication& app, host::ISch_Document* document,
                      host::IOrcadImporterOption* options, host::ILogSection* log);

// Warns at every connection of the host's sheet that joins more than two objects where the page
// had no junction (`keep` and `drop` together). Needs a sheet and a workspace.
void AnalyzeJunctions(host::IHostApplication& app, host::ISch_Document* document,
                      const std::vector<host::ISch_Junction*>& keep, const std::vector<host::ISch_Junction*>& drop,
                      host::ILogSection* log);

// A message in the workspace's message panel whose action zooms the document to the place.
void ReportAtPoint(host::IHostApplication& app, const std::string& title, const std::string& text,
                   host::Coord location, host::ISch_Document* document);

}  // namespace orcadx::importer
