#pragma once

#include <chrono>

namespace keysong::bench {

/// A span of time on the monotonic clock.
struct Span {
    std::chrono::nanoseconds begin{};
    std::chrono::nanoseconds end{};
};

} // namespace keysong::bench
