#include "Shared/SerialQueue.h"

#include "Shared/Log.h"

#include <algorithm>
#include <cassert>
#include <exception>
#include <future>
#include <memory>

namespace keysong {

namespace {

/// Keeps the sum of now and a delay within the clock's range.
constexpr std::chrono::nanoseconds longestDelay = std::chrono::hours(24 * 365);

} // namespace

SerialQueue::SerialQueue(Threads& threads, ThreadAttributes attributes)
    : thread_(threads.start(std::move(attributes), [this] { serve(); })) {
}

SerialQueue::~SerialQueue() {
    {
        const MutexLock lock(mutex_);
        stopping_ = true;
        stopTime_ = std::chrono::steady_clock::now();
    }
    changed_.notify_all();
    thread_.join();
}

void SerialQueue::asyncAfter(std::chrono::nanoseconds delay, Task task) {
    {
        const MutexLock lock(mutex_);
        // The time is read under the lock: tasks without a delay then run in the order of their numbers.
        const Time due = std::chrono::steady_clock::now() + std::min(delay, longestDelay);
        tasks_.emplace(Due(due, nextNumber_++), std::move(task));
    }
    changed_.notify_all();
}

void SerialQueue::sync(const Task& task) {
    assert(std::this_thread::get_id() != thread_.get_id());
    const auto packaged = std::make_shared<std::packaged_task<void()>>([&task] { task(); });
    std::future<void> done = packaged->get_future();
    async([packaged] { (*packaged)(); });
    done.get();
}

void SerialQueue::serve() {
    while (const Task task = next()) {
        try {
            task();
        } catch (const std::exception& error) {
            log.error("a queued task failed: %{public}s", error.what());
        }
    }
}

SerialQueue::Task SerialQueue::next() {
    const MutexLock lock(mutex_);
    while (true) {
        const auto first = tasks_.begin();
        const Time now = stopping_ ? stopTime_ : std::chrono::steady_clock::now();
        if (first != tasks_.end() && first->first.first <= now) {
            Task task = std::move(first->second);
            tasks_.erase(first);
            return task;
        }
        if (stopping_) {
            return {};
        }
        if (first == tasks_.end()) {
            changed_.wait(mutex_);
        } else {
            // A copy: another thread may change the map meanwhile.
            const Time due = first->first.first;
            changed_.wait_until(mutex_, due);
        }
    }
}

} // namespace keysong
