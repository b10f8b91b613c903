#pragma once

#include "Platform/Threads.h"
#include "Shared/Mutex.h"
#include "Shared/TaskQueue.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <thread>
#include <utility>

namespace keysong {

/// A task queue with one thread of its own.
///
/// The destructor lets the running task and those already due end, drops the tasks still waiting for
/// their delay, and joins the thread. A task given to `async` or `asyncAfter` should not throw; what it
/// throws is logged and the queue goes on.
class SerialQueue final : public TaskQueue {
  public:
    /// Starts the thread. Throws std::system_error when none can be made.
    SerialQueue(Threads& threads, ThreadAttributes attributes);
    ~SerialQueue() override;
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void asyncAfter(std::chrono::nanoseconds delay, Task task) override KEYSONG_EXCLUDES(mutex_);
    void sync(const Task& task) override KEYSONG_EXCLUDES(mutex_);

  private:
    using Time = std::chrono::steady_clock::time_point;
    /// When a task falls due, and its number, so that equal times keep their order.
    using Due = std::pair<Time, std::uint64_t>;

    void serve() KEYSONG_EXCLUDES(mutex_);
    /// Waits for the next due task; empty once the queue is being destroyed and nothing due is left.
    Task next() KEYSONG_EXCLUDES(mutex_);

    Mutex mutex_;
    std::condition_variable_any changed_;
    std::map<Due, Task> tasks_ KEYSONG_GUARDED_BY(mutex_);
    std::uint64_t nextNumber_ KEYSONG_GUARDED_BY(mutex_) = 0;
    bool stopping_ KEYSONG_GUARDED_BY(mutex_) = false;
    Time stopTime_ KEYSONG_GUARDED_BY(mutex_);
    std::thread thread_;
};

} // namespace keysong
