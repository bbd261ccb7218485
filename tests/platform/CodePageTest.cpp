#include <gtest/gtest.h>

#include "platform/CodePage.h"

using namespace orcadx::platform;

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
