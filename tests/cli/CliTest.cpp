// The command line as a user runs it: the program, its plug-in loaded with dlopen, exit codes and
// what it prints.
#include <gtest/gtest.h>

#include <fstream>
#include <tuple>
#include <sstream>

#include "CliRun.h"
#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboLib.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "host/HostApplication.h"
#include "pspice/PSpiceProfileImport.h"

using namespace orcadx;
using namespace orcadx::test;
namespace fs = std::filesystem;

namespace {

// Runs orcadx with `args`: the exit code must be `code` and standard error must hold `error`.
Result ExpectRun(const std::string& args, int code, const std::string& error) {
    SCOPED_TRACE(args);
    Result r = RunOrcadx(args);
    EXPECT_EQ(r.code, code) << r.err;
    EXPECT_NE(r.err.find(error), std::string::npos) << r.err;
    return r;
}

// A run of orcadx with the exit code it must end with and parts of what it must print.
struct RunCase {
    std::string args;
    int code;
    std::string out, err;  // parts of stdout and stderr
};

void ExpectRuns(const std::vector<RunCase>& cases) {
    for (const RunCase& c : cases) {
        SCOPED_TRACE(c.args);
        Result r = RunOrcadx(c.args);
        EXPECT_EQ(r.code, c.code) << r.out << r.err;
        EXPECT_NE(r.out.find(c.out), std::string::npos) << r.out;
        EXPECT_NE(r.err.find(c.err), std::string::npos) << r.err;
    }
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
    EXPECT_NE(r.out.find("missing.DSN: not valid: the file does not exist"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("notes.txt: not valid: the file does not exist"), std::string::npos) << r.out;
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
    Result r = RunOrcadx("info " + Quote(dir / "x.DSN"));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("error: Error opening storage"), std::string::npos);
    EXPECT_NE(RunOrcadx("").code, 0);  // a subcommand is required
}

// Each subcommand on a valid file, a file that isn't what it should be, a missing file and a bad
// option: 0 when the job is done, 1 when it failed, 2 for a mistake on the command line; the
// message says what went wrong.
TEST(CommandLine, ExitCodesAndMessagesOfEverySubcommand) {
    auto dir = test::ScratchDir("cli-exit-codes");
    const fs::path examples = fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator";
    const std::string design = Quote(examples / "P1_Olteanu_Rares.dsn");
    const std::string library = Quote(examples / "Libs" / "BC846B.OLB");
    std::ofstream(dir / "notes.DSN") << "just text\n";
    std::ofstream(dir / "notes.OLB") << "just text\n";
    std::ofstream(dir / "Sheet.SchDoc") << R"({"document":{"kind":31},"format":"VantorSchDoc","version":1})";
    std::ofstream(dir / "Broken.SchDoc") << "{ not json";
    std::ofstream(dir / "Empty.opj") << "(ExpressProject \"Empty\"\n  (ProjectVersion \"19981106\"))\n";
    std::ofstream(dir / "Broken.opj") << "garbage";
    const std::string notes = Quote(dir / "notes.DSN"), missing = Quote(dir / "missing.DSN");
    const std::string missingPath = (dir / "missing.DSN").string();

    const std::vector<RunCase> cases = {
        {"validate " + design + " " + library, 0, "BC846B.OLB: valid (library, version 0x00020003)", ""},
        {"validate " + notes, 1, "notes.DSN: not valid: Error opening storage", ""},
        {"validate " + missing, 1, "missing.DSN: not valid: the file does not exist", ""},
        {"validate --pages " + design, 2, "", "The following argument was not expected: --pages"},
        {"validate", 2, "", "files is required"},

        {"info --no-tree " + library, 0, "Identifier:  \"OrCAD Windows Library\" (library)", ""},
        {"info " + notes, 1, "", "error: Error opening storage"},
        {"info " + missing, 1, "", "error: " + missingPath + " does not exist"},
        {"info --strings=many " + design, 2, "", "--strings"},

        {"dump " + library, 0, "<comp_name>QBC846B</comp_name>", ""},
        {"dump " + notes, 1, "", "error: Error opening storage"},
        {"dump " + missing, 1, "", "error: " + missingPath + " does not exist"},
        {"dump --bogus " + library, 2, "", "The following argument was not expected: --bogus"},

        // The real plug-in refuses what isn't a Capture file; the extension decides design or library.
        {"import " + notes + " -o " + Quote(dir / "out1"), 1, "", "is not a valid Capture design"},
        {"import " + Quote(dir / "notes.OLB") + " -o " + Quote(dir / "out2"), 1, "", "is not a valid Capture library"},
        {"import " + missing + " -o " + Quote(dir / "out3"), 1, "", "error: " + missingPath + " does not exist"},
        {"import " + Quote(dir / "Sheet.SchDoc") + " -o " + Quote(dir / "out4"), 2, "", "the name must end in .DSN or .OLB"},
        {"import " + design, 2, "", "--output is required"},
        {"import " + design + " -o " + Quote(dir / "out5") + " --scale=big", 2, "", "--scale"},

        {"render " + Quote(dir / "Sheet.SchDoc") + " -o " + Quote(dir / "Sheet.svg"), 0, "Sheet.svg", ""},
        {"render " + Quote(dir / "Broken.SchDoc") + " -o " + Quote(dir / "Broken.svg"), 1, "",
         "error: Cannot open document"},
        {"render " + Quote(dir / "Missing.SchDoc") + " -o " + Quote(dir / "x.svg"), 1, "",
         "error: " + (dir / "Missing.SchDoc").string() + " does not exist"},
        {"render " + Quote(dir / "Sheet.SchDoc"), 2, "", "--output is required"},

        {"sim " + Quote(dir / "Empty.opj"), 0, "* No simulation profiles in", ""},
        {"sim " + Quote(dir / "Broken.opj"), 1, "", "error: Failed to load Orcad Project file"},
        {"sim " + Quote(dir / "missing.opj"), 1, "", "error: " + (dir / "missing.opj").string() + " does not exist"},
        {"sim " + Quote(dir / "Sheet.SchDoc"), 2, "", "is no OrCAD project (.opj), PSpice profile (.sim) or host project (.VsProj)"},
        {"sim --bogus " + Quote(dir / "Empty.opj"), 2, "", "The following argument was not expected: --bogus"},

        {"", 2, "", "A subcommand is required"},
        {"convert " + design, 2, "", "error: unknown subcommand \"convert\""},
        {"--version", 0, "orcadx 0.1", ""},
        {"--bogus info " + design, 2, "", "--bogus"},
    };
    ExpectRuns(cases);
    EXPECT_TRUE(fs::is_regular_file(dir / "Sheet.svg"));
}

// The global flags stand anywhere on the line: in front of the subcommand, behind it, behind its
// arguments.
TEST(CommandLine, GlobalFlagsAnywhereOnTheLine) {
    auto dir = test::ScratchDir("cli-global-flags");
    const std::string library =
        Quote(fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator" / "Libs" / "BC846B.OLB");
    // Without -q, progress goes to stderr (not a terminal here: plain lines); with it, nothing.
    Result loud = RunOrcadx("info --no-tree " + library);
    ASSERT_EQ(loud.code, 0) << loud.err;
    EXPECT_NE(loud.err.find("Parsing Library Content"), std::string::npos) << loud.err;
    for (const std::string& args : {"-q info --no-tree " + library, "info -q --no-tree " + library,
                                    "info --no-tree " + library + " -q", "info " + library + " --quiet --no-tree"}) {
        SCOPED_TRACE(args);
        Result r = RunOrcadx(args);
        EXPECT_EQ(r.code, 0) << r.err;
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.out, loud.out);
    }
    // --log FILE behind the arguments writes the log; -v behind them prints it even when it holds
    // only information.
    Result logged = RunOrcadx("dump " + library + " -o " + Quote(dir / "dump.txt") + " --log " + Quote(dir / "log.txt") +
                              " -q");
    EXPECT_EQ(logged.code, 0) << logged.err;
    EXPECT_TRUE(fs::exists(dir / "log.txt"));
    EXPECT_NE(Slurp(dir / "dump.txt").find("<comp_name>QBC846B</comp_name>"), std::string::npos);
}

// What the command line makes of an import's log, with a plug-in whose import logs a message of
// the severity asked for: an error fails the run (exit 1) and is printed; a warning is printed and
// the run succeeds; information is printed only with -v.
TEST(CommandLine, ImportExitCodeFollowsTheLog) {
    auto dir = test::ScratchDir("cli-import-log");
    const std::string library =
        Quote(fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator" / "Libs" / "BC846B.OLB");
    const std::string design = Quote(fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator" / "P1_Olteanu_Rares.dsn");
    const std::string plugin = std::string("ORCADX_TRANSLATOR=") + ORCADX_FAKE_TRANSLATOR;
    struct Case {
        std::string mode, file;
        std::string flags;
        int code;
        bool printed;
    };
    const std::vector<Case> cases = {
        {"error", library, "-q", 1, true},   {"error", design, "", 1, true},    {"warning", library, "-q", 0, true},
        {"info", design, "-q", 0, false},    {"info", library, "-q -v", 0, true},
    };
    int n = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mode + " " + c.file + " " + c.flags);
        Result r = RunOrcadx("import " + c.file + " -o " + Quote(dir / std::to_string(++n)) + " " + c.flags,
                             plugin + " ORCADX_FAKE_IMPORT=" + c.mode);
        EXPECT_EQ(r.code, c.code) << r.err;
        EXPECT_EQ(r.err.find("Fake import of ") != std::string::npos, c.printed) << r.err;
        if (c.printed) {
            EXPECT_NE(r.err.find(": " + c.mode), std::string::npos) << r.err;
        }
        EXPECT_TRUE(fs::is_directory(dir / std::to_string(n)));
    }
}

TEST(SimCommand, PrintsAProfileAsSpiceTextWithItsChecks) {
    fs::path dir = test::ScratchDir("sim-command");
    std::ofstream(dir / "dc.SIM")
        << "@OrCAD Simulation Server Version: 1.0\n@General:\nProfileName= \"dc\"\n@End General\n"
           "@Analysis: 2 1\n+1 0\n+0 \"V1\"\n+1 \"\"\n+2 \"\"\n+3 \"\"\n+4 \"0\"\n+5 \"5\"\n+6 \"0.5\"\n+7 \"\"\n"
           "@End Analysis\n";
    Result r = RunOrcadx("sim " + Quote(dir / "dc.SIM") + " --parameters");
    EXPECT_EQ(r.code, 1) << r.out << r.err;  // the octave sweep the host can't do is an error of the log
    EXPECT_NE(r.err.find("Primary DC sweep type of \"octave\" not possible in Vantor Studio - \"dc\""), std::string::npos)
        << r.err;
    EXPECT_NE(r.out.find("* Profile \"dc\" - " + (dir / "dc.SIM").string() + "\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\n*Selected Circuit Analyses:\n.DC V1 0 5 0.5\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("errors: 1\n*   Error: Invalid PRIMARY SOURCE specified in DC Transfer\n"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("* Settings: Record=QsolveNetlistView|"), std::string::npos) << r.out;

    std::ofstream(dir / "bad.sim") << "@OrCAD Simulation Server Version: 2.0\n";
    r = ExpectRun("sim " + Quote(dir / "bad.sim"), 1, "Unrecognised simulation profile file version - ");
    r = RunOrcadx("sim " + Quote(dir / "dc.txt"));
    EXPECT_EQ(r.code, 2);
}

TEST(SimCommand, PrintsEveryProfileOfASampleProject) {
    ORCADX_REQUIRE_CORPUS();
    fs::path opj = test::CorpusDir() / "kiki30501_Orcad-Projects" / "lab10comm" / "lab10comm.opj";
    Result r = RunOrcadx("sim " + Quote(opj));
    EXPECT_EQ(r.code, 0) << r.err;
    size_t profiles = 0;
    for (size_t at = r.out.find("* Profile "); at != std::string::npos; at = r.out.find("* Profile ", at + 1)) ++profiles;
    EXPECT_EQ(profiles, 5u) << r.out;
    EXPECT_NE(r.out.find("* Profile \"hehehehe\" (active) - "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\n.AC LIN 40 350 1000\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\n.CONTROL\nSWEEP freqtest 380 1500 300\n.ENDC\n"), std::string::npos) << r.out;

    r = RunOrcadx("sim " + Quote(test::CorpusDir() / "onyxpsu" / "OnyxPSU.opj"));
    EXPECT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("* No simulation profiles in "), std::string::npos) << r.out;
}

// The profiles that an import stored in a host project print back, the global parameters with them.
TEST(SimCommand, PrintsTheProfilesStoredInAHostProject) {
    fs::path dir = test::ScratchDir("sim-command-vsproj");
    std::ofstream(dir / "tran.sim") << "@OrCAD Simulation Server Version: 1.0\n@General:\nProfileName= \"tran\"\n"
                                       "@End General\n@Analysis: 0 1\n+0 0 0 0\n+0 \"2ms\"\n+1 \"\"\n+2 \"0\"\n+3 \"10u\"\n"
                                       "+4 \"\"\n+5 \"\"\n+6 \"\"\n@End Analysis\n";
    std::ofstream(dir / "Design.opj") << "(ExpressProject \"Design\" (Folder \"PSpice Resources\" (Folder \"Simulation "
                                         "Profiles\" (File.PSpice.{09528990-3187-11D2-BC7B-00A0C90CBF91} \"missing.sim\") "
                                         "(File.PSpice.{09528990-3187-11D2-BC7B-00A0C90CBF91} \"tran.sim\") "
                                         "(ActiveProfile \"tran.sim\"))))\n";
    {
        host::HostApplication app;
        host::IProject* project = app.CreateProject((dir / "Design.VsProj").string());
        app.CreateProject((dir / "Empty.VsProj").string());
        pspice::TPSpiceSimulationProfileImportManager manager((dir / "Design.DSN").string(), project, nullptr, 10, nullptr);
        manager.AddGlobalParameter("freq", "1k");
        manager.RunImport();
    }
    Result r = RunOrcadx("sim " + Quote(dir / "Design.VsProj"));
    EXPECT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("* Profile \"tran\" (active) - " + (dir / "Design.VsProj").string() + ", profile 1 ("),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("\n.TRAN 1E-5 0.002 0 1E-5\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\n.PARAM freq=1k\n"), std::string::npos) << r.out;
    r = RunOrcadx("sim " + Quote(dir / "Empty.VsProj"));
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("* No simulation profiles in "), std::string::npos) << r.out;
    std::ofstream(dir / "Broken.VsProj") << "{";
    r = ExpectRun("sim " + Quote(dir / "Broken.VsProj"), 1,
                  "Cannot read the project file " + (dir / "Broken.VsProj").string());
}

namespace {

// A schematic library of one component: a body, one pin, a designator "R?" and an alias.
const char kLibrary[] = R"({
	"document": { "kind": 33, "props": {}, "children": [
		{ "kind": 26, "props": { "LibReference": "RES/1", "PartCount": 1, "Aliases": ["R.ALT"] }, "children": [
			{ "kind": 28, "props": { "Name": "Designator", "Text": "R?" } },
			{ "kind": 4, "props": { "Location": [0, -4000000], "Corner": [10000000, 0], "OwnerPartId": 1 } },
			{ "kind": 37, "props": { "Name": "A", "Designator": "1", "Location": [0, -2000000], "Orientation": 2,
			                         "PinLength": 3000000, "OwnerPartId": 1, "ShowName": true, "ShowDesignator": true } }
		] }
	] },
	"fonts": [],
	"format": "VantorSchLib",
	"version": 1
}
)";

}  // namespace

