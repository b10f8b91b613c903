#include "Linux/Input/InputTranslator.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

constexpr double stepsPerNotch = 120;
constexpr std::chrono::seconds longestWheelPause{1};
constexpr std::int64_t scrollPhaseChanged = 2;
constexpr std::int64_t scrollPhaseEnded = 4;

bool isMouseButton(std::uint16_t code) {
    return code >= BTN_MOUSE && code < BTN_JOYSTICK;
}

} // namespace

RawEvent InputTranslator::event(RawEventType type, std::int64_t sourceState, Time time) const {
    RawEvent result;
    result.time = time;
    result.type = type;
    result.sourceState = sourceState;
    result.flags = flags(sourceState);
    return result;
}

std::uint64_t InputTranslator::flags(std::int64_t sourceState) const {
    std::uint64_t word = nonCoalescedFlag;
    if (sourceState == hardwareSourceState ? hardwareCapsLock_ : softwareCapsLock_) {
        word |= capsLockFlag;
    }
    for (const auto& [device, state] : devices_) {
        for (const HeldModifier& held : state.modifiers) {
            if (held.sourceState == sourceState) {
                word |= keyMeaningOf(held.linuxCode).flags;
            }
        }
    }
    return word;
}

void InputTranslator::key(Device device, std::int64_t sourceState, std::uint16_t linuxCode,
                          std::int32_t value, Time time) {
    const KeyMeaning meaning = keyMeaningOf(linuxCode);
    const bool repeats = value == 2;
    const bool pressed = value != 0;
    switch (meaning.kind) {
    case KeyMeaning::Kind::none:
        return;
    case KeyMeaning::Kind::modifier:
        if (value == 1) {
            pressModifier(devices_[device], linuxCode, sourceState, time);
        } else if (value == 0) {
            releaseModifier(devices_[device], linuxCode, time);
        }
        return;
    case KeyMeaning::Kind::capsLock:
        if (value == 1) {
            bool& on = sourceState == hardwareSourceState ? hardwareCapsLock_ : softwareCapsLock_;
            on = !on;
            RawEvent result = event(RawEventType::flagsChanged, sourceState, time);
            result.keycode = meaning.code;
            emit_(result);
        }
        return;
    case KeyMeaning::Kind::media: {
        RawEvent result = event(RawEventType::systemDefined, sourceState, time);
        result.scrollPhaseOrSubtype = auxiliaryControlSubtype;
        result.data1 = std::int64_t{meaning.code} << 16 | (pressed ? 0x0A00 : 0x0B00) | (repeats ? 1 : 0);
        emit_(result);
        return;
    }
    case KeyMeaning::Kind::key:
        break;
    }
    RawEvent result = event(pressed ? RawEventType::keyDown : RawEventType::keyUp, sourceState, time);
    result.keycode = meaning.code;
    result.autorepeat = repeats ? 1 : 0;
    emit_(result);
}

void InputTranslator::pressModifier(DeviceState& state, std::uint16_t linuxCode, std::int64_t sourceState,
                                    Time time) {
    const bool isHeld = std::any_of(state.modifiers.begin(), state.modifiers.end(),
                                    [&](const HeldModifier& held) { return held.linuxCode == linuxCode; });
    if (isHeld) {
        return;
    }
    state.modifiers.push_back({linuxCode, sourceState});
    RawEvent result = event(RawEventType::keyDown, sourceState, time);
    result.keycode = keyMeaningOf(linuxCode).code;
    emit_(result);
}

void InputTranslator::releaseModifier(DeviceState& state, std::uint16_t linuxCode, Time time) {
    const auto held =
        std::find_if(state.modifiers.begin(), state.modifiers.end(),
                     [&](const HeldModifier& candidate) { return candidate.linuxCode == linuxCode; });
    if (held == state.modifiers.end()) {
        return; // its press was let go already
    }
    const std::int64_t sourceState = held->sourceState;
    state.modifiers.erase(held);
    RawEvent result = event(RawEventType::keyUp, sourceState, time);
    result.keycode = keyMeaningOf(linuxCode).code;
    emit_(result);
}

