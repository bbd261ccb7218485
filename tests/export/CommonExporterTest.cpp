// Host drawing objects, pins and parameters become Capture records: units, colours, widths,
// fills, arcs and full circles, pies, texts, images, pins and their parameters, fonts, and the
// page form of each record.
#include <cmath>
#include <fstream>

#include "ExportTestSupport.h"
#include "dbo/DboLib.h"
#include "dbo/DboLibObjects.h"
#include "export/SCHExport.h"
#include "export/SCHLibraryExport.h"
#include "import/Manage_FontTable.h"

using namespace orcadx;
using namespace orcadx::host;
using exporter::TSCHCommonExporter;
using test::Unit;

namespace {

// The exporter of a page: the factory makes page instances.
struct PageExporter : TSCHCommonExporter {
    using TSCHCommonExporter::TSCHCommonExporter;
    void RunExport() override {}
};

// The exporter of a library view, unshifted: the factory makes library objects.
struct LibraryExporter : exporter::TSCHCommonLibraryExporter {
    using TSCHCommonLibraryExporter::TSCHCommonLibraryExporter;
    void RunExport() override {}
    std::string ComponentName() override { return ""; }
};

// The host colour of each Capture colour code, as the import reads it.
const std::pair<int, int32_t> kImportColors[] = {
    {1, 0x84FFFF},  {2, 0x84FF84},  {3, 0x84FF00},  {4, 0xFFFF84},  {5, 0xFF8200},  {7, 0xFF82FF},  {8, 0x0000FF},
    {9, 0x00FFFF},  {10, 0x00FF84}, {11, 0x42FF00}, {12, 0xFFFF00}, {13, 0xC68200}, {14, 0xC68284}, {15, 0xFF00FF},
    {16, 0x424184}, {17, 0x4282FF}, {18, 0x00FF00}, {19, 0x848200}, {20, 0x844100}, {21, 0xFF8284}, {22, 0x420084},
    {23, 0x8400FF}, {24, 0x000084}, {25, 0x0082FF}, {26, 0x008200}, {27, 0x428200}, {28, 0xFF0000}, {29, 0xA50000},
    {30, 0x840084}, {31, 0xFF0084}, {32, 0x000042}, {33, 0x004184}, {34, 0x004100}, {35, 0x424100}, {36, 0x840000},
    {37, 0x420000}, {38, 0x420042}, {39, 0x840042}, {41, 0x008284}, {42, 0x428284}, {43, 0x848284}, {44, 0x848242},
    {45, 0xC6C3C6}, {47, 0xFFFFFF}, {48, 0x000000},
};

class CommonExporter : public test::ExportFixture {
protected:
    void SetUp() override {
        ExportFixture::SetUp();
        design_ = NewDesign("Page.DSN");
        library_ = NewLibrary();
        component_ = AddComponent(library_, "PART");
    }
    // Exports one object through the page or the library factory.
    template <class T>
    T* Page(ISch_BasicContainer* object) {
        PageExporter exporter(App(), design_.get(), component_);
        keep_ = exportOne(exporter, object);
        return dynamic_cast<T*>(keep_.get());
    }
    template <class T>
    T* Lib(ISch_BasicContainer* object) {
        LibraryExporter exporter(App(), design_.get(), component_);
        keep_ = exportOne(exporter, object);
        return dynamic_cast<T*>(keep_.get());
    }
    std::unique_ptr<dbo::TDboObject> exportOne(TSCHCommonExporter& exporter, ISch_BasicContainer* object) {
        component_->AddSchObject(object);
        dbo::TDboGraphicInstanceList list(design_.get());
        exporter.ExportGraphics(list);
        component_->RemoveSchObject(object);
        Server()->DestroySchObject(object);
        if (list.Count() != 1) return nullptr;
        return std::unique_ptr<dbo::TDboObject>(static_cast<dbo::TDboObject*>(list.SetItems(0, nullptr).release()));
    }

    std::unique_ptr<dbo::TDboDesign> design_;
    ISch_Lib* library_ = nullptr;
    ISch_Component* component_ = nullptr;
    std::unique_ptr<dbo::TDboObject> keep_;
};

}  // namespace

