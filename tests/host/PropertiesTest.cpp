// The property store and its JSON text: values of every shape are written byte for byte as the JSON
// library writes them, keep their kind through a load and a save, and read through the typed
// accessors as before.
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include <nlohmann/json.hpp>

#include "host/DocumentFiles.h"
#include "host/Properties.h"
#include "host/SchServer.h"

using namespace orcadx::host;
using namespace orcadx::host::impl;

TEST(HostProperties, ValuesOfEveryShapeWriteAsTheJsonLibraryWritesThem) {
    struct Case {
        const char* json;
        size_t kind;  // index of the alternative that holds it
    };
    const Case cases[] = {
        {"0", 1}, {"-7", 1}, {"9223372036854775807", 1}, {"-9223372036854775808", 1},
        {"18446744073709551615", 6}, {"true", 0}, {"false", 0}, {"90.0", 2}, {"0.1", 2}, {"-0.0", 2},
        {"1e300", 2}, {"123456.789", 2}, {"\"\"", 3}, {"\"Times New Roman\"", 3},
        {"\"quote \\\" and \\\\ back\"", 3}, {"\"tab\\tline\\nfeed\\r\\b\\f\\u0001\\u001f\"", 3},
        {"\"\\u007f and \\u00b5\\u03a9 \\u20ac \\ud83d\\ude00\"", 3}, {"[1, -2]", 4}, {"[2147483647, -2147483648]", 4},
        {"[2147483648, 0]", 6}, {"[0, -2147483649]", 6}, {"[1, 2.5]", 6}, {"[1, 2, 3]", 6}, {"[\"A\", \"B\"]", 6}, {"[[1, 2], [3, 4], [-5, 6]]", 5},
        {"[[1, 2], [3]]", 6}, {"[[1, 2], 3]", 6}, {"[]", 6}, {"{}", 6}, {"null", 6},
        {"[{\"Entity\": \"x\", \"Kind\": \"PSPICEMODEL\", \"Location\": \"a\\\\b.lib\"}]", 6},
        {"{\"b\": [1, {\"c\": null}], \"a\\\"\": [[]]}", 6}};
    for (const Case& c : cases) {
        const Json parsed = Json::parse(c.json);
        PropertyValue value = ValueFromJson(Json(parsed));
        EXPECT_EQ(value.index(), c.kind) << c.json;
        EXPECT_EQ(ValueToJson(value), parsed) << c.json;
        std::string top;
        AppendJsonText(top, value, 0);
        EXPECT_EQ(top, parsed.dump(1, '\t')) << c.json;
        // Two levels down, as a property value stands in a document.
        std::string nested = "[\n\t[\n\t\t";
        AppendJsonText(nested, value, 2);
        nested += "\n\t]\n]";
        EXPECT_EQ(nested, Json::array({Json::array({parsed})}).dump(1, '\t')) << c.json;
    }
    // Text that is no UTF-8 is refused as the library refuses it, not written broken.
    std::string out;
    EXPECT_THROW(AppendJsonString(out, "bad \xff byte"), Json::type_error);
}

