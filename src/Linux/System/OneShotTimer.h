#pragma once

#include "Linux/System/EpollRunLoop.h"
#include "Linux/System/FileDescriptor.h"

#include <chrono>
#include <functional>

namespace keysong {

/// A timer on a run loop that goes off once each time it is armed. Used on the loop's thread, or before
/// `run`.
class OneShotTimer {
  public:
    /// `handler` runs on the loop's thread, and may arm the timer again. The loop outlives the timer. Throws
    /// std::system_error when the machine refuses a timer.
    OneShotTimer(EpollRunLoop& loop, std::function<void()> handler);
    ~OneShotTimer();
    OneShotTimer(const OneShotTimer&) = delete;
    OneShotTimer& operator=(const OneShotTimer&) = delete;

    /// Goes off once `delay` has passed, instead of when it was going to.
    void arm(std::chrono::nanoseconds delay);
    /// Does not go off before it is armed again.
    void disarm();
    [[nodiscard]] bool isArmed() const noexcept { return armed_; }

  private:
    void fire();

    EpollRunLoop& loop_;
    const std::function<void()> handler_;
    FileDescriptor timer_;
    bool armed_ = false;
};

} // namespace keysong