TEST(ExportConversions, ColoursWidthsStylesUnitsAndNames) {
    using namespace exporter;
    // Every colour the import makes of a Capture code comes back as that code, but two: black is
    // the default colour 48 (never 40), and the import's 0xFF0000 for code 0 is code 28 here.
    for (auto [code, color] : kImportColors) {
        int expected = code == 40 ? 48 : code;
        EXPECT_EQ(ConvertColor(color), expected) << "code " << code;
    }
    EXPECT_EQ(ConvertColor(0xFF0000), 28);
    EXPECT_EQ(ConvertColor(0x8482FF), 0);
    EXPECT_EQ(ConvertColor(0x000001), 32);
    EXPECT_EQ(ConvertColor(0x808080), 43);
    EXPECT_EQ(ConvertColor(0xFFFFFE), 47);

    EXPECT_EQ(ConvertLineWidth(0), 0);
    EXPECT_EQ(ConvertLineWidth(1), 0);
    EXPECT_EQ(ConvertLineWidth(2), 1);
    EXPECT_EQ(ConvertLineWidth(3), 2);
    EXPECT_EQ(ConvertLineWidth(7), 2);
    EXPECT_EQ(ConvertLineStyle(1), 1);
    EXPECT_EQ(ConvertLineStyle(2), 2);
    EXPECT_EQ(ConvertLineStyle(3), 0);
    EXPECT_EQ(ConvertLineStyle(-1), 0);

    EXPECT_EQ(LegalName("A/B.C"), "A_B_C");
    EXPECT_EQ(LegalName("\"*,./:;<=>?\\|x-y_z [1]"), "_____________x-y_z [1]");
}

TEST_F(CommonExporter, UnitsTruncateTowardZeroAndYTurnsOver) {
    PageExporter exporter(App(), design_.get(), component_);
    EXPECT_EQ(exporter.ConvertX(99999), 0);
    EXPECT_EQ(exporter.ConvertX(-99999), 0);
    EXPECT_EQ(exporter.ConvertX(-100000), -1);
    EXPECT_EQ(exporter.ConvertX(250000), 2);
    EXPECT_EQ(exporter.ConvertY(250000), -2);
    EXPECT_EQ(exporter.ConvertY(-199999), 1);
    EXPECT_EQ(exporter.ConvertSize(Unit(30)), 30);
}

TEST_F(CommonExporter, LinesBoxesAndTheHollowRectangleOption) {
    auto* line = Make<ISch_Line>(eLine);
    line->SetState_Location({Unit(10), Unit(-20)});
    line->SetState_Corner({Unit(30), Unit(5)});
    line->SetState_LineWidth(2);
    line->SetState_LineStyle(1);
    line->SetState_Color(0x0000FF);
    auto* l = Lib<dbo::TDboLibLine>(line);
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(std::vector<int>({l->StartX, l->StartY, l->EndX, l->EndY}), std::vector<int>({10, 20, 30, -5}));
    EXPECT_EQ(l->LineWidth, 1);
    EXPECT_EQ(l->LineStyle, 1);
    EXPECT_EQ(l->GetColor(), 8);

    auto makeBox = [&](int32_t kind, bool solid) {
        auto* box = Make<ISch_Rectangle>(kind);
        box->SetState_Location({Unit(0), Unit(-10)});
        box->SetState_Corner({Unit(40), Unit(0)});
        box->SetState_IsSolid(solid);
        box->SetState_Color(0x0000FF);       // the line colour isn't exported
        box->SetState_AreaColor(0x00FF00);   // the fill colour is
        box->SetState_LineWidth(3);
        return box;
    };
    auto* b = Lib<dbo::TDboLibBox>(makeBox(eRectangle, true));
    ASSERT_NE(b, nullptr);
    // The corners stand as the host has them, unsorted: the lower left becomes "upper left".
    EXPECT_EQ(std::vector<int>({b->UpperLeftX, b->UpperLeftY, b->LowerRightX, b->LowerRightY}),
              std::vector<int>({0, 10, 40, 0}));
    EXPECT_EQ(b->FillStyle, 1);  // solid, but rectangles go out hollow unless the option says otherwise
    EXPECT_EQ(b->GetColor(), 18);
    EXPECT_EQ(b->LineWidth, 2);
    auto* rr = Lib<dbo::TDboLibBox>(makeBox(eRoundRectangle, true));
    ASSERT_NE(rr, nullptr);
    EXPECT_EQ(rr->FillStyle, 0);  // a round rectangle doesn't ask the option

    WriteSettings("[OrCAD Translator]\r\nExportHollowRectangles=0\r\n");
    b = Lib<dbo::TDboLibBox>(makeBox(eRectangle, true));
    EXPECT_EQ(b->FillStyle, 0);
    b = Lib<dbo::TDboLibBox>(makeBox(eRectangle, false));
    EXPECT_EQ(b->FillStyle, 1);
}

