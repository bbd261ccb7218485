#include "dbo/DboSummary.h"

#include <fmt/format.h>

#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboHierarchyObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboViewObjects.h"

namespace orcadx::dbo {

namespace {

int CountOf(const TDboStorableList* list) { return list ? list->Count() : 0; }

const char* SymbolKind(int id) {
    switch (id) {
        case 33: return "power";
        case 34: return "port";
        case 35: return "off-page";
        case 64: return "title block";
        default: return "symbol";
    }
}

}  // namespace

PageCounts CountPageObjects(const TDboPage& page) {
    PageCounts c;
    if (page.WiresAndBuses)
        for (const auto& item : page.WiresAndBuses->Items) {
            if (dynamic_cast<const TDboBus*>(item.get())) ++c.buses;
            else if (item) ++c.wires;
        }
    if (page.PartsAndBlocks)
        for (const auto& item : page.PartsAndBlocks->Items) {
            if (dynamic_cast<const TDboHierarchicalBlock*>(item.get())) ++c.blocks;
            else if (item) ++c.parts;
        }
    c.ports = CountOf(page.Ports.get());
    c.powers = CountOf(page.Powers.get());
    c.offPages = CountOf(page.OffPages.get());
    c.titleBlocks = CountOf(page.TitleBlocks.get());
    c.busEntries = CountOf(page.BusEntries.get());
    c.netAliases = CountOf(page.NetAliases.get());
    c.graphics = CountOf(page.Graphics.get());
    return c;
}

std::string PageSizeText(const TDboPage& page) {
    if (page.Units == 0) return fmt::format("{:.2f} x {:.2f} in", page.Width / 1000.0, page.Height / 1000.0);
    return fmt::format("{:.1f} x {:.1f} mm", page.Width / 1000.0, page.Height / 1000.0);
}

void DescribeLibrary(const TDboDesign& design, std::ostream& out) {
    out << "Components:  " << design.ComponentCount() << "\n";
    for (const auto& component : design.Components) {
        const TDboLibPartInfo& info = *component->PartInfo;
        out << fmt::format("  {}  ({} package(s), {} part(s))\n", info.CompName, component->Packages.Count(),
                           info.Parts.Count());
        for (int p = 0; p < component->Packages.Count(); ++p) {
            const TDboLibPackage* package = component->Packages.GetPackages(p);
            out << fmt::format("    package {}: {} view(s)\n", package->Name, package->Views.Count());
            for (int v = 0; v < package->Views.Count(); ++v) {
                const TDboLibView* view = package->Views.GetViews(v);
                out << fmt::format("      {}: {} pin(s), {} graphic(s)\n", view->ViewName, CountOf(view->Pins.get()),
                                   CountOf(view->Graphics.get()));
            }
        }
    }
    out << "Symbols:     " << design.SymbolCount() << "\n";
    for (int i = 0; i < design.SymbolCount(); ++i) {
        const TDboLibSymbol* symbol = design.GetSymbol(i);
        out << fmt::format("  {} ({}, {} pin(s), {} graphic(s))\n", symbol->ViewName, SymbolKind(symbol->ID),
                           CountOf(symbol->Pins.get()), CountOf(symbol->Graphics.get()));
    }
}

void DescribeViews(const TDboDesign& design, bool perPage, std::ostream& out) {
    out << "Views:       " << design.ViewCount() << "\n";
    for (int i = 0; i < design.ViewCount(); ++i) {
        const TDboSchematics* view = design.GetViews(i);
        if (!view) continue;
        int hierRecords = view->Hierarchy ? view->Hierarchy->Records.Count() : 0;
        out << fmt::format("  {}: {} page(s), {} hierarchy record(s)\n", design.Views->GetEntries(i)->Name,
                           view->PageCount(), hierRecords);
        if (!perPage) continue;
        for (int p = 0; p < view->PageCount(); ++p) {
            const TDboPage* page = view->GetPages(p);
            PageCounts c = CountPageObjects(*page);
            out << fmt::format(
                "    {} [{}]: wires {}, buses {}, parts {}, blocks {}, ports {}, power {}, off-page {}, "
                "title blocks {}\n",
                page->PageName, PageSizeText(*page), c.wires, c.buses, c.parts, c.blocks, c.ports, c.powers,
                c.offPages, c.titleBlocks);
        }
    }
}

}  // namespace orcadx::dbo
