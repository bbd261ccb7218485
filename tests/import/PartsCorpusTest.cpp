// Every page of every sample design with its library: each placed part is one component of the
// design's library, with the part's designator, value and library part, and with each pin where
// Capture has the pin; each block is one sheet symbol whose entries stand where Capture has the
// block's pins, which names documents that the import makes and whose entries are the ports of
// those documents.
#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <set>

#include "ImportTestSupport.h"
#include "PageImportSupport.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "host/SchObjects.h"
#include "import/HostIteration.h"
#include "import/ProcessHierarchy.h"
#include "import/SCHLibraryImport.h"
#include "import/SCHSheetImport.h"
#include "platform/TextCompare.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
using importer::CollectObjects;

// The library that names a placed part's component, as the page importer reads it.
std::string PartLibrary(const dbo::TDboDesign& design, const dbo::TDboPart& part) {
    if (design.Version >= 0x00010003) return part.GetLibName();
    if (design.Version == 2 || design.Version == 0x00010001 || design.Version == 0x00010002) return part.GetSrcLib();
    return part.SrcPkg;
}

std::string Point(Coord c) { return "(" + std::to_string(c.X / 100000) + "," + std::to_string(c.Y / 100000) + ")"; }

// Pins of one part and display mode of a component as (name, number), sorted.
using PinNames = std::multiset<std::pair<std::string, std::string>>;
PinNames PinSet(ISch_Component* component, int32_t part, int32_t mode) {
    PinNames out;
    for (auto* pin : CollectObjects<ISch_Pin>(component, {ePin}))
        if (pin->GetState_OwnerPartId() == part && pin->GetState_OwnerPartDisplayMode() == mode)
            out.emplace(pin->GetState_Name(), pin->GetState_Designator());
    return out;
}
// A component of the library in one part and display mode.
using Shown = std::tuple<std::string, int32_t, int32_t>;

// What a sheet of the design shows of the hierarchy: its ports, its sheet symbols.
struct SheetLinks {
    std::set<std::string> ports;
    struct Symbol {
        std::string name, files;
        std::set<std::string> entries;
    };
    std::vector<Symbol> symbols;
};

// The comment of a component; "=Name" stands for the text of its parameter Name, as a simulation
// model leaves the value.
std::string Comment(ISch_Component* c) {
    std::string text = c->GetState_SchComment()->GetState_Text();
    if (text.rfind('=', 0) != 0) return text;
    for (auto* p : CollectObjects<ISch_Parameter>(c, {eParameter}))
        if (p->GetState_Name() == text.substr(1)) return p->GetState_Text();
    return text;
}

// True when the design's cache holds a view of the package of the component's part `partNo`.
bool HasDrawing(const dbo::TDboDesign& design, const std::string& component, int partNo) {
    const dbo::TDboLibComponent* c = design.FindComponent(component);
    if (!c) return false;
    const dbo::TDboLibPart* part = c->PartInfo->Parts.GetParts(partNo);
    for (int i = 0; i < c->Packages.Count(); ++i) {
        const dbo::TDboLibPackage* package = c->Packages.GetPackages(i);
        if ((c->Packages.Count() == 1 || (part && platform::SameTextNoCase(package->Name, part->PkgName))) &&
            package->Views.Count() > 0)
            return true;
    }
    return false;
}

struct Tally {
    int pages = 0, parts = 0, pins = 0, blocks = 0, entries = 0, symbolsChecked = 0, undrawn = 0;
    int partFaults = 0, pinFaults = 0, entryFaults = 0, linkFaults = 0;
    // Pins checked, and parts with pins on all four sides, by rotation and mirror.
    std::map<std::pair<int, int>, int> pinsByOrientation, fourSidedByOrientation;
};

