// libFuzzer target: a whole design loaded from the bytes of a compound file.
#include <cstdint>
#include <cstdlib>

#include "fuzz/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    orcadx::fuzz::LoadDesignImage(data, size);
    return 0;
}
