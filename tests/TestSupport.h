// Helpers shared by the test programs: where the sample Capture files are, and scratch folders.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace orcadx::test {

inline std::filesystem::path CorpusDir() { return std::filesystem::path(ORCADX_CORPUS_DIR); }

inline bool HaveCorpus() { return std::filesystem::is_directory(CorpusDir()); }

// Capture designs with the netlists Capture wrote for them (see its SOURCES.md).
inline std::filesystem::path NetlistsDir() { return std::filesystem::path(ORCADX_NETLISTS_DIR); }
// Reference documents, such as the printed schematic of a sample design.
inline std::filesystem::path ReferenceDir() { return std::filesystem::path(ORCADX_REFERENCE_DIR); }

// Every file below the corpus whose extension (any case) is one of `exts` (".dsn", ".olb", ...),
// sorted by path.
std::vector<std::filesystem::path> CorpusFiles(const std::vector<std::string>& exts);

// The sample files of one extension (".olb", ".dsn", any case), by path below the corpus; one
// empty name when there are none, which the test skips.
std::vector<std::string> SampleFiles(const std::string& extension);
// A test's name from its index and its sample file's path.
std::string SampleTestName(const ::testing::TestParamInfo<std::string>& info);

// A fresh, empty folder for one test, below the build tree.
std::filesystem::path ScratchDir(const std::string& name);

}  // namespace orcadx::test

#define ORCADX_REQUIRE_CORPUS()                                                          \
    do {                                                                                 \
        if (!::orcadx::test::HaveCorpus())                                               \
            GTEST_SKIP() << "sample files not found at " << ::orcadx::test::CorpusDir(); \
    } while (0)

#define ORCADX_REQUIRE_NETLISTS()                                                                     \
    do {                                                                                              \
        if (!std::filesystem::is_directory(::orcadx::test::NetlistsDir()))                            \
            GTEST_SKIP() << "designs with netlists not found at " << ::orcadx::test::NetlistsDir(); \
    } while (0)
