#pragma once

#include "Platform/AudioOutput.h"

#include <spa/node/io.h>

#include <atomic>
#include <chrono>
#include <cstdint>

namespace keysong {

/// Where the periods of a PipeWire stream lie on the server's own timeline, and what the render thread learns
/// of the server as it is asked for them.
///
/// `next` belongs to the render thread and is real-time safe. The rest may be asked by any thread.
class PipeWireTimeline {
  public:
    /// The rate of the stream's frames, in Hz.
    static constexpr double streamRate = 48000;

    /// Where the server writes its position; null while there is none. Any thread.
    void setPosition(spa_io_position* position) noexcept { position_ = position; }
    /// Forgets all but the count of xruns. Only while nothing renders.
    void reset() noexcept;
    /// The stream is about to go on after a rest, during which the server's position ran on.
    void noteRest() noexcept;
    /// A period is due about now.
    void expectPeriod() noexcept;

    /// The period of `frames` frames that the server asks for.
    [[nodiscard]] IoCycle next(std::uint32_t frames) noexcept;

    /// The server's period in frames of its own rate, 0 before the first one.
    [[nodiscard]] std::uint32_t grantedFrames() const noexcept { return grantedFrames_; }
    /// The rate at which the server runs, in Hz; 0 before the first period.
    [[nodiscard]] std::uint32_t graphRate() const noexcept { return graphRate_; }
    /// How often the server went on to a later period before ours was asked for.
    [[nodiscard]] std::uint64_t xruns() const noexcept { return xruns_; }
    /// Whether the server has asked for a period within that time. The default is longer than any period, and
    /// than a server on a busy machine stands still.
    [[nodiscard]] bool isMoving(std::chrono::nanoseconds within = std::chrono::seconds(1)) const noexcept;

  private:
    [[nodiscard]] bool jumped(const spa_io_clock& clock) const noexcept;

    std::atomic<spa_io_position*> position_ = nullptr;
    std::atomic<bool> rested_ = false;
    std::atomic<std::uint32_t> grantedFrames_ = 0;
    std::atomic<std::uint32_t> graphRate_ = 0;
    std::atomic<std::uint64_t> xruns_ = 0;
    /// When the last period was asked for, on the monotonic clock.
    std::atomic<std::int64_t> lastPeriod_ = 0;

    // The render thread's own: the server's cycle that was begun last, how much of it was delivered, and
    // where the next one should begin.
    std::int64_t cycleStart_ = 0;
    std::uint64_t cycleFrames_ = 0;
    std::uint32_t clockId_ = 0;
    std::uint64_t nextPosition_ = 0;
};

} // namespace keysong
