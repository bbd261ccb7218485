// The property store of the host's objects: name to value, kept sorted by name in one flat vector,
// with the common value kinds (flags, integers, angles, texts, points and vertex lists) held
// directly and anything else as JSON. Names are interned once per server.
//
// The JSON text writers give the same bytes as nlohmann::json's dump(1, '\t') of the equivalent
// JSON value, so that documents keep their format while skipping the JSON tree.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/SchInterfaces.h"

namespace orcadx::host::impl {

using Json = nlohmann::json;

// Property names, each stored once; the stores point into it. Addresses stay put for the table's
// life.
class PropertyNames {
public:
    const std::string* Intern(std::string_view name);

private:
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
    };
    std::unordered_set<std::string, Hash, std::equal_to<>> names_;
};

// Kinds that a value from a file or an accessor takes: a JSON value of another shape (null,
// objects, other arrays, integers past 64 bits signed) stays JSON.
using PropertyValue = std::variant<bool, int64_t, double, std::string, Coord, std::vector<Coord>, Json>;

class PropertyStore {
public:
    struct Entry {
        const std::string* Name;
        PropertyValue Value;
    };

    const PropertyValue* Find(std::string_view name) const;
    PropertyValue* Find(std::string_view name) {
        return const_cast<PropertyValue*>(static_cast<const PropertyStore*>(this)->Find(name));
    }
    // The value under `name`, made (as JSON null) when missing.
    PropertyValue& Slot(PropertyNames& names, std::string_view name);
    bool Erase(std::string_view name);
    // Sorted by name.
    const std::vector<Entry>& Entries() const { return entries_; }
    bool Empty() const { return entries_.empty(); }

private:
    std::vector<Entry>::const_iterator LowerBound(std::string_view name) const;
    std::vector<Entry> entries_;
};

// A value from parsed JSON (moved from) and the JSON of a value.
PropertyValue ValueFromJson(Json&& value);
// True when ValueFromJson keeps the value as JSON (null, objects, arrays that are no point and no
// list of points, integers past 64 bits signed).
bool KeptAsJson(const Json& value);
Json ValueToJson(const PropertyValue& value);

// JSON text as nlohmann::json's dump(1, '\t') writes it, for a value that stands `depth` levels
// deep (closing brackets get `depth` tabs, elements one more).
void AppendJsonText(std::string& out, const PropertyValue& value, int depth);
void AppendJsonText(std::string& out, const Json& value, int depth);
// A quoted string; throws nlohmann::json::type_error on text that is no UTF-8, as dump does.
void AppendJsonString(std::string& out, std::string_view text);
void AppendTabs(std::string& out, int depth);

}  // namespace orcadx::host::impl
