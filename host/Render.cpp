#include "host/Render.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <set>

#include <fmt/format.h>

#include "host/SchObjects.h"
#include "host/SchServer.h"

namespace fs = std::filesystem;

namespace orcadx::host {

namespace {

using impl::ObjectCore;

constexpr double kMil = 10000.0;

std::string Num(double v) {
    std::string s = fmt::format("{:.2f}", v);
    while (s.back() == '0') s.pop_back();
    if (s.back() == '.') s.pop_back();
    return s == "-0" ? "0" : s;
}

std::string Colour(int32_t bgr) {
    return fmt::format("#{:02x}{:02x}{:02x}", bgr & 0xFF, (bgr >> 8) & 0xFF, (bgr >> 16) & 0xFF);
}

}  // namespace

std::string EscapeXml(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default:
                if (static_cast<unsigned char>(c) >= 0x20 || c == '\t') out += c;
        }
    }
    return out;
}

namespace {

// Line widths of the host (0 smallest to 3 large) in mils.
double StrokeWidth(int32_t lineWidth) {
    static const double widths[] = {2, 5, 12, 20};
    return widths[std::clamp(lineWidth, 0, 3)];
}

std::string Dash(int32_t style, double width) {
    switch (style) {
        case 1: return fmt::format(" stroke-dasharray=\"{} {}\"", Num(width * 4 + 10), Num(width * 2 + 6));
        case 2: return fmt::format(" stroke-dasharray=\"{} {}\"", Num(width + 2), Num(width * 2 + 6));
        case 3: return fmt::format(" stroke-dasharray=\"{} {} {} {}\"", Num(width * 4 + 10), Num(width * 2 + 6),
                                   Num(width + 2), Num(width * 2 + 6));
        default: return "";
    }
}

class Painter {
public:
    // Host point (x, y) maps to SVG (x / mil - left, top - y / mil).
    Painter(double left, double top, impl::SchServer* server) : left_(left), top_(top), server_(server) {}

    double X(double x) const { return x / kMil - left_; }
    double Y(double y) const { return top_ - y / kMil; }
    std::string P(Coord c) const { return Num(X(c.X)) + "," + Num(Y(c.Y)); }
    std::string P(double x, double y) const { return Num(X(x)) + "," + Num(Y(y)); }

    void Add(const std::string& element) { out_ += element + "\n"; }
    const std::string& Out() const { return out_; }

    // Text anchored at a host point, with the host's justification and quarter-turn orientation.
    void Text(Coord at, const std::string& text, int32_t fontId, int32_t colour, int32_t justification,
              int32_t orientation, double sizeOverride = 0) {
        if (text.empty()) return;
        FontDescription font;
        if (!server_ || !server_->GetFontDescription(fontId, font)) font = FontDescription{};
        double size = sizeOverride > 0 ? sizeOverride : font.Size * 10.0;  // one point is ten mils
        int32_t col = ((justification % 3) + 3) % 3, row = std::clamp(justification / 3, 0, 2);
        const char* anchor = col == 0 ? "start" : col == 1 ? "middle" : "end";
        std::vector<std::string> lines;
        std::string line;
        for (char c : text) {
            if (c == '\r') continue;
            if (c == '\n') {
                lines.push_back(line);
                line.clear();
            } else {
                line += c;
            }
        }
        lines.push_back(line);
        double lineHeight = size * 1.0;
        double block = lineHeight * static_cast<double>(lines.size());
        // Baseline of the first line relative to the anchor, in SVG units (downward).
        double first = row == 0 ? -block + size * 0.8 : row == 1 ? -block / 2 + size * 0.8 : size * 0.8;
        double x = X(at.X), y = Y(at.Y);
        std::string attrs = fmt::format(
            "font-family=\"{}\" font-size=\"{}\" fill=\"{}\" text-anchor=\"{}\"{}{}{}", EscapeXml(font.FontName),
            Num(size), Colour(colour), anchor, font.Bold ? " font-weight=\"bold\"" : "",
            font.Italic ? " font-style=\"italic\"" : "",
            font.Underline ? " text-decoration=\"underline\"" : (font.Strikeout ? " text-decoration=\"line-through\"" : ""));
        std::string transform =
            orientation % 4 ? fmt::format(" transform=\"rotate({} {} {})\"", -90 * (orientation % 4), Num(x), Num(y)) : "";
        std::string body;
        for (size_t i = 0; i < lines.size(); ++i)
            body += fmt::format("<tspan x=\"{}\" y=\"{}\">{}</tspan>", Num(x), Num(y + first + lineHeight * double(i)),
                                EscapeXml(lines[i]));
        Add(fmt::format("<text {}{} xml:space=\"preserve\">{}</text>", attrs, transform, body));
    }

