#pragma once

#include "Hearing.h"

namespace keysong::bench {

/// What may grow, at most.
struct Bounds {
    /// How soon after the server's being able the sound has to be back.
    std::chrono::milliseconds back{1000};
    /// How much the program's memory may grow in the last two thirds of its longest life, by the middle slope
    /// of all pairs of samples. A set more or less in memory is within it.
    std::int64_t growthKib = 1024;
};

/// What a soak found, as tables on standard output. Each function returns whether all was well.
[[nodiscard]] bool printHearing(const Hearing& hearing, const Bounds& bounds, std::chrono::nanoseconds begin);
/// Descriptors and threads have grown when the last third of that life never had as few as the time before
/// had at most.
[[nodiscard]] bool printFigures(const std::vector<Sample>& samples, const Bounds& bounds);

} // namespace keysong::bench
