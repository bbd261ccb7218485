// libFuzzer target: one record loaded from raw stream bytes (see FuzzEntries.h for the prefix).
#include <cstdint>

#include "fuzz/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    orcadx::fuzz::LoadRecordStream(data, size);
    return 0;
}
