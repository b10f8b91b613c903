#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "Records.h"

namespace keysong::bench {

/// Notes when the machine itself stood still: a thread on each processor that sleeps for some milliseconds
/// and slept far too long. No program can be on time there.
class StallWatch {
  public:
    /// Longer than a sleep may take above its time.
    static constexpr std::chrono::milliseconds tolerated{40};

    StallWatch();
    ~StallWatch();
    StallWatch(const StallWatch&) = delete;
    StallWatch& operator=(const StallWatch&) = delete;

    /// The stalls so far, in their order. Any thread.
    [[nodiscard]] std::vector<Span> stalls() const;

  private:
    void run(unsigned processor);

    std::atomic<bool> ending_ = false;
    mutable std::mutex mutex_;
    std::vector<Span> stalls_;
    std::vector<std::thread> threads_; // last: they use all of the above
};

} // namespace keysong::bench
