// Counts and short descriptions of what a loaded design holds, for the command line and tests.
#pragma once

#include <ostream>
#include <string>

namespace orcadx::dbo {

class TDboDesign;
class TDboPage;

struct PageCounts {
    int wires = 0, buses = 0, parts = 0, blocks = 0, ports = 0, powers = 0, offPages = 0, titleBlocks = 0,
        busEntries = 0, netAliases = 0, graphics = 0;
};

PageCounts CountPageObjects(const TDboPage& page);
// "11.00 x 8.50 in" or "297.0 x 210.0 mm", from the page's size in thousandths of its unit.
std::string PageSizeText(const TDboPage& page);

// Components with packages, parts and pin counts, symbols, views and pages.
void DescribeLibrary(const TDboDesign& design, std::ostream& out);
void DescribeViews(const TDboDesign& design, bool perPage, std::ostream& out);

}  // namespace orcadx::dbo
