// Every sample library through the round trip Capture file -> import -> host library -> export ->
// Capture file -> load: the second file has the components, parts, pins and drawings of the first,
// but for what the import and the export are told to change or to leave behind; and importing it
// again gives the host library of the first import.
//
// Each difference is sorted into a rule that explains it (counted, and printed for the record) or
// is listed as unexplained, which fails the test.
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "ExportTestSupport.h"
#include "dbo/DboLib.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "entry/TranslatorApi.h"
#include "export/SCHExport.h"
#include "host/HostSupport.h"
#include "platform/CodePage.h"
#include "platform/TextCompare.h"

#include <fstream>
#include <nlohmann/json.hpp>

using namespace orcadx;
using namespace orcadx::host;

namespace {

constexpr int kHostUnitsPerUnit = 100000;

struct Pt {
    int x = 0, y = 0;
    friend bool operator==(const Pt&, const Pt&) = default;
};

std::string Str(Pt p) { return "(" + std::to_string(p.x) + ", " + std::to_string(p.y) + ")"; }

// What was found: differences that a rule explains, by rule, and those that none explains.
struct Findings {
    std::map<std::string, int> explained;
    std::vector<std::string> unexplained;  // the first 300
    size_t unexplainedCount = 0;
    void Explain(const std::string& rule) { ++explained[rule]; }
    void Unexplained(const std::string& where, const std::string& what) {
        if (++unexplainedCount <= 300) unexplained.push_back(where + ": " + what);
    }
};

// One drawing record reduced to its kind and the points to compare, in Capture units.
struct Shape {
    int kind = 0;
    std::vector<Pt> points;
    bool text = false;
    int turn = 0;  // of a text in a library: quarter turns of its font's escapement
};

Pt Min(Pt a, Pt b) { return {std::min(a.x, b.x), std::min(a.y, b.y)}; }
Pt Max(Pt a, Pt b) { return {std::max(a.x, b.x), std::max(a.y, b.y)}; }

void AddVertices(Shape& s, const dbo::TDboVertices& vertices, Pt offset) {
    for (int i = 0; i < vertices.Count(); ++i) {
        const dbo::TDboVertex* v = vertices.GetVertices(i);
        s.points.push_back({v->X + offset.x, v->Y + offset.y});
    }
}

// The shapes of a graphics list in the order an import draws them: the drawing first, the texts
// after, an IEEE symbol as the objects it holds, moved to its location.
void Shapes(const dbo::TDboDesign& design, const dbo::TDboGraphicInstanceList& list, Pt offset,
            std::vector<Shape>& drawing, std::vector<Shape>& texts) {
    for (int i = 0; i < list.Count(); ++i) {
        const dbo::TDboObject* record = list.GetInstances(i);
        Shape s;
        s.kind = record->ID;
        auto box = [&](int l, int t, int r, int b) {
            Pt a{l + offset.x, t + offset.y}, c{r + offset.x, b + offset.y};
            s.points.push_back(Min(a, c));
            s.points.push_back(Max(a, c));
        };
        if (auto* ieee = dynamic_cast<const dbo::TDboLibIEEE*>(record)) {
            // The import reads the symbol's location as unsigned 16-bit values.
            Shapes(design, ieee->Graphics, {offset.x + ieee->LocationX, offset.y + ieee->LocationY}, drawing, texts);
            continue;
        } else if (auto* b = dynamic_cast<const dbo::TDboLibBox*>(record)) {
            box(b->UpperLeftX, b->UpperLeftY, b->LowerRightX, b->LowerRightY);
        } else if (auto* l = dynamic_cast<const dbo::TDboLibLine*>(record)) {
            s.points = {{l->StartX + offset.x, l->StartY + offset.y}, {l->EndX + offset.x, l->EndY + offset.y}};
        } else if (auto* a = dynamic_cast<const dbo::TDboLibArc*>(record)) {
            box(a->BoundBoxLeft, a->BoundBoxTop, a->BoundBoxRight, a->BoundBoxBott);
            s.points.push_back({a->StartX + offset.x, a->StartY + offset.y});
            s.points.push_back({a->EndX + offset.x, a->EndY + offset.y});
        } else if (auto* e = dynamic_cast<const dbo::TDboLibEllipse*>(record)) {
            box(e->BoundBoxLeft, e->BoundBoxTop, e->BoundBoxRight, e->BoundBoxBott);
        } else if (auto* f = dynamic_cast<const dbo::TDboLibFilledGraphic*>(record)) {
            AddVertices(s, f->Vertices, offset);
        } else if (auto* p = dynamic_cast<const dbo::TDboLibPolyLine*>(record)) {
            AddVertices(s, p->Vertices, offset);
        } else if (auto* z = dynamic_cast<const dbo::TDboLibBezier*>(record)) {
            AddVertices(s, z->Vertices, offset);
        } else if (auto* t = dynamic_cast<const dbo::TDboLibCommentText*>(record)) {
            s.text = true;
            s.points.push_back({t->BoundBoxLeft + offset.x, t->BoundBoxTop + offset.y});
            const dbo::TDboFont* font = design.Lib->GetFont(t->FontID - 1);
            int escapement = font ? font->LogFont.lfEscapement / 10 : 0;
            s.turn = escapement == 90 ? 1 : escapement == 180 ? 2 : escapement == 270 ? 3 : 0;
        } else if (auto* m = dynamic_cast<const dbo::TDboLibBitmap*>(record)) {
            box(m->BoundBoxLeft, m->BoundBoxTop, m->BoundBoxRight, m->BoundBoxBott);
        }
        (s.text ? texts : drawing).push_back(std::move(s));
    }
}

std::vector<Shape> ShapesOf(const std::vector<const dbo::TDboLibBaseView*>& views) {
    std::vector<Shape> drawing, texts;
    for (const auto* view : views) {
        std::vector<Shape> d, t;
        Shapes(*static_cast<const dbo::TDboDesign*>(view->Design), *view->Graphics, {0, 0}, d, t);
        drawing.insert(drawing.end(), d.begin(), d.end());
        texts.insert(texts.end(), t.begin(), t.end());
    }
    drawing.insert(drawing.end(), texts.begin(), texts.end());
    return drawing;
}

std::vector<const dbo::TDboPin*> PinsOf(const std::vector<const dbo::TDboLibBaseView*>& views) {
    std::vector<const dbo::TDboPin*> pins;
    for (const auto* view : views)
        for (int i = 0; i < view->Pins->Count(); ++i) pins.push_back(view->Pins->GetPins(i));
    return pins;
}

// Compares one view (or the views an import merges into one display mode) of the first file with
// the view of the second, after the shift `t` that the export gives the component.
class ViewComparison {
public:
    // `partial`: the drawing's extents in the host aren't whole units.
    ViewComparison(Findings& findings, std::string where, Pt t, bool partial)
        : f_(findings), where_(std::move(where)), t_(t), partial_(partial) {}

