// The page importer: one Capture page becomes the contents of one host sheet. This covers the
// page as a whole and what carries connectivity on it: wires, buses, bus entries, net labels,
// ports, off-page connectors, power objects, no-connect markers and title blocks, with the
// junction analysis between the placed objects and the bus entries, and the page's drawings last.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "import/SCHBaseImport.h"

namespace orcadx::dbo {
class TDboBusEntry;
class TDboDRCMark;
class TDboBookMark;
class TDboHierarchicalBlock;
class TDboPart;
class TDboPin;
class TDboLibSymbol;
class TDboOffPage;
class TDboPage;
class TDboPinPropsList;
class TDboPort;
class TDboPortInst;
class TDboPower;
class TDboSimpleObjectList;
class TDboStorableList;
class TDboTitleBlock;
class TDboWireBus;
}  // namespace orcadx::dbo

namespace orcadx::exporter {
class TPageNameManager;
}

namespace orcadx::pspice {
class TPSpiceModelImportManager;
}

namespace orcadx::importer {

// "D[0:7]" and "D[0-7]" become "D[0..7]": between the first "[" and a "]" behind it, every ":" and
// then every "-" becomes "..". Other names stand.
std::string NormaliseBusName(const std::string& name);

// The host's port IOType of a Capture port or pin type: 0 unspecified, 1 output, 2 input,
// 3 bidirectional; always 0 under the native import rules.
int32_t MapPortType(int32_t type);

// The host's port style of a Capture port symbol at a rotation; 0 for a symbol outside the PORT
// and OFFPAGELEFT families.
int32_t MapPortStyle(int rotation, const std::string& symbolName);

// Width of a port that shows `text`: two characters more than the text (backslashes, which mark
// negation, don't count), at least six, of round(scale / 1.488002976005952e-5) host units each,
// rounded down to a multiple of 200000.
int32_t PortWidth(const std::string& text, int32_t scale);

// Where a port of the PORT family stands relative to its Capture location, in Capture units, and
// which end its text keeps to (alignment 1 left, 2 right).
struct PortPlace {
    int32_t dx = 0;
    int32_t dy = 0;
    int32_t alignment = 0;
};
std::optional<PortPlace> PortPlacement(const dbo::TDboPort& port);

// The setting ImportLockedJunctions: the key of that name in the section "OrCAD Translator" of
// "Penwork.Ini" in the host's settings folder, a number (not 0 is true) or "true"; false without it.
bool ReadImportLockedJunctions(host::IHostApplication& host);

class TSCHPageImporter : public TSCHCommonImporter {
public:
    // Fills `document` from `page`. `libraryName` is the full path of the host library that the
    // library import made from the same design; `pageNames` names the documents of all pages.
    // The log receives a section "Importing Sheet - " and the document's file name.
    TSCHPageImporter(host::IHostApplication& host, dbo::TDboDesign* design, const std::string& libraryName,
                     host::IOrcadImporterOption* options, host::ILogSection* log, dbo::TDboPage* page,
                     host::ISch_Document* document, exporter::TPageNameManager* pageNames);

    std::string LibraryName;
    bool ImportLockedJunctions = false;
    dbo::TDboPage* Page;
    exporter::TPageNameManager* PageNames;
    // Extracts the PSpice models that placed parts name; may be null.
    pspice::TPSpiceModelImportManager* ModelManager = nullptr;
    // Set when a part's PSpice template became a simulation model.
    bool TemplatesImported = false;
    std::vector<host::Coord> NoConnectPoints;

    void RunImport() override;

    // Page coordinates: the sheet's margin and height, rounded to its snap grid, place Capture's
    // top-left origin; y turns upward.
    int32_t ToCoordX(int32_t value) override;
    int32_t ToCoordY(int32_t value) override;

    // Translates the records of one page list, adding what they make to the document; then the
    // junctions of the list's wires and buses.
    void ImportList(dbo::TDboStorableList& list);