void InputTranslator::button(std::int64_t sourceState, std::uint16_t linuxCode, bool pressed, Time time) {
    if (!isMouseButton(linuxCode)) {
        return;
    }
    auto type = pressed ? RawEventType::otherMouseDown : RawEventType::otherMouseUp;
    if (linuxCode == BTN_LEFT) {
        type = pressed ? RawEventType::leftMouseDown : RawEventType::leftMouseUp;
    } else if (linuxCode == BTN_RIGHT) {
        type = pressed ? RawEventType::rightMouseDown : RawEventType::rightMouseUp;
    }
    emit_(event(type, sourceState, time));
}

void InputTranslator::wheel(Device device, std::int64_t sourceState, double steps120, Time time) {
    DeviceState& state = devices_[device];
    if (steps120 * state.wheelSteps < 0 || time - state.lastTurn > longestWheelPause) {
        state.wheelSteps = 0; // turned back within a notch, or left to rest there
    }
    state.lastTurn = time;
    state.wheelSteps += steps120;
    const double notches = std::trunc(state.wheelSteps / stepsPerNotch);
    if (notches == 0) {
        return;
    }
    state.wheelSteps -= notches * stepsPerNotch;
    RawEvent result = event(RawEventType::scrollWheel, sourceState, time);
    result.lineDelta = static_cast<std::int64_t>(notches);
    emit_(result);
}

void InputTranslator::fingers(Device device, std::int64_t sourceState, double points, bool ends, Time time) {
    DeviceState& state = devices_[device];
    RawEvent result = event(RawEventType::scrollWheel, sourceState, time);
    result.continuous = 1;
    result.scrollPhaseOrSubtype = ends              ? scrollPhaseEnded
                                  : state.scrolling ? scrollPhaseChanged
                                                    : scrollPhaseBegan;
    if (!state.scrolling) {
        state.scrollRemainder = 0;
    }
    state.scrolling = !ends;
    state.scrollRemainder += points;
    const double whole = std::trunc(state.scrollRemainder);
    state.scrollRemainder -= whole;
    result.pointDelta = static_cast<std::int64_t>(whole);
    emit_(result);
}

void InputTranslator::release(Device device) {
    const auto found = devices_.find(device);
    if (found == devices_.end()) {
        return;
    }
    while (!found->second.modifiers.empty()) {
        releaseModifier(found->second, found->second.modifiers.front().linuxCode, {});
    }
}

void InputTranslator::remove(Device device) {
    release(device);
    devices_.erase(device);
}

void InputTranslator::reset() {
    devices_.clear();
}

void EvdevTranslator::event(std::uint16_t type, std::uint16_t code, std::int32_t value,
                            InputTranslator::Time time) {
    constexpr InputTranslator::Device device = 0;
    if (type == EV_SYN && code == SYN_DROPPED) {
        dropping_ = true;
        wheel_ = fineWheel_ = 0;
        translator_.release(device);
    } else if (type == EV_SYN && code == SYN_REPORT) {
        endReport(time);
    } else if (dropping_) {
        return;
    } else if (type == EV_KEY && isMouseButton(code)) {
        if (value != 2) {
            translator_.button(hardwareSourceState, code, value != 0, time);
        }
    } else if (type == EV_KEY) {
        translator_.key(device, hardwareSourceState, code, value, time);
    } else if (type == EV_REL && code == REL_WHEEL) {
        wheel_ += std::clamp(value, -1000, 1000);
    } else if (type == EV_REL && code == REL_WHEEL_HI_RES) {
        hasFineWheel_ = true;
        fineWheel_ += std::clamp(value, -120'000, 120'000);
    }
}

void EvdevTranslator::endReport(InputTranslator::Time time) {
    const double steps = hasFineWheel_ ? fineWheel_ : wheel_ * stepsPerNotch;
    if (steps != 0 && !dropping_) {
        translator_.wheel(0, hardwareSourceState, steps, time);
    }
    wheel_ = fineWheel_ = 0;
    dropping_ = false;
}

} // namespace keysong
