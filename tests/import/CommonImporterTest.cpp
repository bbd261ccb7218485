// The common importer on records built in code: coordinates, colours, widths, every drawing record,
// comment texts with their placement, pictures, IEEE symbols and properties.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <map>

#include "ImportTestSupport.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboViewObjects.h"
#include "import/SCHBaseImport.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
using dbo::Make;
using importer::TSCHCommonImporter;
using importer::ParameterList;

class Importer : public TSCHCommonImporter {
public:
    using TSCHCommonImporter::TSCHCommonImporter;
    void RunImport() override {}
};

class CommonImporterTest : public ::testing::Test {
protected:
    CommonImporterTest() : bench(::testing::UnitTest::GetInstance()->current_test_info()->name()) {
        imp = std::make_unique<Importer>(bench.app, &bench.design, &bench.options, &bench.log);
        imp->Document = bench.library;
        imp->Container = bench.library;
    }

    // A component standing in the library, current, at part `part` and display mode `mode`.
    ISch_Component* AddComponent(const std::string& name, int32_t part = 1, int32_t mode = 0) {
        auto* c = dynamic_cast<ISch_Component*>(bench.Server().CreateSchObject(eSchComponent, 0));
        c->SetState_LibReference(name);
        c->SetState_PartCount(part);
        c->SetState_CurrentPartId(part);
        c->SetState_DisplayModeCount(mode + 1);
        c->SetState_DisplayMode(mode);
        bench.library->AddSchComponent(c);
        bench.library->SetState_CurrentSchComponent(c);
        return c;
    }

    // A font record of the file: height in pixels (negative: character height), escapement.
    int AddFont(int32_t height, int32_t escapement) {
        auto font = Make<dbo::TDboFont>(&bench.design);
        font->LogFont.lfHeight = height;
        font->LogFont.lfEscapement = escapement;
        font->LogFont.lfWeight = 400;
        std::strcpy(font->LogFont.lfFaceName, "Arial");
        bench.design.Lib->Fonts.Add(std::move(font));
        return bench.design.Lib->Fonts.Count();  // 1-based index of the record
    }

    template <class T>
    T* As(ISch_GraphicalObject* o) {
        auto* t = dynamic_cast<T*>(o);
        EXPECT_NE(t, nullptr);
        return t;
    }

    void Free(ISch_GraphicalObject* o) {
        if (o) bench.Server().DestroySchObject(o);
    }

    ImportBench bench;
    std::unique_ptr<Importer> imp;
};

TEST_F(CommonImporterTest, CoordinatesTakeTheLow16BitsSignedFlipYAndRoundHalfToEven) {
    // Without an import scale one Capture unit is 100000 host units.
    EXPECT_EQ(imp->ScaleCoord(3), 300000);
    EXPECT_EQ(imp->ToCoordX(0xFFFF), -100000);   // the low word is signed
    EXPECT_EQ(imp->ToCoordX(0x10005), 500000);   // the high word is dropped
    EXPECT_EQ(imp->ToCoordX(0x7FFF0000), 0);
    EXPECT_EQ(imp->ToCoordY(5), -500000);        // y grows upward
    EXPECT_EQ(imp->ToCoordY(0xFFFE), 200000);
    imp->OffsetX = 10;
    imp->OffsetY = -20;
    EXPECT_EQ(imp->ToCoordX(0xFFFF), 900000);
    EXPECT_EQ(imp->ToCoordY(5), -2500000);
    imp->OffsetX = imp->OffsetY = 0;
    // Past the 32-bit range the result saturates rather than wraps.
    EXPECT_EQ(imp->ScaleCoord(30000), INT32_MAX);
    EXPECT_EQ(imp->ScaleCoord(-30000), INT32_MIN);

    // With an import scale: round(v / 10 * scale), halves to the even neighbour.
    bench.options.importScale = 5;
    EXPECT_EQ(imp->ScaleCoord(1), 0);     // 0.5
    EXPECT_EQ(imp->ScaleCoord(5), 2);     // 2.5
    EXPECT_EQ(imp->ScaleCoord(15), 8);    // 7.5
    EXPECT_EQ(imp->ScaleCoord(25), 12);   // 12.5
    EXPECT_EQ(imp->ScaleCoord(-5), -2);   // -2.5
    EXPECT_EQ(imp->ToCoordY(0xFFFB), 2);  // -(-5)
    bench.options.importScale = 0;
    EXPECT_EQ(imp->ScaleCoord(5), 500000);
    // Without an option object there is no scale.
    Importer bare(bench.app, &bench.design, nullptr, nullptr);
    EXPECT_EQ(bare.ScaleCoord(5), 500000);
}

