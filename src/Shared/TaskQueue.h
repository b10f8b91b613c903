#pragma once

#include <chrono>
#include <functional>

namespace keysong {

/// Runs tasks one at a time, in the order in which they fall due.
///
/// Any thread but the render thread may add tasks.
class TaskQueue {
  public:
    using Task = std::function<void()>;

    virtual ~TaskQueue() = default;

    /// Runs `task` as soon as everything due before it has run. Returns at once.
    virtual void async(Task task) { asyncAfter(std::chrono::nanoseconds(0), std::move(task)); }

    /// Runs `task` once `delay` has passed. Returns at once.
    virtual void asyncAfter(std::chrono::nanoseconds delay, Task task) = 0;

    /// Runs `task` like `async` and waits for its end; what it throws reaches the caller. Never call this
    /// from a task of the same queue: it would wait for itself.
    virtual void sync(const Task& task) = 0;

  protected:
    TaskQueue() = default;
    TaskQueue(const TaskQueue&) = default;
    TaskQueue& operator=(const TaskQueue&) = default;
};

} // namespace keysong
