// The compound-file reader on directories that no writer makes (long sibling chains, deep nesting,
// loops, links to nowhere, sizes past the file), and the writer's own layout: files built here
// entry by entry, without the sample files.
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <fstream>
#include <functional>
#include <string>

#include "TestSupport.h"
#include "robust/Isolated.h"
#include "dbo/DboFileIO.h"
#include "platform/CfbFormat.h"
#include "platform/CodePage.h"
#include "platform/CfbWriter.h"
#include "platform/CompoundFile.h"

using namespace orcadx;
using namespace orcadx::platform;
namespace cfb = orcadx::platform::cfb;

namespace {

using Bytes = std::vector<uint8_t>;

std::u16string U16(const std::string& s) { return platform::Utf8ToUtf16(s); }

// A root holding `count` streams "S0".."S<count-1>" of 8 bytes each, linked as `link` says
// (given the entries of the streams, 1..count, it sets the root's child and the sibling links).
Bytes StreamsFile(int count, const std::function<void(std::vector<cfb::RawEntry>&)>& link) {
    static const Bytes data = {1, 2, 3, 4, 5, 6, 7, 8};
    std::vector<cfb::RawEntry> e(1);
    e[0].type = cfb::kTypeRoot;
    e[0].name = u"Root Entry";
    for (int i = 0; i < count; ++i) {
        cfb::RawEntry s;
        s.name = U16("S" + std::to_string(i));
        s.data = &data;
        e.push_back(s);
    }
    link(e);
    return cfb::LayoutFile(e);
}

std::string OpenError(Bytes bytes) {
    std::unique_ptr<CfbStorage> root;
    std::string detail;
    HResult hr = OpenStorageMemory(std::move(bytes), &root, &detail);
    return hr == kS_OK ? std::string() : detail;
}

std::unique_ptr<CfbStorage> OpenOrFail(Bytes bytes) {
    std::unique_ptr<CfbStorage> root;
    std::string detail;
    EXPECT_EQ(OpenStorageMemory(std::move(bytes), &root, &detail), kS_OK) << detail;
    return root;
}

// Offset of directory entry `index` in a file laid out by LayoutFile: the directory's sectors
// follow one another from the header's first directory sector.
size_t EntryOffset(const Bytes& file, uint32_t index) {
    uint32_t firstDir = cfb::GetU32(file.data() + cfb::kOffFirstDirSector);
    return 512 + size_t(firstDir) * 512 + size_t(index) * 128;
}

}  // namespace

TEST(CfbReader, LongSiblingChainAndDeepNestingAreWalkedWithoutRecursion) {
    // 20,000 siblings linked one behind the other through their right links: a legal but
    // degenerate tree, as deep as it is long.
    const int n = 20000;
    Bytes chain = StreamsFile(n, [&](std::vector<cfb::RawEntry>& e) {
        e[0].child = 1;
        for (int i = 1; i < n; ++i) e[i].right = static_cast<uint32_t>(i + 1);
    });
    auto root = OpenOrFail(chain);
    ASSERT_TRUE(root);
    auto list = root->List();
    ASSERT_EQ(list.size(), static_cast<size_t>(n));
    EXPECT_EQ(list.front().name, "S0");
    EXPECT_EQ(list.back().name, "S" + std::to_string(n - 1));
    EXPECT_TRUE(root->HasChild("s19999", false));  // found through the index, case folded
    std::unique_ptr<CfbStream> s;
    ASSERT_EQ(root->OpenStream("S12345", kSTGM_SHARE_EXCLUSIVE, &s), kS_OK);
    EXPECT_EQ(s->Size(), 8u);

    // Storages nested 20,000 deep, one inside the other, with a stream at the bottom.
    static const Bytes data = {42};
    std::vector<cfb::RawEntry> e(1);
    e[0].type = cfb::kTypeRoot;
    for (uint32_t i = 1; i <= 20000; ++i) {
        cfb::RawEntry st;
        st.name = u"D";
        st.type = cfb::kTypeStorage;
        e[i - 1].child = i;
        e.push_back(st);
    }
    cfb::RawEntry leaf;
    leaf.name = u"Leaf";
    leaf.data = &data;
    e.back().child = static_cast<uint32_t>(e.size());
    e.push_back(leaf);
    auto deep = OpenOrFail(cfb::LayoutFile(e));
    ASSERT_TRUE(deep);
    std::unique_ptr<CfbStorage> at = std::move(deep), next;
    for (int depth = 0; depth < 20000; ++depth) {
        ASSERT_EQ(at->OpenStorage("D", kSTGM_SHARE_EXCLUSIVE, &next), kS_OK) << depth;
        at = std::move(next);
    }
    ASSERT_EQ(at->OpenStream("Leaf", kSTGM_SHARE_EXCLUSIVE, &s), kS_OK);
    EXPECT_EQ(s->Contents(), data);
}

