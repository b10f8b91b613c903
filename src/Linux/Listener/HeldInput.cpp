#include "Linux/Listener/HeldInput.h"

#include <algorithm>
#include <optional>

namespace keysong::listener {

namespace {

/// A media event's data: the key above, its state in the second byte, repetition in the lowest bit.
constexpr std::int64_t stateMask = 0xFF00;
constexpr std::int64_t downState = 0x0A00;
constexpr std::int64_t upState = 0x0B00;
constexpr std::int64_t repeatMask = 0xFF;

std::optional<RawEventType> releaseTypeOf(const RawEvent& event) {
    switch (event.type) {
    case RawEventType::keyDown:
        return RawEventType::keyUp;
    case RawEventType::leftMouseDown:
        return RawEventType::leftMouseUp;
    case RawEventType::rightMouseDown:
        return RawEventType::rightMouseUp;
    case RawEventType::otherMouseDown:
        return RawEventType::otherMouseUp;
    case RawEventType::systemDefined:
        return (event.data1 & stateMask) == downState ? std::optional(RawEventType::systemDefined)
                                                      : std::nullopt;
    default:
        return std::nullopt;
    }
}

/// The release that belongs to a press, of no known time and with nothing else held.
RawEvent releaseOf(const RawEvent& press, RawEventType type) {
    RawEvent release;
    release.type = type;
    release.flags = nonCoalescedFlag;
    release.keycode = press.keycode;
    release.scrollPhaseOrSubtype = press.scrollPhaseOrSubtype;
    if (type == RawEventType::systemDefined) {
        release.data1 = (press.data1 & ~stateMask & ~repeatMask) | upState;
    }
    return release;
}

bool isSame(const RawEvent& release, const RawEvent& event) {
    const std::int64_t data = event.type == RawEventType::systemDefined ? event.data1 & ~repeatMask : 0;
    return release.type == event.type && release.keycode == event.keycode && release.data1 == data;
}

} // namespace

void HeldInput::note(const RawEvent& event) {
    if (event.sourceState != hardwareSourceState) {
        return;
    }
    if (const auto type = releaseTypeOf(event)) {
        const RawEvent release = releaseOf(event, *type);
        if (std::ranges::none_of(releases_, [&](const RawEvent& held) { return isSame(held, release); })) {
            releases_.push_back(release);
        }
        return;
    }
    std::erase_if(releases_, [&](const RawEvent& held) { return isSame(held, event); });
}

void HeldInput::releaseAll(const RawEventHandler& emit) {
    for (const RawEvent& release : releases_) {
        emit(release);
    }
    std::ranges::fill(releases_, RawEvent());
    releases_.clear();
}

} // namespace keysong::listener
