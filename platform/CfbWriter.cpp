#include "platform/CfbWriter.h"
#include "platform/CodePage.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "platform/TextCompare.h"

namespace orcadx::platform::cfb {

namespace {

constexpr uint32_t kSectorSize = 512;
constexpr uint32_t kPerSector = kSectorSize / 4;
constexpr uint32_t kDifatPerSector = kPerSector - 1;

uint64_t CeilDiv(uint64_t a, uint64_t b) { return (a + b - 1) / b; }

}  // namespace

std::shared_ptr<Node> Node::Find(const std::string& childName) const {
    auto it = index_.find(UpperCaseAscii(childName));
    return it == index_.end() ? nullptr : children[it->second];
}

void Node::Put(std::shared_ptr<Node> child) {
    std::string key = UpperCaseAscii(child->name);
    if (auto it = index_.find(key); it != index_.end()) {
        // The old child leaves; the new one goes to the end, as a child created anew does.
        children.erase(children.begin() + static_cast<std::ptrdiff_t>(it->second));
        index_.clear();
        for (size_t i = 0; i < children.size(); ++i) index_.emplace(UpperCaseAscii(children[i]->name), i);
    }
    index_.emplace(std::move(key), children.size());
    children.push_back(std::move(child));
}

std::vector<uint8_t> LayoutFile(const std::vector<RawEntry>& entries) {
    // Where each stream goes: mini sectors for small ones, sectors for the rest.
    const size_t n = entries.size();
    std::vector<uint32_t> start(n, kEndOfChain);
    uint64_t miniSectors = 0, bigSectors = 0;
    for (size_t i = 1; i < n; ++i) {
        const RawEntry& e = entries[i];
        if (e.type != kTypeStream || !e.data || e.data->empty()) continue;
        if (e.data->size() < kMiniStreamCutoff) {
            start[i] = static_cast<uint32_t>(miniSectors);
            miniSectors += CeilDiv(e.data->size(), kMiniSectorSize);
        } else {
            bigSectors += CeilDiv(e.data->size(), kSectorSize);
        }
    }
    const uint64_t dirSectors = CeilDiv(std::max<size_t>(n, 1) * kEntrySize, kSectorSize);
    const uint64_t miniFatSectors = CeilDiv(miniSectors * 4, kSectorSize);
    const uint64_t miniStreamSectors = CeilDiv(miniSectors * kMiniSectorSize, kSectorSize);
    const uint64_t data = dirSectors + miniFatSectors + miniStreamSectors + bigSectors;
    // FAT sectors must also map themselves and the DIFAT sectors that list those beyond 109.
    uint64_t fatSectors = 1, difatSectors = 0;
    for (;;) {
        difatSectors = fatSectors > kHeaderDifatEntries ? CeilDiv(fatSectors - kHeaderDifatEntries, kDifatPerSector) : 0;
        if (fatSectors * kPerSector >= data + fatSectors + difatSectors) break;
        ++fatSectors;
    }
    const uint64_t total = fatSectors + difatSectors + data;
    std::vector<uint8_t> out(kHeaderSize + total * kSectorSize, 0);
    std::vector<uint32_t> fat(fatSectors * kPerSector, kFreeSector);
    auto sectorAt = [&](uint64_t sector) { return out.data() + kHeaderSize + sector * kSectorSize; };
    uint64_t next = 0;
    auto chain = [&](uint64_t count) {
        uint64_t first = next;
        for (uint64_t i = 0; i < count; ++i) fat[next + i] = i + 1 < count ? static_cast<uint32_t>(next + i + 1) : kEndOfChain;
        next += count;
        return count ? static_cast<uint32_t>(first) : kEndOfChain;
    };
    for (uint64_t i = 0; i < fatSectors; ++i) fat[next++] = kFatSector;
    const uint64_t firstDifat = next;
    for (uint64_t i = 0; i < difatSectors; ++i) fat[next++] = kDifatSector;
    const uint32_t firstDir = chain(dirSectors);
    const uint32_t firstMiniFat = chain(miniFatSectors);
    const uint32_t firstMiniStream = chain(miniStreamSectors);

    // Header.
    uint8_t* h = out.data();
    std::memcpy(h, kSignature, 8);
    PutU16(h + kOffMinorVersion, 0x3E);
    PutU16(h + kOffMajorVersion, 3);
    PutU16(h + kOffByteOrder, 0xFFFE);
    PutU16(h + kOffSectorShift, 9);
    PutU16(h + kOffMiniSectorShift, 6);
    PutU32(h + kOffFatSectorCount, static_cast<uint32_t>(fatSectors));
    PutU32(h + kOffFirstDirSector, firstDir);
    PutU32(h + kOffMiniStreamCutoff, kMiniStreamCutoff);
    PutU32(h + kOffFirstMiniFatSector, firstMiniFat);
    PutU32(h + kOffMiniFatSectorCount, static_cast<uint32_t>(miniFatSectors));
    PutU32(h + kOffFirstDifatSector, difatSectors ? static_cast<uint32_t>(firstDifat) : kEndOfChain);
    PutU32(h + kOffDifatSectorCount, static_cast<uint32_t>(difatSectors));
    for (size_t i = 0; i < kHeaderDifatEntries; ++i)
        PutU32(h + kOffDifat + 4 * i, i < fatSectors ? static_cast<uint32_t>(i) : kFreeSector);
    for (uint64_t d = 0; d < difatSectors; ++d) {
        uint8_t* s = sectorAt(firstDifat + d);
        for (uint32_t i = 0; i < kDifatPerSector; ++i) {
            uint64_t fatIndex = kHeaderDifatEntries + d * kDifatPerSector + i;
            PutU32(s + 4 * i, fatIndex < fatSectors ? static_cast<uint32_t>(fatIndex) : kFreeSector);
        }
        PutU32(s + 4 * kDifatPerSector, d + 1 < difatSectors ? static_cast<uint32_t>(firstDifat + d + 1) : kEndOfChain);
    }

    // Stream contents, and the chains of the mini FAT.
    std::vector<uint32_t> miniFat(miniFatSectors * kPerSector, kFreeSector);
    for (size_t i = 1; i < n; ++i) {
        const RawEntry& e = entries[i];
        if (e.type != kTypeStream || !e.data || e.data->empty()) continue;
        const std::vector<uint8_t>& bytes = *e.data;
        if (bytes.size() < kMiniStreamCutoff) {
            uint64_t count = CeilDiv(bytes.size(), kMiniSectorSize);
            for (uint64_t k = 0; k < count; ++k) {
                uint64_t mini = start[i] + k;
                miniFat[mini] = k + 1 < count ? static_cast<uint32_t>(mini + 1) : kEndOfChain;
                uint64_t at = mini * kMiniSectorSize;
                size_t len = std::min<size_t>(kMiniSectorSize, bytes.size() - k * kMiniSectorSize);
                std::memcpy(sectorAt(firstMiniStream + at / kSectorSize) + at % kSectorSize,
                            bytes.data() + k * kMiniSectorSize, len);
            }
        } else {
            uint64_t count = CeilDiv(bytes.size(), kSectorSize);
            start[i] = chain(count);
            for (uint64_t k = 0; k < count; ++k) {
                size_t len = std::min<size_t>(kSectorSize, bytes.size() - k * kSectorSize);
                std::memcpy(sectorAt(start[i] + k), bytes.data() + k * kSectorSize, len);
            }
        }
    }
    for (uint64_t k = 0; k < miniFat.size(); ++k) PutU32(sectorAt(firstMiniFat + k / kPerSector) + 4 * (k % kPerSector), miniFat[k]);
    for (uint64_t k = 0; k < fat.size(); ++k) PutU32(sectorAt(k / kPerSector) + 4 * (k % kPerSector), fat[k]);

    // Directory; the slots behind the last entry are unused, with empty links.
    for (uint64_t slot = 0; slot < dirSectors * (kSectorSize / kEntrySize); ++slot) {
        uint8_t* d = sectorAt(firstDir + slot / 4) + (slot % 4) * kEntrySize;
        if (slot >= n) {
            PutU32(d + kOffLeft, kNoEntry);
            PutU32(d + kOffRight, kNoEntry);
            PutU32(d + kOffChild, kNoEntry);
            continue;
        }
        const RawEntry& e = entries[slot];
        size_t units = std::min<size_t>(e.name.size(), kMaxNameBytes / 2 - 1);
        for (size_t k = 0; k < units; ++k) PutU16(d + kOffName + 2 * k, e.name[k]);
        PutU16(d + kOffNameLength, static_cast<uint16_t>((units + 1) * 2));
        d[kOffType] = slot == 0 ? kTypeRoot : e.type;
        d[kOffColor] = e.color;
        PutU32(d + kOffLeft, e.left);
        PutU32(d + kOffRight, e.right);
        PutU32(d + kOffChild, e.child);
        if (slot == 0) {
            PutU32(d + kOffStartSector, miniSectors ? firstMiniStream : kEndOfChain);
            PutU64(d + kOffSize, miniSectors * kMiniSectorSize);
        } else if (e.type == kTypeStream) {
            PutU32(d + kOffStartSector, start[slot]);
            PutU64(d + kOffSize, e.data ? e.data->size() : 0);
        }
    }
    return out;
}

std::vector<uint8_t> LayoutTree(const Node& root) {
    std::vector<RawEntry> entries(1);
    entries[0].name = u"Root Entry";
    entries[0].type = kTypeRoot;
    // Storages are laid out in the order they are reached; each one's children get a balanced tree
    // in name order. In a tree built by halving a sorted range every level but the last is full, so
    // colouring the last level red (the rest black) makes it a valid red-black tree.
    std::vector<std::pair<const Node*, uint32_t>> storages{{&root, 0}};
    for (size_t next = 0; next < storages.size(); ++next) {
        auto [node, index] = storages[next];
        std::vector<std::pair<std::u16string, const Node*>> kids;
        kids.reserve(node->children.size());
        for (const auto& c : node->children) kids.push_back({Utf8ToUtf16(c->name), c.get()});
        std::sort(kids.begin(), kids.end(),
                  [](const auto& a, const auto& b) { return CompareNames(a.first, b.first) < 0; });
        const uint32_t first = static_cast<uint32_t>(entries.size());
        for (auto& [name, child] : kids) {
            RawEntry e;
            e.name = std::move(name);
            e.type = child->isStorage ? kTypeStorage : kTypeStream;
            if (!child->isStorage) e.data = &child->data;
            entries.push_back(std::move(e));
            if (child->isStorage) storages.push_back({child, static_cast<uint32_t>(entries.size() - 1)});
        }
        if (kids.empty()) continue;
        int lastLevel = 0;
        while ((size_t(2) << lastLevel) <= kids.size()) ++lastLevel;
        std::function<uint32_t(size_t, size_t, int)> build = [&](size_t lo, size_t hi, int depth) -> uint32_t {
            if (lo >= hi) return kNoEntry;
            size_t mid = lo + (hi - lo) / 2;
            RawEntry& e = entries[first + mid];
            e.color = depth == lastLevel && depth > 0 ? 0 : 1;
            e.left = build(lo, mid, depth + 1);
            e.right = build(mid + 1, hi, depth + 1);
            return first + static_cast<uint32_t>(mid);
        };
        entries[index].child = build(0, kids.size(), 0);
    }
    return LayoutFile(entries);
}

}  // namespace orcadx::platform::cfb
