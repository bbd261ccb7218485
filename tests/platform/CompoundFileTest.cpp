// The compound-file layer: files written by it read back identically through it and through an
// independent reader, and every sample Capture file opens.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>

#include "TestSupport.h"
#include "dbo/DboFileIO.h"
#include "platform/CompoundFile.h"

using namespace orcadx;
using namespace orcadx::dbo;
namespace fs = std::filesystem;

namespace {

std::vector<uint8_t> Pattern(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> v(n);
    for (auto& b : v) b = static_cast<uint8_t>(rng());
    return v;
}

void Write(TDboIStorage& storage, const std::string& name, const std::vector<uint8_t>& data) {
    std::unique_ptr<TDboIStream> s;
    storage.CreateStreamSafe(name, s);
    s->WriteData("Data", data);
}

std::vector<uint8_t> ReadAll(TDboIStorage& storage, const std::string& name) {
    std::unique_ptr<TDboIStream> s;
    storage.OpenStreamSafe(name, s);
    std::vector<uint8_t> out;
    s->ReadData("Data", out, s->Size());
    return out;
}

// Writes a file with nested storages, an empty and a 3 MB stream, a name with escaped
// characters and a storage that is created twice (the second replaces the first).
std::map<std::string, std::vector<uint8_t>> WriteSample(const fs::path& file) {
    std::map<std::string, std::vector<uint8_t>> expected;
    std::unique_ptr<TDboIStorage> root;
    CreateRootStorage(file.string(), root);
    Write(*root, "Library", Pattern(5019, 1));
    expected["Library"] = Pattern(5019, 1);
    root->CreateStorageSafe("Views");  // replaced below
    {
        std::unique_ptr<TDboIStorage> graphics;
        root->CreateStorageSafe("Graphics", graphics);
        Write(*graphics, "$Types$", {});
        expected["Graphics/$Types$"] = {};
    }
    {
        std::unique_ptr<TDboIStorage> views, view, pages;
        root->CreateStorageSafe("Views", views);
        views->CreateStorageSafe("SCHEMATIC1", view);
        Write(*view, "Schematic", Pattern(1102, 2));
        expected["Views/SCHEMATIC1/Schematic"] = Pattern(1102, 2);
        view->CreateStorageSafe("Pages", pages);
        Write(*pages, "PAGE1", Pattern(3 * 1024 * 1024 + 17, 3));
        expected["Views/SCHEMATIC1/Pages/PAGE1"] = Pattern(3 * 1024 * 1024 + 17, 3);
        Write(*pages, "C:\\PATH/NAME", Pattern(64, 4));
        expected["Views/SCHEMATIC1/Pages/\x03\x01PATH\x02NAME"] = Pattern(64, 4);
        expected["Views/SCHEMATIC1/Pages/C\x03\x01PATH\x02NAME"] = Pattern(64, 4);
        expected.erase("Views/SCHEMATIC1/Pages/\x03\x01PATH\x02NAME");
    }
    Write(*root, "Cache", Pattern(12792, 5));
    expected["Cache"] = Pattern(12792, 5);
    root->Close();
    return expected;
}

}  // namespace

