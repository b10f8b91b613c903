#include "Linux/Hotkeys/LinuxHotkeys.h"
#include "fakes/FakePortal.h"
#include "fakes/PumpedQueue.h"
#include "support/HotkeyPresses.h"
#include "support/LogCapture.h"
#include "support/PlainThreads.h"
#include "support/PrivateBus.h"
#include "support/PrivateXServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

namespace keysong {
namespace {

using test::FakePortal;
using test::hotkey;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const FakePortal::Shortcut toggleShortcut{"CTRL+ALT+k", "Toggle the sound", "CTRL+ALT+k"};
const FakePortal::Shortcut settingsShortcut{"CTRL+ALT+c", "Control+Alt+C", "CTRL+ALT+c"};

/// The choice of ways in a session without an X server.
class PortalHotkeysTest : public testing::Test {
  protected:
    test::PrivateBus bus;
    test::PlainThreads threads;
    test::PumpedQueue mainQueue;
    test::HotkeyPresses presses;
    std::optional<FakePortal> portal;
    std::optional<LinuxHotkeys> hotkeys;

    void SetUp() override {
        unsetenv("DISPLAY");
        ASSERT_TRUE(bus.start());
    }

    void startHotkeys() {
        hotkeys.emplace(
            mainQueue, threads,
            PortalHotkeyOptions{"com.orlen.keysong", {{test::toggleCombination, "Toggle the sound"}}});
        presses.listenTo(*hotkeys);
    }
    void registerBoth() {
        ASSERT_EQ(hotkeys->registerHotkey(test::toggleCombination, hotkey(1)), noErr);
        ASSERT_EQ(hotkeys->registerHotkey(test::settingsCombination, hotkey(2)), noErr);
    }
    void startWithPortal() {
        startHotkeys();
        ASSERT_TRUE(runUntil([&] { return hotkeys->way() == "portal"; }));
    }
    /// Hotkeys of a portal that is there, bound.
    void startBound() {
        portal.emplace();
        startWithPortal();
        registerBoth();
        ASSERT_TRUE(runUntil([&] { return portal->asked.size() == 1; }));
    }
    [[nodiscard]] bool runUntil(const std::function<bool()>& condition) {
        return mainQueue.runUntil(condition, [this] {
            if (portal) {
                portal->process();
            }
        });
    }
    /// The program's input hears the toggle hotkey.
    void typeToggle() {
        RawEvent event;
        event.type = RawEventType::keyDown;
        event.keycode = 40;
        event.flags = controlFlag | leftControlFlag | optionFlag | leftOptionFlag;
        hotkeys->observe(event);
    }
    /// The ids that typing the toggle hotkey presses without the portal.
    std::vector<std::uint32_t> pressedByTyping() {
        typeToggle();
        mainQueue.run();
        return std::exchange(presses.pressed, {});
    }
    void expectServedByTheInput() {
        EXPECT_TRUE(runUntil([&] { return hotkeys->way() == "input"; }));
        EXPECT_THAT(pressedByTyping(), ElementsAre(1));
        EXPECT_THAT(presses.refused, IsEmpty());
    }
    /// The ids pressed so far; a press of the settings shortcut ends them.
    std::vector<std::uint32_t> pressedSoFar() {
        portal->activate(settingsShortcut.id);
        portal->deactivate(settingsShortcut.id);
        EXPECT_TRUE(runUntil([&] { return !presses.pressed.empty() && presses.pressed.back() == 2; }));
        return presses.takeAllButLast();
    }
};

TEST_F(PortalHotkeysTest, BindsAllAtOnceAndTellsEachPressOnce) {
    startBound();
    EXPECT_THAT(portal->asked, ElementsAre(ElementsAre(toggleShortcut, settingsShortcut)));
    EXPECT_EQ(portal->applicationId, "com.orlen.keysong");
    typeToggle(); // what the input hears besides does not count
    portal->activate(toggleShortcut.id);
    portal->activate(toggleShortcut.id); // held
    portal->deactivate(toggleShortcut.id);
    portal->activateElsewhere(toggleShortcut.id);
    portal->activate("something else");
    EXPECT_THAT(pressedSoFar(), ElementsAre(1));
    portal->activate(toggleShortcut.id);
    EXPECT_THAT(pressedSoFar(), ElementsAre(1));
}

TEST_F(PortalHotkeysTest, WhatTheDesktopDoesNotGrantIsRefusedAndByNoOtherWayServed) {
    portal.emplace();
    portal->notGranted = {toggleShortcut.id};
    startWithPortal();
    registerBoth();
    ASSERT_TRUE(runUntil([&] { return !presses.refused.empty(); }));
    EXPECT_THAT(presses.refused, ElementsAre(std::pair(1U, eventHotKeyExistsErr)));
    EXPECT_THAT(pressedSoFar(), IsEmpty());
    portal.reset();
    ASSERT_TRUE(runUntil([&] { return hotkeys->way() == "input"; }));
    EXPECT_THAT(pressedByTyping(), IsEmpty());
}

TEST_F(PortalHotkeysTest, AUserWhoDeclinesIsNotAskedAgain) {
    portal.emplace();
    portal->response = 1;
    portal->answers = false;
    startWithPortal();
    ASSERT_EQ(hotkeys->registerHotkey(test::toggleCombination, hotkey(1)), noErr);
    ASSERT_TRUE(runUntil([&] { return portal->asked.size() == 1; }));
    // Another hotkey that comes while the user thinks is asked for by itself.
    ASSERT_EQ(hotkeys->registerHotkey(test::settingsCombination, hotkey(2)), noErr);
    EXPECT_EQ(hotkeys->registerHotkey({33, controlKey}, hotkey(3)), eventHotKeyInvalidErr);
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // the delay that collects hotkeys
    portal->answer();
    portal->response = 0;
    portal->answers = true;
    ASSERT_TRUE(runUntil([&] { return portal->asked.size() == 2; }));
    EXPECT_THAT(portal->asked[1], ElementsAre(settingsShortcut));
    EXPECT_THAT(presses.refused, ElementsAre(std::pair(1U, -128)));
    EXPECT_THAT(pressedSoFar(), IsEmpty());
    EXPECT_EQ(portal->sessionsOpen, 1);
}

TEST_F(PortalHotkeysTest, TheInputServesUntilThePortalComesAndWhileItIsAway) {
    startHotkeys();
    registerBoth();
    EXPECT_EQ(hotkeys->way(), "input");
    EXPECT_THAT(pressedByTyping(), ElementsAre(1));
    for (int round = 0; round < 2; ++round) {
        portal.emplace();
        ASSERT_TRUE(runUntil([&] { return hotkeys->way() == "portal"; }));
        ASSERT_TRUE(runUntil([&] { return portal->asked.size() == 1; }));
        EXPECT_THAT(portal->asked[0], ElementsAre(toggleShortcut, settingsShortcut));
        typeToggle();
        portal->activate(toggleShortcut.id);
        EXPECT_THAT(pressedSoFar(), ElementsAre(1)) << "round " << round;
        portal.reset();
        expectServedByTheInput();
    }
}

TEST_F(PortalHotkeysTest, APortalThatCannotServeLeavesItToTheInput) {
    portal.emplace(false);
    startHotkeys();
    registerBoth();
    ASSERT_TRUE(runUntil([&] { return !portal->applicationId.empty(); }));
    portal.reset();
    portal.emplace();
    portal->refusesSessions = true;
    ASSERT_TRUE(runUntil([&] { return hotkeys->way() == "portal"; }));
    expectServedByTheInput();
    // Its death over the question is no refusal.
    portal.reset();
    portal.emplace();
    portal->answers = false;
    ASSERT_TRUE(runUntil([&] { return portal->asked.size() == 1; }));
    portal.reset();
    expectServedByTheInput();
}

TEST_F(PortalHotkeysTest, ChangesAreBoundAnewAndAClosedSessionToo) {
    startBound();
    hotkeys->unregisterHotkey(hotkey(1));
    ASSERT_TRUE(runUntil([&] { return portal->asked.size() == 2; }));
    EXPECT_THAT(portal->asked[1], ElementsAre(settingsShortcut));
    EXPECT_EQ(portal->sessionsOpen, 1);
    portal->activate(toggleShortcut.id);
    EXPECT_THAT(pressedSoFar(), IsEmpty());
    portal->closeSession();
    ASSERT_TRUE(runUntil([&] { return portal->asked.size() == 3; }));
    EXPECT_THAT(portal->asked[2], ElementsAre(settingsShortcut));
    EXPECT_THAT(pressedSoFar(), IsEmpty());
    hotkeys->unregisterHotkey(hotkey(2));
    EXPECT_TRUE(runUntil([&] { return portal->sessionsOpen == 0; }));
}

TEST_F(PortalHotkeysTest, ABusThatDiesIsJoinedAgain) {
    startBound();
    bus.kill();
    ASSERT_TRUE(mainQueue.runUntil([&] { return hotkeys->way() == "input"; }));
    portal.reset();
    ASSERT_TRUE(bus.start());
    portal.emplace();
    ASSERT_TRUE(runUntil([&] { return portal->asked.size() == 1; }));
    portal->activate(toggleShortcut.id);
    EXPECT_THAT(pressedSoFar(), ElementsAre(1));
    EXPECT_THAT(presses.refused, IsEmpty());
}

TEST_F(PortalHotkeysTest, AnXServerGoesFirst) {
    test::PrivateXServer server;
    ASSERT_TRUE(server.start());
    setenv("DISPLAY", server.display().c_str(), 1);
    portal.emplace();
    startHotkeys();
    registerBoth();
    EXPECT_EQ(hotkeys->way(), "x11");
    EXPECT_THAT(pressedByTyping(), IsEmpty());
    portal->process();
    EXPECT_THAT(portal->applicationId, IsEmpty()) << "the portal was asked although the X server serves";
    hotkeys.reset();
    unsetenv("DISPLAY");
}

} // namespace
} // namespace keysong
