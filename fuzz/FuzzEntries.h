// What the fuzz targets run, shared with the test that replays their regression inputs.
//
// Two kinds of input:
//  - the bytes of a whole compound file, loaded as a design would be from disk;
//  - one stream's bytes behind a three-byte prefix that chooses the record that reads them, the
//    file version it is read in, and (for symbols) the symbol's type code.
// A load either succeeds or ends in `Exception` (or `EDboFileIO`) with a message; both are
// reported back. Anything else (another exception type, an empty message, a crash) escapes, so
// that the fuzzer and the replay test see it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orcadx::fuzz {

enum class RecordKind : uint8_t {
    Library,
    Cache,
    Page,
    Schematics,
    Hierarchy,
    Component,
    Symbol,
    PackagesDirectory,
    SymbolsDirectory,
    ViewsDirectory,
    Count
};

// The file versions that the prefix's second byte chooses from; the last is one no reader knows.
extern const uint32_t kFuzzVersions[7];
constexpr size_t kRecordPrefixSize = 3;

struct LoadResult {
    bool loaded = false;
    std::string message;  // the failure's message when not loaded
    // What a design load gave.
    int components = 0;
    int pages = 0;
    int views = 0;
};

// Loads a design from the bytes of a compound file in memory.
LoadResult LoadDesignImage(const uint8_t* data, size_t size);

// Loads one record of the kind named by data[0] from data[3..], in version kFuzzVersions[data[1] % 7],
// and writes its text dump to nowhere. Inputs shorter than the prefix are loaded as an empty stream
// of the first kind.
LoadResult LoadRecordStream(const uint8_t* data, size_t size);

// The input that LoadRecordStream reads as `stream` loaded as `kind` in `version`.
std::vector<uint8_t> RecordInput(RecordKind kind, uint32_t version, uint8_t symbolId, const std::vector<uint8_t>& stream);

}  // namespace orcadx::fuzz
