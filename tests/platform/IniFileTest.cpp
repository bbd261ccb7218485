// Initialisation files as the Windows profile-string calls treat them, text files as Windows programs
// write them, file names found without regard to case, and the host's parameter lists.
#include <gtest/gtest.h>

#include <fstream>

#include "TestSupport.h"
#include "platform/IniFile.h"
#include "platform/Parameters.h"
#include "platform/TextFiles.h"

using namespace orcadx;
using namespace orcadx::platform;
namespace fs = std::filesystem;

namespace {

void WriteBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

std::string ReadBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

TEST(IniFile, ReadsSectionsKeysAndValuesAsTheProfileCallsDo) {
    fs::path dir = test::ScratchDir("ini-read");
    std::string longValue(300, 'x');
    WriteBytes(dir / "a.cfg",
               "Orphan=before any section\r\n"
               "[Analog Options]\r\n"
               "  RELTOL  =  0.002  \r\n"
               "reltol=second key of the same name\r\n"
               "Quoted=\"a b\"\r\n"
               "Single='c'\r\n"
               "HalfQuoted=\"d\r\n"
               "NoEquals\r\n"
               "Empty=\r\n"
               "Long=" + longValue + "\r\n"
               "[broken header\r\n"
               "\r\n"
               "[ analog options ]\r\n"
               "RELTOL=in the second section of that name\r\n"
               "Other=only in the second section\r\n"
               "[Probe Setup]\n"
               "Variable0=V(out)\r");
    IniFile ini((dir / "a.cfg").string());
    EXPECT_TRUE(ini.Existed());
    EXPECT_EQ(ini.ReadString("ANALOG OPTIONS", "reltol", "d"), "0.002");
    EXPECT_EQ(ini.ReadString(" Analog Options ", " RELTOL ", "d"), "0.002");
    EXPECT_EQ(ini.ReadString("Analog Options", "Quoted", "d"), "a b");
    EXPECT_EQ(ini.ReadString("Analog Options", "Single", "d"), "c");
    EXPECT_EQ(ini.ReadString("Analog Options", "HalfQuoted", "d"), "\"d");
    EXPECT_EQ(ini.ReadString("Analog Options", "NoEquals", "dflt"), "dflt");
    EXPECT_EQ(ini.ReadString("Analog Options", "Empty", "dflt"), "");
    EXPECT_TRUE(ini.HasValue("Analog Options", "Empty"));
    EXPECT_FALSE(ini.HasValue("Analog Options", "NoEquals"));
    // Only the first section of a name is searched.
    EXPECT_EQ(ini.ReadString("Analog Options", "Other", "missing"), "missing");
    EXPECT_EQ(ini.ReadString("Probe Setup", "variable0", ""), "V(out)");
    EXPECT_EQ(ini.ReadString("", "Orphan", ""), "");
    EXPECT_EQ(ini.ReadString("Nowhere", "RELTOL", "dflt  "), "dflt");
    EXPECT_EQ(ini.ReadString("Analog Options", "", "dflt"), "dflt");
    // A value is cut to what a 256-character buffer holds; so is the default.
    EXPECT_EQ(ini.ReadString("Analog Options", "Long", ""), longValue.substr(0, 255));
    EXPECT_EQ(ini.ReadString("Analog Options", "Missing", longValue), longValue.substr(0, 255));
    // Cutting never splits a character in two.
    std::string wide;
    for (int i = 0; i < 300; ++i) wide += "\xC3\xA9";  // é
    EXPECT_EQ(ini.ReadString("Analog Options", "Missing", wide), wide.substr(0, 510));

    IniFile missing((dir / "none.cfg").string());
    EXPECT_FALSE(missing.Existed());
    EXPECT_EQ(missing.ReadString("Analog Options", "RELTOL", "1m"), "1m");
}

TEST(IniFile, WritesKeysInPlaceAndKeepsTheRest) {
    fs::path dir = test::ScratchDir("ini-write");
    WriteBytes(dir / "b.cfg", "; kept\r\n[Monte Carlo Setup]\r\nSpecificTol0=R1 5%\r\nSpecificTol1=R2 1%\r\nSeed=3\r\n[Z]\r\nA=1\r\n");
    IniFile ini((dir / "b.cfg").string());
    EXPECT_FALSE(ini.Modified());
    ini.WriteString("monte carlo setup", "SEED", "9");
    ini.DeleteKey("Monte Carlo Setup", "SpecificTol0");
    ini.WriteString("New Section", "Key", "v=w");
    ini.EraseSection("z");
    EXPECT_TRUE(ini.Modified());
    ini.Save();
    EXPECT_EQ(ReadBytes(dir / "b.cfg"),
              "; kept\r\n\r\n[Monte Carlo Setup]\r\nSpecificTol1=R2 1%\r\nSeed=9\r\n\r\n[New Section]\r\nKey=v=w\r\n");
    IniFile again((dir / "b.cfg").string());
    EXPECT_EQ(again.ReadString("Monte Carlo Setup", "Seed", ""), "9");
    EXPECT_EQ(again.ReadString("Monte Carlo Setup", "SpecificTol0", "gone"), "gone");
    EXPECT_EQ(again.ReadString("New Section", "Key", ""), "v=w");

    // A UTF-16 file stays UTF-16; a new file is Windows-1252.
    WriteBytes(dir / "w.cfg", std::string("\xFF\xFE[\0S\0]\0\r\0\n\0K\0=\0\xE9\0", 18));
    IniFile utf16((dir / "w.cfg").string());
    EXPECT_EQ(utf16.ReadString("S", "K", ""), "\xC3\xA9");
    utf16.WriteString("S", "K", "\xC3\xA8");
    utf16.Save();
    EXPECT_EQ(ReadBytes(dir / "w.cfg").substr(0, 4), std::string("\xFF\xFE[\0", 4));
    IniFile fresh((dir / "new.cfg").string());
    fresh.WriteString("S", "K", "\xC3\xA9");
    fresh.Save();
    EXPECT_EQ(ReadBytes(dir / "new.cfg"), "[S]\r\nK=\xE9\r\n");
    IniFile unwritable((dir / "no-such-folder" / "x.cfg").string());
    unwritable.WriteString("S", "K", "v");
    EXPECT_THROW(unwritable.Save(), std::runtime_error);
}

TEST(TextFiles, DecodeSplitAndFindFilesAsWindowsNamesThem) {
    EXPECT_EQ(DecodeText("caf\xE9"), "caf\xC3\xA9");
    EXPECT_EQ(DecodeText("\xEF\xBB\xBF" "caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(DecodeText(std::string("\xFF\xFE" "a\0\xE9\0", 6)), "a\xC3\xA9");
    EXPECT_EQ(SplitLines("a\r\nb\nc\rd\r\n"), (std::vector<std::string>{"a", "b", "c", "d"}));
    EXPECT_EQ(SplitLines("a\n\nb"), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_TRUE(SplitLines("").empty());
    EXPECT_EQ(TrimBlanks("\t a b \r\n"), "a b");

    EXPECT_TRUE(IsRelativePath(".\\x\\y.sim"));
    EXPECT_TRUE(IsRelativePath("x.sim"));
    EXPECT_FALSE(IsRelativePath("C:\\x\\y.sim"));
    EXPECT_FALSE(IsRelativePath("\\\\server\\share\\y.sim"));
    EXPECT_FALSE(IsRelativePath("/abs/y.sim"));
    EXPECT_EQ(MakeFullPath("/p/q/proj.opj", ".\\a-files\\sch\\s.sim"), "/p/q/a-files/sch/s.sim");
    EXPECT_EQ(MakeFullPath("/p/q/proj.opj", "..\\r\\s.sim"), "/p/r/s.sim");
    EXPECT_EQ(MakeFullPath("/p/q/proj.opj", "C:\\r\\s.sim"), "C:\\r\\s.sim");
    EXPECT_EQ(MakeFullPath("/p/q/proj.opj", "\\\\srv\\s.sim"), "\\\\srv\\s.sim");

    fs::path dir = test::ScratchDir("find-no-case");
    fs::create_directories(dir / "Proj-PSpiceFiles" / "SCHEMATIC1");
    WriteBytes(dir / "Proj-PSpiceFiles" / "SCHEMATIC1" / "Sim1.sim", "x");
    std::string wanted = dir.string() + "\\proj-pspicefiles\\schematic1\\SIM1.SIM";
    EXPECT_EQ(FindFileNoCase(wanted), (dir / "Proj-PSpiceFiles" / "SCHEMATIC1" / "Sim1.sim").string());
    EXPECT_EQ(FindFileNoCase(dir.string() + "/proj-pspicefiles/nothing.sim"),
              dir.string() + "/proj-pspicefiles/nothing.sim");
    std::string text;
    EXPECT_TRUE(ReadTextFile((dir / "Proj-PSpiceFiles" / "SCHEMATIC1" / "Sim1.sim").string(), text));
    EXPECT_EQ(text, "x");
    EXPECT_FALSE(ReadTextFile((dir / "Proj-PSpiceFiles").string(), text));
    EXPECT_FALSE(ReadTextFile((dir / "none").string(), text));
}

TEST(ParameterList, WritesAndReadsTheHostsPairs) {
    TParameterList list;
    list.Add("Record", "QsolveNetlistView");
    list.Add("Empty", "");
    list.AddBoolean("Flag", true);
    list.AddInteger("Count", -3);
    list.Add("Formula", "a=b");
    EXPECT_EQ(list.ToString(), "Record=QsolveNetlistView|Empty= |Flag=True|Count=-3|Formula=a=b");

    TParameterList read;
    read.FromString(list.ToString());
    EXPECT_EQ(read.ToString(), list.ToString());
    std::string value = "unchanged";
    EXPECT_TRUE(read.Find("empty", value));
    EXPECT_EQ(value, "");
    EXPECT_TRUE(read.Find("  FORMULA ", value));
    EXPECT_EQ(value, "a=b");
    EXPECT_FALSE(read.Find("Missing", value));

    read.FromString("a= 1 |no pair| =nameless|A=second|  b  =x|flag=TRUE|off=yes");
    ASSERT_EQ(read.Count(), 5u);
    EXPECT_EQ(read.Name(2), "b");
    EXPECT_TRUE(read.Find("a", value));
    EXPECT_EQ(value, " 1 ");  // values stand as they are; the first of two names counts
    bool flag = false;
    EXPECT_TRUE(read.FindBoolean("flag", flag));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(read.FindBoolean("off", flag));
    EXPECT_FALSE(flag);
    read.FromString("");
    EXPECT_EQ(read.Count(), 0u);
}
