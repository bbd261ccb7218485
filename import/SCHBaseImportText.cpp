// Fonts, comment texts, and the properties of records that become host parameters.
#include <fmt/format.h>

#include <charconv>
#include <cstdlib>
#include <memory>

#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboObjects.h"
#include "import/SCHBaseImport.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"

namespace orcadx::importer {

int64_t TextToInt(const std::string& text, int64_t fallback) {
    size_t b = 0, e = text.size();
    while (b < e && text[b] == ' ') ++b;
    while (e > b && text[e - 1] == ' ') --e;
    if (b < e && text[b] == '+') ++b;
    int64_t value = 0;
    auto [end, ec] = std::from_chars(text.data() + b, text.data() + e, value);
    if (b == e || ec != std::errc() || end != text.data() + e) return fallback;
    return value;
}

namespace {

// Windows' MulDiv: a * b / c rounded to the nearest, halves away from zero.
int64_t MulDiv(int64_t a, int64_t b, int64_t c) {
    if (c == 0) return -1;
    int64_t p = a * b;
    int64_t q = (std::llabs(p) + std::llabs(c) / 2) / std::llabs(c);
    return ((p < 0) != (c < 0)) ? -q : q;
}

// Quarter turns of a text from its font's escapement (tenths of a degree).
int RotationOfFont(const dbo::TDboFont* font) {
    if (!font) return 0;
    switch (font->LogFont.lfEscapement / 10) {
        case 90: return 1;
        case 180: return 2;
        case 270: return 3;
        default: return 0;
    }
}

}  // namespace

// ----- Fonts -------------------------------------------------------------------------------------

int32_t TSCHCommonImporter::HostFontFromLogFont(const dbo::LogFontA& font, bool withGrowth) {
    host::ISch_FontManager* fonts = Server().GetFontManager();
    if (!fonts) return -1;
    int64_t size = font.lfHeight;
    if (size < 0) size = MulDiv(-size, 72, fonts->GetScreenPixelsPerInch());
    if (withGrowth) size = size + (size * 8 * 5) / 100;
    if (size >= 32767) return -1;
    return fonts->GetFontID(static_cast<int32_t>(size), 0, font.lfUnderline != 0, font.lfItalic != 0,
                            font.lfWeight == 700, font.lfStrikeOut != 0, font.FaceName());
}

int32_t TSCHCommonImporter::ResolveFont(int fontIndex, int defaultIndex, bool withGrowth, const dbo::TDboFont** used) {
    if (used) *used = nullptr;
    if (!Design || !Design->Lib) return -1;
    const dbo::TDboBaseLib& lib = *Design->Lib;
    if (const dbo::TDboFont* font = lib.GetFont(fontIndex - 1)) {
        int32_t id = HostFontFromLogFont(font->LogFont, withGrowth);
        if (id >= 0) {
            if (used) *used = font;
            return id;
        }
    }
    if (defaultIndex < 0 || defaultIndex >= static_cast<int>(lib.DefaultFonts.size())) return -1;
    int which = lib.DefaultFonts[defaultIndex];
    const dbo::TDboFont* font = which >= 1 ? lib.GetFont(which - 1) : nullptr;
    if (!font) return -1;
    int32_t id = HostFontFromLogFont(font->LogFont, withGrowth);
    if (id >= 0 && used) *used = font;
    return id;
}

int32_t TSCHCommonImporter::DefaultFaceFont(int32_t size) {
    host::ISch_FontManager* fonts = Server().GetFontManager();
    return fonts ? fonts->GetFontID(size, 0, false, false, false, false, platform::DefaultFontFace()) : 1;
}

void TSCHCommonImporter::TextExtent(host::ISch_Label* text, int32_t& width, int32_t& height) {
    host::ISch_FontManager* fonts = Server().GetFontManager();
    int32_t fontId = text->GetState_FontId();
    int32_t w = 0, h = 0;
    if (fonts && fonts->MeasureText(fontId, text->GetState_Text(), w, h)) {
        width = SaturateCoord(static_cast<int64_t>(w / 3) * 100000);
        height = SaturateCoord(static_cast<int64_t>(fonts->GetFontSize(fontId)) * 100000);
        return;
    }
    int32_t orientation = text->GetState_Orientation();
    text->SetState_Orientation(0);
    host::CoordRect r = text->GetState_BoundingRectangle();
    width = r.X2 - r.X1;
    height = r.Y2 - r.Y1;
    text->SetState_Orientation(orientation);
}

void TSCHCommonImporter::TurnText(host::ISch_Label* text, int rotation) {
    rotation &= 3;
    text->SetState_Orientation(0);
    int32_t w = 0, h = 0;
    TextExtent(text, w, h);
    int32_t g = static_cast<int32_t>(platform::RoundHalfEven(w / 1.3));
    text->SetState_Orientation(rotation);
    host::Coord l = text->GetState_Location();
    int64_t x = l.X, y = l.Y;
    switch (rotation) {
        case 0: y -= h; break;
        case 1: x += h; y -= int64_t(g) + w; break;
        case 2: x += int64_t(w) + g; break;
        default: break;
    }
    text->SetState_Location({SaturateCoord(x), SaturateCoord(y)});
}

void TSCHCommonImporter::TurnParameter(host::ISch_Parameter* parameter, int rotation) {
    TurnText(parameter, rotation);
    parameter->SetState_Justification(host::eJustify_BottomLeft);
}

// ----- Comment texts -----------------------------------------------------------------------------

host::ISch_GraphicalObject* TSCHCommonImporter::ImportLabel(dbo::TDboObject* instance, int colorCode) {
    auto* record = dynamic_cast<dbo::TDboLibCommentText*>(instance);
    if (!record) record = dynamic_cast<dbo::TDboCommentText&>(*instance).LibObject.get();
    auto* label = CreateObject<host::ISch_Label>(host::eLabel);
    if (!label) return nullptr;
    const dbo::TDboFont* font = nullptr;
    int32_t fontId = ResolveFont(record->FontID & 0xFFFF, dbo::TDboDefFontComment, true, &font);
    if (fontId >= 0) label->SetState_FontId(fontId);
    label->SetState_Text(record->Txt);
    if (WantsColor(colorCode)) label->SetState_Color(MapColor(colorCode));
    label->SetState_Location({ToCoordX(record->BoundBoxLeft), ToCoordY(record->BoundBoxTop)});
    if (!Container || Container->GetState_ObjectId() != host::eSchLib) {
        // On a page the text turns with its instance.
        TurnText(label, instance->GetRotation());
        return label;
    }
    // In a library the turn is the font's.
    int r = RotationOfFont(font);
    int32_t w = 0, h = 0;
    TextExtent(label, w, h);
    int32_t g = static_cast<int32_t>(platform::RoundHalfEven(w / 1.3));
    int32_t x = ScaleCoord(record->BoundBoxLeft), y = ScaleCoord(record->BoundBoxTop);
    host::Coord l;
    switch (r) {
        case 0: l = {x, -(y + h)}; break;
        case 1: l = {x + h, -(y + w + g)}; break;
        case 2: l = {x + w + g, -y}; break;
        default: l = {x, -y}; break;
    }
    label->SetState_Location(l);
    label->SetState_Orientation(r);
    return label;
}

host::ISch_GraphicalObject* TSCHCommonImporter::ImportTextFrame(dbo::TDboObject* instance, int colorCode) {
    auto* record = dynamic_cast<dbo::TDboLibCommentText*>(instance);
    if (!record) record = dynamic_cast<dbo::TDboCommentText&>(*instance).LibObject.get();
    auto* frame = CreateObject<host::ISch_TextFrame>(host::eTextFrame);
    if (!frame) return nullptr;
    int32_t fontId = ResolveFont(record->FontID & 0xFFFF, dbo::TDboDefFontComment, true);
    if (fontId >= 0) frame->SetState_FontId(fontId);

    // Every line end (CR LF, lone CR, lone LF) becomes CR LF.
    const std::string& txt = record->Txt;
    std::string text;
    text.reserve(txt.size() + 8);
    for (size_t i = 0; i < txt.size(); ++i) {
        if (txt[i] == '\r') {
            if (i + 1 < txt.size() && txt[i + 1] == '\n') ++i;
            text += "\r\n";
        } else if (txt[i] == '\n') {
            text += "\r\n";
        } else {
            text += txt[i];
        }
    }
    frame->SetState_Text(text);

    // The frame is made tall enough for its lines, the font size taken in Capture units.
    int64_t lines = 1;
    for (size_t i = 0; i + 1 < text.size(); ++i)
        if (text[i] == '\n') ++lines;
    host::ISch_FontManager* fonts = Server().GetFontManager();
    int64_t needed = static_cast<int64_t>(fonts ? fonts->GetFontSize(frame->GetState_FontId()) : 10) * lines;
    int64_t bottom = record->BoundBoxBott;
    if (bottom - record->BoundBoxTop < needed) bottom = record->BoundBoxTop + needed;

    if (WantsColor(colorCode)) frame->SetState_TextColor(MapColor(colorCode));
    frame->SetState_Location({ToCoordX(record->BoundBoxLeft), ToCoordY(record->BoundBoxTop)});
    frame->SetState_Corner({ToCoordX(record->BoundBoxRight), ToCoordY(static_cast<int32_t>(bottom))});
    frame->SetState_IsSolid(false);
    return frame;
}

// ----- Parameters --------------------------------------------------------------------------------

host::ISch_Parameter* TSCHCommonImporter::FindParameter(host::ISch_BasicContainer* object, const std::string& name) {
    if (!object) return nullptr;
    auto it = object->SchIterator_Create({host::eParameter}, host::eIterateAllLevels);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject()) {
        auto* parameter = dynamic_cast<host::ISch_Parameter*>(o);
        if (parameter && platform::SameTextNoCase(parameter->GetState_Name(), name)) return parameter;
    }
    return nullptr;
}

