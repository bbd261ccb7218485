// PSpice library files: reading, the index of definitions and the extraction of one model with the
// subcircuits it calls, on the traps of real library files.
#include <gtest/gtest.h>

#include "PSpiceTestSupport.h"
#include "TestSupport.h"
#include "pspice/PSpiceModelImport.h"

using namespace orcadx::pspice;
using orcadx::test::Lines;
using orcadx::test::ReadText;
using orcadx::test::WriteText;
namespace fs = std::filesystem;

namespace {

std::vector<std::string> Names(const TNameList& list) {
    std::vector<std::string> out;
    for (int i = 0; i < list.Count(); ++i) out.push_back(list[i]);
    return out;
}

TPSpiceModelFile IndexedFile(const fs::path& path, const std::string& text) {
    WriteText(path, text);
    TPSpiceModelFile file(path.string());
    file.GenerateModelList();
    return file;
}

}  // namespace

TEST(PSpiceLibraryText, LinesSplitTokensAndContinuationsJoin) {
    using F = TPSpiceModelFile;
    EXPECT_EQ(F::SplitLines("a\r\nb\nc\rd"), (TLines{"a", "b", "c", "d"}));
    EXPECT_EQ(F::SplitLines("a\n\n"), (TLines{"a", ""}));
    EXPECT_EQ(F::SplitLines("a\r\n"), (TLines{"a"}));
    EXPECT_TRUE(F::SplitLines("").empty());

    std::string line = ".MODEL DMOD(IS=1E-14)";
    EXPECT_EQ(F::ExtractToken(line), ".MODEL");
    EXPECT_EQ(F::ExtractToken(line), "DMOD");
    EXPECT_EQ(line, "(IS=1E-14)");
    line = "\t(, =name= ,\tnext";
    EXPECT_EQ(F::ExtractToken(line), "name");
    EXPECT_EQ(line, "next");
    line = "";
    EXPECT_EQ(F::ExtractToken(line), "");

    // A "+" line joins the line above with one blank, and so does a line that only looks like one
    // after trimming; its ";" comment goes. The comment of the line it continues stays, behind the
    // joined text, so that it doesn't swallow it; comment lines amid the continuations stay lines
    // of their own.
    TLines lines = {".MODEL D1 D(IS=1", "+ N=2 ; emission", "   +RS=3   ", "*+ RS=4", "+ BV=5",
                    "Gpcg C B TABLE  ;detector {gain}", "+ {6m*V(T)}", "+ (0,0) (10,10)", "; + not a continuation", "+"};
    F::JoinContinuationLines(lines);
    EXPECT_EQ(lines, (TLines{".MODEL D1 D(IS=1 N=2 RS=3 BV=5", "*+ RS=4",
                             "Gpcg C B TABLE {6m*V(T)} (0,0) (10,10) ;detector {gain}", "; + not a continuation"}));
    lines = {"* head", "+ joins the comment: there is no statement above"};
    F::JoinContinuationLines(lines);
    EXPECT_EQ(lines, (TLines{"* head joins the comment: there is no statement above"}));
    // The first line is never a continuation.
    lines = {"+ first", "+ second"};
    F::JoinContinuationLines(lines);
    EXPECT_EQ(lines, (TLines{"+ first second"}));

    // Runs of blanks shrink, except in the first line and in "*" lines; tabs stay.
    lines = {"first   line", "R1  a    b\t\t1k", "*  comment   kept", "  .model  x"};
    F::RemoveDuplSpaces(lines);
    EXPECT_EQ(lines, (TLines{"first   line", "R1 a b\t\t1k", "*  comment   kept", " .model x"}));
}

