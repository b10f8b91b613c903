#include "Linux/System/MonotonicClock.h"

#include <ctime>

namespace keysong {

std::chrono::nanoseconds MonotonicClock::now() const noexcept {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace keysong
