#include "Linux/Input/RemappedDevices.h"

#include <gtest/gtest.h>

namespace keysong {
namespace {

/// A hardware keyboard, perhaps grabbed by a remapper that types what it makes of it, and other programs that
/// type too.
class RemappedDevicesTest : public testing::Test {
  protected:
    static constexpr RemappedDevices::Device hardware = 1;
    static constexpr RemappedDevices::Device otherHardware = 2;
    static constexpr RemappedDevices::Device remapper = 3;
    static constexpr RemappedDevices::Device program = 4;

    void SetUp() override {
        devices.addHardware(hardware, {});
        devices.addHardware(otherHardware, {});
    }

    /// What happens in the kernel, and no more: the keyboard is grabbed.
    void hide(std::uint16_t code, bool pressed, RemappedDevices::Device device = hardware) {
        held[device].set(code, pressed);
    }
    /// Nobody has grabbed the keyboard.
    void deliver(std::uint16_t code, bool pressed, RemappedDevices::Device device = hardware) {
        hide(code, pressed, device);
        devices.hardwareKey(device, code, pressed);
    }
    bool sounds(RemappedDevices::Device device, std::uint16_t code, bool pressed) {
        return devices.virtualKey(device, code, pressed) == hardwareSourceState;
    }
    bool scrolls(RemappedDevices::Device device) {
        return devices.virtualScroll(device) == hardwareSourceState;
    }
    /// A key through the remapper; whether its press and its release sound.
    std::pair<bool, bool> remap(std::uint16_t from, std::uint16_t to) {
        hide(from, true);
        const bool press = sounds(remapper, to, true);
        hide(from, false);
        return {press, sounds(remapper, to, false)};
    }

    static constexpr std::pair<bool, bool> both{true, true};

