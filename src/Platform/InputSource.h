#pragma once

#include "Platform/RawEvent.h"

#include <chrono>
#include <functional>
#include <memory>

namespace keysong {

/// Serves one thread: delivers a tap's events and its timers there.
class RunLoop {
  public:
    virtual ~RunLoop() = default;

    /// Calls `handler` on the serving thread, first after `first`, then every `interval`.
    /// Call before `run` or on the serving thread. False when the machine refuses a timer.
    virtual bool addTimer(std::chrono::nanoseconds first, std::chrono::nanoseconds interval,
                          std::function<void()> handler) = 0;

    /// Serves the calling thread until `stop`. Returns at once when `stop` came first.
    virtual void run() = 0;

    /// Makes `run` return soon. Any thread; may be called before `run` and more than once.
    virtual void stop() noexcept = 0;

  protected:
    RunLoop() = default;
    RunLoop(const RunLoop&) = default;
    RunLoop& operator=(const RunLoop&) = default;
};

/// An open, listen-only tap on the machine's input. It never alters or delays an event.
///
/// Made on any thread; from then on used by the thread that serves its run loop.
class InputTap {
  public:
    virtual ~InputTap() = default;

    /// Makes the run loop that delivers this tap's events. Call once. The tap outlives it.
    /// Null when the machine refuses one.
    [[nodiscard]] virtual std::unique_ptr<RunLoop> makeRunLoop() = 0;

    /// Switches delivery on again; reopens devices that were revoked or suspended. A few system calls at
    /// the most; what came of it is told by `isEnabled`.
    virtual void enable() = 0;

    /// False while the system withholds input that this tap had: devices revoked or suspended, the
    /// display connection lost.
    [[nodiscard]] virtual bool isEnabled() const = 0;

  protected:
    InputTap() = default;
    InputTap(const InputTap&) = default;
    InputTap& operator=(const InputTap&) = default;
};

/// Called for every raw event, on the thread that serves the tap's run loop. It must return quickly and
/// must not throw. Besides events it receives the notices: of pointer motion, and that the tap was disabled.
using RawEventHandler = std::function<void(const RawEvent&)>;

/// The machine's input: who may listen, and the taps that do.
class InputSource {
  public:
    virtual ~InputSource() = default;

    /// Whether this process may listen to the machine's keyboards. Asked afresh on every call; any thread
    /// but the render thread.
    [[nodiscard]] virtual bool hasAccess() const = 0;

    /// Whether the right to listen was taken back from the taps that this source has opened. They are silent
    /// then, and go on by themselves when it is given again. Never waits; any thread but the render thread.
    [[nodiscard]] virtual bool isRevoked() const { return false; }

    /// Opens a tap for the event types in `mask`. Null when none can be made, for want of permission
    /// (`hasAccess` tells) or of means. The source outlives the tap.
    [[nodiscard]] virtual std::unique_ptr<InputTap> createTap(EventMask mask, RawEventHandler handler) = 0;

  protected:
    InputSource() = default;
    InputSource(const InputSource&) = default;
    InputSource& operator=(const InputSource&) = default;
};

} // namespace keysong
