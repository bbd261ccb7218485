// Every page of every sample design through the page importer: no error, as many connectivity
// objects in the saved sheet as on the page, and the same nets.
#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <set>

#include "ImportTestSupport.h"
#include "PageImportSupport.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "export/Manage_PageNames.h"
#include "host/Connectivity.h"
#include "host/SchObjects.h"
#include "import/SCHPageDocument.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;

// What a page holds of each kind that carries connectivity.
struct Counts {
    int wires = 0, buses = 0, busEntries = 0, netLabels = 0, ports = 0, offPages = 0, powers = 0, titleBlocks = 0;
    bool operator==(const Counts&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Counts& c) {
    return out << "wires " << c.wires << ", buses " << c.buses << ", bus entries " << c.busEntries << ", net labels "
               << c.netLabels << ", ports " << c.ports << ", off-page " << c.offPages << ", power " << c.powers
               << ", title blocks " << c.titleBlocks;
}

Counts CountPage(dbo::TDboPage& page) {
    Counts c;
    for (int i = 0; i < page.WiresAndBuses->Count(); ++i) {
        dbo::TDboWireBus* w = page.WiresAndBuses->GetItems(i);
        (dynamic_cast<dbo::TDboBus*>(w) ? c.buses : c.wires)++;
        c.netLabels += w->Aliases.Count();
    }
    c.busEntries = page.BusEntries->Count();
    c.ports = page.Ports->Count();
    c.offPages = page.OffPages->Count();
    c.powers = page.Powers->Count();
    c.titleBlocks = page.TitleBlocks->Count();
    return c;
}

Counts CountSheet(ISch_Document* sheet) {
    Counts c;
    auto it = sheet->SchIterator_Create({}, eIterateFirstLevel);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject()) {
        switch (o->GetState_ObjectId()) {
            case eWire: ++c.wires; break;
            case eBus: ++c.buses; break;
            case eBusEntry: ++c.busEntries; break;
            case eNetLabel: ++c.netLabels; break;
            case ePort: ++c.ports; break;
            case eCrossSheetConnector: ++c.offPages; break;
            case ePowerObject: ++c.powers; break;
            case eSchComponent:
                if (auto* block = dynamic_cast<ISch_Component*>(o); block->GetState_ComponentKind() == eComponentKind_Graphical) {
                    ++c.titleBlocks;
                    // On the sheet, within its edges.
                    CoordRect r = block->GetState_BoundingRectangle();
                    EXPECT_TRUE(r.X1 >= 0 && r.Y1 >= 0 && r.X2 <= sheet->GetState_SheetSizeX() && r.Y2 <= sheet->GetState_SheetSizeY())
                        << "title block at " << r.X1 << "," << r.Y1 << " - " << r.X2 << "," << r.Y2;
                }
                break;
            default: break;
        }
    }
    return c;
}

// Compares the nets of the page (wires and buses grouped by the net they name) with the nets that
// the host finds on the sheet; gives a description of each difference.
std::vector<std::string> CompareNets(dbo::TDboPage& page, ISch_Document* sheet) {
    // Wires and buses stand on the sheet in the order of the page's list.
    std::vector<std::string> ids;
    std::vector<std::vector<Coord>> shapes;
    auto it = sheet->SchIterator_Create({eWire, eBus}, eIterateFirstLevel);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject()) {
        ids.push_back(o->GetState_UniqueId());
        shapes.push_back(impl::CoreOf(o)->GetVertices());
    }
    std::vector<std::string> problems;
    if (static_cast<int>(ids.size()) != page.WiresAndBuses->Count()) return {"wire count differs"};
    std::map<std::string, size_t> hostNetOf;
    std::vector<impl::NetInfo> nets = impl::CompileNets(*impl::CoreOf(sheet));
    for (size_t n = 0; n < nets.size(); ++n)
        for (const std::string& id : nets[n].WireIds) hostNetOf[id] = n;
    std::map<int32_t, size_t> hostOfCapture;
    std::map<size_t, int32_t> captureOfHost;
    for (size_t i = 0; i < ids.size() && problems.size() < 5; ++i) {
        int32_t net = page.WiresAndBuses->GetItems(static_cast<int>(i))->NetName;
        size_t host = hostNetOf.at(ids[i]);
        auto [a, newA] = hostOfCapture.emplace(net, host);
        auto [b, newB] = captureOfHost.emplace(host, net);
        if (a->second != host || b->second != net) {
            const auto& v = shapes[i];
            problems.push_back("wire " + std::to_string(i) + " (" + std::to_string(v[0].X / 10000) + "," +
                               std::to_string(v[0].Y / 10000) + ")-(" + std::to_string(v[1].X / 10000) + "," +
                               std::to_string(v[1].Y / 10000) + ") of net " + std::to_string(net) + " in host net " +
                               nets[host].Name + (a->second != host ? " (net split)" : " (nets joined)"));
        }
    }
    return problems;
}

}  // namespace

TEST(PageImportCorpus, EveryPageImportsWithItsObjectsAndNets) {
    ORCADX_REQUIRE_CORPUS();
    int pages = 0, netMismatches = 0;
    Counts total;
    for (const auto& file : CorpusFiles({".dsn"})) {
        SCOPED_TRACE(file.string());
        PageBench bench("corpus_pages", file, true);
        for (auto& [view, page] : bench.Pages()) {
            SCOPED_TRACE(view + "/" + page->PageName);
            LogSection log;
            ISch_Document* document = bench.Import(view, *page, log);
            ASSERT_NE(document, nullptr);
            EXPECT_EQ(log.AllMessages(kLogError), std::vector<std::string>{});
            for (const std::string& m : log.AllMessages(kLogWarning)) EXPECT_EQ(m.find("Unable to import TitleBlock"), std::string::npos) << m;
            std::string path = document->GetState_DocumentName();
            CloseServerDocument(bench.app, document);
            ISch_Document* saved = bench.app.SchDocumentOf(bench.app.OpenDocumentFile(path));
            ASSERT_NE(saved, nullptr);
            Counts expected = CountPage(*page), got = CountSheet(saved);
            EXPECT_EQ(got, expected);
            std::vector<std::string> problems = CompareNets(*page, saved);
            for (const std::string& p : problems) ADD_FAILURE() << p;
            netMismatches += !problems.empty();
            CloseServerDocument(bench.app, saved);
            total.wires += got.wires;
            total.buses += got.buses;
            total.busEntries += got.busEntries;
            total.netLabels += got.netLabels;
            total.ports += got.ports;
            total.offPages += got.offPages;
            total.powers += got.powers;
            total.titleBlocks += got.titleBlocks;
            ++pages;
        }
    }
    std::cout << "[ pages    ] " << pages << " pages: " << total << "; pages with other nets " << netMismatches << "\n";
    EXPECT_GT(pages, 150);
}

}  // namespace orcadx::test
