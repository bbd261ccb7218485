#include "host/Properties.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace orcadx::host::impl {

const std::string* PropertyNames::Intern(std::string_view name) {
    auto it = names_.find(name);
    if (it == names_.end()) it = names_.emplace(name).first;
    return &*it;
}

std::vector<PropertyStore::Entry>::const_iterator PropertyStore::LowerBound(std::string_view name) const {
    return std::lower_bound(entries_.begin(), entries_.end(), name,
                            [](const Entry& e, std::string_view n) { return std::string_view(*e.Name) < n; });
}

const PropertyValue* PropertyStore::Find(std::string_view name) const {
    auto it = LowerBound(name);
    return it != entries_.end() && *it->Name == name ? &it->Value : nullptr;
}

PropertyValue& PropertyStore::Slot(PropertyNames& names, std::string_view name) {
    auto it = LowerBound(name);
    if (it != entries_.end() && *it->Name == name) return entries_[static_cast<size_t>(it - entries_.begin())].Value;
    // Made in place: a moved-in variant trips a false uninitialised-use warning in GCC 12.
    const auto at = entries_.emplace(it);
    at->Name = names.Intern(name);
    at->Value.emplace<Json>();
    return at->Value;
}

bool PropertyStore::Erase(std::string_view name) {
    auto it = LowerBound(name);
    if (it == entries_.end() || *it->Name != name) return false;
    entries_.erase(it);
    return true;
}

namespace {

bool IsInt32(const Json& v) {
    if (v.is_number_integer() && !v.is_number_unsigned()) {
        const int64_t n = v.get<int64_t>();
        return n >= std::numeric_limits<int32_t>::min() && n <= std::numeric_limits<int32_t>::max();
    }
    return v.is_number_unsigned() && v.get<uint64_t>() <= static_cast<uint64_t>(std::numeric_limits<int32_t>::max());
}

bool IsPoint(const Json& v) { return v.is_array() && v.size() == 2 && IsInt32(v[0]) && IsInt32(v[1]); }

Coord PointOf(const Json& v) { return {static_cast<int32_t>(v[0].get<int64_t>()), static_cast<int32_t>(v[1].get<int64_t>())}; }

}  // namespace

bool KeptAsJson(const Json& value) {
    switch (value.type()) {
        case Json::value_t::boolean:
        case Json::value_t::number_integer:
        case Json::value_t::number_float:
        case Json::value_t::string: return false;
        case Json::value_t::number_unsigned:
            return value.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
        case Json::value_t::array:
            return !IsPoint(value) && (value.empty() || !std::all_of(value.begin(), value.end(), IsPoint));
        default: return true;
    }
}

