#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "ProcessFigures.h"
#include "Span.h"

namespace keysong::bench {

// What a soak notes. All times are on the monotonic clock.

/// A press or a release: it happened between the two times.
struct Typed {
    std::chrono::nanoseconds before{};
    std::chrono::nanoseconds after{};
};

/// What was done to the program's world, and when.
struct Fault {
    std::string kind;
    /// Whether sounds may be lost meanwhile.
    bool mayLose = true;
    std::chrono::nanoseconds begin{};
    /// When everything was put right again.
    std::chrono::nanoseconds lifted{};
    /// When the server could play a new stream after that; nothing when it never could.
    std::optional<std::chrono::nanoseconds> able;
    /// Sounds that the program dropped because they came too late.
    std::int64_t dropped = 0;
};

/// The program's figures in a calm moment.
struct Sample {
    std::chrono::nanoseconds time{};
    pid_t process = 0;
    ProcessFigures figures;
};

} // namespace keysong::bench
