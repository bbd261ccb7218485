// SVG pictures of sheets and libraries, and a look at one through a browser.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>

#include "HostTestUtil.h"
#include "TestSupport.h"
#include "host/ClientServices.h"
#include "host/Render.h"

#ifdef ORCADX_HAVE_ZLIB
#include <zlib.h>
#endif

using namespace orcadx::host;
using orcadx::test::Mil;
using orcadx::test::ReadFile;

namespace {

size_t Count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos + 1)) ++n;
    return n;
}

#ifdef ORCADX_HAVE_ZLIB
struct Picture {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> rgb;  // three bytes a pixel
};

uint32_t Be32(const std::string& s, size_t at) {
    return (uint32_t(uint8_t(s[at])) << 24) | (uint32_t(uint8_t(s[at + 1])) << 16) |
           (uint32_t(uint8_t(s[at + 2])) << 8) | uint32_t(uint8_t(s[at + 3]));
}

// Reads an 8-bit RGB or RGBA PNG without interlace.
bool DecodePng(const std::string& file, Picture& out, std::string& why) {
    if (file.size() < 8 || file.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0) {
        why = "no PNG signature";
        return false;
    }
    int colourType = -1;
    std::string idat;
    for (size_t at = 8; at + 8 <= file.size();) {
        uint32_t len = Be32(file, at);
        std::string type = file.substr(at + 4, 4);
        if (at + 12 + len > file.size()) break;
        if (type == "IHDR") {
            out.width = Be32(file, at + 8);
            out.height = Be32(file, at + 12);
            if (uint8_t(file[at + 16]) != 8 || uint8_t(file[at + 20]) != 0) {
                why = "unsupported bit depth or interlace";
                return false;
            }
            colourType = uint8_t(file[at + 17]);
        } else if (type == "IDAT") {
            idat += file.substr(at + 8, len);
        }
        at += 12 + len;
    }
    if (colourType != 2 && colourType != 6) {
        why = "colour type " + std::to_string(colourType);
        return false;
    }
    size_t bpp = colourType == 6 ? 4 : 3, stride = out.width * bpp;
    std::vector<uint8_t> raw((stride + 1) * out.height);
    uLongf rawSize = raw.size();
    if (uncompress(raw.data(), &rawSize, reinterpret_cast<const Bytef*>(idat.data()), idat.size()) != Z_OK ||
        rawSize != raw.size()) {
        why = "bad image data";
        return false;
    }
    std::vector<uint8_t> prev(stride, 0), line(stride);
    out.rgb.clear();
    for (uint32_t y = 0; y < out.height; ++y) {
        uint8_t filter = raw[y * (stride + 1)];
        const uint8_t* src = &raw[y * (stride + 1) + 1];
        for (size_t x = 0; x < stride; ++x) {
            int a = x >= bpp ? line[x - bpp] : 0, b = prev[x], c = x >= bpp ? prev[x - bpp] : 0;
            int predictor = 0;
            switch (filter) {
                case 1: predictor = a; break;
                case 2: predictor = b; break;
                case 3: predictor = (a + b) / 2; break;
                case 4: {
                    int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
                    predictor = pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
                    break;
                }
                default: break;
            }
            line[x] = uint8_t(src[x] + predictor);
        }
        for (uint32_t x = 0; x < out.width; ++x)
            for (int k = 0; k < 3; ++k) out.rgb.push_back(line[x * bpp + k]);
        prev = line;
    }
    return true;
}
#endif

}  // namespace

