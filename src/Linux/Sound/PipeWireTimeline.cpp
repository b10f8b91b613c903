#include "Linux/Sound/PipeWireTimeline.h"

#include <cmath>
#include <cstdlib>
#include <ctime>

namespace keysong {

namespace {

constexpr std::int64_t second = 1'000'000'000;
/// A driver whose clock says something this far from now has another clock.
constexpr std::int64_t implausibleNanoseconds = second;

std::int64_t monotonicNow() noexcept {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * second + time.tv_nsec;
}

} // namespace

void PipeWireTimeline::reset() noexcept {
    position_ = nullptr;
    rested_ = false;
    grantedFrames_ = 0;
    cycleStart_ = 0;
    nextPosition_ = 0;
}

void PipeWireTimeline::noteRest() noexcept {
    rested_ = true;
    expectPeriod();
}

void PipeWireTimeline::expectPeriod() noexcept {
    lastPeriod_ = monotonicNow();
}

bool PipeWireTimeline::isMoving(std::chrono::nanoseconds within) const noexcept {
    return monotonicNow() - lastPeriod_ < within.count();
}

bool PipeWireTimeline::jumped(const spa_io_clock& clock) const noexcept {
    return nextPosition_ != 0 && clock.id == clockId_ && clock.rate.denom == graphRate_ &&
           clock.position > nextPosition_;
}

IoCycle PipeWireTimeline::next(std::uint32_t frames) noexcept {
    IoCycle cycle;
    cycle.startNanoseconds = monotonicNow();
    lastPeriod_.store(cycle.startNanoseconds, std::memory_order_relaxed);
    cycle.frameCount = frames;
    cycle.nanosecondsPerFrame = static_cast<double>(second) / streamRate;
    cycle.isFirstAfterRest = rested_.load(std::memory_order_relaxed) && rested_.exchange(false);
    const spa_io_position* position = position_;
    if (position == nullptr || position->clock.duration == 0) {
        return cycle;
    }
    const spa_io_clock& clock = position->clock;
    if (!cycle.isFirstAfterRest && jumped(clock)) {
        xruns_.store(xruns() + 1, std::memory_order_relaxed); // the render thread alone counts
    }
    clockId_ = clock.id;
    nextPosition_ = clock.position + clock.duration;
    grantedFrames_.store(static_cast<std::uint32_t>(clock.duration), std::memory_order_relaxed);
    graphRate_.store(clock.rate.denom, std::memory_order_relaxed);
    // The device's own pace, where the graph runs at our rate and the figure makes sense.
    const double pace =
        static_cast<double>(clock.next_nsec - clock.nsec) / static_cast<double>(clock.duration);
    const double nominal = cycle.nanosecondsPerFrame;
    if (clock.rate.denom == static_cast<std::uint32_t>(streamRate) && pace > nominal * 0.9 &&
        pace < nominal * 1.1) {
        cycle.nanosecondsPerFrame = pace;
    }
    const auto start = static_cast<std::int64_t>(clock.nsec);
    if (std::abs(start - cycle.startNanoseconds) < implausibleNanoseconds) {
        // Where the server asks several times in one of its cycles, each call goes on where the last ended.
        cycleFrames_ = start == cycleStart_ ? cycleFrames_ : 0;
        cycleStart_ = start;
        cycle.startNanoseconds =
            start + std::llround(static_cast<double>(cycleFrames_) * cycle.nanosecondsPerFrame);
        cycleFrames_ += frames;
    }
    return cycle;
}

} // namespace keysong
