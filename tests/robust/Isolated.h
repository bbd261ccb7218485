// Runs one load in a child process, bounded in time and address space, and tells how it ended.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "fuzz/FuzzEntries.h"

namespace orcadx::test {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

struct Bounds {
    int seconds = 20;             // wall time before the child is killed
    uint64_t addressSpace = 0;    // extra address space the child may map (RLIMIT_AS); 0: no limit
};

// What a bounded child gave back: the text its work returned, or what stopped it.
struct BoundedResult {
    enum Kind { Returned, Threw, TimedOut, Died } kind = Died;
    std::string text;  // the work's text, the exception's message, or how the child ended
};

// Runs `work` in a forked child bounded as `bounds` says. Returned: its text; Threw: the message
// of what it threw (std::bad_alloc when it went past the address space); TimedOut: it ran past
// the time; Died: a signal or a sanitizer report ended it.
BoundedResult RunBounded(const std::function<std::string()>& work, const Bounds& bounds);
std::string Describe(const BoundedResult& r);

struct IsolatedResult {
    enum Kind { Loaded, Refused, Escaped, Crashed, TimedOut, Leaked } kind = Crashed;
    std::string message;   // the failure's message, the escaped exception's text, or the signal
    uint64_t peakBytes = 0;  // growth of the child's resident set during the load
    int components = 0, pages = 0, views = 0;  // what the load gave
};

// Runs `load` in a forked child. Refused: it raised Exception with a message. Escaped: anything
// else was thrown. Crashed: the child died or exited abnormally (a sanitizer report, a signal).
// Leaked (sanitizer builds only): the load left unreachable memory behind.
IsolatedResult RunIsolated(const std::function<fuzz::LoadResult()>& load, const Bounds& bounds);

std::string Describe(const IsolatedResult& r);

// Memory that a load of a file of `size` bytes may take at its peak: the objects of a whole design
// are a small multiple of the file; the sanitizers' redzones and quarantine add a fixed amount.
inline uint64_t PeakBound(uint64_t size) { return (kSanitized ? 512ull << 20 : 64ull << 20) + 64 * size; }

// The bounds of one load's child process.
inline Bounds LoadBounds(uint64_t size) {
    Bounds b;
    b.seconds = kSanitized ? 60 : 20;
    b.addressSpace = (1ull << 30) + 64 * size;
    return b;
}

}  // namespace orcadx::test