TEST(CommandLine, ExportWritesACaptureLibrary) {
    auto dir = test::ScratchDir("cli-export");
    std::ofstream(dir / "Parts.SchLib") << kLibrary;
    auto r = RunOrcadx("export " + Quote(dir / "Parts.SchLib") + " -o " + Quote(dir / "Parts.OLB"));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "ExportedComponentCount=1 | LibReference_0=RES_1\n");
    const std::string& log = r.err;
    EXPECT_NE(log.find("Exporting Library - Parts.SchLib"), std::string::npos) << log;
    EXPECT_NE(log.find("Parts.OLB: 1 component(s) and symbol(s)"), std::string::npos) << log;

    dbo::TDboDesign loaded((dir / "Parts.OLB").string(), nullptr, 0, nullptr);
    ASSERT_TRUE(loaded.Load(false));
    EXPECT_TRUE(loaded.Lib->IsLibrary());
    EXPECT_EQ(loaded.Version, 0x00010001u);  // Capture 7.1 when no version is asked for
    ASSERT_EQ(loaded.ComponentCount(), 1);
    const dbo::TDboLibComponent& c = *loaded.GetComponent(0);
    EXPECT_EQ(c.PartInfo->CompName, "RES_1");
    EXPECT_EQ(c.PartInfo->CompRefName, "R");
    const dbo::TDboLibView& view = *c.Packages.GetPackages(0)->Views.GetViews(0);
    ASSERT_EQ(view.Pins->Count(), 1);
    EXPECT_EQ(view.Pins->GetPins(0)->EndX, -30);
    ASSERT_EQ(loaded.Lib->Aliases.Count(), 1);
    EXPECT_EQ(loaded.Lib->Aliases.GetAliases(0)->AliasName, "R.ALT");

    // Another version on request.
    r = RunOrcadx("export " + Quote(dir / "Parts.SchLib") + " -o " + Quote(dir / "New.olb") + " --version 131075");
    ASSERT_EQ(r.code, 0) << r.err;
    dbo::TDboDesign headered((dir / "New.olb").string(), nullptr, 0, nullptr);
    ASSERT_TRUE(headered.Load(false));
    EXPECT_EQ(headered.Version, 0x00020003u);
}

