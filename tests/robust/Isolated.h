// Runs one load in a child process, bounded in time and address space, and tells how it ended.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "fuzz/FuzzEntries.h"

namespace orcadx::test {

struct Bounds {
    int seconds = 20;             // wall time before the child is killed
    uint64_t addressSpace = 0;    // extra address space the child may map (RLIMIT_AS); 0: no limit
};

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

}  // namespace orcadx::test
