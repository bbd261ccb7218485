// Bases of every translator from the Capture object model to host schematic objects: coordinates,
// colours, line widths and styles, every drawing record as one host object, fonts, text placement,
// and the properties of a record that become host parameters.
//
// Capture coordinates are hundredths of an inch with y growing downwards; host coordinates are
// 32-bit, 10,000 to the mil, y growing upwards: one Capture unit is 100000 host units.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/ClientInterfaces.h"
#include "host/SchInterfaces.h"

namespace orcadx::dbo {
class TDboDesign;
class TDboObject;
class TDboBaseObject;
class TDboFont;
class TDboGraphicInstanceList;
struct LogFontA;
}  // namespace orcadx::dbo

namespace orcadx::importer {

// Parameters collected for one record before they are placed on their host object. The entries are
// free host objects (in no container) until PlaceParameter adds them or they are destroyed.
using ParameterList = std::vector<host::ISch_Parameter*>;

// `value` held to the 32-bit range of host coordinates: a Capture coordinate far out stops at the
// edge of the host's plane instead of wrapping round to the other side.
int32_t SaturateCoord(int64_t value);

// Colour code of a Capture object that means "the default colour".
constexpr int kDefaultColorCode = 48;

// Fill of a rectangle when the option for default component fill is on.
constexpr int32_t kComponentFillLineColor = 128;
constexpr int32_t kComponentFillAreaColor = 0xB0FFFF;

class TSCHImporter {
public:
    // `design` is the loaded Capture file; `options` and `log` may be null.
    TSCHImporter(host::IHostApplication& host, dbo::TDboDesign* design, host::IOrcadImporterOption* options,
                 host::ILogSection* log);
    virtual ~TSCHImporter();
    TSCHImporter(const TSCHImporter&) = delete;
    TSCHImporter& operator=(const TSCHImporter&) = delete;

    virtual void RunImport() = 0;

    host::IHostApplication& Host;
    dbo::TDboDesign* Design;
    host::IOrcadImporterOption* Options;
    host::ILogSection* Log;

    // The schematic server; raises EApiErr when it isn't running.
    host::ISch_ServerInterface& Server() const;
    // A new free host object of `kind`, seen through interface T; null when the host gives none or
    // an object without that interface (which is then destroyed).
    template <class T>
    T* CreateObject(int32_t kind) const {
        host::ISch_BasicContainer* object = Server().CreateSchObject(kind, 0);
        if (!object) return nullptr;
        if (auto* typed = dynamic_cast<T*>(object)) return typed;
        Server().DestroySchObject(object);
        return nullptr;
    }

    // The option values; an absent option object gives false or 0.
    int32_t ImportScale() const;
    bool AutoPositionParameters() const;
    bool DefaultComponentFill() const;
    bool SkipTitleBlocks() const;

    void LogMessage(int32_t severity, const std::string& text) const;
};

class TSCHCommonImporter : public TSCHImporter {
public:
    using TSCHImporter::TSCHImporter;

    // The host document being filled (a sheet or a library) and the object that receives created
    // primitives.
    host::ISch_Document* Document = nullptr;
    host::ISch_BasicContainer* Container = nullptr;
    // The Capture object whose drawing is being translated (page, view, symbol, IEEE symbol).
    dbo::TDboObject* DrawingOwner = nullptr;
    // Added to every coordinate before scaling (Capture units); set while an IEEE symbol is drawn.
    int32_t OffsetX = 0;
    int32_t OffsetY = 0;

    // ----- Properties that become parameters ---------------------------------------------------
    virtual void ImportVisibleProperties(dbo::TDboBaseObject* object, host::ISch_BasicContainer* hostObject,
                                         ParameterList& parameters);
    virtual void ImportProperties(dbo::TDboBaseObject* object, ParameterList& parameters);

    // ----- Drawing records ---------------------------------------------------------------------
    // Each takes the library object itself or a page instance that wraps it, raises for any other
    // class, and gives the new free host object, or null when the host gave none.
    virtual host::ISch_GraphicalObject* ImportPolyLine(dbo::TDboObject* instance);
    virtual host::ISch_GraphicalObject* ImportLine(dbo::TDboObject* instance);
    virtual host::ISch_GraphicalObject* ImportFilledGraphic(dbo::TDboObject* instance);
    virtual host::ISch_GraphicalObject* ImportBox(dbo::TDboObject* instance);
    virtual host::ISch_GraphicalObject* ImportEllipse(dbo::TDboObject* instance);
    virtual host::ISch_GraphicalObject* ImportArc(dbo::TDboObject* instance);
    virtual host::ISch_GraphicalObject* ImportCommentText(dbo::TDboObject* instance);
    virtual host::ISch_GraphicalObject* ImportBitmap(dbo::TDboObject* instance);
    virtual host::ISch_GraphicalObject* ImportBezier(dbo::TDboObject* instance);
    // Draws the symbol's own graphics into the library's current component, offset by its location.
    virtual void ImportIEEE(dbo::TDboObject* instance);