PropertyValue ValueFromJson(Json&& value) {
    switch (value.type()) {
        case Json::value_t::boolean: return PropertyValue(std::in_place_type<bool>, value.get<bool>());
        case Json::value_t::number_integer: return PropertyValue(std::in_place_type<int64_t>, value.get<int64_t>());
        case Json::value_t::number_unsigned:
            if (value.get<uint64_t>() <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
                return PropertyValue(std::in_place_type<int64_t>, static_cast<int64_t>(value.get<uint64_t>()));
            break;
        case Json::value_t::number_float: return PropertyValue(std::in_place_type<double>, value.get<double>());
        case Json::value_t::string:
            return PropertyValue(std::in_place_type<std::string>, std::move(value.get_ref<std::string&>()));
        case Json::value_t::array: {
            if (IsPoint(value)) return PropertyValue(std::in_place_type<Coord>, PointOf(value));
            if (value.empty() || !std::all_of(value.begin(), value.end(), IsPoint)) break;
            std::vector<Coord> points;
            points.reserve(value.size());
            for (const auto& p : value) points.push_back(PointOf(p));
            return PropertyValue(std::in_place_type<std::vector<Coord>>, std::move(points));
        }
        default: break;
    }
    return PropertyValue(std::in_place_type<Json>, std::move(value));
}

Json ValueToJson(const PropertyValue& value) {
    struct Visitor {
        Json operator()(bool v) const { return v; }
        Json operator()(int64_t v) const { return v; }
        Json operator()(double v) const { return v; }
        Json operator()(const std::string& v) const { return v; }
        Json operator()(Coord v) const { return Json::array({v.X, v.Y}); }
        Json operator()(const std::vector<Coord>& v) const {
            Json out = Json::array();
            for (Coord c : v) out.push_back(Json::array({c.X, c.Y}));
            return out;
        }
        Json operator()(const Json& v) const { return v; }
    };
    return std::visit(Visitor{}, value);
}

void AppendTabs(std::string& out, int depth) { out.append(static_cast<size_t>(depth), '\t'); }

namespace {

template <class Int>
void AppendInt(std::string& out, Int v) {
    char buffer[24];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, v);
    out.append(buffer, end);
}

// Floating point numbers as the JSON library writes them (shortest form that reads back, ".0" on
// whole numbers, null for what JSON can't hold).
void AppendDouble(std::string& out, double v) { out += Json(v).dump(); }

// A list or object of `count` members between `open` and `close`, each on a line of its own one
// level deeper (written by `member(i)`); empty ones as "[]" or "{}".
template <class Member>
void AppendMembers(std::string& out, size_t count, int depth, char open, char close, Member member) {
    out += open;
    if (count == 0) {
        out += close;
        return;
    }
    out += '\n';
    for (size_t i = 0; i < count; ++i) {
        if (i > 0) out += ",\n";
        AppendTabs(out, depth + 1);
        member(i);
    }
    out += '\n';
    AppendTabs(out, depth);
    out += close;
}

void AppendPoint(std::string& out, Coord p, int depth) {
    AppendMembers(out, 2, depth, '[', ']', [&](size_t i) { AppendInt(out, i == 0 ? p.X : p.Y); });
}

}  // namespace

void AppendJsonString(std::string& out, std::string_view text) {
    // Plain ASCII goes as it stands; anything to escape or to check as UTF-8 goes through the
    // library's own writer.
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
        const auto u = static_cast<unsigned char>(c);
        return u >= 0x20 && u < 0x80 && c != '"' && c != '\\';
    });
    if (plain) {
        out += '"';
        out.append(text);
        out += '"';
    } else {
        out += Json(std::string(text)).dump();
    }
}

void AppendJsonText(std::string& out, const Json& value, int depth) {
    switch (value.type()) {
        case Json::value_t::object: {
            auto it = value.begin();
            AppendMembers(out, value.size(), depth, '{', '}', [&](size_t) {
                AppendJsonString(out, it.key());
                out += ": ";
                AppendJsonText(out, it.value(), depth + 1);
                ++it;
            });
            return;
        }
        case Json::value_t::array:
            AppendMembers(out, value.size(), depth, '[', ']',
                          [&](size_t i) { AppendJsonText(out, value[i], depth + 1); });
            return;
        case Json::value_t::string: AppendJsonString(out, value.get_ref<const std::string&>()); return;
        case Json::value_t::boolean: out += value.get<bool>() ? "true" : "false"; return;
        case Json::value_t::number_integer: AppendInt(out, value.get<int64_t>()); return;
        case Json::value_t::number_unsigned: AppendInt(out, value.get<uint64_t>()); return;
        case Json::value_t::number_float: AppendDouble(out, value.get<double>()); return;
        default: out += value.dump(); return;
    }
}

void AppendJsonText(std::string& out, const PropertyValue& value, int depth) {
    struct Visitor {
        std::string& out;
        int depth;
        void operator()(bool v) const { out += v ? "true" : "false"; }
        void operator()(int64_t v) const { AppendInt(out, v); }
        void operator()(double v) const { AppendDouble(out, v); }
        void operator()(const std::string& v) const { AppendJsonString(out, v); }
        void operator()(Coord v) const { AppendPoint(out, v, depth); }
        void operator()(const std::vector<Coord>& v) const {
            AppendMembers(out, v.size(), depth, '[', ']', [&](size_t i) { AppendPoint(out, v[i], depth + 1); });
        }
        void operator()(const Json& v) const { AppendJsonText(out, v, depth); }
    };
    std::visit(Visitor{out, depth}, value);
}

}  // namespace orcadx::host::impl
