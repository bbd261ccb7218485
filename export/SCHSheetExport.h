// One host schematic sheet becomes one Capture page: the page's size and origin, the nets of the
// compiled sheet, wires and buses cut wherever something connects to them, junction marks, net
// labels and bus entries; and the objects placed on the sheet (parts with their pin records, title
// blocks, sheet symbols with their entries, ports, power objects, off-sheet connectors).
//
// Library parts and symbols are looked up by name in the design, which the caller fills first
// (library export of the project's components and of the standard symbols). A part whose component
// isn't there, and a power object or off-sheet connector whose symbol isn't there, are left out of
// the page without a message.
//
// Use: make one exporter per sheet, all of them before the first RunExport (each creation names
// its page through the shared name manager, so that sheet symbols on any sheet find the page of
// their target), then RunExport each and hand the page to a view of the design.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "export/Manage_PageNames.h"
#include "export/SCHExport.h"

namespace orcadx::dbo {
class TDboLibComponent;
class TDboLibSymbol;
class TDboLibView;
class TDboPage;
}  // namespace orcadx::dbo

namespace orcadx::exporter {

// Host IO type of a port or sheet entry (0 unspecified, 1 output, 2 input, 3 bidirectional) to the
// Capture port and pin type: 1 gives 2, 2 gives 0, 3 gives 1, anything else 4.
int32_t ConvertIoType(int32_t ioType);

// Distance of P from the segment A-B, computed on single-precision coordinates and capped at
// 32000.
double PointToSegmentDistance(host::Coord p, host::Coord a, host::Coord b);
// P lies on the segment A-B (closer than 0.1); with `excludeEnds`, never when P is one of the ends.
bool PointOnSegment(host::Coord p, host::Coord a, host::Coord b, bool excludeEnds);

class TSCHSheetExporter : public TSCHCommonExporter {
public:
    // Names the page after the sheet's file (through `pageNames`, with an empty view name) and sets
    // its size, zones and margin. `compiledDocument` is the workspace's document of the sheet after
    // a compile: it gives the nets (none when null). `project` resolves the file names of sheet
    // symbols to the project's documents; it may be null. Neither the page nor the name manager is
    // owned.
    TSCHSheetExporter(host::IHostApplication& host, dbo::TDboDesign* design, dbo::TDboPage* page,
                      host::ISch_Document* sheet, host::IDocument* compiledDocument, TPageNameManager* pageNames,
                      host::IProject* project = nullptr);

    host::ISch_Document* Sheet;
    host::IDocument* CompiledDocument;
    dbo::TDboPage* Page;
    TPageNameManager* PageNames;
    host::IProject* Project;
    int32_t PageTop = 0;  // Capture units

    // Fills the page. Adds vertices to the sheet's wires where they are cut.
    void RunExport() override;
    // Host units to page units: the origin at the inner top left corner of the sheet's border.
    int32_t ConvertX(int32_t value) override;
    int32_t ConvertY(int32_t value) override;

    // Something electrical ends at the point (host units): a wire or bus vertex, or a pin's far end.
    bool HasConnectionAt(int32_t x, int32_t y);
    // A junction object stands at the point, or three or more objects meet there.
    bool HasJunctionAt(int32_t x, int32_t y);

    // Inserts a vertex into the wire or bus at each junction, pin end and connection of three or
    // more objects that lies inside one of its segments (at most 50 vertices).
    void SplitWireAtConnections(host::ISch_BasicContainer* wire);
    // The NetID of the first compiled net that holds the wire, -1 when none does.
    int32_t FindNetId(host::ISch_BasicContainer* wire);

