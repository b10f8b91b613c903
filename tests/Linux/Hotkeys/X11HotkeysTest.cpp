#include "Linux/Hotkeys/X11Hotkeys.h"

#include "Linux/System/Xcb.h"
#include "fakes/PumpedQueue.h"
#include "support/HotkeyPresses.h"
#include "support/LogCapture.h"
#include "support/PlainThreads.h"
#include "support/PrivateXServer.h"
#include "support/XTestClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace keysong {
namespace {

using test::hotkey;
using test::LogCapture;
using test::XTestClient;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Another program, which wants hotkeys of its own.
class OtherProgram {
  public:
    explicit OtherProgram(const std::string& display)
        : connection_(connectXcb(display.c_str(), nullptr)), root_(rootWindow(connection_.get(), 0)) {}

    /// True when the server grants it.
    [[nodiscard]] bool grab(int linuxCode, unsigned modifiers) const {
        const auto keycode = static_cast<std::uint8_t>(linuxCode + 8);
        return xcbRef(xcb_request_check(
                   connection_.get(),
                   xcb_grab_key_checked(connection_.get(), 0, root_, static_cast<std::uint16_t>(modifiers),
                                        keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC))) == nullptr;
    }

    /// Puts Num Lock into Mod3 and nothing into Mod2.
    void moveNumLock() const {
        const auto old = xcbRef(xcb_get_modifier_mapping_reply(
            connection_.get(), xcb_get_modifier_mapping(connection_.get()), nullptr));
        const int perModifier = old->keycodes_per_modifier;
        std::vector<xcb_keycode_t> keys(xcb_get_modifier_mapping_keycodes(old.get()),
                                        xcb_get_modifier_mapping_keycodes(old.get()) + 8 * perModifier);
        std::swap_ranges(keys.begin() + 4 * perModifier, keys.begin() + 5 * perModifier,
                         keys.begin() + 5 * perModifier);
        const auto done = xcbRef(xcb_set_modifier_mapping_reply(
            connection_.get(),
            xcb_set_modifier_mapping(connection_.get(), old->keycodes_per_modifier, keys.data()), nullptr));
        ASSERT_EQ(done->status, XCB_MAPPING_STATUS_SUCCESS);
    }

  private:
    XcbConnection connection_;
    xcb_window_t root_;
};

constexpr unsigned controlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;

class X11HotkeysTest : public testing::Test {
  protected:
    test::PrivateXServer server;
    test::PlainThreads threads;
    test::PumpedQueue mainQueue;
    test::HotkeyPresses presses;
    std::optional<XTestClient> hands;
    std::unique_ptr<X11Hotkeys> hotkeys;

    void SetUp() override {
        ASSERT_TRUE(server.start());
        setenv("DISPLAY", server.display().c_str(), 1);
        hands.emplace(server.display());
        hotkeys = X11Hotkeys::make(mainQueue, threads);
        ASSERT_NE(hotkeys, nullptr);
        presses.listenTo(*hotkeys);
    }
    void TearDown() override {
        hotkeys.reset();
        unsetenv("DISPLAY");
    }

    void registerBoth() {
        ASSERT_EQ(hotkeys->registerHotkey(test::toggleCombination, hotkey(1)), noErr);
        ASSERT_EQ(hotkeys->registerHotkey(test::settingsCombination, hotkey(2)), noErr);
    }
    void type(const std::vector<int>& keys) {
        for (const int code : keys) {
            hands->key(XTestClient::injected, code, true);
        }
        for (auto code = keys.rbegin(); code != keys.rend(); ++code) {
            hands->key(XTestClient::injected, *code, false);
        }
    }
    /// A registration is a round trip to the server: what the server sent before has then been handled.
    void waitForServiceThread() {
        constexpr HotkeyCombination unused{0, controlKey | commandKey};
        ASSERT_EQ(hotkeys->registerHotkey(unused, hotkey(99)), noErr);
        hotkeys->unregisterHotkey(hotkey(99));
    }
    /// The ids pressed so far, once everything typed has been told: a press of the settings hotkey ends it.
    std::vector<std::uint32_t> pressedSoFar() {
        type({KEY_LEFTCTRL, KEY_LEFTALT, KEY_C});
        EXPECT_TRUE(
            mainQueue.runUntil([&] { return !presses.pressed.empty() && presses.pressed.back() == 2; }));
        return presses.takeAllButLast();
    }
};

TEST_F(X11HotkeysTest, LocksDoNotMatterAndOtherModifiersDo) {
    registerBoth();
    EXPECT_EQ(hotkeys->way(), "x11");
    struct Row {
        const char* name;
        std::vector<int> locks;
        std::vector<int> keys;
        bool fires;
    };
    const std::vector<Row> rows = {
        {"plain", {}, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_K}, true},
        {"right side", {}, {KEY_RIGHTCTRL, KEY_RIGHTALT, KEY_K}, true},
        {"Caps Lock", {KEY_CAPSLOCK}, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_K}, true},
        {"Num Lock", {KEY_NUMLOCK}, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_K}, true},
        {"both locks", {KEY_CAPSLOCK, KEY_NUMLOCK}, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_K}, true},
        {"with Shift", {}, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTSHIFT, KEY_K}, false},
        {"with Super", {}, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA, KEY_K}, false},
        {"Control alone", {}, {KEY_LEFTCTRL, KEY_K}, false},
        {"nothing", {}, {KEY_K}, false}};
    for (const Row& row : rows) {
        for (const int lock : row.locks) {
            type({lock});
        }
        type(row.keys);
        for (const int lock : row.locks) {
            type({lock});
        }
        EXPECT_THAT(pressedSoFar(), SizeIs(row.fires ? 1 : 0)) << row.name;
    }
}

