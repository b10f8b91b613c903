#include "Input/EventDecoder.h"

#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

constexpr std::uint16_t capsLockCode = 57;
/// Points of continuous scrolling that make one tick; also the most that is carried to the next.
constexpr double pointsPerTick = 32;
/// Key states in a media event's data word.
constexpr std::int64_t mediaKeyDownState = 0x0A;
constexpr std::int64_t mediaKeyUpState = 0x0B;

/// The key code of an event; codes that some keyboards send for the special keys of the function row
/// become the F-key codes of their places.
std::uint16_t keyCodeOf(const RawEvent& event) noexcept {
    const auto code = static_cast<std::uint16_t>(event.integerField(RawEventField::keyboardKeycode));
    switch (code) {
    case 160: // overview
        return 99;
    case 131:
    case 177: // search
        return 118;
    case 176: // dictation
        return 96;
    case 178: // do not disturb
        return 97;
    default:
        return code;
    }
}

} // namespace

std::optional<SoundEvent> EventDecoder::decode(RawEventType type, const RawEvent& event) noexcept {
    // First of all, since events posted by software must not change the state.
    if (event.integerField(RawEventField::sourceState) != hardwareSourceState) {
        return std::nullopt;
    }
    switch (type) {
    case RawEventType::leftMouseDown:
        return SoundEvent::mouseDown(MouseButton::left);
    case RawEventType::leftMouseUp:
        return SoundEvent::mouseUp(MouseButton::left);
    case RawEventType::rightMouseDown:
        return SoundEvent::mouseDown(MouseButton::right);
    case RawEventType::rightMouseUp:
        return SoundEvent::mouseUp(MouseButton::right);
    case RawEventType::otherMouseDown:
        return SoundEvent::mouseDown(MouseButton::other);
    case RawEventType::otherMouseUp:
        return SoundEvent::mouseUp(MouseButton::other);
    case RawEventType::keyDown:
        if (event.integerField(RawEventField::keyboardAutorepeat) != 0) {
            return std::nullopt;
        }
        return SoundEvent::keyDown(keyCodeOf(event));
    case RawEventType::keyUp:
        return SoundEvent::keyUp(keyCodeOf(event));
    case RawEventType::flagsChanged:
        return decodeFlagsChanged(event);
    case RawEventType::systemDefined:
        return decodeMediaKey(event);
    case RawEventType::scrollWheel:
        return decodeScroll(event);
    case RawEventType::pointerMotion:
    case RawEventType::tapDisabledByTimeout:
    case RawEventType::tapDisabledByUserInput:
        break;
    }
    return std::nullopt;
}

std::optional<SoundEvent> EventDecoder::decodeFlagsChanged(const RawEvent& event) noexcept {
    const std::uint16_t code = keyCodeOf(event);
    const std::uint64_t flags = event.flags & ~std::uint64_t{nonCoalescedFlag};
    const std::uint64_t previous = lastFlags_;
    lastFlags_ = flags;
    const bool added = (flags & ~previous) != 0;
    // Caps Lock sounds as a press when it goes on and when it goes off.
    if (code == capsLockCode || added || flags == previous) {
        return SoundEvent::keyDown(code);
    }
    return SoundEvent::keyUp(code);
}

std::optional<SoundEvent> EventDecoder::decodeMediaKey(const RawEvent& event) noexcept {
    if (event.integerField(RawEventField::scrollPhaseOrSubtype) != auxiliaryControlSubtype) {
        return std::nullopt;
    }
    const std::int64_t data = event.integerField(RawEventField::data1);
    const bool repeats = (data & 1) != 0;
    const auto code = mediaKeyCode(data >> 16 & 0xFFFF);
    if (repeats || !code) {
        return std::nullopt;
    }
    switch (data >> 8 & 0xFF) {
    case mediaKeyDownState:
        return SoundEvent::keyDown(*code);
    case mediaKeyUpState:
        return SoundEvent::keyUp(*code);
    default:
        return std::nullopt;
    }
}

std::optional<std::uint16_t> EventDecoder::mediaKeyCode(std::int64_t keyType) noexcept {
    switch (keyType) {
    case 0: // sound up
        return 111;
    case 1: // sound down
        return 103;
    case 2: // brightness up
        return 120;
    case 3: // brightness down
        return 122;
    case 7: // mute
        return 109;
    case 16: // play
        return 100;
    case 17: // next
    case 19: // fast forward
        return 101;
    case 18: // previous
    case 20: // rewind
        return 98;
    case 21: // keyboard illumination up
        return 97;
    case 22: // keyboard illumination down
        return 96;
    default:
        return std::nullopt;
    }
}

std::optional<SoundEvent> EventDecoder::decodeScroll(const RawEvent& event) noexcept {
    if (event.integerField(RawEventField::scrollWheelMomentumPhase) != 0) {
        return std::nullopt;
    }
    if (event.integerField(RawEventField::scrollWheelIsContinuous) == 0) {
        if (event.integerField(RawEventField::scrollWheelDeltaAxis1) == 0) {
            return std::nullopt;
        }
        return SoundEvent::scrollTick();
    }
    if (event.integerField(RawEventField::scrollPhaseOrSubtype) == scrollPhaseBegan) {
        scrollPixels_ = 0;
    }
    const auto delta = static_cast<double>(event.integerField(RawEventField::scrollWheelPointDeltaAxis1));
    if (delta == 0) {
        return std::nullopt;
    }
    scrollPixels_ += std::abs(delta);
    if (scrollPixels_ < pointsPerTick) {
        return std::nullopt;
    }
    // One event is one tick; a single huge one leaves at most one more pending.
    scrollPixels_ = std::min(scrollPixels_ - pointsPerTick, pointsPerTick);
    return SoundEvent::scrollTick();
}

} // namespace keysong
