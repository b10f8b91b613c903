// The built program's windows, worked from outside: as an assistive program does, and with pointer and keys.

#include "Program/DesktopFixture.h"

#include <gmock/gmock.h>
#include <linux/input-event-codes.h>

#include <algorithm>
#include <csignal>
#include <utility>

namespace keysong::test {
namespace {

using State = AccessibleClient::State;
using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(DesktopFixture, AnAssistiveProgramWorksEverySwitch) {
    openSettings();
    const std::pair<const char*, const char*> switches[] = {{"Enabled", "Enabled"},
                                                            {"Mouse clicks", "MouseSounds"},
                                                            {"Scroll ticks", "ScrollSounds"},
                                                            {"Stereo placement", "SpatialAudio"},
                                                            {"While an app records", "MuteWhileRecording"}};
    for (const auto& [name, property] : switches) {
        const Node box = find("check box", name);
        ASSERT_TRUE(box) << name;
        const bool before = status(property);
        for (const bool wanted : {!before, before}) {
            EXPECT_TRUE(eyes->act(box, "Toggle")) << name;
            EXPECT_TRUE(eventually([&, key = property] {
                return status(key) == wanted && eyes->is(box, State::checked) == wanted;
            })) << name;
        }
    }
    // The other way round, the window follows.
    EXPECT_EQ(control({"toggle"}), "off\n");
    EXPECT_TRUE(eventually([&] { return !eyes->is(find("check box", "Enabled"), State::checked); }));
    EXPECT_TRUE(eventually([&] { return !eyes->is(find("push button", "Hear it"), State::enabled); }));
    // What cannot be had here says why.
    const Node atLogin = find("check box", "Launch at login");
    EXPECT_FALSE(eyes->is(atLogin, State::enabled));
    EXPECT_EQ(eyes->description(atLogin), "Available once Keysong is in your Applications folder.");
}

TEST_F(DesktopFixture, AnAssistiveProgramTurnsEverySliderAndPicker) {
    openSettings();
    const Node volume = find("slider", "Volume");
    eyes->setValue(volume, 25);
    EXPECT_TRUE(eventually([&] { return status("Volume") == 0.25; }));
    EXPECT_EQ(eyes->value(volume), 25);
    EXPECT_TRUE(eyes->act(volume, "Increase"));
    EXPECT_TRUE(eventually([&] { return status("Volume") == 0.3; })) << status("Volume");
    EXPECT_EQ(control({"volume", "1"}), "");
    EXPECT_TRUE(eventually([&] { return eyes->value(volume) == eyes->highest(volume); }));

    const Node reset = find("push button", "Reset", "Tone");
    EXPECT_FALSE(eyes->is(reset, State::enabled));
    for (const auto& [name, property] : {std::pair("Tone", "Tone"), std::pair("Body", "Body")}) {
        const Node slider = find("slider", name);
        ASSERT_TRUE(slider) << name;
        EXPECT_EQ(eyes->lowest(slider), -1);
        EXPECT_EQ(eyes->highest(slider), 1);
        eyes->setValue(slider, -0.5);
        EXPECT_TRUE(eventually([&, key = property] { return status(key) == -0.5; })) << name;
        EXPECT_TRUE(eyes->act(slider, "Increase"));
        EXPECT_TRUE(eventually([&, key = property] { return status(key) == -0.45; }))
            << name << status(property);
        EXPECT_NEAR(eyes->value(slider), -0.45, 1e-6);
    }
    EXPECT_TRUE(eventually([&] { return eyes->is(reset, State::enabled); }));
    EXPECT_TRUE(eyes->act(reset, "Press"));
    EXPECT_TRUE(eventually([&] { return status("Tone") == 0 && status("Body") == 0; }));
    EXPECT_TRUE(eventually([&] { return !eyes->is(reset, State::enabled); }));

    chooseAndRead("Switch", "Holy Panda", "SetId", "holy-panda");
    chooseAndRead("Switch", "Alpaca", "SetId", "alpaca");
    chooseAndRead("Output device", "Virtual Output", "OutputUid", "virtual");
    chooseAndRead("Output device", "System default", "OutputUid", "");
    EXPECT_TRUE(eyes->act(find("push button", "Hear it"), "Press"));
    EXPECT_TRUE(eventually([&] { return textOf("log").find("play keyDown(36)") != std::string::npos; }))
        << textOf("log");
}

TEST_F(DesktopFixture, AnAssistiveProgramMutesAndUnmutesAnApp) {
    home.write(".local/share/applications/org.example.Paint.desktop",
               "[Desktop Entry]\nType=Application\nName=Paint\nExec=paint\n");
    openSettings();
    const Node list = find("list", "Apps in which Keysong is silent");
    const Node remove = find("push button", "Remove the selected app");
    ASSERT_TRUE(list);
    EXPECT_FALSE(eyes->is(remove, State::enabled));
    EXPECT_TRUE(eyes->act(find("push button", "Add an app"), "Press"));
    ASSERT_TRUE(eventually([&] { return bool(find("list", "Installed apps")); }));
    EXPECT_TRUE(find("text", "Search"));
    EXPECT_TRUE(eyes->act(eyes->find(find("list", "Installed apps"), "list item", "Paint"), "Toggle"));
    EXPECT_TRUE(eyes->act(find("push button", "Add"), "Press"));
    ASSERT_TRUE(eventually([&] { return bool(eyes->find(list, "list item", "Paint")); }));
    const auto muted = [&] { return status("MutedApps").get<std::vector<std::string>>(); };
    EXPECT_THAT(muted(), testing::Contains("org.example.Paint"));

    EXPECT_TRUE(eyes->act(eyes->find(list, "list item", "Paint"), "Toggle"));
    ASSERT_TRUE(eventually([&] { return eyes->is(remove, State::enabled); }));
    EXPECT_TRUE(eyes->act(remove, "Press"));
    EXPECT_TRUE(eventually([&] { return !eyes->find(list, "list item", "Paint"); }));
    EXPECT_THAT(muted(), testing::Not(testing::Contains("org.example.Paint")));
    EXPECT_FALSE(eyes->is(remove, State::enabled));
}

TEST_F(DesktopFixture, AnAssistiveProgramResetsTheCountAndOpensTheCredits) {
    openSettings();
    for (int i = 0; i < 5; ++i) {
        hands->tap(keyboard, KEY_LEFTSHIFT);
    }
    ASSERT_TRUE(eventually([&] { return bool(find("label", "5")); }));
    const auto press = [&](const char* button) {
        EXPECT_TRUE(eyes->act(find("push button", "Reset", "Keys pressed"), "Press"));
        Node dialog;
        ASSERT_TRUE(eventually([&] {
            dialog = find("alert message", "Keysong");
            return bool(eyes->find(dialog, "label", "This cannot be undone."));
        }));
        EXPECT_TRUE(eyes->act(eyes->find(dialog, "push button", button), "Press")) << button;
        EXPECT_TRUE(eventually([&] { return !find("label", "Reset the key count?"); }));
    };
    press("Cancel");
    EXPECT_EQ(control({"stats"}), "5\n");
    press("Reset");
    EXPECT_EQ(control({"stats"}), "0\n");
    EXPECT_TRUE(eventually([&] { return bool(find("label", "0")); }));

    EXPECT_TRUE(find("label", "Granted"));
    EXPECT_TRUE(find("label", "Enable / disable: Ctrl+Alt+K"));
    EXPECT_TRUE(find("label", "Open Keysong: Ctrl+Alt+C"));
    EXPECT_TRUE(eyes->act(find("push button", "Credits"), "Press"));
    EXPECT_TRUE(eventually([&] { return textOf("opened") == credits.string() + "\n"; })) << textOf("opened");
}

TEST_F(DesktopFixture, ThePointerMovesTheToneAndTheWheelOnlyTheForm) {
    openSettings();
    const Node bar = formScrollBar();
    ASSERT_TRUE(bar);
    scrollTo(find("panel", "Tone"));
    const auto isAt = [&](double tone, double body) {
        return eventually([&] {
            return std::abs(status("Tone").get<double>() - tone) < 0.02 &&
                   std::abs(status("Body").get<double>() - body) < 0.02;
        });
    };
    const auto pad = eyes->area(find("slider", "Tone"));
    hands->clickAt(pad.x + 2, pad.y + pad.height - 2); // thock
    EXPECT_TRUE(isAt(-1, -1)) << status("Tone") << status("Body");
    hands->moveTo(pad.middle(), pad.centre());
    hands->button(XTestClient::injected, 1, true);
    EXPECT_TRUE(isAt(0, 0));
    hands->moveTo(pad.x + pad.width + 60, pad.centre()); // the hand may leave the pad
    EXPECT_TRUE(isAt(1, 0));
    hands->moveTo(pad.x + pad.width - 9, pad.y - 40);
    EXPECT_TRUE(isAt(1, 1));
    hands->button(XTestClient::injected, 1, false);
    hands->moveTo(pad.middle(), pad.centre());
    hands->clickAt(pad.x + 30, pad.y + 30);
    EXPECT_TRUE(isAt(-0.63, 0.63)) << status("Tone") << status("Body");
    hands->clickAt(pad.x + 100, pad.y + 100, 3); // the other button moves nothing
    EXPECT_TRUE(isAt(-0.63, 0.63));
    EXPECT_TRUE(eventually([&] { // a busy machine may tear a double click into two
        hands->clickAt(pad.x + 100, pad.y + 100);
        hands->clickAt(pad.x + 100, pad.y + 100);
        return status("Tone") == 0 && status("Body") == 0;
    }));

    for (const auto& [role, name, property] :
         {std::tuple("slider", "Volume", "Volume"), std::tuple("combo box", "Switch", "SetId"),
          std::tuple("combo box", "Output device", "OutputUid")}) {
        const Node control = find(role, name);
        ASSERT_TRUE(control) << name;
        scrollTo(control);
        const auto before = status(property);
        const double position = eyes->value(bar);
        const auto area = eyes->area(control);
        hands->clickAt(area.middle(), area.centre(), 5);
        EXPECT_TRUE(eventually([&] { return eyes->value(bar) > position; })) << name;
        EXPECT_EQ(status(property), before) << name;
    }
}

TEST_F(DesktopFixture, AKeyLightsItsCapWhileItIsHeldAndTypesOnce) {
    openSettings();
    const Node scratch = find("text", "Type here to hear it");
    const auto area = eyes->area(find("filler", "Keyboard"));
    ASSERT_GT(area.width, 100);
    const auto picture = [&] { return hands->picture(area.x, area.y, area.width, area.height); };
    const auto dark = picture();
    hands->key(keyboard, KEY_A, true);
    std::vector<std::uint32_t> lit;
    EXPECT_TRUE(eventually([&] { return (lit = picture()) != dark; }));
    int left = area.width;
    int right = 0;
    int changed = 0;
    for (std::size_t i = 0; i < lit.size(); ++i) {
        if (lit[i] != dark[i]) {
            const int x = static_cast<int>(i) % area.width;
            left = std::min(left, x);
            right = std::max(right, x);
            ++changed;
        }
    }
    EXPECT_LT(right - left, area.width / 12) << "one cap, and no other";
    EXPECT_GT(changed, 150);
    EXPECT_LT(right, area.width / 3) << "on the left of the board";
    hands->key(keyboard, KEY_A, false);
    EXPECT_TRUE(eventually([&] { return picture() == dark; }));
    // Held that long, it would repeat; the display's own repeats are not the question here.
    EXPECT_TRUE(eventually([&] { return eyes->text(scratch).starts_with("a"); }));

    // With the focus elsewhere a letter still reaches the field, once.
    const std::string before = eyes->text(scratch);
    EXPECT_TRUE(eyes->act(find("check box", "Scroll ticks"), "SetFocus"));
    hands->tap(keyboard, KEY_B);
    EXPECT_TRUE(eventually([&] { return eyes->text(scratch) == before + "b"; })) << eyes->text(scratch);
    hands->tap(keyboard, KEY_C);
    EXPECT_TRUE(eventually([&] { return eyes->text(scratch) == before + "bc"; })) << eyes->text(scratch);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path() / ".config")) {
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path());
            const std::string kept{std::istreambuf_iterator<char>(file), {}};
            EXPECT_THAT(kept, testing::Not(HasSubstr(before + "bc"))) << "typed text is never kept";
        }
    }
}

