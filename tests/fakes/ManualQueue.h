#pragma once

#include "Shared/TaskQueue.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

namespace keysong::test {

/// A task queue whose time the test moves. Tasks come from any thread and run on the one that calls `advance`
/// or `sync`.
class ManualQueue : public TaskQueue {
  public:
    void asyncAfter(std::chrono::nanoseconds delay, Task task) override {
        const std::lock_guard lock(mutex_);
        tasks_.emplace(now_ + delay, std::move(task));
    }

    void sync(const Task& task) override {
        advance(std::chrono::nanoseconds(0));
        task();
    }

    /// Moves the time on and runs what falls due, each task at its own time.
    void advance(std::chrono::nanoseconds duration) {
        std::unique_lock lock(mutex_);
        const auto end = now_ + duration;
        while (!tasks_.empty() && tasks_.begin()->first <= end) {
            const auto first = tasks_.begin();
            now_ = std::max(now_, first->first);
            Task task = std::move(first->second);
            tasks_.erase(first);
            lock.unlock();
            task();
            task = nullptr;
            lock.lock();
        }
        now_ = end;
    }

    /// Whether a task waits whose time has come.
    [[nodiscard]] bool isDue() const {
        const std::lock_guard lock(mutex_);
        return !tasks_.empty() && tasks_.begin()->first <= now_;
    }

    [[nodiscard]] bool empty() const {
        const std::lock_guard lock(mutex_);
        return tasks_.empty();
    }

  private:
    mutable std::mutex mutex_;
    std::chrono::nanoseconds now_{0};
    std::multimap<std::chrono::nanoseconds, Task> tasks_;
};

} // namespace keysong::test
