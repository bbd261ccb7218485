// Reading a compound file held in memory. Everything that a walk of the file depends on is checked
// when it is opened (header, DIFAT, FAT, mini FAT, the directory and the trees of every storage);
// a stream's own chain is checked when the stream is read. Nothing recurses: a directory nested
// any depth deep, or a storage whose children form one long chain, is walked with a stack of its
// own, and every entry may be reached once only, so a directory that loops is refused.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/NameIndex.h"

namespace orcadx::platform::cfb {

class Reader {
public:
    struct Entry {
        std::string name;  // UTF-8
        uint8_t type = 0;  // kTypeStorage, kTypeStream or kTypeRoot
        uint32_t left = 0, right = 0, child = 0;
        uint32_t start = 0;
        uint64_t size = 0;
        uint32_t sizeHigh = 0;         // high word of the size field of a version 3 file, not in `size`
        uint16_t nameBytes = 0;        // as the entry gives it, terminator included
        uint32_t parent = 0xFFFFFFFF;  // the storage that holds it
    };

    // Parses and checks the structure of the `size` bytes at `data`, which `owner` keeps alive as
    // long as the reader; null, with `error` saying what is wrong, when the file is refused.
    static std::unique_ptr<Reader> Open(const uint8_t* data, size_t size, std::shared_ptr<const void> owner,
                                        std::string& error);
    ~Reader();

    uint64_t FileSize() const { return size_; }
    const Entry& GetEntry(uint32_t index) const { return entries_[index]; }
    // The children of a storage in the order of its tree (the file's directory order).
    const uint32_t* ChildrenBegin(uint32_t storage) const { return children_.data() + ranges_[storage].first; }
    uint32_t ChildCount(uint32_t storage) const { return ranges_[storage].second; }
    // The child named `name`: an exact match first, else the first one whose name differs only in
    // the case of the letters a to z. kNoEntry when there is none.
    uint32_t Find(uint32_t storage, const std::string& name) const;
    // The bytes of stream `entry`, its size long: `data` points at them, inside the file when the
    // stream's sectors follow one another there (Owner keeps them), else into `copy`, which then
    // holds them. False, with `error` set, when its size or chain is damaged.
    bool ReadStream(uint32_t entry, const uint8_t*& data, std::vector<uint8_t>& copy, std::string& error) const;
    const std::shared_ptr<const void>& Owner() const { return owner_; }
    // "Views/V1/Pages/P1", for messages; long paths are shortened at the front.
    std::string PathOf(uint32_t entry) const;

private:
    Reader() = default;
    bool Parse(std::string& error);
    bool ReadFat(std::string& error);
    bool ReadDirectory(std::string& error);
    bool WalkTrees(std::string& error);
    // The sectors of a chain that ends with kEndOfChain, at most `limit` of them.
    bool FollowChain(const std::vector<uint32_t>& table, uint32_t start, size_t limit, const std::string& what,
                     std::vector<uint32_t>& chain, std::string& error) const;
    // Exactly `count` sectors of a chain.
    bool FollowCount(const std::vector<uint32_t>& table, uint32_t start, size_t count, const std::string& what,
                     std::vector<uint32_t>& chain, std::string& error) const;
    bool PrepareMiniStream(std::string& error) const;
    uint64_t SectorOffset(uint32_t sector) const { return (uint64_t(sector) + 1) << sectorShift_; }

    struct ChildIndex {
        NameIndex<false> exact;  // positions among the storage's children
        NameIndex<true> folded;
        bool foldedReady = false;
    };

    const uint8_t* data_ = nullptr;
    size_t size_ = 0;
    std::shared_ptr<const void> owner_;
    unsigned sectorShift_ = 9;
    uint32_t sectorSize_ = 512;
    uint64_t sectorCount_ = 0;  // sectors that begin inside the file
    uint32_t miniCutoff_ = 4096;
    std::vector<uint32_t> fat_;
    mutable std::vector<uint32_t> miniFat_;  // read with the mini stream
    std::vector<Entry> entries_;
    std::vector<uint32_t> children_;                        // the children of all storages
    std::vector<std::pair<uint32_t, uint32_t>> ranges_;     // per entry: first child in children_, count
    mutable std::unordered_map<uint32_t, ChildIndex> indexes_;  // of storages with many children
    mutable bool miniReady_ = false;
    mutable std::vector<uint32_t> miniStream_;  // the root's sectors, holding the mini sectors
};

}  // namespace orcadx::platform::cfb
