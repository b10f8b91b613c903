// One fuzz target; which one is said when it is compiled.

#include <cstddef>
#include <cstdint>

#include "fuzz/FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (const auto& entry : keysong::fuzz::entries()) {
        if (entry.name == KEYSONG_FUZZ_ENTRY) {
            entry.run({reinterpret_cast<const char*>(data), size});
        }
    }
    return 0;
}
