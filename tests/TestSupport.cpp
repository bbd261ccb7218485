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

std::vector<std::string> SampleFiles(const std::string& extension) {
    std::vector<std::string> names;
    for (const auto& file : CorpusFiles({extension}))
        names.push_back(std::filesystem::relative(file, CorpusDir()).string());
    if (names.empty()) names.push_back("");
    return names;
}

std::string SampleTestName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = std::to_string(info.index) + "_";
    for (char c : info.param) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

std::filesystem::path ScratchDir(const std::string& name) {
    auto dir = std::filesystem::path(ORCADX_BINARY_DIR) / "test-scratch" / name;
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

}  // namespace orcadx::test
