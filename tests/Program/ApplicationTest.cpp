// The program without its windows: how it starts, counts, obeys its hotkey and ends.

#include "Program/ProgramFixture.h"
#include "fakes/FakeTray.h"
#include "support/PrivateSway.h"
#include "support/WaveFile.h"

#include <gmock/gmock.h>
#include <linux/input-event-codes.h>
#include <sys/wait.h>

#include <csignal>

namespace keysong::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

using ApplicationTest = ProgramFixture;

TEST_F(ApplicationTest, OfManyLaunchesAtOnceOneStaysAndTheOthersEndWell) {
    setting.environment["DISPLAY"] = ""; // without a display the log tells of what would be shown
    ChildProcess programs[5];
    for (int i = 0; i < 5; ++i) {
        programs[i].start({KEYSONG_PROGRAM}, loggingTo("log" + std::to_string(i)));
    }
    ASSERT_TRUE(eventually([&] { return !control({"status"}).empty(); }));
    int owners = 0;
    int asked = 0;
    ASSERT_TRUE(eventually([&] {
        owners = asked = 0;
        for (int i = 0; i < 5; ++i) {
            const std::string log = textOf("log" + std::to_string(i));
            owners += log.find("engine started") != std::string::npos ? 1 : 0;
            for (auto at = log.find("runs already"); at != std::string::npos;
                 at = log.find("runs already", at + 1)) {
                ++asked;
            }
        }
        return asked == 4;
    }));
    EXPECT_EQ(owners, 1);
    EXPECT_EQ(control({"quit"}), "");
    for (ChildProcess& program : programs) {
        EXPECT_EQ(program.wait(), 0);
    }
}

TEST_F(ApplicationTest, AnswersTheWordsThatAPersonTriesFirst) {
    setting.environment["LC_ALL"] = "C"; // where nobody has chosen a language, nothing more is said
    const auto answer = [&](std::vector<std::string> words) {
        auto quiet = loggingTo("answer");
        std::filesystem::remove(quiet.output);
        quiet.environment["DISPLAY"] = quiet.environment["DBUS_SESSION_BUS_ADDRESS"] = "";
        const int status = WEXITSTATUS(ChildProcess::run(words, quiet));
        return std::to_string(status) + " " + textOf("answer");
    };
    for (const char* word : {"--help", "-h"}) {
        EXPECT_THAT(answer({KEYSONG_PROGRAM, word}), StartsWith("0 Usage: keysong"));
    }
    EXPECT_THAT(answer({KEYSONG_PROGRAM, "--version"}), MatchesRegex("0 keysong [0-9.]+\n"));
    EXPECT_THAT(answer({KEYSONG_CONTROL, "--version"}), MatchesRegex("0 keysongctl [0-9.]+\n"));
    const auto list = HasSubstr("\n  status ");
    for (const char* word : {"--help", "-h", "help"}) {
        EXPECT_THAT(answer({KEYSONG_CONTROL, word}), AllOf(StartsWith("0 Controls Keysong"), list));
    }
    EXPECT_THAT(answer({KEYSONG_CONTROL, "help", "volume"}), AllOf(StartsWith("0 "), HasSubstr("level")));
    EXPECT_THAT(answer({KEYSONG_CONTROL}), AllOf(StartsWith("2 keysongctl: a command is missing\n"), list));
    EXPECT_THAT(answer({KEYSONG_CONTROL, "loud"}),
                AllOf(StartsWith("2 keysongctl: there is no command \"loud\"\n"), list));
    EXPECT_THAT(answer({KEYSONG_CONTROL, "volume", "loud"}),
                AllOf(StartsWith("2 keysongctl: "), HasSubstr("loud"), HasSubstr("From 0 to 1"), Not(list)));
    EXPECT_THAT(answer({KEYSONG_CONTROL, "status"}), MatchesRegex("1 keysongctl: [^\n]+\n"));
}

TEST_F(ApplicationTest, ShowsItsSymbolInAPanelAndEndsByItsMenu) {
    const XTestClient hands(server.display());
    FakeTray tray(server.display());
    ChildProcess program;
    launch(program);
    ASSERT_TRUE(eventually([&] {
        tray.process();
        return tray.symbols() == 1;
    })) << textOf("log");
    tray.pointAtSymbol();
    hands.button(XTestClient::injected, 1, true);
    hands.button(XTestClient::injected, 1, false);
    EXPECT_TRUE(eventually([&] { // the last item, once the menu is open
        hands.tap(XTestClient::injected, KEY_UP);
        hands.tap(XTestClient::injected, KEY_ENTER);
        return control({"status"}).empty();
    }));
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(ApplicationTest, AnImportedPackIsListedAndPlaysWithoutARestart) {
    ChildProcess program;
    launch(program);
    home.write("my pack/a.wav", waveBytes(sine(500, 4800, 48000)));
    const std::string pack = home.path() / "my pack";
    EXPECT_EQ(control({"import", pack}).substr(0, 32), "Imported \"my pack\" as my-pack fr");
    EXPECT_EQ(control({"import", pack}), "") << "it is there already";
    EXPECT_NE(control({"sets"}).find("my-pack\tmy pack"), std::string::npos)
        << "an import ends when it is listed";
    EXPECT_EQ(control({"set", "my-pack"}), "");
    EXPECT_TRUE(
        eventually([&] { return textOf("log").find("loaded sound set my-pack") != std::string::npos; }));
    const std::filesystem::path set = home.path() / ".local/share/keysong/Sounds/my-pack";
    EXPECT_TRUE(control({"check", set}).ends_with("No problems.\n"));
    std::filesystem::remove_all(set);
    EXPECT_TRUE(eventually([&] { return control({"sets"}).find("my-pack") == std::string::npos; }));
    EXPECT_EQ(control({"check", set}), "");
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0);
}

