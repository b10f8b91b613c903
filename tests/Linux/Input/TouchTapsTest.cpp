#include "Linux/Input/TouchTaps.h"

#include "Linux/Input/LibinputTouch.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

namespace keysong {
namespace {

using namespace std::chrono_literals;

constexpr TouchTaps::Finger finger{1, 0};
constexpr TouchTaps::Finger otherFinger{1, 1};

TEST(TouchTaps, ATapIsShortAndStaysWhereItIs) {
    struct Row {
        const char* what;
        std::vector<TouchTaps::Place> ways;
        std::chrono::milliseconds lasts;
        bool tap;
    };
    const Row rows[] = {
        {"a tap", {}, 80ms, true},
        {"a finger that rolls", {{101, 51}, {102, 50}}, 80ms, true},
        {"a slow tap", {}, 400ms, true},
        {"a long press", {}, 900ms, false},
        {"a swipe", {{103, 50}, {130, 50}}, 80ms, false},
        {"a swipe down", {{100, 70}}, 80ms, false},
        {"there and back", {{120, 50}, {100, 50}}, 80ms, false},
    };
    for (const Row& row : rows) {
        TouchTaps taps;
        taps.down(finger, {100, 50}, 10s);
        for (const TouchTaps::Place place : row.ways) {
            taps.motion(finger, place);
        }
        EXPECT_EQ(taps.up(finger, 10s + row.lasts), row.tap) << row.what;
        EXPECT_FALSE(taps.up(finger, 10s)) << "up twice after " << row.what;
    }
}

TEST(TouchTaps, FingersAreJudgedByThemselves) {
    TouchTaps taps;
    taps.down(finger, {10, 10}, 1s);
    taps.down(otherFinger, {100, 10}, 1s);
    taps.motion(otherFinger, {140, 10});
    EXPECT_TRUE(taps.up(finger, 1100ms));
    EXPECT_FALSE(taps.up(otherFinger, 1100ms));
    taps.down(finger, {10, 10}, 2s);
    taps.cancel(finger);
    EXPECT_FALSE(taps.up(finger, 2s));
    taps.down(finger, {10, 10}, 3s);
    taps.down({2, 0}, {10, 10}, 3s);
    taps.remove(1);
    EXPECT_FALSE(taps.up(finger, 3s));
    EXPECT_TRUE(taps.up({2, 0}, 3s));
}

TEST(PenButtons, AreTheRightButtonAndOthers) {
    EXPECT_EQ(mouseButtonOfPen(BTN_STYLUS), BTN_RIGHT);
    EXPECT_EQ(mouseButtonOfPen(BTN_STYLUS2), BTN_MIDDLE);
    EXPECT_EQ(mouseButtonOfPen(BTN_STYLUS3), BTN_MIDDLE);
    EXPECT_EQ(mouseButtonOfPen(BTN_LEFT), BTN_LEFT) << "of a mouse on the tablet";
    EXPECT_EQ(mouseButtonOfPen(BTN_SIDE), BTN_SIDE);
}

} // namespace
} // namespace keysong
