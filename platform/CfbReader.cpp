#include "platform/CfbReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "platform/CfbFormat.h"
#include "platform/CodePage.h"
#include "platform/TextCompare.h"

namespace orcadx::platform::cfb {

namespace {

// Storages with more children than this get a hash index of their names on the first lookup.
constexpr uint32_t kIndexedChildren = 16;

const char* TypeName(uint8_t type) {
    switch (type) {
        case kTypeUnused: return "unused";
        case kTypeStorage: return "storage";
        case kTypeStream: return "stream";
        case kTypeRoot: return "root";
        default: return "unknown";
    }
}

}  // namespace

Reader::~Reader() = default;

std::unique_ptr<Reader> Reader::Open(const uint8_t* data, size_t size, std::shared_ptr<const void> owner,
                                     std::string& error) {
    std::unique_ptr<Reader> r(new Reader());
    r->data_ = data;
    r->size_ = size;
    r->owner_ = std::move(owner);
    if (!r->Parse(error)) {
        error = "Damaged compound file: " + error;
        return nullptr;
    }
    return r;
}

bool Reader::Parse(std::string& error) {
    if (size_ < 8 || std::memcmp(data_, kSignature, 8) != 0) {
        error = "the compound-file signature is missing";
        return false;
    }
    if (size_ < kHeaderSize) {
        error = fmt::format("the file has {} bytes, fewer than the {}-byte header", size_, kHeaderSize);
        return false;
    }
    const uint8_t* h = data_;
    uint16_t order = GetU16(h + kOffByteOrder);
    if (order != 0xFFFE) {
        error = fmt::format("the header's byte-order mark is {:04X}, not FFFE", order);
        return false;
    }
    sectorShift_ = GetU16(h + kOffSectorShift);
    if (sectorShift_ != 9 && sectorShift_ != 12) {
        error = fmt::format("the header gives sectors of 2^{} bytes; a compound file has 512 or 4096", sectorShift_);
        return false;
    }
    sectorSize_ = 1u << sectorShift_;
    uint16_t miniShift = GetU16(h + kOffMiniSectorShift);
    if (miniShift != 6) {
        error = fmt::format("the header gives mini sectors of 2^{} bytes; a compound file has 64", miniShift);
        return false;
    }
    miniCutoff_ = GetU32(h + kOffMiniStreamCutoff);
    if (miniCutoff_ != kMiniStreamCutoff) {
        error = fmt::format("the header gives a mini stream cutoff of {} bytes; a compound file has {}", miniCutoff_,
                            kMiniStreamCutoff);
        return false;
    }
    // The header fills sector -1, whatever the sector size.
    sectorCount_ = size_ > sectorSize_ ? (size_ - sectorSize_ + sectorSize_ - 1) / sectorSize_ : 0;
    return ReadFat(error) && ReadDirectory(error) && WalkTrees(error);
}

bool Reader::ReadFat(std::string& error) {
    const uint8_t* h = data_;
    const uint32_t fatCount = GetU32(h + kOffFatSectorCount);
    if (fatCount > sectorCount_) {
        error = fmt::format("the header counts {} FAT sectors, more than the {} sectors of the file", fatCount,
                            sectorCount_);
        return false;
    }
    const uint32_t perSector = sectorSize_ / 4;
    std::vector<uint32_t> fatSectors;
    fatSectors.reserve(fatCount);
    for (size_t i = 0; i < kHeaderDifatEntries && fatSectors.size() < fatCount; ++i)
        fatSectors.push_back(GetU32(h + kOffDifat + 4 * i));
    uint32_t difat = GetU32(h + kOffFirstDifatSector);
    uint64_t difatSeen = 0;
    while (fatSectors.size() < fatCount) {
        if (difat == kEndOfChain || difat == kFreeSector) {
            error = fmt::format("the DIFAT lists {} of the {} FAT sectors that the header counts", fatSectors.size(),
                                fatCount);
            return false;
        }
        if (difat >= sectorCount_) {
            error = fmt::format("DIFAT sector {} lies beyond the end of the file", difat);
            return false;
        }
        if (++difatSeen > sectorCount_) {
            error = "the DIFAT's chain of sectors loops";
            return false;
        }
        const uint8_t* s = data_ + SectorOffset(difat);
        for (uint32_t i = 0; i + 1 < perSector && fatSectors.size() < fatCount; ++i) fatSectors.push_back(GetU32(s + 4 * i));
        difat = GetU32(s + 4 * (perSector - 1));
    }
    fat_.assign(size_t(fatCount) * perSector, kFreeSector);
    for (size_t k = 0; k < fatSectors.size(); ++k) {
        uint32_t sector = fatSectors[k];
        if (sector >= sectorCount_ || SectorOffset(sector) + sectorSize_ > size_) {
            error = fmt::format("FAT sector {} (number {} of {}) lies beyond the end of the file", sector, k + 1,
                                fatCount);
            return false;
        }
        const uint8_t* s = data_ + SectorOffset(sector);
        for (uint32_t i = 0; i < perSector; ++i) fat_[k * perSector + i] = GetU32(s + 4 * i);
    }
    return true;
}

bool Reader::FollowChain(const std::vector<uint32_t>& table, uint32_t start, size_t limit, const std::string& what,
                         std::vector<uint32_t>& chain, std::string& error) const {
    chain.clear();
    for (uint32_t s = start; s != kEndOfChain;) {
        if (s >= table.size()) {
            error = fmt::format("the sector chain of {} runs to {}, beyond the table of {} sectors", what,
                                s == kFreeSector ? std::string("a free sector") : fmt::format("sector {}", s),
                                table.size());
            return false;
        }
        if (chain.size() >= limit) {
            error = fmt::format("the sector chain of {} loops", what);
            return false;
        }
        chain.push_back(s);
        s = table[s];
    }
    return true;
}

bool Reader::FollowCount(const std::vector<uint32_t>& table, uint32_t start, size_t count, const std::string& what,
                         std::vector<uint32_t>& chain, std::string& error) const {
    chain.clear();
    chain.reserve(count);
    uint32_t s = start;
    for (size_t i = 0; i < count; ++i) {
        if (s == kEndOfChain) {
            error = fmt::format("the sector chain of {} ends after {} of its {} sectors", what, i, count);
            return false;
        }
        if (s >= table.size()) {
            error = fmt::format("the sector chain of {} runs to {}, beyond the table of {} sectors", what,
                                s == kFreeSector ? std::string("a free sector") : fmt::format("sector {}", s),
                                table.size());
            return false;
        }
        chain.push_back(s);
        s = table[s];
    }
    return true;
}

bool Reader::ReadDirectory(std::string& error) {
    std::vector<uint32_t> sectors;
    size_t limit = std::min<uint64_t>(fat_.size(), sectorCount_);
    if (!FollowChain(fat_, GetU32(data_ + kOffFirstDirSector), limit, "the directory", sectors, error))
        return false;
    const size_t perSector = sectorSize_ / kEntrySize;
    entries_.resize(sectors.size() * perSector);
    for (size_t k = 0; k < sectors.size(); ++k) {
        if (SectorOffset(sectors[k]) + sectorSize_ > size_) {
            error = fmt::format("directory sector {} lies beyond the end of the file", sectors[k]);
            return false;
        }
        const uint8_t* s = data_ + SectorOffset(sectors[k]);
        for (size_t i = 0; i < perSector; ++i) {
            const uint8_t* e = s + i * kEntrySize;
            Entry& entry = entries_[k * perSector + i];
            entry.type = e[kOffType];
            if (entry.type == kTypeUnused) continue;
            entry.left = GetU32(e + kOffLeft);
            entry.right = GetU32(e + kOffRight);
            entry.child = GetU32(e + kOffChild);
            entry.start = GetU32(e + kOffStartSector);
            entry.size = GetU64(e + kOffSize);
            // Files with 512-byte sectors hold sizes below 2 GiB, and older writers left garbage in
            // the size's high word (real Capture libraries have it): it is kept apart, not taken.
            if (sectorShift_ == 9) {
                entry.sizeHigh = static_cast<uint32_t>(entry.size >> 32);
                entry.size &= 0xFFFFFFFF;
            }
            // The name is checked only once the entry is found in a tree: unused slots may hold anything.
            entry.nameBytes = GetU16(e + kOffNameLength);
            size_t units = std::min<size_t>(entry.nameBytes, kMaxNameBytes) / 2;
            char16_t name[32];
            size_t n = 0;
            for (; n < units && n < 32; ++n) {
                name[n] = static_cast<char16_t>(GetU16(e + kOffName + 2 * n));
                if (name[n] == 0) break;
            }
            entry.name = Utf16ToUtf8(std::u16string_view(name, n));
        }
    }
    if (entries_.empty() || entries_[0].type != kTypeRoot) {
        error = entries_.empty() ? std::string("the directory is empty")
                                 : fmt::format("the directory's first entry is of type {} ({}), not the root",
                                               entries_[0].type, TypeName(entries_[0].type));
        return false;
    }
    return true;
}

bool Reader::WalkTrees(std::string& error) {
    const uint32_t count = static_cast<uint32_t>(entries_.size());
    std::vector<bool> seen(count, false);
    ranges_.assign(count, {0, 0});
    children_.reserve(count);
    seen[0] = true;
    // Storages are taken in the order they are found; each storage's tree is walked in order with
    // an explicit stack, marking every entry as it is first reached.
    std::vector<uint32_t> storages{0}, stack;
    for (size_t next = 0; next < storages.size(); ++next) {
        const uint32_t storage = storages[next];
        ranges_[storage].first = static_cast<uint32_t>(children_.size());
        auto reach = [&](uint32_t link, uint32_t from) {
            if (link == kNoEntry) return true;
            if (link >= count) {
                error = fmt::format("entry {} links to entry {}, beyond the {} entries of the directory", from, link,
                                    count);
                return false;
            }
            const Entry& e = entries_[link];
            if (seen[link]) {
                error = fmt::format("entry {} links to entry {}, which was reached before: the directory loops", from,
                                    link);
                return false;
            }
            if (e.type != kTypeStorage && e.type != kTypeStream) {
                error = fmt::format("entry {} links to entry {}, which is of type {} ({})", from, link, e.type,
                                    TypeName(e.type));
                return false;
            }
            if (e.nameBytes > kMaxNameBytes) {
                error = fmt::format("entry {} gives its name {} bytes; a name has at most {}", link, e.nameBytes,
                                    kMaxNameBytes);
                return false;
            }
            seen[link] = true;
            stack.push_back(link);
            return true;
        };
        stack.clear();
        // Push the left spine of a subtree.
        auto descend = [&](uint32_t link, uint32_t from) {
            while (link != kNoEntry) {
                if (!reach(link, from)) return false;
                from = link;
                link = entries_[link].left;
            }
            return true;
        };
        if (!descend(entries_[storage].child, storage)) return false;
        while (!stack.empty()) {
            uint32_t node = stack.back();
            stack.pop_back();
            children_.push_back(node);
            entries_[node].parent = storage;
            if (entries_[node].type == kTypeStorage) storages.push_back(node);
            if (!descend(entries_[node].right, node)) return false;
        }
        ranges_[storage].second = static_cast<uint32_t>(children_.size()) - ranges_[storage].first;
    }
    return true;
}

uint32_t Reader::Find(uint32_t storage, const std::string& name) const {
    const uint32_t* kids = ChildrenBegin(storage);
    const uint32_t n = ChildCount(storage);
    if (n <= kIndexedChildren) {
        for (uint32_t i = 0; i < n; ++i)
            if (entries_[kids[i]].name == name) return kids[i];
        for (uint32_t i = 0; i < n; ++i)
            if (SameTextNoCase(entries_[kids[i]].name, name)) return kids[i];
        return kNoEntry;
    }
    auto nameOf = [&](uint32_t i) { return std::string_view(entries_[kids[i]].name); };
    auto [it, made] = indexes_.try_emplace(storage);
    ChildIndex& index = it->second;
    // The first child of a name wins, as a search from the start would find it. The index that
    // ignores case is made on the first name that misses the exact one: most lookups never need it.
    if (made)
        for (uint32_t i = 0; i < n; ++i) index.exact.Add(i, nameOf);
    int64_t at = index.exact.Find(name, nameOf);
    if (at < 0) {
        if (!index.foldedReady) {
            for (uint32_t i = 0; i < n; ++i) index.folded.Add(i, nameOf);
            index.foldedReady = true;
        }
        at = index.folded.Find(name, nameOf);
    }
    return at < 0 ? kNoEntry : kids[at];
}

bool Reader::PrepareMiniStream(std::string& error) const {
    if (miniReady_) return true;
    const Entry& root = entries_[0];
    if (root.size > size_) {
        error = fmt::format("Damaged compound file: the mini stream claims {} bytes, more than the file's {}",
                            root.size, size_);
        return false;
    }
    size_t count = static_cast<size_t>((root.size + sectorSize_ - 1) / sectorSize_);
    std::vector<uint32_t> chain;
    if (!FollowCount(fat_, root.start, count, "the mini stream", chain, error)) {
        error = "Damaged compound file: " + error;
        return false;
    }
    // The mini FAT: a plain chain of sectors of the FAT.
    std::vector<uint32_t> miniFatSectors;
    size_t limit = std::min<uint64_t>(fat_.size(), sectorCount_);
    if (!FollowChain(fat_, GetU32(data_ + kOffFirstMiniFatSector), limit, "the mini FAT", miniFatSectors,
                     error)) {
        error = "Damaged compound file: " + error;
        return false;
    }
    const uint32_t perSector = sectorSize_ / 4;
    std::vector<uint32_t> miniFat(miniFatSectors.size() * perSector, kFreeSector);
    for (size_t k = 0; k < miniFatSectors.size(); ++k) {
        if (SectorOffset(miniFatSectors[k]) + sectorSize_ > size_) {
            error = fmt::format("Damaged compound file: mini FAT sector {} lies beyond the end of the file",
                                miniFatSectors[k]);
            return false;
        }
        const uint8_t* s = data_ + SectorOffset(miniFatSectors[k]);
        for (uint32_t i = 0; i < perSector; ++i) miniFat[k * perSector + i] = GetU32(s + 4 * i);
    }
    miniStream_ = std::move(chain);
    miniFat_ = std::move(miniFat);
    miniReady_ = true;
    return true;
}

bool Reader::ReadStream(uint32_t index, const uint8_t*& data, std::vector<uint8_t>& copy, std::string& error) const {
    const Entry& e = entries_[index];
    data = nullptr;
    copy.clear();
    // A size of 4 GiB or more with nothing in the low word isn't an empty stream when a chain of
    // sectors begins there: it is a size past the file, not to be read as 0.
    const bool pastLowWord = e.size == 0 && e.sizeHigh != 0 && e.start != kEndOfChain;
    if (e.size > size_ || pastLowWord) {
        error = fmt::format("Damaged compound file: stream \"{}\" claims {} bytes, more than the whole file ({} bytes)",
                            PathOf(index), e.size | (uint64_t(e.sizeHigh) << 32), size_);
        return false;
    }
    if (e.size == 0) return true;
    const size_t size = static_cast<size_t>(e.size);
    // Where each piece of the stream lies in the file: whole sectors, or mini sectors.
    std::vector<std::pair<uint64_t, size_t>> pieces;
    std::vector<uint32_t> chain;
    std::string what = "stream \"" + PathOf(index) + "\"";
    const bool mini = size < miniCutoff_;
    const uint32_t unit = mini ? kMiniSectorSize : sectorSize_;
    if (mini && !PrepareMiniStream(error)) return false;
    if (!FollowCount(mini ? miniFat_ : fat_, e.start, (size + unit - 1) / unit, what, chain, error)) {
        error = "Damaged compound file: " + error;
        return false;
    }
    pieces.reserve(chain.size());
    size_t done = 0;
    for (uint32_t sector : chain) {
        size_t n = std::min<size_t>(unit, size - done);
        uint64_t file = SectorOffset(sector);
        if (mini) {
            uint64_t at = uint64_t(sector) * kMiniSectorSize;
            if (at + n > entries_[0].size) {
                error = fmt::format("Damaged compound file: mini sector {} of {} lies beyond the mini stream", sector,
                                    what);
                return false;
            }
            file = SectorOffset(miniStream_[at >> sectorShift_]) + (at & (sectorSize_ - 1));
        }
        if (file + n > size_) {
            error = fmt::format("Damaged compound file: {}sector {} of {} lies beyond the end of the file",
                                mini ? "mini " : "", sector, what);
            return false;
        }
        pieces.push_back({file, n});
        done += n;
    }
    // Pieces that follow one another in the file are read where they are.
    bool contiguous = true;
    for (size_t i = 1; i < pieces.size() && contiguous; ++i)
        contiguous = pieces[i].first == pieces[i - 1].first + pieces[i - 1].second;
    if (contiguous) {
        data = data_ + pieces.front().first;
        return true;
    }
    copy.resize(size);
    done = 0;
    for (const auto& [file, n] : pieces) {
        std::memcpy(copy.data() + done, data_ + file, n);
        done += n;
    }
    data = copy.data();
    return true;
}

std::string Reader::PathOf(uint32_t index) const {
    constexpr int kShown = 6;
    std::vector<const std::string*> parts;
    bool shortened = false;
    for (uint32_t e = index; e != 0 && e < entries_.size(); e = entries_[e].parent) {
        if (static_cast<int>(parts.size()) == kShown) {
            shortened = true;
            break;
        }
        parts.push_back(&entries_[e].name);
    }
    std::string out = shortened ? ".../" : "";
    for (auto it = parts.rbegin(); it != parts.rend(); ++it) {
        out += **it;
        if (it + 1 != parts.rend()) out += '/';
    }
    return out;
}

}  // namespace orcadx::platform::cfb
