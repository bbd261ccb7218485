// The exported functions that write a library (ExportFileW, OrCad71Saver): parameters, versions,
// results text and failures; and the written file as an independent compound-file reader sees it.
#include <cstdlib>
#include <functional>
#include <fstream>
#include <set>
#include <sstream>

#include "ExportTestSupport.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboLib.h"
#include "entry/TranslatorApi.h"
#include "host/ClientServices.h"
#include "platform/CodePage.h"
#include "platform/CompoundFile.h"

using namespace orcadx;
using namespace orcadx::host;
using test::Unit;

namespace {

class ExportEntry : public test::ExportFixture {
protected:
    void SetUp() override {
        ExportFixture::SetUp();
        library_ = NewLibrary("Parts.SchLib");
        ISch_Component* res = AddComponent(library_, "R");
        AddRectangle(res, {0, Unit(-10)}, {Unit(30), 0});
        ISch_Pin* pin = AddPin(res, "A", "1", {0, Unit(-5)}, 2, Unit(10));
        auto* swap = Make<ISch_Parameter>(eParameter);
        swap->SetState_Name("Swap Id");
        swap->SetState_Text("7");
        swap->SetState_IsHidden(true);
        pin->AddSchObject(swap);
        swap_ = swap;
        AddComponent(library_, "C");
        RegisterHost(&App());
    }
    void TearDown() override {
        RegisterHost(nullptr);
        ExportFixture::TearDown();
    }
    std::string LibraryPath() { return (dir_ / "Parts.SchLib").string(); }
    std::string OutPath(const std::string& name = "Parts.OLB") { return (dir_ / name).string(); }
    bool Export(const std::string& parameters, std::string& results) {
        std::u16string wide = platform::Utf8ToUtf16(results);
        bool ok = ExportFileW(platform::Utf8ToUtf16(parameters).c_str(), &wide);
        results = platform::Utf16ToUtf8(wide);
        return ok;
    }
    uint32_t VersionOf(const std::string& path) {
        dbo::TDboDesign design(path, nullptr, 0, nullptr);
        design.Load(true);
        return design.Version;
    }
    std::string ExpectThrow(const std::string& parameters) {
        std::string results;
        try {
            Export(parameters, results);
        } catch (const std::exception& e) {
            return e.what();
        }
        return "no exception";
    }
    void RemovePinProperty() { Server()->DestroySchObject(swap_); }
    ISch_Lib* library_ = nullptr;
    ISch_Parameter* swap_ = nullptr;
};

}  // namespace

TEST_F(ExportEntry, ExportFileWritesTheLibraryAndAppendsItsResults) {
    std::string results = "X";
    ASSERT_TRUE(Export("DocumentName=" + LibraryPath() + " | FileName=" + OutPath() +
                           " | FileType=OLB | OrcadVersion=65538",
                       results));
    EXPECT_EQ(results, "X | ExportedComponentCount=2 | LibReference_0=R | LibReference_1=C");
    EXPECT_EQ(VersionOf(OutPath()), 0x00010002u);
    EXPECT_TRUE(App().ErrorBoxLog().empty());
    // The version by default has size headers; the property of the pin is written with them.
    results.clear();
    ASSERT_TRUE(Export("FileType=OLB | FileName=" + OutPath("B.OLB") + " | DocumentName=" + LibraryPath(), results));
    EXPECT_EQ(results, "ExportedComponentCount=2 | LibReference_0=R | LibReference_1=C");
    EXPECT_EQ(VersionOf(OutPath("B.OLB")), 0x00020003u);
    EXPECT_TRUE(App().ErrorBoxLog().empty());
    auto library = LoadDesign(OutPath("B.OLB"));
    int pinProperties = 0;
    for (const auto& component : library->Components)
        for (int p = 0; p < component->Packages.Count(); ++p)
            for (int v = 0; v < component->Packages.GetPackages(p)->Views.Count(); ++v) {
                const auto& pins = *component->Packages.GetPackages(p)->Views.GetViews(v)->Pins;
                for (int i = 0; i < pins.Count(); ++i) pinProperties += pins.GetPins(i)->UserProps.Count();
            }
    EXPECT_EQ(pinProperties, 1);
}