TEST(HostRender, SheetAndLibraryPicturesHoldEveryObject) {
    auto dir = orcadx::test::ScratchDir("host_render_svg");
    HostApplication app(orcadx::test::Options(21));
    orcadx::test::BuildSampleSheet(app, dir / "Sample.SchDoc");
    orcadx::test::BuildSampleLibrary(app, dir / "Sample.SchLib");

    auto files = RenderDocumentFile(app, (dir / "Sample.SchDoc").string(), (dir / "Sample.svg").string());
    ASSERT_EQ(files.size(), 1u);
    std::string svg = ReadFile(dir / "Sample.svg");
    EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
    // OrCAD A: 9700 by 7200 mils, drawn one SVG unit to the mil and one pixel to ten mils.
    EXPECT_NE(svg.find("width=\"970\" height=\"720\" viewBox=\"0 0 9700 7200\""), std::string::npos);
    // Texts: the label, the text frame's two lines, net label, power names, port, designator, comment,
    // a parameter with its name, pin names and numbers, the sheet symbol's texts and entry.
    for (const char* text : {">Sample sheet<", ">First line<", ">Second line<", ">SIGNAL<", ">VCC<", ">GND<", ">IN<",
                             ">R1<", ">10k<", ">Tolerance: 5%<", ">A<", ">B<", ">1<", ">2<", ">Power<",
                             ">Power.SchDoc<", ">VIN<", ">D[0..7]<", ">BUS1<"})
        EXPECT_NE(svg.find(text), std::string::npos) << text;
    // Fonts and sizes: the label in bold Arial of 20 points (200 mils), the frame in italic.
    EXPECT_NE(svg.find("font-family=\"Arial\" font-size=\"200\" fill=\"#000080\" text-anchor=\"start\" font-weight=\"bold\""),
              std::string::npos);
    EXPECT_NE(svg.find("font-style=\"italic\""), std::string::npos);
    // Colours and fills: the default rectangle fill, the green round rectangle, navy wires.
    EXPECT_NE(svg.find("fill=\"#ffffb0\""), std::string::npos);
    EXPECT_NE(svg.find("rx=\"20\" ry=\"20\" fill=\"#00ff00\""), std::string::npos);
    EXPECT_GE(Count(svg, "stroke=\"#000080\" stroke-width=\"5\""), 3u);
    EXPECT_NE(svg.find("stroke-dasharray"), std::string::npos);        // the dashed line
    EXPECT_NE(svg.find("href=\"data:image/png;base64,iVBOR"), std::string::npos);
    EXPECT_EQ(Count(svg, "<ellipse"), 1u);
    EXPECT_GE(Count(svg, "<circle"), 3u);  // junction, the dotted pin, the IEEE dot
    EXPECT_EQ(Count(svg, "<text"), Count(svg, "</text>"));
    EXPECT_EQ(Count(svg, "<svg"), 1u);
    // Coordinates flip: the junction at y = 2450 mils stands 7200 - 2450 from the top.
    EXPECT_NE(svg.find("<circle cx=\"2800\" cy=\"4750\""), std::string::npos);

    // A library: one picture per component, the second part of RES beside the first.
    auto pictures = RenderDocumentFile(app, (dir / "Sample.SchLib").string(), (dir / "lib").string());
    ASSERT_EQ(pictures.size(), 2u);
    EXPECT_TRUE(std::filesystem::exists(dir / "lib" / "RES.svg"));
    EXPECT_TRUE(std::filesystem::exists(dir / "lib" / "CAP_X.svg"));
    std::string res = ReadFile(dir / "lib" / "RES.svg");
    EXPECT_NE(res.find(">Part 2<"), std::string::npos);
    EXPECT_NE(res.find(">RES<"), std::string::npos);
    EXPECT_EQ(ReadFile(dir / "lib" / "CAP_X.svg").find(">Part 2<"), std::string::npos);

    EXPECT_THROW(RenderDocumentFile(app, (dir / "Missing.SchDoc").string(), (dir / "x.svg").string()), EApiErr);
}

