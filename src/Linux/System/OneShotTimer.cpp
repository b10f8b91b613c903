#include "Linux/System/OneShotTimer.h"

#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace keysong {

OneShotTimer::OneShotTimer(EpollRunLoop& loop, std::function<void()> handler)
    : loop_(loop), handler_(std::move(handler)),
      timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    if (!timer_.isOpen() || !loop_.watch(timer_.get(), [this] { fire(); })) {
        throw std::system_error(errno, std::generic_category(), "timer");
    }
}

OneShotTimer::~OneShotTimer() {
    loop_.unwatch(timer_.get());
}

void OneShotTimer::arm(std::chrono::nanoseconds delay) {
    // A time of nothing would switch the timer off.
    delay = std::max(delay, std::chrono::nanoseconds(1));
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(delay);
    const itimerspec times{{}, {seconds.count(), (delay - seconds).count()}};
    timerfd_settime(timer_.get(), 0, &times, nullptr);
    armed_ = true;
}

void OneShotTimer::disarm() {
    const itimerspec never{};
    timerfd_settime(timer_.get(), 0, &never, nullptr);
    armed_ = false;
}

void OneShotTimer::fire() {
    std::uint64_t expirations = 0;
    if (read(timer_.get(), &expirations, sizeof expirations) > 0 && armed_) {
        armed_ = false;
        handler_();
    }
}

} // namespace keysong