TEST(HostProperties, StoreKeepsNamesSortedAndAccessorsReadEveryShape) {
    UniqueIdSource ids(3);
    SchServer server(&ids);
    PropertyStore store;
    for (const char* name : {"Text", "Color", "UniqueId", "Alpha", "Color", "Zone", "AreaColor"})
        store.Slot(server.Names(), name).emplace<int64_t>(name[0]);
    std::vector<std::string> names;
    for (const auto& e : store.Entries()) names.push_back(*e.Name);
    EXPECT_EQ(names, (std::vector<std::string>{"Alpha", "AreaColor", "Color", "Text", "UniqueId", "Zone"}));
    ASSERT_NE(store.Find("Color"), nullptr);
    EXPECT_EQ(std::get<int64_t>(*store.Find("Color")), 'C');
    EXPECT_EQ(store.Find("Colour"), nullptr);
    EXPECT_EQ(store.Find("Zones"), nullptr);
    EXPECT_TRUE(store.Erase("Text"));
    EXPECT_FALSE(store.Erase("Text"));
    EXPECT_EQ(store.Find("Text"), nullptr);
    EXPECT_EQ(store.Entries().size(), 5u);
    // Names are kept once per server.
    PropertyStore other;
    other.Slot(server.Names(), std::string("Co") + "lor");
    EXPECT_EQ(other.Entries()[0].Name, store.Entries()[2].Name);

    // A document whose properties take every shape: the accessors convert as the host always did,
    // a save writes what the JSON library would, and a load and save of that gives the same bytes.
    Json file = {{"format", "VantorSchDoc"},
                 {"version", 1},
                 {"fonts", Json::array({{{"bold", true},
                                         {"italic", false},
                                         {"name", "Arial"},
                                         {"rotation", 0},
                                         {"size", 12},
                                         {"strikeout", false},
                                         {"underline", false}}})},
                 {"document",
                  {{"kind", static_cast<int>(eSheet)},
                   {"props",
                    {{"Rounded", 2.6},
                     {"Flag", true},
                     {"Count", 0},
                     {"Spot", {5, -6}},
                     {"Far", {4000000000LL, 1}},
                     {"Vertices", {{1, 2}, {3, 4}}},
                     {"FontId", 1},
                     {"Unknown", {{"kept", {1, 2, 3}}}},
                     {"Name", "\xc2\xb5V"}}}}}};
    auto doc = DocumentFromText(server, file.dump(1, '\t') + "\n");
    EXPECT_EQ(doc->GetInt("Rounded"), 3);
    EXPECT_DOUBLE_EQ(doc->GetDouble("Rounded"), 2.6);
    EXPECT_EQ(doc->GetInt("Flag"), 1);
    EXPECT_FALSE(doc->GetBool("Count", true));
    EXPECT_TRUE(doc->GetBool("Missing", true));
    EXPECT_EQ(doc->GetInt("Name", -1), -1);
    EXPECT_EQ(doc->GetStr("Name"), "\xc2\xb5V");
    EXPECT_EQ(doc->GetStr("Count", "none"), "none");
    EXPECT_EQ(doc->GetCoord("Spot"), (Coord{5, -6}));
    EXPECT_EQ(doc->GetCoord("Far"), (Coord{2147483647, 1}));
    EXPECT_EQ(doc->GetVertices(), (std::vector<Coord>{{1, 2}, {3, 4}}));
    FontDescription font;
    ASSERT_TRUE(server.GetFontDescription(doc->GetInt("FontId"), font));
    EXPECT_EQ(font.FontName, "Arial");
    const std::string text = DocumentToText(*doc);
    const Json written = Json::parse(text);
    EXPECT_EQ(text, written.dump(1, '\t') + "\n");
    for (const auto& [name, value] : file["document"]["props"].items())
        if (name != "FontId") {
            EXPECT_EQ(written["document"]["props"][name], value) << name;
        }
    EXPECT_EQ(written["fonts"], file["fonts"]);
    EXPECT_EQ(DocumentToText(*DocumentFromText(server, text)), text);
    // Changing a JSON-held property through its typed accessor changes its kind, not its place.
    doc->SetCoord("Far", {7, 8});
    doc->SetVertices({});
    Json saved = Json::parse(DocumentToText(*doc));
    EXPECT_EQ(saved["document"]["props"]["Far"], Json::array({7, 8}));
    EXPECT_EQ(saved["document"]["props"]["Vertices"], Json::array());
}

TEST(HostProperties, LoadingGivesEachKindItsDefaultsAndDrawsTheIdsOfMakingItNew) {
    // Every kind, bare in a file: it loads with the properties of a new object of its kind, and the
    // session's ids run on exactly as if the objects had been made new one after the other.
    Json children = Json::array();
    std::vector<int32_t> kinds;
    for (int32_t kind : KnownKinds())
        if (kind != eSheet && kind != eSchLib) {
            kinds.push_back(kind);
            children.push_back({{"kind", kind}});
        }
    Json file = {{"format", "VantorSchDoc"},
                 {"version", 1},
                 {"document", {{"kind", static_cast<int>(eSheet)}, {"children", children}}}};
    UniqueIdSource loadIds(9), makeIds(9);
    SchServer loading(&loadIds), making(&makeIds);
    auto doc = DocumentFromText(loading, file.dump());
    auto fresh = MakeObject(&making, eSheet, true);
    EXPECT_EQ(doc->GetStr("UniqueId"), fresh->GetStr("UniqueId"));
    ASSERT_EQ(doc->Children().size(), kinds.size());
    for (size_t i = 0; i < kinds.size(); ++i) {
        auto made = MakeObject(&making, kinds[i], true);
        const ObjectCore& loaded = *doc->Children()[i];
        EXPECT_TRUE(loaded.Children().empty()) << kinds[i];  // the file's children only
        ASSERT_EQ(loaded.Props().Entries().size(), made->Props().Entries().size()) << kinds[i];
        for (const auto& [name, value] : made->Props().Entries()) {
            const PropertyValue* mine = loaded.Props().Find(*name);
            ASSERT_NE(mine, nullptr) << kinds[i] << " " << *name;
            EXPECT_EQ(ValueToJson(*mine), ValueToJson(value)) << kinds[i] << " " << *name;
        }
    }
    EXPECT_EQ(loadIds.Next(), makeIds.Next());
}