TEST(HostRender, BrowserShowsTheSheet) {
    const std::filesystem::path chromium = "/usr/bin/chromium";
    if (!std::filesystem::exists(chromium)) GTEST_SKIP() << "chromium not installed at " << chromium;
#ifndef ORCADX_HAVE_ZLIB
    GTEST_SKIP() << "built without zlib, cannot read the screenshot";
#else
    auto dir = orcadx::test::ScratchDir("host_render_browser");
    HostApplication app(orcadx::test::Options(22));
    orcadx::test::BuildSampleSheet(app, dir / "Sample.SchDoc");
    RenderDocumentFile(app, (dir / "Sample.SchDoc").string(), (dir / "Sample.svg").string());
    std::filesystem::create_directories(dir / "profile");
    std::string command = "timeout 180 " + chromium.string() +
                          " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                          " --disable-background-networking --disable-component-update --disable-sync"
                          " --hide-scrollbars --user-data-dir=" + (dir / "profile").string() +
                          " --window-size=1000,800 --screenshot=" + (dir / "shot.png").string() + " file://" +
                          (dir / "Sample.svg").string() + " > " + (dir / "chromium.log").string() + " 2>&1";
    int rc = std::system(command.c_str());
    ASSERT_TRUE(std::filesystem::exists(dir / "shot.png")) << "chromium gave no picture (exit " << rc << "):\n"
                                                           << ReadFile(dir / "chromium.log");
    Picture picture;
    std::string why;
    ASSERT_TRUE(DecodePng(ReadFile(dir / "shot.png"), picture, why)) << why;
    EXPECT_EQ(picture.width, 1000u);
    size_t dark = 0, yellow = 0, green = 0;
    for (size_t i = 0; i + 2 < picture.rgb.size(); i += 3) {
        int r = picture.rgb[i], g = picture.rgb[i + 1], b = picture.rgb[i + 2];
        if (r < 128 && g < 128 && b < 160) ++dark;
        if (r > 245 && g > 245 && b > 160 && b < 195) ++yellow;  // #ffffb0 fills
        if (r < 30 && g > 225 && b < 30) ++green;                 // the green round rectangle
    }
    // Lines and texts are drawn, and the filled shapes cover their areas (80 by 80 pixels each).
    EXPECT_GT(dark, 2000u);
    EXPECT_GT(yellow, 5000u);
    EXPECT_GT(green, 4000u);
#endif
}

namespace {

// The one line of the picture that draws the text `text` (its only tspan), or "".
std::string TextLine(const std::string& svg, const std::string& text) {
    std::string needle = "\">" + text + "</tspan></text>";
    size_t at = svg.find(needle);
    if (at == std::string::npos) return "";
    size_t begin = svg.rfind("\n", at) + 1;
    return svg.substr(begin, svg.find('\n', at) - begin);
}

}  // namespace

