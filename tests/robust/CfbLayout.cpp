#include "CfbLayout.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <stdexcept>

namespace orcadx::test {

uint32_t GetU32(const std::vector<uint8_t>& b, size_t at) {
    if (at + 4 > b.size()) throw std::runtime_error("compound file too short");
    return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (uint32_t(b[at + 3]) << 24);
}

void PutU32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.at(at + i) = static_cast<uint8_t>(v >> (8 * i));
}

namespace {

uint16_t GetU16(const std::vector<uint8_t>& b, size_t at) { return static_cast<uint16_t>(b.at(at) | (b.at(at + 1) << 8)); }

}  // namespace

std::vector<uint32_t> CfbLayout::FollowChain(const std::vector<uint32_t>& table, uint32_t start) const {
    std::vector<uint32_t> chain;
    std::set<uint32_t> seen;
    for (uint32_t s = start; s < table.size(); s = table[s]) {
        if (!seen.insert(s).second) throw std::runtime_error("loop in a sector chain");
        chain.push_back(s);
    }
    return chain;
}

CfbLayout::CfbLayout(const std::vector<uint8_t>& file) {
    static const uint8_t sig[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    if (file.size() < 512 || std::memcmp(file.data(), sig, 8) != 0) throw std::runtime_error("not a compound file");
    sectorSize = 1u << GetU16(file, 0x1E);
    miniSectorSize = 1u << GetU16(file, 0x20);
    if (sectorSize != 512 && sectorSize != 4096) throw std::runtime_error("odd sector size");
    uint32_t numFat = GetU32(file, 0x2C);
    uint32_t firstDir = GetU32(file, 0x30);
    miniCutoff = GetU32(file, 0x38);
    uint32_t firstMiniFat = GetU32(file, 0x3C);
    uint32_t firstDifat = GetU32(file, 0x44);

    // FAT sectors: 109 in the header, the rest in DIFAT sectors (last entry of each links on).
    for (int i = 0; i < 109 && fatSectors.size() < numFat; ++i) fatSectors.push_back(GetU32(file, 0x4C + 4 * i));
    uint32_t perSector = sectorSize / 4;
    for (uint32_t d = firstDifat; fatSectors.size() < numFat && d < kEndOfChain;) {
        for (uint32_t i = 0; i + 1 < perSector && fatSectors.size() < numFat; ++i)
            fatSectors.push_back(GetU32(file, SectorOffset(d) + 4 * i));
        d = GetU32(file, SectorOffset(d) + 4 * (perSector - 1));
    }
    for (uint32_t s : fatSectors)
        for (uint32_t i = 0; i < perSector; ++i) fat.push_back(GetU32(file, SectorOffset(s) + 4 * i));

    dirSectors = FollowChain(fat, firstDir);
    for (uint32_t s : dirSectors)
        for (uint32_t i = 0; i < sectorSize / 128; ++i) {
            size_t at = SectorOffset(s) + 128 * i;
            Entry e;
            e.offset = at;
            uint16_t nameBytes = GetU16(file, at + 0x40);
            for (size_t k = 0; k + 2 < nameBytes && k < 64; k += 2) e.name += static_cast<char>(file.at(at + k));
            e.type = file.at(at + 0x42);
            e.left = GetU32(file, at + 0x44);
            e.right = GetU32(file, at + 0x48);
            e.child = GetU32(file, at + 0x4C);
            e.start = GetU32(file, at + 0x74);
            e.size = GetU32(file, at + 0x78);
            entries.push_back(e);
        }
    if (entries.empty() || entries[0].type != 5) throw std::runtime_error("no root entry");

    miniFatSectors_ = FollowChain(fat, firstMiniFat);
    for (uint32_t s : miniFatSectors_)
        for (uint32_t i = 0; i < perSector; ++i) miniFat.push_back(GetU32(file, SectorOffset(s) + 4 * i));
    miniStreamSectors = FollowChain(fat, entries[0].start);
}

void CfbLayout::CollectChildren(uint32_t node, std::vector<int>& out, int depth) const {
    if (node >= entries.size() || depth > 64) return;
    CollectChildren(entries[node].left, out, depth + 1);
    out.push_back(static_cast<int>(node));
    CollectChildren(entries[node].right, out, depth + 1);
}

int CfbLayout::FindChild(int storage, const std::string& name) const {
    std::vector<int> kids;
    CollectChildren(entries[storage].child, kids, 0);
    for (int k : kids)
        if (entries[k].name == name) return k;
    return -1;
}

int CfbLayout::Find(const std::string& path) const {
    int node = 0;
    size_t from = 0;
    while (from <= path.size()) {
        size_t slash = path.find('/', from);
        std::string part = path.substr(from, slash == std::string::npos ? std::string::npos : slash - from);
        node = FindChild(node, part);
        if (node < 0 || slash == std::string::npos) return node;
        from = slash + 1;
    }
    return node;
}

std::vector<int> CfbLayout::StreamsBelow(const std::string& storagePath) const {
    int storage = storagePath.empty() ? 0 : Find(storagePath);
    std::vector<int> kids, out;
    if (storage < 0) return out;
    CollectChildren(entries[storage].child, kids, 0);
    for (int k : kids)
        if (entries[k].type == 2) out.push_back(k);
    return out;
}

std::vector<uint32_t> CfbLayout::Chain(int index) const {
    return FollowChain(InMiniStream(index) ? miniFat : fat, entries[index].start);
}

size_t CfbLayout::FileOffset(int index, uint64_t pos) const {
    auto chain = Chain(index);
    if (!InMiniStream(index)) return SectorOffset(chain.at(pos / sectorSize)) + pos % sectorSize;
    uint64_t inMini = uint64_t(chain.at(pos / miniSectorSize)) * miniSectorSize + pos % miniSectorSize;
    return SectorOffset(miniStreamSectors.at(inMini / sectorSize)) + inMini % sectorSize;
}

size_t CfbLayout::FatEntryOffset(uint32_t sector) const {
    uint32_t perSector = sectorSize / 4;
    return SectorOffset(fatSectors.at(sector / perSector)) + 4 * (sector % perSector);
}

size_t CfbLayout::MiniFatEntryOffset(uint32_t miniSector) const {
    uint32_t perSector = sectorSize / 4;
    return SectorOffset(miniFatSectors_.at(miniSector / perSector)) + 4 * (miniSector % perSector);
}

}  // namespace orcadx::test