TEST(CommandLine, ExportFailuresSayWhatIsWrong) {
    auto dir = test::ScratchDir("cli-export-fail");
    std::ofstream(dir / "Parts.SchLib") << kLibrary;
    // A version Capture doesn't know.
    auto r = ExpectRun("export " + Quote(dir / "Parts.SchLib") + " -o " + Quote(dir / "x.OLB") + " --version 7", 1,
                       "Orcad Version is incorrect.");
    EXPECT_FALSE(fs::exists(dir / "x.OLB"));
    // The output must be a library name, the input a schematic library that exists.
    r = ExpectRun("export " + Quote(dir / "Parts.SchLib") + " -o " + Quote(dir / "x.DSN"), 2,
                  "the name must end in .OLB");
    EXPECT_EQ(RunOrcadx("export " + Quote(dir / "Parts.txt") + " -o " + Quote(dir / "x.OLB")).code, 2);
    r = ExpectRun("export " + Quote(dir / "missing.SchLib") + " -o " + Quote(dir / "x.OLB"), 1, "does not exist");
    // A file that isn't a library document.
    std::ofstream(dir / "Broken.SchLib") << "{ not json";
    r = ExpectRun("export " + Quote(dir / "Broken.SchLib") + " -o " + Quote(dir / "x.OLB"), 1, "error: ");
    EXPECT_FALSE(fs::exists(dir / "x.OLB"));
    // A folder that can't take the file: the error box's message reaches the log.
    r = ExpectRun("export " + Quote(dir / "Parts.SchLib") + " -o " + Quote(dir / "no" / "such" / "x.OLB"), 1,
                  "error: Error: ");
}