TEST_F(CommonImporterTest, ColoursMapByTheTableAndTheDefaultCodeKeepsTheHostColourInALibrary) {
    EXPECT_EQ(TSCHCommonImporter::MapColor(0), 0xFF0000);
    EXPECT_EQ(TSCHCommonImporter::MapColor(8), 0x0000FF);
    EXPECT_EQ(TSCHCommonImporter::MapColor(16), 0x424184);
    EXPECT_EQ(TSCHCommonImporter::MapColor(45), 0xC6C3C6);
    EXPECT_EQ(TSCHCommonImporter::MapColor(47), 0xFFFFFF);
    EXPECT_EQ(TSCHCommonImporter::MapColor(48), 0x000000);
    for (int code : {6, 46, 48, 49, 255}) EXPECT_TRUE(TSCHCommonImporter::IsDefaultColor(code)) << code;
    EXPECT_FALSE(TSCHCommonImporter::IsDefaultColor(47));

    auto line = Make<dbo::TDboLibLine>(&bench.design);  // a library object has the default colour
    ASSERT_EQ(line->GetColor(), 48);
    auto* fresh = dynamic_cast<ISch_Line*>(bench.Server().CreateSchObject(eLine, 0));
    const int32_t hostDefault = fresh->GetState_Color();
    Free(fresh);
    ASSERT_NE(hostDefault, 0);

    auto* inLibrary = As<ISch_Line>(imp->ImportLine(line.get()));
    EXPECT_EQ(inLibrary->GetState_Color(), hostDefault);
    Free(inLibrary);

    // The same line drawn on a page, or in a title block, takes the default colour's value.
    auto page = Make<dbo::TDboPage>(&bench.design);
    page->ID = 10;  // as a page read from a file carries it
    imp->DrawingOwner = page.get();
    auto* onPage = As<ISch_Line>(imp->ImportLine(line.get()));
    EXPECT_EQ(onPage->GetState_Color(), 0x000000);
    Free(onPage);
    auto title = Make<dbo::TDboTitleBlockSymbol>(&bench.design);
    imp->DrawingOwner = title.get();
    auto* inTitle = As<ISch_Line>(imp->ImportLine(line.get()));
    EXPECT_EQ(inTitle->GetState_Color(), 0x000000);
    Free(inTitle);
    imp->DrawingOwner = nullptr;

    // A page instance carries its own colour; a code outside the table is the default.
    auto instance = Make<dbo::TDboLine>(&bench.design);
    instance->SetColor(8);
    auto* blue = As<ISch_Line>(imp->ImportLine(instance.get()));
    EXPECT_EQ(blue->GetState_Color(), 0x0000FF);
    Free(blue);
    instance->SetColor(6);
    auto* unknown = As<ISch_Line>(imp->ImportLine(instance.get()));
    EXPECT_EQ(unknown->GetState_Color(), hostDefault);
    Free(unknown);

    // Polygons test only for code 48, whoever owns the drawing.
    auto polygon = Make<dbo::TDboLibFilledGraphic>(&bench.design);
    polygon->Vertices.AddVertex(0, 0);
    imp->DrawingOwner = page.get();
    auto* p = As<ISch_Polygon>(imp->ImportFilledGraphic(polygon.get()));
    EXPECT_NE(p->GetState_Color(), 0x000000);
    EXPECT_EQ(p->GetState_AreaColor(), p->GetState_Color());
    Free(p);
    imp->DrawingOwner = nullptr;
}

