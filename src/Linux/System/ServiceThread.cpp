#include "Linux/System/ServiceThread.h"

#include "Shared/Log.h"

#include <pthread.h>
#include <sys/timerfd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <system_error>
#include <utility>

namespace keysong {

ServiceThread::ServiceThread(Threads& threads, ThreadAttributes attributes)
    : loop_(EpollRunLoop::make()), timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    if (loop_ == nullptr || !timer_.isOpen() || !loop_->watch(timer_.get(), [this] { runDue(); })) {
        throw std::system_error(errno, std::generic_category(), "service thread");
    }
    thread_ = threads.start(std::move(attributes), [this] {
        // A library's write to a peer that is gone must not end the program.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        loop_->run();
    });
}

ServiceThread::~ServiceThread() {
    loop_->stop();
    thread_.join();
}

void ServiceThread::asyncAfter(std::chrono::nanoseconds delay, Task task) {
    const MutexLock lock(mutex_);
    const auto added = tasks_.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
    if (added == tasks_.begin()) {
        setTimer(added->first);
    }
}

void ServiceThread::setTimer(Time due) const {
    // The steady clock is the monotonic one; a time that has passed fires at once.
    const auto sinceBoot = due.time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(sinceBoot);
    itimerspec times{};
    times.it_value = {seconds.count(), std::chrono::nanoseconds(sinceBoot - seconds).count()};
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &times, nullptr);
}

void ServiceThread::runDue() {
    std::uint64_t expirations = 0;
    [[maybe_unused]] const auto count = read(timer_.get(), &expirations, sizeof expirations);
    while (const Task task = takeDue()) {
        try {
            task();
        } catch (const std::exception& error) {
            log.error("a queued task failed: %{public}s", error.what());
        }
    }
}

ServiceThread::Task ServiceThread::takeDue() {
    const MutexLock lock(mutex_);
    const auto first = tasks_.begin();
    if (first == tasks_.end()) {
        return {};
    }
    if (first->first > std::chrono::steady_clock::now()) {
        setTimer(first->first);
        return {};
    }
    Task task = std::move(first->second);
    tasks_.erase(first);
    return task;
}

} // namespace keysong
