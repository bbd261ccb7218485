// Running orcadx as a user does, for the command-line tests.
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "TestSupport.h"

namespace orcadx::test {

namespace fs = std::filesystem;

struct Result {
    int code = -1;
    std::string out;
    std::string err;
};

inline std::string Slurp(const fs::path& p) {
    std::ifstream in(p);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Runs orcadx with the arguments (and environment settings in front of the program); stdout and
// stderr are captured.
inline Result RunOrcadx(const std::string& args, const std::string& env = "") {
    // One folder per test: CTest runs tests of this program side by side, and each would clear a
    // shared folder under the others.
    static const fs::path dir =
        test::ScratchDir(std::string("cli-stderr-") + testing::UnitTest::GetInstance()->current_test_info()->name());
    static int runs = 0;
    fs::path errFile = dir / ("stderr-" + std::to_string(++runs) + ".txt");
    std::string cmd = env + " " + std::string(ORCADX_BINARY_DIR) + "/bin/orcadx " + args + " 2>" + errFile.string();
    Result r;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return r;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
    int status = pclose(p);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.err = Slurp(errFile);
    return r;
}

inline std::string Quote(const fs::path& p) { return "'" + p.string() + "'"; }

}  // namespace orcadx::test
