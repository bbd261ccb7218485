#include <cctype>
#include <filesystem>

#include "entry/FileTest.h"

namespace orcadx::entry {

bool HasExtension(const std::string& fileName, const std::string& extension) {
    std::string ext = std::filesystem::path(fileName).extension().string();
    if (ext.size() != extension.size()) return false;
    for (size_t i = 0; i < ext.size(); ++i)
        if (std::toupper(static_cast<unsigned char>(ext[i])) != std::toupper(static_cast<unsigned char>(extension[i])))
            return false;
    return true;
}

bool FileExists(const std::string& fileName) {
    std::error_code ec;
    return !fileName.empty() && std::filesystem::is_regular_file(fileName, ec);
}

}  // namespace orcadx::entry
