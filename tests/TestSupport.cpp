#include "TestSupport.h"

#include <algorithm>
#include <cctype>

namespace orcadx::test {

std::vector<std::filesystem::path> CorpusFiles(const std::vector<std::string>& exts) {
    std::vector<std::filesystem::path> out;
    if (!HaveCorpus()) return out;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(CorpusDir())) {
        if (!entry.is_regular_file()) continue;
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
        if (std::find(exts.begin(), exts.end(), ext) != exts.end()) out.push_back(entry.path());
    }
    std::sort(out.begin(), out.end());
    return out;
}

std::filesystem::path ScratchDir(const std::string& name) {
    auto dir = std::filesystem::path(ORCADX_BINARY_DIR) / "test-scratch" / name;
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

}  // namespace orcadx::test
