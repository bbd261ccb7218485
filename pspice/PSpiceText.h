// Text helpers of the PSpice units: trimming as PSpice files are read (every character up to a
// blank), and searches that fold the ASCII letters alone.
#pragma once

#include <string>
#include <string_view>

#include "platform/TextCompare.h"

namespace orcadx::pspice {

// Without the characters of code 32 or less at both ends.
inline std::string_view TrimView(std::string_view text) {
    size_t b = 0, e = text.size();
    while (b < e && static_cast<unsigned char>(text[b]) <= 32) ++b;
    while (e > b && static_cast<unsigned char>(text[e - 1]) <= 32) --e;
    return text.substr(b, e - b);
}

inline std::string Trim(std::string_view text) { return std::string(TrimView(text)); }

inline std::string UpperAscii(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = platform::FoldUpper(c);
    return out;
}

// Position of `what` in `text`, ASCII case ignored, or npos.
inline size_t FindNoCase(std::string_view text, std::string_view what, size_t from = 0) {
    if (what.size() > text.size()) return std::string_view::npos;
    for (size_t i = from; i + what.size() <= text.size(); ++i)
        if (platform::SameTextNoCase(text.substr(i, what.size()), what)) return i;
    return std::string_view::npos;
}

inline bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && platform::SameTextNoCase(text.substr(0, prefix.size()), prefix);
}

// Every `what` replaced by `by`, ASCII case ignored, left to right without rescanning the
// replacement.
inline std::string ReplaceAllNoCase(std::string_view text, std::string_view what, std::string_view by) {
    std::string out;
    size_t from = 0;
    for (size_t at; (at = FindNoCase(text, what, from)) != std::string_view::npos; from = at + what.size()) {
        out.append(text.substr(from, at - from));
        out.append(by);
    }
    out.append(text.substr(from));
    return out;
}

}  // namespace orcadx::pspice
