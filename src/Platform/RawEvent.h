#pragma once

#include <chrono>
#include <cstdint>

namespace keysong {

/// The kind of a raw input event. The numbers are part of the contract: they are the bit positions of
/// an `EventMask` and are printed by the input diagnostics.
enum class RawEventType : std::uint32_t {
    leftMouseDown = 1,
    leftMouseUp = 2,
    rightMouseDown = 3,
    rightMouseUp = 4,
    keyDown = 10,
    keyUp = 11,
    /// Caps Lock was switched, or a modifier went down or up where the source does not know which.
    flagsChanged = 12,
    systemDefined = 14,
    scrollWheel = 22,
    otherMouseDown = 25,
    otherMouseUp = 26,
    /// Not an event: somebody moves the pointer. Told at most every tenth of a second, whatever the mask
    /// says.
    pointerMotion = 0xFFFFFFFD,
    /// Not an event: the system switched the tap off because its handler was slow.
    tapDisabledByTimeout = 0xFFFFFFFE,
    /// Not an event: the system switched the tap off on the user's account (devices revoked, suspended).
    tapDisabledByUserInput = 0xFFFFFFFF,
};

/// The integer fields of a raw event, by number.
enum class RawEventField : std::uint32_t {
    keyboardAutorepeat = 8,
    keyboardKeycode = 9,
    scrollWheelDeltaAxis1 = 11,
    sourceProcess = 41,
    sourceState = 45,
    scrollWheelIsContinuous = 88,
    scrollWheelPointDeltaAxis1 = 96,
    /// The phase of a scroll event; the subtype of a system-defined event.
    scrollPhaseOrSubtype = 99,
    scrollWheelMomentumPhase = 123,
    /// The first data word of a system-defined event.
    data1 = 149,
};

/// Modifier flags of a raw event, device-dependent bits of the left and right keys included.
enum RawEventFlags : std::uint64_t {
    leftControlFlag = 0x1,
    leftShiftFlag = 0x2,
    rightShiftFlag = 0x4,
    leftCommandFlag = 0x8,
    rightCommandFlag = 0x10,
    leftOptionFlag = 0x20,
    rightOptionFlag = 0x40,
    nonCoalescedFlag = 0x100,
    rightControlFlag = 0x2000,
    capsLockFlag = 0x10000,
    shiftFlag = 0x20000,
    controlFlag = 0x40000,
    optionFlag = 0x80000,
    commandFlag = 0x100000,
    functionFlag = 0x800000,
};

/// Where events made by the hardware come from; every other source state marks software.
inline constexpr std::int64_t hardwareSourceState = 1;
/// The source state of events made by software (virtual devices, injected input).
inline constexpr std::int64_t softwareSourceState = 0;
/// The scroll phase of the first event of a continuous scroll gesture.
inline constexpr std::int64_t scrollPhaseBegan = 1;
/// The subtype of system-defined events that carry media keys.
inline constexpr std::int64_t auxiliaryControlSubtype = 8;

/// One raw input event as an input source delivers it: a plain value with the fields that the decoder
/// reads. It holds no text and no position: nothing of what is typed but the key code. Its time places the
/// sound and serves nothing else: whoever gets the event must not keep, log or show the time.
///
/// Copying and reading are safe on any thread and in real time.
struct RawEvent {
    RawEventType type{};
    std::uint64_t flags = 0;
    std::int64_t sourceState = hardwareSourceState;
    /// The process that posted the event, 0 for the hardware or where it is not known.
    std::int64_t sourceProcess = 0;
    /// Virtual key code of a key event.
    std::int64_t keycode = 0;
    std::int64_t autorepeat = 0;
    /// Vertical movement of a notched wheel in lines.
    std::int64_t lineDelta = 0;
    /// Non-zero for continuous scrolling (fingers).
    std::int64_t continuous = 0;
    /// Vertical movement of continuous scrolling in points.
    std::int64_t pointDelta = 0;
    std::int64_t scrollPhaseOrSubtype = 0;
    std::int64_t momentumPhase = 0;
    std::int64_t data1 = 0;
    /// When it happened, by the machine's monotonic clock (`Clock`). 0 where the source does not know that to
    /// the microsecond, or has held the event back itself: then the sound counts from its arrival.
    std::chrono::nanoseconds time{0};

    /// The value of one field, 0 for a field that this event does not carry.
    [[nodiscard]] std::int64_t integerField(RawEventField field) const noexcept;
};

/// One bit per event type, bit number = type value.
using EventMask = std::uint64_t;

[[nodiscard]] constexpr EventMask maskOf(RawEventType type) noexcept {
    return EventMask{1} << static_cast<std::uint32_t>(type);
}

inline std::int64_t RawEvent::integerField(RawEventField field) const noexcept {
    switch (field) {
    case RawEventField::keyboardAutorepeat:
        return autorepeat;
    case RawEventField::keyboardKeycode:
        return keycode;
    case RawEventField::scrollWheelDeltaAxis1:
        return lineDelta;
    case RawEventField::sourceProcess:
        return sourceProcess;
    case RawEventField::sourceState:
        return sourceState;
    case RawEventField::scrollWheelIsContinuous:
        return continuous;
    case RawEventField::scrollWheelPointDeltaAxis1:
        return pointDelta;
    case RawEventField::scrollPhaseOrSubtype:
        return scrollPhaseOrSubtype;
    case RawEventField::scrollWheelMomentumPhase:
        return momentumPhase;
    case RawEventField::data1:
        return data1;
    }
    return 0;
}

} // namespace keysong
