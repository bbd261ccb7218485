// The page importer: the page as a whole, wires, buses, net names, junctions, bus entries, title
// blocks and the finishing of the sheet. Ports, power objects and off-page connectors are in
// SCHSheetImportPorts.cpp.
#include "import/SCHSheetImport.h"

#include <cmath>
#include <filesystem>

#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "import/HostIteration.h"
#include "import/ProcessJunctions.h"
#include "platform/IniFile.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"
#include "platform/TextFiles.h"

namespace orcadx::importer {

using platform::FileNameOf;

namespace {

// `value` rounded to a multiple of `grid` on its absolute value, keeping its sign: up or down.
int32_t RoundToGrid(int32_t value, int32_t grid, bool up) {
    if (grid <= 0) return value;
    int64_t magnitude = std::llabs(static_cast<int64_t>(value));
    int64_t steps = magnitude / grid + (up && magnitude % grid != 0 ? 1 : 0);
    int64_t rounded = steps * grid;
    return static_cast<int32_t>(value < 0 ? -rounded : rounded);
}

uint64_t PointKey(host::Coord p) { return (uint64_t(uint32_t(p.X)) << 32) | uint32_t(p.Y); }

}  // namespace

std::string NormaliseBusName(const std::string& name) {
    size_t open = name.find('[');
    if (open == std::string::npos) return name;
    size_t close = name.find(']', open);
    if (close == std::string::npos) return name;
    std::string inside = name.substr(open, close - open);
    std::string out;
    for (char separator : {':', '-'}) {
        out.clear();
        for (char c : inside) {
            if (c == separator) out += "..";
            else out += c;
        }
        inside = out;
    }
    return name.substr(0, open) + inside + name.substr(close);
}

bool ReadImportLockedJunctions(host::IHostApplication& host) {
    platform::IniFile ini((std::filesystem::path(host.GetSettingsFolder()) / "Penwork.Ini").string());
    std::string text = ini.ReadString("OrCAD Translator", "ImportLockedJunctions", "0");
    return platform::SameTextNoCase(text, "true") || TextToInt(text, 0) != 0;
}

// ----- The importer ------------------------------------------------------------------------------

TSCHPageImporter::TSCHPageImporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                   const std::string& libraryName, host::IOrcadImporterOption* options,
                                   host::ILogSection* log, dbo::TDboPage* page, host::ISch_Document* document,
                                   exporter::TPageNameManager* pageNames)
    : TSCHCommonImporter(host, design, options, log), LibraryName(libraryName), Page(page), PageNames(pageNames) {
    Document = document;
    Container = document;
    ImportLockedJunctions = ReadImportLockedJunctions(host);
    std::string file = document ? FileNameOf(document->GetState_DocumentName()) : std::string();
    Log = platform::AddSubSection(log, "Importing Sheet - " + file);
}

TSCHPageImporter::SheetFrame TSCHPageImporter::Frame() {
    SheetFrame frame;
    int32_t margin = 0, height = 0;
    if (Document->GetState_UseCustomSheet()) {
        margin = Document->GetState_CustomMargin();
        height = Document->GetState_CustomY();
    } else if (host::ISch_Preferences* preferences = Server().GetPreferences()) {
        int32_t style = Document->GetState_SheetStyle();
        margin = preferences->GetState_SheetStyle_MarginWidth(style);
        height = preferences->GetState_SheetStyle_YSize(style);
    }
    int32_t grid = Document->GetState_SnapGridSize();
    frame.Left = RoundToGrid(margin, grid, true);
    frame.Top = RoundToGrid(height - margin, grid, false);
    return frame;
}

int32_t TSCHPageImporter::ToCoordX(int32_t value) {
    if (!Document) return ScaleCoord(static_cast<int64_t>(value) + 20);
    return SaturateCoord(static_cast<int64_t>(ScaleCoord(value)) + Frame().Left);
}

int32_t TSCHPageImporter::ToCoordY(int32_t value) {
    if (!Document) return ScaleCoord(value);
    return SaturateCoord(static_cast<int64_t>(Frame().Top) - ScaleCoord(value));
}

std::string TSCHPageImporter::PointText(host::Coord location) {
    return "(" + Document->CoordToDisplayText(location.X) + "," + Document->CoordToDisplayText(location.Y) + ")";
}