    // Junctions that Capture drew at the ends of a wire or bus, onto `list`.
    virtual void ImportJunctions(dbo::TDboWireBus& wire, std::vector<host::ISch_GraphicalObject*>& list);
    // The net names (aliases) of a wire or bus as net labels on it, and its shown properties as
    // labels.
    virtual void ImportNetNames(dbo::TDboWireBus& wire);
    virtual host::ISch_GraphicalObject* ImportWire(dbo::TDboWireBus& wire);
    virtual host::ISch_GraphicalObject* ImportBus(dbo::TDboWireBus& bus);
    virtual host::ISch_GraphicalObject* ImportBusEntry(dbo::TDboBusEntry& entry);
    virtual host::ISch_GraphicalObject* ImportPort(dbo::TDboPort& port);
    virtual host::ISch_GraphicalObject* ImportOffPage(dbo::TDboOffPage& offPage);
    virtual host::ISch_GraphicalObject* ImportOffPageAsPort(dbo::TDboOffPage& offPage);
    virtual host::ISch_GraphicalObject* ImportPower(dbo::TDboPower& power);
    virtual host::ISch_GraphicalObject* ImportTitleBlock(dbo::TDboTitleBlock& titleBlock);
    // Under the native import rules ports, off-page connectors and power objects are the library
    // components of their symbols, placed like parts.
    virtual host::ISch_GraphicalObject* ImportPortAsComponent(dbo::TDboPort& port);
    virtual host::ISch_GraphicalObject* ImportOffPageAsComponent(dbo::TDboOffPage& offPage);
    virtual host::ISch_GraphicalObject* ImportPowerAsComponent(dbo::TDboPower& power);
    // The properties of a native off-page connector as labels on the sheet beside it.
    void ImportOffPageLabels(dbo::TDboOffPage& offPage, host::ISch_Component* component);
    // DRC marks and bookmarks have nothing in the host: they make nothing.
    virtual host::ISch_GraphicalObject* ImportDRCMark(dbo::TDboDRCMark&) { return nullptr; }
    virtual host::ISch_GraphicalObject* ImportBookMark(dbo::TDboBookMark&) { return nullptr; }

    // ----- Placed parts and hierarchical blocks (SCHSheetImportParts.cpp) -----------------------
    // The part's library component, placed, turned, mirrored and given the part's properties. It
    // stands in the document already; null when the library has no such component.
    virtual host::ISch_GraphicalObject* ImportPart(dbo::TDboPart& part);
    // The PSpice model and template of a placed part.
    void ImportPartSimulation(dbo::TDboPart& part, host::ISch_Component* component);
    // A block as a sheet symbol naming the documents of the view it stands for.
    virtual host::ISch_GraphicalObject* ImportSheetSymbol(dbo::TDboHierarchicalBlock& block);
    // The block's pins as entries of the sheet symbol (which stands in the document).
    virtual void ImportSheetEntries(dbo::TDboHierarchicalBlock& block, host::ISch_SheetSymbol* symbol);
    virtual host::ISch_SheetEntry* ImportSheetEntry(dbo::TDboHierarchicalBlock& block, dbo::TDboPin& pin);
    // A block of the bundling kind as the host's bundle block with its edge.
    virtual host::ISch_GraphicalObject* ImportBundleBlock(dbo::TDboHierarchicalBlock& block);
    virtual void ImportBundleEntries(dbo::TDboHierarchicalBlock& block, host::ISch_BundleBlock* bundle);
    virtual void ImportBundleEntry(host::ISch_BundleEdge* entry, dbo::TDboHierarchicalBlock& block, dbo::TDboPin& pin);
    // Where a block's pin stands on the edge of the host's symbol: the side (0 left, 1 right, 2 top,
    // 3 bottom) and the distance from the top (left and right sides) or from the left end.
    // A block of the kind that bundles several connections.
    static bool IsBundleBlock(const dbo::TDboHierarchicalBlock& block);
    struct EdgePlace {
        int32_t Side = 0;
        int32_t DistanceFromTop = 0;
    };
    EdgePlace EdgePosition(dbo::TDboHierarchicalBlock& block, dbo::TDboPin& pin, bool bundle = false);
    // The block's width and height in host units: its library view's when it has one.
    void BlockSize(dbo::TDboHierarchicalBlock& block, int32_t& width, int32_t& height);