TEST(CompoundFile, WrittenFileReadsBackThroughOurLayer) {
    auto dir = test::ScratchDir("cfb-ours");
    auto file = dir / "sample.dsn";
    auto expected = WriteSample(file);

    std::unique_ptr<TDboIStorage> root;
    OpenRootStorage(file.string(), root);
    EXPECT_EQ(ReadAll(*root, "Library"), expected["Library"]);
    EXPECT_EQ(ReadAll(*root, "Cache"), expected["Cache"]);
    std::unique_ptr<TDboIStorage> graphics, views, view, pages;
    root->OpenStorageSafe("Graphics", graphics);
    EXPECT_TRUE(ReadAll(*graphics, "$Types$").empty());
    root->OpenStorageSafe("Views", views);
    views->OpenStorageSafe("SCHEMATIC1", view);
    EXPECT_EQ(ReadAll(*view, "Schematic"), expected["Views/SCHEMATIC1/Schematic"]);
    view->OpenStorageSafe("Pages", pages);
    EXPECT_EQ(ReadAll(*pages, "PAGE1"), expected["Views/SCHEMATIC1/Pages/PAGE1"]);
    // The plain name finds the escaped one, and the platform sees the escaped form.
    EXPECT_TRUE(pages->ExistStream("C:\\PATH/NAME"));
    EXPECT_EQ(ReadAll(*pages, "C:\\PATH/NAME"), Pattern(64, 4));
    auto listing = pages->Platform().List();
    ASSERT_EQ(listing.size(), 2u);
    bool sawEscaped = false;
    for (const auto& e : listing) sawEscaped |= e.name == "C\x03\x01PATH\x02NAME";
    EXPECT_TRUE(sawEscaped);
    // Exactly one "Views" storage remains at the root: the second creation replaced the first.
    int viewsCount = 0;
    for (const auto& e : root->Platform().List()) viewsCount += e.name == "Views";
    EXPECT_EQ(viewsCount, 1);
}

