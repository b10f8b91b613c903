#include "Linux/Sound/AlsaTimeline.h"

#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

/// Long against the jitter of a wake-up, short against the wander of a crystal.
constexpr double windowSeconds = 8;

/// The nominal rate counts as this many observations that agreed with it: without them the first jittery
/// intervals would bend the line wildly.
constexpr double priorPeriods = 64;

/// Observations can only be late. As long as there are fewer than this, one that is earlier than the line
/// is better than the line.
constexpr double youngPeriods = 32;

/// No sound card's clock is further off than this.
constexpr double largestDrift = 0.01;

/// How much longer or shorter than nominal one cycle may be while the line moves to where it should be.
constexpr double largestStretch = 0.5;

/// Later than this is a machine that stood still, not jitter.
constexpr double jumpNanoseconds = 50e6;

} // namespace

AlsaTimeline::AlsaTimeline(double framesPerSecond, std::uint32_t periodFrames) noexcept
    : nominalPeriod_(periodFrames * 1e9 / framesPerSecond), periodFrames_(periodFrames),
      windowPeriods_(std::max(16.0, windowSeconds * framesPerSecond / periodFrames)),
      period_(nominalPeriod_) {
}

void AlsaTimeline::reset() noexcept {
    count_ = 0;
}

IoCycle AlsaTimeline::advance(std::int64_t observedNanoseconds) noexcept {
    if (origin_ == 0) {
        origin_ = observedNanoseconds;
    }
    const auto observed = static_cast<double>(observedNanoseconds - origin_);
    if (observed - next_ > jumpNanoseconds) {
        count_ = 0;
    }
    if (count_ == 0) {
        next_ = std::max(start_, observed);
    }
    count_ = std::min(count_ + 1, windowPeriods_);

    // The gains of a least-squares line through `count` points, as corrections of its end and its slope.
    const double error = observed - next_;
    const bool startedLate = error < 0 && count_ <= youngPeriods;
    const double endGain = startedLate ? 1 : 2 * (2 * count_ - 1) / (count_ * (count_ + 1));
    const double slopeCount = std::min(count_ + priorPeriods, windowPeriods_);
    const double slopeGain = 6 / (slopeCount * (slopeCount + 1));
    period_ = std::clamp(period_ + slopeGain * error, nominalPeriod_ * (1 - largestDrift),
                         nominalPeriod_ * (1 + largestDrift));
    const double length = std::clamp(period_ + endGain * error, nominalPeriod_ * (1 - largestStretch),
                                     nominalPeriod_ * (1 + largestStretch));

    start_ = next_;
    IoCycle cycle;
    cycle.startNanoseconds = origin_ + std::llround(next_);
    cycle.nanosecondsPerFrame = length / periodFrames_;
    cycle.frameCount = periodFrames_;
    next_ += length;
    return cycle;
}

} // namespace keysong
