#include "host/DocumentFiles.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <unordered_map>

#include "host/SchServer.h"

namespace orcadx::host::impl {

namespace {

bool IsFontKey(const std::string& key) {
    return key.size() >= 6 && key.compare(key.size() - 6, 6, "FontId") == 0;
}

// Session font ids to file indexes (from 1), in order of first use in a walk of the document.
class FontTableWriter {
public:
    explicit FontTableWriter(SchServer& server) : server_(server) {}
    int32_t IndexOf(int32_t fontId) {
        FontDescription font;
        if (!server_.GetFontDescription(fontId, font)) return 0;
        auto it = index_.find(fontId);
        if (it != index_.end()) return it->second;
        fonts_.push_back(Json{{"size", font.Size},
                              {"rotation", font.Rotation},
                              {"underline", font.Underline},
                              {"italic", font.Italic},
                              {"bold", font.Bold},
                              {"strikeout", font.Strikeout},
                              {"name", font.FontName}});
        int32_t index = static_cast<int32_t>(fonts_.size());
        index_[fontId] = index;
        return index;
    }
    Json Table() const { return fonts_; }

private:
    SchServer& server_;
    std::map<int32_t, int32_t> index_;
    Json fonts_ = Json::array();
};

// Gives every font in use its index, in the order of first use: an object's properties in name
// order, then its children.
void NumberFonts(const ObjectCore& object, FontTableWriter& fonts) {
    for (const auto& [name, value] : object.Props().Entries())
        if (IsFontKey(*name))
            if (auto* id = std::get_if<int64_t>(&value)) fonts.IndexOf(static_cast<int32_t>(*id));
    for (const ObjectCore* child : object.Children()) NumberFonts(*child, fonts);
}

// One object as JSON text at `depth`: {"children", "kind", "props"} in that (sorted) order.
void AppendObject(std::string& out, const ObjectCore& object, FontTableWriter* fonts, int depth) {
    out += "{\n";
    if (!object.Children().empty()) {
        AppendTabs(out, depth + 1);
        out += "\"children\": [\n";
        bool first = true;
        for (const ObjectCore* child : object.Children()) {
            if (!first) out += ",\n";
            first = false;
            AppendTabs(out, depth + 2);
            AppendObject(out, *child, fonts, depth + 2);
        }
        out += '\n';
        AppendTabs(out, depth + 1);
        out += "],\n";
    }
    AppendTabs(out, depth + 1);
    out += "\"kind\": " + std::to_string(object.Kind()) + ",\n";
    AppendTabs(out, depth + 1);
    out += "\"props\": ";
    const auto& entries = object.Props().Entries();
    if (entries.empty()) {
        out += "{}";
    } else {
        out += "{\n";
        bool first = true;
        for (const auto& [name, value] : entries) {
            if (!first) out += ",\n";
            first = false;
            AppendTabs(out, depth + 2);
            AppendJsonString(out, *name);
            out += ": ";
            const auto* id = std::get_if<int64_t>(&value);
            if (fonts && id && IsFontKey(*name))
                out += std::to_string(fonts->IndexOf(static_cast<int32_t>(*id)));
            else
                AppendJsonText(out, value, depth + 2);
        }
        out += '\n';
        AppendTabs(out, depth + 1);
        out += '}';
    }
    out += '\n';
    AppendTabs(out, depth);
    out += '}';
}

// The defaults of each kind, taken once per load from an object made new aside, with the ids that
// making it draws: a loaded object starts from these properties and draws as many ids, so that the
// session's ids run on as if each object had been made new and then filled from the file.
class Defaults {
public:
    explicit Defaults(SchServer& server) : server_(server) {}

    struct Kind {
        PropertyStore Props;
        size_t Ids = 0;         // ids that making one draws
        size_t OwnId = 0;       // the one of them that becomes its UniqueId
        bool HasOwnId = false;
    };

    const Kind* Of(int32_t kind) {
        auto it = kinds_.find(kind);
        if (it != kinds_.end()) return &it->second;
        UniqueIdSource aside(0);
        std::vector<std::string> drawn;
        aside.Record = &drawn;
        UniqueIdSource* real = server_.SwapIds(&aside);
        std::unique_ptr<ObjectCore> object;
        try {
            object = MakeObject(&server_, kind, true);
        } catch (...) {
            server_.SwapIds(real);
            throw;
        }
        server_.SwapIds(real);
        if (!object) return nullptr;
        Kind k;
        k.Props = object->Props();
        k.Ids = drawn.size();
        if (object->Has("UniqueId")) {
            auto own = std::find(drawn.begin(), drawn.end(), object->GetStr("UniqueId"));
            k.HasOwnId = own != drawn.end();
            k.OwnId = static_cast<size_t>(own - drawn.begin());
        }
        return &kinds_.emplace(kind, std::move(k)).first->second;
    }

