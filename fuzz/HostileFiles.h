// Capture files built to be large or odd, at a chosen size n: compound-file directories that no
// writer makes, lists that name one stream many times, names that differ only in case, and plain
// size. Shared by the robustness tests (small n, in bounded child processes) and the benchmark
// (n up to 100,000).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orcadx::fuzz {

enum class Hostile {
    NestedStorages,   // storages nested n deep beside the design's own streams
    SiblingChain,     // n streams in the root whose tree is one chain of right links
    WideStorage,      // n streams in one storage, in a balanced tree (a legal layout)
    DirectoryLoop,    // n streams in a chain whose last links back to the first
    RepeatedPage,     // a view whose page list names one page n times
    RepeatedView,     // a "Views Directory" that names one view n times
    RepeatedPackage,  // a library whose "Packages Directory" names one package n times
    MissingPackages,  // a library directory of n names that miss the n streams of "Packages"
    CaseVariantCache, // n part informations naming packages whose names differ only in case
    ManyPages,        // n pages, in views of up to 50,000
    ManyComponents,   // n components in the cache, two libraries to each name
    Count
};

const char* HostileName(Hostile family);
// The largest n that a family takes (lists of the file count to 65,535).
int HostileLimit(Hostile family);
// What a load of the family's file does: true when it loads, false when it is refused.
bool HostileLoads(Hostile family);
// How many components, pages and views a load of the file gives (for the families that load).
struct HostileCounts {
    int components = 0;
    int pages = 0;
    int views = 0;
};
HostileCounts HostileExpected(Hostile family, int n);

// The bytes of a file of the family with n of its thing (1 <= n <= HostileLimit). Raises
// std::runtime_error when it can't be made.
std::vector<uint8_t> MakeHostileFile(Hostile family, int n);

}  // namespace orcadx::fuzz
