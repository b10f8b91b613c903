#include "Linux/Input/LibinputTouch.h"

#include "Linux/System/MonotonicClock.h"

#include <libinput.h>
#include <linux/input-event-codes.h>
#include <sys/timerfd.h>

#include <utility>

namespace keysong {

namespace {

constexpr std::chrono::milliseconds prompt{10};
/// How long a tap holds the button.
constexpr std::chrono::milliseconds tapHold{60};
/// What a screen that does not tell its size is taken for, in millimetres.
constexpr std::uint32_t usualWidth = 300;
constexpr std::uint32_t usualHeight = 190;

TouchTaps::Finger fingerOf(libinput_event* event, libinput_event_touch* touch) {
    return {reinterpret_cast<std::uintptr_t>(libinput_event_get_device(event)),
            libinput_event_touch_get_slot(touch)};
}

TouchTaps::Place placeOf(libinput_event* event, libinput_event_touch* touch) {
    double width = 0;
    double height = 0;
    if (libinput_device_get_size(libinput_event_get_device(event), &width, &height) == 0) {
        return {libinput_event_touch_get_x(touch), libinput_event_touch_get_y(touch)};
    }
    return {libinput_event_touch_get_x_transformed(touch, usualWidth),
            libinput_event_touch_get_y_transformed(touch, usualHeight)};
}

} // namespace

std::uint16_t mouseButtonOfPen(std::uint32_t code) noexcept {
    switch (code) {
    case BTN_STYLUS:
        return BTN_RIGHT;
    case BTN_STYLUS2:
    case BTN_STYLUS3:
        return BTN_MIDDLE;
    default:
        return static_cast<std::uint16_t>(code);
    }
}

InputTranslator::Time promptTime(std::uint64_t microseconds) {
    const InputTranslator::Time time(microseconds);
    return MonotonicClock().now() - time <= prompt ? time : InputTranslator::Time(0);
}

LibinputTouch::LibinputTouch(Handler handler)
    : handler_(std::move(handler)), timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
}

bool LibinputTouch::handle(libinput_event* event) {
    switch (libinput_event_get_type(event)) {
    case LIBINPUT_EVENT_TOUCH_DOWN:
    case LIBINPUT_EVENT_TOUCH_MOTION:
    case LIBINPUT_EVENT_TOUCH_UP:
    case LIBINPUT_EVENT_TOUCH_CANCEL:
        handleFinger(event);
        return true;
    case LIBINPUT_EVENT_TABLET_TOOL_TIP:
    case LIBINPUT_EVENT_TABLET_TOOL_BUTTON:
        handlePen(event);
        return true;
    case LIBINPUT_EVENT_TABLET_TOOL_AXIS:
    case LIBINPUT_EVENT_TABLET_TOOL_PROXIMITY:
        return true;
    default:
        return false;
    }
}

void LibinputTouch::handleFinger(libinput_event* event) {
    auto* touch = libinput_event_get_touch_event(event);
    const TouchTaps::Finger finger = fingerOf(event, touch);
    const TouchTaps::Time time(libinput_event_touch_get_time_usec(touch));
    switch (libinput_event_get_type(event)) {
    case LIBINPUT_EVENT_TOUCH_DOWN:
        taps_.down(finger, placeOf(event, touch), time);
        break;
    case LIBINPUT_EVENT_TOUCH_MOTION:
        taps_.motion(finger, placeOf(event, touch));
        break;
    case LIBINPUT_EVENT_TOUCH_UP:
        if (taps_.up(finger, time)) {
            release();
            pressed_ = libinput_event_get_device(event);
            handler_(pressed_, BTN_LEFT, true, promptTime(libinput_event_touch_get_time_usec(touch)));
            const itimerspec hold{{}, {0, std::chrono::nanoseconds(tapHold).count()}};
            if (timerfd_settime(timer_.get(), 0, &hold, nullptr) != 0) {
                release();
            }
        }
        break;
    default:
        taps_.cancel(finger);
        break;
    }
}

void LibinputTouch::handlePen(libinput_event* event) {
    auto* pen = libinput_event_get_tablet_tool_event(event);
    libinput_device* device = libinput_event_get_device(event);
    const auto time = promptTime(libinput_event_tablet_tool_get_time_usec(pen));
    if (libinput_event_get_type(event) == LIBINPUT_EVENT_TABLET_TOOL_TIP) {
        const bool down = libinput_event_tablet_tool_get_tip_state(pen) == LIBINPUT_TABLET_TOOL_TIP_DOWN;
        handler_(device, BTN_LEFT, down, time);
        return;
    }
    handler_(device, mouseButtonOfPen(libinput_event_tablet_tool_get_button(pen)),
             libinput_event_tablet_tool_get_button_state(pen) == LIBINPUT_BUTTON_STATE_PRESSED, time);
}

void LibinputTouch::remove(libinput_device* device) {
    taps_.remove(reinterpret_cast<std::uintptr_t>(device));
    if (pressed_ == device) {
        release();
    }
}

void LibinputTouch::release() {
    const itimerspec never{};
    timerfd_settime(timer_.get(), 0, &never, nullptr); // which takes back that it is readable, too
    if (libinput_device* device = std::exchange(pressed_, nullptr)) {
        handler_(device, BTN_LEFT, false, {});
    }
}

} // namespace keysong