TEST_F(CommonExporter, EllipsesArcsFullCirclesAndPies) {
    auto* ellipse = Make<ISch_Ellipse>(eEllipse);
    ellipse->SetState_Location({Unit(50), Unit(-50)});
    ellipse->SetState_Radius(Unit(20));
    ellipse->SetState_SecondaryRadius(Unit(10));
    ellipse->SetState_IsSolid(true);
    ellipse->SetState_AreaColor(0xFFFFFF);
    auto* e = Lib<dbo::TDboLibEllipse>(ellipse);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(std::vector<int>({e->BoundBoxLeft, e->BoundBoxTop, e->BoundBoxRight, e->BoundBoxBott}),
              std::vector<int>({30, 40, 70, 60}));
    EXPECT_EQ(e->FillStyle, 0);
    EXPECT_EQ(e->GetColor(), 47);

    auto makeArc = [&](double start, double end) {
        auto* arc = Make<ISch_Arc>(eArc);
        arc->SetState_Location({Unit(100), Unit(0)});
        arc->SetState_Radius(Unit(10));
        arc->SetState_StartAngle(start);
        arc->SetState_EndAngle(end);
        arc->SetState_Color(0x0000FF);
        arc->SetState_LineWidth(2);
        return arc;
    };
    auto* a = Lib<dbo::TDboLibArc>(makeArc(0, 90));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(std::vector<int>({a->BoundBoxLeft, a->BoundBoxTop, a->BoundBoxRight, a->BoundBoxBott}),
              std::vector<int>({90, -10, 110, 10}));
    // The start stays the start; y changes sign.
    EXPECT_EQ(std::vector<int>({a->StartX, a->StartY, a->EndX, a->EndY}), std::vector<int>({110, 0, 100, -10}));
    EXPECT_EQ(a->LineWidth, 1);
    EXPECT_EQ(a->GetColor(), 8);
    a = Lib<dbo::TDboLibArc>(makeArc(350, 10));  // 340 degrees apart: still an arc
    ASSERT_NE(a, nullptr);
    // Rounded in host units, then cut to Capture units: 9.85 units past the centre give 109.
    EXPECT_EQ(a->StartX, (Unit(100) + std::lround(Unit(10) * std::cos(350 * M_PI / 180))) / 100000);
    EXPECT_EQ(a->StartX, 109);
    EXPECT_NE(Lib<dbo::TDboLibArc>(makeArc(0, 358.9)), nullptr);
    // 359.5 degrees is a full circle: a hollow ellipse through a temporary host object, coloured
    // with the fill colour that the host gives a new ellipse.
    size_t live = App().LiveObjectCount();
    auto* circle = Lib<dbo::TDboLibEllipse>(makeArc(0.25, 359.75));
    ASSERT_NE(circle, nullptr);
    EXPECT_EQ(App().LiveObjectCount(), live);  // the arc is gone, and so is the temporary ellipse
    EXPECT_EQ(std::vector<int>({circle->BoundBoxLeft, circle->BoundBoxTop, circle->BoundBoxRight, circle->BoundBoxBott}),
              std::vector<int>({90, -10, 110, 10}));
    EXPECT_EQ(circle->FillStyle, 1);
    auto* probe = Make<ISch_Ellipse>(eEllipse);
    EXPECT_EQ(circle->GetColor(), exporter::ConvertColor(probe->GetState_AreaColor()));
    Server()->DestroySchObject(probe);

    auto* earc = Make<ISch_EllipticalArc>(eEllipticalArc);
    earc->SetState_Location({0, 0});
    earc->SetState_Radius(Unit(20));
    earc->SetState_SecondaryRadius(Unit(10));
    earc->SetState_StartAngle(0);
    earc->SetState_EndAngle(45);
    auto* ea = Lib<dbo::TDboLibArc>(earc);
    ASSERT_NE(ea, nullptr);
    EXPECT_EQ(std::vector<int>({ea->BoundBoxLeft, ea->BoundBoxTop, ea->BoundBoxRight, ea->BoundBoxBott}),
              std::vector<int>({-20, -10, 20, 10}));
    // At 45 degrees the polar radius of the ellipse is sqrt(1 / (c²/400 + s²/100)) = 12.65.
    double d = std::sqrt(1 / (0.5 / 400 + 0.5 / 100));
    EXPECT_EQ(ea->StartX, 20);
    EXPECT_EQ(ea->EndX, static_cast<int>(d * std::cos(M_PI / 4)));
    EXPECT_EQ(ea->EndY, -static_cast<int>(d * std::sin(M_PI / 4)));
    auto* ecircle = Make<ISch_EllipticalArc>(eEllipticalArc);
    ecircle->SetState_Radius(Unit(20));
    ecircle->SetState_SecondaryRadius(Unit(10));
    ecircle->SetState_StartAngle(0);
    ecircle->SetState_EndAngle(360);
    auto* ec = Lib<dbo::TDboLibEllipse>(ecircle);
    ASSERT_NE(ec, nullptr);
    EXPECT_EQ(std::vector<int>({ec->BoundBoxLeft, ec->BoundBoxTop, ec->BoundBoxRight, ec->BoundBoxBott}),
              std::vector<int>({-20, -10, 20, 10}));

    auto* pie = Make<ISch_Pie>(ePie);
    pie->SetState_Location({Unit(10), Unit(10)});
    pie->SetState_Radius(Unit(30));
    pie->SetState_StartAngle(270);
    pie->SetState_EndAngle(90);  // sweeps 180 degrees, through 0
    pie->SetState_IsSolid(false);
    pie->SetState_AreaColor(0x00FFFF);
    auto* p = Lib<dbo::TDboLibFilledGraphic>(pie);
    ASSERT_NE(p, nullptr);
    ASSERT_EQ(p->Vertices.Count(), 32);
    auto vertex = [&](int i) { return std::make_pair(int(p->Vertices.GetVertices(i)->X), int(p->Vertices.GetVertices(i)->Y)); };
    EXPECT_EQ(vertex(0), std::make_pair(10, -10));
    EXPECT_EQ(vertex(31), std::make_pair(10, -10));
    EXPECT_EQ(vertex(1), std::make_pair(10, 20));   // at 270 degrees: below the centre
    EXPECT_EQ(vertex(16), std::make_pair(40, -10));  // half way, at 0 degrees
    // The last point stands one step (6 degrees) short of 90.
    auto cut = [](double hostUnits) { return static_cast<int>(std::lround(hostUnits) / 100000); };
    EXPECT_EQ(vertex(30), std::make_pair(cut(Unit(10) + Unit(30) * std::cos(84 * M_PI / 180)),
                                         -cut(Unit(10) + Unit(30) * std::sin(84 * M_PI / 180))));
    EXPECT_EQ(vertex(30), std::make_pair(13, -39));
    EXPECT_EQ(p->FillStyle, 1);
    EXPECT_EQ(p->GetColor(), 9);
}