void TSCHCommonImporter::CopyParameter(host::ISch_Parameter* from, host::ISch_Parameter* to) {
    to->SetState_Name(from->GetState_Name());
    to->SetState_Text(from->GetState_Text());
    to->SetState_ShowName(from->GetState_ShowName());
    to->SetState_IsHidden(from->GetState_IsHidden());
    to->SetState_Location(from->GetState_Location());
    to->SetState_Autoposition(from->GetState_Autoposition());
    to->SetState_Color(from->GetState_Color());
    to->SetState_FontId(from->GetState_FontId());
    to->SetState_Orientation(from->GetState_Orientation());
    to->SetState_Justification(from->GetState_Justification());
}

void TSCHCommonImporter::CopyToText(host::ISch_Parameter* from, host::ISch_ComplexText* to) {
    to->SetState_Text(from->GetState_Text());
    to->SetState_IsHidden(from->GetState_IsHidden());
    to->SetState_Location(from->GetState_Location());
    to->SetState_Color(from->GetState_Color());
    to->SetState_FontId(from->GetState_FontId());
    to->SetState_Orientation(from->GetState_Orientation());
}

host::ISch_Parameter* TSCHCommonImporter::NewParameter(const std::string& name) {
    auto* parameter = CreateObject<host::ISch_Parameter>(host::eParameter);
    if (!parameter) return nullptr;
    parameter->SetState_Name(name);
    parameter->SetState_ShowName(false);
    parameter->SetState_IsHidden(true);
    parameter->SetState_OwnerPartId(1);
    return parameter;
}