// A project and a lone sheet made by importing one page of the sample design in examples/ become
// Capture designs that load, hold the page and the standard symbols, and are valid in version
// 0x00010001; a version whose pages can't be written fails without a file.
TEST(CommandLine, ExportOfAProjectAndOfASheet) {
    auto dir = test::ScratchDir("cli-export-design");
    const fs::path source = fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator";
    RunOrcadx("import " + Quote(source / "P1_Olteanu_Rares.dsn") + " --page FINAL -o " + Quote(dir / "in") + " -q");
    ASSERT_TRUE(fs::is_regular_file(dir / "in" / "FINAL.SchDoc"));
    const std::string project = Quote(dir / "in" / "P1_Olteanu_Rares.VsProj");
    const std::string sheet = Quote(dir / "in" / "FINAL.SchDoc");
    for (const auto& [input, title, output] :
         {std::tuple{project, "Exporting Project - P1_Olteanu_Rares.VsProj", dir / "Project.DSN"},
          std::tuple{sheet, "Exporting Sheet - FINAL.SchDoc", dir / "Sheet.DSN"}}) {
        SCOPED_TRACE(input);
        Result r = RunOrcadx("export " + input + " -o " + Quote(output));
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_NE(r.err.find(title), std::string::npos) << r.err;
        EXPECT_NE(r.err.find(output.filename().string() + ": 1 page(s), "), std::string::npos) << r.err;
        r = RunOrcadx("validate " + Quote(output));
        EXPECT_EQ(r.code, 0);
        EXPECT_NE(r.out.find("valid (design, version 0x00010001)"), std::string::npos) << r.out;
        dbo::TDboDesign loaded(output.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(loaded.Load(false));
        ASSERT_EQ(loaded.ViewCount(), 1);
        EXPECT_EQ(loaded.GetViews(0)->ViewName, "FINAL.SchDoc");
        EXPECT_EQ(loaded.Lib->RootViewName, "FINAL.SchDoc");
        EXPECT_GE(loaded.SymbolCount(), 17);
    }
    // Other versions for a project, also one with size headers.
    Result r = RunOrcadx("export " + project + " -o " + Quote(dir / "New.DSN") + " --version 65538");
    EXPECT_EQ(r.code, 0) << r.err;
    r = RunOrcadx("export " + project + " -o " + Quote(dir / "Headered.DSN") + " --version 131075");
    EXPECT_EQ(r.code, 0) << r.err;
    r = RunOrcadx("validate " + Quote(dir / "Headered.DSN"));
    EXPECT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("valid (design, version 0x00020003)"), std::string::npos) << r.out;
    // A sheet goes the host's way, in version 65537 only; a design is written to .DSN.
    r = ExpectRun("export " + sheet + " -o " + Quote(dir / "x.DSN") + " --version 65538", 2, "--version");
    r = ExpectRun("export " + project + " -o " + Quote(dir / "x.OLB"), 2, "the name must end in .DSN");
    std::ofstream(dir / "Broken.VsProj") << "{ not json";
    r = ExpectRun("export " + Quote(dir / "Broken.VsProj") + " -o " + Quote(dir / "x.DSN"), 1, "as a project");
    EXPECT_FALSE(fs::exists(dir / "x.DSN"));
}