TEST_F(DesktopFixture, ThereIsOneSettingsWindowAndItsProgramEndsWithIt) {
    openSettings();
    const Node window = find("frame", "Keysong Settings");
    const pid_t first = windowsProgram();
    EXPECT_NE(first, 0);
    EXPECT_EQ(control({"settings"}), "");
    EXPECT_TRUE(eventually([&] { return find("frame", "Keysong Settings") == window; }));
    EXPECT_EQ(windowsProgram(), first);
    closeSettings();
    EXPECT_NE(control({"status"}), "") << "the program goes on";

    EXPECT_EQ(ChildProcess::run({executable}, loggingTo("second")), 0);
    EXPECT_TRUE(eventually([&] { return bool(find("frame", "Keysong Settings")); }));
    closeSettings();
    EXPECT_EQ(ChildProcess::run({KEYSONG_SETTINGS}, loggingTo("second")), 0) << textOf("second");
    EXPECT_TRUE(eventually([&] { return bool(find("frame", "Keysong Settings")); }));
    closeSettings();
    for (const int key : {KEY_LEFTCTRL, KEY_LEFTALT, KEY_C}) {
        hands->key(keyboard, key, true);
    }
    for (const int key : {KEY_C, KEY_LEFTALT, KEY_LEFTCTRL}) {
        hands->key(keyboard, key, false);
    }
    EXPECT_TRUE(eventually([&] { return bool(find("frame", "Keysong Settings")); })) << "by its hotkey";
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(eventually([&] { return !find("frame", "Keysong Settings"); }));
}

