// Damaged Capture files, made at run time from sample files: cut short, bytes changed in the
// streams that the loader reads, in the compound file's header, FAT and directory, chains that
// loop, streams longer than the file. Each load runs in a child process with a time limit and an
// address-space limit; it must load, or fail with Exception/EDboFileIO and a message, and its
// peak memory must stay within a bound set by the file's size.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

#include "CfbLayout.h"
#include "Isolated.h"
#include "TestSupport.h"
#include "fuzz/FuzzEntries.h"

namespace orcadx::test {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

// A design (headered, with pages), a library (headered) and an older library (version 2, no size
// headers): small enough that hundreds of loads stay quick under the sanitizers.
const char* const kSampleFiles[] = {"PREAMPL_SCHEM.DSN", "capsym.olb", "Capture_Libraries/oldlibs/POWER_9_0_0.OBK"};

Bytes ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

struct Sample {
    std::string name;
    Bytes bytes;
    std::unique_ptr<CfbLayout> layout;
    // Streams whose bytes get changed: "Library", "Cache" and one that holds objects.
    std::vector<std::pair<std::string, int>> streams;
};

std::vector<Sample> LoadSamples() {
    std::vector<Sample> out;
    for (const char* rel : kSampleFiles) {
        Sample s;
        s.name = rel;
        s.bytes = ReadFile(CorpusDir() / rel);
        s.layout = std::make_unique<CfbLayout>(s.bytes);
        for (const char* name : {"Library", "Cache"}) s.streams.push_back({name, s.layout->Find(name)});
        // A page of the first view, else a package, else a symbol.
        int objects = -1;
        std::string objectsName;
        for (const auto& e : s.layout->entries) {
            if (objects >= 0) break;
            if (e.type != 1) continue;
            std::string viewPath = "Views/" + e.name + "/Pages";
            auto pages = s.layout->StreamsBelow(viewPath);
            if (!pages.empty() && s.layout->Find(viewPath) >= 0) {
                objects = pages.front();
                objectsName = viewPath + "/" + s.layout->entries[objects].name;
            }
        }
        for (const char* storage : {"Packages", "Symbols"}) {
            if (objects >= 0) break;
            for (int k : s.layout->StreamsBelow(storage))
                if (s.layout->entries[k].name != "$Types$" && s.layout->entries[k].size > 0) {
                    objects = k;
                    objectsName = std::string(storage) + "/" + s.layout->entries[k].name;
                    break;
                }
        }
        s.streams.push_back({objectsName, objects});
        out.push_back(std::move(s));
    }
    return out;
}

// One damaged file: what was done to it, and its bytes.
struct Case {
    std::string label;
    Bytes bytes;
};

// Loads every case in a child and checks how each ended; prints a one-line tally.
void ExpectGracefulLoads(const std::string& group, const std::vector<Case>& cases) {
    std::map<int, int> tally;
    uint64_t maxPeak = 0;
    for (const auto& c : cases) {
        const Bytes& bytes = c.bytes;
        IsolatedResult r = RunIsolated([&] { return fuzz::LoadDesignImage(bytes.data(), bytes.size()); },
                                       LoadBounds(bytes.size()));
        ++tally[r.kind];
        maxPeak = std::max(maxPeak, r.peakBytes);
        EXPECT_TRUE(r.kind == IsolatedResult::Loaded || r.kind == IsolatedResult::Refused)
            << group << ", " << c.label << ": " << Describe(r);
        if (r.kind == IsolatedResult::Refused) {
            EXPECT_FALSE(r.message.empty()) << c.label;
        }
        EXPECT_LE(r.peakBytes, PeakBound(bytes.size())) << group << ", " << c.label << ": " << Describe(r);
    }
    std::cout << group << ": " << cases.size() << " files, " << tally[IsolatedResult::Loaded] << " loaded, "
              << tally[IsolatedResult::Refused] << " refused with a message, peak +" << maxPeak / 1024 << " KiB\n";
}

class DamagedFiles : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (HaveCorpus()) samples_ = new std::vector<Sample>(LoadSamples());
    }
    static void TearDownTestSuite() {
        delete samples_;
        samples_ = nullptr;
    }
    void SetUp() override { ORCADX_REQUIRE_CORPUS(); }
    static const std::vector<Sample>& Samples() { return *samples_; }
    static std::vector<Sample>* samples_;
};

std::vector<Sample>* DamagedFiles::samples_ = nullptr;

TEST_F(DamagedFiles, IntactSamplesLoadInTheHarness) {
    // The harness itself: intact files load in the child, and the damage below hits what it means
    // to (every stream was found in the layout).
    for (const auto& s : Samples()) {
        for (const auto& [name, index] : s.streams) {
            ASSERT_GE(index, 0) << s.name << ": no stream " << name;
            EXPECT_GT(s.layout->entries[index].size, 0u) << s.name << " " << name;
        }
        IsolatedResult r = RunIsolated([&] { return fuzz::LoadDesignImage(s.bytes.data(), s.bytes.size()); },
                                       LoadBounds(s.bytes.size()));
        EXPECT_EQ(r.kind, IsolatedResult::Loaded) << s.name << ": " << Describe(r);
        EXPECT_GT(r.peakBytes, 0u) << s.name;
        EXPECT_LE(r.peakBytes, PeakBound(s.bytes.size())) << s.name;
        // The layout reads back the bytes of the stream "Library": its identifier opens it.
        int lib = s.layout->Find("Library");
        std::string id;
        for (int i = 0; i < 12; ++i) id += static_cast<char>(s.bytes[s.layout->FileOffset(lib, i)]);
        EXPECT_EQ(id, "OrCAD Window") << s.name;
    }
    // A child that hangs is stopped, and one that dies is reported as such.
    Bounds quick;
    quick.seconds = 1;
    EXPECT_EQ(RunIsolated([]() -> fuzz::LoadResult { for (;;) pause(); }, quick).kind, IsolatedResult::TimedOut);
    EXPECT_EQ(RunIsolated([]() -> fuzz::LoadResult { abort(); }, quick).kind, IsolatedResult::Crashed);
    EXPECT_EQ(RunIsolated([]() -> fuzz::LoadResult { throw std::out_of_range("x"); }, quick).kind,
              IsolatedResult::Escaped);
    // An allocation past the address-space bound doesn't pass as a load (it ends in bad_alloc, or
    // in the sanitizer's out-of-memory report).
    Bounds bounded = LoadBounds(1 << 20);
    IsolatedResult huge = RunIsolated(
        [&]() -> fuzz::LoadResult {
            std::vector<uint8_t> v(bounded.addressSpace + (1ull << 30), 1);
            return {v[v.size() / 2] == 1, "filled"};
        },
        bounded);
    EXPECT_TRUE(huge.kind == IsolatedResult::Escaped || huge.kind == IsolatedResult::Crashed) << Describe(huge);
}

TEST_F(DamagedFiles, CutShort) {
    std::vector<Case> cases;
    for (const auto& s : Samples()) {
        const size_t size = s.bytes.size();
        std::vector<size_t> cuts = {0, 7, 8, 76, 511, 512, 513, size - 512, size - 1};
        for (size_t i = 1; i < 48; ++i) cuts.push_back(i * size / 48 + (i * 37) % 61);
        for (size_t cut : cuts) {
            if (cut >= size) continue;
            cases.push_back({s.name + " cut at " + std::to_string(cut), Bytes(s.bytes.begin(), s.bytes.begin() + cut)});
        }
    }
    ExpectGracefulLoads("cut short", cases);
}

TEST_F(DamagedFiles, StreamBytesChanged) {
    std::vector<Case> cases;
    for (const auto& s : Samples()) {
        for (const auto& [name, index] : s.streams) {
            const uint64_t size = s.layout->entries[index].size;
            for (uint64_t k = 0; k < 16; ++k) {
                uint64_t pos = std::min<uint64_t>(size - 1, k * size / 16 + (k * 7919) % 13);
                Case flipped{s.name + " " + name + " byte " + std::to_string(pos) + " inverted", s.bytes};
                flipped.bytes[s.layout->FileOffset(index, pos)] ^= 0xFF;
                cases.push_back(std::move(flipped));
                // Four bytes of 0xFF: the largest counts and lengths a field can hold.
                Case saturated{s.name + " " + name + " bytes " + std::to_string(pos) + "+4 set to FF", s.bytes};
                for (uint64_t p = pos; p < pos + 4 && p < size; ++p) saturated.bytes[s.layout->FileOffset(index, p)] = 0xFF;
                cases.push_back(std::move(saturated));
            }
        }
    }
    ExpectGracefulLoads("stream bytes changed", cases);
}

TEST_F(DamagedFiles, CompoundFileHeaderDamaged) {
    std::vector<Case> cases;
    for (const auto& s : Samples()) {
        // Every byte of the header's fields and of the first DIFAT entries, one at a time.
        for (size_t at = 0x08; at < 0x5C; ++at) {
            Case c{s.name + " header byte " + std::to_string(at) + " inverted", s.bytes};
            c.bytes[at] ^= 0xFF;
            cases.push_back(std::move(c));
        }
        auto set = [&](const std::string& what, size_t at, uint32_t value) {
            Case c{s.name + " header: " + what, s.bytes};
            PutU32(c.bytes, at, value);
            cases.push_back(std::move(c));
        };
        set("sector shift 31", 0x1E, 0x0006001F);
        set("sector shift 0", 0x1E, 0x00060000);
        set("FAT sector count 2^32-1", 0x2C, 0xFFFFFFFF);
        set("FAT sector count 2^20", 0x2C, 0x100000);
        set("directory sector count huge", 0x28, 0x7FFFFFFF);
        set("first directory sector beyond the file", 0x30, 0x7FFFFFF0);
        set("first directory sector end of chain", 0x30, kEndOfChain);
        set("mini stream cutoff 0", 0x38, 0);
        set("first mini FAT sector beyond the file", 0x3C, 0x7FFFFFF0);
        set("mini FAT sector count huge", 0x40, 0x7FFFFFFF);
        set("first FAT sector beyond the file", 0x4C, 0x7FFFFFF0);
        set("first FAT sector free", 0x4C, kFreeSect);
        // A DIFAT sector whose link points back at itself.
        {
            Case c{s.name + " header: DIFAT chain loops", s.bytes};
            uint32_t difat = s.layout->fatSectors.front();
            PutU32(c.bytes, 0x44, difat);
            PutU32(c.bytes, 0x48, 1);
            PutU32(c.bytes, 0x2C, 109 + 200);
            PutU32(c.bytes, s.layout->SectorOffset(difat) + s.layout->sectorSize - 4, difat);
            cases.push_back(std::move(c));
        }
    }
    ExpectGracefulLoads("compound-file header damaged", cases);
}

TEST_F(DamagedFiles, SectorChainsDamaged) {
    std::vector<Case> cases;
    for (const auto& s : Samples()) {
        const CfbLayout& l = *s.layout;
        auto setFat = [&](const std::string& what, size_t entryOffset, uint32_t value) {
            Case c{s.name + ": " + what, s.bytes};
            PutU32(c.bytes, entryOffset, value);
            cases.push_back(std::move(c));
        };
        for (const auto& [name, index] : s.streams) {
            auto chain = l.Chain(index);
            bool mini = l.InMiniStream(index);
            auto entryOf = [&](uint32_t sector) { return mini ? l.MiniFatEntryOffset(sector) : l.FatEntryOffset(sector); };
            std::string kind = mini ? " mini FAT" : " FAT";
            setFat(name + kind + " chain loops back to its start", entryOf(chain.back()), chain.front());
            setFat(name + kind + " first sector links to itself", entryOf(chain.front()), chain.front());
            setFat(name + kind + " chain runs beyond the file", entryOf(chain.front()), 0x7FFFFFF0);
            setFat(name + kind + " chain ends early", entryOf(chain.front()), kEndOfChain);
            setFat(name + kind + " chain hits a free sector", entryOf(chain.front()), kFreeSect);
        }
        setFat("directory chain loops", l.FatEntryOffset(l.dirSectors.back()), l.dirSectors.front());
        setFat("directory chain runs beyond the file", l.FatEntryOffset(l.dirSectors.front()), 0x7FFFFFF0);
        setFat("mini stream chain loops", l.FatEntryOffset(l.miniStreamSectors.back()), l.miniStreamSectors.front());
        setFat("mini stream chain ends early", l.FatEntryOffset(l.miniStreamSectors.front()), kEndOfChain);
        setFat("FAT sector marked as free data", l.FatEntryOffset(l.fatSectors.front()), 1);
        // FAT entries set to arbitrary values, spread over the table.
        uint32_t state = 12345;
        size_t used = std::min<size_t>(l.fat.size(), s.bytes.size() / l.sectorSize);
        for (int k = 0; k < 24; ++k) {
            state = state * 1103515245 + 12345;
            uint32_t sector = static_cast<uint32_t>((k * used) / 24);
            uint32_t value = (state >> 8) % (used + 4);
            setFat("FAT entry " + std::to_string(sector) + " set to " + std::to_string(value), l.FatEntryOffset(sector),
                   value);
        }
    }
    ExpectGracefulLoads("sector chains damaged", cases);
}

TEST_F(DamagedFiles, DirectoryDamaged) {
    std::vector<Case> cases;
    for (const auto& s : Samples()) {
        const CfbLayout& l = *s.layout;
        const uint32_t fileSize = static_cast<uint32_t>(s.bytes.size());
        auto set = [&](const std::string& what, size_t at, uint32_t value) {
            Case c{s.name + ": " + what, s.bytes};
            PutU32(c.bytes, at, value);
            cases.push_back(std::move(c));
        };
        for (const auto& [name, index] : s.streams) {
            size_t e = l.entries[index].offset;
            set(name + " length one beyond the file", e + 0x78, fileSize + 1);
            set(name + " length 2^31-1", e + 0x78, 0x7FFFFFFF);
            set(name + " length 2^32-1", e + 0x78, 0xFFFFFFFF);
            set(name + " length's high word set", e + 0x7C, 1);
            set(name + " length doubled", e + 0x78, static_cast<uint32_t>(l.entries[index].size * 2));
            set(name + " length 0", e + 0x78, 0);
            set(name + " first sector beyond the file", e + 0x74, 0x7FFFFFF0);
            set(name + " first sector end of chain", e + 0x74, kEndOfChain);
            set(name + " left sibling is itself", e + 0x44, static_cast<uint32_t>(index));
            set(name + " right sibling is the root", e + 0x48, 0);
            set(name + " child is itself", e + 0x4C, static_cast<uint32_t>(index));
            {
                Case c{s.name + ": " + name + " marked as a storage", s.bytes};
                c.bytes[e + 0x42] = 1;
                cases.push_back(std::move(c));
            }
            {
                Case c{s.name + ": " + name + " of an unknown type", s.bytes};
                c.bytes[e + 0x42] = 7;
                cases.push_back(std::move(c));
            }
            {
                Case c{s.name + ": " + name + " name length 0xFFFF", s.bytes};
                c.bytes[e + 0x40] = c.bytes[e + 0x41] = 0xFF;
                cases.push_back(std::move(c));
            }
        }
        size_t root = l.entries[0].offset;
        // The root has no siblings; links set there once left entries of no storage behind.
        set("root's left sibling is a stream", root + 0x44, static_cast<uint32_t>(s.streams[0].second));
        set("root's right sibling is the root's child", root + 0x48, l.entries[0].child);
        set("root's child is the root", root + 0x4C, 0);
        set("root's child beyond the directory", root + 0x4C, 0x00FFFFFF);
        set("root's mini stream length 2^32-1", root + 0x78, 0xFFFFFFFF);
        set("root's mini stream beyond the file", root + 0x74, 0x7FFFFFF0);
        // Every directory entry's sibling links pointing at the root's first child: a cycle
        // through the whole tree.
        {
            Case c{s.name + ": every sibling link points at the first child", s.bytes};
            for (size_t i = 1; i < l.entries.size(); ++i)
                if (l.entries[i].type != 0) PutU32(c.bytes, l.entries[i].offset + 0x44, l.entries[0].child);
            cases.push_back(std::move(c));
        }
    }
    ExpectGracefulLoads("directory damaged", cases);
}

// Inputs that once made a fuzz target fail, kept so that the fault stays fixed. Each loads or
// fails with a message in a bounded time and memory.
TEST(FuzzRegressionInputs, LoadOrFailWithAMessage) {
    fs::path dir = fs::path(ORCADX_SOURCE_DIR) / "tests" / "data" / "fuzz";
    int count = 0;
    for (const char* target : {"design", "records"}) {
        if (!fs::is_directory(dir / target)) continue;
        for (const auto& entry : fs::directory_iterator(dir / target)) {
            if (!entry.is_regular_file()) continue;
            Bytes bytes = ReadFile(entry.path());
            bool design = std::string(target) == "design";
            IsolatedResult r = RunIsolated(
                [&] {
                    return design ? fuzz::LoadDesignImage(bytes.data(), bytes.size())
                                  : fuzz::LoadRecordStream(bytes.data(), bytes.size());
                },
                LoadBounds(bytes.size()));
            EXPECT_TRUE(r.kind == IsolatedResult::Loaded || r.kind == IsolatedResult::Refused)
                << entry.path() << ": " << Describe(r);
            EXPECT_LE(r.peakBytes, PeakBound(bytes.size())) << entry.path() << ": " << Describe(r);
            ++count;
        }
    }
    std::cout << count << " regression inputs\n";
}

}  // namespace
}  // namespace orcadx::test