    std::map<RemappedDevices::Device, KeySet> held;
    bool unreadEvents = false;
    RemappedDevices devices{[this](RemappedDevices::Device device) {
        return unreadEvents ? std::nullopt : std::optional(held[device]);
    }};
};

TEST_F(RemappedDevicesTest, EveryKeyOfARemapperSoundsAndNoneOfAnotherProgram) {
    EXPECT_FALSE(sounds(program, KEY_X, true)) << "nobody has touched the keyboard";
    EXPECT_EQ(remap(KEY_CAPSLOCK, KEY_ESC), both);
    EXPECT_EQ(remap(KEY_CAPSLOCK, KEY_ESC), both) << "the same key again";
    hide(KEY_A, true);
    EXPECT_TRUE(sounds(remapper, KEY_A, true));
    EXPECT_FALSE(sounds(program, KEY_X, true)) << "the hidden press is accounted for";
    EXPECT_FALSE(sounds(program, KEY_X, false));
}

TEST_F(RemappedDevicesTest, WhatARemapperTypesLateSoundsOnceItIsKnown) {
    EXPECT_EQ(remap(KEY_A, KEY_A), both);
    // A key that types when it is let go, a macro, and another keyboard that is not grabbed in between.
    hide(KEY_F, true);
    hide(KEY_F, false);
    EXPECT_TRUE(sounds(remapper, KEY_F, true));
    deliver(KEY_Q, true, otherHardware);
    deliver(KEY_Q, false, otherHardware);
    EXPECT_TRUE(sounds(remapper, KEY_G, true));
}

TEST_F(RemappedDevicesTest, AReleaseIsJudgedLikeItsPress) {
    hide(KEY_A, true);
    EXPECT_TRUE(sounds(remapper, KEY_A, true));
    deliver(KEY_B, true); // the remapper has let go of the keyboard
    EXPECT_FALSE(sounds(remapper, KEY_C, true));
    EXPECT_TRUE(sounds(remapper, KEY_A, false));
    hide(KEY_D, true); // and takes it again
    EXPECT_TRUE(sounds(remapper, KEY_D, true));
    EXPECT_FALSE(sounds(remapper, KEY_C, false));
    EXPECT_FALSE(sounds(remapper, KEY_E, false)) << "a release without a press";
}

TEST_F(RemappedDevicesTest, NothingIsMadeOfKeysThatTellNoGrab) {
    deliver(KEY_LEFTCTRL, true);
    EXPECT_FALSE(sounds(program, KEY_V, true)) << "typed while the user holds a key that was heard";
    hide(KEY_A, true);
    unreadEvents = true;
    EXPECT_FALSE(sounds(program, KEY_B, true)) << "its event waits to be read";
    unreadEvents = false;
    devices.hardwareKey(hardware, KEY_A, true);
    EXPECT_FALSE(sounds(program, KEY_N, true));
    deliver(BTN_LEFT, true); // on a keyboard with buttons of its own
    EXPECT_FALSE(sounds(program, KEY_N, true));
    devices.addHardware(otherHardware, KeySet().set(KEY_ENTER));
    hide(KEY_ENTER, true, otherHardware);
    EXPECT_FALSE(sounds(program, KEY_M, true)) << "held since before the keyboard was opened";
}

TEST_F(RemappedDevicesTest, AKeyHeldWhileTheGrabBeganCountsAgainOnceItIsReleased) {
    deliver(KEY_ENTER, true); // it starts the remapper, which gets its release
    hide(KEY_ENTER, false);
    EXPECT_FALSE(sounds(remapper, KEY_X, true));
    EXPECT_EQ(remap(KEY_ENTER, KEY_ENTER), both);
}

TEST_F(RemappedDevicesTest, MoreThanCouldBeFollowedTellsNoGrabEither) {
    EXPECT_EQ(remap(KEY_A, KEY_A), both);
    hide(KEY_B, true);
    devices.hardwareDelivered(hardware, KeySet().set(KEY_B));
    EXPECT_FALSE(sounds(remapper, KEY_C, true));
    hide(KEY_B, false);
    EXPECT_FALSE(sounds(remapper, KEY_C, false));
    EXPECT_EQ(remap(KEY_B, KEY_B), both) << "which begins with the next hidden press";
}

TEST_F(RemappedDevicesTest, ARemappedMouseSoundsFromItsFirstButton) {
    EXPECT_FALSE(scrolls(remapper));
    EXPECT_EQ(remap(BTN_LEFT, BTN_RIGHT), both);
    EXPECT_TRUE(scrolls(remapper));
    EXPECT_TRUE(devices.standsForHardware(remapper));
    EXPECT_FALSE(scrolls(program));
    deliver(BTN_LEFT, true);
    EXPECT_FALSE(scrolls(remapper));
}

TEST_F(RemappedDevicesTest, ACopyStandsForItsOriginalUntilThatDelivers) {
    devices.addCopy(remapper, hardware);
    hide(KEY_CAPSLOCK, true);
    hide(KEY_CAPSLOCK, false);
    EXPECT_TRUE(sounds(remapper, KEY_ESC, true)) << "typed only after the key was let go";
    EXPECT_TRUE(sounds(remapper, KEY_ESC, false));
    EXPECT_TRUE(scrolls(remapper));
    EXPECT_FALSE(sounds(program, KEY_X, true));
    deliver(KEY_Q, true, otherHardware);
    EXPECT_TRUE(sounds(remapper, KEY_A, true));
    deliver(KEY_Q, true);
    EXPECT_FALSE(sounds(remapper, KEY_B, true)) << "a copy that remaps nothing";
}

TEST_F(RemappedDevicesTest, AKeyboardThatIsGoneProvesNothing) {
    EXPECT_EQ(remap(KEY_A, KEY_A), both);
    devices.remove(hardware);
    EXPECT_FALSE(sounds(remapper, KEY_A, true));
    EXPECT_EQ(remap(KEY_A, KEY_A), std::pair(false, false));
    hide(KEY_S, true, otherHardware);
    EXPECT_TRUE(sounds(remapper, KEY_S, true)) << "it has grabbed another one as well";
}

} // namespace
} // namespace keysong