TEST_F(CommonExporter, PolygonsPolylinesAndBeziers) {
    auto* empty = Make<ISch_Polygon>(ePolygon);
    empty->SetState_VertexCount(0);
    auto* fg = Lib<dbo::TDboLibFilledGraphic>(empty);
    ASSERT_NE(fg, nullptr);
    EXPECT_EQ(fg->Vertices.Count(), 0);

    auto* polygon = Make<ISch_Polygon>(ePolygon);
    polygon->SetState_VertexCount(3);
    polygon->SetState_Vertex(1, {Unit(0), Unit(0)});
    polygon->SetState_Vertex(2, {Unit(10), Unit(-10)});
    polygon->SetState_Vertex(3, {Unit(-5), Unit(7)});
    polygon->SetState_IsSolid(true);
    polygon->SetState_AreaColor(0xFF00FF);
    fg = Lib<dbo::TDboLibFilledGraphic>(polygon);
    ASSERT_EQ(fg->Vertices.Count(), 3);
    EXPECT_EQ(fg->Vertices.GetVertices(1)->X, 10);
    EXPECT_EQ(fg->Vertices.GetVertices(1)->Y, 10);
    EXPECT_EQ(fg->Vertices.GetVertices(2)->Y, -7);
    EXPECT_EQ(fg->FillStyle, 0);
    EXPECT_EQ(fg->GetColor(), 15);

    auto* polyline = Make<ISch_Polyline>(ePolyline);
    polyline->SetState_VertexCount(2);
    polyline->SetState_Vertex(1, {Unit(1), Unit(2)});
    polyline->SetState_Vertex(2, {Unit(3), Unit(4)});
    polyline->SetState_LineStyle(2);
    polyline->SetState_LineWidth(3);
    polyline->SetState_Color(0x00FF00);
    auto* pl = Lib<dbo::TDboLibPolyLine>(polyline);
    ASSERT_NE(pl, nullptr);
    ASSERT_EQ(pl->Vertices.Count(), 2);
    EXPECT_EQ(pl->Vertices.GetVertices(1)->Y, -4);
    EXPECT_EQ(pl->LineStyle, 2);
    EXPECT_EQ(pl->LineWidth, 2);
    EXPECT_EQ(pl->GetColor(), 18);

    auto* bezier = Make<ISch_Bezier>(eBezier);
    bezier->SetState_VertexCount(4);
    for (int i = 1; i <= 4; ++i) bezier->SetState_Vertex(i, {Unit(i), Unit(-i)});
    bezier->SetState_LineStyle(1);
    auto* bz = Lib<dbo::TDboLibBezier>(bezier);
    ASSERT_NE(bz, nullptr);
    ASSERT_EQ(bz->Vertices.Count(), 4);
    EXPECT_EQ(bz->Vertices.GetVertices(3)->X, 4);
    EXPECT_EQ(bz->Vertices.GetVertices(3)->Y, 4);
    EXPECT_EQ(bz->LineStyle, 0);  // a Bezier takes no line style
}

