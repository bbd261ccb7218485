#include "platform/TextFiles.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "platform/CodePage.h"
#include "platform/TextCompare.h"

namespace fs = std::filesystem;

namespace orcadx::platform {

std::string DecodeText(std::string_view bytes, TextEncoding* encoding) {
    if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") {
        if (encoding) *encoding = TextEncoding::Utf8Bom;
        return std::string(bytes.substr(3));
    }
    if (bytes.size() >= 2 && bytes.substr(0, 2) == "\xFF\xFE") {
        if (encoding) *encoding = TextEncoding::Utf16Bom;
        std::u16string wide;
        wide.reserve((bytes.size() - 2) / 2);
        for (size_t i = 2; i + 1 < bytes.size(); i += 2)
            wide += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                          (static_cast<unsigned char>(bytes[i + 1]) << 8));
        return Utf16ToUtf8(wide);
    }
    if (encoding) *encoding = TextEncoding::Ansi;
    return AnsiToUtf8(bytes);
}

std::string EncodeText(std::string_view text, TextEncoding encoding) {
    switch (encoding) {
    case TextEncoding::Utf8Bom:
        return "\xEF\xBB\xBF" + std::string(text);
    case TextEncoding::Utf16Bom: {
        std::string out = "\xFF\xFE";
        for (char16_t c : Utf8ToUtf16(text)) {
            out += static_cast<char>(c & 0xFF);
            out += static_cast<char>(c >> 8);
        }
        return out;
    }
    case TextEncoding::Ansi:
        break;
    }
    return Utf8ToAnsi(text);
}

bool ReadTextFile(const std::string& path, std::string& text, TextEncoding* encoding) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) return false;
    text = DecodeText(bytes, encoding);
    return true;
}

std::vector<std::string> SplitLines(std::string_view text) {
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r' && text[i] != '\n') continue;
        lines.emplace_back(text.substr(start, i - start));
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        start = i + 1;
    }
    if (start < text.size()) lines.emplace_back(text.substr(start));
    return lines;
}

bool IsRelativePath(std::string_view path) {
    if (path.find(':') != std::string_view::npos) return false;
    if (path.size() >= 2 && path[0] == '\\' && path[1] == '\\') return false;
    return path.empty() || path[0] != '/';
}

std::string MakeFullPath(const std::string& baseFile, const std::string& path) {
    if (!IsRelativePath(path)) return path;
    std::string relative = path;
    std::replace(relative.begin(), relative.end(), '\\', '/');
    std::error_code ec;
    fs::path base = fs::absolute(fs::path(baseFile), ec).parent_path();
    return (base / fs::path(relative)).lexically_normal().string();
}

std::string FindFileNoCase(const std::string& path) {
    std::string wanted = path;
    std::replace(wanted.begin(), wanted.end(), '\\', '/');
    std::error_code ec;
    if (fs::exists(wanted, ec)) return wanted;
    fs::path p(wanted);
    fs::path found = p.root_path();
    for (const fs::path& step : p.relative_path()) {
        std::string name = step.string();
        fs::path exact = found / step;
        if (name == "." || name == ".." || fs::exists(exact, ec)) {
            found = exact;
            continue;
        }
        // Among the folder's entries that match without case, the first in name order, so that
        // the choice doesn't depend on the order in which the folder lists them.
        std::string best;
        fs::directory_iterator it(found.empty() ? fs::path(".") : found, ec), end;
        for (; !ec && it != end; it.increment(ec)) {
            std::string entry = it->path().filename().string();
            if (SameTextNoCase(entry, name) && (best.empty() || entry < best)) best = entry;
        }
        if (best.empty()) return path;
        found /= best;
    }
    return found.string();
}

}  // namespace orcadx::platform