TEST_F(ExportEntry, SaverWritesVersion65537UnlessToldOtherwise) {
    ASSERT_TRUE(OrCad71Saver(platform::Utf8ToUtf16("DocumentName=" + LibraryPath() + " | FileName=" + OutPath() +
                                                   " | FileType=OLB")
                                 .c_str()));
    EXPECT_EQ(VersionOf(OutPath()), 0x00010001u);
    RemovePinProperty();
    ASSERT_TRUE(OrCad71Saver(platform::Utf8ToUtf16("DocumentName=" + LibraryPath() + " | FileName=" +
                                                   OutPath("C.OLB") + " | FileType=OLB | OrcadVersion=131075")
                                 .c_str()));
    EXPECT_EQ(VersionOf(OutPath("C.OLB")), 0x00020003u);
    EXPECT_FALSE(OrCad71Saver(nullptr));
}

TEST_F(ExportEntry, ParameterAndHostFailures) {
    // Missing or bad parameters leave the function as exceptions.
    EXPECT_EQ(ExpectThrow("FileType=OLB | DocumentName=" + LibraryPath()),
              "Parameter 'FileName' is not found or is empty.");
    EXPECT_EQ(ExpectThrow("FileName=" + OutPath()), "Parameter 'FileType' is not found or is empty.");
    EXPECT_EQ(ExpectThrow("FileName=" + OutPath() + " | FileType=OLB | OrcadVersion=abc"), "Orcad Version is incorrect.");
    EXPECT_EQ(ExpectThrow("FileName=" + OutPath() + " | FileType=OLB | OrcadVersion=7"), "Orcad Version is incorrect.");

    // Failures once the export runs go to the error box, and the result is false.
    std::string results = "kept";
    EXPECT_FALSE(Export("FileName=" + OutPath() + " | FileType=OLB", results));
    EXPECT_EQ(results, "kept");
    auto sheet = OpenOrCreateDocument(App(), (dir_ / "Sheet.SchDoc").string(), "SCH", "Binary", true);
    ASSERT_NE(sheet, nullptr);
    EXPECT_FALSE(Export("FileName=" + OutPath() + " | FileType=OLB | DocumentName=" + (dir_ / "Sheet.SchDoc").string(),
                        results));
    EXPECT_FALSE(Export("FileName=" + OutPath() + " | FileType=DSN", results));
    EXPECT_EQ(App().ErrorBoxLog(),
              std::vector<std::string>({"Error: Parameter 'DocumentName' is not found or is empty.",
                                        "Error: Could not get the SchLib.", "Error: Could not get the project."}));
    EXPECT_FALSE(std::filesystem::exists(OutPath()));
    // Another file type does nothing, and says nothing.
    EXPECT_FALSE(Export("FileName=" + OutPath() + " | FileType=TXT | DocumentName=" + LibraryPath(), results));
    EXPECT_EQ(App().ErrorBoxLog().size(), 3u);
    // A file that can't be written.
    EXPECT_FALSE(Export("FileName=" + (dir_ / "none" / "x.OLB").string() + " | FileType=OLB | DocumentName=" +
                            LibraryPath(),
                        results));
    EXPECT_EQ(App().ErrorBoxLog().size(), 4u);
    // Without a host there is nothing to export from.
    RegisterHost(nullptr);
    EXPECT_FALSE(Export("DocumentName=" + LibraryPath() + " | FileName=" + OutPath() + " | FileType=OLB", results));
}