TEST_F(CommonExporter, LabelsTextFramesAndTheFontTable) {
    auto& fonts = importer::FontTableManager();
    int32_t bigFont = Server()->GetFontManager()->GetFontID(20, 0, false, false, true, false, "Arial");
    auto* label = Make<ISch_Label>(eLabel);
    label->SetState_Location({Unit(10), Unit(-30)});
    label->SetState_Text("Hello");
    label->SetState_FontId(bigFont);
    label->SetState_Orientation(1);
    label->SetState_Color(0x0000FF);
    CoordRect box = label->GetState_BoundingRectangle();
    auto* t = Lib<dbo::TDboLibCommentText>(label);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->BoundBoxLeft, box.X1 / 100000);
    EXPECT_EQ(t->BoundBoxTop, -(box.Y2 / 100000));
    // A label's right and bottom are doubled.
    EXPECT_EQ(t->BoundBoxRight, 2 * (box.X2 / 100000));
    EXPECT_EQ(t->BoundBoxBott, 2 * -(box.Y1 / 100000));
    EXPECT_EQ(t->TxtLocationX, t->BoundBoxLeft);
    EXPECT_EQ(t->TxtLocationY, t->BoundBoxTop);
    EXPECT_EQ(t->Txt, "Hello");
    EXPECT_EQ(t->GetRotation(), 1);
    EXPECT_EQ(t->GetColor(), 8);
    EXPECT_EQ(t->FontID, 1);  // the first font of the table
    ASSERT_EQ(fonts.Count(), 1);
    EXPECT_EQ(fonts.GetFontID(0), bigFont);

    auto* frame = Make<ISch_TextFrame>(eTextFrame);
    frame->SetState_Location({Unit(40), Unit(-10)});
    frame->SetState_Corner({Unit(0), Unit(-30)});
    frame->SetState_Text("two\r\nlines");
    frame->SetState_FontId(1);
    auto* f = Lib<dbo::TDboLibCommentText>(frame);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(std::vector<int>({f->BoundBoxLeft, f->BoundBoxTop, f->BoundBoxRight, f->BoundBoxBott}),
              std::vector<int>({0, 10, 40, 30}));
    EXPECT_EQ(f->Txt, "two\r\nlines");
    EXPECT_EQ(f->GetRotation(), 0);
    EXPECT_EQ(f->FontID, 2);
    // The same host font again keeps its index.
    auto* again = Make<ISch_Label>(eLabel);
    again->SetState_FontId(bigFont);
    EXPECT_EQ(Lib<dbo::TDboLibCommentText>(again)->FontID, 1);
    EXPECT_EQ(fonts.Count(), 2);
    EXPECT_EQ(fonts.AddFontId(bigFont), 1);

    // The font list of the file: one font per table entry that the host knows, in table order.
    fonts.AddFontId(9999);
    LibraryExporter exporter(App(), design_.get(), component_);
    exporter.ExportFonts(design_->Lib->Fonts);
    ASSERT_EQ(design_->Lib->Fonts.Count(), 2);
    const dbo::LogFontA& big = design_->Lib->Fonts.GetFonts(0)->LogFont;
    EXPECT_EQ(big.FaceName(), "Arial");
    EXPECT_EQ(big.lfWeight, 700);
    EXPECT_EQ(big.lfHeight, -20 * 96 / 95);
}