void TSCHCommonImporter::DestroyParameters(ParameterList& parameters) {
    for (host::ISch_Parameter* p : parameters)
        if (p) Server().DestroySchObject(p);
    parameters.clear();
}

namespace {

host::ISch_Parameter* InList(const ParameterList& parameters, const std::string& name) {
    for (host::ISch_Parameter* p : parameters)
        if (p && platform::SameTextNoCase(p->GetState_Name(), name)) return p;
    return nullptr;
}

}  // namespace

void TSCHCommonImporter::ImportProperties(dbo::TDboBaseObject* object, ParameterList& parameters) {
    for (int i = 0; i < object->UserProps.Count(); ++i) {
        const dbo::TDboPropNameVal* property = object->UserProps.GetProperties(i);
        const std::string name = Design->GetString(property->NameIdx);
        const bool ownValue = property->ValueIdx != property->NameIdx;
        if (host::ISch_Parameter* found = InList(parameters, name)) {
            if (ownValue) found->SetState_Text(Design->GetString(property->ValueIdx));
            continue;
        }
        host::ISch_Parameter* parameter = NewParameter(name);
        if (!parameter) continue;
        parameter->SetState_Autoposition(AutoPositionParameters());
        parameters.push_back(parameter);
        if (ownValue) {
            parameter->SetState_Text(Design->GetString(property->ValueIdx));
        } else {
            parameter->SetState_Text("");
            parameter->SetState_IsHidden(true);
        }
    }
}

