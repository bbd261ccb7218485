// Every page of every sample design, imported into a host sheet and exported again as a Capture
// page: the page holds what the host sheet predicts (segments after cutting, net labels, ports,
// power objects, off-page connectors, parts, blocks and title blocks), no segment has a connection
// inside it, and every part's pin records stand at its host pins' ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <map>

#include "import/PageImportSupport.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "export/SCHLibraryExport.h"
#include "export/SCHSheetExport.h"
#include "host/ClientServices.h"
#include "import/Manage_FontTable.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;

struct Counts {
    int wires = 0, buses = 0, netLabels = 0, ports = 0, powers = 0, offPages = 0, parts = 0, blocks = 0,
        titleBlocks = 0, pins = 0;
    bool operator==(const Counts&) const = default;
    void Add(const Counts& o) {
        wires += o.wires, buses += o.buses, netLabels += o.netLabels, ports += o.ports, powers += o.powers;
        offPages += o.offPages, parts += o.parts, blocks += o.blocks, titleBlocks += o.titleBlocks, pins += o.pins;
    }
};

std::ostream& operator<<(std::ostream& out, const Counts& c) {
    return out << "segments " << c.wires << ", bus segments " << c.buses << ", net labels " << c.netLabels
               << ", ports " << c.ports << ", power " << c.powers << ", off-page " << c.offPages << ", parts "
               << c.parts << ", blocks " << c.blocks << ", title blocks " << c.titleBlocks << ", pins " << c.pins;
}

template <class T>
std::vector<T*> Children(ISch_BasicContainer* container, const ObjectSet& kinds, int32_t depth) {
    std::vector<T*> out;
    auto it = container->SchIterator_Create(kinds, depth);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject())
        if (std::find(kinds.begin(), kinds.end(), o->GetState_ObjectId()) != kinds.end())
            if (auto* t = dynamic_cast<T*>(o)) out.push_back(t);
    return out;
}

Coord FarEnd(ISch_Pin* pin) {
    Coord p = pin->GetState_Location();
    int32_t l = pin->GetState_PinLength();
    switch (pin->GetState_Orientation()) {
        case 0: return {p.X + l, p.Y};
        case 1: return {p.X, p.Y + l};
        case 2: return {p.X - l, p.Y};
        default: return {p.X, p.Y - l};
    }
}

// P lies strictly inside A-B, on the line (exact).
bool Inside(Coord p, Coord a, Coord b) {
    if (p == a || p == b) return false;
    int64_t cross = int64_t(b.X - a.X) * (p.Y - a.Y) - int64_t(b.Y - a.Y) * (p.X - a.X);
    return cross == 0 && std::min(a.X, b.X) <= p.X && p.X <= std::max(a.X, b.X) && std::min(a.Y, b.Y) <= p.Y &&
           p.Y <= std::max(a.Y, b.Y);
}

