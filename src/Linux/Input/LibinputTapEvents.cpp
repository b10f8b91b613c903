// What the tap makes of the events that libinput gives it.

#include "Linux/Input/LibinputTap.h"

#include <libinput.h>

namespace keysong {

namespace {

/// Motion is told at most so often.
constexpr std::chrono::milliseconds motionInterval{100};

} // namespace

void LibinputTap::handle(libinput_event* event) {
    libinput_device* device = libinput_event_get_device(event);
    switch (libinput_event_get_type(event)) {
    case LIBINPUT_EVENT_KEYBOARD_KEY:
        handleKey(event, device);
        break;
    case LIBINPUT_EVENT_POINTER_BUTTON:
    case LIBINPUT_EVENT_POINTER_SCROLL_WHEEL:
    case LIBINPUT_EVENT_POINTER_SCROLL_FINGER:
    case LIBINPUT_EVENT_POINTER_SCROLL_CONTINUOUS:
        handlePointer(event, device);
        break;
    case LIBINPUT_EVENT_DEVICE_REMOVED: {
        Device& removed = deviceOf(device);
        removed.isDead = true;
        deadNodes_.push_back(removed.node);
        break;
    }
    case LIBINPUT_EVENT_POINTER_MOTION:
    case LIBINPUT_EVENT_POINTER_MOTION_ABSOLUTE:
        handleMotion(device);
        break;
    default:
        if (touch_.handle(event)) {
            handleMotion(device);
        }
        break;
    }
}

void LibinputTap::handleMotion(libinput_device* device) {
    const auto now = std::chrono::steady_clock::now();
    const bool isHardware =
        originOf(device) == DeviceOrigin::hardware || remapped_.standsForHardware(keyOf(device));
    if (isHardware && now - lastMotion_ >= motionInterval) {
        lastMotion_ = now;
        RawEvent notice;
        notice.type = RawEventType::pointerMotion;
        handler_(notice);
    }
}

void LibinputTap::handleKey(libinput_event* event, libinput_device* device) {
    auto* keyboard = libinput_event_get_keyboard_event(event);
    const auto code = static_cast<std::uint16_t>(libinput_event_keyboard_get_key(keyboard));
    const bool pressed = libinput_event_keyboard_get_key_state(keyboard) == LIBINPUT_KEY_STATE_PRESSED;
    const InputTranslator::Time time(libinput_event_keyboard_get_time_usec(keyboard));
    translator_.key(keyOf(device), sourceStateOfKey(device, code, pressed), code, pressed ? 1 : 0, time);
}

void LibinputTap::handlePointer(libinput_event* event, libinput_device* device) {
    auto* pointer = libinput_event_get_pointer_event(event);
    const auto type = libinput_event_get_type(event);
    if (type == LIBINPUT_EVENT_POINTER_BUTTON) {
        const auto code = static_cast<std::uint16_t>(libinput_event_pointer_get_button(pointer));
        const bool pressed =
            libinput_event_pointer_get_button_state(pointer) == LIBINPUT_BUTTON_STATE_PRESSED;
        button(device, code, pressed, promptTime(libinput_event_pointer_get_time_usec(pointer)));
        return;
    }
    constexpr auto vertical = LIBINPUT_POINTER_AXIS_SCROLL_VERTICAL;
    if (libinput_event_pointer_has_axis(pointer, vertical) == 0) {
        return;
    }
    const InputTranslator::Time time(libinput_event_pointer_get_time_usec(pointer));
    const std::int64_t sourceState = sourceStateOfScroll(device);
    if (type == LIBINPUT_EVENT_POINTER_SCROLL_WHEEL) {
        translator_.wheel(keyOf(device), sourceState,
                          libinput_event_pointer_get_scroll_value_v120(pointer, vertical), time);
        return;
    }
    const double points = libinput_event_pointer_get_scroll_value(pointer, vertical);
    translator_.fingers(keyOf(device), sourceState, points, points == 0, time);
}

void LibinputTap::button(libinput_device* device, std::uint16_t code, bool pressed,
                         InputTranslator::Time time) {
    translator_.button(sourceStateOfKey(device, code, pressed), code, pressed, time);
}

InputTranslator::Device LibinputTap::keyOf(libinput_device* device) {
    return reinterpret_cast<InputTranslator::Device>(device);
}

LibinputTap::Device& LibinputTap::deviceOf(libinput_device* device) {
    return *static_cast<Device*>(libinput_device_get_user_data(device));
}

DeviceOrigin LibinputTap::originOf(libinput_device* device) {
    return deviceOf(device).origin;
}

std::int64_t LibinputTap::sourceStateOfKey(libinput_device* device, std::uint16_t code, bool pressed) {
    return originOf(device) == DeviceOrigin::hardware ? hardwareSourceState
                                                      : remapped_.virtualKey(keyOf(device), code, pressed);
}

std::int64_t LibinputTap::sourceStateOfScroll(libinput_device* device) {
    return originOf(device) == DeviceOrigin::hardware ? hardwareSourceState
                                                      : remapped_.virtualScroll(keyOf(device));
}

void LibinputTap::emit(const RawEvent& event) {
    if ((mask_ & maskOf(event.type)) != 0) {
        handler_(event);
    }
}

} // namespace keysong