TEST(HostProperties, NewObjectsCopyTheirKindsDefaultsAndTakeTheIdsOfMakingThemInFull) {
    // A component made new holds its designator and its comment, with the ids that setting it up
    // one property at a time draws, in that order: the component's, the designator's, the comment's.
    UniqueIdSource ids(11), expected(11);
    SchServer server(&ids);
    auto first = MakeObject(&server, eSchComponent, true);
    std::vector<std::string> drawn;
    for (int i = 0; i < 4; ++i) drawn.push_back(expected.Next());
    ASSERT_EQ(first->Children().size(), 2u);
    EXPECT_EQ(first->GetStr("UniqueId"), drawn[0]);
    EXPECT_EQ(first->Children()[0]->Kind(), eDesignator);
    EXPECT_EQ(first->Children()[0]->GetStr("UniqueId"), drawn[1]);
    EXPECT_EQ(first->Children()[1]->GetStr("Name"), "Comment");
    EXPECT_EQ(first->Children()[1]->GetStr("UniqueId"), drawn[2]);
    EXPECT_EQ(MakeObject(&server, eParameter, true)->GetStr("UniqueId"), drawn[3]);

    // What is done to one new object stays with it: the next starts from the defaults again.
    auto withoutIds = [](ObjectCore& o) {
        Json j = Json::parse(DocumentToText(o))["document"];
        std::vector<Json*> pending{&j};
        while (!pending.empty()) {
            Json* at = pending.back();
            pending.pop_back();
            (*at)["props"].erase("UniqueId");
            if (at->contains("children"))
                for (auto& c : (*at)["children"]) pending.push_back(&c);
        }
        return j;
    };
    const Json defaults = withoutIds(*first);
    first->SetStr("LibReference", "U1");
    first->Children()[0]->SetStr("Text", "U1");
    first->Children()[0]->SetCoord(kLocation, {5, 5});
    first->AddChild(MakeObject(&server, ePin, true).release());
    auto second = MakeObject(&server, eSchComponent, true);
    EXPECT_EQ(withoutIds(*second), defaults);
    EXPECT_NE(second->Children()[0]->GetStr("UniqueId"), first->Children()[0]->GetStr("UniqueId"));

    // The server counts the objects made, not the defaults it keeps; freeing them leaves none.
    EXPECT_EQ(server.LiveObjectCount(), 3u + 1u + 3u);
    first.reset();
    second.reset();
    EXPECT_EQ(server.LiveObjectCount(), 0u);
    auto last = MakeObject(&server, eWire, true);
    EXPECT_EQ(server.LiveObjectCount(), 1u);
}

namespace {

// Same kinds, same children, same properties of the same shapes and values.
bool SameObjects(const ObjectCore& a, const ObjectCore& b) {
    if (a.Kind() != b.Kind() || a.Children().size() != b.Children().size()) return false;
    const auto &x = a.Props().Entries(), &y = b.Props().Entries();
    if (x.size() != y.size()) return false;
    for (size_t i = 0; i < x.size(); ++i)
        if (*x[i].Name != *y[i].Name || x[i].Value.index() != y[i].Value.index() ||
            ValueToJson(x[i].Value) != ValueToJson(y[i].Value))
            return false;
    for (size_t i = 0; i < a.Children().size(); ++i)
        if (!SameObjects(*a.Children()[i], *b.Children()[i])) return false;
    return true;
}

}  // namespace

TEST(HostProperties, ADocumentReadsBackUnchangedExactlyWhenItsFileGivesItsObjectsAgain) {
    // Each change makes a library that its own file gives back otherwise (or not): the check must
    // say so exactly when a read of the saved text differs.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<std::pair<std::string, std::function<void(ObjectCore&, ObjectCore&)>>> changes = {
        {"nothing", [](ObjectCore&, ObjectCore&) {}},
        {"values of every kept shape",
         [](ObjectCore& c, ObjectCore& p) {
             c.JsonProperty("Aliases") = Json::array({"A", "B"});
             c.JsonProperty("Links") = Json::array({Json{{"Entity", "x"}, {"Weight", 2.5}}});
             c.JsonProperty("Nothing") = nullptr;
             p.SetDouble("Weight", 2.0);
             p.SetVertices({{1, 2}});
             p.SetInt("FontId", 1);
         }},
        {"font id outside the table", [](ObjectCore&, ObjectCore& p) { p.SetInt("FontId", 0); }},
        {"number JSON can't hold", [nan](ObjectCore&, ObjectCore& p) { p.SetDouble("Weight", nan); }},
        {"number JSON can't hold, nested",
         [nan](ObjectCore& c, ObjectCore&) { c.JsonProperty("Links") = Json::array({Json{{"Weight", nan}}}); }},
        {"text held as JSON", [](ObjectCore& c, ObjectCore&) { c.JsonProperty("Note") = "text"; }},
        {"point held as JSON", [](ObjectCore& c, ObjectCore&) { c.JsonProperty("Far") = Json::array({1, 2}); }},
        {"empty point list", [](ObjectCore&, ObjectCore& p) { p.SetVertices({}); }},
        {"default erased", [](ObjectCore& c, ObjectCore&) { c.Erase("Color"); }},
        {"own id erased", [](ObjectCore&, ObjectCore& p) { p.Erase("UniqueId"); }},
    };
    for (const auto& [what, change] : changes) {
        UniqueIdSource ids(3);
        SchServer server(&ids);
        auto library = MakeObject(&server, eSchLib, true);
        ObjectCore* component = library->Children().front();
        auto parameter = MakeObject(&server, eParameter, true);
        ObjectCore* p = parameter.get();
        component->AddChild(parameter.release());
        change(*component, *p);
        auto read = DocumentFromText(server, DocumentToText(*library));
        EXPECT_EQ(ReadsBackUnchanged(server, *library), SameObjects(*library, *read)) << what;
        EXPECT_EQ(ReadsBackUnchanged(server, *library), what == "nothing" || what == "values of every kept shape") << what;
    }
}
