// The small sample libraries that Capture also exported as XML: the imported library against what
// the XML says of each component's pins, graphics and properties, one test per library.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cmath>
#include <map>
#include <optional>
#include <set>

#include "ImportTestSupport.h"
#include "entry/TranslatorApi.h"
#include "platform/CodePage.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;

constexpr int32_t kUnit = 100000;  // host units to one Capture unit

// An element of Capture's XML: the attributes of its <Defn> child, and its other children.
struct XmlElement {
    std::string tag;
    std::map<std::string, std::string> defn;
    std::vector<XmlElement> children;

    const XmlElement* Child(const std::string& name) const {
        for (const auto& c : children)
            if (c.tag == name) return &c;
        return nullptr;
    }
    std::string Attr(const std::string& name) const {
        auto it = defn.find(name);
        return it == defn.end() ? std::string() : it->second;
    }
    int Int(const std::string& name) const { return std::stoi(Attr(name)); }
    bool Has(const std::string& name) const { return defn.count(name) != 0; }
};

XmlElement Convert(xmlNode* node) {
    XmlElement e;
    e.tag = reinterpret_cast<const char*>(node->name);
    for (xmlNode* c = node->children; c; c = c->next) {
        if (c->type != XML_ELEMENT_NODE) continue;
        if (std::string(reinterpret_cast<const char*>(c->name)) == "Defn" && e.defn.empty()) {
            for (xmlAttr* a = c->properties; a; a = a->next) {
                xmlChar* v = xmlNodeListGetString(c->doc, a->children, 1);
                e.defn[reinterpret_cast<const char*>(a->name)] = v ? reinterpret_cast<const char*>(v) : "";
                xmlFree(v);
            }
        } else {
            e.children.push_back(Convert(c));
        }
    }
    return e;
}

std::optional<XmlElement> ReadXml(const std::filesystem::path& path) {
    xmlDoc* doc = xmlReadFile(path.string().c_str(), nullptr, XML_PARSE_NONET);
    if (!doc) return std::nullopt;
    XmlElement root = Convert(xmlDocGetRootElement(doc));
    xmlFreeDoc(doc);
    return root;
}

// Elements of a view that aren't drawings or pins.
bool IsViewSetting(const std::string& tag) {
    static const std::set<std::string> settings = {
        "SymbolDisplayProp", "SymbolColor",     "SymbolBBox",       "IsPinNumbersVisible", "IsPinNamesRotated",
        "IsPinNamesVisible", "ContentsLibName", "ContentsViewName", "ContentsViewType",    "PartValue",
        "Reference"};
    return settings.count(tag) != 0;
}

bool IsPin(const std::string& tag) { return tag == "SymbolPinScalar" || tag == "SymbolPinBus"; }

std::string WithoutCR(std::string text) {
    std::erase(text, '\r');
    return text;
}

class CaptureXml : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        ORCADX_REQUIRE_CORPUS();
        source = CorpusDir() / "OpenOrCadParser_testcases" / (GetParam() + ".OLB");
        if (!std::filesystem::exists(source)) GTEST_SKIP() << source << " not found";
        folder = ScratchDir("CaptureXml_" + GetParam());
        app = std::make_unique<HostApplication>(ImportHostOptions(folder));
        RegisterHost(app.get());
    }
    void TearDown() override { RegisterHost(nullptr); }

    std::filesystem::path source, folder;
    std::unique_ptr<HostApplication> app;
};

