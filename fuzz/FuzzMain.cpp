#include <cstddef>
#include <cstdint>

#include "FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    marlet::MARLET_FUZZ_ENTRY(std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