    impl::SchServer* Server() const { return server_; }

private:
    double left_, top_;
    impl::SchServer* server_;
    std::string out_;
};

std::string FillOf(const ObjectCore& o) {
    if (!o.GetBool("IsSolid")) return "fill=\"none\"";
    std::string fill = "fill=\"" + Colour(o.GetInt("AreaColor")) + "\"";
    if (o.GetBool("Transparent")) fill += " fill-opacity=\"0.5\"";
    return fill;
}

std::string StrokeOf(const ObjectCore& o, bool withStyle) {
    double w = StrokeWidth(o.GetInt("LineWidth"));
    std::string s = fmt::format("stroke=\"{}\" stroke-width=\"{}\" stroke-linejoin=\"round\" stroke-linecap=\"round\"",
                                Colour(o.GetInt("Color")), Num(w));
    if (withStyle) s += Dash(o.GetInt("LineStyle"), w);
    return s;
}

std::string ArcPath(Painter& p, Coord c, double rx, double ry, double start, double end, bool pie) {
    double sweep = std::fmod(end - start, 360.0);
    if (sweep <= 0) sweep += 360.0;
    double a0 = start * std::numbers::pi / 180.0, a1 = (start + sweep) * std::numbers::pi / 180.0;
    double x0 = c.X + rx * std::cos(a0), y0 = c.Y + ry * std::sin(a0);
    double x1 = c.X + rx * std::cos(a1), y1 = c.Y + ry * std::sin(a1);
    std::string d;
    if (pie) d = "M" + p.P(c) + " L" + p.P(x0, y0);
    else d = "M" + p.P(x0, y0);
    if (sweep >= 359.999) {
        // A full turn: two half arcs.
        double xm = c.X + rx * std::cos(a0 + std::numbers::pi), ym = c.Y + ry * std::sin(a0 + std::numbers::pi);
        d += fmt::format(" A{} {} 0 0 0 {} A{} {} 0 0 0 {}", Num(rx / kMil), Num(ry / kMil), p.P(xm, ym),
                         Num(rx / kMil), Num(ry / kMil), p.P(x1, y1));
    } else {
        // Counter-clockwise with y upward is sweep flag 0 with y downward.
        d += fmt::format(" A{} {} 0 {} 0 {}", Num(rx / kMil), Num(ry / kMil), sweep > 180 ? 1 : 0, p.P(x1, y1));
    }
    if (pie) d += " Z";
    return d;
}

std::string ImageMime(const std::string& b64) {
    if (b64.rfind("iVBOR", 0) == 0) return "image/png";
    if (b64.rfind("/9j/", 0) == 0) return "image/jpeg";
    if (b64.rfind("R0lG", 0) == 0) return "image/gif";
    if (b64.rfind("Qk", 0) == 0) return "image/bmp";
    return "application/octet-stream";
}

// A polygon in a local frame (x along the object's direction) placed at `at` turned by `orientation`.
std::string Turned(Painter& p, Coord at, int32_t orientation, const std::vector<std::pair<double, double>>& local) {
    std::string pts;
    for (auto [lx, ly] : local) {
        Coord q = impl::RotatePoint({at.X + int32_t(lx * kMil), at.Y + int32_t(ly * kMil)}, at, orientation);
        pts += p.P(q) + " ";
    }
    return pts;
}

void DrawPowerSymbol(Painter& p, ObjectCore& o, bool crossSheet) {
    Coord at = o.GetCoord(impl::kLocation);
    int32_t orientation = o.GetInt("Orientation");
    int32_t style = o.GetInt("Style");
    std::string stroke = fmt::format("stroke=\"{}\" stroke-width=\"5\" fill=\"none\" stroke-linecap=\"round\"",
                                     Colour(o.GetInt("Color")));
    auto line = [&](std::vector<std::pair<double, double>> pts) {
        p.Add(fmt::format("<polyline points=\"{}\" {}/>", Turned(p, at, orientation, pts), stroke));
    };
    double textAt = 0;
    if (crossSheet) {
        // Two chevrons pointing away (side 1) or back (side 0).
        double dir = style == 0 ? -1 : 1;
        line({{0, 0}, {20, 0}});
        line({{20 + (dir < 0 ? 25 : 0), 25}, {20 + (dir < 0 ? 0 : 25), 0}, {20 + (dir < 0 ? 25 : 0), -25}});
        line({{45 + (dir < 0 ? 25 : 0), 25}, {45 + (dir < 0 ? 0 : 25), 0}, {45 + (dir < 0 ? 25 : 0), -25}});
        textAt = 85;
    } else {
        line({{0, 0}, {50, 0}});
        switch (style) {
            case 0: {  // circle
                Coord c = impl::RotatePoint({at.X + int32_t(65 * kMil), at.Y}, at, orientation);
                p.Add(fmt::format("<circle cx=\"{}\" cy=\"{}\" r=\"15\" {}/>", Num(p.X(c.X)), Num(p.Y(c.Y)), stroke));
                textAt = 90;
                break;
            }
            case 1: line({{35, 15}, {50, 0}, {35, -15}}); textAt = 70; break;        // arrow
            case 2: line({{50, 30}, {50, -30}}); textAt = 70; break;                 // bar
            case 3: line({{50, 0}, {58, 15}, {66, -15}, {74, 0}}); textAt = 95; break;  // wave
            case 4:  // power ground
                line({{50, 40}, {50, -40}});
                line({{62, 26}, {62, -26}});
                line({{74, 12}, {74, -12}});
                textAt = 95;
                break;
            case 5: line({{50, 40}, {80, 0}, {50, -40}, {50, 40}}); textAt = 100; break;  // signal ground
            default:  // earth
                line({{50, 40}, {50, -40}});
                for (double y : {40.0, 13.0, -14.0, -40.0}) line({{50, y}, {70, y + 20}});
                textAt = 90;
                break;
        }
    }
    if (o.GetBool("ShowNetName", true)) {
        Coord t = impl::RotatePoint({at.X + int32_t(textAt * kMil), at.Y}, at, orientation);
        // Readable text: horizontal for left and right, centred above or below for up and down.
        int32_t o4 = ((orientation % 4) + 4) % 4;
        int32_t just = o4 == 0 ? eJustify_CenterLeft : o4 == 2 ? eJustify_CenterRight
                                                   : o4 == 1 ? eJustify_BottomCenter
                                                             : eJustify_TopCenter;
        p.Text(t, o.GetStr("Text"), o.GetInt("FontId", 1), o.GetInt("Color"), just, 0);
    }
}

void DrawPort(Painter& p, ObjectCore& o) {
    Coord a = o.GetCoord(impl::kLocation);
    int32_t style = o.GetInt("Style");
    bool vertical = style >= 4;
    double w = o.GetInt("Width") / kMil, h = std::max(o.GetInt("Height") / kMil, 20.0);
    double tip = std::min(h / 2, w / 3);
    int32_t s = vertical ? style - 4 : style;
    // Local frame: x along the body, y across. Styles 1 and 2 (5 and 6) point to the start or the
    // end; a vertical port's start is its lower end.
    bool pointStart = s == 1 || s == 3, pointEnd = s == 2 || s == 3;
    if (vertical) std::swap(pointStart, pointEnd);
    std::vector<std::pair<double, double>> pts;
    if (pointStart) pts = {{0, 0}, {tip, h / 2}};
    else pts = {{0, -h / 2}, {0, h / 2}};
    if (pointEnd) pts.insert(pts.end(), {{w - tip, h / 2}, {w, 0}, {w - tip, -h / 2}});
    else pts.insert(pts.end(), {{w, h / 2}, {w, -h / 2}});
    if (pointStart) pts.push_back({tip, -h / 2});
    std::string poly = Turned(p, a, vertical ? 1 : 0, pts);
    p.Add(fmt::format("<polygon points=\"{}\" fill=\"{}\" stroke=\"{}\" stroke-width=\"3\"/>", poly,
                      Colour(o.GetInt("AreaColor")), Colour(o.GetInt("Color"))));
    Coord mid = vertical ? Coord{a.X, a.Y + o.GetInt("Width") / 2} : Coord{a.X + o.GetInt("Width") / 2, a.Y};
    p.Text(mid, o.GetStr("Name"), o.GetInt("FontId", 1), o.GetInt("TextColor"), eJustify_Center, vertical ? 1 : 0,
           std::min(h * 0.7, 80.0));
}

void DrawPin(Painter& p, ObjectCore& o) {
    if (o.GetBool("IsHidden")) return;
    Coord body = o.GetCoord(impl::kLocation), hot = impl::PinHotSpot(o);
    int32_t orientation = ((o.GetInt("Orientation") % 4) + 4) % 4;
    std::string colour = Colour(o.GetInt("Color"));
    double len = o.GetInt("PinLength") / kMil;
    double dot = o.GetInt("OuterEdge") == 3 ? 12 : 0;
    Coord start = impl::RotatePoint({body.X + int32_t(dot * 2 * kMil), body.Y}, body, orientation);
    if (len > dot * 2)
        p.Add(fmt::format("<line x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\" stroke=\"{}\" stroke-width=\"4\"/>",
                          Num(p.X(start.X)), Num(p.Y(start.Y)), Num(p.X(hot.X)), Num(p.Y(hot.Y)), colour));
    if (dot > 0) {
        Coord c = impl::RotatePoint({body.X + int32_t(dot * kMil), body.Y}, body, orientation);
        p.Add(fmt::format("<circle cx=\"{}\" cy=\"{}\" r=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"3\"/>",
                          Num(p.X(c.X)), Num(p.Y(c.Y)), Num(dot), colour));
    }
    if (o.GetInt("InnerEdge") == 1)
        p.Add(fmt::format("<polyline points=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"3\"/>",
                          Turned(p, body, orientation, {{0, 20}, {-25, 0}, {0, -20}}), colour));
    // The name inside the body, the number over the pin line; both read left to right or upward.
    bool verticalPin = orientation % 2 == 1;
    int32_t textTurn = verticalPin ? 1 : 0;
    if (o.GetBool("ShowName", true)) {
        Coord at = impl::RotatePoint({body.X - int32_t(30 * kMil), body.Y}, body, orientation);
        bool towardsStart = orientation == 0 || orientation == 1;
        p.Text(at, o.GetStr("Name"), 1, 0x000000, towardsStart ? eJustify_CenterRight : eJustify_CenterLeft, textTurn,
               60);
    }
    if (o.GetBool("ShowDesignator", true)) {
        Coord at = impl::RotatePoint({body.X + int32_t(len / 2 * kMil), body.Y + int32_t(8 * kMil)}, body, orientation);
        if (orientation == 2 || orientation == 3)
            at = impl::RotatePoint({body.X + int32_t(len / 2 * kMil), body.Y - int32_t(8 * kMil)}, body, orientation);
        int32_t just = eJustify_BottomCenter;
        p.Text(at, o.GetStr("Designator"), 1, 0x000000, just, textTurn, 50);
    }
}

void DrawObject(Painter& p, ObjectCore& o, bool sheetLevel);

void DrawChildren(Painter& p, ObjectCore& container, bool sheetLevel) {
    for (ObjectCore* child : container.Children())
        if (impl::IsShownOnSheet(child)) DrawObject(p, *child, sheetLevel);
}

void DrawObject(Painter& p, ObjectCore& o, bool sheetLevel) {
    Coord loc = o.GetCoord(impl::kLocation);
    switch (o.Kind()) {
        case eRectangle:
        case eRoundRectangle: {
            CoordRect r = o.Bounds();
            std::string radius;
            if (o.Kind() == eRoundRectangle)
                radius = fmt::format(" rx=\"{}\" ry=\"{}\"", Num(o.GetInt("CornerXRadius") / kMil),
                                     Num(o.GetInt("CornerYRadius") / kMil));
            p.Add(fmt::format("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"{} {} {}/>", Num(p.X(r.X1)),
                              Num(p.Y(r.Y2)), Num((r.X2 - r.X1) / kMil), Num((r.Y2 - r.Y1) / kMil), radius, FillOf(o),
                              StrokeOf(o, false)));
            break;
        }
        case eLine:
        case eBusEntry: {
            Coord c = o.GetCoord(impl::kCorner);
            p.Add(fmt::format("<line x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\" {}/>", Num(p.X(loc.X)), Num(p.Y(loc.Y)),
                              Num(p.X(c.X)), Num(p.Y(c.Y)), StrokeOf(o, o.Kind() == eLine)));
            break;
        }
        case ePolyline:
        case eWire:
        case eBus: {
            std::string pts;
            for (Coord v : o.GetVertices()) pts += p.P(v) + " ";
            std::string stroke = StrokeOf(o, true);
            if (o.Kind() == eBus) stroke += " stroke-opacity=\"0.9\"";
            p.Add(fmt::format("<polyline points=\"{}\" fill=\"none\" {}/>", pts, stroke));
            break;
        }
        case ePolygon: {
            std::string pts;
            for (Coord v : o.GetVertices()) pts += p.P(v) + " ";
            p.Add(fmt::format("<polygon points=\"{}\" {} {}/>", pts, FillOf(o), StrokeOf(o, false)));
            break;
        }
        case eBezier: {
            auto v = o.GetVertices();
            if (v.size() < 2) break;
            std::string d = "M" + p.P(v[0]);
            size_t i = 1;
            for (; i + 2 < v.size(); i += 3)
                d += " C" + p.P(v[i]) + " " + p.P(v[i + 1]) + " " + p.P(v[i + 2]);
            for (; i < v.size(); ++i) d += " L" + p.P(v[i]);
            p.Add(fmt::format("<path d=\"{}\" fill=\"none\" {}/>", d, StrokeOf(o, true)));
            break;
        }
        case eEllipse:
            p.Add(fmt::format("<ellipse cx=\"{}\" cy=\"{}\" rx=\"{}\" ry=\"{}\" {} {}/>", Num(p.X(loc.X)), Num(p.Y(loc.Y)),
                              Num(std::abs(o.GetInt("Radius")) / kMil), Num(std::abs(o.GetInt("SecondaryRadius")) / kMil),
                              FillOf(o), StrokeOf(o, false)));
            break;
        case eArc:
        case eEllipticalArc:
        case ePie: {
            double rx = std::abs(o.GetInt("Radius"));
            double ry = o.Kind() == eEllipticalArc ? std::abs(o.GetInt("SecondaryRadius")) : rx;
            bool pie = o.Kind() == ePie;
            p.Add(fmt::format("<path d=\"{}\" {} {}/>",
                              ArcPath(p, loc, rx, ry, o.GetDouble("StartAngle"), o.GetDouble("EndAngle"), pie),
                              pie ? FillOf(o) : "fill=\"none\"", StrokeOf(o, false)));
            break;
        }
        case eImage: {
            CoordRect r = o.Bounds();
            std::string data = o.GetStr("ImageData");
            std::string frame = fmt::format("x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"", Num(p.X(r.X1)),
                                            Num(p.Y(r.Y2)), Num((r.X2 - r.X1) / kMil), Num((r.Y2 - r.Y1) / kMil));
            if (!data.empty())
                p.Add(fmt::format("<image {} preserveAspectRatio=\"{}\" href=\"data:{};base64,{}\"/>", frame,
                                  o.GetBool("KeepAspect") ? "xMidYMid meet" : "none", ImageMime(data), data));
            else
                p.Add(fmt::format("<rect {} fill=\"none\" stroke=\"#808080\" stroke-dasharray=\"10 6\"/>", frame));
            break;
        }
        case eTextFrame: {
            CoordRect r = o.Bounds();
            if (o.GetBool("IsSolid") || o.GetBool("ShowBorder"))
                p.Add(fmt::format("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" {} {}/>", Num(p.X(r.X1)),
                                  Num(p.Y(r.Y2)), Num((r.X2 - r.X1) / kMil), Num((r.Y2 - r.Y1) / kMil), FillOf(o),
                                  o.GetBool("ShowBorder") ? StrokeOf(o, false) : "stroke=\"none\""));
            p.Text({r.X1 + int32_t(5 * kMil), r.Y2 - int32_t(5 * kMil)}, o.GetStr("Text"), o.GetInt("FontId", 1),
                   o.GetInt("TextColor"), eJustify_TopLeft, 0);
            break;
        }
        case eLabel:
        case eNetLabel:
            p.Text(loc, o.GetStr("Text"), o.GetInt("FontId", 1), o.GetInt("Color"), o.GetInt("Justification"),
                   o.GetInt("Orientation"));
            break;
        case eParameter:
        case eDesignator:
        case eSheetName:
        case eSheetFileName: {
            if (o.GetBool("IsHidden")) break;
            std::string shown = impl::DisplayString(o);
            if (o.GetBool("ShowName")) shown = o.GetStr("Name") + ": " + shown;
            p.Text(loc, shown, o.GetInt("FontId", 1), o.GetInt("Color"), o.GetInt("Justification"),
                   o.GetInt("Orientation"));
            break;
        }
        case eJunction: {
            double r = (o.GetInt("Size") + 1) * 10.0;
            p.Add(fmt::format("<circle cx=\"{}\" cy=\"{}\" r=\"{}\" fill=\"{}\"/>", Num(p.X(loc.X)), Num(p.Y(loc.Y)),
                              Num(r), Colour(o.GetInt("Color"))));
            break;
        }
        case eNoERC: {
            std::string c = Colour(o.GetInt("Color"));
            double x = p.X(loc.X), y = p.Y(loc.Y);
            p.Add(fmt::format("<path d=\"M{} {} L{} {} M{} {} L{} {}\" stroke=\"{}\" stroke-width=\"5\"/>", Num(x - 30),
                              Num(y - 30), Num(x + 30), Num(y + 30), Num(x - 30), Num(y + 30), Num(x + 30), Num(y - 30), c));
            break;
        }
        case eSymbol: {
            // IEEE symbols: a dot, an arrow or a small mark, in the symbol's colour.
            std::string stroke = fmt::format("stroke=\"{}\" stroke-width=\"{}\" fill=\"none\"", Colour(o.GetInt("Color")),
                                             Num(StrokeWidth(o.GetInt("LineWidth"))));
            int32_t o4 = o.GetInt("Orientation");
            switch (o.GetInt("Symbol")) {
                case 0: break;
                case 1:
                    p.Add(fmt::format("<circle cx=\"{}\" cy=\"{}\" r=\"30\" {}/>", Num(p.X(loc.X)), Num(p.Y(loc.Y)), stroke));
                    break;
                case 2: p.Add(fmt::format("<polyline points=\"{}\" {}/>", Turned(p, loc, o4, {{120, 80}, {0, 40}, {120, 0}}), stroke)); break;
                case 3: p.Add(fmt::format("<polyline points=\"{}\" {}/>", Turned(p, loc, o4, {{0, 80}, {120, 40}, {0, 0}}), stroke)); break;
                default:
                    p.Add(fmt::format("<polygon points=\"{}\" {}/>",
                                      Turned(p, loc, o4, {{40, 0}, {80, 40}, {40, 80}, {0, 40}}), stroke));
            }
            break;
        }
        case ePin: DrawPin(p, o); break;
        case ePort: DrawPort(p, o); break;
        case ePowerObject: DrawPowerSymbol(p, o, false); break;
        case eCrossSheetConnector: DrawPowerSymbol(p, o, true); break;
        case eSheetSymbol:
        case eBundleBlock: {
            CoordRect r = o.Bounds();
            p.Add(fmt::format("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" {} {}/>", Num(p.X(r.X1)),
                              Num(p.Y(r.Y2)), Num((r.X2 - r.X1) / kMil), Num((r.Y2 - r.Y1) / kMil), FillOf(o),
                              StrokeOf(o, false)));
            if (o.Kind() == eBundleBlock)
                p.Text({r.X1, r.Y2 + int32_t(10 * kMil)}, o.GetStr("Name"), 1, o.GetInt("Color"), eJustify_BottomLeft, 0);
            DrawChildren(p, o, sheetLevel);
            break;
        }
        case eSheetEntry: {
            Coord at = impl::SheetEntryLocation(o);
            int32_t side = o.GetInt("Side");
            // The entry points into the symbol from its side.
            int32_t inward = side == 0 ? 0 : side == 1 ? 2 : side == 2 ? 3 : 1;
            p.Add(fmt::format("<polygon points=\"{}\" fill=\"{}\" stroke=\"{}\" stroke-width=\"3\"/>",
                              Turned(p, at, inward, {{0, 25}, {60, 25}, {80, 0}, {60, -25}, {0, -25}}),
                              Colour(o.GetInt("AreaColor")), Colour(o.GetInt("Color"))));
            Coord text = impl::RotatePoint({at.X + int32_t(95 * kMil), at.Y}, at, inward);
            int32_t just = side == 1 ? eJustify_CenterRight : eJustify_CenterLeft;
            if (side >= 2) just = side == 2 ? eJustify_CenterRight : eJustify_CenterLeft;
            p.Text(text, o.GetStr("Name"), o.GetInt("FontId", 1), o.GetInt("TextColor"), just, side >= 2 ? 1 : 0, 60);
            break;
        }
        case eSchComponent: DrawChildren(p, o, sheetLevel); break;
        default: break;  // models and bundle edges have no picture
    }
}

// `milsPerPixel`: ten for sheets, which are large; two for components.
std::string Header(double width, double height, double milsPerPixel) {
    return fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"{}\" height=\"{}\" viewBox=\"0 0 {} {}\">\n"
        "<rect x=\"0\" y=\"0\" width=\"{}\" height=\"{}\" fill=\"#ffffff\"/>\n",
        Num(std::max(width / milsPerPixel, 1.0)), Num(std::max(height / milsPerPixel, 1.0)), Num(width), Num(height), Num(width),
        Num(height));
}