    // Pins of the current parts take their names and numbers from their parameters; the no-connect
    // points get their markers.
    void FinishPage();
    // Notes the place of every pin that Capture marks as not connected (negative pin number, no
    // wire).
    void CollectNoConnects(dbo::TDboPinPropsList& pinProps);

    // ----- Placed components (title blocks; parts and symbols build on these) ------------------
    // A free copy of the component `componentName` of the library `libraryName`, with a new unique
    // id when there is a workspace; null when the host has none.
    host::ISch_Component* LoadPlacedComponent(const std::string& libraryName, const std::string& componentName);
    // Width and height of a placed component: its bounding rectangle rounded to tens, or the
    // extents that the library left in its parameters "Vantor-Right" + suffix and "Vantor-Bottom" +
    // suffix (without suffix when those are missing).
    void ExtentsOf(host::ISch_Component* component, const host::CoordRect& bounds, const std::string& suffix,
                   int32_t& width, int32_t& height);
    // Moves the anchor (x, y) from Capture's corner of the symbol to the host's by the component's
    // orientation and mirroring.
    static void AnchorCorrection(host::ISch_Component* component, int32_t width, int32_t height, int32_t& x,
                                 int32_t& y);
    // Removes and destroys every parameter whose name begins with "Vantor-Right" or "Vantor-Bottom".
    void RemoveExtentParameters(host::ISch_Component* component);
    // The library's name of the component made from `name` of `library`: "_Dup" and a number for a
    // duplicate; `name` itself when the design has no such component or symbol.
    std::string CompNameFor(const std::string& name, const std::string& library) const;
    // Colours the drawing of a component (rectangles, lines, arcs, round rectangles, ellipses,
    // polygons, polylines), and fills it too when `fill`.
    static void PaintPrimitives(host::ISch_Component* component, int32_t color, bool fill);
    // Turns and mirrors a component standing at its location as Capture turns and mirrors a placed
    // symbol: mirror value 1 runs the quarter turns the other way.
    static void TurnAndMirror(host::ISch_Component* component, int rotation, int mirror);

    // ----- Symbols of power objects and off-page connectors -------------------------------------
    struct Geometry {
        host::Coord Location;
        int32_t Orientation = 0;
    };
    // The connection point and direction of a power object or off-page connector from its
    // symbol's first pin; nothing when the design has no such symbol or it has no pin.
    std::optional<Geometry> SymbolGeometry(dbo::TDboPortInst& object);
    // The design's symbol of that name, from that library when there is one of both.
    dbo::TDboLibSymbol* FindSymbol(const std::string& name, const std::string& libraryPath);

protected:
    enum class SymbolKind { Port, OffPage, Power };
    // The component of a port, off-page connector or power symbol, placed at the record.
    host::ISch_Component* ImportSymbolAsComponent(dbo::TDboPortInst& record, SymbolKind kind);
    // Moves a port by its width and swaps its sides, as a mirrored Capture port needs.
    void MirrorPort(host::ISch_Port* port);
    // An off-page connector of a symbol outside the OFFPAGELEFT family: logged.
    void UnknownOffPage(dbo::TDboOffPage& record, host::Coord location);
    // A port of a symbol outside the PORT family: logged, and placed from the symbol's size.
    void UnknownPort(dbo::TDboPort& record, host::ISch_Port* port);
    // The label of a shown property of a wire.
    void ImportWireProperty(dbo::TDboWireBus& wire, int index);
    // One junction at a point, unless one stands there already.
    void AddJunction(dbo::TDboWireBus& wire, host::Coord at, std::vector<host::ISch_GraphicalObject*>& list);
    std::string PointText(host::Coord location);

private:
    struct SheetFrame {
        int32_t Left = 0;  // margin, rounded up to the grid
        int32_t Top = 0;   // height less margin, rounded down to the grid
    };
    SheetFrame Frame();

    // Symbols by upper-case name, built on first use.
    std::unordered_map<std::string, std::vector<dbo::TDboLibSymbol*>> symbols_;
    bool symbolsIndexed_ = false;
    // Junction points placed so far (wires and buses apart).
    std::unordered_set<uint64_t> junctionAt_[2];
};

}  // namespace orcadx::importer
