// A host schematic library becomes the library side of a Capture design: one component (packages,
// views, parts, part pins) for each host component, one symbol for each host component that is a
// symbol (power, port, off-page connector, title block).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dbo/DboLibObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "export/SCHExport.h"

namespace orcadx::exporter {

// Walks a host library and exports each of its components.
class TSCHLibraryExporter : public TSCHCommonExporter {
public:
    // The library open in the host at `fileName`; none when that document isn't a library, and
    // then the export does nothing.
    TSCHLibraryExporter(host::IHostApplication& host, dbo::TDboDesign* design, const std::string& fileName);
    TSCHLibraryExporter(host::IHostApplication& host, dbo::TDboDesign* design, host::ISch_Lib* library);

    host::ISch_Lib* Library;
    // The name of each exported component and symbol, in export order.
    std::vector<std::string> ComponentNames;

    void RunExport() override;

private:
    bool IsSymbol(host::ISch_Component* component);
    int SymbolType(host::ISch_Component* component);
};

// Fills one library view or symbol with the drawing of a host component.
class TSCHCommonLibraryExporter : public TSCHCommonExporter {
public:
    using TSCHCommonExporter::TSCHCommonExporter;

    int32_t OriginX = 0;
    int32_t OriginY = 0;

    std::unique_ptr<dbo::TDboObject> CreateDboObject(int32_t kind) override;
    int32_t ConvertX(int32_t value) override;
    int32_t ConvertY(int32_t value) override;

    // Extents of the drawing in host units, sorted: left and top the smaller x and y, right and
    // bottom the larger (so that top is the lower edge in host terms).
    virtual void GetExtents(int32_t& left, int32_t& top, int32_t& right, int32_t& bottom);
    // The drawing, the IEEE symbols and the pins of the current part and display mode.
    virtual void ExportView(dbo::TDboLibBaseView* view);
    virtual void SetViewExtents(dbo::TDboLibBaseView* view);
    // The name recorded for the export's results.
    virtual std::string ComponentName() = 0;

protected:
    // The bounding rectangle of every drawing object of the container, in every part and mode:
    // left and bottom the smallest x and y, right and top the largest; with no drawing the start
    // values remain (left and bottom 0x7FFFFFFE, right and top -0x7FFFFFFE).
    void DrawingExtents(int32_t& left, int32_t& top, int32_t& right, int32_t& bottom);
};

class TSCHLibraryComponentExporter : public TSCHCommonLibraryExporter {
public:
    // Creates the Capture component, hands it to the design and measures the drawing.
    TSCHLibraryComponentExporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                 host::ISch_Component* component);

    host::ISch_Component* HostComponent;
    dbo::TDboLibComponent* LibComponent;  // owned by the design
    int32_t ExtentLeft = 0, ExtentBottom = 0, ExtentRight = 0, ExtentTop = 0;  // host units

    void RunExport() override;
    // Shifted so that the top left corner of the drawing's extents is (0, 0).
    int32_t ConvertX(int32_t value) override;
    int32_t ConvertY(int32_t value) override;
    // The unsorted extents: top is the upper edge in host terms.
    void GetExtents(int32_t& left, int32_t& top, int32_t& right, int32_t& bottom) override;
    void SetViewExtents(dbo::TDboLibBaseView* view) override;
    std::string ComponentName() override;

private:
    void ExportPackages(int parts);
    void ExportParts(int parts);
};

class TSCHLibrarySymbolExporter : public TSCHCommonLibraryExporter {
public:
    // `library` is the container: its iterators give the objects of its current component, which
    // is `component`. Raises when `symbolType` is no Capture symbol type (33, 34, 35 or 64).
    TSCHLibrarySymbolExporter(host::IHostApplication& host, dbo::TDboDesign* design, host::ISch_Lib* library,
                              host::ISch_Component* component, int symbolType);
    ~TSCHLibrarySymbolExporter() override;

    host::ISch_Component* HostComponent;
    dbo::TDboLibSymbol* Symbol;  // owned here until RunExport hands it to the design

    void RunExport() override;
    std::string ComponentName() override;

private:
    std::unique_ptr<dbo::TDboLibSymbol> owned_;
};

}  // namespace orcadx::exporter
