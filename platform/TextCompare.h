// Comparison of names without regard to case: the ASCII letters A to Z fold, with no locale, the way
// Capture and compound files compare names.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace orcadx::platform {

constexpr char FoldUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

constexpr bool SameTextNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (FoldUpper(a[i]) != FoldUpper(b[i])) return false;
    return true;
}

// The text with the ASCII letters a to z in upper case: a key under which names that compare equal
// without case meet.
inline std::string UpperCaseAscii(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = FoldUpper(c);
    return out;
}

// Negative, 0 or positive, comparing the folded bytes as unsigned values, then the lengths.
constexpr int CompareTextNoCase(std::string_view a, std::string_view b) {
    size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        int d = int(static_cast<unsigned char>(FoldUpper(a[i]))) - int(static_cast<unsigned char>(FoldUpper(b[i])));
        if (d != 0) return d;
    }
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

}  // namespace orcadx::platform
