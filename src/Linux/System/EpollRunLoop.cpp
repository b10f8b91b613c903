#include "Linux/System/EpollRunLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace keysong {

namespace {

timespec toTimespec(std::chrono::nanoseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {seconds.count(), (time - seconds).count()};
}

bool addToEpoll(int epoll, int descriptor, std::uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

} // namespace

std::unique_ptr<EpollRunLoop> EpollRunLoop::make() {
    FileDescriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    FileDescriptor wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!epoll.isOpen() || !wake.isOpen() || !addToEpoll(epoll.get(), wake.get(), EPOLLIN)) {
        return nullptr;
    }
    return std::unique_ptr<EpollRunLoop>(new EpollRunLoop(std::move(epoll), std::move(wake)));
}

bool EpollRunLoop::watch(int descriptor, std::function<void()> handler) {
    return add(descriptor, EPOLLIN, std::move(handler));
}

bool EpollRunLoop::watchHangUp(int descriptor, std::function<void()> handler) {
    return add(descriptor, 0, std::move(handler)); // failures are told without being asked for
}

bool EpollRunLoop::add(int descriptor, std::uint32_t events, std::function<void()> handler) {
    if (!addToEpoll(epoll_.get(), descriptor, events)) {
        return false;
    }
    watches_.push_back({descriptor, std::make_shared<const std::function<void()>>(std::move(handler))});
    return true;
}

void EpollRunLoop::unwatch(int descriptor) {
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
    std::erase_if(watches_, [&](const Watch& watch) { return watch.descriptor == descriptor; });
}

bool EpollRunLoop::addTimer(std::chrono::nanoseconds first, std::chrono::nanoseconds interval,
                            std::function<void()> handler) {
    FileDescriptor timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    const itimerspec times{toTimespec(interval), toTimespec(first)};
    if (!timer.isOpen() || timerfd_settime(timer.get(), 0, &times, nullptr) != 0) {
        return false;
    }
    const int descriptor = timer.get();
    const auto fire = [descriptor, handler = std::move(handler)] {
        std::uint64_t expirations = 0;
        if (read(descriptor, &expirations, sizeof expirations) > 0) {
            handler();
        }
    };
    if (!watch(descriptor, fire)) {
        return false;
    }
    timers_.push_back(std::move(timer));
    return true;
}

void EpollRunLoop::run() {
    std::array<epoll_event, 8> events{};
    for (;;) {
        const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), -1);
        if (count < 0 && errno != EINTR) {
            return;
        }
        for (int i = 0; i < count; ++i) {
            const int descriptor = events.at(static_cast<std::size_t>(i)).data.fd;
            if (descriptor == wake_.get()) {
                return;
            }
            const auto watch = std::find_if(watches_.begin(), watches_.end(), [&](const Watch& candidate) {
                return candidate.descriptor == descriptor;
            });
            if (watch != watches_.end()) {
                const auto handler = watch->handler; // a handler may end its own watch
                (*handler)();
            }
        }
    }
}

void EpollRunLoop::stop() noexcept {
    const std::uint64_t one = 1;
    // The counter cannot overflow, so the write cannot fail.
    [[maybe_unused]] const auto written = write(wake_.get(), &one, sizeof one);
}

} // namespace keysong
