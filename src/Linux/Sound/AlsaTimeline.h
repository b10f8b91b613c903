#pragma once

#include "Platform/AudioOutput.h"

#include <cstdint>

namespace keysong {

/// The device's own timeline, straightened from observations that come late, in steps, or both.
///
/// A straight line is fitted through the observations: over all of them while they are few, and over a
/// sliding window of some seconds later, so that the slow drift between the two clocks is followed while the
/// jitter of a single observation moves a cycle by a small part of itself. The cycles tile: each begins where
/// the one before it ended. Time never runs backwards.
///
/// One thread at a time; real-time safe.
class AlsaTimeline {
  public:
    /// `framesPerSecond` is the nominal rate.
    AlsaTimeline(double framesPerSecond, std::uint32_t periodFrames) noexcept;

    /// The next cycle, of one period. `observedNanoseconds` is when the device made room for it.
    [[nodiscard]] IoCycle advance(std::int64_t observedNanoseconds) noexcept;

    /// The device was started anew: the next cycle begins where its observation says.
    void reset() noexcept;

  private:
    double nominalPeriod_;
    std::uint32_t periodFrames_;
    double windowPeriods_;
    /// Observations since the last reset.
    double count_ = 0;
    /// Periods are measured from here, so that a long uptime costs no precision.
    std::int64_t origin_ = 0;
    /// Where the last cycle began and the next one does, and how long a period takes by the fitted line.
    double start_ = 0;
    double next_ = 0;
    double period_;
};

} // namespace keysong
