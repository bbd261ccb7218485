// Text files that Windows programs wrote (OrCAD project files, PSpice profiles, initialisation
// files), and the file names they hold, read on this file system: names in them use "\" and match
// the names on disk without regard to case, as they do on Windows.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orcadx::platform {

// How a text file was encoded; in memory all text is UTF-8.
enum class TextEncoding { Ansi, Utf8Bom, Utf16Bom };

// Decodes the bytes of a text file: a UTF-8 byte-order mark is dropped, UTF-16 little-endian text
// with its mark is converted, any other text is taken as Windows-1252.
std::string DecodeText(std::string_view bytes, TextEncoding* encoding = nullptr);
// The reverse of DecodeText for the given encoding.
std::string EncodeText(std::string_view text, TextEncoding encoding);

// Reads a whole text file and decodes it; false when the file can't be opened or read (a folder
// counts as no file).
bool ReadTextFile(const std::string& path, std::string& text, TextEncoding* encoding = nullptr);

// The text's lines, split at CR LF, LF or CR, as Windows string lists load them: a line break at
// the very end makes no further empty line.
std::vector<std::string> SplitLines(std::string_view text);

// The text without the characters 9, 10, 13 and 32 at either end.
inline std::string TrimBlanks(std::string_view text) {
    auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    size_t b = 0, e = text.size();
    while (b < e && blank(text[b])) ++b;
    while (e > b && blank(text[e - 1])) --e;
    return std::string(text.substr(b, e - b));
}

// The last step of a path: what follows its last "/" or "\" (the whole path when it has neither).
inline std::string FileNameOf(std::string_view path) {
    const size_t slash = path.find_last_of("/\\");
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

// A Windows path is relative when it holds no ":" and does not start with two backslashes; a path
// that starts with "/" is absolute on this system too.
bool IsRelativePath(std::string_view path);

// A relative `path` made full against the folder of `baseFile`, with "\" as "/" and the steps "."
// and ".." worked out; a path that isn't relative is given back unchanged.
std::string MakeFullPath(const std::string& baseFile, const std::string& path);

// The path of an existing file or folder whose name matches `path` step by step without regard to
// ASCII case, the way Windows finds it; `path` itself when it exists as it stands or nothing
// matches. Separators "\" count as "/".
std::string FindFileNoCase(const std::string& path);

}  // namespace orcadx::platform