impl::SchServer* ServerOf(ObjectCore* o) { return o ? o->Server() : nullptr; }

std::string SafeFileName(const std::string& name) {
    std::string out;
    for (char c : name) out += std::string("/\\:*?\"<>|").find(c) != std::string::npos || c < 0x20 ? '_' : c;
    if (out.empty() || out == "." || out == "..") out = "_" + out;
    return out;
}

}  // namespace

std::string RenderSheetSvg(ISch_Document* sheet) {
    ObjectCore* doc = impl::CoreOf(sheet);
    if (!doc) throw EApiErr("No document to render");
    double w = sheet->GetState_SheetSizeX() / kMil, h = sheet->GetState_SheetSizeY() / kMil;
    double m = sheet->GetState_SheetMargin() / kMil;
    Painter p(0, h, ServerOf(doc));
    std::string out = Header(w, h, 10);
    // Border with zone marks.
    int32_t zx = std::max(1, sheet->GetState_UseCustomSheet() ? sheet->GetState_CustomZonesX()
                                                                : impl::SheetStyles()[std::clamp(
                                                                      sheet->GetState_SheetStyle(), 0, 17)].XZones);
    int32_t zy = std::max(1, sheet->GetState_UseCustomSheet() ? sheet->GetState_CustomZonesY()
                                                                : impl::SheetStyles()[std::clamp(
                                                                      sheet->GetState_SheetStyle(), 0, 17)].YZones);
    out += fmt::format("<rect x=\"0\" y=\"0\" width=\"{}\" height=\"{}\" fill=\"none\" stroke=\"#000000\" stroke-width=\"4\"/>\n",
                       Num(w), Num(h));
    if (m > 0) {
        out += fmt::format("<rect x=\"{0}\" y=\"{0}\" width=\"{1}\" height=\"{2}\" fill=\"none\" stroke=\"#000000\" stroke-width=\"3\"/>\n",
                           Num(m), Num(w - 2 * m), Num(h - 2 * m));
        for (int32_t i = 0; i < zx; ++i) {
            double x = m + (w - 2 * m) * (i + 0.5) / zx;
            for (double y : {m / 2, h - m / 2})
                out += fmt::format("<text x=\"{}\" y=\"{}\" font-family=\"Arial\" font-size=\"{}\" text-anchor=\"middle\" "
                                   "dominant-baseline=\"central\" fill=\"#000000\">{}</text>\n",
                                   Num(x), Num(y), Num(m * 0.6), i + 1);
        }
        for (int32_t i = 0; i < zy; ++i) {
            double y = m + (h - 2 * m) * (i + 0.5) / zy;
            for (double x : {m / 2, w - m / 2})
                out += fmt::format("<text x=\"{}\" y=\"{}\" font-family=\"Arial\" font-size=\"{}\" text-anchor=\"middle\" "
                                   "dominant-baseline=\"central\" fill=\"#000000\">{}</text>\n",
                                   Num(x), Num(y), Num(m * 0.6), char('A' + i % 26));
        }
    }
    DrawChildren(p, *doc, true);
    return out + p.Out() + "</svg>\n";
}