    // A bare object of a known kind with its defaults.
    std::unique_ptr<ObjectCore> Make(const Kind& defaults, int32_t kind) {
        auto object = MakeObject(&server_, kind, false);
        object->Props() = defaults.Props;
        std::string own = server_.Ids().Draw(defaults.Ids, defaults.OwnId);
        if (defaults.HasOwnId) object->SetStr("UniqueId", own);
        return object;
    }

private:
    SchServer& server_;
    std::unordered_map<int32_t, Kind> kinds_;
};

// True when no number inside the JSON value is one that JSON can't hold (written as null).
bool NestedValuesReadBack(const Json& v) {
    if (v.is_number_float()) return std::isfinite(v.get<double>());
    if (v.is_structured())
        return std::all_of(v.begin(), v.end(), [](const Json& e) { return NestedValuesReadBack(e); });
    return true;
}

// True when a value written under `name` reads back as the same value of the same shape: a JSON
// value that the reader would turn into a flag, number, text or points, a number that JSON can't
// hold, an empty point list (it reads back as JSON) or a font id outside the table would not.
bool ValueReadsBack(SchServer& server, const std::string& name, const PropertyValue& value) {
    if (const auto* id = std::get_if<int64_t>(&value)) {
        FontDescription font;
        return !IsFontKey(name) || (*id <= INT32_MAX && server.GetFontDescription(static_cast<int32_t>(*id), font));
    }
    if (const auto* d = std::get_if<double>(&value)) return std::isfinite(*d);
    if (const auto* points = std::get_if<std::vector<Coord>>(&value)) return !points->empty();
    if (const auto* j = std::get_if<Json>(&value)) {
        // A font key's integer is read as an index into the font table.
        const bool staysJson = KeptAsJson(*j) && !(IsFontKey(name) && j->is_number_integer());
        return staysJson && NestedValuesReadBack(*j);
    }
    return true;  // flags, texts and points
}

std::unique_ptr<ObjectCore> FromJson(SchServer& server, Defaults& defaults, Json& j,
                                     const std::vector<int32_t>& fontIds, const std::string& where) {
    if (!j.is_object() || !j.contains("kind") || !j["kind"].is_number_integer())
        throw EApiErr("Object without kind at " + where);
    int32_t kind = j["kind"].get<int32_t>();
    const Defaults::Kind* kindDefaults = defaults.Of(kind);
    if (!kindDefaults) throw EApiErr("Unknown object kind " + std::to_string(kind) + " at " + where);
    // The defaults stand for properties that the file doesn't name; the children are the file's.
    auto object = defaults.Make(*kindDefaults, kind);
    if (j.contains("props")) {
        if (!j["props"].is_object()) throw EApiErr("Properties are no object at " + where);
        for (auto& [key, value] : j["props"].items()) {
            if (IsFontKey(key) && value.is_number_integer()) {
                int32_t index = value.get<int32_t>();
                object->SetInt(key.c_str(),
                               index >= 1 && index <= static_cast<int32_t>(fontIds.size()) ? fontIds[index - 1] : 1);
            } else {
                object->Slot(key) = ValueFromJson(std::move(value));
            }
        }
    }
    if (j.contains("children")) {
        if (!j["children"].is_array()) throw EApiErr("Children are no list at " + where);
        size_t i = 0;
        for (auto& c : j["children"]) {
            auto child = FromJson(server, defaults, c, fontIds, where + "/" + std::to_string(i++));
            if (child->IsDocument()) throw EApiErr("A document cannot stand inside another at " + where);
            object->AddChild(child.release());
        }
    }
    return object;
}

}  // namespace

std::string DocumentToText(ObjectCore& document) {
    FontTableWriter fonts(*document.Server());
    NumberFonts(document, fonts);
    std::string out = "{\n\t\"document\": ";
    AppendObject(out, document, &fonts, 1);
    out += ",\n\t\"fonts\": ";
    AppendJsonText(out, fonts.Table(), 1);
    out += ",\n\t\"format\": ";
    AppendJsonString(out, document.Kind() == eSchLib ? kLibraryFormat : kSheetFormat);
    out += ",\n\t\"version\": " + std::to_string(kDocumentFormatVersion) + "\n}\n";
    return out;
}

void WriteDocumentFile(ObjectCore& document, const std::string& path) {
    std::string text = DocumentToText(document);
    std::filesystem::path target(NormalizePath(path));
    std::filesystem::path temp = target;
    temp += ".saving";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) throw EApiErr("Cannot write file " + target.string());
        out << text;
        if (!out.flush()) throw EApiErr("Cannot write file " + target.string());
    }
    std::error_code ec;
    std::filesystem::rename(temp, target, ec);
    if (ec) {
        std::filesystem::remove(temp, ec);
        throw EApiErr("Cannot write file " + target.string());
    }
}

