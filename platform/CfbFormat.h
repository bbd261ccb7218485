// The layout of a compound file (the published Compound File Binary format), shared by the reader
// and the writer of CompoundFile.cpp:
//  - a 512-byte header: signature, sector sizes, the number of FAT sectors, where the directory,
//    the mini FAT and the DIFAT begin, and the first 109 DIFAT entries;
//  - sectors of 512 (or 4096) bytes, chained through the FAT; small streams (below the cutoff)
//    live in 64-byte mini sectors inside the root entry's own stream, chained through the mini FAT;
//  - a directory of 128-byte entries: name (UTF-16), type, colour, left and right sibling, child,
//    first sector and size. The children of a storage form a binary tree ordered by name.
#pragma once

#include <cstdint>
#include <string>

namespace orcadx::platform::cfb {

constexpr uint8_t kSignature[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
constexpr size_t kHeaderSize = 512;
constexpr size_t kEntrySize = 128;
constexpr size_t kHeaderDifatEntries = 109;
constexpr uint32_t kMiniSectorSize = 64;
constexpr uint32_t kMiniStreamCutoff = 4096;

// Special values of FAT entries and directory links.
constexpr uint32_t kMaxRegularSector = 0xFFFFFFFA;
constexpr uint32_t kDifatSector = 0xFFFFFFFC;
constexpr uint32_t kFatSector = 0xFFFFFFFD;
constexpr uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr uint32_t kFreeSector = 0xFFFFFFFF;
constexpr uint32_t kNoEntry = 0xFFFFFFFF;

// Entry types.
constexpr uint8_t kTypeUnused = 0;
constexpr uint8_t kTypeStorage = 1;
constexpr uint8_t kTypeStream = 2;
constexpr uint8_t kTypeRoot = 5;

// Offsets in the header.
constexpr size_t kOffMinorVersion = 0x18;
constexpr size_t kOffMajorVersion = 0x1A;
constexpr size_t kOffByteOrder = 0x1C;
constexpr size_t kOffSectorShift = 0x1E;
constexpr size_t kOffMiniSectorShift = 0x20;
constexpr size_t kOffDirSectorCount = 0x28;
constexpr size_t kOffFatSectorCount = 0x2C;
constexpr size_t kOffFirstDirSector = 0x30;
constexpr size_t kOffMiniStreamCutoff = 0x38;
constexpr size_t kOffFirstMiniFatSector = 0x3C;
constexpr size_t kOffMiniFatSectorCount = 0x40;
constexpr size_t kOffFirstDifatSector = 0x44;
constexpr size_t kOffDifatSectorCount = 0x48;
constexpr size_t kOffDifat = 0x4C;

// Offsets in a directory entry.
constexpr size_t kOffName = 0x00;
constexpr size_t kOffNameLength = 0x40;
constexpr size_t kOffType = 0x42;
constexpr size_t kOffColor = 0x43;
constexpr size_t kOffLeft = 0x44;
constexpr size_t kOffRight = 0x48;
constexpr size_t kOffChild = 0x4C;
constexpr size_t kOffStartSector = 0x74;
constexpr size_t kOffSize = 0x78;

// The longest name, in bytes of UTF-16 with its terminator.
constexpr size_t kMaxNameBytes = 64;

inline uint16_t GetU16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline uint32_t GetU32(const uint8_t* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}
inline uint64_t GetU64(const uint8_t* p) { return uint64_t(GetU32(p)) | (uint64_t(GetU32(p + 4)) << 32); }
inline void PutU16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void PutU32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void PutU64(uint8_t* p, uint64_t v) {
    PutU32(p, static_cast<uint32_t>(v));
    PutU32(p + 4, static_cast<uint32_t>(v >> 32));
}

// The order of names in a storage's tree: shorter names first, then code unit by code unit with
// the letters a to z folded to upper case.
int CompareNames(const std::u16string& a, const std::u16string& b);

}  // namespace orcadx::platform::cfb
