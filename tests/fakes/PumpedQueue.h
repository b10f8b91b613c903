#pragma once

#include "Shared/Mutex.h"
#include "Shared/TaskQueue.h"
#include "support/Eventually.h"

#include <chrono>
#include <deque>
#include <functional>
#include <utility>

namespace keysong::test {

/// The main thread's queue for tests with real threads and servers: any thread adds, the test's thread runs.
/// Delays are not kept.
class PumpedQueue final : public TaskQueue {
  public:
    void asyncAfter(std::chrono::nanoseconds, Task task) override {
        const MutexLock lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    void sync(const Task& task) override { task(); }

    void run() {
        while (const Task task = next()) {
            task();
        }
    }

    /// Runs tasks, and `besides` in between, until the condition holds; false when that takes too long.
    [[nodiscard]] bool runUntil(
        const std::function<bool()>& condition, const std::function<void()>& besides = [] {}) {
        return eventually([&] {
            besides();
            run();
            return condition();
        });
    }

  private:
    Task next() {
        const MutexLock lock(mutex_);
        if (tasks_.empty()) {
            return {};
        }
        Task task = std::move(tasks_.front());
        tasks_.pop_front();
        return task;
    }

    Mutex mutex_;
    std::deque<Task> tasks_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong::test