TEST_F(CommonImporterTest, WidthsAndLineStylesFollowTheirRules) {
    EXPECT_EQ(TSCHCommonImporter::MapWidth(0), 1);
    EXPECT_EQ(TSCHCommonImporter::MapWidth(1), 2);
    EXPECT_EQ(TSCHCommonImporter::MapWidth(2), 3);
    EXPECT_EQ(TSCHCommonImporter::MapWidth(7), 1);

    auto polyline = Make<dbo::TDboLibPolyLine>(&bench.design);
    polyline->LineStyle = 4;
    polyline->LineWidth = 0;
    polyline->Vertices.AddVertex(1, 2);
    polyline->Vertices.AddVertex(-3, 4);
    auto* pl = As<ISch_Polyline>(imp->ImportPolyLine(polyline.get()));
    EXPECT_EQ(pl->GetState_LineStyle(), 2);
    EXPECT_EQ(pl->GetState_LineWidth(), 1);
    ASSERT_EQ(pl->GetState_VertexCount(), 2);
    EXPECT_EQ(pl->GetState_Vertex(1), (Coord{100000, -200000}));
    EXPECT_EQ(pl->GetState_Vertex(2), (Coord{-300000, -400000}));
    Free(pl);
    polyline->LineStyle = 2;
    polyline->LineWidth = 1;
    pl = As<ISch_Polyline>(imp->ImportPolyLine(polyline.get()));
    EXPECT_EQ(pl->GetState_LineStyle(), 2);
    EXPECT_EQ(pl->GetState_LineWidth(), 2);
    Free(pl);

    // A polygon, an ellipse and an arc keep a width of 0; a Bezier maps it.
    auto polygon = Make<dbo::TDboLibFilledGraphic>(&bench.design);
    polygon->LineWidth = 0;
    polygon->FillStyle = 1;
    polygon->Vertices.AddVertex(0, 0);
    auto* pg = As<ISch_Polygon>(imp->ImportFilledGraphic(polygon.get()));
    EXPECT_EQ(pg->GetState_LineWidth(), 0);
    EXPECT_FALSE(pg->GetState_IsSolid());
    Free(pg);
    polygon->LineWidth = 2;
    polygon->FillStyle = 0;
    pg = As<ISch_Polygon>(imp->ImportFilledGraphic(polygon.get()));
    EXPECT_EQ(pg->GetState_LineWidth(), 3);
    EXPECT_TRUE(pg->GetState_IsSolid());
    Free(pg);
    auto ellipse = Make<dbo::TDboLibEllipse>(&bench.design);
    auto* el = As<ISch_Ellipse>(imp->ImportEllipse(ellipse.get()));
    EXPECT_EQ(el->GetState_LineWidth(), 0);
    Free(el);
    auto bezier = Make<dbo::TDboLibBezier>(&bench.design);
    bezier->LineStyle = 3;
    for (int i = 0; i < 4; ++i) bezier->Vertices.AddVertex(i * 10, i);
    auto* bz = As<ISch_Bezier>(imp->ImportBezier(bezier.get()));
    EXPECT_EQ(bz->GetState_LineWidth(), 1);
    EXPECT_EQ(bz->GetState_LineStyle(), 1);
    EXPECT_EQ(bz->GetState_VertexCount(), 4);
    EXPECT_EQ(bz->GetState_Vertex(4), (Coord{3000000, -300000}));
    Free(bz);
}

