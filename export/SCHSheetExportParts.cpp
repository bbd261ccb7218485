// Objects placed on a sheet: parts with their pin records, title blocks, sheet symbols with their
// entries, power objects, off-sheet connectors and ports. Each finds its library view or symbol in
// the design by name and stands so that its pins come out at the host's connection points.
#include <algorithm>
#include <cstdlib>

#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "export/SCHSheetExport.h"
#include "import/Manage_FontTable.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"
#include "platform/TextFiles.h"

namespace orcadx::exporter {

using host::Coord;

namespace {

int32_t Wrap(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }
int16_t Cut16(int32_t value) { return static_cast<int16_t>(value); }

int Turn(int32_t value) { return static_cast<int>(((value % 4) + 4) % 4); }

// Where a placed part's record stands relative to the component's location, and its rotation, by
// the component's orientation and mirroring; from the drawing's extents in host units.
struct Placement {
    int rotation = 0;
    int32_t dx = 0, dy = 0;
};

Placement PlacePart(int32_t orientation, bool mirrored, const dbo::TDboLibBaseView& view) {
    int64_t left = view.HostExtentLeft, top = view.HostExtentTop;
    int64_t w = std::llabs(int64_t(view.HostExtentRight) - left);
    int64_t h = std::llabs(top - view.HostExtentBottom);
    Placement p;
    switch (Turn(orientation)) {
        case 0:
            p = {0, Wrap(mirrored ? -left - w : left), Wrap(top)};
            break;
        case 1:
            p = {mirrored ? 3 : 1, Wrap(mirrored ? top - h : -top), Wrap(left + w)};
            break;
        case 2:
            p = {2, Wrap(mirrored ? left : -left - w), Wrap(h - top)};
            break;
        default:
            p = {mirrored ? 1 : 3, Wrap(mirrored ? -top : top - h), Wrap(-left)};
            break;
    }
    return p;
}

// A pin's end (x, y) in the view, placed with the part at (l, t): rotation and mirror as the table
// of the format, w and h the view's size.
Coord PlacePin(int rotation, bool mirrored, int32_t l, int32_t t, int32_t x, int32_t y, int32_t w, int32_t h) {
    int64_t L = l, T = t;
    switch (rotation & 3) {
        case 0: return mirrored ? Coord{Wrap(L - x + w), Wrap(T + y)} : Coord{Wrap(L + x), Wrap(T + y)};
        case 1: return mirrored ? Coord{Wrap(L + y), Wrap(T + x)} : Coord{Wrap(L + y), Wrap(T - x + w)};
        case 2: return mirrored ? Coord{Wrap(L + x), Wrap(T - y + h)} : Coord{Wrap(L - x + w), Wrap(T - y + h)};
        default: return mirrored ? Coord{Wrap(L - y + h), Wrap(T - x + w)} : Coord{Wrap(L - y + h), Wrap(T + x)};
    }
}

std::unique_ptr<dbo::TDboPinProps> NewPinProps(dbo::TDboBaseDesign* design, const dbo::TDboPin& pin) {
    if (pin.ID == dbo::kIdPinScalar) return dbo::Make<dbo::TDboPinPropsScalar>(design);
    return dbo::Make<dbo::TDboPinPropsBus>(design);
}

struct PowerStyle {
    const char* symbol;
    int turn;
};
constexpr PowerStyle kPowerStyles[] = {
    {"VCC_CIRCLE", 1}, {"VCC_ARROW", 1}, {"VCC_BAR", 1}, {"VCC_WAVE", 1},
    {"GND_POWER", -1}, {"GND_SIGNAL", -1}, {"GND_EARTH", -1},
};

// Port symbols by style: connected at the location, else.
constexpr const char* kPortSymbols[8][2] = {
    {"PORTNO-L", "PORTNO-R"},       {"PORTLEFT-L", "PORTLEFT-R"}, {"PORTRIGHT-L", "PORTRIGHT-R"},
    {"PORTBOTH-L", "PORTBOTH-R"},   {"PORTNO-L", "PORTNO-R"},     {"PORTRIGHT-L", "PORTRIGHT-R"},
    {"PORTLEFT-L", "PORTLEFT-R"},   {"PORTBOTH-L", "PORTBOTH-R"},
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Lookups in the design

dbo::TDboLibComponent* TSCHSheetExporter::FindComponent(const std::string& name) {
    if (!libraryIndexed_) {
        libraryIndexed_ = true;
        for (auto& component : Design->Components)
            components_.try_emplace(platform::UpperCaseAscii(component->PartInfo->CompName), component.get());
        for (int i = 0; i < Design->SymbolCount(); ++i)
            if (dbo::TDboLibSymbol* symbol = Design->GetSymbol(i))
                symbols_.try_emplace(platform::UpperCaseAscii(symbol->ViewName), symbol);
    }
    auto it = components_.find(platform::UpperCaseAscii(name));
    return it == components_.end() ? nullptr : it->second;
}

dbo::TDboLibSymbol* TSCHSheetExporter::FindSymbol(const std::string& name) {
    if (!libraryIndexed_) FindComponent({});
    auto it = symbols_.find(platform::UpperCaseAscii(name));
    return it == symbols_.end() ? nullptr : it->second;
}

std::string TSCHSheetExporter::NormalViewName(host::ISch_Component* component, const std::string& name) {
    std::string out = LegalName(name);
    if (component->GetState_PartCount() > 1) out += PartLetter(component->GetState_CurrentPartId());
    return out + (component->GetState_DisplayMode() == 1 ? ".Convert" : ".Normal");
}

dbo::TDboLibView* TSCHSheetExporter::FindView(const std::string& packageName, const std::string& viewName) {
    dbo::TDboLibComponent* component = FindComponent(packageName);
    if (!component) return nullptr;
    for (int p = 0; p < component->Packages.Count(); ++p) {
        dbo::TDboLibPackage* package = component->Packages.GetPackages(p);
        if (!package) continue;
        for (int v = 0; v < package->Views.Count(); ++v)
            if (dbo::TDboLibView* view = package->Views.GetViews(v); view && view->ViewName == viewName) return view;
    }
    dbo::TDboLibPackage* first = component->Packages.GetPackages(0);
    return first && first->Views.Count() > 0 ? first->Views.GetViews(0) : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Parts and title blocks

void TSCHSheetExporter::AddTextProperty(dbo::TDboBaseObject& owner, const std::string& name, const std::string& text,
                                        host::ISch_ComplexText* object, Coord origin) {
    Coord p = object->GetState_Location();
    host::CoordRect box = object->GetState_BoundingRectangle();
    owner.AddVisibleProp(name, text, ConvertSize(Wrap(int64_t(p.X) - origin.X)),
                         ConvertSize(Wrap(int64_t(origin.Y) - p.Y)),
                         ConvertSize(Wrap(std::llabs(int64_t(box.X2) - box.X1))),
                         ConvertSize(Wrap(std::llabs(int64_t(box.Y2) - box.Y1))),
                         importer::FontTableManager().AddFontId(object->GetState_FontId()),
                         object->GetState_Orientation(), 48);
}

std::unique_ptr<dbo::TDboObject> TSCHSheetExporter::ExportPart(host::ISch_BasicContainer* object) {
    auto* component = dynamic_cast<host::ISch_Component*>(object);
    if (!component || component->GetState_ComponentKind() == host::eComponentKind_Graphical) return nullptr;
    dbo::TDboLibView* view = nullptr;
    std::string srcPkg, viewName;
    for (const std::string& name : {component->GetState_LibReference(), component->GetState_DesignItemId()}) {
        std::string legal = LegalName(name);
        if (!FindComponent(legal)) continue;
        srcPkg = legal;
        viewName = NormalViewName(component, name);
        view = FindView(legal, viewName);
        break;
    }
    if (!view) return nullptr;

    const bool mirrored = component->GetState_IsMirrored();
    const int32_t partId = component->GetState_CurrentPartId();
    const bool severalParts = component->GetState_PartCount() >= 2;
    Placement place = PlacePart(component->GetState_Orientation(), mirrored, *view);
    Coord location = component->GetState_Location();
    Coord p{Wrap(int64_t(location.X) + place.dx), Wrap(int64_t(location.Y) + place.dy)};

    auto part = dbo::Make<dbo::TDboPart>(Design);
    part->SrcPkg = srcPkg;
    part->ViewName = viewName;
    host::ISch_Designator* designator = component->GetState_SchDesignator();
    part->DesignatorStr = designator ? designator->GetState_Text() : std::string();
    part->LocationX = Cut16(ConvertX(p.X));
    part->LocationY = Cut16(ConvertY(p.Y));
    part->PartNo = static_cast<uint16_t>(partId - 1);
    part->SetRotation(place.rotation);
    part->SetHighFlag(component->GetState_HighFlag());
    part->SetMirror(mirrored ? 1 : 0);
    part->AddProp("PCB Footprint", FootprintName(component));
    ExportParameters(part.get(), component, p);
    if (designator && !designator->GetState_IsHidden())
        AddTextProperty(*part, "Part Reference",
                        designator->GetState_Text() + (severalParts ? PartLetter(partId) : std::string()), designator, p);
    host::ISch_Parameter* value = component->GetState_SchComment();
    std::string valueText = value ? value->GetState_DisplayString() : std::string();
    if (valueText.empty())
        if (host::ISch_Parameter* named = FindParameter(component, "Value")) {
            value = named;
            valueText = named->GetState_DisplayString();
        }
    part->ValueIdx = Design->AddString(valueText);
    if (value && !value->GetState_IsHidden()) AddTextProperty(*part, "Value", valueText, value, p);
    AddPinRecords(*part, *view);
    return part;
}

void TSCHSheetExporter::AddPinRecords(dbo::TDboPart& part, dbo::TDboLibView& view) {
    if (!noErcBuilt_) {
        noErcBuilt_ = true;
        std::vector<host::ISch_BasicContainer*> marks;
        CollectObjects(marks, {host::eNoERC}, host::eIterateFirstLevel);
        for (auto* object : marks)
            if (auto* mark = dynamic_cast<host::ISch_GraphicalObject*>(object)) {
                Coord at = mark->GetState_Location();
                noErcAt_.insert({ConvertX(at.X), ConvertY(at.Y)});
            }
    }
    int32_t w = std::abs(static_cast<int16_t>(view.Right - view.Left));
    int32_t h = std::abs(static_cast<int16_t>(view.Bottom - view.Top));
    const bool mirrored = part.GetMirror() != 0;
    for (int i = 0; i < view.Pins->Count(); ++i) {
        const dbo::TDboPin* pin = view.Pins->GetPins(i);
        if (!pin) continue;
        auto props = NewPinProps(Design, *pin);
        props->PinNumber = static_cast<uint16_t>(i + 1);
        Coord at = PlacePin(part.GetRotation(), mirrored, part.LocationX, part.LocationY, pin->EndX, pin->EndY, w, h);
        props->LocationX = Cut16(at.X);
        props->LocationY = Cut16(at.Y);
        if (noErcAt_.count({props->LocationX, props->LocationY}))
            props->PinNumber = static_cast<uint16_t>(-(i + 1));
        part.PinProps.Add(std::move(props));
    }
}

std::unique_ptr<dbo::TDboObject> TSCHSheetExporter::ExportTitleBlock(host::ISch_BasicContainer* object) {
    auto* component = dynamic_cast<host::ISch_Component*>(object);
    if (!component || component->GetState_ComponentKind() != host::eComponentKind_Graphical) return nullptr;
    auto block = dbo::Make<dbo::TDboTitleBlock>(Design);
    std::string name = LegalName(component->GetState_LibReference());
    block->TBName = static_cast<uint16_t>(Design->AddString(name));
    block->SymName = name;
    Coord location = component->GetState_Location();
    block->LocationX = Cut16(ConvertX(location.X));
    block->LocationY = Cut16(ConvertY(location.Y));
    block->Height = 200;
    block->Width = 400;
    ExportParameters(block.get(), component, location);
    return block;
}

// ---------------------------------------------------------------------------------------------
// Sheet symbols

std::string TSCHSheetExporter::ResolveSheetFile(const std::string& text) {
    if (!Project) return text;
    if (!projectIndexed_) {
        projectIndexed_ = true;
        int32_t count = Project->GetDocumentCount();
        for (int32_t i = 0; i < count; ++i)
            if (host::IDocument* document = Project->GetDocument(i))
                projectFiles_.try_emplace(platform::UpperCaseAscii(document->GetFileName()), document->GetFullPath());
    }
    auto it = projectFiles_.find(platform::UpperCaseAscii(text));
    if (it != projectFiles_.end()) return it->second;
    std::string extension = Host.Client() ? Host.Client()->GetDefaultExtension("SCH") : std::string(".SchDoc");
    it = projectFiles_.find(platform::UpperCaseAscii(text + extension));
    return it != projectFiles_.end() ? it->second : text;
}

std::unique_ptr<dbo::TDboObject> TSCHSheetExporter::ExportSheetSymbol(host::ISch_BasicContainer* object) {
    auto* symbol = dynamic_cast<host::ISch_SheetSymbol*>(object);
    if (!symbol) return nullptr;
    auto block = dbo::Make<dbo::TDboHierarchicalBlock>(Design);
    Coord location = symbol->GetState_Location();
    if (host::ISch_SheetFileName* file = symbol->GetState_SheetFileName()) {
        std::string fullName = ResolveSheetFile(file->GetState_Text());
        std::string pageName = platform::FileNameOf(fullName);
        if (PageNames) pageName = PageNames->GetUniquePageName("", pageName);
        block->ImplementSheetIdx = block->ImplementFolderIdx = Design->AddString(pageName);
        if (!file->GetState_IsHidden()) AddTextProperty(*block, "Value", fullName, file, location);
    }
    if (host::ISch_SheetName* name = symbol->GetState_SheetName()) {
        std::string text = name->GetState_Text();
        block->SetRefStr(text);
        block->NameIdx = static_cast<uint16_t>(Design->AddString(text));
        if (!name->GetState_IsHidden()) AddTextProperty(*block, "Reference", block->GetRefStr(), name, location);
    }
    block->LocationX = Cut16(ConvertX(location.X));
    block->LocationY = Cut16(ConvertY(location.Y));
    block->SetWidth(ConvertSize(symbol->GetState_XSize()));
    block->SetHeight(ConvertSize(symbol->GetState_YSize()));
    std::vector<host::ISch_BasicContainer*> entries;
    auto it = symbol->SchIterator_Create({host::eSheetEntry}, host::eIterateFirstLevel);
    for (auto* child = it->FirstSchObject(); child; child = it->NextSchObject())
        if (child->GetState_ObjectId() == host::eSheetEntry) entries.push_back(child);
    it.reset();
    dbo::TDboPinList* pins = block->GetPins();
    for (auto* child : entries) {
        std::unique_ptr<dbo::TDboPin> pin = ExportSheetEntry(child);
        if (!pin) continue;
        auto props = NewPinProps(Design, *pin);
        pins->Add(std::move(pin));
        props->PinNumber = static_cast<uint16_t>(pins->Count());
        Coord at = dynamic_cast<host::ISch_GraphicalObject*>(child)->GetState_Location();
        props->LocationX = Cut16(ConvertX(at.X));
        props->LocationY = Cut16(ConvertY(at.Y));
        block->PinProps.Add(std::move(props));
    }
    return block;
}

std::unique_ptr<dbo::TDboPin> TSCHSheetExporter::ExportSheetEntry(host::ISch_BasicContainer* object) {
    auto* entry = dynamic_cast<host::ISch_SheetEntry*>(object);
    if (!entry) return nullptr;
    std::string name = entry->GetState_Name();
    std::unique_ptr<dbo::TDboPin> pin = NewPinFor(Design, name);
    pin->PinName = name;
    auto* owner = dynamic_cast<host::ISch_SheetSymbol*>(entry->GetState_Container());
    int32_t xs = owner ? owner->GetState_XSize() : 0, ys = owner ? owner->GetState_YSize() : 0;
    int32_t dist = entry->GetState_DistanceFromTop();
    int32_t a = 0, b = 0;
    switch (entry->GetState_Side()) {
        case 0: b = dist; break;
        case 1: a = xs; b = dist; break;
        case 2: a = dist; break;
        case 3: a = dist; b = ys; break;
        default: break;
    }
    pin->OffsetX = pin->EndX = ConvertSize(a);
    pin->OffsetY = pin->EndY = ConvertSize(b);
    pin->Attributes |= dbo::TDboPin::kAttrVisible;
    pin->PinType = ConvertIoType(entry->GetState_IOType());
    return pin;
}

// ---------------------------------------------------------------------------------------------
// Power objects, off-sheet connectors and ports

bool TSCHSheetExporter::SymbolGeometry(dbo::TDboPortInst& record, Coord location, int32_t& sx, int32_t& sy) {
    dbo::TDboLibSymbol* symbol = FindSymbol(record.SymName);
    if (!symbol) return false;
    int32_t px = symbol->PinX(), py = symbol->PinY();
    record.Height = Cut16(std::abs(symbol->Bottom - symbol->Top));
    record.Width = Cut16(std::abs(symbol->Right - symbol->Left));
    int32_t a = px - symbol->Left, b = symbol->Right - px, c = py - symbol->Top, d = symbol->Bottom - py;
    switch (record.GetRotation() & 3) {
        case 0: sx = a, sy = c; break;
        case 1: sx = c, sy = b; break;
        case 2: sx = b, sy = d; break;
        default: sx = d, sy = a; break;
    }
    record.LocationX = Cut16(ConvertX(location.X) - sx);
    record.LocationY = Cut16(ConvertY(location.Y) - sy);
    return true;
}

std::unique_ptr<dbo::TDboObject> TSCHSheetExporter::ExportPowerObject(host::ISch_BasicContainer* object) {
    auto* power = dynamic_cast<host::ISch_PowerObject*>(object);
    if (!power || object->GetState_ObjectId() != host::ePowerObject) return nullptr;
    auto record = dbo::Make<dbo::TDboPower>(Design);
    int32_t style = power->GetState_Style();
    int turn = 0;
    if (style >= 0 && style < static_cast<int32_t>(std::size(kPowerStyles))) {
        record->SymName = kPowerStyles[style].symbol;
        turn = kPowerStyles[style].turn;
    }
    int32_t orientation = power->GetState_Orientation();
    record->SetRotation(Turn(int64_t(orientation) - turn));
    std::string text = power->GetState_Text();
    record->PortNameIdx = Design->AddString(text);
    Coord location = power->GetState_Location();
    int32_t sx = 0, sy = 0;
    if (!SymbolGeometry(*record, location, sx, sy)) return nullptr;
    if (power->GetState_ShowNetName()) {
        host::CoordRect box = power->GetState_BoundingRectangle();
        int64_t x1 = std::min(box.X1, box.X2), y = location.Y;
        Coord at{0, 0};
        switch (orientation) {
            case 0: at = {Wrap(x1 + 1500000), Wrap(y + 500000)}; break;
            case 1: at = {Wrap(x1), Wrap(y + 2000000)}; break;
            case 2: at = {Wrap(x1), Wrap(y + 500000)}; break;
            case 3: at = {Wrap(x1), Wrap(y - 1000000)}; break;
            default: break;
        }
        record->AddVisibleProp(text, text, ConvertX(at.X) - record->LocationX, ConvertY(at.Y) - record->LocationY, 0, 0,
                               1, 0, 48);
    }
    return record;
}

std::unique_ptr<dbo::TDboObject> TSCHSheetExporter::ExportOffSheetConnector(host::ISch_BasicContainer* object) {
    auto* connector = dynamic_cast<host::ISch_OffSheetConnector*>(object);
    if (!connector) return nullptr;
    auto record = dbo::Make<dbo::TDboOffPage>(Design);
    int turn = 0;
    if (connector->GetState_Side() == 0) {
        record->SymName = "OFFPAGELEFT-L";
    } else {
        record->SymName = "OFFPAGELEFT-R";
        turn = 2;
    }
    record->SetRotation(Turn(int64_t(turn) + connector->GetState_Orientation()));
    std::string text = connector->GetState_Text();
    record->PortNameIdx = Design->AddString(text);
    int32_t sx = 0, sy = 0;
    if (!SymbolGeometry(*record, connector->GetState_Location(), sx, sy)) return nullptr;
    record->AddVisibleProp(text, text, sx, sy, 0, 0, 1, 0, 48);
    return record;
}

int32_t TSCHSheetExporter::TextWidth(const std::string& text) {
    host::ISch_ServerInterface* server = Host.SchServer();
    host::ISch_FontManager* fonts = server ? server->GetFontManager() : nullptr;
    if (!fonts) return 0;
    int32_t id = fonts->GetFontID(10, 0, false, false, false, false, platform::DefaultFontFace());
    int32_t width = 0, height = 0;
    if (!fonts->MeasureText(id, text, width, height)) return 0;
    return ConvertSize(Wrap(int64_t(width) * kHostUnitsPerCaptureUnit / 3));
}

std::unique_ptr<dbo::TDboObject> TSCHSheetExporter::ExportPort(host::ISch_BasicContainer* object) {
    auto* port = dynamic_cast<host::ISch_Port*>(object);
    if (!port) return nullptr;
    auto record = dbo::Make<dbo::TDboPort>(Design);
    std::string name = port->GetState_Name();
    int32_t tw = TextWidth(name);
    Coord location = port->GetState_Location();
    int32_t x = location.X, y = location.Y, pw = port->GetState_Width();
    int32_t style = port->GetState_Style();
    Coord end;
    if (style >= 0 && style <= 3) {
        end = {Wrap(int64_t(x) - pw), y};
        if (HasConnectionAt(x, y)) end = location;
        else if (HasConnectionAt(Wrap(int64_t(x) + pw), y)) end = {Wrap(int64_t(x) + pw), y};
    } else {
        end = location;
        if (!HasConnectionAt(x, y) && HasConnectionAt(x, Wrap(int64_t(y) + pw))) end = {x, Wrap(int64_t(y) + pw)};
    }
    int32_t dx = 0, dy = 0, tx = 0, ty = 0;
    if (style >= 0 && style <= 7) {
        const bool atLocation = end == location;
        const int rotation = style <= 3 ? 0 : 1;
        const int32_t pwc = ConvertSize(pw);
        record->SymName = kPortSymbols[style][atLocation ? 0 : 1];
        record->SetRotation(rotation);
        if (rotation == 0 && atLocation) dx = 0, dy = -10, tx = 35, ty = 5;
        else if (rotation == 1 && atLocation) dx = -10, dy = -32, tx = 0, ty = -10;
        else if (rotation == 0) dx = pwc - 30, dy = -10, tx = -tw, ty = 5;
        else dx = -10, dy = -pwc - 2, tx = 0, ty = 40;
    }
    record->PortNameIdx = Design->AddString(name);
    record->LocationX = Cut16(ConvertX(x) + dx);
    record->LocationY = Cut16(ConvertY(y) + dy);
    record->PortType = ConvertIoType(port->GetState_IOType());
    record->AddVisibleProp(name, name, tx, ty, 0, 0, 1, 0, 48);
    return record;
}

}  // namespace orcadx::exporter
