// The text dump of a loaded file: its components, its symbols and its design cache, each record
// written by its own WriteAscii.
#pragma once

#include <string>

namespace orcadx::dbo {

class TAsciiWriter;
class TDboDesign;

// Writes `design`'s components and symbols, then the cache read anew from the stream "Cache" of
// `fileName` (the design's own components were taken out of its cache while it loaded).
void WriteDesignAscii(TDboDesign& design, const std::string& fileName, TAsciiWriter& writer);

}  // namespace orcadx::dbo