    // One record per segment of a wire or bus onto `list`; a wire also gets a wire net.
    virtual void ExportWire(host::ISch_BasicContainer* object, dbo::TDboStorableList& list);
    virtual std::unique_ptr<dbo::TDboObject> ExportPart(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportTitleBlock(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboPin> ExportSheetEntry(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportSheetSymbol(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportBusEntry(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportNetLabel(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportPowerObject(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportOffSheetConnector(host::ISch_BasicContainer* object);
    virtual std::unique_ptr<dbo::TDboObject> ExportPort(host::ISch_BasicContainer* object);

    // The view a placed part stands for: the named view of the component, else the first view of
    // its first package; null when the design has no such component.
    dbo::TDboLibView* FindView(const std::string& packageName, const std::string& viewName);
    // Library reference made legal, the part's letter when the component has several parts, then
    // ".Convert" or ".Normal" by the display mode.
    static std::string NormalViewName(host::ISch_Component* component, const std::string& name);

private:
    struct PointHash {
        size_t operator()(const host::Coord& c) const {
            return std::hash<uint64_t>()((uint64_t(uint32_t(c.X)) << 32) | uint32_t(c.Y));
        }
    };
    using PointSet = std::unordered_set<host::Coord, PointHash>;

    // Points sorted two ways, for the points on a segment without a search of all.
    class PointIndex {
    public:
        void Build(std::vector<host::Coord> points);
        // The points inside the bounding box of A-B (ends included).
        void Query(host::Coord a, host::Coord b, std::vector<host::Coord>& out) const;
        bool Empty() const { return byX_.empty(); }

    private:
        std::vector<host::Coord> byX_, byY_;
    };

    int32_t Margin();
    void ReadPageSize();
    void ExportNets();
    void ExportWires();
    void AttachNetLabels(dbo::TDboWireBus& record);
    // Exports each object of the kinds at depth 0 and adds what comes back to `list`.
    template <class Export>
    void ExportPass(const host::ObjectSet& kinds, dbo::TDboStorableList& list, Export exportOne);

    void BuildJunctionIndex();
    void BuildConnectionIndex();
    void BuildCutIndex();
    void BuildLabelIndex();
    void BuildNetIndex();

    dbo::TDboLibComponent* FindComponent(const std::string& name);
    dbo::TDboLibSymbol* FindSymbol(const std::string& name);
    // Places a power object or off-sheet connector by its symbol's extents and first pin; false when
    // the design has no symbol of the record's name.
    bool SymbolGeometry(dbo::TDboPortInst& record, host::Coord location, int32_t& sx, int32_t& sy);
    void AddPinRecords(dbo::TDboPart& part, dbo::TDboLibView& view);
    void AddTextProperty(dbo::TDboBaseObject& owner, const std::string& name, const std::string& text,
                         host::ISch_ComplexText* object, host::Coord origin);
    std::string ResolveSheetFile(const std::string& text);
    int32_t TextWidth(const std::string& text);

    bool junctionsBuilt_ = false;
    PointSet junctions_;  // junction objects and connections of three or more
    bool connectionsBuilt_ = false;
    PointSet connections_;  // wire and bus vertices, pin far ends
    PointIndex cutPoints_;
    bool cutBuilt_ = false;
    struct Label {
        host::ISch_BasicContainer* Object;
        host::Coord Location;  // page units
        bool BusName;
    };
    std::vector<Label> labels_;
    PointIndex labelPoints_;
    std::unordered_map<host::Coord, std::vector<size_t>, PointHash> labelsAt_;
    bool labelsBuilt_ = false;
    std::unordered_map<std::string, int32_t> netOfWire_;  // unique id to the net's position
    std::vector<std::string> netNames_;
    std::unordered_map<std::string, int32_t> netIdOfName_;  // folded name to its first NetID
    bool netsBuilt_ = false;
    std::unordered_map<std::string, dbo::TDboLibComponent*> components_;
    std::unordered_map<std::string, dbo::TDboLibSymbol*> symbols_;
    bool libraryIndexed_ = false;
    std::unordered_map<std::string, std::string> projectFiles_;  // folded file name to full path
    bool projectIndexed_ = false;
    PointSet noErcAt_;  // page units
    bool noErcBuilt_ = false;
};

}  // namespace orcadx::exporter
