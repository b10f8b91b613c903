#pragma once

#include "Linux/Input/InputTranslator.h"
#include "Linux/Input/TouchTaps.h"
#include "Linux/System/FileDescriptor.h"

#include <cstdint>
#include <functional>

struct libinput_device;
struct libinput_event;

namespace keysong {

/// The mouse button that a button of a pen counts as: the first one is the right button, as its users have it
/// elsewhere, the others are other ones. Those of a mouse on a tablet are what they are. Any thread.
[[nodiscard]] std::uint16_t mouseButtonOfPen(std::uint32_t code) noexcept;

/// When something happened; 0 where libinput has told it too late to place a sound by: it holds events back
/// to tell a bounce of a contact from a press (up to 25 ms), a click of both buttons (50 ms), a tap of one
/// finger from one of several (180 ms) or scrolling with a held button (200 ms). That must not be taken for a
/// machine that was busy. Any thread.
[[nodiscard]] InputTranslator::Time promptTime(std::uint64_t microseconds);

/// Makes clicks of what pens and fingers on screens do. A pen's tip and a finger's tap are the left button. A
/// tap is known when the finger is up again; the button then goes down, and up a moment later, as a finger's
/// would.
///
/// One thread: the tap's.
class LibinputTouch {
  public:
    /// Told of each button that goes down or up.
    using Handler =
        std::function<void(libinput_device*, std::uint16_t button, bool pressed, InputTranslator::Time time)>;

    explicit LibinputTouch(Handler handler);

    /// Readable when the button of a tap is to go up: call `release` then. Negative when the machine refuses
    /// a timer; it goes up at once then.
    [[nodiscard]] int descriptor() const noexcept { return timer_.get(); }
    /// Lets go of the button of a tap, if one is held.
    void release();
    /// Takes an event of a touchscreen or a pen; true when it was one.
    bool handle(libinput_event* event);
    /// Forgets a device, letting go of its button.
    void remove(libinput_device* device);

  private:
    void handleFinger(libinput_event* event);
    void handlePen(libinput_event* event);

    Handler handler_;
    TouchTaps taps_;
    FileDescriptor timer_;
    /// Whose button is down.
    libinput_device* pressed_ = nullptr;
};

} // namespace keysong
