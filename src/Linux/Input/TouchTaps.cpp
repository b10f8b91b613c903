#include "Linux/Input/TouchTaps.h"

#include <cmath>

namespace keysong {

namespace {

/// Toolkits take what lasts longer for a long press, and what goes farther for a scroll.
constexpr std::chrono::milliseconds longestTap{500};
constexpr double farthestMillimetres = 4;

} // namespace

void TouchTaps::down(Finger finger, Place place, Time time) {
    touches_[finger] = {place, time, false};
}

void TouchTaps::motion(Finger finger, Place place) {
    const auto found = touches_.find(finger);
    if (found != touches_.end()) {
        Touch& touch = found->second;
        touch.travelled = touch.travelled ||
                          std::hypot(place.x - touch.begin.x, place.y - touch.begin.y) > farthestMillimetres;
    }
}

bool TouchTaps::up(Finger finger, Time time) {
    const auto found = touches_.find(finger);
    if (found == touches_.end()) {
        return false;
    }
    const Touch touch = found->second;
    touches_.erase(found);
    return !touch.travelled && time - touch.time <= longestTap;
}

void TouchTaps::cancel(Finger finger) {
    touches_.erase(finger);
}

void TouchTaps::remove(std::uintptr_t device) {
    std::erase_if(touches_, [device](const auto& touch) { return touch.first.first == device; });
}

} // namespace keysong
