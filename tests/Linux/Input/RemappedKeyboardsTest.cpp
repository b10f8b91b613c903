#include "Linux/Input/RemappedKeyboards.h"

#include <gtest/gtest.h>

namespace keysong {
namespace {

/// A hardware keyboard, perhaps grabbed by a remapper that types what it makes of it, and other programs that
/// type too.
class RemappedKeyboardsTest : public testing::Test {
  protected:
    static constexpr RemappedKeyboards::Device hardware = 1;
    static constexpr RemappedKeyboards::Device otherHardware = 2;
    static constexpr RemappedKeyboards::Device remapper = 3;
    static constexpr RemappedKeyboards::Device program = 4;

    void SetUp() override {
        keyboards.addHardware(hardware, {});
        keyboards.addHardware(otherHardware, {});
    }

    /// What happens in the kernel, and no more: the keyboard is grabbed.
    void hide(std::uint16_t code, bool pressed, RemappedKeyboards::Device keyboard = hardware) {
        held[keyboard].set(code, pressed);
    }
    /// Nobody has grabbed the keyboard.
    void deliver(std::uint16_t code, bool pressed, RemappedKeyboards::Device keyboard = hardware) {
        hide(code, pressed, keyboard);
        keyboards.hardwareKey(keyboard, code, pressed);
    }
    bool sounds(RemappedKeyboards::Device keyboard, std::uint16_t code, bool pressed) {
        return keyboards.virtualKey(keyboard, code, pressed) == hardwareSourceState;
    }
    /// A key through the remapper; whether its press and its release sound.
    std::pair<bool, bool> remap(std::uint16_t from, std::uint16_t to) {
        hide(from, true);
        const bool press = sounds(remapper, to, true);
        hide(from, false);
        return {press, sounds(remapper, to, false)};
    }

    static constexpr std::pair<bool, bool> both{true, true};

    std::map<RemappedKeyboards::Device, KeySet> held;
    bool unreadEvents = false;
    RemappedKeyboards keyboards{[this](RemappedKeyboards::Device keyboard) {
        return unreadEvents ? std::nullopt : std::optional(held[keyboard]);
    }};
};

TEST_F(RemappedKeyboardsTest, EveryKeyOfARemapperSoundsAndNoneOfAnotherProgram) {
    EXPECT_FALSE(sounds(program, KEY_X, true)) << "nobody has touched the keyboard";
    EXPECT_EQ(remap(KEY_CAPSLOCK, KEY_ESC), both);
    EXPECT_EQ(remap(KEY_CAPSLOCK, KEY_ESC), both) << "the same key again";
    hide(KEY_A, true);
    EXPECT_TRUE(sounds(remapper, KEY_A, true));
    EXPECT_FALSE(sounds(program, KEY_X, true)) << "the hidden press is accounted for";
    EXPECT_FALSE(sounds(program, KEY_X, false));
}

TEST_F(RemappedKeyboardsTest, WhatARemapperTypesLateSoundsOnceItIsKnown) {
    EXPECT_EQ(remap(KEY_A, KEY_A), both);
    // A key that types when it is let go, a macro, and another keyboard that is not grabbed in between.
    hide(KEY_F, true);
    hide(KEY_F, false);
    EXPECT_TRUE(sounds(remapper, KEY_F, true));
    deliver(KEY_Q, true, otherHardware);
    deliver(KEY_Q, false, otherHardware);
    EXPECT_TRUE(sounds(remapper, KEY_G, true));
}

TEST_F(RemappedKeyboardsTest, AReleaseIsJudgedLikeItsPress) {
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

TEST_F(RemappedKeyboardsTest, NothingIsMadeOfKeysThatTellNoGrab) {
    deliver(KEY_LEFTCTRL, true);
    EXPECT_FALSE(sounds(program, KEY_V, true)) << "typed while the user holds a key that was heard";
    hide(KEY_A, true);
    unreadEvents = true;
    EXPECT_FALSE(sounds(program, KEY_B, true)) << "its event waits to be read";
    unreadEvents = false;
    keyboards.hardwareKey(hardware, KEY_A, true);
    EXPECT_FALSE(sounds(program, KEY_N, true));
    keyboards.addHardware(otherHardware, KeySet().set(KEY_ENTER));
    hide(KEY_ENTER, true, otherHardware);
    EXPECT_FALSE(sounds(program, KEY_M, true)) << "held since before the keyboard was opened";
}

TEST_F(RemappedKeyboardsTest, AKeyHeldWhileTheGrabBeganCountsAgainOnceItIsReleased) {
    deliver(KEY_ENTER, true); // it starts the remapper, which gets its release
    hide(KEY_ENTER, false);
    EXPECT_FALSE(sounds(remapper, KEY_X, true));
    EXPECT_EQ(remap(KEY_ENTER, KEY_ENTER), both);
}

TEST_F(RemappedKeyboardsTest, AKeyboardThatIsGoneProvesNothing) {
    EXPECT_EQ(remap(KEY_A, KEY_A), both);
    keyboards.remove(hardware);
    EXPECT_FALSE(sounds(remapper, KEY_A, true));
    EXPECT_EQ(remap(KEY_A, KEY_A), std::pair(false, false));
    hide(KEY_S, true, otherHardware);
    EXPECT_TRUE(sounds(remapper, KEY_S, true)) << "it has grabbed another one as well";
}

} // namespace
} // namespace keysong
