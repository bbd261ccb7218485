// Bases of every exporter, and the translation of one host drawing object (rectangle, line, arc,
// text, pin, parameter ...) into the matching record of the Capture object model: units, angles,
// colours, line widths and styles, fills. A derived exporter (a library view, a sheet) supplies the
// host container, the list to fill, the coordinate conversion and the object factory.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboObjects.h"
#include "host/ClientInterfaces.h"

namespace orcadx::exporter {

// One Capture unit is this many host units.
constexpr int32_t kHostUnitsPerCaptureUnit = 100000;

// The drawing kinds an exporter turns into graphics, and the kind of pins.
const host::ObjectSet& GraphicsKindSet();
const host::ObjectSet& PinKindSet();

// The Capture type code of the record for a host drawing kind: a page instance, or the library
// object when `library`; -1 for a kind that has none.
int GraphicTypeCode(int32_t kind, bool library);

// Host colour (0x00BBGGRR) to a Capture colour code.
int ConvertColor(int32_t hostColor);
// Host line width (0 smallest, 1 small, 2 medium, 3 large) to a Capture LineWidth.
int ConvertLineWidth(int32_t hostWidth);
// Host line style (0 solid, 1 dashed, 2 dotted) to a Capture LineStyle.
int ConvertLineStyle(int32_t hostStyle);

// The name of `text` for "LibReference" and the like, with each of " * , . / : ; < = > ? \ |
// replaced by "_".
std::string LegalName(const std::string& text);

// The letter of part `index` (from 1) of a component of several parts: "A", "B", ... and on past
// "Z" through the following character codes (as UTF-8).
std::string PartLetter(int index);

// The first parameter of the object with exactly this name, or null.
host::ISch_Parameter* FindParameter(host::ISch_BasicContainer* object, const std::string& name);

// A pin record for a pin or sheet entry of that name: a bus pin when the name holds "..".
std::unique_ptr<dbo::TDboPin> NewPinFor(dbo::TDboBaseDesign* design, const std::string& name);

// The footprint of a component: the model name of its current "PCBLIB" implementation, else of
// the last one; empty when it has none.
std::string FootprintName(host::ISch_Component* component);

class TSCHExporter {
public:
    explicit TSCHExporter(dbo::TDboDesign* design) : Design(design) {}
    virtual ~TSCHExporter() = default;
    TSCHExporter(const TSCHExporter&) = delete;
    TSCHExporter& operator=(const TSCHExporter&) = delete;

    dbo::TDboDesign* Design;

    virtual void RunExport() = 0;
};

class TSCHCommonExporter : public TSCHExporter {
public:
    // Reads the option "ExportHollowRectangles" of the host's "Penwork.Ini".
    TSCHCommonExporter(host::IHostApplication& host, dbo::TDboDesign* design, host::ISch_BasicContainer* container);

    host::IHostApplication& Host;
    host::ISch_BasicContainer* Container;
    bool ExportHollowRectangles = true;

    // The objects of `Container` of the kinds given, at depth 0 (direct children) or 2 (with what
    // they hold); for a component only those of its current part and display mode. For a library
    // the pins are those of the current component's current part, and null entries may remain.
    virtual void CollectObjects(std::vector<host::ISch_BasicContainer*>& list, const host::ObjectSet& kinds,
                                int32_t depth);
    // A new record for a host object kind: a page instance here, a library object in a library;
    // null for a kind that has none.
    virtual std::unique_ptr<dbo::TDboObject> CreateDboObject(int32_t kind);
    virtual std::unique_ptr<dbo::TDboObject> ExportLabel(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportTextFrame(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportArc(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportBezier(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportEllipse(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportEllipticalArc(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportImage(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportLine(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportPie(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportPolygon(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportPolyline(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportRectangle(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportRoundRectangle(host::ISch_BasicContainer* object);
    virtual void ExportParameter(dbo::TDboBaseObject* owner, host::Coord origin, host::ISch_Parameter* parameter);
    virtual std::unique_ptr<dbo::TDboPin> ExportPin(host::ISch_BasicContainer* object);
    virtual int32_t ConvertX(int32_t value);
    virtual int32_t ConvertY(int32_t value);
    virtual int32_t ConvertSize(int32_t value);

    // Every drawing object of `Container` (depth 0), appended to `target` in host order.
    void ExportGraphics(dbo::TDboStorableList& target);
    // Every pin of `Container` (depth 2), appended to `target`.
    void ExportPins(dbo::TDboStorableList& target);
    // The parameters of a component, pin, port or sheet symbol onto `owner`: hidden ones as plain
    // properties, shown ones as visible properties placed relative to `origin`.
    void ExportParameters(dbo::TDboBaseObject* owner, host::ISch_BasicContainer* object, host::Coord origin);
    // Rebuilds `fontList` from the font table, one font per host font that the host still knows.
    void ExportFonts(dbo::TDboFontList& fontList);

protected:
    // The export of one object by its kind; null for a kind without one or an object that lacks
    // the interface of its kind.
    std::unique_ptr<dbo::TDboObject> ExportObject(host::ISch_BasicContainer* object);
    // The full circle of an arc, through a temporary host ellipse.
    std::unique_ptr<dbo::TDboObject> ExportFullCircle(host::ISch_Arc* arc, int32_t secondaryRadius);
    std::unique_ptr<dbo::TDboObject> ExportArcCommon(host::ISch_Arc* arc, int32_t kind, int32_t r1, int32_t r2,
                                                     bool elliptical);
    std::unique_ptr<dbo::TDboObject> ExportVertices(host::ISch_Polygon* polygon, int32_t kind);
    std::unique_ptr<dbo::TDboObject> ExportBox(host::ISch_Rectangle* rectangle, int32_t kind, bool consultOption);
    std::unique_ptr<dbo::TDboObject> ExportText(host::ISch_GraphicalObject* object, int32_t kind, int32_t fontId,
                                                const std::string& text, int32_t rotation, const host::CoordRect& box,
                                                bool doubled);
};

// Writes the host library as a Capture library file of the given version. `results` gets, behind
// " | " when it isn't empty, "ExportedComponentCount=" with the number of components and symbols
// exported, then " | LibReference_<i>=<name>" for each. Failures are exceptions, and then no file
// is written. The font table starts empty: host font ids belong to one host session.
void ExportLibrary(host::IHostApplication& host, host::ISch_Lib* library, const std::string& fileName,
                   uint32_t version, std::string& results);

}  // namespace orcadx::exporter