    void Pins(const std::vector<const dbo::TDboPin*>& a, const std::vector<const dbo::TDboPin*>& b) {
        if (a.size() != b.size()) {
            f_.Unexplained(where_, "pins " + std::to_string(a.size()) + " -> " + std::to_string(b.size()));
            return;
        }
        for (size_t i = 0; i < a.size(); ++i) {
            std::string at = where_ + " pin " + a[i]->PinName;
            if (a[i]->PinName != b[i]->PinName) f_.Unexplained(at, "name becomes " + b[i]->PinName);
            if (a[i]->PinType != b[i]->PinType)
                f_.Unexplained(at, "type " + std::to_string(a[i]->PinType) + " -> " + std::to_string(b[i]->PinType));
            const int32_t bits = dbo::TDboPin::kAttrDot | dbo::TDboPin::kAttrClock | dbo::TDboPin::kAttrVisible;
            bool zeroLength = a[i]->OffsetX == a[i]->EndX && a[i]->OffsetY == a[i]->EndY;
            if (a[i]->PinType == 7 && zeroLength && a[i]->GetIsVisible() && !b[i]->GetIsVisible() &&
                ((a[i]->Attributes ^ b[i]->Attributes) & bits) == dbo::TDboPin::kAttrVisible)
                f_.Explain("a zero-length power pin is hidden by the import");
            else if ((a[i]->Attributes & bits) != (b[i]->Attributes & bits))
                f_.Unexplained(at, "attributes " + std::to_string(a[i]->Attributes) + " -> " +
                                       std::to_string(b[i]->Attributes));
            Point(at + " root", {a[i]->OffsetX, a[i]->OffsetY}, {b[i]->OffsetX, b[i]->OffsetY});
            bool diagonal = a[i]->OffsetX != a[i]->EndX && a[i]->OffsetY != a[i]->EndY;
            if (diagonal) {
                // The import turns a slanted pin to the nearest axis and keeps its length.
                f_.Explain("a slanted pin becomes straight");
                continue;
            }
            Point(at + " end", {a[i]->EndX, a[i]->EndY}, {b[i]->EndX, b[i]->EndY});
        }
    }