// What the sheet, as it stands after the export, says the page must hold; problems go to `problems`.
Counts Predict(ISch_Document* sheet, dbo::TDboDesign& design, exporter::TSCHSheetExporter& exporter,
               dbo::TDboPage& page, std::vector<std::string>& problems) {
    Counts c;
    // Segments, and nothing that connects inside one of them.
    std::vector<Coord> cuts;
    for (auto* j : Children<ISch_GraphicalObject>(sheet, {eJunction}, eIterateFirstLevel)) cuts.push_back(j->GetState_Location());
    for (auto* pin : Children<ISch_Pin>(sheet, {ePin}, eIterateAllLevels)) cuts.push_back(FarEnd(pin));
    if (auto* s = dynamic_cast<ISch_Sheet*>(sheet))
        for (bool buses : {false, true}) {
            auto connections = buses ? s->GetState_BusConnections() : s->GetState_WireConnections();
            for (int32_t i = 0; i < connections->GetState_ConnectionsCount(); ++i)
                if (connections->GetState_ConnectionObjectsCount(i) >= 3) cuts.push_back(connections->GetState_ConnectionLocation(i));
        }
    for (auto* line : Children<ISch_Polyline>(sheet, {eWire, eBus}, eIterateFirstLevel)) {
        int32_t n = line->GetState_VertexCount();
        (line->GetState_ObjectId() == eWire ? c.wires : c.buses) += n - 1;
        if (n >= 50) continue;  // a wire of 50 vertices takes no more
        for (int32_t v = 1; v < n; ++v)
            for (Coord p : cuts)
                if (Inside(p, line->GetState_Vertex(v), line->GetState_Vertex(v + 1)) && problems.size() < 10)
                    problems.push_back("a connection at (" + std::to_string(p.X / 10000) + "," + std::to_string(p.Y / 10000) +
                                       ") mils inside a segment");
    }
    // Net labels: one alias on each segment of its kind that holds the label's point.
    for (auto* label : Children<ISch_NetLabel>(sheet, {eNetLabel}, eIterateFirstLevel)) {
        Coord at{exporter.ConvertX(label->GetState_Location().X), exporter.ConvertY(label->GetState_Location().Y)};
        bool busName = label->GetState_Text().find("..") != std::string::npos;
        for (int i = 0; i < page.WiresAndBuses->Count(); ++i) {
            dbo::TDboWireBus* w = page.WiresAndBuses->GetItems(i);
            if ((w->ID == dbo::kIdBus) != busName) continue;
            Coord a{w->StartX, w->StartY}, b{w->EndX, w->EndY};
            if (at == a || at == b || Inside(at, a, b)) ++c.netLabels;
        }
    }
    c.ports = static_cast<int>(Children<ISch_Port>(sheet, {ePort}, eIterateFirstLevel).size());
    for (auto* power : Children<ISch_PowerObject>(sheet, {ePowerObject}, eIterateFirstLevel))
        c.powers += power->GetState_Style() >= 0 && power->GetState_Style() <= 6;
    c.offPages = static_cast<int>(Children<ISch_CrossSheetConnector>(sheet, {eCrossSheetConnector}, eIterateFirstLevel).size());
    c.blocks = static_cast<int>(Children<ISch_SheetSymbol>(sheet, {eSheetSymbol}, eIterateFirstLevel).size());
    // Parts: those whose component the design holds, in sheet order, each with its pins.
    int partIndex = 0;
    for (auto* component : Children<ISch_Component>(sheet, {eSchComponent}, eIterateFirstLevel)) {
        if (component->GetState_ComponentKind() == eComponentKind_Graphical) {
            ++c.titleBlocks;
            continue;
        }
        if (!design.FindComponent(exporter::LegalName(component->GetState_LibReference())) &&
            !design.FindComponent(exporter::LegalName(component->GetState_DesignItemId())))
            continue;
        ++c.parts;
        std::vector<std::pair<int32_t, int32_t>> hostPins, pagePins;
        for (auto* pin : Children<ISch_Pin>(component, {ePin}, eIterateAllLevels)) {
            Coord end = FarEnd(pin);
            hostPins.emplace_back(static_cast<int16_t>(exporter.ConvertX(end.X)), static_cast<int16_t>(exporter.ConvertY(end.Y)));
        }
        c.pins += static_cast<int>(hostPins.size());
        auto* part = partIndex < page.PartsAndBlocks->Count() ? dynamic_cast<dbo::TDboPart*>(page.PartsAndBlocks->GetParts(partIndex)) : nullptr;
        ++partIndex;
        if (!part) {
            problems.push_back("part " + component->GetState_LibReference() + " missing");
            continue;
        }
        for (int i = 0; i < part->PinProps.Count(); ++i)
            pagePins.emplace_back(part->PinProps.GetPinProps(i)->LocationX, part->PinProps.GetPinProps(i)->LocationY);
        std::sort(hostPins.begin(), hostPins.end());
        std::sort(pagePins.begin(), pagePins.end());
        if (hostPins != pagePins && problems.size() < 10)
            problems.push_back("pins of " + part->DesignatorStr + " (" + part->ViewName + ", rotation " +
                               std::to_string(part->GetRotation()) + ", mirror " + std::to_string(part->GetMirror()) +
                               ") stand elsewhere: first host pin (" + std::to_string(hostPins.empty() ? 0 : hostPins[0].first) +
                               "," + std::to_string(hostPins.empty() ? 0 : hostPins[0].second) + "), first record (" +
                               std::to_string(pagePins.empty() ? 0 : pagePins[0].first) + "," +
                               std::to_string(pagePins.empty() ? 0 : pagePins[0].second) + ")");
    }
    return c;
}