std::string RenderComponentSvg(ISch_Component* component) {
    ObjectCore* core = impl::CoreOf(component);
    if (!core) throw EApiErr("No component to render");
    int32_t parts = std::max(1, component->GetState_PartCount());
    int32_t savedPart = component->GetState_CurrentPartId();
    int32_t mode = component->GetState_DisplayMode();
    // Bounds of every part's primitives; the parts stand side by side with a gap.
    auto shownIn = [&](ObjectCore* c, int32_t part) {
        if (c->Kind() == eParameter || c->Kind() == eDesignator || c->Kind() == eImplementation) return true;
        int32_t owner = c->GetInt("OwnerPartId");
        return (owner <= 0 || owner == part) && c->GetInt("OwnerPartDisplayMode") == mode;
    };
    std::vector<CoordRect> bounds;
    for (int32_t part = 1; part <= parts; ++part) {
        bool any = false;
        CoordRect r{};
        for (ObjectCore* c : core->Children()) {
            if (!shownIn(c, part) || c->Kind() == eImplementation) continue;
            if ((c->Kind() == eParameter || c->Kind() == eDesignator) && c->GetBool("IsHidden")) continue;
            CoordRect b = c->Bounds();
            r = any ? impl::UnionRect(r, b) : b;
            any = true;
        }
        if (!any) r = {0, 0, 0, 0};
        bounds.push_back(r);
    }
    const double gap = 300, margin = 200, title = 150;
    double width = margin, height = 0;
    for (const CoordRect& r : bounds) {
        width += (r.X2 - r.X1) / kMil + gap;
        height = std::max(height, (r.Y2 - r.Y1) / kMil);
    }
    width += margin - gap;
    height += 2 * margin + title;
    std::string out = Header(width, height, 2);
    out += fmt::format("<text x=\"{}\" y=\"{}\" font-family=\"Arial\" font-size=\"80\" fill=\"#000000\">{}</text>\n",
                       Num(margin), Num(margin / 2 + 80), EscapeXml(component->GetState_LibReference()));
    double x = margin;
    for (int32_t part = 1; part <= parts; ++part) {
        const CoordRect& r = bounds[part - 1];
        // Part `part` drawn with its upper left corner at (x, margin + title).
        Painter p(r.X1 / kMil - x, r.Y2 / kMil + margin + title, ServerOf(core));
        for (ObjectCore* c : core->Children())
            if (shownIn(c, part)) DrawObject(p, *c, false);
        if (parts > 1)
            out += fmt::format("<text x=\"{}\" y=\"{}\" font-family=\"Arial\" font-size=\"50\" fill=\"#808080\">Part {}</text>\n",
                               Num(x), Num(margin + title - 20), part);
        out += p.Out();
        x += (r.X2 - r.X1) / kMil + gap;
    }
    component->SetState_CurrentPartId(savedPart);
    return out + "</svg>\n";
}