// One page of the sample design in examples/: its sheet lands in the output folder; a page the
// design doesn't have, or --page on a library, fails with the reason.
TEST(CommandLine, ImportOfOnePage) {
    auto dir = test::ScratchDir("cli-import-page");
    const fs::path source = fs::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator";
    const std::string design = Quote(source / "P1_Olteanu_Rares.dsn");
    // The pages' parts name PSpice models that no library of the sample holds, and one part has a
    // PSpice template that names pins its symbol lacks: those errors make the exit code 1, and the
    // sheet is made all the same.
    auto onlyPSpiceErrors = [](const Result& r) {
        std::istringstream lines(r.err);
        int errors = 0;
        for (std::string line; std::getline(lines, line);)
            if (line.find("error: ") != std::string::npos) {
                ++errors;
                if (line.find("PSpice model not found") == std::string::npos &&
                    line.find("Could not map PSpice template pin") == std::string::npos)
                    return false;
            }
        return r.code == (errors > 0 ? 1 : 0);
    };
    Result r = RunOrcadx("import " + design + " --page SCHEMATIC2/VREF_TEST -o " + Quote(dir / "one") + " -q");
    EXPECT_TRUE(onlyPSpiceErrors(r)) << r.code << r.err;
    EXPECT_NE(r.err.find("error: Could not map PSpice template pin \"C\" on component \"MLED81_1\""), std::string::npos);
    EXPECT_TRUE(fs::is_regular_file(dir / "one" / "VREF_TEST.SchDoc")) << r.err;
    EXPECT_TRUE(fs::is_regular_file(dir / "one" / "P1_Olteanu_Rares_Library.SchLib")) << r.err;
    std::string sheet = Slurp(dir / "one" / "VREF_TEST.SchDoc");
    EXPECT_NE(sheet.find("\"VantorSchDoc\""), std::string::npos);
    // A page name alone, when one view has it.
    r = RunOrcadx("import " + design + " --page FINAL -o " + Quote(dir / "two") + " -q");
    EXPECT_TRUE(onlyPSpiceErrors(r)) << r.code << r.err;
    EXPECT_TRUE(fs::is_regular_file(dir / "two" / "FINAL.SchDoc"));
    r = ExpectRun("import " + design + " --page SCHEMATIC2/NOPAGE -o " + Quote(dir / "three") + " -q", 1,
                  "has no page SCHEMATIC2/NOPAGE");
    r = ExpectRun("import " + Quote(source / "Libs" / "BC846B.OLB") + " --page X -o " + Quote(dir / "four") + " -q", 2,
                  "--page needs a design");
}

