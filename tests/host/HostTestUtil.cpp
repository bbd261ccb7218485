#include "HostTestUtil.h"

#include <fstream>
#include <iterator>

#include "host/ClientServices.h"

namespace orcadx::test {

using namespace orcadx::host;

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void WriteTinyPng(const std::filesystem::path& path) {
    // 2x2 RGB: red, green, blue, white.
    static const unsigned char png[] = {
        0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44, 0x52, 0x00, 0x00,
        0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x08, 0x02, 0x00, 0x00, 0x00, 0xFD, 0xD4, 0x9A, 0x73, 0x00, 0x00, 0x00,
        0x12, 0x49, 0x44, 0x41, 0x54, 0x78, 0x9C, 0x63, 0xF8, 0xCF, 0xC0, 0xC0, 0x00, 0xC2, 0x0C, 0xFF, 0x81, 0x00,
        0x00, 0x1F, 0xEE, 0x05, 0xFB, 0x0B, 0xD9, 0x68, 0x8B, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE,
        0x42, 0x60, 0x82};
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(png), sizeof png);
}

ISch_Component* MakeComponent(IHostApplication& app, const std::string& libReference) {
    auto* c = Make<ISch_Component>(app, eSchComponent);
    c->SetState_LibReference(libReference);
    c->GetState_SchDesignator()->SetState_Text("R1");
    c->GetState_SchComment()->SetState_Text("10k");
    auto* body = Make<ISch_Rectangle>(app, eRectangle);
    body->SetState_Location({0, Mil(-100)});
    body->SetState_Corner({Mil(300), 0});
    body->SetState_OwnerPartId(1);
    c->AddSchObject(body);
    for (int i = 0; i < 2; ++i) {
        auto* pin = Make<ISch_Pin>(app, ePin);
        pin->SetState_Name(i == 0 ? "A" : "B");
        pin->SetState_Designator(std::to_string(i + 1));
        pin->SetState_Location({i == 0 ? 0 : Mil(300), Mil(-50)});
        pin->SetState_Orientation(i == 0 ? 2 : 0);
        pin->SetState_PinLength(Mil(100));
        pin->SetState_OwnerPartId(1);
        if (i == 1) {
            pin->SetState_OuterEdge(3);
            pin->SetState_InnerEdge(1);
        }
        c->AddSchObject(pin);
    }
    auto* value = Make<ISch_Parameter>(app, eParameter);
    value->SetState_Name("Tolerance");
    value->SetState_Text("5%");
    value->SetState_ShowName(true);
    value->SetState_Location({0, Mil(-200)});
    c->AddSchObject(value);
    ISch_Implementation* footprint = c->AddImplementation();
    footprint->SetState_ModelName("AXIAL-0.4");
    footprint->SetState_ModelType("PCBLIB");
    footprint->SetState_IsCurrent(true);
    auto* ieee = Make<ISch_Symbol>(app, eSymbol);
    ieee->SetState_Symbol(1);
    ieee->SetState_Location({Mil(150), Mil(-50)});
    ieee->SetState_OwnerPartId(1);
    c->AddSchObject(ieee);
    return c;
}