void TSCHPageImporter::RunImport() {
    if (!Page) return;
    for (dbo::TDboStorableList* list :
         {static_cast<dbo::TDboStorableList*>(Page->TitleBlocks.get()), static_cast<dbo::TDboStorableList*>(Page->WiresAndBuses.get()),
          static_cast<dbo::TDboStorableList*>(Page->PartsAndBlocks.get()), static_cast<dbo::TDboStorableList*>(Page->Ports.get()),
          static_cast<dbo::TDboStorableList*>(Page->Powers.get()), static_cast<dbo::TDboStorableList*>(Page->OffPages.get())})
        if (list) ImportList(*list);
    ProcessJunctions(Host, Document, Options, Log);
    for (dbo::TDboStorableList* list :
         {static_cast<dbo::TDboStorableList*>(Page->DRCMarks.get()), static_cast<dbo::TDboStorableList*>(Page->BusEntries.get()),
          static_cast<dbo::TDboStorableList*>(Page->BookMarks.get())})
        if (list) ImportList(*list);
    if (Page->Graphics) {
        DrawingOwner = Page;
        ImportGraphics(*Page->Graphics, Container);
        DrawingOwner = nullptr;
    }
    FinishPage();
}

void TSCHPageImporter::ImportList(dbo::TDboStorableList& list) {
    if (!Document) return;
    const bool native = platform::UseNativeImportRules();
    for (int i = 0; i < list.Count(); ++i) {
        dbo::TDboStorableObject* item = list.GetItems(i);
        host::ISch_GraphicalObject* made = nullptr;
        switch (item->ID) {
            case dbo::kIdWire:
                if (auto* wire = dynamic_cast<dbo::TDboWireBus*>(item)) made = ImportWire(*wire);
                break;
            case dbo::kIdBus:
                if (auto* bus = dynamic_cast<dbo::TDboWireBus*>(item)) made = ImportBus(*bus);
                break;
            case dbo::kIdPort:
                if (auto* port = dynamic_cast<dbo::TDboPort*>(item))
                    made = native ? ImportPortAsComponent(*port) : ImportPort(*port);
                break;
            case dbo::kIdBusEntry:
                if (auto* entry = dynamic_cast<dbo::TDboBusEntry*>(item)) made = ImportBusEntry(*entry);
                break;
            case dbo::kIdPower:
                if (auto* power = dynamic_cast<dbo::TDboPower*>(item))
                    made = native ? ImportPowerAsComponent(*power) : ImportPower(*power);
                break;
            case dbo::kIdOffPage:
                if (auto* offPage = dynamic_cast<dbo::TDboOffPage*>(item)) {
                    if (native) made = ImportOffPageAsComponent(*offPage);
                    else if (Options && Options->GetOffPageAsPorts()) made = ImportOffPageAsPort(*offPage);
                    else made = ImportOffPage(*offPage);
                }
                break;
            case dbo::kIdTitleBlock:
                if (auto* titleBlock = dynamic_cast<dbo::TDboTitleBlock*>(item)) made = ImportTitleBlock(*titleBlock);
                break;
            case dbo::kIdDRCMark:
                if (auto* mark = dynamic_cast<dbo::TDboDRCMark*>(item)) made = ImportDRCMark(*mark);
                break;
            case dbo::kIdBookMark:
                if (auto* mark = dynamic_cast<dbo::TDboBookMark*>(item)) made = ImportBookMark(*mark);
                break;
            case dbo::kIdHierarchicalBlock:
                if (auto* block = dynamic_cast<dbo::TDboHierarchicalBlock*>(item))
                    made = IsBundleBlock(*block) ? ImportBundleBlock(*block) : ImportSheetSymbol(*block);
                break;
            case dbo::kIdPart:
                if (auto* part = dynamic_cast<dbo::TDboPart*>(item)) made = ImportPart(*part);
                break;
            default:
                break;
        }
        if (!made) continue;
        // A placed part stands in the document already.
        if (made->GetState_Container() != Document) Document->AddSchObject(made);
        if (native && item->ID == dbo::kIdOffPage)
            ImportOffPageLabels(static_cast<dbo::TDboOffPage&>(*item), dynamic_cast<host::ISch_Component*>(made));
        if (auto* block = dynamic_cast<dbo::TDboHierarchicalBlock*>(item)) {
            if (auto* bundle = dynamic_cast<host::ISch_BundleBlock*>(made)) ImportBundleEntries(*block, bundle);
            else ImportSheetEntries(*block, dynamic_cast<host::ISch_SheetSymbol*>(made));
            ImportObjectProperties(block, made);
        }
    }
    std::vector<host::ISch_GraphicalObject*> junctions;
    for (int i = 0; i < list.Count(); ++i)
        if (auto* wire = dynamic_cast<dbo::TDboWireBus*>(list.GetItems(i))) ImportJunctions(*wire, junctions);
    for (host::ISch_GraphicalObject* junction : junctions) Document->AddSchObject(junction);
}