namespace {

// A host project of one sheet, written as the host's files: R1 and R2 (10k, R0603) joined at pin 1
// by a wire labelled SIG, R1.2 on a GND power object, R2.2 touching nothing. A second sheet names
// a document that is not in the project.
fs::path WriteSmallProject(const fs::path& dir, bool withMissingSheet) {
    auto part = [](const std::string& designator, int x) {
        std::string pins;
        for (int i = 0; i < 2; ++i)
            pins += std::string(i ? "," : "") + R"({"kind":37,"props":{"Designator":")" + std::to_string(i + 1) +
                    R"(","Name":"P","PinLength":0,"OwnerPartId":1,"Location":[)" + std::to_string(x) + "," +
                    std::to_string(-1000000 * i) + "]}}";
        return R"({"kind":26,"props":{"LibReference":"RES","CurrentPartId":1,"PartCount":1,"Location":[)" +
               std::to_string(x) + R"(,0]},"children":[{"kind":28,"props":{"Text":")" + designator +
               R"("}},{"kind":27,"props":{"Name":"Comment","Text":"10k"}},{"kind":27,"props":{"Name":"PCB Footprint","Text":"R0603"}},)" +
               pins + "]}";
    };
    std::string sheet = R"({"document":{"kind":31,"props":{},"children":[)" + part("R1", 0) + "," + part("R2", 5000000) +
                        R"(,{"kind":19,"props":{"Vertices":[[0,0],[5000000,0]]}},)" +
                        R"({"kind":24,"props":{"Text":"SIG","Location":[2000000,0]}},)" +
                        R"({"kind":39,"props":{"Text":"GND","Location":[0,-1000000]}}]},"format":"VantorSchDoc","version":1})";
    std::ofstream(dir / "Main.SchDoc") << sheet;
    std::string documents = R"("Main.SchDoc")";
    if (withMissingSheet) {
        std::ofstream(dir / "Top.SchDoc")
            << R"({"document":{"kind":31,"props":{},"children":[{"kind":41,"props":{"Location":[0,0]},"children":[)"
            << R"({"kind":32,"props":{"Text":"BLK"}},{"kind":36,"props":{"Text":"Gone.SchDoc"}}]}]},"format":"VantorSchDoc","version":1})";
        documents += R"(,"Top.SchDoc")";
    }
    fs::path project = dir / (withMissingSheet ? "Broken.VsProj" : "Small.VsProj");
    std::ofstream(project) << R"({"documents":[)" << documents << R"(],"format":"VantorProject","version":1})";
    return project;
}

}  // namespace

