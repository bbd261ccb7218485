// orcadx import, analyze and render on whole designs: the project of the README's sample, the
// analysis of its pages, and the pictures of a project with sheet symbols linked to their sheets.
#include <gtest/gtest.h>

#include <regex>

#include "CliRun.h"
#include "TestSupport.h"

using namespace orcadx::test;

namespace {

// The values of one attribute over a text, in order.
std::vector<std::string> All(const std::string& text, const std::string& pattern) {
    std::vector<std::string> out;
    std::regex re(pattern);
    for (auto it = std::sregex_iterator(text.begin(), text.end(), re); it != std::sregex_iterator(); ++it)
        out.push_back((*it)[1].str());
    return out;
}

}  // namespace

TEST(DesignCommands, TheSampleDesignImportsRendersAndAnalyses) {
    auto dir = ScratchDir("cli-design-import");
    const fs::path design = fs::path(ORCADX_SOURCE_DIR) / "examples" / "CutiePi" / "CutiePi_V2.3-20210409.DSN";
    Result r = RunOrcadx("-q import " + Quote(design) + " -o " + Quote(dir / "out") + " --stats");
    ASSERT_EQ(r.code, 0) << r.err.substr(0, 2000);
    EXPECT_NE(r.out.find("SetIntegerValue Importers OrCAD.SCH.Project.Count.Files.SCH 3"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("SetBooleanValue Importers OrCAD.SCH.Success true"), std::string::npos) << r.out;
    const std::vector<std::string> pages = {"1 - CONTENTS.SchDoc", "2 - CM4,USB HUB,AUDIO,M.SchDoc",
                                            "3 - CSI, DSI, HDMI, MCU.SchDoc"};
    std::string project = Slurp(dir / "out" / "CutiePi_V2.3-20210409.VsProj");
    size_t at = 0;
    for (const auto& page : pages) {
        size_t found = project.find("\"" + page + "\"");
        ASSERT_NE(found, std::string::npos) << page << "\n" << project;
        EXPECT_GT(found, at) << page << " out of order";
        at = found;
        EXPECT_TRUE(fs::is_regular_file(dir / "out" / page));
    }

    // The analysis lists the same documents, in the file's order, and makes nothing.
    r = RunOrcadx("-q analyze " + Quote(design));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out.rfind("Documents:\n  CutiePi_V2.3-20210409_Library.SchLib\n  " + pages[2] + "\n  " + pages[0] +
                              "\n  " + pages[1] + "\n",
                          0),
              0u)
        << r.out;

    // The pictures: one per sheet, shown in page order.
    r = RunOrcadx("-q render " + Quote(dir / "out") + " -o " + Quote(dir / "html"));
    ASSERT_EQ(r.code, 0) << r.err;
    std::string index = Slurp(dir / "html" / "index.html");
    EXPECT_EQ(All(index, "<img src=\"([^\"]*)\""),
              (std::vector<std::string>{"1%20-%20CONTENTS.svg", "2%20-%20CM4%2CUSB%20HUB%2CAUDIO%2CM.svg",
                                        "3%20-%20CSI%2C%20DSI%2C%20HDMI%2C%20MCU.svg"}));
    EXPECT_NE(Slurp(dir / "html" / "1 - CONTENTS.svg").find("<svg"), std::string::npos);

    // A folder without a project says so.
    r = RunOrcadx("-q render " + Quote(dir / "html") + " -o " + Quote(dir / "again"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("holds 0 project files"), std::string::npos) << r.err;
}

TEST(DesignCommands, SheetSymbolsLinkToTheirSheets) {
    ORCADX_REQUIRE_CORPUS();
    auto dir = ScratchDir("cli-design-render");
    Result r = RunOrcadx("-q import " + Quote(CorpusDir() / "parallella-hw" / "aafm" / "HB1A-AAFM.DSN") + " -o " + Quote(dir / "out"));
    ASSERT_EQ(r.code, 0) << r.err.substr(0, 2000);
    r = RunOrcadx("-q render " + Quote(dir / "out") + " -o " + Quote(dir / "html"));
    ASSERT_EQ(r.code, 0) << r.err;
    std::string index = Slurp(dir / "html" / "index.html");
    auto ids = All(index, "<h2 id=\"([^\"]*)\"");
    auto links = All(index, "<a class=\"symbol\" href=\"#([^\"]*)\"");
    ASSERT_FALSE(links.empty());
    for (const auto& link : links) EXPECT_NE(std::find(ids.begin(), ids.end(), link), ids.end()) << link;
    EXPECT_EQ(index.find("which the project does not hold"), std::string::npos);
}