TEST_P(CaptureXml, ComponentsMatchTheExport) {
    auto xml = ReadXml(source.parent_path() / (GetParam() + ".xml"));
    ASSERT_TRUE(xml) << "cannot read the XML export";
    LogSection log;
    ImporterOptions options;  // no default fill: the drawing as Capture has it
    uint8_t templates = 0;
    std::u16string file = platform::Utf8ToUtf16(source.string()), out = platform::Utf8ToUtf16(folder.string());
    ImportOLB(file.c_str(), &options, nullptr, &log, out.c_str(), nullptr, &templates);
    EXPECT_TRUE(log.AllMessages(kLogError).empty());
    auto* library = dynamic_cast<ISch_Lib*>(
        app->SchDocumentOf(app->OpenDocumentFile((folder / (GetParam() + "_Library.SchLib")).string())));
    ASSERT_NE(library, nullptr);
    ISch_FontManager* fonts = app->SchServer()->GetFontManager();

    int packages = 0;
    for (const XmlElement& package : xml->children) {
        if (package.tag != "Package") continue;
        ++packages;
        const std::string name = package.Attr("name");
        SCOPED_TRACE("component " + name);
        ISch_Component* component = library->GetState_SchComponentByLibRef(name);
        ASSERT_NE(component, nullptr);
        const XmlElement* part = package.Child("LibPart");
        ASSERT_NE(part, nullptr);
        const XmlElement* view = part->Child("NormalView");
        ASSERT_NE(view, nullptr);

        // Properties: the reference, the value and every displayed property's place.
        EXPECT_EQ(component->GetState_SchDesignator()->GetState_Text(), view->Child("Reference")->Attr("name") + "?");
        const std::string value = view->Child("PartValue")->Attr("name");
        if (!value.empty()) {
            EXPECT_EQ(component->GetState_SchComment()->GetState_Text(), value);
        }
        for (const XmlElement& prop : view->children) {
            if (prop.tag != "SymbolDisplayProp") continue;
            const std::string propName = prop.Attr("name");
            SCOPED_TRACE("property " + propName);
            ISch_Parameter* parameter = nullptr;
            if (propName == "Part Reference") parameter = component->GetState_SchDesignator();
            else if (propName == "Value") parameter = component->GetState_SchComment();
            else
                for (auto* p : ChildrenOf<ISch_Parameter>(component, eParameter))
                    if (p->GetState_Name() == propName) parameter = p;
            ASSERT_NE(parameter, nullptr);
            ASSERT_EQ(prop.Int("rotation"), 0);  // the samples have upright properties only
            const int32_t h = fonts->GetFontSize(parameter->GetState_FontId()) * kUnit;
            EXPECT_EQ(parameter->GetState_Location(), (Coord{prop.Int("locX") * kUnit, -prop.Int("locY") * kUnit - h}));
            EXPECT_EQ(parameter->GetState_Orientation(), 0);
        }

        // Graphics: kind and place of each, drawings first and texts on top, as imported.
        std::vector<const XmlElement*> drawings, texts;
        std::vector<const XmlElement*> xmlPins;
        for (const XmlElement& g : view->children) {
            if (IsViewSetting(g.tag)) continue;
            if (IsPin(g.tag)) xmlPins.push_back(&g);
            else (g.tag == "CommentText" ? texts : drawings).push_back(&g);
        }
        drawings.insert(drawings.end(), texts.begin(), texts.end());
        std::vector<ISch_GraphicalObject*> shapes;
        for (auto* o : ChildrenOf<ISch_GraphicalObject>(component, 0)) {
            int32_t kind = o->GetState_ObjectId();
            if (kind != ePin && kind != eParameter && kind != eDesignator && kind != eImplementation) shapes.push_back(o);
        }
        ASSERT_EQ(shapes.size(), drawings.size());
        for (size_t i = 0; i < drawings.size(); ++i) {
            const XmlElement& g = *drawings[i];
            ISch_GraphicalObject* shape = shapes[i];
            SCOPED_TRACE("graphic " + std::to_string(i) + " <" + g.tag + ">");
            auto P = [](int x, int y) { return Coord{x * kUnit, -y * kUnit}; };
            if (g.tag == "Line") {
                auto* line = dynamic_cast<ISch_Line*>(shape);
                ASSERT_NE(line, nullptr);
                EXPECT_EQ(line->GetState_Location(), P(g.Int("x1"), g.Int("y1")));
                EXPECT_EQ(line->GetState_Corner(), P(g.Int("x2"), g.Int("y2")));
            } else if (g.tag == "Rect") {
                auto* rect = dynamic_cast<ISch_Rectangle*>(shape);
                ASSERT_NE(rect, nullptr);
                EXPECT_EQ(rect->GetState_Location(), P(g.Int("x1"), std::max(g.Int("y1"), g.Int("y2"))));
                EXPECT_EQ(rect->GetState_Corner(), P(g.Int("x2"), std::min(g.Int("y1"), g.Int("y2"))));
                EXPECT_EQ(rect->GetState_IsSolid(), g.Int("fillStyle") != 1);
            } else if (g.tag == "Ellipse" || g.tag == "Arc") {
                const int cx = g.Int("x1") + (g.Int("x2") - g.Int("x1")) / 2;
                const int cy = g.Int("y1") + (g.Int("y2") - g.Int("y1")) / 2;
                EXPECT_EQ(shape->GetState_Location(), P(cx, cy));
                if (g.tag == "Ellipse") {
                    auto* ellipse = dynamic_cast<ISch_Ellipse*>(shape);
                    ASSERT_NE(ellipse, nullptr);
                    EXPECT_EQ(ellipse->GetState_Radius(), (g.Int("x2") - g.Int("x1")) / 2 * kUnit);
                    EXPECT_EQ(ellipse->GetState_SecondaryRadius(), (g.Int("y2") - g.Int("y1")) / 2 * kUnit);
                } else {
                    auto* arc = dynamic_cast<ISch_EllipticalArc*>(shape);
                    ASSERT_NE(arc, nullptr);
                    EXPECT_EQ(arc->GetState_Radius(), (g.Int("x2") - g.Int("x1")) / 2 * kUnit);
                    EXPECT_EQ(arc->GetState_SecondaryRadius(), (g.Int("y2") - g.Int("y1")) / 2 * kUnit);
                    auto angle = [&](const char* x, const char* y) {
                        return std::atan2(-(g.Int(y) - cy), g.Int(x) - cx) * 180.0 / M_PI;
                    };
                    EXPECT_NEAR(arc->GetState_StartAngle(), angle("startX", "startY"), 1e-4);
                    EXPECT_NEAR(arc->GetState_EndAngle(), angle("endX", "endY"), 1e-4);
                }
            } else if (g.tag == "Bezier" || g.tag == "Polyline" || g.tag == "Polygon") {
                auto* poly = dynamic_cast<ISch_Polygon*>(shape);
                ASSERT_NE(poly, nullptr);
                EXPECT_EQ(shape->GetState_ObjectId(), g.tag == "Bezier" ? eBezier : g.tag == "Polygon" ? ePolygon : ePolyline);
                std::vector<Coord> expected, actual;
                for (const XmlElement& point : g.children)
                    if (point.Has("x")) expected.push_back(P(point.Int("x"), point.Int("y")));
                for (int32_t k = 1; k <= poly->GetState_VertexCount(); ++k) actual.push_back(poly->GetState_Vertex(k));
                EXPECT_EQ(actual, expected);
            } else if (g.tag == "CommentText") {
                const std::string text = g.Attr("name");
                EXPECT_EQ(WithoutCR(shape->GetState_Text()), text);
                if (text.find('\n') != std::string::npos) {
                    auto* frame = dynamic_cast<ISch_TextFrame*>(shape);
                    ASSERT_NE(frame, nullptr);
                    EXPECT_EQ(frame->GetState_Location(), P(g.Int("x1"), g.Int("y1")));
                    EXPECT_EQ(frame->GetState_Corner().X, g.Int("x2") * kUnit);
                    EXPECT_LE(frame->GetState_Corner().Y, -g.Int("y2") * kUnit);  // raised only to fit its lines
                } else {
                    ASSERT_EQ(shape->GetState_ObjectId(), eLabel);
                    EXPECT_EQ(shape->GetState_Location().X, g.Int("x1") * kUnit);
                }
            } else {
                ADD_FAILURE() << "graphic of the export not known to this test";
            }
        }

        // Pins: name, number, place, direction, length, type and whether shown.
        std::map<int, std::string> numbers;
        if (const XmlElement* physical = part->Child("PhysicalPart"))
            for (const XmlElement& n : physical->children)
                if (n.tag == "PinNumber") numbers[n.Int("position")] = n.Attr("number");
        auto hostPins = ChildrenOf<ISch_Pin>(component, ePin);
        ASSERT_EQ(hostPins.size(), xmlPins.size());
        for (size_t i = 0; i < xmlPins.size(); ++i) {
            const XmlElement& x = *xmlPins[i];
            ISch_Pin* pin = hostPins[i];
            SCOPED_TRACE("pin " + x.Attr("name"));
            EXPECT_EQ(pin->GetState_Name(), x.Attr("name"));
            const int sx = x.Int("startX"), sy = x.Int("startY"), ex = x.Int("hotptX"), ey = x.Int("hotptY");
            EXPECT_EQ(pin->GetState_Location(), (Coord{sx * kUnit, -sy * kUnit}));
            const int orientation = sx == ex ? (sy > ey ? 1 : 3) : (sx > ex ? 2 : 0);
            EXPECT_EQ(pin->GetState_Orientation(), orientation);
            EXPECT_EQ(pin->GetState_PinLength(), static_cast<int32_t>(std::lround(std::hypot(ex - sx, ey - sy))) * kUnit);
            EXPECT_EQ(pin->GetState_Electrical(), x.Int("type"));
            if (numbers.count(static_cast<int>(i))) {
                EXPECT_EQ(pin->GetState_Designator(), numbers[static_cast<int>(i)]);
            }
            if (const XmlElement* visible = x.Child("IsVisible")) {
                EXPECT_EQ(pin->GetState_IsHidden(), visible->Int("val") == 0);
            }
        }
    }
    EXPECT_EQ(packages, library->GetState_ComponentCount());
}

INSTANTIATE_TEST_SUITE_P(Samples, CaptureXml, ::testing::Values("0000", "0001", "0002", "0003", "0004", "0005"),
                         [](const auto& info) { return "Library" + info.param; });

}  // namespace
}  // namespace orcadx::test