void TSCHCommonImporter::ImportVisibleProperties(dbo::TDboBaseObject* object, host::ISch_BasicContainer* hostObject,
                                                 ParameterList& parameters) {
    auto* graphical = dynamic_cast<host::ISch_GraphicalObject*>(hostObject);
    if (!graphical) return;
    host::Coord base = graphical->GetState_Location();
    host::CoordRect bounds = graphical->GetState_BoundingRectangle();
    int64_t w = std::llabs(static_cast<int64_t>(bounds.X2) - bounds.X1);
    int64_t h = std::llabs(static_cast<int64_t>(bounds.Y1) - bounds.Y2);
    // A library component brings the extents of its Capture symbol along.
    if (host::ISch_Parameter* right = FindParameter(hostObject, "Vantor-Right")) {
        int64_t v = TextToInt(right->GetState_Text(), w);
        if (v != w) w = ScaleCoord(v);
    }
    if (host::ISch_Parameter* bottom = FindParameter(hostObject, "Vantor-Bottom")) {
        int64_t v = TextToInt(bottom->GetState_Text(), h);
        if (v != h) h = ScaleCoord(v);
        bottom->SetState_OwnerPartId(1);
    }
    if (auto* component = dynamic_cast<host::ISch_Component*>(hostObject)) {
        const bool mirrored = component->GetState_IsMirrored();
        switch (component->GetState_Orientation() & 3) {
            case 0:
                if (mirrored) base.X = SaturateCoord(int64_t(base.X) - w);
                break;
            case 1:
                base.Y = SaturateCoord(int64_t(base.Y) + w);
                if (mirrored) base.X = SaturateCoord(int64_t(base.X) - h);
                break;
            case 2:
                base.Y = SaturateCoord(int64_t(base.Y) + h);
                if (!mirrored) base.X = SaturateCoord(int64_t(base.X) - w);
                break;
            default:
                if (!mirrored) base.X = SaturateCoord(int64_t(base.X) - h);
                break;
        }
    }
    const bool isPin = hostObject->GetState_ObjectId() == host::ePin;
    for (int i = 0; i < object->VisibleProps.Count(); ++i) {
        dbo::TDboVisibleProp* property = object->VisibleProps.GetProps(i);
        const std::string name = property->GetName();
        const bool ownValue = property->ValueIdx != property->UserPropNameIdx;
        host::ISch_Parameter* parameter = InList(parameters, name);
        if (!parameter) parameter = FindParameter(hostObject, name);
        if (!parameter) {
            parameter = NewParameter(name);
            if (!parameter) continue;
            parameter->SetState_Text(ownValue ? property->GetValue() : std::string());
            parameter->SetState_Autoposition(false);
            parameters.push_back(parameter);
        }
        if (!ownValue) {
            if (name == "Page Modify Date") parameter->SetState_Text("=Date");
            else parameter->SetState_IsHidden(true);
        } else {
            parameter->SetState_Text(property->GetValue());
        }
        if (property->DisplayFormat == 0) {
            parameter->SetState_IsHidden(true);
            continue;
        }
        parameter->SetState_IsHidden(parameter->GetState_Text().empty());
        parameter->SetState_OwnerPartId(1);
        parameter->SetState_ShowName(property->DisplayFormat != 1);
        host::Coord offset{ScaleCoord(property->LocationX), ScaleCoord(-static_cast<int32_t>(property->LocationY))};
        if (isPin) parameter->SetState_Location(offset);
        else parameter->SetState_Location({SaturateCoord(int64_t(base.X) + offset.X), SaturateCoord(int64_t(base.Y) + offset.Y)});
        int32_t fontId = property->FontID != 0 ? ResolveFont(property->FontID, dbo::TDboDefFontProperty, false) : -1;
        parameter->SetState_FontId(fontId >= 0 ? fontId : DefaultFaceFont(10));
        int code = property->GetColor();
        if (!IsDefaultColor(code)) parameter->SetState_Color(MapColor(code));
        else if (dynamic_cast<dbo::TDboOffPage*>(object)) parameter->SetState_Color(255);
        else parameter->SetState_Color(0x800000);
        TurnParameter(parameter, property->GetRotation());
    }
}