void CheckPage(PageBench& bench, dbo::TDboPage& page, ISch_Document* sheet, Tally& tally,
               std::map<Shown, PinNames>& placedPins) {
    LogSection scratch;
    importer::TSCHPageImporter frame(bench.app, &bench.design, bench.libraryName, &bench.options, &scratch, &page, sheet,
                                     &bench.names);
    auto at = [&](const dbo::TDboPinProps& p) { return Coord{frame.ToCoordX(p.LocationX), frame.ToCoordY(p.LocationY)}; };

    std::vector<dbo::TDboPart*> parts;
    std::vector<dbo::TDboHierarchicalBlock*> blocks;
    for (int i = 0; i < page.PartsAndBlocks->Count(); ++i) {
        dbo::TDboObject* o = page.PartsAndBlocks->GetParts(i);
        if (auto* part = dynamic_cast<dbo::TDboPart*>(o)) parts.push_back(part);
        else if (auto* block = dynamic_cast<dbo::TDboHierarchicalBlock*>(o)) blocks.push_back(block);
    }
    std::vector<ISch_Component*> components;
    for (auto* c : CollectObjects<ISch_Component>(sheet, {eSchComponent}))
        if (c->GetState_ComponentKind() != eComponentKind_Graphical) components.push_back(c);  // not a title block
    auto symbols = CollectObjects<ISch_SheetSymbol>(sheet, {eSheetSymbol});
    EXPECT_EQ(components.size(), parts.size()) << "components";
    EXPECT_EQ(symbols.size(), blocks.size()) << "sheet symbols";
    tally.parts += static_cast<int>(parts.size());
    tally.blocks += static_cast<int>(blocks.size());
    if (components.size() != parts.size() || symbols.size() != blocks.size()) {
        ++tally.partFaults;
        return;
    }

    for (size_t i = 0; i < parts.size(); ++i) {
        dbo::TDboPart& part = *parts[i];
        ISch_Component* c = components[i];
        std::string name = part.SrcPkg;
        bench.design.GetCompName(name, part.SrcPkg, PartLibrary(bench.design, part));
        const bool same = c->GetState_SchDesignator()->GetState_Text() == part.DesignatorStr &&
                          Comment(c) == part.GetValue() &&
                          platform::SameTextNoCase(c->GetState_LibReference(), name) &&
                          c->GetState_CurrentPartId() == part.PartNo + 1;
        if (!same && tally.partFaults++ < 10)
            ADD_FAILURE() << "part " << part.DesignatorStr << " '" << part.GetValue() << "' " << name << " part "
                          << part.PartNo + 1 << " became " << c->GetState_SchDesignator()->GetState_Text() << " '"
                          << Comment(c) << "' " << c->GetState_LibReference()
                          << " part " << c->GetState_CurrentPartId();
        const int32_t shownPart = c->GetState_CurrentPartId(), shownMode = c->GetState_DisplayMode();
        placedPins.emplace(Shown{c->GetState_LibReference(), shownPart, shownMode}, PinSet(c, shownPart, shownMode));

        // The pins of the shown part and mode, in the order of the view, against Capture's places.
        std::vector<ISch_Pin*> pins;
        for (auto* pin : CollectObjects<ISch_Pin>(c, {ePin}))
            if (pin->GetState_OwnerPartId() == c->GetState_CurrentPartId() &&
                pin->GetState_OwnerPartDisplayMode() == c->GetState_DisplayMode())
                pins.push_back(pin);
        if (pins.empty() && !HasDrawing(bench.design, name, part.PartNo)) {
            ++tally.undrawn;  // the file's cache lacks the part's view: Capture's pins have no place here
            continue;
        }
        if (static_cast<int>(pins.size()) != part.PinProps.Count()) {
            if (tally.pinFaults++ < 10)
                ADD_FAILURE() << "part " << part.DesignatorStr << " has " << pins.size() << " pins, Capture "
                              << part.PinProps.Count();
            continue;
        }
        const std::pair<int, int> orientation{part.GetRotation(), part.GetMirror()};
        std::set<int32_t> sides;
        for (auto* pin : pins) sides.insert(pin->GetState_Orientation());
        if (sides.size() == 4) ++tally.fourSidedByOrientation[orientation];
        for (int k = 0; k < part.PinProps.Count(); ++k) {
            ++tally.pins;
            ++tally.pinsByOrientation[orientation];
            Coord got = impl::PinHotSpot(*impl::CoreOf(pins[static_cast<size_t>(k)]));
            Coord want = at(*part.PinProps.GetPinProps(k));
            if (got != want && tally.pinFaults++ < 10)
                ADD_FAILURE() << "pin " << k << " of " << part.DesignatorStr << " (rotation " << part.GetRotation()
                              << ", mirror " << part.GetMirror() << ") at " << Point(got) << ", Capture " << Point(want);
        }
    }

    for (size_t j = 0; j < blocks.size(); ++j) {
        dbo::TDboHierarchicalBlock& block = *blocks[j];
        auto entries = CollectObjects<ISch_SheetEntry>(symbols[j], {eSheetEntry});
        if (static_cast<int>(entries.size()) != block.PinProps.Count()) {
            if (tally.entryFaults++ < 10)
                ADD_FAILURE() << "block " << block.RefStr << " has " << entries.size() << " entries, Capture "
                              << block.PinProps.Count();
            continue;
        }
        for (size_t k = 0; k < entries.size(); ++k) {
            ++tally.entries;
            Coord got = entries[k]->GetState_Location();
            Coord want = at(*block.PinProps.GetPinProps(static_cast<int>(k)));
            if (got != want && tally.entryFaults++ < 10)
                ADD_FAILURE() << "entry " << entries[k]->GetState_Name() << " of " << block.RefStr << " (rotation "
                              << block.GetRotation() << ", mirror " << block.GetMirror() << ") at " << Point(got)
                              << ", Capture " << Point(want);
        }
    }
}

SheetLinks LinksOf(ISch_Document* sheet) {
    SheetLinks links;
    for (auto* port : CollectObjects<ISch_Port>(sheet, {ePort})) links.ports.insert(port->GetState_Name());
    for (auto* symbol : CollectObjects<ISch_SheetSymbol>(sheet, {eSheetSymbol})) {
        SheetLinks::Symbol s{symbol->GetState_SheetName()->GetState_Text(), symbol->GetState_SheetFileName()->GetState_Text(),
                             {}};
        for (auto* entry : CollectObjects<ISch_SheetEntry>(symbol, {eSheetEntry})) s.entries.insert(entry->GetState_Name());
        links.symbols.push_back(std::move(s));
    }
    return links;
}

}  // namespace