    // ----- Coordinates -------------------------------------------------------------------------
    // The low 16 bits of `value` as a signed number, plus the offset, scaled; y turned upward.
    virtual int32_t ToCoordX(int32_t value);
    virtual int32_t ToCoordY(int32_t value);
    // A length in Capture units as host units: value * 100000, or with an import scale above 0
    // round(value / 10 * scale), half to even. Results past the 32-bit range saturate.
    virtual int32_t ScaleCoord(int64_t value);

    // ----- Drawing lists -----------------------------------------------------------------------
    // Translates every record of `list` into `container`: drawings first, comment texts after them
    // so that text lies on top. OLE objects and unknown records are logged and skipped.
    void ImportGraphics(dbo::TDboGraphicInstanceList& list, host::ISch_BasicContainer* container);
    // Puts a translated drawing into `container`; inside a component it joins the current part and
    // display mode, and a rectangle gets the default component fill when that option is on.
    void AddGraphic(host::ISch_GraphicalObject* object, host::ISch_BasicContainer* container);

    // ----- Colours, widths, styles -------------------------------------------------------------
    // The host colour (0xBBGGRR) of a Capture colour code. Codes outside the table (6, 46, above
    // 48) are taken as the default, 48.
    static int32_t MapColor(int code);
    // Code 48, and codes outside the table, are the default colour.
    static bool IsDefaultColor(int code);
    // True when a drawing of this colour code sets its colour: any code but the default, and the
    // default too while a title block symbol (64) or a page (10) is drawn.
    bool WantsColor(int code) const;
    static int32_t MapWidth(int32_t width);
    static int32_t MapLineStyle(int32_t style);

    // ----- Fonts and texts ---------------------------------------------------------------------
    // The host font of font record `fontIndex` - 1 of the file, or of default font `defaultIndex`
    // when there is none or it yields no host font; -1 when neither does. `used` receives the record
    // that gave the font.
    int32_t ResolveFont(int fontIndex, int defaultIndex, bool withGrowth, const dbo::TDboFont** used = nullptr);
    // The host font of a Windows font; -1 for a size of 32767 points or more.
    int32_t HostFontFromLogFont(const dbo::LogFontA& font, bool withGrowth);
    // The host font of `size` points, no styles, in the default face.
    int32_t DefaultFaceFont(int32_t size);
    // Width and height in host units of a text's shown extent.
    void TextExtent(host::ISch_Label* text, int32_t& width, int32_t& height);
    // Turns a text about its location the way Capture turns a text on a page: quarter turns
    // `rotation`, the location moved so that the text covers the same area.
    void TurnText(host::ISch_Label* text, int rotation);
    // TurnText and justification bottom left.
    void TurnParameter(host::ISch_Parameter* parameter, int rotation);

    // ----- Parameters --------------------------------------------------------------------------
    // The first parameter (kind 27, at any depth) of `object` named `name`, ASCII case ignored.
    host::ISch_Parameter* FindParameter(host::ISch_BasicContainer* object, const std::string& name);
    static void CopyParameter(host::ISch_Parameter* from, host::ISch_Parameter* to);
    static void CopyToText(host::ISch_Parameter* from, host::ISch_ComplexText* to);
    // A new free parameter: hidden, name not shown, part 1.
    host::ISch_Parameter* NewParameter(const std::string& name);
    // Puts a finished parameter where it belongs on `hostObject`; true when it was added to it as a
    // new child, false when it went into an existing text (the caller then destroys it).
    bool PlaceParameter(host::ISch_Parameter* parameter, host::ISch_BasicContainer* hostObject);
    // The properties of `object` (user and visible) onto `hostObject`, merged with the parameters
    // that it has already.
    void ImportObjectProperties(dbo::TDboBaseObject* object, host::ISch_BasicContainer* hostObject);
    // Removes the first parameter named `name` from `hostObject`.
    void RemoveParameter(host::ISch_BasicContainer* hostObject, const std::string& name);
    // Destroys every entry of the list (free parameters that found no place).
    void DestroyParameters(ParameterList& parameters);

protected:
    // Comment text as a single-line label, and as a multi-line frame.
    host::ISch_GraphicalObject* ImportLabel(dbo::TDboObject* record, int colorCode);
    host::ISch_GraphicalObject* ImportTextFrame(dbo::TDboObject* record, int colorCode);
    // Sets LineWidth from a Capture width through the host, as the two width rules do.
    template <class T>
    void SetLineWidth(T* object, int32_t width, bool keepZero) {
        object->SetState_LineWidth(width);
        int32_t read = object->GetState_LineWidth();
        object->SetState_LineWidth(keepZero && read == 0 ? 0 : MapWidth(read));
    }
};

// The 16-bit signed value of the low half of a word, as coordinates of Capture records are read.
constexpr int32_t LowSigned16(int32_t value) { return static_cast<int16_t>(static_cast<uint16_t>(value & 0xFFFF)); }

// Integer text as a whole number, or `fallback` when it is none.
int64_t TextToInt(const std::string& text, int64_t fallback);

}  // namespace orcadx::importer