TEST(CfbReader, DirectoriesThatLinkNowhereAreRefusedWithAReason) {
    // (Loops: LoopsAreRefusedInBoundedTime.) A link past the directory's last entry.
    std::string beyond = OpenError(StreamsFile(3, [](std::vector<cfb::RawEntry>& e) {
        e[0].child = 1;
        e[1].right = 4000;
    }));
    EXPECT_NE(beyond.find("entry 1 links to entry 4000, beyond the 4 entries of the directory"), std::string::npos)
        << beyond;
    // A link to an unused slot, and to a second root.
    Bytes unused = StreamsFile(3, [](std::vector<cfb::RawEntry>& e) {
        e[0].child = 1;
        e[1].right = 2;
    });
    unused[EntryOffset(unused, 2) + cfb::kOffType] = cfb::kTypeUnused;
    EXPECT_NE(OpenError(unused).find("links to entry 2, which is of type 0 (unused)"), std::string::npos)
        << OpenError(unused);
    // A name longer than an entry holds.
    Bytes longName = StreamsFile(1, [](std::vector<cfb::RawEntry>& e) { e[0].child = 1; });
    cfb::PutU16(longName.data() + EntryOffset(longName, 1) + cfb::kOffNameLength, 0xFFFF);
    EXPECT_NE(OpenError(longName).find("entry 1 gives its name 65535 bytes; a name has at most 64"), std::string::npos);
    // The same files reach the caller of the database layer with the reason, not "Unknown".
    std::unique_ptr<dbo::TDboIStorage> storage;
    try {
        dbo::OpenRootStorageFromMemory(unused, "odd.DSN", storage);
        FAIL() << "a directory linking an unused entry was opened";
    } catch (const dbo::EDboFileIO& e) {
        EXPECT_EQ(std::string(e.what()),
                  "Error opening storage odd.DSN\r\nDamaged compound file: entry 1 links to entry 2, which is of type 0 "
                  "(unused)");
    }
}

