#pragma once

#include "Shared/TaskQueue.h"

#include <algorithm>
#include <map>
#include <utility>

namespace keysong::test {

/// A task queue whose time the test moves. Tasks run on the thread that calls `advance` or `sync`.
class ManualQueue final : public TaskQueue {
  public:
    void asyncAfter(std::chrono::nanoseconds delay, Task task) override {
        tasks_.emplace(now_ + delay, std::move(task));
    }

    void sync(const Task& task) override {
        advance(std::chrono::nanoseconds(0));
        task();
    }

    /// Moves the time on and runs what falls due, each task at its own time.
    void advance(std::chrono::nanoseconds duration) {
        const auto end = now_ + duration;
        while (!tasks_.empty() && tasks_.begin()->first <= end) {
            const auto first = tasks_.begin();
            now_ = std::max(now_, first->first);
            const Task task = std::move(first->second);
            tasks_.erase(first);
            task();
        }
        now_ = end;
    }

    [[nodiscard]] bool empty() const { return tasks_.empty(); }

  private:
    std::chrono::nanoseconds now_{0};
    std::multimap<std::chrono::nanoseconds, Task> tasks_;
};

} // namespace keysong::test
