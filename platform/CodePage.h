// Text in Capture files is single-byte Windows-1252; in memory it is UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace orcadx::platform {

// Windows-1252 bytes to UTF-8. The five bytes that 1252 leaves undefined map to the C1 control
// characters of the same value, so every byte sequence converts and converts back unchanged.
std::string AnsiToUtf8(std::string_view ansi);

// UTF-8 to Windows-1252. A character that 1252 cannot hold becomes "?"; malformed UTF-8 bytes are
// taken as 1252 bytes as they stand, so that text that was never UTF-8 survives.
std::string Utf8ToAnsi(std::string_view utf8);

// UTF-16 (from the exported functions' wide strings) to UTF-8 and back.
std::string Utf16ToUtf8(std::u16string_view text);
std::u16string Utf8ToUtf16(std::string_view text);

}  // namespace orcadx::platform