TEST(CfbReader, LoopsAreRefusedInBoundedTime) {
    // A reader that missed a loop would walk on until the memory or the time ran out: each file
    // is opened in a child process of bounded time and address space, so that such a fault shows
    // as what stopped the child, not as a test that hangs.
    const Bytes chain = StreamsFile(5, [](std::vector<cfb::RawEntry>& e) {
        e[0].child = 1;
        for (int i = 1; i < 5; ++i) e[i].right = static_cast<uint32_t>(i + 1);
    });
    auto fatOf = [](Bytes& b, uint32_t sector) { return b.data() + 512 + 4 * sector; };  // one FAT sector
    struct Case {
        const char* what;
        Bytes file;
        std::string stream;  // opened after the file, when the loop lies in its chain
        std::string expected;
    };
    std::vector<Case> cases;
    cases.push_back({"a right link back to the first child",
                     StreamsFile(5, [](std::vector<cfb::RawEntry>& e) {
                         e[0].child = 1;
                         for (int i = 1; i < 5; ++i) e[i].right = static_cast<uint32_t>(i + 1);
                         e[5].right = 1;
                     }),
                     "", "Damaged compound file: entry 5 links to entry 1, which was reached before: the directory loops"});
    cases.push_back({"an entry that is its own left child", StreamsFile(3, [](std::vector<cfb::RawEntry>& e) {
                         e[0].child = 2;
                         e[2].left = 2;
                     }),
                     "", "Damaged compound file: entry 2 links to entry 2, which was reached before: the directory loops"});
    cases.push_back({"a link back to the root", StreamsFile(2, [](std::vector<cfb::RawEntry>& e) {
                         e[0].child = 1;
                         e[1].left = 0;
                     }),
                     "", "Damaged compound file: entry 1 links to entry 0, which was reached before: the directory loops"});
    Bytes dirLoop = chain;
    const uint32_t firstDir = cfb::GetU32(dirLoop.data() + cfb::kOffFirstDirSector);
    cfb::PutU32(fatOf(dirLoop, firstDir), firstDir);
    cases.push_back({"the directory's sector chain pointing back at itself", dirLoop, "",
                     "Damaged compound file: the sector chain of the directory loops"});
    Bytes miniFatLoop = chain;
    const uint32_t miniFat = cfb::GetU32(miniFatLoop.data() + cfb::kOffFirstMiniFatSector);
    cfb::PutU32(fatOf(miniFatLoop, miniFat), miniFat);
    cases.push_back({"the mini FAT's sector chain pointing back at itself", miniFatLoop, "S3",
                     "Damaged compound file: the sector chain of the mini FAT loops"});

    test::Bounds bounds;
    bounds.seconds = test::kSanitized ? 60 : 10;
    bounds.addressSpace = 1ull << 30;
    for (const Case& c : cases) {
        test::BoundedResult r = test::RunBounded(
            [&] {
                std::unique_ptr<CfbStorage> root;
                std::string detail;
                if (OpenStorageMemory(c.file, &root, &detail) != kS_OK) return detail;
                if (c.stream.empty()) return std::string("opened");
                std::unique_ptr<CfbStream> s;
                if (root->OpenStream(c.stream, kSTGM_SHARE_EXCLUSIVE, &s) != kS_OK) return root->ErrorDetail();
                return "stream " + c.stream + " read";
            },
            bounds);
        EXPECT_EQ(r.kind, test::BoundedResult::Returned)
            << c.what << ": the reader didn't refuse the loop within " << bounds.seconds
            << " s and 1 GiB; a loop left unchecked is walked until the time or the memory runs out. The child "
            << test::Describe(r);
        EXPECT_EQ(r.text, c.expected) << c.what;
    }
}

TEST(CfbReader, HeaderAndChainDamageIsNamed) {
    Bytes good = StreamsFile(2, [](std::vector<cfb::RawEntry>& e) {
        e[0].child = 1;
        e[1].right = 2;
    });
    auto with = [&](size_t at, uint32_t value, bool word = false) {
        Bytes b = good;
        if (word) cfb::PutU16(b.data() + at, static_cast<uint16_t>(value));
        else cfb::PutU32(b.data() + at, value);
        return OpenError(b);
    };
    EXPECT_EQ(with(cfb::kOffSectorShift, 31, true),
              "Damaged compound file: the header gives sectors of 2^31 bytes; a compound file has 512 or 4096");
    EXPECT_EQ(with(cfb::kOffMiniSectorShift, 7, true),
              "Damaged compound file: the header gives mini sectors of 2^7 bytes; a compound file has 64");
    EXPECT_EQ(with(cfb::kOffMiniStreamCutoff, 0),
              "Damaged compound file: the header gives a mini stream cutoff of 0 bytes; a compound file has 4096");
    EXPECT_NE(with(cfb::kOffFatSectorCount, 0x100000).find("the header counts 1048576 FAT sectors, more than the"),
              std::string::npos);
    EXPECT_NE(with(cfb::kOffFirstDirSector, 0x7FFFFFF0).find("the sector chain of the directory runs to sector"),
              std::string::npos);
    EXPECT_EQ(with(cfb::kOffByteOrder, 0xFEFF, true), "Damaged compound file: the header's byte-order mark is FEFF, not FFFE");
    Bytes shortFile(good.begin(), good.begin() + 300);
    EXPECT_EQ(OpenError(shortFile), "Damaged compound file: the file has 300 bytes, fewer than the 512-byte header");
}

