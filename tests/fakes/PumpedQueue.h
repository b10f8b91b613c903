#pragma once

#include "fakes/ManualQueue.h"
#include "support/Eventually.h"

namespace keysong::test {

/// The main thread's queue for tests with real threads and servers: any thread adds, the test's thread runs.
/// Delays are not kept.
class PumpedQueue final : public ManualQueue {
  public:
    void asyncAfter(std::chrono::nanoseconds, Task task) override {
        ManualQueue::asyncAfter({}, std::move(task));
    }
    void sync(const Task& task) override { task(); }

    void run() { advance({}); }

    /// Runs tasks, and `besides` in between, until the condition holds; false when that takes too long.
    [[nodiscard]] bool runUntil(
        const std::function<bool()>& condition, const std::function<void()>& besides = [] {}) {
        return eventually([&] {
            besides();
            run();
            return condition();
        });
    }
};

} // namespace keysong::test