// ----- Wires and buses ---------------------------------------------------------------------------

host::ISch_GraphicalObject* TSCHPageImporter::ImportWire(dbo::TDboWireBus& record) {
    auto* wire = CreateObject<host::ISch_Wire>(host::eWire);
    if (!wire) return nullptr;
    wire->SetState_LineWidth(1);
    wire->SetState_VertexCount(2);
    wire->SetState_Vertex(1, {ToCoordX(record.StartX), ToCoordY(record.StartY)});
    wire->SetState_Vertex(2, {ToCoordX(record.EndX), ToCoordY(record.EndY)});
    int code = record.GetColor();
    wire->SetState_Color(IsDefaultColor(code) ? 0x400080 : MapColor(code));
    ImportNetNames(record);
    return wire;
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportBus(dbo::TDboWireBus& record) {
    auto* bus = CreateObject<host::ISch_Bus>(host::eBus);
    if (!bus) return nullptr;
    bus->SetState_VertexCount(2);
    bus->SetState_Vertex(1, {ToCoordX(record.StartX), ToCoordY(record.StartY)});
    bus->SetState_Vertex(2, {ToCoordX(record.EndX), ToCoordY(record.EndY)});
    bus->SetState_LineWidth(2);
    int code = record.GetColor();
    bus->SetState_Color(IsDefaultColor(code) ? 0xFF0000 : MapColor(code));
    ImportNetNames(record);
    return bus;
}

void TSCHPageImporter::AddJunction(dbo::TDboWireBus& wire, host::Coord at,
                                   std::vector<host::ISch_GraphicalObject*>& list) {
    const bool bus = dynamic_cast<dbo::TDboBus*>(&wire) != nullptr;
    if (!junctionAt_[bus].insert(PointKey(at)).second) return;
    auto* junction = CreateObject<host::ISch_Junction>(host::eJunction);
    if (!junction) return;
    junction->SetState_Locked(true);
    junction->SetState_Size(bus ? 1 : 0);
    junction->SetState_Location(at);
    if (platform::UseNativeImportRules()) junction->SetState_Color(0xFF00FF);
    list.push_back(junction);
}

void TSCHPageImporter::ImportJunctions(dbo::TDboWireBus& wire, std::vector<host::ISch_GraphicalObject*>& list) {
    // Bit 1 marks a junction at the wire's end, bit 0 one at its start. Capture sets the start bit
    // on most junctions where no wire ends with the end bit, so both are placed, each point once.
    if (wire.Junction & 2) AddJunction(wire, {ToCoordX(wire.EndX), ToCoordY(wire.EndY)}, list);
    if (wire.Junction & 1) AddJunction(wire, {ToCoordX(wire.StartX), ToCoordY(wire.StartY)}, list);
}

void TSCHPageImporter::ImportNetNames(dbo::TDboWireBus& wire) {
    for (int i = 0; i < wire.Aliases.Count(); ++i) {
        dbo::TDboWireAlias* alias = wire.GetAliases(i);
        auto* label = CreateObject<host::ISch_NetLabel>(host::eNetLabel);
        if (!label) continue;
        // On the wire: clamped along a straight wire, else at the end nearer the alias.
        int32_t x, y;
        if (wire.StartX == wire.EndX) {
            x = wire.StartX;
            y = std::clamp(alias->LocationY, std::min(wire.StartY, wire.EndY), std::max(wire.StartY, wire.EndY));
        } else if (wire.StartY == wire.EndY) {
            y = wire.StartY;
            x = std::clamp(alias->LocationX, std::min(wire.StartX, wire.EndX), std::max(wire.StartX, wire.EndX));
        } else {
            auto distance = [&](int32_t px, int32_t py) {
                int64_t dx = int64_t(alias->LocationX) - px, dy = int64_t(alias->LocationY) - py;
                return dx * dx + dy * dy;
            };
            bool start = distance(wire.EndX, wire.EndY) > distance(wire.StartX, wire.StartY);
            x = start ? wire.StartX : wire.EndX;
            y = start ? wire.StartY : wire.EndY;
        }
        host::Coord at{ToCoordX(x), ToCoordY(y)};
        label->SetState_Location(at);
        int32_t fontId = ResolveFont(alias->FontID & 0xFFFF, dbo::TDboDefFontNetName, false);
        if (fontId >= 0) label->SetState_FontId(fontId);
        int rotation = alias->GetRotation() & 3;
        if (rotation) label->RotateBy90(at, rotation);
        label->SetState_Orientation(rotation);
        int code = alias->GetColor();
        label->SetState_Color(IsDefaultColor(code) ? 255 : MapColor(code));
        label->SetState_Text(NormaliseBusName(alias->Name));
        Container->AddSchObject(label);
    }
    if (!Document) return;
    for (int i = 0; i < wire.VisibleProps.Count(); ++i) ImportWireProperty(wire, i);
}

void TSCHPageImporter::ImportWireProperty(dbo::TDboWireBus& wire, int index) {
    dbo::TDboVisibleProp* property = wire.VisibleProps.GetProps(index);
    const std::string value = property->GetValue();
    if (property->GetName() == value && property->DisplayFormat == 1) return;
    auto* label = CreateObject<host::ISch_Label>(host::eLabel);
    if (!label) return;
    label->SetState_Location({ToCoordX(property->LocationX), ToCoordY(property->LocationY + 10)});
    label->SetState_Text(value);
    int32_t fontId = ResolveFont(property->FontID, dbo::TDboDefFontNetName, false);
    if (fontId >= 0) label->SetState_FontId(fontId);
    label->Refresh();
    Document->AddSchObject(label);
    if (!platform::UseNativeImportRules()) return;
    // Native rules show the text white on a box of the property's colour.
    label->SetState_Color(0xFFFFFF);
    auto* box = CreateObject<host::ISch_Rectangle>(host::eRectangle);
    if (!box) return;
    host::CoordRect r = label->GetState_BoundingRectangle();
    box->SetState_Location({r.X1, r.Y1});
    box->SetState_Corner({r.X2, r.Y2});
    box->SetState_IsSolid(true);
    int code = property->GetColor();
    int32_t color = IsDefaultColor(code) ? 0 : MapColor(code);
    box->SetState_Color(color);
    box->SetState_AreaColor(color);
    Document->RemoveSchObject(label);
    Document->AddSchObject(box);
    Document->AddSchObject(label);
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportBusEntry(dbo::TDboBusEntry& record) {
    auto* entry = CreateObject<host::ISch_BusEntry>(host::eBusEntry);
    if (!entry) return nullptr;
    entry->SetState_Location({ToCoordX(record.StartX), ToCoordY(record.StartY)});
    entry->SetState_Corner({ToCoordX(record.EndX), ToCoordY(record.EndY)});
    int code = record.GetColor();
    if (!IsDefaultColor(code)) entry->SetState_Color(MapColor(code));
    return entry;
}

// ----- Finishing ---------------------------------------------------------------------------------

void TSCHPageImporter::CollectNoConnects(dbo::TDboPinPropsList& pinProps) {
    for (int i = 0; i < pinProps.Count(); ++i) {
        dbo::TDboPinProps* pin = pinProps.GetPinProps(i);
        if (static_cast<int16_t>(pin->PinNumber) < 0 && pin->WireId == 0)
            NoConnectPoints.push_back({ToCoordX(pin->LocationX), ToCoordY(pin->LocationY)});
    }
}

void TSCHPageImporter::FinishPage() {
    if (!Document) return;
    for (auto* component : CollectObjects<host::ISch_Component>(Document, {host::eSchComponent})) {
        const int32_t part = component->GetState_CurrentPartId();
        for (auto* pin : CollectObjects<host::ISch_Pin>(component, {host::ePin})) {
            int32_t owner = pin->GetState_OwnerPartId();
            if (owner != 0 && owner != part) continue;
            for (auto* parameter : CollectObjects<host::ISch_Parameter>(pin, {host::eParameter})) {
                const std::string name = parameter->GetState_Name();
                // A pin's shown name or number without a value of its own only places the text.
                if (parameter->GetState_Text().empty()) continue;
                if (platform::SameTextNoCase(name, "Name") || platform::SameTextNoCase(name, "Number"))
                    pin->ApplyParameter(parameter);
            }
        }
    }
    for (host::Coord point : NoConnectPoints) {
        auto* marker = CreateObject<host::ISch_NoERC>(host::eNoERC);
        if (!marker) continue;
        marker->SetState_Location(point);
        marker->SetState_Symbol(2);
        Document->AddSchObject(marker);
    }
}

// ----- Title blocks and placed components --------------------------------------------------------

host::ISch_Component* TSCHPageImporter::LoadPlacedComponent(const std::string& libraryName,
                                                            const std::string& componentName) {
    size_t b = componentName.find_first_not_of(" \t\r\n");
    size_t e = componentName.find_last_not_of(" \t\r\n");
    std::string name = b == std::string::npos ? std::string() : componentName.substr(b, e - b + 1);
    host::ISch_Component* component = Server().LoadComponent(name, libraryName);
    if (component && Host.Workspace()) component->SetState_UniqueId(Host.Workspace()->GenerateUniqueId());
    return component;
}

void TSCHPageImporter::ExtentsOf(host::ISch_Component* component, const host::CoordRect& bounds,
                                 const std::string& suffix, int32_t& width, int32_t& height) {
    auto roundedTens = [](int64_t v) {
        return static_cast<int32_t>(std::llabs(platform::RoundHalfEven(static_cast<double>(v) / 10.0) * 10));
    };
    width = roundedTens(int64_t(bounds.X2) - bounds.X1);
    if (width == ScaleCoord(10)) width = ScaleCoord(20);
    height = roundedTens(int64_t(bounds.Y1) - bounds.Y2);
    host::ISch_Parameter* right = FindParameter(component, "Vantor-Right" + suffix);
    host::ISch_Parameter* bottom = FindParameter(component, "Vantor-Bottom" + suffix);
    if (!suffix.empty() && (!right || !bottom)) {
        right = FindParameter(component, "Vantor-Right");
        bottom = FindParameter(component, "Vantor-Bottom");
    }
    if (right) width = ScaleCoord(TextToInt(right->GetState_Text(), 0));
    if (bottom) height = ScaleCoord(TextToInt(bottom->GetState_Text(), 0));
}

void TSCHPageImporter::AnchorCorrection(host::ISch_Component* component, int32_t width, int32_t height, int32_t& x,
                                        int32_t& y) {
    const bool mirrored = component->GetState_IsMirrored();
    switch (component->GetState_Orientation() & 3) {
        case 0:
            if (mirrored) x += width;
            break;
        case 1:
            y -= width;
            if (mirrored) x += height;
            break;
        case 2:
            y -= height;
            if (!mirrored) x += width;
            break;
        default:
            if (!mirrored) x += height;
            break;
    }
}

void TSCHPageImporter::RemoveExtentParameters(host::ISch_Component* component) {
    for (auto* parameter : CollectObjects<host::ISch_Parameter>(component, {host::eParameter}, host::eIterateAllLevels)) {
        const std::string name = parameter->GetState_Name();
        if (name.rfind("Vantor-Right", 0) != 0 && name.rfind("Vantor-Bottom", 0) != 0) continue;
        if (host::ISch_BasicContainer* owner = parameter->GetState_Container()) owner->RemoveSchObject(parameter);
        Server().DestroySchObject(parameter);
    }
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportTitleBlock(dbo::TDboTitleBlock& record) {
    if (SkipTitleBlocks()) return nullptr;
    host::ISch_Component* component = LoadPlacedComponent(LibraryName, record.SymName);
    if (!component) {
        LogMessage(host::kLogWarning, "Unable to import TitleBlock " + record.SymName + "!");
        return nullptr;
    }
    int32_t x = ToCoordX(record.LocationX), y = ToCoordY(record.LocationY);
    component->MoveToXY(x, y);
    host::CoordRect bounds = component->GetState_BoundingRectangle();
    // Kept on the sheet: a block reaching below its bottom or beyond its right edge moves back by
    // as much as it reaches out.
    if (bounds.Y1 < 0) y -= bounds.Y1;
    if (bounds.X2 > Document->GetState_CustomX()) x -= bounds.X2 - Document->GetState_CustomX();
    component->MoveToXY(x, y);
    const int rotation = record.GetRotation();
    component->SetState_Orientation(rotation);
    component->SetState_IsMirrored(record.GetMirror() != 0);
    if (record.GetMirror() != 0 && (component->GetState_Orientation() & 1)) component->SetState_Orientation((rotation + 2) & 3);
    int32_t w = 0, h = 0;
    ExtentsOf(component, bounds, "", w, h);
    AnchorCorrection(component, w, h, x, y);
    component->SetState_Color(0);
    Document->AddSchObject(component);
    component->MoveToXY(x, y);
    component->SetState_ComponentKind(host::eComponentKind_Graphical);
    ImportObjectProperties(&record, component);
    if (host::ISch_Parameter* comment = component->GetState_SchComment()) comment->SetState_IsHidden(true);
    RemoveExtentParameters(component);
    return nullptr;  // already in the document
}

}  // namespace orcadx::importer
