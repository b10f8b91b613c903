// The built program's windows, worked from outside: as an assistive program does, and with pointer and keys.

#include "Program/DesktopFixture.h"
#include "support/PrivateSway.h"

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

TEST_F(DesktopFixture, AnAssistiveProgramWorksEveryKindOfControl) {
    openSettings();
    const Node ticks = find("check box", "Scroll ticks");
    for (const bool wanted : {true, false}) {
        EXPECT_TRUE(eyes->act(ticks, "Toggle"));
        EXPECT_TRUE(eventually(
            [&] { return status("ScrollSounds") == wanted && eyes->is(ticks, State::checked) == wanted; }));
    }
    // The other way round, the window follows.
    EXPECT_EQ(control({"toggle"}), "off\n");
    EXPECT_TRUE(eventually([&] { return !eyes->is(find("check box", "Enabled"), State::checked); }));
    EXPECT_EQ(control({"toggle"}), "on\n");
    // What cannot be had here says why.
    const Node atLogin = find("check box", "Launch at login");
    EXPECT_FALSE(eyes->is(atLogin, State::enabled));
    EXPECT_EQ(eyes->description(atLogin), "Available once Keysong is in your Applications folder.");

    const Node volume = find("slider", "Volume");
    eyes->setValue(volume, 25);
    EXPECT_TRUE(eventually([&] { return status("Volume") == 0.25; }));
    EXPECT_TRUE(eyes->act(volume, "Increase"));
    EXPECT_TRUE(eventually([&] { return status("Volume") == 0.3; })) << status("Volume");

    const Node reset = find("push button", "Reset", "Tone");
    const Node body = find("slider", "Body");
    EXPECT_FALSE(eyes->is(reset, State::enabled));
    EXPECT_EQ(eyes->lowest(body), -1);
    EXPECT_EQ(eyes->highest(body), 1);
    eyes->setValue(body, -0.5);
    EXPECT_TRUE(eventually([&] { return status("Body") == -0.5 && eyes->is(reset, State::enabled); }));
    EXPECT_TRUE(eyes->act(reset, "Press"));
    EXPECT_TRUE(eventually([&] { return status("Body") == 0 && !eyes->is(reset, State::enabled); }));

    chooseAndRead("Switch", "Holy Panda", "SetId", "holy-panda");
    chooseAndRead("Output device", "Virtual Output", "OutputUid", "virtual");
    EXPECT_TRUE(eyes->act(find("push button", "Hear it"), "Press"));
    EXPECT_TRUE(eventually([&] { return textOf("log").find("play keyDown(36)") != std::string::npos; }))
        << textOf("log");
}

TEST_F(DesktopFixture, AnAssistiveProgramMutesAnAppResetsTheCountAndOpensTheCredits) {
    home.write(".local/share/applications/org.example.Paint.desktop",
               "[Desktop Entry]\nType=Application\nName=Paint\nExec=paint\n");
    openSettings();
    EXPECT_TRUE(eyes->act(find("push button", "Add an app"), "Press"));
    ASSERT_TRUE(eventually([&] { return bool(find("list", "Installed apps")); }));
    EXPECT_TRUE(find("text", "Search"));
    EXPECT_TRUE(eyes->act(eyes->find(find("list", "Installed apps"), "list item", "Paint"), "Toggle"));
    EXPECT_TRUE(eyes->act(find("push button", "Add"), "Press"));
    const Node muted = find("list", "Apps in which Keysong is silent");
    ASSERT_TRUE(eventually([&] { return bool(eyes->find(muted, "list item", "Paint")); }));
    EXPECT_THAT(status("MutedApps").get<std::vector<std::string>>(), testing::Contains("org.example.Paint"));

    for (int i = 0; i < 5; ++i) {
        hands->tap(keyboard, KEY_LEFTSHIFT);
    }
    ASSERT_TRUE(eventually([&] { return bool(find("label", "5")); }));
    EXPECT_TRUE(eyes->act(find("push button", "Reset", "Keys pressed"), "Press"));
    Node dialog;
    ASSERT_TRUE(eventually([&] {
        dialog = find("alert message", "Keysong");
        return bool(eyes->find(dialog, "label", "This cannot be undone."));
    }));
    EXPECT_TRUE(eyes->act(eyes->find(dialog, "push button", "Reset"), "Press"));
    EXPECT_TRUE(eventually([&] { return bool(find("label", "0")); }));
    EXPECT_EQ(control({"stats"}), "0\n");

    EXPECT_TRUE(find("label", "Enable / disable: Ctrl+Alt+K"));
    EXPECT_TRUE(find("label", "Open Keysong: Ctrl+Alt+C"));
    EXPECT_TRUE(eyes->act(find("push button", "Credits"), "Press"));
    EXPECT_TRUE(eventually([&] { return textOf("opened") == credits.string() + "\n"; })) << textOf("opened");
}

