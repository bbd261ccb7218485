// The text dump of whole files against expected texts, and its stability across a save.
//
// The expected texts in tests/data/dump were written by the dump and then checked by hand:
// - 0002.OLB.txt against Capture's own XML export beside the library (0002.xml): package name
//   "0002", reference prefix "U", empty footprint, one part of package "0002" without part pins,
//   one view with the suffix ".Normal", no symbols, an empty cache.
// - DIODE_CAP_CALC.DSN.txt against the text in the raw bytes of the file's "Cache" stream
//   (extracted with olefile): the parts C, Dbreak, LED, VAC and VSIN with their ".Normal" views
//   and their libraries (ANALOG.OLB, BREAKOUT.OLB, LED.OLB, SOURCE.OLB), the symbols TitleBlock0,
//   IMARKER and 0 from CAPSYM.OLB and MARKER.ETC, and two-pin parts.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/AsciiDump.h"
#include "dbo/AsciiWriter.h"
#include "dbo/DboDesign.h"

using namespace orcadx;
using namespace orcadx::dbo;
namespace fs = std::filesystem;

namespace {

std::string Dump(const fs::path& file) {
    TDboDesign design(file.string(), nullptr, 0, nullptr);
    EXPECT_TRUE(design.Load(false)) << file;
    std::ostringstream out;
    TAsciiWriter writer(out);
    WriteDesignAscii(design, file.string(), writer);
    return out.str();
}

std::string Slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

}  // namespace

TEST(DumpFiles, MatchTheTextsCheckedByHand) {
    ORCADX_REQUIRE_CORPUS();
    fs::path data = fs::path(ORCADX_SOURCE_DIR) / "tests" / "data" / "dump";
    EXPECT_EQ(Dump(test::CorpusDir() / "OpenOrCadParser_testcases" / "0002.OLB"), Slurp(data / "0002.OLB.txt"));
    EXPECT_EQ(Dump(test::CorpusDir() / "kiki30501_Orcad-Projects" / "Diode_cap_calc" / "DIODE_CAP_CALC.DSN"),
              Slurp(data / "DIODE_CAP_CALC.DSN.txt"));
}

TEST(DumpFiles, EverySampleFileDumpsToItsEnd) {
    ORCADX_REQUIRE_CORPUS();
    for (const auto& f : test::CorpusFiles({".dsn", ".olb", ".obk"})) {
        SCOPED_TRACE(f.string());
        std::string text;
        ASSERT_NO_THROW(text = Dump(f));
        // The last block is the cache, closed.
        EXPECT_EQ(text.substr(text.size() - 16), "</design_cache>\n");
    }
}

TEST(DumpFiles, ALibrarySavedAndLoadedAgainDumpsTheSame) {
    ORCADX_REQUIRE_CORPUS();
    auto dir = test::ScratchDir("dump-roundtrip");
    for (const char* rel : {"OpenOrCadParser_testcases/0002.OLB", "PassiveFilter.olb", "capsym.olb",
                            "BerZerKku_ORCAD_lib/TITLE.OLB"}) {
        SCOPED_TRACE(rel);
        fs::path src = test::CorpusDir() / rel;
        std::string before = Dump(src);
        TDboDesign design(src.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(design.Load(false));
        design.FileName = (dir / fs::path(rel).filename()).string();
        design.Version = test::kV1_2;  // records with properties are written without size headers
        design.Save();
        EXPECT_EQ(Dump(design.FileName), before);
    }
}