TEST(NetlistCommand, WritesEveryFormatOfAProjectAndItsBillOfMaterials) {
    auto dir = test::ScratchDir("cli-netlist");
    const std::string project = Quote(WriteSmallProject(dir, false));
    std::ofstream(dir / "notes.txt") << "text\n";
    std::ofstream(dir / "notes.DSN") << "text\n";
    std::ofstream(dir / "bad.VsProj") << "{ not json";
    const std::vector<RunCase> cases = {
        {"netlist " + project + " --format json", 0, "\"name\": \"SIG\"", ""},
        {"netlist " + project + " --format kicad", 0, "(net (code \"1\") (name \"GND\")", ""},
        {"netlist " + project + " --format kicad -o " + Quote(dir / "small.net"), 0, "", ""},
        {"netlist " + project + " -q -o " + Quote(dir / "allegro"), 0, "", ""},
        {"netlist " + project + " --format xml", 2, "", "--format"},
        {"netlist " + Quote(dir / "notes.txt"), 2, "", "the name must end in .DSN or .VsProj"},
        {"netlist " + Quote(dir / "missing.VsProj"), 1, "", "does not exist"},
        {"netlist " + Quote(dir / "bad.VsProj"), 1, "", "is not a project file"},
        {"netlist " + Quote(dir / "notes.DSN"), 1, "", "is not a valid Capture design"},
        {"netlist " + Quote(WriteSmallProject(dir, true)) + " --format json", 0, "\"name\": \"SIG\"",
         "warning: Sheet symbol BLK on Top.SchDoc names Gone.SchDoc, which is not a sheet of the project"},
        {"bom " + project, 0, "Item,Quantity,Reference,Value,Part,Footprint\r\n1,2,\"R1, R2\",10k,RES,R0603\r\n", ""},
        {"bom " + project + " --format json", 0, "\"designators\": [\n        \"R1\",\n        \"R2\"\n      ]", ""},
        {"bom " + project + " --format xls", 2, "", "--format"},
        {"bom", 2, "", "file is required"},
    };
    ExpectRuns(cases);
    EXPECT_EQ(Slurp(dir / "small.net").rfind("(export (version \"E\")", 0), 0u);
    std::string nets = Slurp(dir / "allegro" / "pstxnet.dat");
    EXPECT_NE(nets.find("NET_NAME\n'SIG'\n"), std::string::npos) << nets;
    EXPECT_NE(nets.find("'NC'\n 'NC':\n C_SIGNAL='NC';\nNODE_NAME\tR2 2\n"), std::string::npos) << nets;
    EXPECT_NE(Slurp(dir / "allegro" / "pstxprt.dat").find("PART_NAME\n R2 'RES_R0603_10K':;"), std::string::npos);
    EXPECT_NE(Slurp(dir / "allegro" / "pstchip.dat").find("primitive 'RES_R0603_10K';"), std::string::npos);
}