    void Graphics(const std::vector<Shape>& a, const std::vector<Shape>& b) {
        if (a.size() != b.size()) {
            f_.Unexplained(where_, "graphics " + std::to_string(a.size()) + " -> " + std::to_string(b.size()));
            return;
        }
        for (size_t i = 0; i < a.size(); ++i) {
            std::string at = where_ + " graphic " + std::to_string(i) + " (" + std::to_string(a[i].kind) + ")";
            int expected = a[i].kind;
            if (a[i].kind == dbo::kIdLibArc && b[i].kind == dbo::kIdLibEllipse) {
                // An arc whose two ends meet, read by the import as a full turn.
                f_.Explain("an arc of a full turn becomes an ellipse");
                continue;
            }
            if (b[i].kind != expected) {
                f_.Unexplained(at, "kind becomes " + std::to_string(b[i].kind));
                continue;
            }
            if (a[i].points.size() != b[i].points.size()) {
                f_.Unexplained(at, "points " + std::to_string(a[i].points.size()) + " -> " +
                                       std::to_string(b[i].points.size()));
                continue;
            }
            for (size_t k = 0; k < a[i].points.size(); ++k) {
                if (a[i].turn == 1 || a[i].turn == 2) {
                    // The import places a turned text by its own rule, and the export takes the
                    // corner of the box that the host draws it in: a quarter turn moves the top
                    // down, a half turn the left edge to the right, by a part of the text's length.
                    Pt moved{a[i].points[k].x - t_.x, a[i].points[k].y - t_.y};
                    int along = a[i].turn == 1 ? b[i].points[k].y - moved.y : b[i].points[k].x - moved.x;
                    int across = a[i].turn == 1 ? b[i].points[k].x - moved.x : b[i].points[k].y - moved.y;
                    if (std::abs(across) <= 1 && along >= -1) {
                        f_.Explain("a turned text is placed by the import's rule for turned text");
                        continue;
                    }
                }
                Point(at + " point " + std::to_string(k), a[i].points[k], b[i].points[k], a[i].kind);
            }
        }
    }

private:
    // A point of the second file stands where the first has it, moved by the shift. Within one
    // unit: the shift is cut toward zero on both sides of the origin when the extents aren't whole
    // units. Arcs and ellipses may lose one more unit: the import halves an odd width and the
    // export draws the ends again on the halved radius.
    void Point(const std::string& at, Pt a, Pt b, int kind = 0) {
        int dx = std::abs(b.x - (a.x - t_.x)), dy = std::abs(b.y - (a.y - t_.y));
        if (dx == 0 && dy == 0) return;
        if (partial_ && dx <= 1 && dy <= 1) {
            f_.Explain("one unit lost where the drawing's extents aren't whole units");
            return;
        }
        if ((kind == dbo::kIdLibArc || kind == dbo::kIdLibEllipse) && dx <= 2 && dy <= 2) {
            f_.Explain("an arc or ellipse of odd width is halved by the import");
            return;
        }
        f_.Unexplained(at, Str(a) + " moved by " + Str(t_) + " should be near " + Str({a.x - t_.x, a.y - t_.y}) +
                               ", is " + Str(b));
    }

