#pragma once

#include "Platform/HotkeyRegistrar.h"
#include "Shared/Lifetime.h"
#include "Shared/TaskQueue.h"

#include <utility>

namespace keysong {

/// Carries presses and refusals from any thread to the handlers on the main thread. Each way of serving
/// hotkeys has one; what is under way when it is destroyed is dropped.
class HotkeyDelivery {
  public:
    /// The queue outlives the delivery and runs its tasks on the main thread.
    explicit HotkeyDelivery(TaskQueue& mainQueue) : mainQueue_(mainQueue) {}

    /// Main thread.
    void install(HotkeyRegistrar::Handlers handlers) { handlers_ = std::move(handlers); }

    /// Any thread but the render thread: takes the queue's lock and memory for one task.
    void press(HotkeyIdentity identity) const;
    /// Any thread but the render thread.
    void refuse(HotkeyIdentity identity, HotkeyStatus status) const;

  private:
    TaskQueue& mainQueue_;
    /// Touched on the main thread only.
    HotkeyRegistrar::Handlers handlers_;
    Lifetime lifetime_;
};

} // namespace keysong
