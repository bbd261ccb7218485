#include <filesystem>

#include "entry/FileTest.h"
#include "platform/TextCompare.h"

namespace orcadx::entry {

bool HasExtension(const std::string& fileName, const std::string& extension) {
    return platform::SameTextNoCase(std::filesystem::path(fileName).extension().string(), extension);
}

bool FileExists(const std::string& fileName) {
    std::error_code ec;
    return !fileName.empty() && std::filesystem::is_regular_file(fileName, ec);
}

}  // namespace orcadx::entry