TEST_F(CommonImporterTest, BoxesEllipsesAndArcsComeFromBoundingBoxesAndEndPoints) {
    auto box = Make<dbo::TDboLibBox>(&bench.design);
    box->UpperLeftX = 20;
    box->UpperLeftY = 12;
    box->LowerRightX = 30;
    box->LowerRightY = 62;
    box->FillStyle = 2;
    auto* r = As<ISch_Rectangle>(imp->ImportBox(box.get()));
    EXPECT_EQ(r->GetState_Location(), (Coord{2000000, -6200000}));
    EXPECT_EQ(r->GetState_Corner(), (Coord{3000000, -1200000}));
    EXPECT_TRUE(r->GetState_IsSolid());
    EXPECT_TRUE(r->GetState_Transparent());
    EXPECT_EQ(r->GetState_Color(), 0xFF0B00);
    EXPECT_EQ(r->GetState_AreaColor(), 0xFF0B00);
    Free(r);
    box->FillStyle = 1;  // hollow: the host's fill colours stay
    r = As<ISch_Rectangle>(imp->ImportBox(box.get()));
    EXPECT_FALSE(r->GetState_IsSolid());
    EXPECT_NE(r->GetState_Color(), 0xFF0B00);
    Free(r);
    box->FillStyle = 0;
    auto boxInstance = Make<dbo::TDboBox>(&bench.design);
    boxInstance->LibObject = std::move(box);
    boxInstance->LibObject->FillStyle = 0;
    boxInstance->SetColor(2);
    r = As<ISch_Rectangle>(imp->ImportBox(boxInstance.get()));
    EXPECT_TRUE(r->GetState_IsSolid());
    EXPECT_FALSE(r->GetState_Transparent());
    EXPECT_EQ(r->GetState_Color(), 0x84FF84);
    EXPECT_EQ(r->GetState_AreaColor(), 0x84FF84);
    Free(r);

    auto ellipse = Make<dbo::TDboLibEllipse>(&bench.design);
    ellipse->BoundBoxLeft = 10;
    ellipse->BoundBoxTop = 20;
    ellipse->BoundBoxRight = 40;
    ellipse->BoundBoxBott = 30;
    auto* e = As<ISch_Ellipse>(imp->ImportEllipse(ellipse.get()));
    EXPECT_EQ(e->GetState_Location(), (Coord{2500000, -2500000}));
    EXPECT_EQ(e->GetState_Radius(), 1500000);
    EXPECT_EQ(e->GetState_SecondaryRadius(), 500000);
    EXPECT_TRUE(e->GetState_IsSolid());
    Free(e);
    // Halves are cut off toward zero, as Capture divides.
    ellipse->BoundBoxLeft = -5;
    ellipse->BoundBoxRight = 0;
    ellipse->BoundBoxTop = 0;
    ellipse->BoundBoxBott = 3;
    ellipse->FillStyle = 1;
    e = As<ISch_Ellipse>(imp->ImportEllipse(ellipse.get()));
    EXPECT_EQ(e->GetState_Location(), (Coord{-300000, -100000}));
    EXPECT_EQ(e->GetState_Radius(), 200000);
    EXPECT_EQ(e->GetState_SecondaryRadius(), 100000);
    EXPECT_FALSE(e->GetState_IsSolid());
    Free(e);

    // The arc of sample library 0004: box (0,20)-(120,40), from (60,20) to (120,30).
    auto arc = Make<dbo::TDboLibArc>(&bench.design);
    arc->BoundBoxLeft = 0;
    arc->BoundBoxTop = 20;
    arc->BoundBoxRight = 120;
    arc->BoundBoxBott = 40;
    arc->StartX = 60;
    arc->StartY = 20;
    arc->EndX = 120;
    arc->EndY = 30;
    arc->LineWidth = 1;
    auto* a = As<ISch_EllipticalArc>(imp->ImportArc(arc.get()));
    EXPECT_EQ(a->GetState_ObjectId(), eEllipticalArc);
    EXPECT_EQ(a->GetState_Location(), (Coord{6000000, -3000000}));
    EXPECT_EQ(a->GetState_Radius(), 6000000);
    EXPECT_EQ(a->GetState_SecondaryRadius(), 1000000);
    EXPECT_DOUBLE_EQ(a->GetState_StartAngle(), 90.0);
    EXPECT_DOUBLE_EQ(a->GetState_EndAngle(), 0.0);
    EXPECT_EQ(a->GetState_LineWidth(), 2);
    Free(a);
    // Angles are not normalised: below the centre gives -90, left of it 180.
    arc->StartX = 0;
    arc->StartY = 30;
    arc->EndX = 60;
    arc->EndY = 40;
    a = As<ISch_EllipticalArc>(imp->ImportArc(arc.get()));
    EXPECT_DOUBLE_EQ(a->GetState_StartAngle(), 180.0);
    EXPECT_DOUBLE_EQ(a->GetState_EndAngle(), -90.0);
    Free(a);
    // An angle off the axes is kept in single precision.
    arc->EndX = 90;
    arc->EndY = 20;
    a = As<ISch_EllipticalArc>(imp->ImportArc(arc.get()));
    EXPECT_DOUBLE_EQ(a->GetState_EndAngle(), static_cast<double>(static_cast<float>(std::atan2(10.0, 30.0) * 57.29577951308232)));
    Free(a);
}

TEST_F(CommonImporterTest, RecordsOfTheWrongClassAreRefusedWithTheirMessage) {
    auto box = Make<dbo::TDboLibBox>(&bench.design);
    auto line = Make<dbo::TDboLibLine>(&bench.design);
    auto expectMessage = [](auto call, const char* message) {
        try {
            call();
            ADD_FAILURE() << "no exception, expected " << message;
        } catch (const std::exception& e) {
            EXPECT_STREQ(e.what(), message);
        }
    };
    expectMessage([&] { imp->ImportLine(box.get()); }, "Object isn't a Line.");
    expectMessage([&] { imp->ImportPolyLine(box.get()); }, "Object isn't a PolyLine.");
    expectMessage([&] { imp->ImportFilledGraphic(box.get()); }, "Object isn't a FilledGraphic.");
    expectMessage([&] { imp->ImportBox(line.get()); }, "Object isn't a Box.");
    expectMessage([&] { imp->ImportEllipse(line.get()); }, "Object isn't a Ellipse.");
    expectMessage([&] { imp->ImportArc(line.get()); }, "Object isn't a Arc.");
    expectMessage([&] { imp->ImportCommentText(line.get()); }, "Object isn't a CommentText.");
    expectMessage([&] { imp->ImportBitmap(line.get()); }, "Object isn't a Bitmap.");
    const size_t live = bench.app.LiveObjectCount();
    expectMessage([&] { imp->ImportBezier(line.get()); }, "Object isn't a Bezier.");
    EXPECT_EQ(bench.app.LiveObjectCount(), live);  // nothing made for a refused record
}