TEST(CompoundFile, WrittenFileReadsBackThroughAnIndependentReader) {
    if (system("/usr/bin/python3 -c 'import olefile' >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "python3-olefile is not installed: the independent reader check is skipped";
    auto dir = test::ScratchDir("cfb-olefile");
    auto file = dir / "sample.dsn";
    auto expected = WriteSample(file);
    // The reader prints one line per stream: its path with control characters as \xNN, its size and
    // a checksum of its bytes.
    auto script = dir / "list.py";
    std::ofstream(script) << "import olefile, sys, zlib\n"
                             "o = olefile.OleFileIO(sys.argv[1])\n"
                             "for e in o.listdir(streams=True, storages=False):\n"
                             "    d = o.openstream(e).read()\n"
                             "    n = '/'.join(e).encode('unicode_escape').decode()\n"
                             "    print(n, len(d), zlib.crc32(d))\n";
    auto out = dir / "out.txt";
    std::string cmd = "/usr/bin/python3 " + script.string() + " " + file.string() + " > " + out.string();
    ASSERT_EQ(system(cmd.c_str()), 0);
    std::ifstream in(out);
    std::map<std::string, std::pair<size_t, uint32_t>> seen;
    std::string name;
    size_t size;
    uint32_t crc;
    while (in >> name >> size >> crc) seen[name] = {size, crc};
    auto escape = [](const std::string& s) {
        std::string r;
        for (unsigned char c : s) {
            char buf[8];
            if (c < 0x20) snprintf(buf, sizeof buf, "\\x%02x", c), r += buf;
            else r += static_cast<char>(c);
        }
        return r;
    };
    auto crc32 = [](const std::vector<uint8_t>& d) {
        uint32_t c = 0xFFFFFFFFu;
        for (uint8_t b : d) {
            c ^= b;
            for (int k = 0; k < 8; ++k) c = (c >> 1) ^ (0xEDB88320u & (0u - (c & 1u)));
        }
        return ~c;
    };
    ASSERT_EQ(seen.size(), expected.size());
    for (const auto& [path, data] : expected) {
        auto it = seen.find(escape(path));
        ASSERT_NE(it, seen.end()) << path;
        EXPECT_EQ(it->second.first, data.size()) << path;
        EXPECT_EQ(it->second.second, crc32(data)) << path;
    }
}

TEST(CompoundFile, StorageErrorsCarryTheirMessages) {
    auto dir = test::ScratchDir("cfb-errors");
    auto text = dir / "notes.DSN";
    std::ofstream(text) << "this is a text file, not a design\n";
    std::unique_ptr<TDboIStorage> root;
    try {
        OpenRootStorage(text.string(), root);
        FAIL() << "a text file opened as a compound file";
    } catch (const EDboFileIO& e) {
        EXPECT_EQ(std::string(e.what()), "Error opening storage " + text.string() + "\r\nUnknown");
    }
    EXPECT_THROW(OpenRootStorage((dir / "missing.DSN").string(), root), EDboFileIO);

    auto file = dir / "small.olb";
    {
        std::unique_ptr<TDboIStorage> w;
        CreateRootStorage(file.string(), w);
        Write(*w, "Library", {1, 2, 3});
        // 31 characters are allowed, 32 are not; the limit is a plain Exception.
        EXPECT_NO_THROW(w->CreateStreamSafe(std::string(31, 'a')));
        try {
            w->CreateStreamSafe(std::string(32, 'b'));
            FAIL();
        } catch (const EDboFileIO&) {
            FAIL() << "the length limit must not be a storage error";
        } catch (const Exception& e) {
            EXPECT_EQ(std::string(e.what()),
                      "Can't create the Stream with Name length more than 31:\r\n" + std::string(32, 'b'));
        }
        w->Close();
    }
    OpenRootStorage(file.string(), root);
    std::unique_ptr<TDboIStream> s;
    try {
        root->OpenStreamSafe("Cache", s);
        FAIL();
    } catch (const EDboFileIO& e) {
        EXPECT_EQ(std::string(e.what()),
                  "Invalid stream: Cache\r\nThe storage object with the specified name does not exist.");
    }
    std::unique_ptr<TDboIStorage> sub;
    EXPECT_THROW(root->OpenStorageSafe("Views", sub), EDboFileIO);
    EXPECT_FALSE(root->ExistStorage("Library"));  // a stream is not a storage
    EXPECT_TRUE(root->ExistStream("library"));     // names compare without case
    root->OpenStreamSafe("Library", s);
    uint8_t b[4];
    try {
        s->ReadData("Header", b, 4);
        FAIL();
    } catch (const EDboFileIO& e) {
        EXPECT_EQ(std::string(e.what()), "Reading stream: Library 00000000(4)");
    }
}

TEST(CompoundFile, UniqueStreamNamesStayWithin31Characters) {
    auto dir = test::ScratchDir("cfb-unique");
    std::unique_ptr<TDboIStorage> root;
    CreateRootStorage((dir / "u.olb").string(), root);
    std::string name(40, 'x');
    name.replace(0, 6, "ABCDEF");
    std::string first = MakeUniqueStreamName(*root, name);
    EXPECT_EQ(first, name.substr(0, 31));
    root->CreateStreamSafe(first);
    std::string second = MakeUniqueStreamName(*root, name);
    EXPECT_EQ(second, name.substr(0, 29) + "_1");
    root->CreateStreamSafe(second);
    EXPECT_EQ(MakeUniqueStreamName(*root, name), name.substr(0, 29) + "_2");
    // A path is escaped before it is measured and checked.
    EXPECT_EQ(MakeUniqueStreamName(*root, "C:\\LIB\\R"), "C\x03\x01LIB\x01R");
}

TEST(CompoundFile, EveryCorpusFileOpensAndItsLibraryStreamReads) {
    ORCADX_REQUIRE_CORPUS();
    auto files = test::CorpusFiles({".dsn", ".olb", ".obk"});
    ASSERT_FALSE(files.empty());
    for (const auto& f : files) {
        SCOPED_TRACE(f.string());
        std::unique_ptr<TDboIStorage> root;
        ASSERT_NO_THROW(OpenRootStorage(f.string(), root));
        std::unique_ptr<TDboIStream> lib;
        ASSERT_NO_THROW(root->OpenStreamSafe("Library", lib));
        std::vector<uint8_t> all;
        ASSERT_NO_THROW(lib->ReadData("Library", all, lib->Size()));
        EXPECT_GT(all.size(), 36u);
        EXPECT_EQ(lib->Remaining(), 0u);
    }
}