TEST(PSpiceLibraryFile, IndexHoldsOutermostDefinitionsInFileOrder) {
    auto dir = orcadx::test::ScratchDir("pspice-index");
    // Mixed case keywords, a tab after the name, nested blocks, a .MODEL inside a subcircuit,
    // .ENDS with and without a name, a keyword with a longer word, a name defined twice, Windows
    // line ends and a byte-order mark.
    TPSpiceModelFile file = IndexedFile(dir / "traps.lib",
                                        "\xEF\xBB\xBF.model Dmod D(IS=1e-14)\r\n"
                                        "* .SUBCKT in a comment at the top level counts for nothing\r\n"
                                        ".SUBCKT Outer\ta b\r\n"
                                        ".model Inner D\r\n"
                                        ".subckt Nested x y\r\n"
                                        ".ends Nested\r\n"
                                        "X1 a b Later\r\n"
                                        ".ENDS Outer\r\n"
                                        ".MODELX weird NPN\r\n"
                                        ".Subckt Later p q\r\n"
                                        "R1 p q 1k\r\n"
                                        ".ends\r\n"
                                        ".MODEL DMOD D(IS=2)\r\n");
    EXPECT_EQ(Names(file.Subckts), (std::vector<std::string>{"Outer", "Later"}));
    EXPECT_EQ(Names(file.Models), (std::vector<std::string>{"Dmod", "weird", "DMOD"}));
    TModelType kind{};
    ASSERT_TRUE(file.FindModel("LATER", kind));
    EXPECT_EQ(kind, eModelType_Subckt);
    ASSERT_TRUE(file.FindModel("dmod", kind));
    EXPECT_EQ(kind, eModeType_Model);
    EXPECT_FALSE(file.FindModel("Inner", kind));
    EXPECT_FALSE(file.FindModel("Nested", kind));
    EXPECT_FALSE(file.FindModel("SUBCKT", kind));

    // A second call doesn't read again; a missing file gives an empty index.
    fs::remove(dir / "traps.lib");
    file.GenerateModelList();
    EXPECT_EQ(file.Subckts.Count(), 2);
    TPSpiceModelFile missing((dir / "none.lib").string());
    missing.GenerateModelList();
    EXPECT_TRUE(missing.Subckts.Empty());
    EXPECT_TRUE(missing.Models.Empty());

    // ".ENDS" in a comment inside a subcircuit ends the block there.
    TPSpiceModelFile early = IndexedFile(dir / "early.lib",
                                         Lines({".SUBCKT A 1 2", "* ends at .ENDS here", "R1 1 2 1", ".ENDS A",
                                                ".MODEL AfterA D", ".SUBCKT B 1", ".ENDS"}));
    EXPECT_EQ(Names(early.Subckts), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(Names(early.Models), (std::vector<std::string>{"AfterA"}));
    EXPECT_EQ(early.GetModelAsStrings("A"), (TLines{".SUBCKT A 1 2", "* ends at .ENDS here"}));
}

TEST(PSpiceLibraryFile, ExtractionTakesTheBlockItsCommentsAndEveryCalledSubcircuit) {
    auto dir = orcadx::test::ScratchDir("pspice-extract");
    TPSpiceModelFile file = IndexedFile(dir / "calls.lib",
                                        Lines({
                                            "* library head",                             // 0
                                            ".MODEL QX NPN(BF=100   IS=1f)",              // 1
                                            "+ VAF=50",                                   // 2 joins 1
                                            "* note on QX",                               // 3
                                            "",                                           // 4
                                            "* A calls B twice and itself",               // 5
                                            "",                                           // 6
                                            ".SUBCKT A in  out",                          // 7
                                            "X1 in mid B",                                // 8
                                            "x2 mid out b PARAMS: R=1",                   // 9
                                            "X3 in out A ; itself",                       // 10
                                            "XLOST in out MISSING",                       // 11
                                            "Q1 in out 0 QX",                             // 12
                                            ".ENDS A",                                    // 13
                                            "R0 0 1 1",                                   // 14
                                            ".subckt B p q",                              // 15
                                            "X9 p q C",                                   // 16
                                            ".ends",                                      // 17
                                            "R0 0 1 1",                                   // 18
                                            "* C, last",                                  // 19
                                            ".SUBCKT C 1 2",                              // 20
                                            "R1 1 2 {R}",                                 // 21
                                            ".ENDS C",                                    // 22
                                            ".MODEL LASTONE D",                           // 23
                                            "* trailing comment, never taken",            // 24
                                        }));
    orcadx::host::LogSection log;
    file.Log = &log;
    // A with the blank and comment lines above it (up to the model above), then B behind a "*"
    // line, then C behind another; the second call of B adds nothing, the call of A itself is no
    // reference, and a model named on a device line is not followed.
    EXPECT_EQ(file.GetModelAsStrings("a"),
              (TLines{"* note on QX", "", "* A calls B twice and itself", "", ".SUBCKT A in out", "X1 in mid B", "x2 mid out b PARAMS: R=1",
                      "X3 in out A ; itself", "XLOST in out MISSING", "Q1 in out 0 QX", ".ENDS A", "*",
                      ".subckt B p q", "X9 p q C", ".ends", "*", "* C, last", ".SUBCKT C 1 2", "R1 1 2 {R}",
                      ".ENDS C"}));
    EXPECT_EQ(log.Messages(),
              (std::vector<std::pair<int32_t, std::string>>{
                  {orcadx::host::kLogError, "Nested PSpice subckt not found \"MISSING\".  Required by subckt \"a\""}}));

    // A .MODEL takes the comments above it and the "*", "+" and ";" lines below it, up to the
    // line before the last of the file.
    EXPECT_EQ(file.GetModelAsStrings("QX"), (TLines{"* library head", ".MODEL QX NPN(BF=100 IS=1f) VAF=50", "* note on QX"}));
    EXPECT_EQ(file.GetModelAsStrings("LastOne"), (TLines{".MODEL LASTONE D"}));
    EXPECT_TRUE(file.GetModelAsStrings("nothing").empty());

    // The file is written with CR LF, over what was there.
    fs::path out = dir / "out" / "B.ckt";
    WriteText(out, "old text that is longer than the model\n");
    file.SaveModelToFile("B", out.string());
    EXPECT_EQ(ReadText(out), ".subckt B p q\r\nX9 p q C\r\n.ends\r\n*\r\n* C, last\r\n.SUBCKT C 1 2\r\nR1 1 2 {R}\r\n.ENDS C\r\n");
    EXPECT_THROW(file.SaveModelToFile("B", (dir / "no" / "such" / "dir" / "B.ckt").string()), std::runtime_error);
}

TEST(PSpiceLibraryFile, TheFirstDefinitionOfANameWinsAndASubcircuitBeatsAModel) {
    auto dir = orcadx::test::ScratchDir("pspice-twice");
    TPSpiceModelFile file = IndexedFile(dir / "twice.lib",
                                        Lines({".MODEL LED D(IS=1)", ".MODEL led D(IS=2)", ".MODEL DUAL D(IS=3)",
                                               ".SUBCKT dual a b", "D1 a b LED", ".ENDS", ".SUBCKT DUAL a b",
                                               "R1 a b 2", ".ENDS", "* end"}));
    TModelType kind{};
    ASSERT_TRUE(file.FindModel("DUAL", kind));
    EXPECT_EQ(kind, eModelType_Subckt);
    EXPECT_EQ(ModelFileName("DUAL", kind), "DUAL.ckt");
    EXPECT_EQ(file.GetModelAsStrings("Dual"), (TLines{".SUBCKT dual a b", "D1 a b LED", ".ENDS"}));
    EXPECT_EQ(file.GetModelAsStrings("LED"), (TLines{".MODEL LED D(IS=1)"}));
    EXPECT_EQ(ModelFileName("A/B:C*?\"<>|\\x", eModeType_Model), "A_B_C_______x.mdl");
}

TEST(PSpiceLibraryFileList, ScansFoldersInNameOrderAndTheFirstFileServes) {
    auto dir = orcadx::test::ScratchDir("pspice-scan");
    WriteText(dir / "one" / "b.lib", ".MODEL SHARED D(IS=2)\n.MODEL ONLYB D\n");
    WriteText(dir / "one" / "A.LIB", "* first by name\n.MODEL shared D(IS=1)\n");
    WriteText(dir / "one" / "sub" / "deep.Lib", ".SUBCKT DEEP 1 2\n.ENDS\n");
    WriteText(dir / "one" / "notes.txt", ".MODEL NOTLIB D\n");
    WriteText(dir / "two" / "c.lib", ".MODEL ONLYB D(IS=9)\n.MODEL ONLYC D\n");
    fs::create_directories(dir / "one" / "folder.lib");

    TPSpiceModelFileList list;
    list.SetDirectories({(dir / "one").string(), (dir / "missing").string(), (dir / "two").string()});
    std::vector<std::string> files;
    for (int i = 0; i < list.Count(); ++i) files.push_back(fs::path(list.GetFile(i)->FileName).lexically_relative(dir).string());
    EXPECT_EQ(files, (std::vector<std::string>{"one/A.LIB", "one/b.lib", "one/sub/deep.Lib", "two/c.lib"}));

    TModelType kind{};
    TPSpiceModelFile* found = list.FindFileContainingModel("Shared", kind);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(fs::path(found->FileName).filename(), "A.LIB");
    EXPECT_EQ(list.FindFileContainingModel("ONLYB", kind)->FileName, (dir / "one" / "b.lib").string());
    ASSERT_NE(list.FindFileContainingModel("deep", kind), nullptr);
    EXPECT_EQ(kind, eModelType_Subckt);
    EXPECT_EQ(list.FindFileContainingModel("NOTLIB", kind), nullptr);

    // The same folders, in another case, don't scan again; other folders do.
    int scans = list.ScanCount();
    list.SetDirectories({(dir / "ONE").string(), (dir / "missing").string(), (dir / "two").string()});
    EXPECT_EQ(list.ScanCount(), scans);
    list.SetDirectories({(dir / "two").string()});
    EXPECT_EQ(list.ScanCount(), scans + 1);
    EXPECT_EQ(list.Count(), 1);
    EXPECT_EQ(list.FindFileContainingModel("ONLYB", kind)->FileName, (dir / "two" / "c.lib").string());
    EXPECT_EQ(list.FindFileContainingModel("shared", kind), nullptr);
}