TEST_F(CommonExporter, ImagesKeepTheirFrameWithoutPixels) {
    auto* linked = Make<ISch_Image>(eImage);
    linked->SetState_FileName((dir_ / "gone.png").string());
    EXPECT_EQ(Lib<dbo::TDboLibBitmap>(linked), nullptr);
    EXPECT_EQ(keep_, nullptr);

    std::ofstream(dir_ / "here.bmp") << "x";
    auto* present = Make<ISch_Image>(eImage);
    present->SetState_FileName((dir_ / "here.bmp").string());
    present->SetState_Location({Unit(5), Unit(-40)});
    present->SetState_Corner({Unit(25), Unit(-10)});
    auto* bmp = Lib<dbo::TDboLibBitmap>(present);
    ASSERT_NE(bmp, nullptr);
    EXPECT_EQ(std::vector<int>({bmp->BoundBoxLeft, bmp->BoundBoxTop, bmp->BoundBoxRight, bmp->BoundBoxBott}),
              std::vector<int>({5, 10, 25, 40}));
    EXPECT_EQ(bmp->BmpLen, 0);
    EXPECT_TRUE(bmp->Bmp.empty());
}

TEST_F(CommonExporter, PageInstancesRepeatWhatTheirLibraryObjectHolds) {
    auto* label = Make<ISch_Label>(eLabel);
    label->SetState_Location({Unit(10), Unit(-30)});
    label->SetState_Text("On a page");
    label->SetState_Orientation(2);
    label->SetState_Color(0x00FF00);
    auto* text = Page<dbo::TDboCommentText>(label);
    ASSERT_NE(text, nullptr);
    const dbo::TDboLibCommentText& inner = *text->LibObject;
    EXPECT_EQ(text->BoundingBoxLeft, inner.BoundBoxLeft);
    EXPECT_EQ(text->BoundingBoxRight, inner.BoundBoxRight);
    EXPECT_EQ(text->BoundingBoxBottom, inner.BoundBoxBott);
    EXPECT_EQ(text->LocationX, inner.TxtLocationX);
    EXPECT_EQ(text->LocationY, 30);
    EXPECT_EQ(text->GetColor(), 18);
    EXPECT_EQ(text->GetRotation(), 2);

    auto* ellipse = Make<ISch_Ellipse>(eEllipse);
    ellipse->SetState_Radius(Unit(5));
    ellipse->SetState_SecondaryRadius(Unit(5));
    ellipse->SetState_AreaColor(0x0000FF);
    auto* e = Page<dbo::TDboEllipse>(ellipse);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->BoundingBoxLeft, -5);
    EXPECT_EQ(e->BoundingBoxBottom, 5);
    EXPECT_EQ(e->GetColor(), 8);

    auto* box = Make<ISch_Rectangle>(eRectangle);
    box->SetState_AreaColor(0xFF00FF);
    box->SetState_Corner({Unit(10), Unit(10)});
    auto* b = Page<dbo::TDboBox>(box);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->GetColor(), 15);
    EXPECT_EQ(b->BoundingBoxRight, 0);  // a box repeats its colour only

    auto* image = Make<ISch_Image>(eImage);
    image->SetState_EmbedImage(false);
    std::ofstream(dir_ / "pic.png") << "x";
    image->SetState_FileName((dir_ / "pic.png").string());
    image->SetState_Corner({Unit(8), Unit(6)});
    image->SetState_Color(0x0000FF);
    auto* bitmap = Page<dbo::TDboBitmap>(image);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->BoundingBoxRight, 8);
    EXPECT_EQ(bitmap->BoundingBoxTop, -6);
    EXPECT_EQ(bitmap->GetColor(), 48);  // a bitmap doesn't repeat the colour
}