ISch_Sheet* BuildSampleSheet(HostApplication& app, const std::filesystem::path& path) {
    app.StartSchServer();
    IServerDocument* server = OpenOrCreateDocument(app, path.string(), "SCH", "Binary", true);
    auto* sheet = dynamic_cast<ISch_Sheet*>(app.SchDocumentOf(server));
    sheet->SetState_SheetStyle(13);  // OrCAD A
    auto add = [&](ISch_BasicContainer* o) { sheet->AddSchObject(o); };

    auto* rect = Make<ISch_Rectangle>(app, eRectangle);
    rect->SetState_Location({Mil(500), Mil(5000)});
    rect->SetState_Corner({Mil(1500), Mil(5800)});
    add(rect);
    auto* line = Make<ISch_Line>(app, eLine);
    line->SetState_Location({Mil(500), Mil(4800)});
    line->SetState_Corner({Mil(1500), Mil(4800)});
    line->SetState_LineStyle(1);
    add(line);
    auto* arc = Make<ISch_Arc>(app, eArc);
    arc->SetState_Location({Mil(2000), Mil(5400)});
    arc->SetState_Radius(Mil(300));
    arc->SetState_StartAngle(0);
    arc->SetState_EndAngle(200);
    add(arc);
    auto* earc = Make<ISch_EllipticalArc>(app, eEllipticalArc);
    earc->SetState_Location({Mil(2800), Mil(5400)});
    earc->SetState_Radius(Mil(300));
    earc->SetState_SecondaryRadius(Mil(150));
    earc->SetState_StartAngle(90);
    earc->SetState_EndAngle(360);
    add(earc);
    auto* rrect = Make<ISch_RoundRectangle>(app, eRoundRectangle);
    rrect->SetState_Location({Mil(3400), Mil(5000)});
    rrect->SetState_Corner({Mil(4200), Mil(5800)});
    rrect->SetState_AreaColor(0x00FF00);
    add(rrect);
    auto png = path.parent_path() / "picture.png";
    WriteTinyPng(png);
    auto* image = Make<ISch_Image>(app, eImage);
    image->SetState_Location({Mil(4400), Mil(5000)});
    image->SetState_Corner({Mil(5200), Mil(5800)});
    image->SetState_FileName(png.string());
    image->SetState_EmbedImage(true);
    add(image);
    std::filesystem::remove(png);
    auto* pie = Make<ISch_Pie>(app, ePie);
    pie->SetState_Location({Mil(5800), Mil(5400)});
    pie->SetState_Radius(Mil(300));
    pie->SetState_StartAngle(30);
    pie->SetState_EndAngle(300);
    add(pie);
    auto* frame = Make<ISch_TextFrame>(app, eTextFrame);
    frame->SetState_Location({Mil(6400), Mil(5000)});
    frame->SetState_Corner({Mil(8000), Mil(5800)});
    frame->SetState_Text("First line\r\nSecond line");
    frame->SetState_ShowBorder(true);
    frame->SetState_FontId(app.SchServer()->GetFontManager()->GetFontID(12, 0, false, true, false, false, "Arial"));
    add(frame);
    auto* ellipse = Make<ISch_Ellipse>(app, eEllipse);
    ellipse->SetState_Location({Mil(8600), Mil(5400)});
    ellipse->SetState_Radius(Mil(400));
    ellipse->SetState_SecondaryRadius(Mil(250));
    add(ellipse);
    auto* polygon = Make<ISch_Polygon>(app, ePolygon);
    polygon->SetState_VertexCount(3);
    polygon->SetState_Vertex(1, {Mil(500), Mil(4000)});
    polygon->SetState_Vertex(2, {Mil(1000), Mil(4600)});
    polygon->SetState_Vertex(3, {Mil(1500), Mil(4000)});
    add(polygon);
    auto* polyline = Make<ISch_Polyline>(app, ePolyline);
    polyline->SetState_VertexCount(3);
    polyline->SetState_Vertex(1, {Mil(1800), Mil(4000)});
    polyline->SetState_Vertex(2, {Mil(2200), Mil(4600)});
    polyline->SetState_Vertex(3, {Mil(2600), Mil(4000)});
    polyline->SetState_LineWidth(2);
    add(polyline);
    auto* bezier = Make<ISch_Bezier>(app, eBezier);
    for (Coord p : {Coord{Mil(2900), Mil(4000)}, Coord{Mil(3100), Mil(4800)}, Coord{Mil(3400), Mil(3400)},
                    Coord{Mil(3600), Mil(4200)}})
        bezier->InsertVertex(bezier->GetState_VertexCount() + 1, p);
    add(bezier);
    auto* label = Make<ISch_Label>(app, eLabel);
    label->SetState_Location({Mil(4000), Mil(4200)});
    label->SetState_Text("Sample sheet");
    label->SetState_FontId(app.SchServer()->GetFontManager()->GetFontID(20, 0, false, false, true, false, "Arial"));
    add(label);

    // Connectivity: a component with wires to a power object, a port and an off-sheet connector.
    ISch_Component* r1 = MakeComponent(app, "RES");
    add(r1);
    r1->MoveToXY(Mil(2000), Mil(2500));
    auto* w1 = Make<ISch_Wire>(app, eWire);
    w1->SetState_VertexCount(2);
    w1->SetState_Vertex(1, {Mil(1900), Mil(2450)});
    w1->SetState_Vertex(2, {Mil(1200), Mil(2450)});
    add(w1);
    auto* w2 = Make<ISch_Wire>(app, eWire);
    w2->SetState_VertexCount(3);
    w2->SetState_Vertex(1, {Mil(2400), Mil(2450)});
    w2->SetState_Vertex(2, {Mil(3200), Mil(2450)});
    w2->SetState_Vertex(3, {Mil(3200), Mil(3000)});
    add(w2);
    auto* w3 = Make<ISch_Wire>(app, eWire);
    w3->SetState_VertexCount(2);
    w3->SetState_Vertex(1, {Mil(2800), Mil(2450)});
    w3->SetState_Vertex(2, {Mil(2800), Mil(2000)});
    add(w3);
    auto* junction = Make<ISch_Junction>(app, eJunction);
    junction->SetState_Location({Mil(2800), Mil(2450)});
    junction->SetState_Locked(true);
    add(junction);
    auto* power = Make<ISch_PowerObject>(app, ePowerObject);
    power->SetState_Location({Mil(3200), Mil(3000)});
    power->SetState_Text("VCC");
    power->SetState_Style(2);
    add(power);
    auto* gnd = Make<ISch_PowerObject>(app, ePowerObject);
    gnd->SetState_Location({Mil(2800), Mil(2000)});
    gnd->SetState_Text("GND");
    gnd->SetState_Style(4);
    gnd->SetState_Orientation(3);
    add(gnd);
    auto* port = Make<ISch_Port>(app, ePort);
    port->SetState_Location({Mil(700), Mil(2450)});
    port->SetState_Name("IN");
    port->SetState_Style(2);
    port->SetState_IOType(2);
    add(port);
    auto* netLabel = Make<ISch_NetLabel>(app, eNetLabel);
    netLabel->SetState_Location({Mil(1400), Mil(2450)});
    netLabel->SetState_Text("SIGNAL");
    add(netLabel);
    auto* offSheet = Make<ISch_CrossSheetConnector>(app, eCrossSheetConnector);
    offSheet->SetState_Location({Mil(1200), Mil(2450)});
    offSheet->SetState_Side(0);
    offSheet->SetState_Text("SIGNAL");
    offSheet->SetState_Orientation(2);
    add(offSheet);
    auto* noErc = Make<ISch_NoERC>(app, eNoERC);
    noErc->SetState_Location({Mil(3200), Mil(2450)});
    add(noErc);

    auto* bus = Make<ISch_Bus>(app, eBus);
    bus->SetState_VertexCount(2);
    bus->SetState_Vertex(1, {Mil(5000), Mil(1000)});
    bus->SetState_Vertex(2, {Mil(5000), Mil(3500)});
    add(bus);
    auto* entry = Make<ISch_BusEntry>(app, eBusEntry);
    entry->SetState_Location({Mil(5000), Mil(2000)});
    entry->SetState_Corner({Mil(5100), Mil(2100)});
    add(entry);
    auto* busLabel = Make<ISch_NetLabel>(app, eNetLabel);
    busLabel->SetState_Location({Mil(5000), Mil(3000)});
    busLabel->SetState_Text("D[0..7]");
    busLabel->SetState_Orientation(1);
    add(busLabel);

    auto* symbol = Make<ISch_SheetSymbol>(app, eSheetSymbol);
    symbol->SetState_Location({Mil(6000), Mil(3500)});
    symbol->SetState_XSize(Mil(1200));
    symbol->SetState_YSize(Mil(800));
    symbol->GetState_SheetName()->SetState_Text("Power");
    symbol->GetState_SheetFileName()->SetState_Text("Power.SchDoc");
    auto* sheetEntry = Make<ISch_SheetEntry>(app, eSheetEntry);
    sheetEntry->SetState_Name("VIN");
    sheetEntry->SetState_Side(0);
    sheetEntry->SetState_DistanceFromTop(Mil(200));
    symbol->AddSchObject(sheetEntry);
    add(symbol);

    auto* bundle = Make<ISch_BundleBlock>(app, eBundleBlock);
    bundle->SetState_Location({Mil(8000), Mil(3500)});
    bundle->SetState_Name("BUS1");
    bundle->GetState_Edge()->SetState_Name("A");
    add(bundle);

    SaveDocument(app, server, true, "Binary");
    return sheet;
}

ISch_Lib* BuildSampleLibrary(HostApplication& app, const std::filesystem::path& path) {
    app.StartSchServer();
    IServerDocument* server = OpenOrCreateDocument(app, path.string(), "SCHLIB", "Binary", true);
    auto* lib = dynamic_cast<ISch_Lib*>(app.SchDocumentOf(server));
    RemoveLibraryComponent(app, lib, "Component_1");
    ISch_Component* res = MakeComponent(app, "RES");
    res->SetState_PartCount(2);
    auto* second = Make<ISch_Ellipse>(app, eEllipse);
    second->SetState_OwnerPartId(2);
    second->SetState_Radius(Mil(100));
    second->SetState_SecondaryRadius(Mil(100));
    res->AddSchObject(second);
    lib->AddSchComponent(res);
    ISch_Component* cap = MakeComponent(app, "CAP/X");
    lib->AddSchComponent(cap);
    SaveDocument(app, server, true, "Binary");
    return lib;
}

}  // namespace orcadx::test