bool TSCHCommonImporter::PlaceParameter(host::ISch_Parameter* parameter, host::ISch_BasicContainer* hostObject) {
    parameter->SetState_OwnerPartId(1);
    const std::string name = parameter->GetState_Name();
    host::ISch_BasicContainer* target = hostObject;
    switch (hostObject->GetState_ObjectId()) {
        case host::eSchComponent: {
            auto* component = dynamic_cast<host::ISch_Component*>(hostObject);
            if (platform::SameTextNoCase(name, "Part Reference")) {
                CopyParameter(parameter, component->GetState_SchDesignator());
                parameter->SetState_IsHidden(true);
                return false;
            }
            if (platform::SameTextNoCase(name, "Value")) {
                parameter->SetState_Name("Comment");
                CopyParameter(parameter, component->GetState_SchComment());
                parameter->SetState_IsHidden(true);
                return false;
            }
            if (platform::SameTextNoCase(name, "Description")) {
                component->SetState_ComponentDescription(parameter->GetState_Text());
                return false;
            }
            break;
        }
        case host::ePin:
        case host::ePort:
            break;
        case host::eSheetSymbol: {
            auto* symbol = dynamic_cast<host::ISch_SheetSymbol*>(hostObject);
            host::ISch_ComplexText* text = nullptr;
            if (platform::SameTextNoCase(name, "Reference")) text = symbol->GetState_SheetName();
            else if (platform::SameTextNoCase(name, "Value")) text = symbol->GetState_SheetFileName();
            if (text) {
                CopyToText(parameter, text);
                if (platform::UseNativeImportRules()) text->SetState_Color(16448);
                return false;
            }
            break;
        }
        default:
            target = Container;
            break;
    }
    if (!target) return false;
    if (host::ISch_Parameter* existing = FindParameter(target, name)) {
        CopyParameter(parameter, existing);
        return false;
    }
    target->AddSchObject(parameter);
    return true;
}

void TSCHCommonImporter::ImportObjectProperties(dbo::TDboBaseObject* object, host::ISch_BasicContainer* hostObject) {
    ParameterList parameters;
    try {
        std::vector<host::ISch_Parameter*> existing;
        auto it = hostObject->SchIterator_Create({host::eParameter}, host::eIterateFirstLevel);
        for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject())
            if (auto* p = dynamic_cast<host::ISch_Parameter*>(o)) existing.push_back(p);
        for (host::ISch_Parameter* p : existing) {
            host::ISch_Parameter* copy = NewParameter(p->GetState_Name());
            if (!copy) continue;
            parameters.push_back(copy);
            CopyParameter(p, copy);
            copy->SetState_IsHidden(true);
        }
        ImportProperties(object, parameters);
        ImportVisibleProperties(object, hostObject, parameters);
        const bool native = platform::UseNativeImportRules();
        for (size_t i = 0; i < parameters.size(); ++i) {
            host::ISch_Parameter* parameter = parameters[i];
            if (PlaceParameter(parameter, hostObject)) {
                parameters[i] = nullptr;  // the host object owns it now
                if (hostObject->GetState_ObjectId() == host::ePin) parameter->SetState_ShowName(false);
                if (native && dynamic_cast<dbo::TDboPin*>(object)) parameter->SetState_Color(8404992);
                if (native && dynamic_cast<dbo::TDboPort*>(object))
                    parameter->SetState_IsHidden(parameter->GetState_Name() != "Name");
            } else {
                parameters[i] = nullptr;
                Server().DestroySchObject(parameter);
            }
        }
    } catch (...) {
        DestroyParameters(parameters);
        throw;
    }
}

void TSCHCommonImporter::RemoveParameter(host::ISch_BasicContainer* hostObject, const std::string& name) {
    host::ISch_Parameter* found = nullptr;
    auto it = hostObject->SchIterator_Create({host::eParameter}, host::eIterateFirstLevel);
    for (auto* o = it->FirstSchObject(); o && !found; o = it->NextSchObject()) {
        auto* p = dynamic_cast<host::ISch_Parameter*>(o);
        if (p && platform::SameTextNoCase(p->GetState_Name(), name)) found = p;
    }
    if (found && hostObject->RemoveSchObject(found)) Server().DestroySchObject(found);
}

}  // namespace orcadx::importer
