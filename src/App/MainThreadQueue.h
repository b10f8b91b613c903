#pragma once

#include "Shared/TaskQueue.h"

#include <QObject>

namespace keysong {

/// The main thread's event loop as a task queue.
///
/// Made and destroyed on the main thread; tasks still waiting then are dropped. Any thread but the render
/// thread may add tasks.
class MainThreadQueue final : public TaskQueue {
  public:
    void asyncAfter(std::chrono::nanoseconds delay, Task task) override;
    /// On the main thread the task runs inside the call.
    void sync(const Task& task) override;

  private:
    /// Receives the tasks. Those that still wait are dropped with it.
    QObject receiver_;
};

} // namespace keysong
