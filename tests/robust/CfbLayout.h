// Reads the layout of a compound file (header, FAT, mini FAT, directory) straight from its bytes,
// so that tests can damage chosen parts of it: a stream's bytes, a FAT chain, a directory entry.
// Independent of the library's own compound-file layer on purpose.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orcadx::test {

constexpr uint32_t kFreeSect = 0xFFFFFFFF;
constexpr uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr uint32_t kNoStream = 0xFFFFFFFF;

class CfbLayout {
public:
    // Raises std::runtime_error when `file` isn't a compound file this helper understands.
    explicit CfbLayout(const std::vector<uint8_t>& file);

    struct Entry {
        std::string name;  // ASCII part of the UTF-16 name
        uint8_t type = 0;  // 1 storage, 2 stream, 5 root
        uint32_t left = kNoStream, right = kNoStream, child = kNoStream;
        uint32_t start = 0;
        uint64_t size = 0;
        size_t offset = 0;  // of the 128-byte entry in the file
    };

    uint32_t sectorSize = 512;
    uint32_t miniSectorSize = 64;
    uint32_t miniCutoff = 4096;
    std::vector<uint32_t> fatSectors;  // sectors holding the FAT, in order
    std::vector<uint32_t> fat;
    std::vector<uint32_t> miniFat;
    std::vector<uint32_t> dirSectors;
    std::vector<uint32_t> miniStreamSectors;  // the root entry's chain
    std::vector<Entry> entries;

    // Index of the entry at `path` ("Views/V1/Pages/P1"), -1 when absent.
    int Find(const std::string& path) const;
    // Entries that are streams below `storagePath`, by index.
    std::vector<int> StreamsBelow(const std::string& storagePath) const;
    // File offset of byte `pos` of stream entry `index`.
    size_t FileOffset(int index, uint64_t pos) const;
    bool InMiniStream(int index) const { return entries[index].size < miniCutoff && entries[index].type == 2; }
    // The chain of sectors (or mini sectors) of an entry.
    std::vector<uint32_t> Chain(int index) const;
    // File offset of the FAT entry of `sector`, and of the mini FAT entry of `miniSector`.
    size_t FatEntryOffset(uint32_t sector) const;
    size_t MiniFatEntryOffset(uint32_t miniSector) const;
    size_t SectorOffset(uint32_t sector) const { return size_t(sector + 1) * sectorSize; }

private:
    std::vector<uint32_t> FollowChain(const std::vector<uint32_t>& table, uint32_t start) const;
    int FindChild(int storage, const std::string& name) const;
    void CollectChildren(uint32_t node, std::vector<int>& out, int depth) const;
    std::vector<uint32_t> miniFatSectors_;
};

uint32_t GetU32(const std::vector<uint8_t>& b, size_t at);
void PutU32(std::vector<uint8_t>& b, size_t at, uint32_t v);

}  // namespace orcadx::test
