#include "Linux/Hotkeys/InputHotkeys.h"

#include "Linux/Hotkeys/PortalTrigger.h"
#include "Linux/Input/InputTranslator.h"
#include "fakes/ManualQueue.h"
#include "support/HotkeyPresses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

namespace keysong {
namespace {

using test::hotkey;
using testing::ElementsAre;
using testing::IsEmpty;

struct KeysRow {
    const char* name;
    /// Pressed in this order on one keyboard and released the other way round; the second part is the same
    /// on another keyboard, held meanwhile.
    std::vector<std::uint16_t> keys;
    std::vector<std::uint16_t> otherKeyboard;
    std::vector<std::uint32_t> pressed;
};

struct InputHotkeysTest : testing::Test {
    test::ManualQueue mainQueue;
    test::HotkeyPresses presses;
    InputHotkeys hotkeys{mainQueue};
    InputTranslator translator{[this](const RawEvent& event) { hotkeys.observe(event); }};

    InputHotkeysTest() {
        presses.listenTo(hotkeys);
        EXPECT_EQ(hotkeys.registerHotkey(test::toggleCombination, hotkey(1)), noErr);
        EXPECT_EQ(hotkeys.registerHotkey(test::settingsCombination, hotkey(2)), noErr);
    }
    void key(std::uint16_t code, std::int32_t value, InputTranslator::Device device = 1,
             std::int64_t state = hardwareSourceState) {
        translator.key(device, state, code, value);
        mainQueue.advance(std::chrono::nanoseconds(0));
    }
};

TEST(InputHotkeys, MatchWhatIsHeld) {
    const std::vector<KeysRow> rows = {
        {"left side", {KEY_LEFTCTRL, KEY_LEFTALT, KEY_K}, {}, {1}},
        {"the other hotkey", {KEY_LEFTALT, KEY_LEFTCTRL, KEY_C}, {}, {2}},
        {"right Control", {KEY_RIGHTCTRL, KEY_LEFTALT, KEY_K}, {}, {1}},
        {"both Controls", {KEY_LEFTCTRL, KEY_RIGHTCTRL, KEY_LEFTALT, KEY_K}, {}, {1}},
        {"right Alt", {KEY_LEFTCTRL, KEY_RIGHTALT, KEY_K}, {}, {1}},
        {"both Alts", {KEY_LEFTCTRL, KEY_LEFTALT, KEY_RIGHTALT, KEY_K}, {}, {1}},
        {"right Alt alone, which may be AltGr", {KEY_RIGHTALT, KEY_K, KEY_C}, {}, {}},
        {"Caps Lock on", {KEY_CAPSLOCK, KEY_LEFTCTRL, KEY_LEFTALT, KEY_K}, {}, {1}},
        {"Num Lock on", {KEY_NUMLOCK, KEY_LEFTCTRL, KEY_LEFTALT, KEY_K}, {}, {1}},
        {"both one after the other", {KEY_LEFTCTRL, KEY_LEFTALT, KEY_K, KEY_C}, {}, {1, 2}},
        {"modifiers on another keyboard", {KEY_K}, {KEY_LEFTCTRL, KEY_LEFTALT}, {1}},
        {"extra Shift", {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTSHIFT, KEY_K}, {}, {}},
        {"extra Super", {KEY_LEFTCTRL, KEY_LEFTALT, KEY_K}, {KEY_RIGHTMETA}, {}},
        {"Control alone", {KEY_LEFTCTRL, KEY_K}, {}, {}},
        {"Alt alone", {KEY_LEFTALT, KEY_C}, {}, {}},
        {"modifiers too late", {KEY_K, KEY_LEFTCTRL, KEY_LEFTALT}, {}, {}},
        {"another key", {KEY_LEFTCTRL, KEY_LEFTALT, KEY_J}, {}, {}},
        {"the key alone", {KEY_K, KEY_C}, {}, {}}};
    for (const KeysRow& row : rows) {
        struct : InputHotkeysTest {
            void TestBody() override {}
        } test;
        for (const std::uint16_t code : row.otherKeyboard) {
            test.key(code, 1, 2);
        }
        for (const std::uint16_t code : row.keys) {
            test.key(code, 1);
        }
        for (auto code = row.keys.rbegin(); code != row.keys.rend(); ++code) {
            test.key(*code, 0);
        }
        EXPECT_EQ(test.presses.pressed, row.pressed) << row.name;
    }
}

TEST_F(InputHotkeysTest, AHeldKeyCountsOnceAndTheNextPressAgain) {
    key(KEY_LEFTCTRL, 1);
    key(KEY_LEFTALT, 1);
    key(KEY_K, 1);
    key(KEY_K, 2);
    key(KEY_K, 2);
    key(KEY_K, 0);
    EXPECT_THAT(presses.pressed, ElementsAre(1));
    key(KEY_K, 1);
    EXPECT_THAT(presses.pressed, ElementsAre(1, 1));
}

TEST_F(InputHotkeysTest, ARemappersVirtualKeyboardCountsButDoesNotMixWithTheHardware) {
    key(KEY_LEFTCTRL, 1);
    key(KEY_LEFTALT, 1, 2, softwareSourceState);
    key(KEY_K, 1, 2, softwareSourceState);
    EXPECT_THAT(presses.pressed, IsEmpty());
    key(KEY_LEFTCTRL, 1, 2, softwareSourceState);
    key(KEY_C, 1, 2, softwareSourceState);
    EXPECT_THAT(presses.pressed, ElementsAre(2));
}

TEST_F(InputHotkeysTest, OnlyWhatIsRegisteredIsRecognised) {
    EXPECT_EQ(hotkeys.registerHotkey(test::toggleCombination, hotkey(3)), eventHotKeyExistsErr);
    EXPECT_EQ(hotkeys.registerHotkey({41, 0}, hotkey(4)), eventHotKeyInvalidErr);
    hotkeys.unregisterHotkey(hotkey(1));
    key(KEY_LEFTCTRL, 1);
    key(KEY_LEFTALT, 1);
    key(KEY_K, 1);
    EXPECT_THAT(presses.pressed, IsEmpty());
    EXPECT_EQ(hotkeys.registerHotkey(test::toggleCombination, hotkey(5)), noErr);
    key(KEY_K, 1);
    EXPECT_THAT(presses.pressed, ElementsAre(5));
}

TEST(PortalTrigger, NamesLettersAndDigitsOnly) {
    EXPECT_EQ(portalTrigger(test::toggleCombination), "CTRL+ALT+k");
    EXPECT_EQ(portalTrigger({29, commandKey | shiftKey}), "SHIFT+LOGO+0");
    EXPECT_EQ(portalTrigger({12, controlKey}), "CTRL+q");
    EXPECT_EQ(portalTrigger({46, controlKey}), "CTRL+m");
    EXPECT_EQ(portalTrigger({33, controlKey}), std::nullopt);
    EXPECT_EQ(portalTrigger({200, controlKey}), std::nullopt);
    EXPECT_EQ(describeCombination(test::settingsCombination), "Control+Alt+C");
}

} // namespace
} // namespace keysong
