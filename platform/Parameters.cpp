#include "platform/Parameters.h"

#include "platform/TextCompare.h"

#include <cctype>

namespace orcadx::platform {

namespace {

std::string Trim(const std::string& s) {
    size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    return s.substr(b, e - b);
}

}  // namespace

std::string GetParameterValue(const std::string& parameters, const std::string& name) {
    TParameterList list;
    list.FromString(parameters);
    std::string value;
    return list.Find(name, value) ? Trim(value) : std::string();
}

std::string JoinParameters(const std::string& left, const std::string& right) {
    if (left.empty()) return right;
    if (right.empty()) return left;
    return left + " | " + right;
}

namespace {

std::string FoldName(std::string_view name) {
    std::string folded = Trim(std::string(name));
    for (char& c : folded) c = FoldUpper(c);
    return folded;
}

}  // namespace

void TParameterList::Clear() {
    pairs_.clear();
    index_.clear();
}

void TParameterList::Add(const std::string& name, const std::string& value) {
    pairs_.emplace_back(name, value);
    index_.emplace(FoldName(name), pairs_.size() - 1);
}

bool TParameterList::Find(std::string_view name, std::string& value) const {
    auto it = index_.find(FoldName(name));
    if (it == index_.end()) return false;
    value = pairs_[it->second].second;
    return true;
}

bool TParameterList::FindBoolean(std::string_view name, bool& value) const {
    std::string text;
    if (!Find(name, text)) return false;
    value = SameTextNoCase(text, "True");
    return true;
}

std::string TParameterList::ToString() const {
    std::string out;
    for (size_t i = 0; i < pairs_.size(); ++i) {
        if (i) out += '|';
        out += pairs_[i].first;
        out += '=';
        out += pairs_[i].second.empty() ? std::string(" ") : pairs_[i].second;
    }
    return out;
}

void TParameterList::FromString(std::string_view text) {
    Clear();
    size_t start = 0;
    while (start <= text.size()) {
        size_t bar = text.find('|', start);
        std::string_view piece = text.substr(start, bar == std::string_view::npos ? std::string_view::npos : bar - start);
        size_t eq = piece.find('=');
        if (eq != std::string_view::npos) {
            std::string name = Trim(std::string(piece.substr(0, eq)));
            std::string value(piece.substr(eq + 1));
            if (value == " ") value.clear();
            if (!name.empty()) Add(name, value);
        }
        if (bar == std::string_view::npos) break;
        start = bar + 1;
    }
}

}  // namespace orcadx::platform