TEST_F(X11HotkeysTest, AHeldKeyCountsOnce) {
    registerBoth();
    hands->key(XTestClient::injected, KEY_LEFTCTRL, true);
    hands->key(XTestClient::injected, KEY_LEFTALT, true);
    hands->key(XTestClient::injected, KEY_K, true);
    // The server repeats after 20 ms, every 10 ms.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    hands->key(XTestClient::injected, KEY_K, false);
    EXPECT_THAT(pressedSoFar(), ElementsAre(1));
}

TEST_F(X11HotkeysTest, TheKeyIsTheOneInItsPlaceOnAnyLayout) {
    const std::string setLayout = "setxkbmap -display " + server.display() + " ";
    registerBoth();
    ASSERT_EQ(std::system((setLayout + "us -variant dvorak").c_str()), 0);
    type({KEY_LEFTCTRL, KEY_LEFTALT, KEY_V}); // prints a k there
    EXPECT_THAT(pressedSoFar(), IsEmpty());
    type({KEY_LEFTCTRL, KEY_LEFTALT, KEY_K});
    EXPECT_THAT(pressedSoFar(), ElementsAre(1));
    ASSERT_EQ(std::system((setLayout + "de").c_str()), 0);
    type({KEY_LEFTCTRL, KEY_RIGHTALT, KEY_K}); // AltGr there, which counts as it does through the devices
    EXPECT_THAT(pressedSoFar(), ElementsAre(1));
    type({KEY_LEFTCTRL, KEY_LEFTALT, KEY_RIGHTALT, KEY_K});
    EXPECT_THAT(pressedSoFar(), ElementsAre(1));
    type({KEY_RIGHTALT, KEY_K});
    EXPECT_THAT(pressedSoFar(), IsEmpty());
    type({KEY_LEFTCTRL, KEY_LEFTALT, KEY_K});
    EXPECT_THAT(pressedSoFar(), ElementsAre(1));
}

TEST_F(X11HotkeysTest, WhatAnotherProgramHasIsRefusedWholeAndWhatIsUnregisteredIsFreeAgain) {
    const OtherProgram other(server.display());
    ASSERT_TRUE(other.grab(KEY_K, controlAlt | XCB_MOD_MASK_LOCK));
    EXPECT_EQ(hotkeys->registerHotkey(test::toggleCombination, hotkey(1)), eventHotKeyExistsErr);
    EXPECT_EQ(hotkeys->registerHotkey(test::settingsCombination, hotkey(2)), noErr);
    EXPECT_EQ(hotkeys->registerHotkey(test::settingsCombination, hotkey(3)), eventHotKeyExistsErr);
    EXPECT_EQ(hotkeys->registerHotkey({200, controlKey}, hotkey(4)), eventHotKeyInvalidErr);
    type({KEY_LEFTCTRL, KEY_LEFTALT, KEY_K});
    EXPECT_THAT(pressedSoFar(), IsEmpty());
    EXPECT_TRUE(other.grab(KEY_K, controlAlt)) << "part of a refused combination was kept";
    EXPECT_FALSE(other.grab(KEY_C, controlAlt));
    hotkeys->unregisterHotkey(hotkey(2));
    EXPECT_TRUE(mainQueue.runUntil([&] { return other.grab(KEY_C, controlAlt | XCB_MOD_MASK_2); }));
    EXPECT_TRUE(other.grab(KEY_C, controlAlt));
}

TEST_F(X11HotkeysTest, ALostServerIsWaitedForAndTheHotkeysGrabbedAgain) {
    ASSERT_EQ(hotkeys->registerHotkey(test::toggleCombination, hotkey(1)), noErr);
    hands.reset();
    server.kill();
    EXPECT_EQ(hotkeys->registerHotkey(test::settingsCombination, hotkey(2)), noErr);
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(mainQueue.runUntil([&] {
        const auto lines = LogCapture::shared().lines(LogLevel::info);
        return std::find(lines.begin(), lines.end(), "hotkeys: the X server is back") != lines.end();
    }));
    waitForServiceThread();
    hands.emplace(server.display());
    type({KEY_LEFTCTRL, KEY_LEFTALT, KEY_K});
    EXPECT_THAT(pressedSoFar(), ElementsAre(1));
    EXPECT_THAT(presses.refused, IsEmpty());
}

TEST_F(X11HotkeysTest, FollowsNumLockToAnotherModifierAndRefusesLateWhatAnotherProgramHasThere) {
    registerBoth();
    const OtherProgram other(server.display());
    ASSERT_TRUE(other.grab(KEY_K, controlAlt | XCB_MOD_MASK_3)); // not yet Num Lock's
    other.moveNumLock();
    waitForServiceThread();
    mainQueue.run();
    EXPECT_THAT(presses.refused, ElementsAre(std::pair(1U, eventHotKeyExistsErr)));
    EXPECT_TRUE(other.grab(KEY_K, controlAlt)) << "part of a refused combination was kept";
    type({KEY_NUMLOCK}); // the other hotkey, which ends what was pressed, works in spite of it
    EXPECT_THAT(pressedSoFar(), IsEmpty());
}

TEST(X11Hotkeys, ThereAreNoneWithoutAServer) {
    test::PlainThreads threads;
    test::PumpedQueue mainQueue;
    unsetenv("DISPLAY");
    EXPECT_EQ(X11Hotkeys::make(mainQueue, threads), nullptr);
    setenv("DISPLAY", ":12345", 1);
    EXPECT_EQ(X11Hotkeys::make(mainQueue, threads), nullptr);
    unsetenv("DISPLAY");
}

} // namespace
} // namespace keysong
