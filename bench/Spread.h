#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace keysong::bench {

inline double milliseconds(std::chrono::nanoseconds time) {
    return static_cast<double>(time.count()) / 1e6;
}

/// Prints a row: the least, the middle, the 99th of 100 and the greatest value.
inline void printSpread(const char* what, std::vector<double> values) {
    if (values.empty()) {
        std::printf("%-44s nothing was measured\n", what);
        return;
    }
    std::sort(values.begin(), values.end());
    const auto at = [&](double share) {
        return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
    };
    std::printf("%-44s min %7.2f  median %7.2f  p99 %7.2f  max %7.2f  (n=%zu)\n", what, at(0), at(0.5),
                at(0.99), at(1), values.size());
}

} // namespace keysong::bench
