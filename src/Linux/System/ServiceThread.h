#pragma once

#include "Linux/System/EpollRunLoop.h"
#include "Platform/Threads.h"
#include "Shared/Mutex.h"
#include "Shared/TaskQueue.h"

#include <future>
#include <map>
#include <memory>
#include <thread>

namespace keysong {

/// A thread that serves descriptors and runs tasks in between: for a connection that only one thread may
/// touch. It gets no SIGPIPE. The destructor lets the running task end, drops the others and joins the
/// thread.
class ServiceThread {
  public:
    using Task = TaskQueue::Task;

    /// Starts the thread. Throws std::system_error when the machine refuses it or its descriptors.
    ServiceThread(Threads& threads, ThreadAttributes attributes);
    ~ServiceThread();
    ServiceThread(const ServiceThread&) = delete;
    ServiceThread& operator=(const ServiceThread&) = delete;

    /// Runs `task` on the thread, after those given before. Any thread but the render thread.
    void async(Task task) { asyncAfter(std::chrono::nanoseconds(0), std::move(task)); }
    /// The same once `delay` has passed.
    void asyncAfter(std::chrono::nanoseconds delay, Task task) KEYSONG_EXCLUDES(mutex_);

    /// Runs `function` on the thread, waits for it and returns what it returns or throws. Any other thread.
    template <typename Function>
    auto ask(const Function& function) {
        using Result = decltype(function());
        const auto question = std::make_shared<std::packaged_task<Result()>>([&] { return function(); });
        auto answer = question->get_future();
        async([question] { (*question)(); });
        return answer.get();
    }

    /// For watching descriptors. The thread itself.
    [[nodiscard]] EpollRunLoop& loop() noexcept { return *loop_; }

  private:
    using Time = std::chrono::steady_clock::time_point;

    void runDue() KEYSONG_EXCLUDES(mutex_);
    /// The first task that is due; empty when there is none, and the timer then stands on the next one.
    Task takeDue() KEYSONG_EXCLUDES(mutex_);
    void setTimer(Time due) const;

    std::unique_ptr<EpollRunLoop> loop_;
    FileDescriptor timer_;
    Mutex mutex_;
    /// Tasks of the same time keep their order.
    std::multimap<Time, Task> tasks_ KEYSONG_GUARDED_BY(mutex_);
    std::thread thread_;
};

} // namespace keysong
