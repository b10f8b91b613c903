#pragma once

#include "Platform/Clock.h"

#include <atomic>

namespace keysong::test {

/// A clock that the test moves. Any thread.
class ManualClock final : public Clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const noexcept override {
        return std::chrono::nanoseconds(nanoseconds_.load());
    }

    void advance(std::chrono::nanoseconds duration) { nanoseconds_ += duration.count(); }

  private:
    std::atomic<std::int64_t> nanoseconds_{1'000'000'000};
};

} // namespace keysong::test
