// orcadx import and analyze on Capture libraries: the library and project made, a library under
// another extension, what an analysis lists, and the pictures of an imported library.
#include <gtest/gtest.h>

#include "CliRun.h"
#include "TestSupport.h"

using namespace orcadx::test;

TEST(LibraryCommands, ImportMakesTheLibraryAndAProjectListingIt) {
    auto dir = ScratchDir("cli-library-import");
    const fs::path examples = fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator" / "Libs";
    Result r = RunOrcadx("-q import " + Quote(examples / "BC846B.OLB") + " -o " + Quote(dir / "out"));
    ASSERT_EQ(r.code, 0) << r.err;
    ASSERT_TRUE(fs::is_regular_file(dir / "out" / "BC846B_Library.SchLib"));
    std::string project = Slurp(dir / "out" / "BC846B.VsProj");
    EXPECT_NE(project.find("\"BC846B_Library.SchLib\""), std::string::npos) << project;
    std::string library = Slurp(dir / "out" / "BC846B_Library.SchLib");
    EXPECT_NE(library.find("\"LibReference\": \"QBC846B\""), std::string::npos);
    EXPECT_EQ(library.find("Vantor-Right"), std::string::npos);

    // The library draws: one picture per component, with its three pins.
    r = RunOrcadx("render " + Quote(dir / "out" / "BC846B_Library.SchLib") + " -o " + Quote(dir / "svg"));
    ASSERT_EQ(r.code, 0) << r.err;
    std::string svg = Slurp(dir / "svg" / "QBC846B.svg");
    EXPECT_NE(svg.find("<polygon"), std::string::npos);
    EXPECT_GE(std::count(svg.begin(), svg.end(), '\n'), 8);
}

TEST(LibraryCommands, ALibraryBackupImportsUnderItsOwnNameAndSaysHow) {
    ORCADX_REQUIRE_CORPUS();
    auto dir = ScratchDir("cli-library-backup");
    const fs::path backup = CorpusDir() / "Series-Regulator" / "Libs" / "BC846B_9_0_0.OBK";
    Result r = RunOrcadx("-q import " + Quote(backup) + " -o " + Quote(dir));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.err.find("is a Capture library under another extension; it is read as BC846B_9_0_0.OLB"),
              std::string::npos)
        << r.err;
    std::string library = Slurp(dir / "BC846B_9_0_0_Library.SchLib");
    EXPECT_NE(library.find("\"LibReference\": \"QBC846B\""), std::string::npos);
    EXPECT_NE(Slurp(dir / "BC846B_9_0_0.VsProj").find("BC846B_9_0_0_Library.SchLib"), std::string::npos);

    // A file that is no library under that extension is refused like any other.
    std::ofstream(dir / "notes.OBK") << "text\n";
    r = RunOrcadx("-q import " + Quote(dir / "notes.OBK") + " -o " + Quote(dir / "x"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("is not a valid Capture library"), std::string::npos) << r.err;
}

TEST(LibraryCommands, AnalyzeListsDocumentsAndModels) {
    auto dir = ScratchDir("cli-analyze");
    const fs::path examples = fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator";
    Result r = RunOrcadx("-q analyze " + Quote(examples / "Libs" / "BC846B.OLB"));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "Documents:\n  BC846B_Library.SchLib\nModels:\n  QBC846B: model in " +
                         (examples / "Libs" / "BC846B.lib").string() + "\n");
    // The library folders come before the file's own; a model that is nowhere says so.
    r = RunOrcadx("-q analyze --lib-path " + Quote(dir) + " " + Quote(examples / "Libs" / "opto.olb"));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("  CNY17-1: not found\n"), std::string::npos) << r.out;
    std::ofstream(dir / "extra.lib") << ".SUBCKT cny17-1 1 2\n.ENDS\n";
    r = RunOrcadx("-q analyze " + Quote(examples / "Libs" / "opto.olb") + " --lib-path " + Quote(dir));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("  CNY17-1: subcircuit in " + (dir / "extra.lib").string() + "\n"), std::string::npos) << r.out;
    fs::remove(dir / "extra.lib");
    r = RunOrcadx("-q analyze " + Quote(examples / "P1_Olteanu_Rares.dsn"));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("Documents:\n  P1_Olteanu_Rares_Library.SchLib\n"), std::string::npos) << r.out;
    EXPECT_TRUE(fs::is_empty(dir));  // nothing made

    std::ofstream(dir / "notes.OLB") << "text\n";
    r = RunOrcadx("-q analyze " + Quote(dir / "notes.OLB"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("is not a valid Capture library"), std::string::npos);
    r = RunOrcadx("-q analyze " + Quote(dir / "notes.txt"));
    EXPECT_EQ(r.code, 1);  // does not exist
    std::ofstream(dir / "notes.txt") << "text\n";
    r = RunOrcadx("-q analyze " + Quote(dir / "notes.txt"));
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("the name must end in .DSN or .OLB"), std::string::npos);
}
