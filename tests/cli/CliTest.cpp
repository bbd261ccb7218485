// The command line as a user runs it: the program, its plug-in loaded with dlopen, exit codes and
// what it prints.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <sys/wait.h>

#include "TestSupport.h"
#include "dbo/DboDesign.h"

using namespace orcadx;
namespace fs = std::filesystem;

namespace {

struct Result {
    int code = -1;
    std::string out;
};

// Runs orcadx with the arguments; stdout is captured, stderr goes to a file next to it.
Result RunOrcadx(const std::string& args, const fs::path& errFile = "/dev/null") {
    std::string cmd = std::string(ORCADX_BINARY_DIR) + "/bin/orcadx " + args + " 2>" + errFile.string();
    Result r;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return r;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
    int status = pclose(p);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

std::string Quote(const fs::path& p) { return "'" + p.string() + "'"; }

std::string Slurp(const fs::path& p) {
    std::ifstream in(p);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

}  // namespace

TEST(CommandLine, ValidateGivesTheVerdictForEverySampleFile) {
    ORCADX_REQUIRE_CORPUS();
    auto files = test::CorpusFiles({".dsn", ".olb"});
    ASSERT_FALSE(files.empty());
    std::string args = "validate";
    for (const auto& f : files) args += " " + Quote(f);
    Result r = RunOrcadx(args);
    EXPECT_EQ(r.code, 0) << r.out;
    std::istringstream lines(r.out);
    std::string line;
    size_t n = 0;
    while (std::getline(lines, line)) {
        ++n;
        EXPECT_NE(line.find(": valid ("), std::string::npos) << line;
        EXPECT_NE(line.find("version 0x000"), std::string::npos) << line;
    }
    EXPECT_EQ(n, files.size());
}

TEST(CommandLine, ValidateSaysWhyAFileIsNotValid) {
    auto dir = test::ScratchDir("cli-validate");
    std::ofstream(dir / "notes.DSN") << "just text\n";
    {
        dbo::TDboDesign future((dir / "future.OLB").string(), nullptr, 0, nullptr);
        future.Version = 0x00040004;
        future.Save();
    }
    Result r = RunOrcadx("validate " + Quote(dir / "notes.DSN") + " " + Quote(dir / "future.OLB") + " " +
                   Quote(dir / "missing.DSN") + " " + Quote(dir / "notes.txt"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("notes.DSN: not valid: Error opening storage"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("future.OLB: not valid: unknown version 0x00040004, identifier \"OrCAD Windows Library\""),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("missing.DSN: not valid: file not found"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("notes.txt: not valid: file not found"), std::string::npos) << r.out;
    // A valid file among invalid ones still fails the run; alone it passes.
    if (test::HaveCorpus()) {
        EXPECT_EQ(RunOrcadx("validate " + Quote(test::CorpusDir() / "capsym.olb")).code, 0);
        EXPECT_EQ(RunOrcadx("validate " + Quote(test::CorpusDir() / "capsym.olb") + " " + Quote(dir / "notes.DSN")).code, 1);
    }
}

TEST(CommandLine, InfoShowsHeaderLibraryAndPages) {
    ORCADX_REQUIRE_CORPUS();
    Result r = RunOrcadx("info --pages " + Quote(test::CorpusDir() / "BEAGLEBONEBLK_C3.DSN"));
    ASSERT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("Identifier:  \"OrCAD Windows Design\" (design)"), std::string::npos);
    EXPECT_NE(r.out.find("Version:     0x00020003"), std::string::npos);
    EXPECT_NE(r.out.find("Strings:     "), std::string::npos);
    EXPECT_NE(r.out.find("  [0] \"\""), std::string::npos);
    // The published schematic of this board has eleven pages; its title page has only the title
    // block, and the DDR3 page draws its data lines as buses.
    EXPECT_NE(r.out.find("BeagleBoneBlack: 11 page(s)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("P01_Title Page [15.20 x 9.70 in]: wires 0, buses 0, parts 0"), std::string::npos);
    EXPECT_NE(r.out.find("P07_DDR3 Memory [15.20 x 9.70 in]"), std::string::npos);
    // The stream tree with sizes.
    EXPECT_NE(r.out.find("Streams:\n"), std::string::npos);
    EXPECT_NE(r.out.find("  Views/\n    BeagleBoneBlack/\n"), std::string::npos) << r.out;

    Result lib = RunOrcadx("info --no-tree " + Quote(test::CorpusDir() / "capsym.olb"));
    ASSERT_EQ(lib.code, 0);
    EXPECT_NE(lib.out.find("(library)"), std::string::npos);
    EXPECT_NE(lib.out.find("Symbols:     37"), std::string::npos);
    EXPECT_NE(lib.out.find("  GND (power, 1 pin(s)"), std::string::npos) << lib.out;
    EXPECT_EQ(lib.out.find("Streams:"), std::string::npos);
}

TEST(CommandLine, InfoOnAFileThatIsNotCaptureFails) {
    auto dir = test::ScratchDir("cli-info");
    std::ofstream(dir / "x.DSN") << "text";
    Result r = RunOrcadx("info " + Quote(dir / "x.DSN"), dir / "err.txt");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(Slurp(dir / "err.txt").find("error: Error opening storage"), std::string::npos);
    EXPECT_NE(RunOrcadx("").code, 0);  // a subcommand is required
}
