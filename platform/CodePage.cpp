#include "platform/CodePage.h"

#include <algorithm>
#include <cstdint>

namespace orcadx::platform {

namespace {

// Code points of the bytes 0x80 to 0x9F in Windows-1252; 0 marks the five undefined bytes, which
// stand for the C1 control character of their own value.
constexpr char16_t kHigh[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

char32_t AnsiToCodePoint(unsigned char c) {
    if (c >= 0x80 && c <= 0x9F && kHigh[c - 0x80]) return kHigh[c - 0x80];
    return c;
}

int CodePointToAnsi(char32_t cp) {
    if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) return static_cast<int>(cp);
    for (int i = 0; i < 32; ++i)
        if (kHigh[i] == cp) return 0x80 + i;
    if (cp >= 0x80 && cp <= 0x9F && kHigh[cp - 0x80] == 0) return static_cast<int>(cp);
    return -1;
}

void AppendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// Decodes one UTF-8 sequence at `i`; gives its length in `len`, or 0 when malformed.
char32_t DecodeUtf8(std::string_view s, size_t i, size_t& len) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    len = 0;
    if (c < 0x80) {
        len = 1;
        return c;
    }
    size_t n;
    char32_t cp;
    if ((c & 0xE0) == 0xC0) {
        n = 2;
        cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
        n = 3;
        cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
        n = 4;
        cp = c & 0x07;
    } else {
        return 0;
    }
    if (i + n > s.size()) return 0;
    for (size_t k = 1; k < n; ++k) {
        unsigned char d = static_cast<unsigned char>(s[i + k]);
        if ((d & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (d & 0x3F);
    }
    static const char32_t kMin[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < kMin[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    len = n;
    return cp;
}

}  // namespace

std::string AnsiToUtf8(std::string_view ansi) {
    // Most text of a file is ASCII, the same in both encodings.
    if (std::all_of(ansi.begin(), ansi.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
        return std::string(ansi);
    std::string out;
    out.reserve(ansi.size());
    for (unsigned char c : ansi) AppendUtf8(out, AnsiToCodePoint(c));
    return out;
}

std::string Utf8ToAnsi(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size();) {
        size_t len;
        char32_t cp = DecodeUtf8(utf8, i, len);
        if (len == 0) {
            out += utf8[i];
            ++i;
            continue;
        }
        int b = CodePointToAnsi(cp);
        out += b < 0 ? '?' : static_cast<char>(b);
        i += len;
    }
    return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t cp = text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        AppendUtf8(out, cp);
    }
    return out;
}

std::u16string Utf8ToUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        size_t len;
        char32_t cp = DecodeUtf8(text, i, len);
        if (len == 0) {
            cp = AnsiToCodePoint(static_cast<unsigned char>(text[i]));
            len = 1;
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (cp >> 10));
            out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
        } else {
            out += static_cast<char16_t>(cp);
        }
        i += len;
    }
    return out;
}

}  // namespace orcadx::platform