TEST_F(DesktopFixture, TheWindowsMayCrashAndLeaveNothingBehind) {
    openSettings();
    expectedError = "ended by signal 9";
    EXPECT_EQ(kill(windowsProgram(), SIGKILL), 0);
    EXPECT_TRUE(eventually([&] { return windowsProgram() == 0; }));
    EXPECT_TRUE(eventually([&] { return textOf("log").find(expectedError) != std::string::npos; }));
    hands->tap(keyboard, KEY_A);
    EXPECT_TRUE(eventually([&] { return textOf("log").find("play keyDown(0)") != std::string::npos; }));
    const auto descriptors = [&] {
        const std::filesystem::directory_iterator all("/proc/" + std::to_string(program.id()) + "/fd");
        return std::distance(begin(all), end(all));
    };
    std::ifstream file("/proc/" + std::to_string(program.id()) + "/maps");
    const std::string libraries{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(libraries, HasSubstr("libQt6Core"));
    EXPECT_THAT(libraries, testing::Not(HasSubstr("libQt6Gui"))) << "it needs no toolkit for windows";
    std::ptrdiff_t before = 0;
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(control({"settings"}), "");
        ASSERT_TRUE(eventually([&] { return bool(find("frame", "Keysong Settings")); })) << round;
        closeSettings();
        before = round == 0 ? descriptors() : before;
    }
    EXPECT_TRUE(eventually([&] { return descriptors() == before; })) << before << " " << descriptors();
}

