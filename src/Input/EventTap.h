#pragma once

#include "Input/EventDecoder.h"
#include "Platform/InputSource.h"
#include "Platform/Threads.h"
#include "Shared/Mutex.h"
#include "Shared/SoundEvent.h"

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace keysong {

/// An event tap did not start. `what()` is the name of the case.
class EventTapError : public std::runtime_error {
  public:
    enum class Kind {
        /// The tap could not be created and the process may not listen to the keyboards.
        notTrusted,
        /// The tap or its run loop could not be created although the process may listen.
        createFailed,
    };

    explicit EventTapError(Kind kind);

    [[nodiscard]] Kind kind() const noexcept { return kind_; }

  private:
    Kind kind_;
};

/// Listens to every key, button, scroll and media event of the machine, without changing or delaying any,
/// and turns each into a sound event on a thread of its own. When the system switches the tap off, it is
/// switched on again: at once when the system says so, otherwise within five seconds.
///
/// `start` may be called from any thread; the handlers run on the service thread
/// "com.orlen.keysong.eventtap". Destruction stops and joins that thread; it must not happen there.
class EventTap {
  public:
    /// A sound event, and when it happened (`RawEvent::time`).
    using EventHandler = std::function<void(SoundEvent, std::chrono::nanoseconds)>;

    /// `source` and `threads` outlive the tap. `onEvent` is called for every decoded event on the service
    /// thread; it must be quick and must not throw.
    EventTap(InputSource& source, Threads& threads, EventHandler onEvent);
    ~EventTap();
    EventTap(const EventTap&) = delete;
    EventTap& operator=(const EventTap&) = delete;

    /// Called on the service thread for every raw event before it is decoded: for diagnostics, since the
    /// sound waits for it. Set before `start`.
    RawEventHandler onRawEvent;
    /// Called on the service thread for every raw event after its sound event, if any. Set before `start`.
    RawEventHandler afterRawEvent;
    /// Called on the service thread after each sign that somebody uses the machine: every event of the
    /// hardware, sounding or not, and the pointer's motion. Set before `start`.
    std::function<void()> onInput;

    /// Creates the tap and its thread; returns once the thread is set up. Does nothing when running.
    /// Throws `EventTapError`; nothing is kept then and a later call may succeed.
    void start() KEYSONG_EXCLUDES(lifecycle_, stateLock_);

  private:
    struct State {
        std::unique_ptr<InputTap> port;
        std::unique_ptr<RunLoop> runLoop;
        bool running = false;
    };

    void serve(RunLoop& loop, const std::function<void()>& ready);
    void handle(const RawEvent& event) KEYSONG_EXCLUDES(stateLock_);
    void noteInput(const RawEvent& event) const;
    /// The tap, which stays as long as the service thread does. Null while it is being opened: a notice may
    /// come from there.
    [[nodiscard]] InputTap* port() KEYSONG_EXCLUDES(stateLock_);
    void handleDisabled(std::string_view reason) KEYSONG_EXCLUDES(stateLock_);
    void poll() KEYSONG_EXCLUDES(stateLock_);

    InputSource& source_;
    Threads& threads_;
    const EventHandler onEvent_;
    /// Touched on the service thread only.
    EventDecoder decoder_;
    /// Serialises `start`; taken before the state lock, never by the service thread.
    Mutex lifecycle_;
    /// Held for short reads and writes, never over the tap's own operations, a handler or the logger.
    Mutex stateLock_;
    State state_ KEYSONG_GUARDED_BY(stateLock_);
    std::thread thread_ KEYSONG_GUARDED_BY(lifecycle_);
};

} // namespace keysong