Counts CountPage(dbo::TDboPage& page) {
    Counts c;
    for (int i = 0; i < page.WiresAndBuses->Count(); ++i) {
        dbo::TDboWireBus* w = page.WiresAndBuses->GetItems(i);
        (w->ID == dbo::kIdBus ? c.buses : c.wires)++;
        c.netLabels += w->Aliases.Count();
    }
    c.ports = page.Ports->Count();
    c.powers = page.Powers->Count();
    c.offPages = page.OffPages->Count();
    c.titleBlocks = page.TitleBlocks->Count();
    for (int i = 0; i < page.PartsAndBlocks->Count(); ++i) {
        if (auto* part = dynamic_cast<dbo::TDboPart*>(page.PartsAndBlocks->GetParts(i))) {
            ++c.parts;
            c.pins += part->PinProps.Count();
        } else {
            ++c.blocks;
        }
    }
    return c;
}

}  // namespace

TEST(SheetExportCorpus, EveryPageExportsWhatItsSheetPredicts) {
    ORCADX_REQUIRE_CORPUS();
    int pages = 0, withProblems = 0;
    Counts total;
    for (const auto& file : CorpusFiles({".dsn"})) {
        SCOPED_TRACE(file.string());
        PageBench bench("sheet_export_corpus", file, true);
        IProject* project = bench.app.CreateProject((bench.folder / "Export.VsProj").string());
        std::vector<std::string> sheets;
        for (auto& [view, page] : bench.Pages()) {
            LogSection log;
            ISch_Document* document = importer::ImportPage(bench.app, bench.design, bench.libraryName, &bench.options,
                                                           &log, bench.folder.string(), project, bench.names, view, *page);
            ASSERT_NE(document, nullptr) << view << "/" << page->PageName;
            sheets.push_back(document->GetState_DocumentName());
        }
        ASSERT_TRUE(bench.app.Client()->RunProcess("WorkspaceManager:Compile", "ObjectKind=All"));

        // The design: the file's library as the import made it, and the standard symbols.
        importer::FontTableManager().Clear();
        dbo::TDboDesign design((bench.folder / "Export.DSN").string(), nullptr, 0, nullptr);
        bench.app.OpenDocumentFile(bench.libraryName);
        exporter::TSCHLibraryExporter(bench.app, &design, bench.libraryName).RunExport();
        std::string symbols = (bench.folder / "OrCAD-CAPSYM.SchLib").string();
        WriteStandardSymbolLibrary(bench.app, symbols);
        bench.app.OpenDocumentFile(symbols);
        exporter::TSCHLibraryExporter(bench.app, &design, symbols).RunExport();

        exporter::TPageNameManager names;
        for (const std::string& path : sheets) {
            SCOPED_TRACE(path);
            ISch_Document* sheet = bench.app.SchServer()->GetSchDocumentByPath(path);
            ASSERT_NE(sheet, nullptr);
            auto page = dbo::Make<dbo::TDboPage>(&design);
            exporter::TSCHSheetExporter exporter(bench.app, &design, page.get(), sheet,
                                                 bench.app.Workspace()->GetDocumentByPath(path), &names, project);
            exporter.RunExport();
            std::vector<std::string> problems;
            Counts expected = Predict(sheet, design, exporter, *page, problems);
            Counts got = CountPage(*page);
            EXPECT_EQ(got, expected);
            for (const std::string& p : problems) ADD_FAILURE() << p;
            withProblems += !problems.empty() || !(got == expected);
            total.Add(got);
            ++pages;
        }
    }
    std::cout << "[ pages    ] " << pages << " pages: " << total << "; pages with differences " << withProblems << "\n";
    EXPECT_GT(pages, 150);
    EXPECT_GT(total.parts, 3000);
    EXPECT_GT(total.pins, 10000);
}

}  // namespace orcadx::test