TEST_F(DesktopFixture, ThePointerMovesTheTone) {
    openSettings();
    scrollTo(find("panel", "Tone"));
    const auto isAt = [&](double tone, double body) {
        return eventually([&] { return status("Tone") == tone && status("Body") == body; });
    };
    const auto pad = eyes->area(find("slider", "Tone"));
    hands->clickAt(pad.x + 2, pad.y + pad.height - 2); // thock
    EXPECT_TRUE(isAt(-1, -1)) << status("Tone") << status("Body");
    hands->moveTo(pad.middle(), pad.centre());
    hands->button(XTestClient::injected, 1, true);
    hands->moveTo(pad.x + pad.width + 60, pad.y - 40); // the hand may leave the pad
    EXPECT_TRUE(isAt(1, 1)) << status("Tone") << status("Body");
    hands->button(XTestClient::injected, 1, false);
}

TEST_F(DesktopFixture, AKeyLightsItsCapWhileItIsHeldAndTypesOnce) {
    openSettings();
    const Node scratch = find("text", "Type here to hear it");
    const auto area = eyes->area(find("filler", "Keyboard"));
    ASSERT_GT(area.width, 100);
    const auto picture = [&] { return hands->picture(area.x, area.y, area.width, area.height); };
    const auto dark = picture();
    hands->key(keyboard, KEY_A, true);
    EXPECT_TRUE(eventually([&] { return picture() != dark; }));
    hands->key(keyboard, KEY_A, false);
    EXPECT_TRUE(eventually([&] { return picture() == dark; }));
    // Held that long, it would repeat; the display's own repeats are not the question here.
    EXPECT_TRUE(eventually([&] { return eyes->text(scratch).starts_with("a"); }));

    // With the focus elsewhere a letter still reaches the field, once.
    const std::string before = eyes->text(scratch);
    EXPECT_TRUE(eyes->act(find("check box", "Scroll ticks"), "SetFocus"));
    hands->tap(keyboard, KEY_B);
    EXPECT_TRUE(eventually([&] { return eyes->text(scratch) == before + "b"; })) << eyes->text(scratch);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path() / ".config")) {
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path());
            const std::string kept{std::istreambuf_iterator<char>(file), {}};
            EXPECT_THAT(kept, testing::Not(HasSubstr(before + "b"))) << "typed text is never kept";
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

    for (const std::string& launched : {executable, std::string(KEYSONG_SETTINGS)}) {
        EXPECT_EQ(ChildProcess::run({launched}, loggingTo("second")), 0) << textOf("second");
        EXPECT_TRUE(eventually([&] { return bool(find("frame", "Keysong Settings")); })) << launched;
        closeSettings();
    }
    pressHotkey(*hands, keyboard, KEY_C);
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
    setting.environment["DISPLAY"] = "";
    program.start({executable}, loggingTo("log"));
    ASSERT_TRUE(eventually([&] { return !control({"status"}).empty(); }));
    EXPECT_NE(ask(""), 0);
    EXPECT_THAT(textOf("asked"), HasSubstr("there is no display"));
    EXPECT_EQ(ask(server.display()), 0);
    EXPECT_TRUE(eventually([&] { return bool(find("frame", "Keysong Settings")); })) << textOf("log");
    const auto picture = [&] { return XTestClient(other.display()).picture(0, 0, 800, 700); };
    const auto empty = picture();
    EXPECT_EQ(ask(other.display()), 0);
    EXPECT_TRUE(eventually([&] { return picture() != empty; })) << textOf("log");
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
    const auto isFocused = [&](const std::string& title) {
        return sway.command("[con_id=__focused__ title=\"^" + title + "$\"] nop");
    };
    const auto isInFront = [&](const std::string& title) {
        return eventually([&] { return isFocused(title); });
    };
    EXPECT_TRUE(isInFront("Keysong")) << "it asks for the right to hear the keyboards: " << textOf("log");
    ASSERT_EQ(control({"settings"}), "");
    EXPECT_TRUE(isInFront("Keysong Settings")) << sway.tree();
    EXPECT_THAT(sway.tree(), HasSubstr("\"app_id\": \"com.orlen.keysong\""));
    sway.openWindow("org.example.Other");
    EXPECT_TRUE(eventually([&] { return !isFocused("Keysong Settings"); }));
    ASSERT_EQ(control({"settings"}), "");
    EXPECT_TRUE(isInFront("Keysong Settings")) << sway.tree();
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0) << textOf("log");
}

} // namespace
} // namespace keysong::test