TEST_F(DesktopFixture, TheDisplayMayEndAndTheSoundGoesOn) {
    openSettings();
    expectedError = "event tap";
    server.kill();
    EXPECT_TRUE(eventually([&] { return windowsProgram() == 0; }));
    EXPECT_EQ(control({"preview", "holy-panda"}), "");
    EXPECT_TRUE(eventually([&] { return textOf("log").find("play keyDown(36)") != std::string::npos; }))
        << textOf("log");
    ASSERT_TRUE(server.start());
    EXPECT_EQ(control({"settings"}), "");
    EXPECT_TRUE(eventually([&] { return bool(find("frame", "Keysong Settings")); })) << textOf("log");
    hands.emplace(server.display());
    EXPECT_TRUE(eventually([&] {
        hands->tap(hands->deviceNamed("Xvfb keyboard"), KEY_A);
        return control({"stats"}) != "0\n";
    })) << "it hears the new display";
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0) << textOf("log");
}

TEST_F(DesktopFixture, WindowsShowWhereTheyAreAskedForAlsoAfterAStartOnAConsole) {
    PrivateXServer other("800x700x24");
    ASSERT_TRUE(other.start());
    const auto ask = [&](const std::string& display) {
        auto there = loggingTo("asked");
        there.environment["DISPLAY"] = display;
        return ChildProcess::run({KEYSONG_CONTROL, "settings"}, there);
    };
    const auto showsOn = [&](const std::string& display) {
        return eventually([&] {
            std::ifstream file("/proc/" + std::to_string(windowsProgram()) + "/environ");
            const std::string variables{std::istreambuf_iterator<char>(file), {}};
            return variables.find(std::string("\0DISPLAY=", 9) + display + '\0') != std::string::npos &&
                   bool(find("frame", "Keysong Settings"));
        });
    };
    setting.environment["DISPLAY"] = "";
    program.start({executable}, loggingTo("log"));
    ASSERT_TRUE(eventually([&] { return !control({"status"}).empty(); }));
    EXPECT_NE(ask(""), 0);
    EXPECT_THAT(textOf("asked"), HasSubstr("there is no display"));
    EXPECT_EQ(ask(server.display()), 0);
    EXPECT_TRUE(showsOn(server.display())) << textOf("log");
    const auto screen = [&](const PrivateXServer& on) {
        return XTestClient(on.display()).picture(0, 0, 800, 700);
    };
    const auto empty = screen(other);
    EXPECT_EQ(ask(other.display()), 0);
    EXPECT_TRUE(showsOn(other.display())) << textOf("log");
    EXPECT_TRUE(eventually([&] { return screen(other) != empty; }));
    EXPECT_EQ(ask(""), 0) << "where it was last";
    EXPECT_TRUE(showsOn(other.display()));
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0) << textOf("log");
}