TEST_F(CommonImporterTest, TextInALibraryTurnsWithItsFontAndOnAPageWithItsInstance) {
    ISch_FontManager* fonts = bench.Server().GetFontManager();
    const int upright = AddFont(-12, 0);  // 9 points, grown by 40 percent: 12
    const int turned = AddFont(-12, 900);
    const int upsideDown = AddFont(-12, 1800);
    const int slanted = AddFont(-12, 450);
    const int32_t font12 = fonts->GetFontID(12, 0, false, false, false, false, "Arial");
    int32_t pw = 0, ph = 0;
    ASSERT_TRUE(fonts->MeasureText(font12, "AB", pw, ph));
    const int32_t w = pw / 3 * 100000, h = 12 * 100000;
    const int32_t g = static_cast<int32_t>(std::nearbyint(w / 1.3));

    auto text = Make<dbo::TDboLibCommentText>(&bench.design);
    text->Txt = "AB";
    text->BoundBoxLeft = 10;
    text->BoundBoxTop = 20;
    text->BoundBoxRight = 30;
    text->BoundBoxBott = 25;
    struct Case {
        int font;
        int orientation;
        Coord location;
    };
    const int32_t x = 1000000, y = 2000000;
    for (const Case& c : {Case{upright, 0, {x, -(y + h)}}, Case{turned, 1, {x + h, -(y + w + g)}},
                          Case{upsideDown, 2, {x + w + g, -y}}, Case{slanted, 0, {x, -(y + h)}}}) {
        text->FontID = c.font;
        auto* label = As<ISch_Label>(imp->ImportCommentText(text.get()));
        EXPECT_EQ(label->GetState_ObjectId(), eLabel);
        EXPECT_EQ(label->GetState_FontId(), font12) << c.font;
        EXPECT_EQ(label->GetState_Text(), "AB");
        EXPECT_EQ(label->GetState_Orientation(), c.orientation) << c.font;
        EXPECT_EQ(label->GetState_Location(), c.location) << c.font;
        Free(label);
    }

    // On a sheet the instance's rotation turns the text about its corner.
    IServerDocument* server =
        OpenOrCreateDocument(bench.app, (bench.folder / "page.SchDoc").string(), "SCH", "Binary", true);
    imp->Container = bench.app.SchDocumentOf(server);
    auto instance = Make<dbo::TDboCommentText>(&bench.design);
    instance->LibObject = std::move(text);
    instance->LibObject->FontID = turned;  // the font's turn doesn't count on a page
    instance->SetRotation(1);
    auto* label = As<ISch_Label>(imp->ImportCommentText(instance.get()));
    EXPECT_EQ(label->GetState_Orientation(), 1);
    EXPECT_EQ(label->GetState_Location(), (Coord{x + h, -y - (g + w)}));
    Free(label);
    instance->SetRotation(0);
    label = As<ISch_Label>(imp->ImportCommentText(instance.get()));
    EXPECT_EQ(label->GetState_Orientation(), 0);
    EXPECT_EQ(label->GetState_Location(), (Coord{x, -y - h}));
    Free(label);
    imp->Container = bench.library;

    // A missing font record falls back to the default comment font of the file.
    text = Make<dbo::TDboLibCommentText>(&bench.design);
    text->Txt = "AB";
    text->FontID = 99;
    bench.design.Lib->DefaultFonts[dbo::TDboDefFontComment] = static_cast<uint16_t>(turned);
    label = As<ISch_Label>(imp->ImportCommentText(text.get()));
    EXPECT_EQ(label->GetState_FontId(), font12);
    EXPECT_EQ(label->GetState_Orientation(), 1);
    Free(label);
}

TEST_F(CommonImporterTest, TextWithLineBreaksBecomesAFrameTallEnoughForItsLines) {
    const int font = AddFont(-12, 0);
    auto text = Make<dbo::TDboLibCommentText>(&bench.design);
    text->Txt = "one\rtwo\r";
    text->FontID = font;
    text->BoundBoxLeft = 5;
    text->BoundBoxTop = 10;
    text->BoundBoxRight = 50;
    text->BoundBoxBott = 12;
    auto* frame = As<ISch_TextFrame>(imp->ImportCommentText(text.get()));
    EXPECT_EQ(frame->GetState_ObjectId(), eTextFrame);
    EXPECT_EQ(frame->GetState_Text(), "one\r\ntwo\r\n");
    EXPECT_EQ(frame->GetState_Location(), (Coord{500000, -1000000}));
    // Two lines of a 12-point font need 24 units; the box had 2.
    EXPECT_EQ(frame->GetState_Corner(), (Coord{5000000, -3400000}));
    EXPECT_FALSE(frame->GetState_IsSolid());
    Free(frame);
    text->Txt = "a\r\nb\nc";
    text->BoundBoxBott = 60;  // tall enough already
    frame = As<ISch_TextFrame>(imp->ImportCommentText(text.get()));
    EXPECT_EQ(frame->GetState_Text(), "a\r\nb\r\nc");
    EXPECT_EQ(frame->GetState_Corner(), (Coord{5000000, -6000000}));
    Free(frame);
}

