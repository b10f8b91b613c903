#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <utility>

namespace keysong {

/// Tells taps on touchscreens from swipes, pinches and long presses: a finger that goes up again soon, about
/// where it came down. Each finger is judged by itself, since two thumbs on a keyboard on the screen overlap.
///
/// One thread: the tap's. Allocates when a finger comes down, and holds no more than a finger's touch.
class TouchTaps {
  public:
    using Time = std::chrono::microseconds;
    /// A finger: its device, and its number among the fingers on it.
    using Finger = std::pair<std::uintptr_t, std::int32_t>;
    /// In millimetres.
    struct Place {
        double x = 0;
        double y = 0;
    };

    void down(Finger finger, Place place, Time time);
    void motion(Finger finger, Place place);
    /// True when it was a tap. The place is that of the last motion.
    [[nodiscard]] bool up(Finger finger, Time time);
    /// The touch was something else all the time, such as a palm.
    void cancel(Finger finger);
    /// Forgets the fingers on a device.
    void remove(std::uintptr_t device);

  private:
    struct Touch {
        Place begin;
        Time time{};
        bool travelled = false;
    };

    std::map<Finger, Touch> touches_;
};

} // namespace keysong
