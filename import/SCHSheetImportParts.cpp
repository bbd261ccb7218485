// The page importer's placed objects: parts become components of the design's host library, placed,
// turned and mirrored as Capture shows them; hierarchical blocks become sheet symbols with their
// entries, or bundle blocks.
#include <algorithm>

#include "dbo/DboDesign.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "export/Manage_PageNames.h"
#include "import/ExactStrings.h"
#include "import/HostIteration.h"
#include "import/SCHSheetImport.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"
#include "pspice/PSpiceTemplateImport.h"

namespace orcadx::importer {

namespace {

// A block whose UnknownW_3 holds this bundles several connections.
constexpr uint16_t kBundleBlockKind = 34;

// Colours of sheet symbols and entries of the default colour under the native import rules.
constexpr int32_t kNativeSymbolColor = 32768;
constexpr int32_t kNativeEntryTextColor = 8404992;

// The library that names a part's component, by the file's format version: newer files name it by
// LibNameIdx, some older ones by SrcLibIdx, the oldest not at all (the package name stands in).
std::string PartLibrary(const dbo::TDboDesign* design, const dbo::TDboPart& part) {
    const uint32_t version = design ? design->Version : 0;
    if (version >= 0x00010003) return part.GetLibName();
    if (version == 2 || version == 0x00010001 || version == 0x00010002) return part.GetSrcLib();
    return part.SrcPkg;
}

// Mirror values above 3 count as the plain mirror.
int MirrorValue(const dbo::TDboObject& object) {
    const int mirror = object.GetMirror();
    return mirror > 3 ? 1 : mirror;
}

}  // namespace

// ----- Parts -------------------------------------------------------------------------------------

host::ISch_GraphicalObject* TSCHPageImporter::ImportPart(dbo::TDboPart& part) {
    if (!Document) return nullptr;
    AddExactProp(part, "Part Reference", part.DesignatorStr);
    AddExactProp(part, "Value", part.GetValue());
    std::string footprint;
    part.GetPropertyValueByName(footprint, "PCB Footprint");

    host::ISch_Component* component =
        LoadPlacedComponent(LibraryName, CompNameFor(part.SrcPkg, PartLibrary(Design, part)));
    if (!component) return nullptr;
    Document->AddSchObject(component);  // the document owns it from here on
    component->SetState_CurrentPartId(part.PartNo + 1);
    component->SetState_HighFlag(part.GetHighFlag());
    // The display mode comes before the colour: only the primitives shown are painted.
    component->SetState_DisplayMode(part.ViewName.find(".Convert") != std::string::npos ? 1 : 0);
    const int code = part.GetColor();
    PaintPrimitives(component, IsDefaultColor(code) ? 0xFF0B00 : MapColor(code), false);

    if (!footprint.empty()) {
        bool present = false;
        for (auto* model : CollectObjects<host::ISch_Implementation>(component, {host::eImplementation}))
            if (platform::SameTextNoCase(model->GetState_ModelType(), "PCBLIB") &&
                platform::SameTextNoCase(model->GetState_ModelName(), footprint)) {
                present = true;
                break;
            }
        if (!present) {
            host::ISch_Implementation* model = component->AddImplementation();
            model->SetState_ModelType("PCBLIB");
            model->SetState_ModelName(footprint);
        }
    }

    int32_t x = ToCoordX(part.LocationX), y = ToCoordY(part.LocationY);
    component->MoveToXY(x, y);
    const host::CoordRect bounds = component->GetState_BoundingRectangle();
    TurnAndMirror(component, part.GetRotation(), MirrorValue(part));
    RemoveParameter(component, "Value");
    ImportObjectProperties(&part, component);
    ImportPartSimulation(part, component);

    const int32_t partId = component->GetState_CurrentPartId();
    int32_t w = 0, h = 0;
    ExtentsOf(component, bounds, partId == 1 ? std::string() : std::to_string(partId - 1), w, h);
    AnchorCorrection(component, w, h, x, y);
    component->MoveToXY(x, y);
    RemoveExtentParameters(component);
    component->Placed();
    CollectNoConnects(part.PinProps);
    return component;
}

void TSCHPageImporter::ImportPartSimulation(dbo::TDboPart& part, host::ISch_Component* component) {
    if (pspice::ImportPartSimulation(Host, component, part, ModelManager, Log)) TemplatesImported = true;
}

// ----- Hierarchical blocks -----------------------------------------------------------------------

bool TSCHPageImporter::IsBundleBlock(const dbo::TDboHierarchicalBlock& block) {
    return block.UnknownW_3 == kBundleBlockKind;
}

void TSCHPageImporter::BlockSize(dbo::TDboHierarchicalBlock& block, int32_t& width, int32_t& height) {
    width = ScaleCoord(block.GetWidth());
    height = ScaleCoord(block.GetHeight());
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportSheetSymbol(dbo::TDboHierarchicalBlock& block) {
    AddExactProp(block, "Reference", block.RefStr);
    AddExactProp(block, "Value", PageNames ? PageNames->GetViewContents(block.GetImplementation()) : std::string());
    auto* symbol = CreateObject<host::ISch_SheetSymbol>(host::eSheetSymbol);
    if (!symbol) return nullptr;
    int32_t w = 0, h = 0;
    BlockSize(block, w, h);
    if (block.GetRotation() & 1) std::swap(w, h);
    const host::Coord location{ToCoordX(block.LocationX), ToCoordY(block.LocationY)};
    symbol->SetState_Location(location);
    symbol->SetState_XSize(w);
    symbol->SetState_YSize(h);
    if (MirrorValue(block) != 0) {
        symbol->Mirror(location);
        symbol->MoveByXY(symbol->GetState_XSize(), 0);
    }
    if (platform::UseNativeImportRules()) {
        symbol->SetState_LineWidth(0);
        const int code = block.GetColor();
        symbol->SetState_Color(IsDefaultColor(code) ? kNativeSymbolColor : MapColor(code));
    }
    CollectNoConnects(block.PinProps);
    return symbol;
}

TSCHPageImporter::EdgePlace TSCHPageImporter::EdgePosition(dbo::TDboHierarchicalBlock& block, dbo::TDboPin& pin,
                                                           bool bundle) {
    int32_t w = 0, h = 0;
    BlockSize(block, w, h);
    const int64_t ox = ScaleCoord(pin.OffsetX), oy = ScaleCoord(pin.OffsetY);
    const int64_t a = w - ox, b = h - oy;
    const int rotation = block.GetRotation() & 3;
    const int mirror = MirrorValue(block);
    // The pin's place on the turned and mirrored block: p along its top edge, q down its left edge.
    static constexpr int kTable[4][4][2] = {
        // (p, q) as 0 ox, 1 oy, 2 a, 3 b; by rotation, then mirror value
        {{0, 1}, {2, 1}, {0, 3}, {3, 2}},
        {{1, 2}, {1, 0}, {3, 2}, {3, 0}},
        {{2, 3}, {0, 3}, {2, 1}, {0, 1}},
        {{3, 0}, {3, 2}, {1, 0}, {3, 0}},
    };
    const int64_t terms[4] = {ox, oy, a, b};
    int64_t p = terms[kTable[rotation][mirror][0]];
    int64_t q = terms[kTable[rotation][mirror][1]];
    // A bundle block keeps the pin's offset across at a half turn.
    if (bundle && rotation == 2 && mirror == 0) p = ox, q = b;
    const int64_t span = (rotation & 1) ? h : w;
    EdgePlace place;
    if (p == 0) place.Side = 0;
    else if (p == span) place.Side = 1;
    else place.Side = q != 0 ? 3 : 2;
    place.DistanceFromTop = static_cast<int32_t>(place.Side <= 1 ? q : p);
    return place;
}

host::ISch_SheetEntry* TSCHPageImporter::ImportSheetEntry(dbo::TDboHierarchicalBlock& block, dbo::TDboPin& pin) {
    auto* entry = CreateObject<host::ISch_SheetEntry>(host::eSheetEntry);
    if (!entry) return nullptr;
    entry->SetState_Name(NormaliseBusName(pin.PinName));
    const int32_t ioType = MapPortType(pin.PinType);
    entry->SetState_IOType(ioType);
    const int code = pin.GetColor();
    if (!IsDefaultColor(code)) {
        entry->SetState_Color(MapColor(code));
        entry->SetState_AreaColor(MapColor(code));
    } else if (platform::UseNativeImportRules()) {
        entry->SetState_Color(kNativeSymbolColor);
        entry->SetState_AreaColor(kNativeSymbolColor);
        entry->SetState_TextColor(kNativeEntryTextColor);
        entry->SetState_FontId(DefaultFaceFont(6));
    }
    const EdgePlace place = EdgePosition(block, pin);
    entry->SetState_Side(place.Side);
    // The arrow of the entry by its side and direction.
    static constexpr int32_t kStyles[4][4] = {{0, 1, 2, 3}, {0, 2, 1, 3}, {4, 5, 6, 7}, {4, 6, 5, 7}};
    entry->SetState_Style(kStyles[place.Side][ioType & 3]);
    entry->SetState_DistanceFromTop(place.DistanceFromTop);
    return entry;
}

void TSCHPageImporter::ImportSheetEntries(dbo::TDboHierarchicalBlock& block, host::ISch_SheetSymbol* symbol) {
    if (!symbol) return;
    dbo::TDboPinList* pins = block.GetPins();
    for (int i = 0; pins && i < pins->Count(); ++i)
        if (dbo::TDboPin* pin = pins->GetPins(i))
            if (host::ISch_SheetEntry* entry = ImportSheetEntry(block, *pin)) symbol->AddSchObject(entry);
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportBundleBlock(dbo::TDboHierarchicalBlock& block) {
    auto* bundle = CreateObject<host::ISch_BundleBlock>(host::eBundleBlock);
    if (!bundle) return nullptr;
    bundle->SetState_Name(block.RefStr);
    int32_t w = 0, h = 0;
    BlockSize(block, w, h);
    if (block.GetRotation() & 1) std::swap(w, h);
    bundle->SetState_XSize(w);
    bundle->SetState_YSize(h);
    const host::Coord location{ToCoordX(block.LocationX), ToCoordY(block.LocationY)};
    bundle->SetState_Location(location);
    if (MirrorValue(block) != 0) bundle->Mirror(location);
    const int code = block.GetColor();
    if (!IsDefaultColor(code)) bundle->SetState_Color(MapColor(code));
    return bundle;
}

void TSCHPageImporter::ImportBundleEntries(dbo::TDboHierarchicalBlock& block, host::ISch_BundleBlock* bundle) {
    if (!bundle) return;
    dbo::TDboPinList* pins = block.GetPins();
    for (int i = 0; pins && i < pins->Count(); ++i) {
        dbo::TDboPin* pin = pins->GetPins(i);
        if (!pin) continue;
        // The pin named like the block carries the bundle itself.
        if (platform::SameTextNoCase(pin->PinName, block.RefStr)) bundle->SetState_PrimaryPosition(ScaleCoord(pin->OffsetY));
        else ImportBundleEntry(bundle->GetState_Edge(), block, *pin);
    }
}

void TSCHPageImporter::ImportBundleEntry(host::ISch_BundleEdge* entry, dbo::TDboHierarchicalBlock& block,
                                         dbo::TDboPin& pin) {
    if (!entry) return;
    const EdgePlace place = EdgePosition(block, pin, true);
    entry->SetState_Side(place.Side);
    entry->SetState_DistanceFromTop(place.DistanceFromTop);
    entry->SetState_Name(NormaliseBusName(pin.PinName));
}

}  // namespace orcadx::importer