    Findings& f_;
    std::string where_;
    Pt t_;
    bool partial_;
};

// The shift of a component: the difference that most pin roots (or, without pins, points) show.
Pt ShiftOf(const std::vector<std::pair<Pt, Pt>>& pairs) {
    std::map<std::pair<int, int>, int> votes;
    for (const auto& [a, b] : pairs) ++votes[{a.x - b.x, a.y - b.y}];
    std::pair<int, int> best{0, 0};
    int most = 0;
    for (const auto& [shift, n] : votes)
        if (n > most) best = shift, most = n;
    return {best.first, best.second};
}

// The package of part `p` as the import finds it.
const dbo::TDboLibPackage* PackageOfPart(const dbo::TDboLibComponent& c, int p) {
    if (c.Packages.Count() == 1) return c.Packages.GetPackages(0);
    const dbo::TDboLibPart* part = c.PartInfo->Parts.GetParts(p);
    const dbo::TDboLibPackage* found = nullptr;
    for (int i = 0; i < c.Packages.Count(); ++i)
        if (part && c.Packages.GetPackages(i)->Name == part->PkgName) found = c.Packages.GetPackages(i);
    return found ? found : c.Packages.GetPackages(p);
}

std::vector<const dbo::TDboLibBaseView*> Views(const dbo::TDboLibPackage& package, int from, int to) {
    std::vector<const dbo::TDboLibBaseView*> out;
    for (int v = from; v < std::min(to, package.Views.Count()); ++v) out.push_back(package.Views.GetViews(v));
    return out;
}

void CompareComponent(const dbo::TDboLibComponent& a, const dbo::TDboLibComponent& b, bool partial, Findings& f) {
    const std::string where = a.PartInfo->CompName;
    if (b.PartInfo->CompName != exporter::LegalName(a.PartInfo->CompName).substr(0, 31)) {
        f.Unexplained(where, "name becomes " + b.PartInfo->CompName);
        return;
    }
    if (b.PartInfo->CompName != a.PartInfo->CompName) f.Explain("a name is made legal");
    std::string reference;
    for (char c : a.PartInfo->CompRefName)
        if (c != '?') reference += c;
    if (b.PartInfo->CompRefName != reference) f.Unexplained(where, "reference " + b.PartInfo->CompRefName);
    else if (reference != a.PartInfo->CompRefName) f.Explain("a reference loses its question marks");
    if (b.PartInfo->CompFootprint != a.PartInfo->CompFootprint)
        f.Unexplained(where, "footprint " + b.PartInfo->CompFootprint);
    int parts = std::max(a.PartInfo->Parts.Count(), 1);
    if (b.PartInfo->Parts.Count() != parts || b.Packages.Count() != parts) {
        f.Unexplained(where, "parts " + std::to_string(parts) + " -> " + std::to_string(b.PartInfo->Parts.Count()) +
                                 ", packages " + std::to_string(b.Packages.Count()));
        return;
    }
    if (a.Packages.Count() != b.Packages.Count()) f.Explain("one package for each part");
    // The shift, from the pins of every part.
    std::vector<std::pair<Pt, Pt>> pairs;
    bool convert = b.Packages.GetPackages(0)->Views.Count() > 1;
    for (int p = 0; p < parts; ++p) {
        const dbo::TDboLibPackage* pa = PackageOfPart(a, p);
        if (!pa) return f.Unexplained(where, "part " + std::to_string(p) + " has no package");
        auto ap = PinsOf(Views(*pa, 0, 1)), bp = PinsOf(Views(*b.Packages.GetPackages(p), 0, 1));
        for (size_t i = 0; i < std::min(ap.size(), bp.size()); ++i)
            pairs.push_back({{ap[i]->OffsetX, ap[i]->OffsetY}, {bp[i]->OffsetX, bp[i]->OffsetY}});
    }
    if (pairs.empty())
        for (int p = 0; p < parts; ++p) {
            auto as = ShapesOf(Views(*PackageOfPart(a, p), 0, 1)), bs = ShapesOf(Views(*b.Packages.GetPackages(p), 0, 1));
            for (size_t i = 0; i < std::min(as.size(), bs.size()); ++i)
                if (!as[i].points.empty() && as[i].points.size() == bs[i].points.size())
                    pairs.push_back({as[i].points[0], bs[i].points[0]});
        }
    Pt shift = ShiftOf(pairs);
    for (int p = 0; p < parts; ++p) {
        const dbo::TDboLibPackage& pa = *PackageOfPart(a, p);
        const dbo::TDboLibPackage& pb = *b.Packages.GetPackages(p);
        std::string letter = parts > 1 ? std::string(1, static_cast<char>('A' + p)) : "";
        std::string name = b.PartInfo->CompName + letter;
        const dbo::TDboLibPart& part = *b.PartInfo->Parts.GetParts(p);
        if (pb.Name != name || part.PkgName != name || part.PartNumber != letter)
            f.Unexplained(where, "part " + std::to_string(p) + " named " + pb.Name + "/" + part.PkgName + "/" +
                                     part.PartNumber);
        int views = convert ? 2 : 1;
        if (pb.Views.Count() != views) {
            f.Unexplained(where, "views of part " + std::to_string(p) + ": " + std::to_string(pb.Views.Count()));
            continue;
        }
        if (pa.Views.Count() > 2) f.Explain("every view after the first is drawn into the one alternate mode");
        if (convert && pa.Views.Count() == 1) f.Explain("an empty alternate view where another part has one");
        for (int v = 0; v < views; ++v) {
            auto av = v == 0 ? Views(pa, 0, 1) : Views(pa, 1, pa.Views.Count());
            auto bv = Views(pb, v, v + 1);
            ViewComparison view(f, where + " " + pb.Views.GetViews(v)->ViewName, shift, partial);
            view.Pins(PinsOf(av), PinsOf(bv));
            view.Graphics(ShapesOf(av), ShapesOf(bv));
        }
        // The pin numbers: the part's own, or the pin's name where the part has none; taken from the
        // pins of the last view.
        auto lastPins = PinsOf(Views(pb, views - 1, views));
        const dbo::TDboLibPart* ap = a.PartInfo->Parts.GetParts(p);
        std::vector<std::string> expected;
        for (size_t i = 0; i < lastPins.size(); ++i) {
            const dbo::TDboLibPartPin* pin = ap && static_cast<int>(i) < ap->PartPins.Count()
                                                 ? ap->PartPins.GetPins(static_cast<int>(i))
                                                 : nullptr;
            std::string number = pin ? pin->PinNumber : std::string();
            if (number.empty()) {
                number = lastPins[i]->PinName;
                f.Explain("a pin without a number takes its name");
            }
            expected.push_back(number);
        }
        std::vector<std::string> numbers;
        for (int i = 0; i < part.PartPins.Count(); ++i) numbers.push_back(part.PartPins.GetPins(i)->PinNumber);
        if (numbers != expected) f.Unexplained(where, "pin numbers of part " + std::to_string(p));
    }
}

void CompareSymbol(const dbo::TDboLibSymbol& a, const dbo::TDboLibSymbol& b, Findings& f) {
    std::string where = "symbol " + a.ViewName;
    if (b.ViewName != exporter::LegalName(a.ViewName)) f.Unexplained(where, "name becomes " + b.ViewName);
    if (b.ID != a.ID) f.Unexplained(where, "type " + std::to_string(b.ID));
    ViewComparison view(f, where, {0, 0}, false);  // a symbol keeps the host origin
    view.Pins(PinsOf({&a}), PinsOf({&b}));
    view.Graphics(ShapesOf({&a}), ShapesOf({&b}));
}

// The first file against the second.
void CompareFiles(const dbo::TDboDesign& a, const dbo::TDboDesign& b, const std::set<std::string>& partial,
                  Findings& f) {
    if (a.ComponentCount() != b.ComponentCount())
        f.Unexplained("file", "components " + std::to_string(a.ComponentCount()) + " -> " +
                                  std::to_string(b.ComponentCount()));
    for (int i = 0; i < std::min(a.ComponentCount(), b.ComponentCount()); ++i)
        CompareComponent(*a.GetComponent(i), *b.GetComponent(i), partial.count(a.GetComponent(i)->PartInfo->CompName) > 0,
                         f);
    // Outside native mode only title blocks come over.
    std::vector<const dbo::TDboLibSymbol*> titles;
    for (int i = 0; i < a.SymbolCount(); ++i) {
        if (a.GetSymbol(i)->ID == dbo::kIdTitleBlockSymbol) titles.push_back(a.GetSymbol(i));
        else f.Explain("power, port and off-page symbols aren't imported");
    }
    if (static_cast<int>(titles.size()) != b.SymbolCount())
        f.Unexplained("file", "title blocks " + std::to_string(titles.size()) + " -> " + std::to_string(b.SymbolCount()));
    for (int i = 0; i < std::min(static_cast<int>(titles.size()), b.SymbolCount()); ++i)
        CompareSymbol(*titles[i], *b.GetSymbol(i), f);
    // Aliases of the components, their target made legal.
    std::multiset<std::pair<std::string, std::string>> expected, written;
    std::set<std::string> names;
    for (int i = 0; i < a.ComponentCount(); ++i) names.insert(a.GetComponent(i)->PartInfo->CompName);
    for (int i = 0; i < a.Lib->Aliases.Count(); ++i) {
        const dbo::TDboLibAlias* alias = a.Lib->Aliases.GetAliases(i);
        for (const std::string& name : names)
            if (platform::SameTextNoCase(name, alias->PartName))
                expected.insert({alias->AliasName, exporter::LegalName(name)});
    }
    for (int i = 0; i < b.Lib->Aliases.Count(); ++i)
        written.insert({b.Lib->Aliases.GetAliases(i)->AliasName, b.Lib->Aliases.GetAliases(i)->PartName});
    if (expected != written)
        f.Unexplained("file", "aliases " + std::to_string(expected.size()) + " -> " + std::to_string(written.size()));
}


// ----- The host library of the second import against that of the first --------------------------

using Json = nlohmann::json;

// A font property holds a place in the file's own font table: each is replaced by the font it
// names, so that two files compare.
void ResolveFonts(Json& object, const Json& fonts) {
    if (object.contains("props"))
        for (auto& [key, value] : object["props"].items())
            if (key.ends_with("FontId") && value.is_number_integer()) {
                int index = value.get<int>();
                value = index >= 1 && index <= static_cast<int>(fonts.size()) ? fonts[index - 1] : Json("default");
            }
    if (object.contains("children"))
        for (Json& child : object["children"]) ResolveFonts(child, fonts);
}

Json ReadDocument(const std::string& path) {
    std::ifstream in(path);
    Json document = Json::parse(in, nullptr, false);
    if (document.is_object() && document.contains("document")) ResolveFonts(document["document"], document["fonts"]);
    return document;
}

std::vector<const Json*> ChildrenOfKind(const Json& object, std::initializer_list<int> kinds, bool keep = true) {
    std::vector<const Json*> out;
    if (!object.contains("children")) return out;
    for (const Json& child : object["children"]) {
        bool listed = std::find(kinds.begin(), kinds.end(), child["kind"].get<int>()) != kinds.end();
        if (listed == keep) out.push_back(&child);
    }
    return out;
}

// Properties of a host object that the way out and back doesn't keep, by kind (0: every kind),
// with the rule that says so.
struct SetAside {
    int kind;
    const char* property;
    const char* rule;
};
const SetAside kSetAside[] = {
    {0, "UniqueId", "every import gives new ids"},
    // Only the designator's text goes out (the part information's reference); its place and look
    // come from the view's properties, which the export doesn't write.
    {eDesignator, "*", "the designator's place and look aren't carried"},
    {eDesignator, "Text", nullptr},
    // The import reads a library text's font with a growth of two fifths (and unturned): every
    // import makes the font larger, and a label's place in a library follows from its height.
    {eLabel, "FontId", "a text's font is read back larger"},
    {eTextFrame, "FontId", "a text's font is read back larger"},
    {eLabel, "Location", "a label is placed by its font's height, which the import makes larger"},
    {eLabel, "Orientation", "a library text takes its turn from its font, which the import makes unturned"},
    // The properties of a pin are written from the pin's place and read as from the origin.
    {eParameter, "Location", "a pin's property is written from the pin and read from the origin"},
    {eParameter, "FontId", "a pin's property is written with its host font id less one, through no table"},
    // Pictures go out as frames without pixels.
    {eImage, "ImageData", "a picture's pixels aren't carried"},
    {eImage, "EmbedImage", "a picture's pixels aren't carried"},
    {eImage, "FileName", "a picture's pixels aren't carried"},
    // Rectangles go out hollow unless "Penwork.Ini" says otherwise; the import gives a filled one
    // its own fill colours, a hollow one the host's.
    {eRectangle, "IsSolid", "rectangles go out hollow"},
    {eRectangle, "Transparent", "rectangles go out hollow"},
    {eRectangle, "Color", "rectangles go out hollow"},
    {eRectangle, "AreaColor", "rectangles go out hollow"},
    // The description is one of the component's properties, which aren't carried.
    {eSchComponent, "ComponentDescription", "a component's parameters aren't carried"},
};

const char* SetAsideRule(int kind, const std::string& property, bool& found) {
    const char* any = nullptr;
    found = false;
    for (const SetAside& s : kSetAside) {
        if (s.kind != 0 && s.kind != kind) continue;
        if (property == s.property) {
            found = true;
            return s.rule;
        }
        if (std::string(s.property) == "*") any = s.rule;
    }
    found = any != nullptr;
    return any;
}

class HostComparison {
public:
    HostComparison(Findings& f, std::string where, Pt shift, int tolerance)
        : f_(f), where_(std::move(where)), shift_(shift), tolerance_(tolerance) {}