TEST(CfbReader, StreamSizesPastTheFileAreRefusedWhenTheStreamIsOpened) {
    static const Bytes big(5000, 7), small(100, 9);
    std::vector<cfb::RawEntry> e(3);
    e[0].type = cfb::kTypeRoot;
    e[0].child = 1;
    e[1].name = u"Big";
    e[1].data = &big;
    e[1].right = 2;
    e[2].name = u"Small";
    e[2].data = &small;
    const Bytes good = cfb::LayoutFile(e);
    auto openStream = [](Bytes b, const std::string& name, std::string& detail) {
        auto root = OpenOrFail(std::move(b));
        std::unique_ptr<CfbStream> s;
        HResult hr = root->OpenStream(name, kSTGM_SHARE_EXCLUSIVE, &s);
        detail = root->ErrorDetail();
        return hr == kS_OK ? s->Size() : ~uint64_t(0);
    };
    std::string detail;
    EXPECT_EQ(openStream(good, "Big", detail), 5000u);
    EXPECT_EQ(openStream(good, "Small", detail), 100u);
    // 4 GiB exactly: the low word is 0 and a chain begins there. Not an empty stream.
    for (const char* name : {"Big", "Small"}) {
        Bytes b = good;
        size_t at = EntryOffset(b, std::string(name) == "Big" ? 1 : 2) + cfb::kOffSize;
        cfb::PutU32(b.data() + at, 0);
        cfb::PutU32(b.data() + at + 4, 1);
        EXPECT_EQ(openStream(b, name, detail), ~uint64_t(0)) << name;
        EXPECT_EQ(detail, fmt::format("Damaged compound file: stream \"{}\" claims 4294967296 bytes, more than the "
                                      "whole file ({} bytes)",
                                      name, b.size()));
        // One byte past the file.
        cfb::PutU32(b.data() + at, static_cast<uint32_t>(b.size() + 1));
        cfb::PutU32(b.data() + at + 4, 0);
        EXPECT_EQ(openStream(b, name, detail), ~uint64_t(0)) << name;
        EXPECT_NE(detail.find("more than the whole file"), std::string::npos) << detail;
    }
    // Older writers left garbage in the high word of a version 3 size: the low word is the size.
    Bytes garbage = good;
    cfb::PutU32(garbage.data() + EntryOffset(garbage, 2) + cfb::kOffSize + 4, 0x260);
    EXPECT_EQ(openStream(garbage, "Small", detail), 100u);
    // A chain shorter than the size, and one that runs into a free sector.
    Bytes shortChain = good;
    cfb::PutU32(shortChain.data() + EntryOffset(shortChain, 1) + cfb::kOffSize, 6000);
    EXPECT_EQ(openStream(shortChain, "Big", detail), ~uint64_t(0));
    EXPECT_NE(detail.find("the sector chain of stream \"Big\" ends after 10 of its 12 sectors"), std::string::npos)
        << detail;
}

TEST(CfbReader, ExactNamesBeforeCaseFoldedOnesWithAndWithoutTheIndex) {
    // "abc" stands before "ABC" in the directory; an exact name finds its own entry, a name in a
    // third case finds the first of the two. The same with enough siblings to use the hash index.
    for (int extra : {0, 40}) {
        static Bytes a = {1}, b = {2};
        std::vector<cfb::RawEntry> e(1);
        e[0].type = cfb::kTypeRoot;
        for (const auto& [name, data] : {std::pair{"abc", &a}, std::pair{"ABC", &b}}) {
            cfb::RawEntry s;
            s.name = U16(name);
            s.data = data;
            e.push_back(s);
        }
        for (int i = 0; i < extra; ++i) {
            cfb::RawEntry s;
            s.name = U16("X" + std::to_string(i));
            s.data = &a;
            e.push_back(s);
        }
        e[0].child = 1;
        for (size_t i = 1; i + 1 < e.size(); ++i) e[i].right = static_cast<uint32_t>(i + 1);
        auto root = OpenOrFail(cfb::LayoutFile(e));
        auto read = [&](const std::string& name) {
            std::unique_ptr<CfbStream> s;
            EXPECT_EQ(root->OpenStream(name, kSTGM_SHARE_EXCLUSIVE, &s), kS_OK) << name;
            return s ? s->Contents() : Bytes();
        };
        EXPECT_EQ(read("abc"), a) << extra;
        EXPECT_EQ(read("ABC"), b) << extra;
        EXPECT_EQ(read("Abc"), a) << extra;
        EXPECT_FALSE(root->HasChild("abcd", false));
        EXPECT_FALSE(root->HasChild("abc", true));  // a stream is not a storage
    }
}