TEST_F(ExportEntry, AnIndependentReaderSeesTheStorageTreeAndTheLibraryStream) {
    if (std::system("/usr/bin/python3 -c 'import olefile' >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "python3-olefile is not installed: the independent reader check is skipped";
    // One symbol as well, so that the symbol storage has a stream.
    ISch_Component* title = AddComponent(library_, "TB");
    title->SetState_ComponentKind(eComponentKind_Graphical);
    // The reader prints every storage (with a trailing "/") and stream, then the version and the
    // string list of the "Library" stream, parsed from its bytes.
    auto script = dir_ / "read.py";
    std::ofstream(script) << R"(import olefile, struct, sys
o = olefile.OleFileIO(sys.argv[1])
for e in o.listdir(streams=True, storages=True):
    kind = o.get_type(e)
    print('E ' + '/'.join(e).encode('unicode_escape').decode() + ('/' if kind == olefile.STGTY_STORAGE else ''))
d = o.openstream('Library').read()
version = struct.unpack_from('<I', d, 32)[0]
print('V %d' % version)
extended = version in (2, 0x10002, 0x20003, 0x30003)
headered = version in (0x20003, 0x30003)
pos = 48
fonts = struct.unpack_from('<H', d, pos)[0] - 1
pos += 2 + 60 * fonts
pos += (2 if extended else 0) + 38 + (14 if extended else 0) + 4
def text():
    global pos
    n = struct.unpack_from('<H', d, pos)[0]
    s = d[pos + 2:pos + 2 + n].decode('cp1252')
    assert d[pos + 2 + n] == 0
    pos += n + 3
    return s
fields = [text() for _ in range(8)]
print('F ' + '|'.join(fields))
pos += 156
count = struct.unpack_from('<i' if headered else '<H', d, pos)[0]
pos += 4 if headered else 2
for _ in range(count):
    print('S [' + text() + ']')
)";
    for (uint32_t version : {0x00010001u, 0x00010002u}) {
        SCOPED_TRACE(version);
        std::string results;
        auto out = OutPath("V" + std::to_string(version) + ".OLB");
        ASSERT_TRUE(Export("DocumentName=" + LibraryPath() + " | FileName=" + out +
                               " | FileType=OLB | OrcadVersion=" + std::to_string(version),
                           results));
        auto listing = dir_ / "listing.txt";
        std::string cmd = "/usr/bin/python3 " + script.string() + " " + out + " > " + listing.string();
        ASSERT_EQ(std::system(cmd.c_str()), 0);
        std::set<std::string> theirs;
        std::vector<std::string> strings;
        std::string line, fields;
        uint32_t seenVersion = 0;
        std::ifstream in(listing);
        while (std::getline(in, line)) {
            if (line.rfind("E ", 0) == 0) theirs.insert(line.substr(2));
            if (line.rfind("V ", 0) == 0) seenVersion = static_cast<uint32_t>(std::stoul(line.substr(2)));
            if (line.rfind("F ", 0) == 0) fields = line.substr(2);
            if (line.rfind("S [", 0) == 0) strings.push_back(line.substr(3, line.size() - 4));
        }
        // Our own reader's tree.
        std::set<std::string> ours;
        std::unique_ptr<platform::CfbStorage> root;
        ASSERT_EQ(platform::OpenStorageFile(out, platform::kSTGM_READ, &root), platform::kS_OK);
        std::function<void(platform::CfbStorage&, const std::string&)> walk = [&](platform::CfbStorage& s,
                                                                                  const std::string& prefix) {
            for (const auto& e : s.List()) {
                ours.insert(prefix + e.name + (e.isStorage ? "/" : ""));
                if (!e.isStorage) continue;
                std::unique_ptr<platform::CfbStorage> child;
                ASSERT_EQ(s.OpenStorage(e.name, platform::kSTGM_READ, &child), platform::kS_OK);
                walk(*child, prefix + e.name + "/");
            }
        };
        walk(*root, "");
        EXPECT_EQ(theirs, ours);
        for (const char* name : {"Library", "Cache", "Cells/", "Parts/", "Views/", "Graphics/", "Graphics/$Types$",
                                 "Packages/", "Packages/R", "Packages/C", "ExportBlocks/", "Symbols/", "Symbols/TB",
                                 "Symbols/$Types$", "Cells Directory", "Parts Directory", "Symbols Directory",
                                 "Graphics Directory", "Packages Directory", "ExportBlocks Directory",
                                 "Views Directory"})
            EXPECT_TRUE(theirs.count(name)) << name;
        EXPECT_EQ(theirs.size(), 21u);
        EXPECT_EQ(seenVersion, version);
        EXPECT_EQ(fields, "1ST PART FIELD|2ND PART FIELD|3RD PART FIELD|4TH PART FIELD|5TH PART FIELD|"
                          "6TH PART FIELD|7TH PART FIELD|PCB Footprint");
        // The string list opens with the empty string and holds the pin's property.
        EXPECT_EQ(strings, std::vector<std::string>({"", "Swap Id", "7"}));
    }
}