/// A set's name and identifier are a stranger's words: no shell and no terminal obeys them.
TEST_F(ApplicationTest, WhatAStrangerNamedIsNeitherRunNorObeyed) {
    ChildProcess program;
    launch(program);
    const std::string hostile = "x$(touch${IFS}ran)`touch ran`;touch ran";
    const std::string folder = ".local/share/keysong/Sounds/strange/";
    home.write(folder + "a.wav", waveBytes(sine(500, 480, 48000)));
    home.write(folder + "manifest.json", R"({"schema":1,"id":")" + hostile +
                                             R"(","name":"\u001b]0;title\u0007\u009b31m\nred",)"
                                             R"("defaults":{"down":["a.wav"]}})");
    ASSERT_TRUE(eventually([&] { return control({"sets"}).find(hostile) != std::string::npos; }))
        << textOf("log");
    const std::string safe = R"(\x1b]0;title\x07\xc2\x9b31m\nred)";
    EXPECT_THAT(control({"sets"}), HasSubstr(hostile + '\t' + safe + '\n'));
    EXPECT_THAT(control({"status", "--json"}), Not(HasSubstr("\xc2\x9b")));
    auto listing = loggingTo("list");
    EXPECT_EQ(ChildProcess::run({KEYSONG_PROGRAM, "--list-sets"}, listing), 0);
    EXPECT_THAT(textOf("list"), HasSubstr(hostile + '\t' + safe + '\n'));

    // As bash completes "keysongctl set x", and as it would run the line after that.
    home.write("complete", R"(cd "$HOME" && PATH=$(dirname ")" KEYSONG_CONTROL R"("):$PATH
        . )" KEYSONG_COMPLETION R"(
        COMP_WORDS=(keysongctl set x) COMP_CWORD=2
        _keysongctl
        printf '%s\n' "${#COMPREPLY[@]}"
        eval "printf '%s\n' ${COMPREPLY[0]}"
        ls)");
    auto shell = loggingTo("completed");
    shell.environment["KEYSONG_LOG_SINK"] = "";
    EXPECT_EQ(ChildProcess::run({"bash", home.path() / "complete"}, shell), 0);
    EXPECT_THAT(textOf("completed"), StartsWith("1\n" + hostile + "\n"));
    EXPECT_FALSE(std::filesystem::exists(home.path() / "ran"));
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(ApplicationTest, CountsRealKeysAcrossARestartAndObeysItsHotkey) {
    const XTestClient hands(server.display());
    const auto keyboard = hands.deviceNamed("Xvfb keyboard");
    ASSERT_NE(keyboard, XTestClient::injected);
    ChildProcess program;
    launch(program);
    for (int i = 0; i < 7; ++i) {
        hands.tap(keyboard, KEY_A);
        hands.tap(XTestClient::injected, KEY_B); // software does not count
    }
    EXPECT_TRUE(eventually([&] { return control({"stats"}) == "7\n"; })) << control({"stats"});
    EXPECT_EQ(control({"volume", "0.25"}), "");
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0);

    launch(program);
    EXPECT_EQ(control({"stats"}), "7\n");
    EXPECT_EQ(control({"volume"}), "0.25\n");
    pressHotkey(hands, keyboard, KEY_K);
    EXPECT_TRUE(eventually([&] { return control({"status"}).starts_with("sound    off"); }));
    program.kill();
    EXPECT_EQ(control({"status"}), "");
    launch(program); // the killed one left the settings whole
    EXPECT_EQ(control({"volume"}), "0.25\n");
    const std::string before = control({"stats"});
    hands.tap(keyboard, KEY_A);
    EXPECT_TRUE(eventually([&] { return control({"stats"}) != before; }));
    const std::string counted = control({"stats"});
    program.signal(SIGTERM); // which keeps what was counted
    EXPECT_EQ(program.wait(), 0);
    launch(program);
    EXPECT_EQ(control({"stats"}), counted);
}

TEST_F(ApplicationTest, SleepsAsMutedWindowsComeToTheFrontUnderWayland) {
    PrivateSway sway;
    ASSERT_TRUE(sway.start());
    setting.environment["DISPLAY"] = "";
    setting.environment.erase("WAYLAND_DISPLAY");
    home.write(".config/com.orlen.keysong/preferences.json", R"({"mutedApps":["second"]})");
    const auto sleeps = [&](bool asleep) {
        const std::string wanted = asleep ? "\"Sleeping\": true" : "\"Sleeping\": false";
        return eventually([&] { return control({"status", "--json"}).find(wanted) != std::string::npos; });
    };
    ChildProcess program;
    program.start({KEYSONG_PROGRAM}, loggingTo("log"));
    // The window that asks for the right to listen opens by itself.
    ASSERT_TRUE(eventually([&] { return sway.command("[app_id=\"com.orlen.keysong\"] focus"); }));
    sway.openWindow("first");
    sway.openWindow("second");
    for (const char* opened : {"first", "second"}) { // once they are there, in whatever order
        ASSERT_TRUE(
            eventually([&] { return sway.command("[app_id=\"" + std::string(opened) + "\"] focus"); }));
    }
    EXPECT_TRUE(sleeps(true)) << textOf("log");
    ASSERT_TRUE(sway.command("[app_id=\"first\"] focus"));
    EXPECT_TRUE(sleeps(false));
    ASSERT_TRUE(sway.command("[app_id=\"second\"] focus"));
    EXPECT_TRUE(sleeps(true)) << textOf("log");
    EXPECT_EQ(control({"settings"}), ""); // its window comes to the front and is not muted
    EXPECT_TRUE(sleeps(false)) << textOf("log");
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0);
}

} // namespace
} // namespace keysong::test