std::vector<std::string> RenderDocumentFile(HostApplication& app, const std::string& input, const std::string& output) {
    app.StartSchServer();
    IServerDocument* doc = app.OpenDocumentFile(input);
    if (!doc) throw EApiErr("Cannot open document " + input);
    ISch_Document* sch = app.SchDocumentOf(doc);
    std::vector<std::string> written;
    auto write = [&](const fs::path& path, const std::string& svg) {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        if (!out || !(out << svg) || !out.flush()) throw EApiErr("Cannot write " + path.string());
        written.push_back(path.string());
    };
    if (auto* lib = dynamic_cast<ISch_Lib*>(sch)) {
        fs::path folder(output);
        std::error_code ec;
        fs::create_directories(folder, ec);
        if (!fs::is_directory(folder)) throw EApiErr("Cannot make folder " + folder.string());
        std::set<std::string> used;
        auto it = lib->SchIterator_Create({eSchComponent}, eIterateFirstLevel);
        for (ISch_BasicContainer* o = it->FirstSchObject(); o; o = it->NextSchObject()) {
            auto* component = dynamic_cast<ISch_Component*>(o);
            std::string base = SafeFileName(component->GetState_LibReference());
            std::string name = base;
            for (int n = 2; !used.insert(name).second; ++n)
                name = base + "_" + std::to_string(n);
            write(folder / (name + ".svg"), RenderComponentSvg(component));
        }
    } else {
        write(fs::path(output), RenderSheetSvg(sch));
    }
    app.Client()->CloseDocument(doc);
    return written;
}

}  // namespace orcadx::host
