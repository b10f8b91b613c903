#include "Linux/Input/InputTranslator.h"

#include "Input/EventDecoder.h"
#include "Input/InputDevTest.h"
#include "Shared/KeyGroup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <map>
#include <set>

namespace keysong {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(KeyCodes, EveryGroupAndEverySpecialKeyIsReached) {
    const std::vector<std::pair<int, int>> rows = {{KEY_Z, 6},
                                                   {KEY_GRAVE, 50},
                                                   {KEY_102ND, 10},
                                                   {KEY_YEN, 93},
                                                   {KEY_RO, 94},
                                                   {KEY_ENTER, 36},
                                                   {KEY_KPENTER, 76},
                                                   {KEY_NUMLOCK, 71},
                                                   {KEY_INSERT, 114},
                                                   {KEY_DELETE, 117},
                                                   {KEY_F1, 122},
                                                   {KEY_F20, 90},
                                                   {KEY_SYSRQ, 105},
                                                   {KEY_SCROLLLOCK, 107},
                                                   {KEY_PAUSE, 113},
                                                   {KEY_UP, 126},
                                                   {KEY_COMPOSE, 110},
                                                   {KEY_SCALE, 160},
                                                   {KEY_SEARCH, 177},
                                                   {KEY_DICTATE, 176},
                                                   {KEY_CLEAR, 71},
                                                   {KEY_BREAK, 113},
                                                   {KEY_CONTEXT_MENU, 110},
                                                   {KEY_APPSELECT, 160},
                                                   {KEY_ZENKAKUHANKAKU, 50}};
    for (const auto& [linuxCode, code] : rows) {
        EXPECT_EQ(keyMeaningOf(static_cast<std::uint16_t>(linuxCode)).code, code) << linuxCode;
    }
    std::map<KeyGroup, int> keysOfGroup;
    for (std::uint16_t linuxCode = 0; linuxCode < KEY_CNT; ++linuxCode) {
        const KeyMeaning meaning = keyMeaningOf(linuxCode);
        if (meaning.kind != KeyMeaning::Kind::media && meaning.kind != KeyMeaning::Kind::none) {
            ++keysOfGroup[keyGroupOf(meaning.code)];
        }
    }
    EXPECT_EQ(keysOfGroup.size(), keyGroupCount);
    EXPECT_GE(keysOfGroup[KeyGroup::numpad], 18);
    EXPECT_GE(keysOfGroup[KeyGroup::function], 20);
}

TEST(KeyCodes, WhatStandsWithAFunctionRowSoundsLikeIt) {
    for (const int linuxCode : {KEY_F1, KEY_F12, KEY_F20, KEY_F21, KEY_F22, KEY_F23, KEY_F24, KEY_STOP,
                                KEY_STOPCD, KEY_EJECTCD, KEY_EJECTCLOSECD, KEY_POWER, KEY_SLEEP}) {
        const KeyMeaning meaning = keyMeaningOf(static_cast<std::uint16_t>(linuxCode));
        EXPECT_EQ(meaning.kind, KeyMeaning::Kind::key) << linuxCode;
        EXPECT_EQ(keyGroupOf(meaning.code), KeyGroup::function) << linuxCode;
    }
}

TEST(KeyCodes, AKeyWithoutACounterpartStillSoundsAndMeansNothingElse) {
    const std::set<std::uint16_t> special = {131, 160, 176, 177, 178};
    for (const int linuxCode : {KEY_CALC, KEY_MAIL, KEY_WWW, KEY_MACRO1, KEY_MAX, 0x3ff, 0xffff}) {
        const KeyMeaning meaning = keyMeaningOf(static_cast<std::uint16_t>(linuxCode));
        EXPECT_GE(meaning.code, 128) << linuxCode;
        EXPECT_LE(meaning.code, 255) << linuxCode;
        EXPECT_FALSE(special.contains(meaning.code)) << linuxCode;
    }
}

/// What a translator emits, decoded as the tap would.
class InputTranslatorTest : public testing::Test {
  protected:
    void take(const RawEvent& event) {
        raw.push_back(event);
        if (const auto sound = decoder.decode(event.type, event)) {
            sounds.push_back(InputDevTest::describe(sound));
        }
    }
    std::vector<std::string> takeSounds() { return std::exchange(sounds, {}); }