TEST_F(CommonImporterTest, GraphicsGoIntoTheCurrentPartWithTextsLastAndStrangeRecordsLogged) {
    ISch_Component* component = AddComponent("PART", 2, 1);
    const int font = AddFont(-12, 0);
    dbo::TDboGraphicInstanceList list(&bench.design);
    auto text = Make<dbo::TDboLibCommentText>(&bench.design);
    text->Txt = "label";
    text->FontID = font;
    list.Items.push_back(std::move(text));
    auto line = Make<dbo::TDboLibLine>(&bench.design);
    line->EndX = 10;
    list.Items.push_back(std::move(line));
    list.Items.push_back(Make<dbo::TDboOleObject>(&bench.design));
    auto odd = Make<dbo::TDboLibLine>(&bench.design);
    odd->ID = 50;
    list.Items.push_back(std::move(odd));
    auto box = Make<dbo::TDboLibBox>(&bench.design);
    box->FillStyle = 1;
    list.Items.push_back(std::move(box));
    bench.options.defaultComponentFill = true;

    imp->ImportGraphics(list, component);
    auto children = ChildrenOf<ISch_GraphicalObject>(component, 0);
    std::vector<int32_t> kinds;
    for (auto* c : children)
        if (c->GetState_ObjectId() != eDesignator && c->GetState_ObjectId() != eParameter) {
            kinds.push_back(c->GetState_ObjectId());
            EXPECT_EQ(c->GetState_OwnerPartId(), 2);
            EXPECT_EQ(c->GetState_OwnerPartDisplayMode(), 1);
        }
    EXPECT_EQ(kinds, (std::vector<int32_t>{eLine, eRectangle, eLabel}));
    auto* rect = ChildrenOf<ISch_Rectangle>(component, eRectangle).at(0);
    EXPECT_TRUE(rect->GetState_IsSolid());
    EXPECT_TRUE(rect->GetState_Transparent());
    EXPECT_EQ(rect->GetState_Color(), 128);
    EXPECT_EQ(rect->GetState_AreaColor(), 0xB0FFFF);
    auto messages = bench.log.AllMessages();
    EXPECT_EQ(messages, (std::vector<std::string>{"Embedded OLE object could not be imported!", "Unknown object type: 50."}));
}

TEST_F(CommonImporterTest, PicturesAreEmbeddedThroughFilesWithNamesUniqueInTheProcess) {
    auto bitmap = Make<dbo::TDboLibBitmap>(&bench.design);
    std::vector<uint8_t> dib(44, 0);
    dib[0] = 40;  // header size
    bitmap->Bmp = dib;
    bitmap->BmpLen = 44;
    bitmap->BoundBoxLeft = 1;
    bitmap->BoundBoxTop = 2;
    bitmap->BoundBoxRight = 11;
    bitmap->BoundBoxBott = 12;
    auto* first = As<ISch_Image>(imp->ImportBitmap(bitmap.get()));
    auto* second = As<ISch_Image>(imp->ImportBitmap(bitmap.get()));
    const std::string base = (bench.folder / "Image").string();
    EXPECT_EQ(first->GetState_FileName(), base + ".bmp");
    EXPECT_EQ(second->GetState_FileName(), base + "_1.bmp");
    EXPECT_EQ(first->GetState_EmbeddedSize(), 14 + 44);
    EXPECT_TRUE(first->GetState_KeepAspect());
    EXPECT_EQ(first->GetState_Location(), (Coord{100000, -1200000}));
    EXPECT_EQ(first->GetState_Corner(), (Coord{1100000, -200000}));
    EXPECT_FALSE(std::filesystem::exists(base + ".bmp"));
    EXPECT_FALSE(std::filesystem::exists(base + "_1.bmp"));
    Free(first);
    Free(second);

    // A PNG stored behind the marker is taken as it is.
    std::string marker = "~~CI_IMAGE~~";
    const uint8_t png[] = {0x89, 0x50, 0x4E, 0x47, 1, 2, 3, 4};
    std::vector<uint8_t> block(dib);
    block.insert(block.end(), marker.begin(), marker.end());
    block.push_back(0);
    block.push_back(1);
    block.push_back('8');
    block.insert(block.end(), png, png + sizeof png);
    bitmap->Bmp = block;
    bitmap->BmpLen = static_cast<int32_t>(block.size());
    auto* third = As<ISch_Image>(imp->ImportBitmap(bitmap.get()));
    EXPECT_EQ(third->GetState_FileName(), base + "_2.png");
    EXPECT_EQ(third->GetState_EmbeddedSize(), 8);
    Free(third);
}