TEST_F(CommonExporter, AFactoryOfTheWrongClassIsAnError) {
    // A factory that gives a line for every kind.
    struct LineFactory : PageExporter {
        using PageExporter::PageExporter;
        std::unique_ptr<dbo::TDboObject> CreateDboObject(int32_t) override {
            return dbo::TDboGraphicInstanceList::ConstructObject(Design, dbo::kIdLibLine);
        }
    } exporter(App(), design_.get(), component_);
    auto expectMessage = [&](ISch_BasicContainer* object, const std::string& message) {
        component_->AddSchObject(object);
        dbo::TDboGraphicInstanceList list(design_.get());
        try {
            exporter.ExportGraphics(list);
            ADD_FAILURE() << "no exception for " << message;
        } catch (const std::exception& e) {
            EXPECT_EQ(std::string(e.what()), message);
        }
        Server()->DestroySchObject(object);
    };
    expectMessage(Make<ISch_Rectangle>(eRectangle), "Object isn't a Box.");
    expectMessage(Make<ISch_Ellipse>(eEllipse), "Object isn't a Ellipse.");
    expectMessage(Make<ISch_Arc>(eArc), "Object isn't a Arc.");
    expectMessage(Make<ISch_Label>(eLabel), "Object isn't a CommentText.");
    expectMessage(Make<ISch_Polygon>(ePolygon), "Object isn't a FilledGraphic.");
    expectMessage(Make<ISch_Polyline>(ePolyline), "Object isn't a Polyline.");
    expectMessage(Make<ISch_Bezier>(eBezier), "Object isn't a Bezier.");
    auto* image = Make<ISch_Image>(eImage);
    std::ofstream(dir_ / "i.png") << "x";
    image->SetState_FileName((dir_ / "i.png").string());
    expectMessage(image, "Object isn't a Bitmap.");
}

TEST_F(CommonExporter, PinsTheirEndsAttributesAndParameters) {
    LibraryExporter exporter(App(), design_.get(), component_);
    const int32_t length = Unit(30);
    // Orientation: 0 right, 1 up, 2 left, 3 down; Capture's y grows downward.
    const std::pair<int, int> ends[] = {{40, -20}, {10, -50}, {-20, -20}, {10, 10}};
    for (int orientation = 0; orientation < 4; ++orientation) {
        auto* pin = Make<ISch_Pin>(ePin);
        pin->SetState_Location({Unit(10), Unit(20)});
        pin->SetState_Orientation(orientation);
        pin->SetState_PinLength(length);
        auto record = exporter.ExportPin(pin);
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->OffsetX, 10);
        EXPECT_EQ(record->OffsetY, -20);
        EXPECT_EQ(std::make_pair(record->EndX, record->EndY), ends[orientation]) << "orientation " << orientation;
        Server()->DestroySchObject(pin);
    }

    auto* bus = Make<ISch_Pin>(ePin);
    bus->SetState_Name("D[0..7]");
    bus->SetState_Electrical(2);
    bus->SetState_IsHidden(true);
    bus->SetState_OuterEdge(3);
    auto b = exporter.ExportPin(bus);
    EXPECT_EQ(b->ID, dbo::kIdPinBus);
    EXPECT_EQ(b->PinName, "D[0..7]");
    EXPECT_EQ(b->PinType, 2);
    EXPECT_TRUE(b->GetIsDot());
    EXPECT_FALSE(b->GetIsClock());
    EXPECT_FALSE(b->GetIsVisible());
    EXPECT_EQ(b->Attributes & ~(2 | 4 | 32), 57 & ~(2 | 4 | 32));  // other bits keep the default

    auto* plain = Make<ISch_Pin>(ePin);
    plain->SetState_Name("");
    plain->SetState_Designator("14");
    plain->SetState_InnerEdge(1);
    plain->SetState_Location({Unit(-30), Unit(-40)});
    auto hidden = Make<ISch_Parameter>(eParameter);
    hidden->SetState_Name("Swap");
    hidden->SetState_Text("1");
    hidden->SetState_IsHidden(true);
    plain->AddSchObject(hidden);
    auto shown = Make<ISch_Parameter>(eParameter);
    shown->SetState_Name("Net");
    shown->SetState_Text("VCC");
    shown->SetState_Location({Unit(-20), Unit(-50)});
    shown->SetState_Orientation(0);
    shown->SetState_FontId(3);
    shown->SetState_Color(0x0000FF);
    plain->AddSchObject(shown);
    CoordRect box = shown->GetState_BoundingRectangle();
    auto p = exporter.ExportPin(plain);
    EXPECT_EQ(p->ID, dbo::kIdPinScalar);
    EXPECT_EQ(p->PinName, "14");  // no name: the number stands for it
    EXPECT_EQ(p->OffsetX, -30);
    EXPECT_EQ(p->OffsetY, 40);
    EXPECT_TRUE(p->GetIsClock());
    EXPECT_FALSE(p->GetIsDot());
    EXPECT_TRUE(p->GetIsVisible());
    ASSERT_EQ(p->UserProps.Count(), 2);
    std::string value;
    p->GetPropertyValueByName(value, "Swap");
    EXPECT_EQ(value, "1");
    ASSERT_EQ(p->VisibleProps.Count(), 1);
    const dbo::TDboVisibleProp* vp = p->VisibleProps.GetProps(0);
    EXPECT_EQ(vp->GetName(), "Net");
    EXPECT_EQ(vp->GetValue(), "VCC");
    // Measured from the pin: 10 right, 10 down; rotation 0 lifts the anchor by the text's height.
    int height = std::abs(box.Y2 - box.Y1) / 100000;
    EXPECT_EQ(vp->LocationX, 10);
    EXPECT_EQ(vp->LocationY, 10 - height);
    EXPECT_EQ(vp->FontID, 2);  // the host font id less one, through no table
    EXPECT_EQ(vp->GetColor(), 8);
    Server()->DestroySchObject(bus);
    Server()->DestroySchObject(plain);
}

