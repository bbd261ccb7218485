#include <filesystem>

#include "entry/FileTest.h"
#include "platform/TextCompare.h"

namespace orcadx::entry {

bool HasExtension(const std::string& fileName, const std::string& extension) {
    return platform::SameTextNoCase(std::filesystem::path(fileName).extension().string(), extension);
}

std::string ExtensionOf(const std::string& fileName) {
    std::string name = fileName;
    for (char& c : name)
        if (c == '\\') c = '/';
    return std::filesystem::path(name).extension().string();
}

bool SamePath(const std::string& a, const std::string& b) {
    auto normal = [](std::string p) {
        for (char& c : p)
            if (c == '\\') c = '/';
        return std::filesystem::path(p).lexically_normal().string();
    };
    return platform::SameTextNoCase(normal(a), normal(b));
}

bool FileExists(const std::string& fileName) {
    std::error_code ec;
    return !fileName.empty() && std::filesystem::is_regular_file(fileName, ec);
}

}  // namespace orcadx::entry
