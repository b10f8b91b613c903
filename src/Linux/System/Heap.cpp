#include "Linux/System/Heap.h"

#include <malloc.h>

namespace keysong {

void keepHeapSmall() noexcept {
    constexpr int keptAtTheEnd = 64 * 1024;
    constexpr int places = 2;
    // Fixed by being set: from now on the heap does not raise them.
    mallopt(M_MMAP_THRESHOLD, largeBytes);
    mallopt(M_TRIM_THRESHOLD, keptAtTheEnd);
    mallopt(M_ARENA_MAX, places);
}

void returnFreeMemory() noexcept {
    malloc_trim(0);
}

} // namespace keysong
