// SVG pictures of sheets and libraries, and a look at one through a browser.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>

#include "HostTestUtil.h"
#include "TestSupport.h"
#include "host/Render.h"

#ifdef ORCADX_HAVE_ZLIB
#include <zlib.h>
#endif

using namespace orcadx::host;
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