TEST_F(DesktopFixture, WithoutAccessAWindowAsksForItAndClosesWhenItHasCome) {
    hands->addMonitor("XWAYLAND0"); // a display that stands for another one hears too little
    program.start({executable}, loggingTo("log"));
    ASSERT_TRUE(eventually([&] { return bool(find("dialog", "Keysong")); })) << textOf("log");
    EXPECT_TRUE(find("label", "Waiting…"));
    hands->removeMonitor("XWAYLAND0");
    EXPECT_TRUE(eventually([&] { return windowsProgram() == 0; }));
    EXPECT_TRUE(control({"status"}).starts_with("sound    on\n"));
}

/// The same windows under a Wayland compositor, where nobody may hear the keyboards.
struct WaylandDesktop : DesktopFixture {
    PrivateSway sway;
};

TEST_F(WaylandDesktop, TheWindowsShowAndComeToTheFront) {
    ASSERT_TRUE(sway.start());
    setting.environment["XDG_RUNTIME_DIR"] = bus.runtimeFolder();
    setting.environment["WAYLAND_DISPLAY"] = sway.display();
    setting.environment["DISPLAY"] = "";
    program.start({executable}, loggingTo("log"));
    const auto isInFront = [&](const std::string& title) {
        return eventually([&] { return focusedWindow(sway) == title; });
    };
    EXPECT_TRUE(isInFront("Keysong")) << "it asks for the right to hear the keyboards: " << textOf("log");
    ASSERT_EQ(control({"settings"}), "");
    EXPECT_TRUE(isInFront("Keysong Settings")) << sway.tree();
    EXPECT_THAT(sway.tree(), HasSubstr("\"app_id\": \"com.orlen.keysong\""));
    sway.openWindow("org.example.Other");
    EXPECT_TRUE(eventually([&] { return focusedWindow(sway) != "Keysong Settings"; }));
    ASSERT_EQ(control({"settings"}), "");
    EXPECT_TRUE(isInFront("Keysong Settings")) << sway.tree();
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0) << textOf("log");
}

} // namespace
} // namespace keysong::test
