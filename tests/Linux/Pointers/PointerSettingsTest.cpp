#include "Linux/Input/PointerSettings.h"

#include "Linux/Pointers/PointerLists.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keysong {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* touchpadName = "ELAN1200:00 04F3:3090 Touchpad";
const PointerDevice touchpad{true, 1267, 12432, touchpadName, "/dev/input/event5"};
const PointerDevice mouse{false, 1133, 16495, "A [good] mouse", "/dev/input/event6"};

TEST(PointerSettings, TheLastRuleThatFitsAndHasChosenCounts) {
    const PointerRules rules = {
        {.settings = {.tap = true, .leftHanded = true}},
        {.kind = PointerRule::Kind::touchpad, .settings = {.tap = false}},
        {.kind = PointerRule::Kind::mouse, .settings = {.leftHanded = false}},
        {.vendor = 1, .settings = {.clickMethod = ClickMethod::none}},
        {.node = "/dev/input/event5", .settings = {.clickMethod = ClickMethod::fingers}},
        {.name = "A [good] mouse", .settings = {.middleEmulation = true}},
    };
    EXPECT_EQ(settingsOf(touchpad, rules),
              (PointerSettings{.tap = false, .clickMethod = ClickMethod::fingers, .leftHanded = true}));
    EXPECT_EQ(settingsOf(mouse, rules),
              (PointerSettings{.tap = true, .leftHanded = false, .middleEmulation = true}));
    EXPECT_EQ(settingsOf(mouse, {}), PointerSettings());
}

TEST(PointerSettings, AreReadFromKdesFile) {
    const PointerRules rules = kdePointerRules("[Keyboard]\n"
                                               "TapToClick=true\n"
                                               "\n"
                                               "[Libinput][1267][12432][ELAN1200:00 04F3:3090 Touchpad]\n"
                                               "ClickMethod=2\n"
                                               "Enabled=true\n"
                                               "LmrTapButtonMap=true\n"
                                               "NaturalScroll=true\n"
                                               "TapToClick=false\n"
                                               "[Libinput][1133][16495][A [good] mouse]\n"
                                               "LeftHanded=true\n"
                                               "ClickMethod=9\n"
                                               "[Libinput][x][16495][Not a number]\n"
                                               "LeftHanded=true\n"
                                               "[Libinput][1]\n"
                                               "LeftHanded=true");
    ASSERT_EQ(rules.size(), 2U);
    EXPECT_EQ(settingsOf(touchpad, rules), (PointerSettings{.enabled = true,
                                                            .tap = false,
                                                            .tapButtons = TapButtons::leftMiddleRight,
                                                            .clickMethod = ClickMethod::fingers}));
    EXPECT_EQ(settingsOf(mouse, rules), PointerSettings{.leftHanded = true});
    for (const char* text :
         {"", "\n\n", "[", "[Libinput][", "[Libinput][]", "[Libinput][1][2][]", "=", "TapToClick"}) {
        EXPECT_THAT(kdePointerRules(text), IsEmpty()) << text;
    }
}

TEST(PointerSettings, AreReadFromSwaysList) {
    const PointerRules rules = swayPointerRules(R"([
        {"identifier": "1267:12432:ELAN", "name": "ELAN1200:00 04F3:3090 Touchpad", "vendor": 1267,
         "product": 12432, "type": "touchpad", "libinput": {"send_events": "disabled_on_external_mouse",
         "tap": "enabled", "tap_button_map": "lmr", "left_handed": "disabled", "click_method": "clickfinger",
         "middle_emulation": "disabled"}},
        {"name": "A [good] mouse", "vendor": 1133, "product": 16495, "type": "pointer",
         "libinput": {"send_events": "disabled", "left_handed": "enabled", "click_method": 7}},
        {"name": "A keyboard", "vendor": 1, "product": 1, "type": "keyboard"},
        {"name": 5, "libinput": {}}, "text", null])");
    ASSERT_EQ(rules.size(), 2U);
    EXPECT_EQ(settingsOf(touchpad, rules), (PointerSettings{.enabled = true,
                                                            .tap = true,
                                                            .tapButtons = TapButtons::leftMiddleRight,
                                                            .clickMethod = ClickMethod::fingers,
                                                            .leftHanded = false,
                                                            .middleEmulation = false}));
    EXPECT_EQ(settingsOf(mouse, rules), (PointerSettings{.enabled = false, .leftHanded = true}));
    for (const char* text : {"", "[", "{}", "[[[", "7", "[{\"name\": \"x\"}]"}) {
        EXPECT_THAT(swayPointerRules(text), IsEmpty()) << text;
    }
}

} // namespace
} // namespace keysong
