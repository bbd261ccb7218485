// A design saved again loads back with every component, symbol and page, in every version that
// the save writes (the versions without size headers): components and symbols of one name from
// two libraries, and IEEE symbols inside views and symbols, which are read with a lead byte in
// front of each of their objects.
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSummary.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboViewObjects.h"

using namespace orcadx;
using namespace orcadx::dbo;
namespace fs = std::filesystem;

namespace {

// The versions that a design can be saved in: pages have no writer with size headers.
constexpr uint32_t kSavedVersions[] = {0x00000001, 0x00010001, 0x00000002, 0x00010002};

const char kLibA[] = "C:\\LIBS\\A.OLB";
const char kLibB[] = "C:\\LIBS\\B.OLB";

// Library objects of a graphic list, IEEE symbols with what they hold: "line,ieee(line,line)".
std::string GraphicsText(const TDboGraphicInstanceList& list) {
    std::string out;
    for (int i = 0; i < list.Count(); ++i) {
        if (!out.empty()) out += ",";
        const TDboObject* o = list.GetInstances(i);
        if (auto* ieee = dynamic_cast<const TDboLibIEEE*>(o))
            out += fmt::format("ieee {}({})", ieee->IEEESym, GraphicsText(ieee->Graphics));
        else
            out += o ? o->ClassName() : "null";
    }
    return out;
}

// The name that a load gave the element at `dup` of its cache item, without its "_Dup" number.
std::string BaseName(const std::string& name, int dup) {
    std::string suffix = fmt::format("_Dup{}", dup);
    if (dup > 0 && name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
        return name.substr(0, name.size() - suffix.size());
    return name;
}

// One line per component, symbol and page: what must survive a save. Components and symbols go by
// their names without the "_Dup" number and the library they came from, which is how pages find
// them (GetCompName): the numbers among the elements of one name may change when components that
// a design held in its storage "Packages" join the cache on saving.
std::vector<std::string> Describe(const TDboDesign& d) {
    std::vector<std::string> out;
    for (int i = 0; i < d.ComponentCount(); ++i) {
        const TDboLibComponent* c = d.GetComponent(i);
        const TDboLibPartInfo& info = *c->PartInfo;
        std::string base = BaseName(info.CompName, info.DuplicateIndex);
        std::string found = "none";
        d.GetCompName(found, base, info.LibPath);
        std::vector<std::string> packages;
        for (int p = 0; p < c->Packages.Count(); ++p) {
            const TDboLibPackage* package = c->Packages.GetPackages(p);
            std::string text = fmt::format("package {} from {}", package->Name, package->LibPath);
            for (int v = 0; v < package->Views.Count(); ++v) {
                const TDboLibView* view = package->Views.GetViews(v);
                text += fmt::format(" view {} [{}] {} pins", view->ViewName, GraphicsText(*view->Graphics),
                                    view->Pins->Count());
            }
            packages.push_back(text);
        }
        std::sort(packages.begin(), packages.end());
        std::string line = fmt::format("component {} from {}, found as itself: {}, {} parts", base, info.LibPath,
                                       found == info.CompName, info.Parts.Count());
        for (const auto& text : packages) line += " | " + text;
        out.push_back(line);
    }
    for (int i = 0; i < d.SymbolCount(); ++i) {
        const TDboLibSymbol* s = d.GetSymbol(i);
        out.push_back(fmt::format("symbol {} {} from {} [{}]", s->ClassName(), BaseName(s->ViewName, s->DuplicateIndex),
                                  s->LibPathStr, GraphicsText(*s->Graphics)));
    }
    for (int v = 0; v < d.ViewCount(); ++v) {
        const TDboSchematics* view = d.GetViews(v);
        for (int p = 0; p < view->PageCount(); ++p) {
            PageCounts c = CountPageObjects(*view->GetPages(p));
            out.push_back(fmt::format("page {}/{}: {} wires, {} parts, {} ports, {} powers, {} graphics", view->ViewName,
                                      view->GetPages(p)->PageName, c.wires, c.parts, c.ports, c.powers, c.graphics));
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

// The full names with their libraries, "_Dup" numbers included.
std::vector<std::string> Names(const TDboDesign& d) {
    std::vector<std::string> out;
    for (int i = 0; i < d.ComponentCount(); ++i)
        out.push_back(d.GetComponent(i)->PartInfo->CompName + " " + d.GetComponent(i)->PartInfo->LibPath);
    for (int i = 0; i < d.SymbolCount(); ++i) out.push_back(d.GetSymbol(i)->ViewName + " " + d.GetSymbol(i)->LibPathStr);
    std::sort(out.begin(), out.end());
    return out;
}

std::unique_ptr<TDboLibLine> Line(TDboBaseDesign* d, int x) {
    auto line = Make<TDboLibLine>(d);
    line->EndX = x;
    return line;
}

// An IEEE symbol of two lines.
std::unique_ptr<TDboLibIEEE> Ieee(TDboBaseDesign* d, const std::string& name) {
    auto ieee = Make<TDboLibIEEE>(d);
    ieee->IEEESym = name;
    ieee->LocationX = 3;
    ieee->Graphics.Add(Line(d, 1));
    ieee->Graphics.Add(Line(d, 2));
    return ieee;
}

// A component as a load makes it: `dup` above 0 for the second element of a cache item, whose
// name then carries "_Dup" and the number.
std::unique_ptr<TDboLibComponent> Component(TDboBaseDesign* d, const std::string& name, const char* lib, int dup,
                                            bool withIeee) {
    auto c = Make<TDboLibComponent>(d);
    c->PartInfo->CompName = dup > 0 ? fmt::format("{}_Dup{}", name, dup) : name;
    c->PartInfo->DuplicateIndex = dup;
    c->PartInfo->LibPath = lib;
    auto part = Make<TDboLibPart>(d);
    part->PkgName = "P" + name;
    c->PartInfo->AddPart(std::move(part));
    auto package = Make<TDboLibPackage>(d);
    package->Name = "P" + name;
    package->LibPath = lib;
    auto view = Make<TDboLibView>(d);
    view->ViewName = "P" + name + ".Normal";
    view->LibPathStr = lib;
    view->Graphics->Add(Line(d, 5));
    if (withIeee) view->Graphics->Add(Ieee(d, "Clock"));
    package->AddView(std::move(view));
    c->Packages.Add(std::move(package));
    return c;
}

std::unique_ptr<TDboLibSymbol> Symbol(TDboBaseDesign* d, int id, const std::string& name, const char* lib, int dup,
                                      bool withIeee) {
    auto s = CreateSymbol(d, id);
    s->ViewName = dup > 0 ? fmt::format("{}_Dup{}", name, dup) : name;
    s->DuplicateIndex = dup;
    s->LibPathStr = lib;
    s->Graphics->Add(Line(d, 7));
    if (withIeee) s->Graphics->Add(Ieee(d, "Open"));
    return s;
}

// The lines of `a` that `b` lacks, and of `b` that `a` lacks: empty when they hold the same.
std::string Differences(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    std::vector<std::string> gone, added;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(gone));
    std::set_difference(b.begin(), b.end(), a.begin(), a.end(), std::back_inserter(added));
    std::string out;
    for (const auto& line : gone) out += "\n  lost: " + line;
    for (const auto& line : added) out += "\n  new:  " + line;
    return out;
}

// Saves `d` as `file` in `version`, and loads it again.
std::unique_ptr<TDboDesign> SaveAndLoad(TDboDesign& d, const fs::path& file, uint32_t version) {
    d.Version = version;
    d.FileName = file.string();
    d.Save();
    auto back = std::make_unique<TDboDesign>(file.string(), nullptr, 0, nullptr);
    back->Load(false);
    return back;
}

}  // namespace

TEST(DesignRoundTrip, NamesFromTwoLibrariesAndIeeeSymbolsComeBack) {
    auto dir = test::ScratchDir("round-trip");
    for (uint32_t version : kSavedVersions) {
        SCOPED_TRACE(fmt::format("version {:08X}", version));
        TDboDesign d((dir / "made.DSN").string(), nullptr, 0, nullptr);
        d.AddComponent(Component(&d, "X", kLibA, 0, false));
        d.AddComponent(Component(&d, "X", kLibB, 1, true));
        d.AddComponent(Component(&d, "Y", kLibA, 0, true));
        d.AddSymbol(Symbol(&d, kIdPowerSymbol, "GND", kLibA, 0, false));
        d.AddSymbol(Symbol(&d, kIdPowerSymbol, "GND", kLibB, 1, true));
        d.AddSymbol(Symbol(&d, kIdOffPageSymbol, "OFFPAGE", kLibA, 0, false));
        auto view = Make<TDboSchematics>(&d);
        view->ViewName = "SCHEMATIC1";
        for (const char* name : {"PAGE1", "PAGE2"}) {
            auto page = Make<TDboPage>(&d);
            page->PageName = name;
            view->AddPage(std::move(page));
        }
        d.AddView(std::move(view));
        const std::vector<std::string> made = Describe(d);
        ASSERT_EQ(made.size(), 8u);

        const std::vector<std::string> names = Names(d);
        std::unique_ptr<TDboDesign> back;
        ASSERT_NO_THROW(back = SaveAndLoad(d, dir / "once.DSN", version));
        EXPECT_EQ(Differences(made, Describe(*back)), "");
        // With no components from a storage "Packages", each element keeps its place and number.
        EXPECT_EQ(Names(*back), names);
        // Saved again as loaded: the same once more.
        std::unique_ptr<TDboDesign> twice;
        ASSERT_NO_THROW(twice = SaveAndLoad(*back, dir / "twice.DSN", version));
        EXPECT_EQ(Differences(made, Describe(*twice)), "");
    }
}

TEST(DesignRoundTrip, EverySampleDesignSavedAgainLoadsWhole) {
    ORCADX_REQUIRE_CORPUS();
    auto dir = test::ScratchDir("round-trip-corpus");
    int compared = 0;
    for (const auto& file : test::CorpusFiles({".dsn"})) {
        TDboDesign original(file.string(), nullptr, 0, nullptr);
        ASSERT_NO_THROW(original.Load(false)) << file;
        const std::vector<std::string> before = Describe(original);
        for (uint32_t version : kSavedVersions) {
            SCOPED_TRACE(fmt::format("{} as {:08X}", file.string(), version));
            TDboDesign d(file.string(), nullptr, 0, nullptr);
            d.Load(false);
            std::unique_ptr<TDboDesign> back;
            ASSERT_NO_THROW(back = SaveAndLoad(d, dir / "again.DSN", version));
            EXPECT_EQ(Differences(before, Describe(*back)), "");
            ++compared;
        }
    }
    EXPECT_GT(compared, 0);
}
