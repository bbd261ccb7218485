// The page importer under the native import rules: ports, off-page connectors and power objects
// become the library components of their Capture symbols instead of the host's own objects.
#include "dbo/DboDesign.h"
#include "dbo/DboObjects.h"
#include "import/HostIteration.h"
#include "import/SCHSheetImport.h"
#include "platform/Status.h"

namespace orcadx::importer {

std::string TSCHPageImporter::CompNameFor(const std::string& name, const std::string& library) const {
    std::string result = name;
    if (Design) Design->GetCompName(result, name, library);
    return result;
}

void TSCHPageImporter::PaintPrimitives(host::ISch_Component* component, int32_t color, bool fill) {
    const host::ObjectSet drawings{host::eRectangle, host::eLine,    host::eArc,     host::eRoundRectangle,
                                   host::eEllipse,   host::ePolygon, host::ePolyline};
    for (auto* o : CollectObjects<host::ISch_GraphicalObject>(component, drawings)) {
        o->SetState_Color(color);
        if (fill) o->SetState_AreaColor(color);
    }
}

void TSCHPageImporter::TurnAndMirror(host::ISch_Component* component, int rotation, int mirror) {
    int r = rotation & 3;
    if (mirror == 1 && (r & 1)) r = 4 - r;
    component->SetState_Orientation(r);
    if (mirror != 0) component->Mirror(component->GetState_Location());
}

host::ISch_Component* TSCHPageImporter::ImportSymbolAsComponent(dbo::TDboPortInst& record, SymbolKind kind) {
    // Files from version 0x00010002 on name the symbol's library; older ones only the symbol.
    const std::string library = Design && Design->Version >= 0x00010002 ? record.GetSrcLib() : record.SymName;
    host::ISch_Component* component = LoadPlacedComponent(LibraryName, CompNameFor(record.SymName, library));
    if (!component) return nullptr;
    try {
        component->SetState_CurrentPartId(1);
        const int code = record.GetColor();
        PaintPrimitives(component, IsDefaultColor(code) ? 255 : MapColor(code), true);
        host::ISch_Designator* designator = component->GetState_SchDesignator();
        host::ISch_Parameter* comment = component->GetState_SchComment();
        if (kind != SymbolKind::Port) {
            component->SetState_DisplayMode(0);
            if (designator) designator->SetState_IsHidden(true);
            if (comment) comment->SetState_IsHidden(true);
        }
        int32_t x = ToCoordX(record.LocationX), y = ToCoordY(record.LocationY);
        component->MoveToXY(x, y);
        const host::CoordRect bounds = component->GetState_BoundingRectangle();
        TurnAndMirror(component, record.GetRotation(), record.GetMirror());
        const bool mirrored = record.GetMirror() != 0;
        if (kind == SymbolKind::Port && mirrored) x += record.Width * 100000;
        // An off-page connector shows its properties as labels of the sheet instead.
        if (kind != SymbolKind::OffPage) ImportObjectProperties(&record, component);
        int32_t w = 0, h = 0;
        ExtentsOf(component, bounds, "", w, h);
        if (kind == SymbolKind::Port) {
            const bool low = record.GetRotation() < 2;
            if (designator) {
                designator->SetState_Location(low ? host::Coord{bounds.X2, bounds.Y1} : host::Coord{bounds.X1, bounds.Y1});
                designator->SetState_Justification(low ? host::eJustify_CenterLeft : host::eJustify_CenterRight);
            }
            switch (component->GetState_Orientation() & 3) {
                case 0: y += h / 2; break;
                case 1:
                    if (mirrored) x += h;
                    x -= h / 2;
                    break;
                case 2:
                    y -= h / 2;
                    x += mirrored ? -w : w;
                    break;
                default:
                    y += w;
                    if (!mirrored) x += h / 2;
                    break;
            }
            if (auto* port = dynamic_cast<dbo::TDboPort*>(&record))
                if (std::optional<PortPlace> place = PortPlacement(*port)) {
                    x += ScaleCoord(place->dx);
                    y += ScaleCoord(place->dy);
                }
            component->SetState_DisplayMode(0);
            if (designator) {
                designator->SetState_IsHidden(true);
                designator->SetState_Text(NormaliseBusName(record.GetPortName()));
                designator->SetState_Color(255);
            }
            if (comment) {
                comment->SetState_IsHidden(true);
                comment->SetState_Color(255);
            }
        } else {
            AnchorCorrection(component, w, h, x, y);
            if (kind == SymbolKind::Power) {
                if (designator) designator->SetState_Color(255);
                if (comment) comment->SetState_Color(255);
            }
        }
        component->MoveToXY(x, y);
        RemoveExtentParameters(component);
        component->Placed();
    } catch (...) {
        Server().DestroySchObject(component);
        throw;
    }
    return component;
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportPortAsComponent(dbo::TDboPort& port) {
    return ImportSymbolAsComponent(port, SymbolKind::Port);
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportOffPageAsComponent(dbo::TDboOffPage& offPage) {
    return ImportSymbolAsComponent(offPage, SymbolKind::OffPage);
}

host::ISch_GraphicalObject* TSCHPageImporter::ImportPowerAsComponent(dbo::TDboPower& power) {
    return ImportSymbolAsComponent(power, SymbolKind::Power);
}

void TSCHPageImporter::ImportOffPageLabels(dbo::TDboOffPage& offPage, host::ISch_Component* component) {
    if (!component || !Document) return;
    ParameterList parameters;
    try {
        ImportProperties(&offPage, parameters);
        ImportVisibleProperties(&offPage, component, parameters);
        host::ISch_FontManager* fonts = Server().GetFontManager();
        const int32_t baseY = component->GetState_Location().Y;
        for (host::ISch_Parameter* parameter : parameters) {
            // Hidden properties stay hidden: they make no label.
            if (parameter->GetState_IsHidden()) continue;
            auto* label = CreateObject<host::ISch_Label>(host::eLabel);
            if (!label) continue;
            label->SetState_Text(parameter->GetState_Text());
            label->SetState_FontId(parameter->GetState_FontId());
            label->SetState_Color(parameter->GetState_Color());
            label->SetState_Orientation(parameter->GetState_Orientation());
            label->SetState_Justification(parameter->GetState_Justification());
            const int32_t size = fonts ? fonts->GetFontSize(parameter->GetState_FontId()) : 0;
            label->SetState_Location({parameter->GetState_Location().X, baseY - size * 100000 / 2});
            Document->AddSchObject(label);
        }
    } catch (...) {
        DestroyParameters(parameters);
        throw;
    }
    DestroyParameters(parameters);
}

}  // namespace orcadx::importer