// Where things land in the picture: a sheet of 10000 by 8000 mils, so that host (x, y) in mils
// draws at (x, 8000 - y). Texts turn counter-clockwise with their orientation, which SVG (y down)
// writes as a negative angle about the anchor; pins run from the body end to the electrical end;
// a mirrored arc keeps its radii and runs the other way round from mirrored end points.
TEST(HostRender, GeometryOfTextsPinsAndArcs) {
    auto dir = orcadx::test::ScratchDir("host_render_geometry");
    HostApplication app(orcadx::test::Options(23));
    app.StartSchServer();
    IServerDocument* server = OpenOrCreateDocument(app, (dir / "Geometry.SchDoc").string(), "SCH", "Binary", true);
    auto* sheet = dynamic_cast<ISch_Sheet*>(app.SchDocumentOf(server));
    ASSERT_NE(sheet, nullptr);
    sheet->SetState_UseCustomSheet(true);
    sheet->SetState_CustomX(Mil(10000));
    sheet->SetState_CustomY(Mil(8000));
    sheet->SetState_CustomMargin(0);
    using orcadx::test::Make;

    // Four labels, one per orientation and each with another justification.
    struct LabelCase {
        const char* text;
        int32_t x, orientation, justification;
    };
    for (LabelCase c : {LabelCase{"EAST", 1000, 0, eJustify_BottomLeft}, LabelCase{"NORTH", 2000, 1, eJustify_Center},
                        LabelCase{"WEST", 3000, 2, eJustify_TopRight}, LabelCase{"SOUTH", 4000, 3, eJustify_BottomRight}}) {
        auto* label = Make<ISch_Label>(app, eLabel);
        label->SetState_Text(c.text);
        label->SetState_Location({Mil(c.x), Mil(1000)});
        label->SetState_Orientation(c.orientation);
        label->SetState_Justification(c.justification);
        sheet->AddSchObject(label);
    }
    // Pins in all four directions, 200 mils long, one with a dot at its body end.
    auto* part = Make<ISch_Component>(app, eSchComponent);
    part->SetState_Location({Mil(5000), Mil(1000)});
    struct PinCase {
        const char* name;
        int32_t x, y, orientation, outerEdge;
    };
    for (PinCase c : {PinCase{"P0", 5000, 1000, 0, 0}, PinCase{"P1", 5000, 2000, 1, 0}, PinCase{"P2", 5000, 3000, 2, 0},
                      PinCase{"P3", 5000, 4000, 3, 0}, PinCase{"PD", 6000, 1000, 0, 3}}) {
        auto* pin = Make<ISch_Pin>(app, ePin);
        pin->SetState_Name(c.name);
        pin->SetState_ShowDesignator(false);
        pin->SetState_Location({Mil(c.x), Mil(c.y)});
        pin->SetState_Orientation(c.orientation);
        pin->SetState_PinLength(Mil(200));
        pin->SetState_OuterEdge(c.outerEdge);
        part->AddSchObject(pin);
    }
    sheet->AddSchObject(part);
    // A quarter arc, the same arc mirrored about its centre's vertical, and an elliptical arc of
    // three quarters with its mirror image.
    auto arc = [&](int32_t kind, int32_t x, int32_t rx, int32_t ry, double start, double end, bool mirror) {
        auto* a = dynamic_cast<ISch_Arc*>(app.SchServer()->CreateSchObject(kind, 0));
        a->SetState_Location({Mil(x), Mil(1000)});
        a->SetState_Radius(Mil(rx));
        if (auto* e = dynamic_cast<ISch_EllipticalArc*>(a)) e->SetState_SecondaryRadius(Mil(ry));
        a->SetState_StartAngle(start);
        a->SetState_EndAngle(end);
        if (mirror) a->Mirror({Mil(x), 0});
        sheet->AddSchObject(a);
    };
    arc(eArc, 7000, 100, 100, 0, 90, false);
    arc(eArc, 7000, 100, 100, 0, 90, true);
    arc(eEllipticalArc, 8000, 100, 50, 30, 300, false);
    arc(eEllipticalArc, 8000, 100, 50, 30, 300, true);
    // A component turned a quarter and one mirrored: their text and arc go with them.
    auto* turned = Make<ISch_Component>(app, eSchComponent);
    turned->SetState_Location({Mil(2000), Mil(4000)});
    auto* value = Make<ISch_Parameter>(app, eParameter);
    value->SetState_Name("Value");
    value->SetState_Text("10k");
    value->SetState_Location({Mil(2100), Mil(4000)});
    turned->AddSchObject(value);
    turned->SetState_Orientation(1);
    sheet->AddSchObject(turned);
    auto* mirrored = Make<ISch_Component>(app, eSchComponent);
    mirrored->SetState_Location({Mil(9000), Mil(3000)});
    auto* bow = Make<ISch_Arc>(app, eArc);
    bow->SetState_Location({Mil(9100), Mil(3000)});
    bow->SetState_Radius(Mil(50));
    bow->SetState_StartAngle(0);
    bow->SetState_EndAngle(90);
    mirrored->AddSchObject(bow);
    mirrored->SetState_IsMirrored(true);
    sheet->AddSchObject(mirrored);

    std::string svg = RenderSheetSvg(sheet);
    EXPECT_NE(svg.find("width=\"1000\" height=\"800\" viewBox=\"0 0 10000 8000\""), std::string::npos);

    // Texts: anchor at (x, 7000); the baseline of one line of 100 mils lies 20 above the anchor for
    // the bottom row, 30 below for the middle, 80 below for the top.
    EXPECT_NE(TextLine(svg, "EAST").find("text-anchor=\"start\" xml:space=\"preserve\"><tspan x=\"1000\" y=\"6980\">"),
              std::string::npos)
        << TextLine(svg, "EAST");
    EXPECT_NE(TextLine(svg, "NORTH").find("text-anchor=\"middle\" transform=\"rotate(-90 2000 7000)\" xml:space=\"preserve\">"
                                          "<tspan x=\"2000\" y=\"7030\">"),
              std::string::npos)
        << TextLine(svg, "NORTH");
    EXPECT_NE(TextLine(svg, "WEST").find("text-anchor=\"end\" transform=\"rotate(-180 3000 7000)\" xml:space=\"preserve\">"
                                         "<tspan x=\"3000\" y=\"7080\">"),
              std::string::npos)
        << TextLine(svg, "WEST");
    EXPECT_NE(TextLine(svg, "SOUTH").find("text-anchor=\"end\" transform=\"rotate(-270 4000 7000)\" xml:space=\"preserve\">"
                                          "<tspan x=\"4000\" y=\"6980\">"),
              std::string::npos)
        << TextLine(svg, "SOUTH");
    // The parameter turned with its component: from (2100, 4000) to (2000, 4100), orientation 1.
    EXPECT_NE(TextLine(svg, "10k").find("transform=\"rotate(-90 2000 3900)\" xml:space=\"preserve\"><tspan x=\"2000\" "
                                        "y=\"3880\">"),
              std::string::npos)
        << TextLine(svg, "10k");

    // Pins: body end to electrical end, 200 mils in the pin's direction; the dotted pin's line starts
    // behind its dot (radius 12, 12 mils out).
    for (const char* line : {"<line x1=\"5000\" y1=\"7000\" x2=\"5200\" y2=\"7000\"",
                             "<line x1=\"5000\" y1=\"6000\" x2=\"5000\" y2=\"5800\"",
                             "<line x1=\"5000\" y1=\"5000\" x2=\"4800\" y2=\"5000\"",
                             "<line x1=\"5000\" y1=\"4000\" x2=\"5000\" y2=\"4200\"",
                             "<line x1=\"6024\" y1=\"7000\" x2=\"6200\" y2=\"7000\"",
                             "<circle cx=\"6012\" cy=\"7000\" r=\"12\""})
        EXPECT_NE(svg.find(line), std::string::npos) << line;
    // The name of the upward pin stands 30 mils below its body end, turned to read upward.
    EXPECT_NE(TextLine(svg, "P1").find("transform=\"rotate(-90 5000 6030)\""), std::string::npos) << TextLine(svg, "P1");

    // Arcs: counter-clockwise from start to end is SVG's sweep flag 0; the large-arc flag is set
    // past 180 degrees. Mirrored, the arc starts at the mirror of the old end.
    for (const char* path : {"<path d=\"M7100,7000 A100 100 0 0 0 7000,6900\"",
                             "<path d=\"M7000,6900 A100 100 0 0 0 6900,7000\"",
                             "<path d=\"M8086.6,6975 A100 50 0 1 0 8050,7043.3\"",
                             "<path d=\"M7950,7043.3 A100 50 0 1 0 7913.4,6975\"",
                             "<path d=\"M8900,4950 A50 50 0 0 0 8850,5000\""})
        EXPECT_NE(svg.find(path), std::string::npos) << path;
    app.Client()->CloseDocument(server);
}