    void Object(const Json& a, const Json& b, const std::string& what) {
        int kind = a["kind"].get<int>();
        if (b["kind"].get<int>() != kind) {
            f_.Unexplained(where_ + " " + what, "kind " + std::to_string(kind) + " -> " + b["kind"].dump());
            return;
        }
        std::set<std::string> keys;
        for (const auto& [k, v] : a["props"].items()) keys.insert(k);
        for (const auto& [k, v] : b["props"].items()) keys.insert(k);
        for (const std::string& key : keys) {
            const Json& va = a["props"].contains(key) ? a["props"][key] : Json();
            const Json& vb = b["props"].contains(key) ? b["props"][key] : Json();
            if (va == vb) continue;
            bool listed = false;
            if (const char* rule = SetAsideRule(kind, key, listed)) {
                f_.Explain(rule);
                continue;
            }
            if ((key == "Location" || key == "Corner" || key == "Vertices") && Near(va, vb)) continue;
            if (kind == eEllipticalArc && Arc(a["props"], b["props"], key)) continue;
            if (kind == eSchComponent && key == "LibReference" && vb == exporter::LegalName(va.get<std::string>())) {
                f_.Explain("a name is made legal");
                continue;
            }
            if (kind == eDesignator && key == "Text" && vb.is_string() && va.is_string()) {
                std::string text;
                for (char c : va.get<std::string>())
                    if (c != '?') text += c;
                if (vb.get<std::string>() == text + "?") {
                    f_.Explain("a reference loses its question marks, and the import adds one");
                    continue;
                }
            }
            if (kind == eParameter && a["props"].value("IsHidden", false) && key == "Orientation") {
                f_.Explain("a hidden property goes out without its place and turn");
                continue;
            }
            if (kind == ePin && key == "ShowDesignator" && a["props"].value("Designator", "") == a["props"].value("Name", "")) {
                f_.Explain("a pin without a number goes out with its name as number, which the import then shows");
                continue;
            }
            f_.Unexplained(where_ + " " + what + " (" + std::to_string(kind) + ")",
                           key + " " + va.dump() + " -> " + vb.dump());
        }
    }

private:
    bool NearPoint(const Json& a, const Json& b) {
        if (!a.is_array() || !b.is_array() || a.size() != 2 || b.size() != 2) return false;
        int64_t dx = std::llabs(b[0].get<int64_t>() - (a[0].get<int64_t>() - shift_.x));
        int64_t dy = std::llabs(b[1].get<int64_t>() - (a[1].get<int64_t>() - shift_.y));
        if (dx == 0 && dy == 0) return true;
        if (dx <= tolerance_ && dy <= tolerance_) {  // only where the extents aren't whole units
            f_.Explain("one unit lost where the drawing's extents aren't whole units");
            return true;
        }
        return false;
    }
    bool Near(const Json& a, const Json& b) {
        if (a.is_array() && !a.empty() && a[0].is_array()) {
            if (!b.is_array() || a.size() != b.size()) return false;
            for (size_t i = 0; i < a.size(); ++i)
                if (!NearPoint(a[i], b[i])) return false;
            return true;
        }
        return NearPoint(a, b);
    }
    // An arc goes out as a box and two ends on it, cut to whole units, and the import measures
    // its radii and angles again from them: a radius may lose a unit, and an angle what two units
    // at the end of the radius turn it by.
    bool Arc(const Json& a, const Json& b, const std::string& key) {
        if (key == "Radius" || key == "SecondaryRadius") {
            if (std::llabs(a.value(key, 0LL) - b.value(key, 0LL)) <= kHostUnitsPerUnit) {
                f_.Explain("an arc's radii and angles are measured again from its ends in whole units");
                return true;
            }
            return false;
        }
        if (key != "StartAngle" && key != "EndAngle") return false;
        double radius = std::min(a.value("Radius", 0.0), a.value("SecondaryRadius", 0.0)) / kHostUnitsPerUnit;
        double d = std::fabs(a.value(key, 0.0) - b.value(key, 0.0));
        d = std::fmod(d, 360.0);
        d = std::min(d, 360.0 - d);
        double allowed = radius > 2 ? std::atan(2.0 / (radius - 2)) * 180 / M_PI + 0.01 : 180;
        if (d <= allowed) {
            f_.Explain("an arc's radii and angles are measured again from its ends in whole units");
            return true;
        }
        return false;
    }

