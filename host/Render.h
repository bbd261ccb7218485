// Pictures of schematic documents as SVG: a sheet with its border and every object, or one library
// component with the primitives of each of its parts side by side.
#pragma once

#include <string>
#include <vector>

#include "host/HostApplication.h"

namespace orcadx::host {

// Text for an XML or HTML document: &, <, > and " as entities, control characters but the tab left
// out (XML can't hold them).
std::string EscapeXml(const std::string& text);

std::string RenderSheetSvg(ISch_Document* sheet);
std::string RenderComponentSvg(ISch_Component* component);

// Renders a document file: a sheet to the file `output`, a library to the folder `output` with one
// SVG per component (named after its library reference). Gives the files written; throws EApiErr
// when the document can't be opened or a file can't be written.
std::vector<std::string> RenderDocumentFile(HostApplication& app, const std::string& input, const std::string& output);

}  // namespace orcadx::host