TEST(CfbWriter, ManyChildrenGetABalancedRedBlackTreeInNameOrder) {
    // A storage of 3,000 streams written through the platform: it reads back whole, and its
    // tree is a valid red-black tree in the format's name order (length first, then case folded).
    auto dir = test::ScratchDir("cfb-writer");
    auto file = (dir / "many.cfb").string();
    {
        std::unique_ptr<CfbStorage> root, pages;
        ASSERT_EQ(CreateStorageFile(file, kSTGM_CREATE | kSTGM_READWRITE, &root), kS_OK);
        ASSERT_EQ(root->CreateStorage("Pages", kSTGM_CREATE, &pages), kS_OK);
        for (int i = 0; i < 3000; ++i) {
            std::unique_ptr<CfbStream> s;
            ASSERT_EQ(pages->CreateStream("P" + std::to_string(i * 7919 % 3000), kSTGM_CREATE, &s), kS_OK);
            uint32_t w;
            s->Write(&i, 4, &w);
        }
        pages.reset();
        ASSERT_EQ(root->Close(), kS_OK);
    }
    std::ifstream in(file, std::ios::binary);
    Bytes bytes((std::istreambuf_iterator<char>(in)), {});
    // Walk the raw tree below "Pages" (entry 1: the root's only child).
    auto entry = [&](uint32_t i) { return bytes.data() + EntryOffset(bytes, i); };
    auto name = [&](uint32_t i) {
        std::u16string n;
        for (size_t k = 0; k + 2 < cfb::GetU16(entry(i) + cfb::kOffNameLength); k += 2) n += cfb::GetU16(entry(i) + k);
        return n;
    };
    uint32_t top = cfb::GetU32(entry(1) + cfb::kOffChild);
    ASSERT_EQ(entry(top)[cfb::kOffColor], 1) << "the tree's root is black";
    int count = 0, blackHeight = -1;
    std::u16string last;
    std::function<void(uint32_t, int, bool, int)> walk = [&](uint32_t node, int blacks, bool parentRed, int depth) {
        ASSERT_LT(depth, 40);
        if (node == cfb::kNoEntry) {
            if (blackHeight < 0) blackHeight = blacks;
            EXPECT_EQ(blacks, blackHeight) << "every path holds as many black nodes";
            return;
        }
        bool red = entry(node)[cfb::kOffColor] == 0;
        EXPECT_FALSE(red && parentRed) << "no red node has a red child";
        walk(cfb::GetU32(entry(node) + cfb::kOffLeft), blacks + !red, red, depth + 1);
        std::u16string n = name(node);
        if (count > 0) {
            EXPECT_LT(cfb::CompareNames(last, n), 0) << "in name order";
        }
        last = n;
        ++count;
        walk(cfb::GetU32(entry(node) + cfb::kOffRight), blacks + !red, red, depth + 1);
    };
    walk(top, 0, false, 0);
    EXPECT_EQ(count, 3000);
    auto root = OpenOrFail(bytes);
    std::unique_ptr<CfbStorage> pages;
    ASSERT_EQ(root->OpenStorage("pages", kSTGM_SHARE_EXCLUSIVE, &pages), kS_OK);
    std::unique_ptr<CfbStream> s;
    ASSERT_EQ(pages->OpenStream("P1234", kSTGM_SHARE_EXCLUSIVE, &s), kS_OK);
    int value = -1;
    uint32_t got;
    s->Read(&value, 4, &got);
    EXPECT_EQ(value * 7919 % 3000, 1234);
}
