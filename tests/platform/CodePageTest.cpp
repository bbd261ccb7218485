#include <gtest/gtest.h>

#include <fmt/format.h>

#include "platform/CodePage.h"

using namespace orcadx::platform;

namespace {

// UTF-8 of one code point, written here so that the table below is checked against the
// conversion and not against itself.
std::string Utf8Of(char32_t cp) {
    std::string s;
    if (cp < 0x80) {
        s += char(cp);
    } else if (cp < 0x800) {
        s += char(0xC0 | (cp >> 6));
        s += char(0x80 | (cp & 0x3F));
    } else {
        s += char(0xE0 | (cp >> 12));
        s += char(0x80 | ((cp >> 6) & 0x3F));
        s += char(0x80 | (cp & 0x3F));
    }
    return s;
}

// The published Windows-1252 mapping of the bytes 0x80 to 0x9F (unicode.org, CP1252.TXT). The five
// bytes it leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) stand for the C1 control character of
// their own value, so that they survive a round trip.
constexpr char32_t kPublished[32] = {
    /* 0x80 */ 0x20AC, /* 0x81 */ 0x0081, /* 0x82 */ 0x201A, /* 0x83 */ 0x0192,
    /* 0x84 */ 0x201E, /* 0x85 */ 0x2026, /* 0x86 */ 0x2020, /* 0x87 */ 0x2021,
    /* 0x88 */ 0x02C6, /* 0x89 */ 0x2030, /* 0x8A */ 0x0160, /* 0x8B */ 0x2039,
    /* 0x8C */ 0x0152, /* 0x8D */ 0x008D, /* 0x8E */ 0x017D, /* 0x8F */ 0x008F,
    /* 0x90 */ 0x0090, /* 0x91 */ 0x2018, /* 0x92 */ 0x2019, /* 0x93 */ 0x201C,
    /* 0x94 */ 0x201D, /* 0x95 */ 0x2022, /* 0x96 */ 0x2013, /* 0x97 */ 0x2014,
    /* 0x98 */ 0x02DC, /* 0x99 */ 0x2122, /* 0x9A */ 0x0161, /* 0x9B */ 0x203A,
    /* 0x9C */ 0x0153, /* 0x9D */ 0x009D, /* 0x9E */ 0x017E, /* 0x9F */ 0x0178,
};

}  // namespace

TEST(CodePage, EveryByteMapsAsThePublishedWindows1252Table) {
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(fmt::format("byte 0x{:02X}", byte));
        // ASCII and 0xA0 to 0xFF are Latin-1; 0x80 to 0x9F follow the table.
        char32_t cp = byte >= 0x80 && byte <= 0x9F ? kPublished[byte - 0x80] : char32_t(byte);
        std::string ansi(1, char(byte));
        EXPECT_EQ(AnsiToUtf8(ansi), Utf8Of(cp));
        EXPECT_EQ(Utf8ToAnsi(Utf8Of(cp)), ansi);
    }
    // A C1 control whose byte 1252 gives to a printable character has no byte of its own.
    for (char32_t c1 : {0x80, 0x82, 0x8A, 0x91, 0x9F}) EXPECT_EQ(Utf8ToAnsi(Utf8Of(c1)), "?") << unsigned(c1);
}

TEST(CodePage, Windows1252RoundTripsEveryByte) {
    std::string all;
    for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
    std::string utf8 = AnsiToUtf8(all);
    EXPECT_EQ(Utf8ToAnsi(utf8), all);
    // The euro sign and the micro sign, as a part value would hold them.
    EXPECT_EQ(AnsiToUtf8("\x80 \xB5"), "\xE2\x82\xAC \xC2\xB5");
    EXPECT_EQ(Utf8ToAnsi("10\xC2\xB5" "F"), "10\xB5" "F");
}

TEST(CodePage, UnrepresentableCharactersBecomeQuestionMarks) {
    EXPECT_EQ(Utf8ToAnsi("R\xE2\x84\xA6"), "R?");       // Ohm sign U+2126
    EXPECT_EQ(Utf8ToAnsi("\xF0\x9F\x98\x80x"), "?x");   // outside the BMP
    // Bytes that aren't UTF-8 pass as they stand.
    EXPECT_EQ(Utf8ToAnsi(std::string("\xE9t\xE9", 3)), std::string("\xE9t\xE9", 3));
}

TEST(CodePage, Utf16Conversions) {
    std::u16string wide = u"C:\\Designs\\\u00C9t\u00E9.DSN \U0001F600";
    EXPECT_EQ(Utf8ToUtf16(Utf16ToUtf8(wide)), wide);
    EXPECT_EQ(Utf16ToUtf8(u"abc"), "abc");
}