TEST_F(CommonImporterTest, IEEESymbolsDrawIntoTheCurrentComponentAtTheirLocation) {
    ISch_Component* component = AddComponent("GATE");
    auto ieee = Make<dbo::TDboLibIEEE>(&bench.design);
    ieee->LocationX = 10;
    ieee->LocationY = 20;
    auto line = Make<dbo::TDboLibLine>(&bench.design);
    line->StartX = 0;
    line->EndX = 5;
    line->EndY = 2;
    ieee->Graphics.Items.push_back(std::move(line));
    dbo::TDboGraphicInstanceList list(&bench.design);
    list.Items.push_back(std::move(ieee));
    imp->ImportGraphics(list, component);
    auto lines = ChildrenOf<ISch_Line>(component, eLine);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]->GetState_Location(), (Coord{1000000, -2000000}));
    EXPECT_EQ(lines[0]->GetState_Corner(), (Coord{1500000, -2200000}));
    EXPECT_EQ(imp->OffsetX, 0);
    EXPECT_EQ(imp->OffsetY, 0);
    EXPECT_EQ(imp->DrawingOwner, nullptr);
}

// A property of a record: name, value (none: the value index is the name's), shown or not.
void AddProperty(dbo::TDboBaseObject& object, const std::string& name, const std::string* value, int displayFormat,
                 int16_t x = 0, int16_t y = 0, bool visible = true) {
    auto* design = object.Design;
    int nameIdx = design->AddString(name);
    if (value) {
        object.AddProp(name, *value);
    }
    if (!visible) return;
    auto vp = Make<dbo::TDboVisibleProp>(design);
    vp->UserPropNameIdx = nameIdx;
    vp->ValueIdx = value ? design->AddString(*value) : nameIdx;
    vp->LocationX = x;
    vp->LocationY = y;
    vp->DisplayFormat = static_cast<uint16_t>(displayFormat);
    object.VisibleProps.Add(std::move(vp));
}

