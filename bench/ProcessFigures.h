#pragma once

#include <sys/types.h>

#include <cstdint>

namespace keysong::bench {

/// What the kernel says of a process. A process that is gone has zeros.
struct ProcessFigures {
    /// Memory that belongs to it, shared pages divided among those who share them, in KiB.
    std::int64_t pssKib = 0;
    /// That part of it which nobody shares.
    std::int64_t privateKib = 0;
    /// What it allocated and wrote itself, in KiB: unlike the two above it does not depend on who else runs
    /// the same programs and libraries.
    std::int64_t anonymousKib = 0;
    /// Time on a processor since its start, of all its threads, in nanoseconds.
    std::int64_t cpuNanoseconds = 0;
    /// How often its threads waited for something since its start.
    std::int64_t wakeups = 0;
    int threads = 0;
    int descriptors = 0;

    [[nodiscard]] static ProcessFigures of(pid_t process);
};

} // namespace keysong::bench