    Findings& f_;
    std::string where_;
    Pt shift_;
    int tolerance_;
};

// Compares two lists of host objects one by one.
void CompareList(HostComparison& compare, Findings& f, const std::string& where, const std::string& what,
                 const std::vector<const Json*>& a, const std::vector<const Json*>& b) {
    if (a.size() != b.size()) {
        f.Unexplained(where, what + " " + std::to_string(a.size()) + " -> " + std::to_string(b.size()));
        return;
    }
    for (size_t k = 0; k < a.size(); ++k) compare.Object(*a[k], *b[k], what + " " + std::to_string(k));
}

std::vector<const Json*> Footprints(const Json& component) {
    std::vector<const Json*> out;
    for (const Json* model : ChildrenOfKind(component, {eImplementation}))
        if ((*model)["props"].value("ModelType", "") == "PCBLIB") out.push_back(model);
    return out;
}

void CompareHostLibraries(const Json& first, const Json& second, const std::set<std::string>& partial, Findings& f) {
    auto ca = ChildrenOfKind(first["document"], {eSchComponent});
    auto cb = ChildrenOfKind(second["document"], {eSchComponent});
    if (ca.size() != cb.size()) {
        f.Unexplained("library", "components " + std::to_string(ca.size()) + " -> " + std::to_string(cb.size()));
        return;
    }
    for (size_t i = 0; i < ca.size(); ++i) {
        const Json& a = *ca[i];
        const Json& b = *cb[i];
        std::string name = a["props"].value("LibReference", "");
        // The shift, from the pins.
        auto pa = ChildrenOfKind(a, {ePin}), pb = ChildrenOfKind(b, {ePin});
        std::vector<std::pair<Pt, Pt>> pairs;
        for (size_t k = 0; k < std::min(pa.size(), pb.size()); ++k) {
            const Json& la = (*pa[k])["props"]["Location"];
            const Json& lb = (*pb[k])["props"]["Location"];
            pairs.push_back({{la[0].get<int>(), la[1].get<int>()}, {lb[0].get<int>(), lb[1].get<int>()}});
        }
        if (pairs.empty()) {
            auto da = ChildrenOfKind(a, {eDesignator, eParameter, eImplementation}, false);
            auto db = ChildrenOfKind(b, {eDesignator, eParameter, eImplementation}, false);
            for (size_t k = 0; k < std::min(da.size(), db.size()); ++k) {
                const Json& la = (*da[k])["props"]["Location"];
                const Json& lb = (*db[k])["props"]["Location"];
                if (la.is_array() && lb.is_array())
                    pairs.push_back({{la[0].get<int>(), la[1].get<int>()}, {lb[0].get<int>(), lb[1].get<int>()}});
            }
        }
        HostComparison compare(f, name, ShiftOf(pairs), partial.count(name) ? kHostUnitsPerUnit : 0);
        compare.Object(a, b, "component");
        CompareList(compare, f, name, "designator", ChildrenOfKind(a, {eDesignator}), ChildrenOfKind(b, {eDesignator}));
        // A component's parameters stay behind but for the designator and the footprint; so do
        // its models other than footprints.
        if (ChildrenOfKind(a, {eParameter}) != ChildrenOfKind(b, {eParameter}))
            f.Explain("a component's parameters aren't carried");
        CompareList(compare, f, name, "footprint", Footprints(a), Footprints(b));
        CompareList(compare, f, name, "pin", pa, pb);
        for (size_t k = 0; k < std::min(pa.size(), pb.size()); ++k)
            CompareList(compare, f, name + " pin " + std::to_string(k), "property", ChildrenOfKind(*pa[k], {eParameter}),
                        ChildrenOfKind(*pb[k], {eParameter}));
        CompareList(compare, f, name, "drawing",
                    ChildrenOfKind(a, {eDesignator, eParameter, eImplementation, ePin}, false),
                    ChildrenOfKind(b, {eDesignator, eParameter, eImplementation, ePin}, false));
    }
}

class RoundTrip : public test::ExportFixture, public ::testing::WithParamInterface<std::string> {
protected:
    void SetUp() override {
        ExportFixture::SetUp();
        RegisterHost(&App());
    }
    void TearDown() override {
        RegisterHost(nullptr);
        ExportFixture::TearDown();
    }
    // Errors of the import fail the test, but those of its PSpice side: the models that views
    // name are looked for in model libraries, which the round trip has no part in (the export
    // doesn't carry a view's model).
    void ReportErrors(const LogSection& section, const std::filesystem::path& file) {
        if (section.Title() == "Importing PSpice Models") return;
        for (const auto& [severity, text] : section.Messages())
            if (severity == kLogError) ADD_FAILURE() << file << ": " << text;
        for (const auto& child : section.Sections()) ReportErrors(*child, file);
    }
    // Imports a Capture library into `folder`; gives the library file made, or "" when none was.
    std::string Import(const std::filesystem::path& file, const std::filesystem::path& folder) {
        std::filesystem::create_directories(folder);
        ImporterOptions options;
        LogSection log;
        uint8_t templates = 0;
        ImportOLB(platform::Utf8ToUtf16(file.string()).c_str(), &options, nullptr, &log,
                  platform::Utf8ToUtf16(folder.string()).c_str(), nullptr, &templates);
        ReportErrors(log, file);
        auto library = folder / (file.stem().string() + "_Library.SchLib");
        return std::filesystem::exists(library) ? library.string() : "";
    }
    // The components whose drawing, as the host measures it, doesn't start on whole units on the
    // left or at the top: the shift to those extents is cut toward zero on both sides of the
    // origin, so points may come one unit off.
    std::set<std::string> PartialExtents(ISch_Lib* library) {
        std::set<std::string> partial;
        auto components = library->SchIterator_Create({eSchComponent}, eIterateFirstLevel);
        for (auto* o = components->FirstSchObject(); o; o = components->NextSchObject()) {
            auto* component = dynamic_cast<ISch_Component*>(o);
            if (!component) continue;
            int32_t left = INT32_MAX, top = INT32_MIN;
            auto drawing = component->SchIterator_Create({eRectangle, eLine, eArc, eEllipticalArc, eRoundRectangle,
                                                          eImage, ePie, eTextFrame, eEllipse, ePolygon, ePolyline,
                                                          eBezier, eLabel, eSymbol},
                                                         eIterateFirstLevel);
            for (auto* d = drawing->FirstSchObject(); d; d = drawing->NextSchObject()) {
                CoordRect r = dynamic_cast<ISch_GraphicalObject*>(d)->GetState_BoundingRectangle();
                left = std::min(left, r.X1);
                top = std::max(top, r.Y2);
            }
            if (left % kHostUnitsPerUnit != 0 || top % kHostUnitsPerUnit != 0)
                partial.insert(component->GetState_LibReference());
        }
        return partial;
    }
    ISch_Lib* Open(const std::string& path) {
        return dynamic_cast<ISch_Lib*>(App().SchDocumentOf(App().OpenDocumentFile(path)));
    }
};

}  // namespace