TEST_F(CommonImporterTest, PropertiesBecomeParametersDesignatorCommentAndDescription) {
    ISch_Component* component = AddComponent("AMP");
    auto view = Make<dbo::TDboLibView>(&bench.design);
    const std::string tenK = "10k", acme = "ACME", tol = "5%", desc = "An amplifier";
    AddProperty(*view, "Value", &tenK, 1, 8, 54);
    AddProperty(*view, "Part Reference", nullptr, 1, 7, -14);
    AddProperty(*view, "Page Modify Date", nullptr, 1, 0, 80);
    AddProperty(*view, "Manufacturer", &acme, 0, 0, 0, false);
    AddProperty(*view, "Tolerance", &tol, 2, 30, 10);
    AddProperty(*view, "Description", &desc, 0, 0, 0, false);
    AddProperty(*view, "Hidden", &acme, 0, 3, 3);
    // A user property whose value index is its name's has no value of its own.
    auto empty = Make<dbo::TDboPropNameVal>(&bench.design);
    empty->NameIdx = empty->ValueIdx = bench.design.AddString("Empty");
    view->UserProps.Add(std::move(empty));

    imp->ImportObjectProperties(view.get(), component);
    const int32_t h = 10 * 100000;  // default property font: 10 points
    ISch_Parameter* comment = component->GetState_SchComment();
    EXPECT_EQ(comment->GetState_Text(), "10k");
    EXPECT_FALSE(comment->GetState_IsHidden());
    EXPECT_FALSE(comment->GetState_ShowName());
    EXPECT_EQ(comment->GetState_Location(), (Coord{800000, -5400000 - h}));
    EXPECT_EQ(comment->GetState_Color(), 0x800000);
    ISch_Designator* designator = component->GetState_SchDesignator();
    EXPECT_TRUE(designator->GetState_IsHidden());
    EXPECT_EQ(designator->GetState_Location(), (Coord{700000, 1400000 - h}));
    EXPECT_EQ(component->GetState_ComponentDescription(), "An amplifier");

    std::map<std::string, ISch_Parameter*> byName;
    for (auto* p : ChildrenOf<ISch_Parameter>(component, eParameter)) byName[p->GetState_Name()] = p;
    std::vector<std::string> names;
    for (auto& [name, p] : byName) names.push_back(name);
    EXPECT_EQ(names, (std::vector<std::string>{"Comment", "Empty", "Hidden", "Manufacturer", "Page Modify Date", "Tolerance"}));
    EXPECT_EQ(byName["Page Modify Date"]->GetState_Text(), "=Date");
    EXPECT_FALSE(byName["Page Modify Date"]->GetState_IsHidden());
    EXPECT_EQ(byName["Manufacturer"]->GetState_Text(), "ACME");
    EXPECT_TRUE(byName["Manufacturer"]->GetState_IsHidden());
    EXPECT_EQ(byName["Empty"]->GetState_Text(), "");
    EXPECT_TRUE(byName["Empty"]->GetState_IsHidden());
    EXPECT_TRUE(byName["Hidden"]->GetState_IsHidden());  // display format 0
    ISch_Parameter* tolerance = byName["Tolerance"];
    EXPECT_EQ(tolerance->GetState_Text(), "5%");
    EXPECT_FALSE(tolerance->GetState_IsHidden());
    EXPECT_TRUE(tolerance->GetState_ShowName());
    EXPECT_EQ(tolerance->GetState_OwnerPartId(), 1);
    EXPECT_EQ(tolerance->GetState_Location(), (Coord{3000000, -1000000 - h}));
    EXPECT_EQ(tolerance->GetState_FontId(), imp->DefaultFaceFont(10));

    // A second pass merges into what is there.
    const size_t live = bench.app.LiveObjectCount();
    imp->ImportObjectProperties(view.get(), component);
    EXPECT_EQ(ChildrenOf<ISch_Parameter>(component, eParameter).size(), 6u);
    EXPECT_EQ(bench.app.LiveObjectCount(), live);
    EXPECT_EQ(component->GetState_SchComment()->GetState_Text(), "10k");

    // A visible property on a pin stands where the record says, with the pin's name hidden.
    auto* pin = dynamic_cast<ISch_Pin*>(bench.Server().CreateSchObject(ePin, 0));
    pin->SetState_Location({5000000, 5000000});
    component->AddSchObject(pin);
    auto pinRecord = Make<dbo::TDboPinScalar>(&bench.design);
    AddProperty(*pinRecord, "Swap", &acme, 2, 4, 0);
    imp->ImportObjectProperties(pinRecord.get(), pin);
    auto pinParameters = ChildrenOf<ISch_Parameter>(pin, eParameter);
    ASSERT_EQ(pinParameters.size(), 1u);
    EXPECT_EQ(pinParameters[0]->GetState_Location(), (Coord{400000, -h}));
    EXPECT_FALSE(pinParameters[0]->GetState_ShowName());
    imp->RemoveParameter(pin, "swap");
    EXPECT_TRUE(ChildrenOf<ISch_Parameter>(pin, eParameter).empty());
}

TEST_F(CommonImporterTest, ExtentParametersSetTheBaseOfMirroredAndTurnedComponents) {
    ISch_Component* component = AddComponent("EXT");
    auto* right = imp->NewParameter("Vantor-Right");
    right->SetState_Text("40");
    component->AddSchObject(right);
    auto* bottom = imp->NewParameter("Vantor-Bottom");
    bottom->SetState_Text("30");
    bottom->SetState_OwnerPartId(3);
    component->AddSchObject(bottom);
    auto record = Make<dbo::TDboLibView>(&bench.design);
    const std::string v = "X";
    AddProperty(*record, "Note", &v, 1, 0, 0);
    const int32_t h = 10 * 100000;
    struct Case {
        int orientation;
        bool mirrored;
        Coord base;
    };
    const int32_t w = 4000000, hh = 3000000;  // the extents, scaled
    for (const Case& c : {Case{0, false, {0, 0}}, Case{0, true, {-w, 0}}, Case{1, false, {0, w}},
                          Case{1, true, {-hh, w}}, Case{2, false, {-w, hh}}, Case{2, true, {0, hh}},
                          Case{3, false, {-hh, 0}}, Case{3, true, {0, 0}}}) {
        component->SetState_IsMirrored(false);
        component->SetState_Orientation(0);
        component->SetState_Orientation(c.orientation);
        component->SetState_IsMirrored(c.mirrored);
        ParameterList list;
        imp->ImportVisibleProperties(record.get(), component, list);
        ASSERT_EQ(list.size(), 1u);
        EXPECT_EQ(list[0]->GetState_Location(), (Coord{c.base.X, c.base.Y - h}))
            << "orientation " << c.orientation << " mirrored " << c.mirrored;
        imp->DestroyParameters(list);
    }
    EXPECT_EQ(bottom->GetState_OwnerPartId(), 1);
}

}  // namespace
}  // namespace orcadx::test