std::unique_ptr<ObjectCore> DocumentFromText(SchServer& server, const std::string& text) {
    Json file = Json::parse(text, nullptr, false);
    if (file.is_discarded() || !file.is_object()) throw EApiErr("Not a document: the text is no JSON object");
    std::string format = file.value("format", "");
    if (format != kSheetFormat && format != kLibraryFormat) throw EApiErr("Not a document: format \"" + format + "\"");
    if (file.value("version", 0) != kDocumentFormatVersion)
        throw EApiErr("Unsupported document version " + std::to_string(file.value("version", 0)));
    std::vector<int32_t> fontIds;
    if (file.contains("fonts")) {
        if (!file["fonts"].is_array()) throw EApiErr("Font table is no list");
        for (const auto& f : file["fonts"]) {
            if (!f.is_object()) throw EApiErr("Font entry is no object");
            FontDescription font{f.value("size", 10),        f.value("rotation", 0),   f.value("underline", false),
                                 f.value("italic", false),   f.value("bold", false),   f.value("strikeout", false),
                                 f.value("name", std::string("Times New Roman"))};
            fontIds.push_back(server.FontIdOf(font));
        }
    }
    if (!file.contains("document")) throw EApiErr("Not a document: no document object");
    Defaults defaults(server);
    auto document = FromJson(server, defaults, file["document"], fontIds, "document");
    int32_t expected = format == kLibraryFormat ? eSchLib : eSheet;
    if (document->Kind() != expected) throw EApiErr("Document kind does not match its format");
    return document;
}

bool ReadsBackUnchanged(SchServer& server, const ObjectCore& document) {
    Defaults defaults(server);
    std::vector<const ObjectCore*> pending{&document};
    while (!pending.empty()) {
        const ObjectCore* object = pending.back();
        pending.pop_back();
        if (object != &document && object->IsDocument()) return false;
        const Defaults::Kind* kind = defaults.Of(object->Kind());
        if (!kind) return false;
        // A read starts from the defaults of the kind: every one of them must be in the file.
        const auto& own = object->Props().Entries();
        size_t at = 0;
        for (const auto& entry : kind->Props.Entries()) {
            while (at < own.size() && *own[at].Name < *entry.Name) ++at;
            if (at == own.size() || *own[at].Name != *entry.Name) return false;
        }
        for (const auto& [name, value] : own)
            if (!ValueReadsBack(server, *name, value)) return false;
        pending.insert(pending.end(), object->Children().begin(), object->Children().end());
    }
    return true;
}

void DrawIdsOfReading(SchServer& server, const ObjectCore& document) {
    // In the order of a read: each object, then its children.
    Defaults defaults(server);
    std::vector<const ObjectCore*> pending{&document};
    while (!pending.empty()) {
        const ObjectCore* object = pending.back();
        pending.pop_back();
        if (const Defaults::Kind* kind = defaults.Of(object->Kind())) server.Ids().Draw(kind->Ids, kind->OwnId);
        pending.insert(pending.end(), object->Children().rbegin(), object->Children().rend());
    }
}

std::unique_ptr<ObjectCore> ReadDocumentFile(SchServer& server, const std::string& path) {
    std::ifstream in(NormalizePath(path), std::ios::binary);
    if (!in) throw EApiErr("Cannot open file " + path);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    try {
        return DocumentFromText(server, text);
    } catch (const EApiErr& e) {
        throw EApiErr(path + ": " + e.what());
    }
}

}  // namespace orcadx::host::impl