TEST(PartsCorpus, EveryPartAndBlockWithItsPins) {
    ORCADX_REQUIRE_CORPUS();
    Tally tally;
    int designs = 0, hierarchical = 0;
    for (const auto& file : CorpusFiles({".dsn"})) {
        SCOPED_TRACE(file.string());
        PageBench bench("corpus_parts", file);
        importer::TProcessHierarchy().Run(bench.design);
        LogSection log;
        bool templates = false;
        bench.libraryName = importer::ImportLibrary(bench.app, bench.design, &bench.options, nullptr, 0, &log,
                                                    bench.folder.string(), nullptr, false, templates);
        std::map<Shown, PinNames> placedPins;
        std::map<std::string, SheetLinks> sheets;  // by document file name
        for (auto& [view, page] : bench.Pages()) {
            SCOPED_TRACE(view + "/" + page->PageName);
            ISch_Document* sheet = bench.Import(view, *page, log);
            ASSERT_NE(sheet, nullptr);
            CheckPage(bench, *page, sheet, tally, placedPins);
            sheets[std::filesystem::path(sheet->GetState_DocumentName()).filename().string()] = LinksOf(sheet);
            CloseServerDocument(bench.app, sheet);
            ++tally.pages;
        }
        EXPECT_EQ(log.AllMessages(kLogError), file.filename() == "P1_Olteanu_Rares.dsn" ? SampleTemplatePinErrors()
                                                                                     : std::vector<std::string>{});
        ++designs;

        // Every placed component stands in the library with the same pins.
        if (!placedPins.empty()) {
            ISch_Lib* library = dynamic_cast<ISch_Lib*>(bench.app.SchDocumentOf(bench.app.OpenDocumentFile(bench.libraryName)));
            ASSERT_NE(library, nullptr);
            for (auto& [shown, pins] : placedPins) {
                auto& [name, part, mode] = shown;
                ISch_Component* own = library->GetState_SchComponentByLibRef(name);
                if (!own) {
                    ADD_FAILURE() << name << " is not in the library";
                    continue;
                }
                EXPECT_EQ(PinSet(own, part, mode), pins) << name << " part " << part << " mode " << mode;
            }
        }

        // Sheet symbols name documents of the import, and their entries are the ports of those.
        if (bench.design.ViewCount() > 1) ++hierarchical;
        for (auto& [document, links] : sheets) {
            for (const auto& symbol : links.symbols) {
                ++tally.symbolsChecked;
                std::set<std::string> ports;
                std::string rest = symbol.files;
                bool named = !rest.empty();
                for (size_t cut; !rest.empty(); rest = cut == std::string::npos ? "" : rest.substr(cut + 1)) {
                    cut = rest.find(';');
                    std::string file = rest.substr(0, cut);
                    auto it = sheets.find(file);
                    if (it == sheets.end()) {
                        named = false;
                        continue;
                    }
                    ports.insert(it->second.ports.begin(), it->second.ports.end());
                }
                if ((!named || ports != symbol.entries) && tally.linkFaults++ < 10) {
                    std::string missing, extra;
                    for (const auto& e : symbol.entries)
                        if (!ports.count(e)) missing += " " + e;
                    for (const auto& p : ports)
                        if (!symbol.entries.count(p)) extra += " " + p;
                    ADD_FAILURE() << document << ": symbol " << symbol.name << " names '" << symbol.files << "'"
                                  << (named ? "" : " (not all made)") << "; entries without port:" << missing
                                  << "; ports without entry:" << extra;
                }
            }
        }
    }
    std::cout << "[ parts    ] " << designs << " designs (" << hierarchical << " with several views), " << tally.pages
              << " pages, " << tally.parts << " parts with " << tally.pins << " pins, " << tally.blocks
              << " blocks with " << tally.entries << " entries, " << tally.symbolsChecked << " symbols linked; "
              << tally.undrawn << " parts without a view in their file\n";
    EXPECT_LE(tally.undrawn, 1);
    // Every rotation, mirrored and not, is among them.
    for (int rotation = 0; rotation < 4; ++rotation)
        for (int mirror = 0; mirror < 2; ++mirror) {
            std::cout << "[ parts    ] rotation " << rotation << ", mirror " << mirror << ": "
                      << tally.pinsByOrientation[{rotation, mirror}] << " pins, "
                      << tally.fourSidedByOrientation[{rotation, mirror}] << " parts with pins on four sides\n";
            EXPECT_GT((tally.pinsByOrientation[{rotation, mirror}]), 50);
        }
    EXPECT_EQ(tally.partFaults, 0);
    EXPECT_EQ(tally.pinFaults, 0);
    EXPECT_EQ(tally.entryFaults, 0);
    EXPECT_EQ(tally.linkFaults, 0);
    EXPECT_GT(tally.pins, 20000);
    EXPECT_GT(tally.entries, 500);
}

}  // namespace orcadx::test