TEST_P(RoundTrip, ComesBackWithItsPartsPinsAndDrawings) {
    if (GetParam().empty()) GTEST_SKIP() << "sample files not found at " << test::CorpusDir();
    std::filesystem::path file = test::CorpusDir() / GetParam();
    Findings f;
    std::string first = Import(file, dir_ / "first");
    if (first.empty()) {
        // A file of neither components nor symbols makes no library.
        dbo::TDboDesign a(file.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(a.Load(false));
        EXPECT_EQ(a.ComponentCount() + a.SymbolCount(), 0);
        return;
    }
    ISch_Lib* library = Open(first);
    ASSERT_NE(library, nullptr);
    std::set<std::string> partial = PartialExtents(library);
    std::string written = (dir_ / (file.stem().string() + ".OLB")).string();
    std::string results;
    ASSERT_NO_THROW(exporter::ExportLibrary(App(), library, written, 0x00010001, results));
    dbo::TDboDesign a(file.string(), nullptr, 0, nullptr), b(written, nullptr, 0, nullptr);
    ASSERT_TRUE(a.Load(false));
    ASSERT_TRUE(b.Load(false)) << written;
    CompareFiles(a, b, partial, f);
    std::string second = Import(written, dir_ / "second");
    ASSERT_FALSE(second.empty()) << written;
    CompareHostLibraries(ReadDocument(first), ReadDocument(second), partial, f);

    std::ostringstream summary;
    for (const auto& [rule, n] : f.explained) summary << "  " << n << " x " << rule << "\n";
    std::cout << "Explained differences:\n" << summary.str();
    std::ostringstream list;
    for (const std::string& u : f.unexplained) list << "  " << u << "\n";
    EXPECT_EQ(f.unexplainedCount, 0u) << "unexplained differences, the first " << f.unexplained.size() << ":\n"
                                      << list.str();
}

INSTANTIATE_TEST_SUITE_P(Sample, RoundTrip, ::testing::ValuesIn(test::SampleFiles(".olb")), test::SampleTestName);
