#pragma once

#include "Platform/Threads.h"
#include "Shared/Mutex.h"

#include <functional>
#include <list>
#include <thread>

namespace keysong {

/// Runs tasks beside each other, each on a thread of its own, which ends with it. The destructor waits for
/// those that run. Any thread but the render and event-tap threads.
class BackgroundTasks {
  public:
    /// `threads` outlives the tasks.
    BackgroundTasks(Threads& threads, ThreadAttributes attributes);
    ~BackgroundTasks();
    BackgroundTasks(const BackgroundTasks&) = delete;
    BackgroundTasks& operator=(const BackgroundTasks&) = delete;

    /// Throws std::system_error when there can be no thread. The task should not throw; what it throws is
    /// logged.
    void run(std::function<void()> task) KEYSONG_EXCLUDES(mutex_);

  private:
    struct Running {
        std::thread thread;
        bool ended = false;
    };

    void joinEnded() KEYSONG_REQUIRES(mutex_);

    Threads& threads_;
    const ThreadAttributes attributes_;
    Mutex mutex_;
    std::list<Running> running_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong
