// What every benchmark program shares, whatever it links: a folder option on its command line, the
// sample files by extension, and the memory figures of its own process.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace orcadx::bench {

// Takes "FLAG DIR" (such as "--corpus DIR") out of the arguments and gives DIR, or `value` when
// the flag is absent; the other arguments go to `rest` for Google Benchmark, and `argc` counts them.
inline std::filesystem::path PathOption(int& argc, char** argv, std::vector<char*>& rest, const std::string& flag,
                                        std::filesystem::path value) {
    for (int i = 0; i < argc; ++i) {
        if (argv[i] == flag && i + 1 < argc) value = argv[++i];
        else rest.push_back(argv[i]);
    }
    argc = static_cast<int>(rest.size());
    return value;
}

// Every file below `folder` whose extension, in lower case, is one of `exts` (".dsn", ".olb", ...),
// sorted by path; none when the folder does not exist.
inline std::vector<std::filesystem::path> FilesWithExtensions(const std::filesystem::path& folder,
                                                              const std::vector<std::string>& exts) {
    std::vector<std::filesystem::path> files;
    if (!std::filesystem::is_directory(folder)) return files;
    for (const auto& e : std::filesystem::recursive_directory_iterator(folder)) {
        if (!e.is_regular_file()) continue;
        std::string ext = e.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
        if (std::find(exts.begin(), exts.end(), ext) != exts.end()) files.push_back(e.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The largest file with the extension `ext` (in lower case, any case on disk) below `folder`;
// empty when there is none.
inline std::filesystem::path LargestFile(const std::filesystem::path& folder, const std::string& ext) {
    std::filesystem::path largest;
    for (const auto& file : FilesWithExtensions(folder, {ext}))
        if (largest.empty() || std::filesystem::file_size(file) > std::filesystem::file_size(largest)) largest = file;
    return largest;
}

// A figure of this process from /proc/self/status in KiB ("VmRSS" the resident set, "VmHWM" its
// peak); 0 when it isn't there.
inline uint64_t StatusKiB(const std::string& key) {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line))
        if (line.compare(0, key.size() + 1, key + ":") == 0) return std::stoull(line.substr(key.size() + 1));
    return 0;
}

// The shell command that runs this program again as "PROGRAM --measure FILE", for a figure taken
// in a fresh process.
inline std::string MeasureCommand(const std::filesystem::path& file) {
    std::string quoted;
    for (char c : file.string()) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    // Resolved here: inside the shell that popen starts, /proc/self/exe would be the shell.
    return "'" + std::filesystem::read_symlink("/proc/self/exe").string() + "' --measure '" + quoted + "'";
}

}  // namespace orcadx::bench