TEST_F(CommonExporter, ComponentParametersLeaveOutCommentAndValue) {
    LibraryExporter exporter(App(), design_.get(), component_);
    for (const char* name : {"value", "COMMENT", "Tolerance"}) {
        auto* parameter = Make<ISch_Parameter>(eParameter);
        parameter->SetState_Name(name);
        parameter->SetState_Text("x");
        parameter->SetState_IsHidden(true);
        component_->AddSchObject(parameter);
    }
    auto owner = dbo::Make<dbo::TDboLibPartInfo>(design_.get());
    exporter.ExportParameters(owner.get(), component_, {0, 0});
    ASSERT_EQ(owner->UserProps.Count(), 1);
    EXPECT_EQ(design_->GetString(owner->UserProps.GetProperties(0)->NameIdx), "Tolerance");
    // Objects of other kinds carry no parameters over.
    auto* label = Make<ISch_Label>(eLabel);
    auto other = dbo::Make<dbo::TDboLibPartInfo>(design_.get());
    exporter.ExportParameters(other.get(), label, {0, 0});
    EXPECT_EQ(other->UserProps.Count(), 0);
    Server()->DestroySchObject(label);
}

TEST_F(CommonExporter, ALibraryGivesThePinsOfItsCurrentPartOnly) {
    // A symbol's exporter works on the library: the pins come from the current component, those
    // of its current part and those common to all parts.
    ISch_Component* other = AddComponent(library_, "OTHER");
    AddPin(other, "X", "9", {0, 0}, 0, Unit(10));
    component_->SetState_PartCount(2);
    AddPin(component_, "A", "1", {0, 0}, 0, Unit(10), 1);
    AddPin(component_, "B", "2", {0, Unit(10)}, 0, Unit(10), 2);
    AddPin(component_, "C", "3", {0, Unit(20)}, 0, Unit(10), 0);
    library_->SetState_CurrentSchComponent(component_);
    component_->SetState_CurrentPartId(2);
    LibraryExporter exporter(App(), design_.get(), library_);
    std::vector<ISch_BasicContainer*> list;
    exporter.CollectObjects(list, exporter::PinKindSet(), eIterateAllLevels);
    std::vector<std::string> names;
    for (auto* object : list)
        if (object) names.push_back(dynamic_cast<ISch_Pin*>(object)->GetState_Name());
    EXPECT_EQ(names, std::vector<std::string>({"B", "C"}));
}
