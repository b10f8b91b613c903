#pragma once

#include <chrono>

namespace keysong {

/// The machine's monotonic clock, the one on which sound outputs stamp their cycles.
///
/// Any thread; real-time safe.
class Clock {
  public:
    virtual ~Clock() = default;

    /// Time since an arbitrary fixed point; never goes backwards.
    [[nodiscard]] virtual std::chrono::nanoseconds now() const noexcept = 0;

  protected:
    Clock() = default;
    Clock(const Clock&) = default;
    Clock& operator=(const Clock&) = default;
};

} // namespace keysong