    static constexpr InputTranslator::Device laptop = 1;
    static constexpr InputTranslator::Device usb = 2;

    EventDecoder decoder;
    std::vector<RawEvent> raw;
    std::vector<std::string> sounds;
    InputTranslator translator{[this](const RawEvent& event) { take(event); }};
};

TEST_F(InputTranslatorTest, WhatIsNoKeyAndNoMouseButtonIsSilent) {
    EvdevTranslator recorded([this](const RawEvent& event) { take(event); });
    for (const int code :
         {KEY_RESERVED, BTN_0, BTN_SOUTH, BTN_THUMBR, BTN_TOOL_FINGER, BTN_TOUCH, BTN_GEAR_UP, BTN_DPAD_UP,
          BTN_DPAD_RIGHT, BTN_TRIGGER_HAPPY1, BTN_TRIGGER_HAPPY40}) {
        for (const int value : {1, 0}) {
            const auto linuxCode = static_cast<std::uint16_t>(code);
            translator.key(laptop, hardwareSourceState, linuxCode, value);
            translator.button(hardwareSourceState, linuxCode, value == 1);
            recorded.event(EV_KEY, linuxCode, value);
        }
        EXPECT_THAT(takeSounds(), IsEmpty()) << code;
    }
}

TEST_F(InputTranslatorTest, ModifiersAreToldApartAcrossSidesAndDevices) {
    translator.key(laptop, hardwareSourceState, KEY_LEFTSHIFT, 1);
    translator.key(laptop, hardwareSourceState, KEY_LEFTSHIFT, 2);
    translator.key(usb, hardwareSourceState, KEY_RIGHTSHIFT, 1);
    EXPECT_EQ(raw.back().flags, nonCoalescedFlag | shiftFlag | leftShiftFlag | rightShiftFlag);
    translator.key(usb, hardwareSourceState, KEY_LEFTSHIFT, 1);
    translator.key(laptop, hardwareSourceState, KEY_LEFTSHIFT, 0);
    translator.key(usb, hardwareSourceState, KEY_LEFTSHIFT, 0);
    translator.key(usb, hardwareSourceState, KEY_RIGHTSHIFT, 0);
    EXPECT_THAT(takeSounds(),
                ElementsAre("keyDown 56 [modifier]", "keyDown 60 [modifier]", "keyDown 56 [modifier]",
                            "keyUp 56 [modifier]", "keyUp 56 [modifier]", "keyUp 60 [modifier]"));
    EXPECT_EQ(raw.back().flags, std::uint64_t{nonCoalescedFlag});
}

TEST_F(InputTranslatorTest, ThreeKeyboardsWithTheSameModifierHeldLetGoOfItOneByOne) {
    constexpr InputTranslator::Device bluetooth = 3;
    for (const auto device : {laptop, usb, bluetooth}) {
        translator.key(device, hardwareSourceState, KEY_LEFTSHIFT, 1);
    }
    takeSounds();
    for (const auto device : {usb, laptop, bluetooth}) {
        EXPECT_EQ(raw.back().flags, nonCoalescedFlag | shiftFlag | leftShiftFlag);
        translator.key(device, hardwareSourceState, KEY_LEFTSHIFT, 0);
        EXPECT_THAT(takeSounds(), ElementsAre("keyUp 56 [modifier]"));
    }
    EXPECT_EQ(raw.back().flags, std::uint64_t{nonCoalescedFlag});
}

TEST_F(InputTranslatorTest, EveryEventCarriesTheTimeOfItsReport) {
    using std::chrono::microseconds;
    EvdevTranslator recorded([this](const RawEvent& event) { take(event); });
    // A key, a modifier, Caps Lock, a media key, a button and a wheel; what the tap itself lets go has no
    // time.
    microseconds time{1};
    for (const int code : {KEY_A, KEY_LEFTSHIFT, KEY_CAPSLOCK, KEY_MUTE, BTN_LEFT}) {
        for (const int value : {1, 0}) {
            recorded.event(EV_KEY, static_cast<std::uint16_t>(code), value, ++time);
            EXPECT_EQ(raw.back().time, code == KEY_CAPSLOCK && value == 0 ? time - microseconds(1) : time)
                << code;
        }
    }
    recorded.event(EV_REL, REL_WHEEL, 1);
    recorded.event(EV_SYN, SYN_REPORT, 0, ++time);
    EXPECT_EQ(raw.back().time, time);
    translator.fingers(laptop, hardwareSourceState, 3, false, ++time);
    EXPECT_EQ(raw.back().time, time);
    translator.key(usb, hardwareSourceState, KEY_LEFTCTRL, 1, ++time);
    translator.remove(usb);
    EXPECT_EQ(raw.back().time, microseconds(0));
}

TEST_F(InputTranslatorTest, AnUnpluggedDeviceLetsGoOfItsModifiers) {
    translator.key(usb, hardwareSourceState, KEY_LEFTCTRL, 1);
    translator.key(laptop, hardwareSourceState, KEY_LEFTALT, 1);
    translator.remove(usb);
    EXPECT_EQ(raw.back().keycode, 59);
    EXPECT_EQ(raw.back().flags, nonCoalescedFlag | optionFlag | leftOptionFlag);
    translator.key(usb, hardwareSourceState, KEY_LEFTCTRL, 0); // its late release is no second one
    EXPECT_EQ(takeSounds().size(), 3U);
}

TEST_F(InputTranslatorTest, AModifierIsReleasedAsWhatItWasPressed) {
    // A virtual keyboard that stands for the hardware now, but did not when this key went down.
    translator.key(usb, softwareSourceState, KEY_LEFTSHIFT, 1);
    translator.key(usb, hardwareSourceState, KEY_LEFTCTRL, 1);
    EXPECT_EQ(raw.back().flags, nonCoalescedFlag | controlFlag | leftControlFlag);
    translator.key(usb, softwareSourceState, KEY_LEFTSHIFT, 0);
    EXPECT_EQ(raw.back().sourceState, softwareSourceState);
    translator.remove(usb);
    EXPECT_THAT(takeSounds(), ElementsAre("keyDown 59 [modifier]", "keyUp 59 [modifier]"));
}

TEST_F(InputTranslatorTest, CapsLockIsOneEventAToggle) {
    for (const int value : {1, 2, 0, 1, 0}) {
        translator.key(laptop, hardwareSourceState, KEY_CAPSLOCK, value);
    }
    ASSERT_EQ(raw.size(), 2U);
    EXPECT_EQ(raw[0].flags, nonCoalescedFlag | capsLockFlag);
    EXPECT_EQ(raw[1].flags, std::uint64_t{nonCoalescedFlag});
    EXPECT_THAT(takeSounds(), ElementsAre("keyDown 57 [modifier]", "keyDown 57 [modifier]"));
}

TEST_F(InputTranslatorTest, MediaKeysArriveAsTheirPlaceInTheFunctionRow) {
    for (const int value : {1, 2, 0}) {
        translator.key(laptop, hardwareSourceState, KEY_VOLUMEUP, value);
        translator.key(laptop, hardwareSourceState, KEY_KBDILLUMDOWN, value);
    }
    EXPECT_THAT(takeSounds(), ElementsAre("keyDown 111 [function]", "keyDown 96 [function]",
                                          "keyUp 111 [function]", "keyUp 96 [function]"));
}

TEST_F(InputTranslatorTest, AWheelTellsEachNotchOnce) {
    for (int i = 0; i < 16; ++i) {
        translator.wheel(usb, hardwareSourceState, 15); // a fine wheel: eight steps a notch
    }
    EXPECT_EQ(takeSounds().size(), 2U);
    translator.wheel(usb, hardwareSourceState, 90);
    translator.wheel(usb, hardwareSourceState, -90); // turned back: no notch either way
    EXPECT_THAT(takeSounds(), IsEmpty());
    translator.wheel(usb, hardwareSourceState, -30);
    translator.wheel(usb, hardwareSourceState, 240);
    EXPECT_EQ(raw.back().lineDelta, 2);
    EXPECT_EQ(takeSounds().size(), 2U);
}

TEST_F(InputTranslatorTest, APartOfANotchIsForgottenWhenTheWheelRests) {
    using namespace std::chrono_literals;
    translator.wheel(usb, hardwareSourceState, 90, 10s);
    translator.wheel(usb, hardwareSourceState, 60, 10s + 900ms);
    EXPECT_EQ(takeSounds().size(), 1U); // and 30 over
    translator.wheel(usb, hardwareSourceState, 90, 12s);
    EXPECT_THAT(takeSounds(), IsEmpty());
    translator.wheel(usb, hardwareSourceState, 30, 12s + 500ms);
    EXPECT_EQ(takeSounds().size(), 1U);
}

TEST_F(InputTranslatorTest, AFingerGestureBeginsOnceAndKeepsItsFractions) {
    for (int i = 0; i < 10; ++i) {
        translator.fingers(usb, hardwareSourceState, 0.5, false);
    }
    translator.fingers(usb, hardwareSourceState, 0, true);
    translator.fingers(usb, hardwareSourceState, 3, false);
    std::int64_t points = 0;
    int begins = 0;
    for (const RawEvent& event : raw) {
        points += event.pointDelta;
        begins += event.scrollPhaseOrSubtype == scrollPhaseBegan ? 1 : 0;
        EXPECT_EQ(event.continuous, 1);
    }
    EXPECT_EQ(points, 8);
    EXPECT_EQ(begins, 2);
}

TEST_F(InputTranslatorTest, RecordedReportsBecomeTheSameEvents) {
    EvdevTranslator recorded([this](const RawEvent& event) { take(event); });
    const auto report = [&](std::initializer_list<std::array<int, 3>> events) {
        for (const auto& [type, code, value] : events) {
            recorded.event(static_cast<std::uint16_t>(type), static_cast<std::uint16_t>(code), value);
        }
        recorded.event(EV_SYN, SYN_REPORT, 0);
    };
    report({{EV_MSC, MSC_SCAN, 30}, {EV_KEY, KEY_A, 1}});
    report({{EV_KEY, KEY_A, 2}});
    report({{EV_KEY, KEY_A, 0}, {EV_KEY, BTN_SIDE, 1}});
    report({{EV_KEY, BTN_TOUCH, 1}, {EV_REL, REL_X, 4}, {EV_REL, REL_HWHEEL, 1}});
    report({{EV_REL, REL_WHEEL, -1}}); // a wheel without fine steps
    EXPECT_THAT(takeSounds(),
                ElementsAre("keyDown 0 [main]", "keyUp 0 [main]", "mouseDown other", "scrollTick"));
    report({{EV_REL, REL_WHEEL, 1}, {EV_REL, REL_WHEEL_HI_RES, 120}}); // both mean one notch
    report({{EV_REL, REL_WHEEL_HI_RES, 60}});
    report({{EV_REL, REL_WHEEL, 1}, {EV_REL, REL_WHEEL_HI_RES, 60}});
    EXPECT_THAT(takeSounds(), ElementsAre("scrollTick", "scrollTick"));
    // An overrun: the held modifier is let go, the rest of the report is not trusted.
    report({{EV_KEY, KEY_LEFTSHIFT, 1}});
    report({{EV_SYN, SYN_DROPPED, 0}, {EV_KEY, KEY_B, 1}});
    report({{EV_KEY, KEY_C, 1}});
    EXPECT_THAT(takeSounds(),
                ElementsAre("keyDown 56 [modifier]", "keyUp 56 [modifier]", "keyDown 8 [main]"));
}

} // namespace
} // namespace keysong
