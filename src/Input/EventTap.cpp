#include "Input/EventTap.h"

#include "Shared/Log.h"

#include <future>
#include <utility>

namespace keysong {

namespace {

constexpr EventMask tapMask = maskOf(RawEventType::leftMouseDown) | maskOf(RawEventType::leftMouseUp) |
                              maskOf(RawEventType::rightMouseDown) | maskOf(RawEventType::rightMouseUp) |
                              maskOf(RawEventType::keyDown) | maskOf(RawEventType::keyUp) |
                              maskOf(RawEventType::flagsChanged) | maskOf(RawEventType::systemDefined) |
                              maskOf(RawEventType::scrollWheel) | maskOf(RawEventType::otherMouseDown) |
                              maskOf(RawEventType::otherMouseUp);
static_assert(tapMask == 0x6405C1E);

/// A tap that was switched off without notice is switched on again within this time.
constexpr std::chrono::seconds pollInterval{5};

} // namespace

EventTapError::EventTapError(Kind kind)
    : std::runtime_error(kind == Kind::notTrusted ? "notTrusted" : "createFailed"), kind_(kind) {
}

EventTap::EventTap(InputSource& source, Threads& threads, EventHandler onEvent)
    : source_(source), threads_(threads), onEvent_(std::move(onEvent)) {
}

EventTap::~EventTap() {
    const MutexLock lifecycle(lifecycle_);
    {
        const MutexLock lock(stateLock_);
        if (state_.runLoop != nullptr) {
            state_.runLoop->stop();
        }
    }
    if (thread_.joinable()) {
        thread_.join();
    }
    // The run loop delivers the tap's events, so it is destroyed first.
    const MutexLock lock(stateLock_);
    state_.runLoop.reset();
    state_.port.reset();
}

void EventTap::start() {
    const MutexLock lifecycle(lifecycle_);
    {
        const MutexLock lock(stateLock_);
        if (state_.running) {
            return;
        }
    }
    auto port = source_.createTap(tapMask, [this](const RawEvent& event) { handle(event); });
    if (port == nullptr) {
        throw EventTapError(source_.hasAccess() ? EventTapError::Kind::createFailed
                                                : EventTapError::Kind::notTrusted);
    }
    auto runLoop = port->makeRunLoop();
    if (runLoop == nullptr) {
        throw EventTapError(EventTapError::Kind::createFailed);
    }
    RunLoop& loop = *runLoop;
    std::promise<void> ready;
    {
        const MutexLock lock(stateLock_);
        state_.port = std::move(port);
        state_.runLoop = std::move(runLoop);
        state_.running = true;
    }
    try {
        thread_ = threads_.start({"com.orlen.keysong.eventtap", "eventtap", ThreadPriority::userInteractive},
                                 [this, &loop, &ready] { serve(loop, [&ready] { ready.set_value(); }); });
    } catch (const std::system_error&) {
        const MutexLock lock(stateLock_);
        state_.runLoop.reset();
        state_.port.reset();
        state_.running = false;
        throw EventTapError(EventTapError::Kind::createFailed);
    }
    ready.get_future().wait();
}

void EventTap::serve(RunLoop& loop, const std::function<void()>& ready) {
    // Without the timer the tap still works, only a silent switch-off goes unnoticed.
    static_cast<void>(loop.addTimer(pollInterval, pollInterval, [this] { poll(); }));
    ready();
    loop.run();
}

void EventTap::handle(const RawEvent& event) {
    switch (event.type) {
    case RawEventType::tapDisabledByTimeout:
        handleDisabled("timeout");
        return;
    case RawEventType::tapDisabledByUserInput:
        handleDisabled("user input");
        return;
    case RawEventType::pointerMotion:
        noteInput(event);
        return;
    default:
        break;
    }
    if (onRawEvent) {
        onRawEvent(event);
    }
    if (const auto decoded = decoder_.decode(event.type, event)) {
        onEvent_(*decoded, event.time);
    }
    noteInput(event);
    if (afterRawEvent) {
        afterRawEvent(event);
    }
}

void EventTap::noteInput(const RawEvent& event) const {
    if (onInput && event.sourceState == hardwareSourceState) {
        onInput();
    }
}

InputTap* EventTap::port() {
    const MutexLock lock(stateLock_);
    return state_.port.get();
}

void EventTap::handleDisabled(std::string_view reason) {
    bool enabled = false;
    if (InputTap* const tap = port()) {
        tap->enable();
        enabled = tap->isEnabled();
    }
    log.error("event tap disabled (%{public}s), %{public}s", reason,
              enabled ? "re-enabled" : "re-enable FAILED");
}

void EventTap::poll() {
    constexpr std::string_view reason = "poll";
    InputTap* const tap = port();
    if (tap == nullptr || tap->isEnabled()) {
        return;
    }
    tap->enable();
    if (tap->isEnabled()) {
        log.error("event tap was disabled (%{public}s), re-enabled", reason);
    } else {
        log.error("event tap is disabled (%{public}s) and re-enabling it failed", reason);
    }
}

} // namespace keysong
