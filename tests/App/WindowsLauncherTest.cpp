#include "App/WindowsLauncher.h"

#include "App/AskerData.h"
#include "App/CoreProgram.h"
#include "fakes/FakeWindowsProgram.h"
#include "fakes/ManualQueue.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

namespace keysong::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Display = WindowsLauncher::Display;

const Display first{{"DISPLAY", ":1"}, {"XAUTHORITY", "/run/key"}};
const Display second{{"DISPLAY", ":2"}, {"WAYLAND_DISPLAY", "wayland-0"}};

class WindowsLauncherTest : public testing::Test {
  public:
    static void SetUpTestSuite() { makeCoreApplication(); }
    WindowsLauncher& launcher(const Display& own = first) {
        if (!launcher_) {
            launcher_.emplace(program, monitor, queue, own, [this] { return hasBus; });
        }
        return *launcher_;
    }
    /// The settings are asked for and shown.
    void open(const Asker& asker = {}) {
        EXPECT_EQ(launcher().showSettings(asker), "");
        say(WindowShown{WindowKind::settings});
    }
    void say(const MessageFromWindows& message) {
        program.child().say(message);
        serve();
    }
    void finish(WindowsProcess::End end) {
        program.child().finish(end);
        serve();
    }
    static void serve() {
        for (int i = 0; i < 8; ++i) {
            QCoreApplication::processEvents();
        }
    }
    static std::vector<std::string> notices() { return LogCapture::shared().lines(LogLevel::notice); }
    static std::vector<std::string> errors() { return LogCapture::shared().takeErrors(); }
    std::vector<std::string> told() { return std::exchange(program.child().told, {}); }

    FakeWindowsProgram program;
    KeyMonitor monitor;
    bool hasBus = true;
    ManualQueue queue;

  private:
    std::optional<WindowsLauncher> launcher_;
};

TEST_F(WindowsLauncherTest, StartsOneProgramAndTellsItOfFurtherRequests) {
    launcher().showOnboarding({});
    EXPECT_EQ(launcher().showSettings({.display = {}, .activationToken = "go", .startupId = "x"}), "");
    EXPECT_EQ(program.children.size(), 1U);
    EXPECT_THAT(told(), ElementsAre("panel shown", "count 0", "onboarding", "settings go"));
    EXPECT_EQ(program.child().environment["DISPLAY"], ":1");
    EXPECT_EQ(program.child().environment["XAUTHORITY"], "/run/key");
    EXPECT_EQ(program.child().environment.at("WAYLAND_DISPLAY"), "") << "none from elsewhere";

    say(WindowShown{WindowKind::onboarding});
    finish({0, 0});
    EXPECT_EQ(program.children.size(), 2U) << "the settings were not shown any more";
    EXPECT_THAT(told(), ElementsAre("panel shown", "count 0", "settings go"));
    EXPECT_EQ(program.child().environment["XDG_ACTIVATION_TOKEN"], "go");
    EXPECT_EQ(program.child().environment["DESKTOP_STARTUP_ID"], "x");
    say(WindowShown{WindowKind::settings});
    finish({0, 0});
    EXPECT_EQ(program.children.size(), 2U);
    EXPECT_THAT(notices(), IsEmpty());
}

TEST_F(WindowsLauncherTest, MovesToTheDisplayThatAsksAndStaysThereForThoseThatDoNotTell) {
    open();
    open({.display = {{"DISPLAY", ":1.0"}}, .activationToken = "", .startupId = ""});
    EXPECT_EQ(program.children.size(), 1U) << "the same display in other words";
    EXPECT_EQ(launcher().showSettings({.display = second, .activationToken = "go", .startupId = ""}), "");
    EXPECT_TRUE(program.child().isClosed);
    EXPECT_EQ(program.children.size(), 1U) << "one at a time";
    finish({0, 0});
    ASSERT_EQ(program.children.size(), 2U);
    EXPECT_EQ(program.child().environment["WAYLAND_DISPLAY"], "wayland-0");
    EXPECT_EQ(program.child().environment["XAUTHORITY"], "");
    EXPECT_THAT(told(), ElementsAre("panel shown", "count 0", "settings go"));
    say(WindowShown{WindowKind::settings});
    open();
    EXPECT_FALSE(program.child().isClosed) << "where it was last";

    // One that does not listen is not waited for.
    launcher().showSettings({.display = first, .activationToken = "", .startupId = ""});
    queue.advance(WindowsLauncher::patience);
    EXPECT_TRUE(program.child().wasKilled);
    finish({0, 9});
    EXPECT_EQ(program.children.size(), 3U);
    EXPECT_THAT(notices(), IsEmpty());
}

TEST_F(WindowsLauncherTest, AFaultIsLoggedAndOnlyTheNextRequestStartsAgain) {
    open();
    finish({0, 11});
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("ended by signal 11")));
    EXPECT_EQ(program.children.size(), 1U);
    launcher().showSettings({});
    EXPECT_EQ(program.children.size(), 2U);
    finish({1, 0}); // without having shown anything
    EXPECT_EQ(program.children.size(), 2U);
    EXPECT_THAT(notices(), ElementsAre(HasSubstr("on display :1 ended with status 1")));

    launcher().showSettings({.display = second, .activationToken = "", .startupId = ""});
    finish({1, 0}); // a display that cannot be opened
    open();
    EXPECT_EQ(program.child().environment["DISPLAY"], ":1");
    program.child().sayBytes({std::byte(7)});
    serve();
    EXPECT_TRUE(program.child().isClosed);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("another version")));
    finish({0, 0});
    EXPECT_EQ(program.children.size(), 4U);

    program.refusal = "keysong-settings: No such file or directory";
    EXPECT_THAT(launcher().showSettings({}), HasSubstr("No such file"));
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("install Keysong again")));
    program.refusal.clear();
    open();
    EXPECT_EQ(program.children.size(), 5U);
}

TEST_F(WindowsLauncherTest, WithoutADisplayItSaysSoUntilSomebodyAsksFromOne) {
    EXPECT_THAT(launcher({}).showSettings({}), HasSubstr("no display"));
    EXPECT_NE(launcher().showOnboarding({}), "");
    EXPECT_THAT(program.children, IsEmpty());
    EXPECT_THAT(notices(), testing::Contains(HasSubstr("keysongctl access")));
    open({.display = second, .activationToken = "", .startupId = ""});
    EXPECT_EQ(program.children.size(), 1U);
    hasBus = false;
    EXPECT_THAT(launcher().showSettings({}), HasSubstr("no session bus"));
}

TEST_F(WindowsLauncherTest, TellsHowManyKeysWerePressed) {
    launcher().setKeysPressed(5);
    open();
    EXPECT_THAT(told(), ElementsAre("panel shown", "count 5", "settings"));
    launcher().setKeysPressed(5);
    launcher().setKeysPressed(6);
    EXPECT_THAT(told(), ElementsAre("count 6"));
}

TEST_F(WindowsLauncherTest, TellsOfHeldKeysOnlyWhileTheyAreWatched) {
    open();
    told();
    monitor.record(SoundEvent::keyDown(0));
    EXPECT_TRUE(queue.empty()) << "nothing looks while nobody watches";
    say(WatchKeys{true});
    EXPECT_THAT(told(), ElementsAre("keys 0"));
    monitor.record(SoundEvent::keyDown(0));
    queue.advance(milliseconds(17));
    EXPECT_THAT(told(), ElementsAre("keys 1"));
    for (int i = 0; i < 1000; ++i) {
        monitor.record(i % 2 == 0 ? SoundEvent::keyDown(1) : SoundEvent::keyUp(1));
        queue.advance(milliseconds(1));
    }
    EXPECT_LE(told().size(), 60U);
    monitor.record(SoundEvent::keyDown(2));
    program.child().takesMessages = false;
    queue.advance(milliseconds(17));
    program.child().takesMessages = true;
    queue.advance(milliseconds(17));
    EXPECT_THAT(told(), ElementsAre("keys 5")) << "what did not arrive is told again";

    monitor.record(SoundEvent::keyUp(0));
    monitor.record(SoundEvent::keyUp(2));
    queue.advance(seconds(10)); // by now it looks less often
    told();
    monitor.record(SoundEvent::keyDown(3));
    queue.advance(milliseconds(50));
    EXPECT_THAT(told(), ElementsAre("keys 8"));
    say(WatchKeys{false});
    queue.advance(milliseconds(50));
    EXPECT_TRUE(queue.empty());
    say(WatchKeys{true});
    finish({0, 9});
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("ended by signal 9")));
    monitor.record(SoundEvent::keyDown(0));
    EXPECT_EQ(monitor.snapshot().down, KeyBitmap{}) << "the program's end ends the watching";
    queue.advance(seconds(4));
    EXPECT_TRUE(queue.empty());
}

TEST_F(WindowsLauncherTest, ServesTheTrayOfItsOwnDisplayAlone) {
    launcher().setPanel({.isShown = false, .serveTray = false});
    EXPECT_THAT(program.children, IsEmpty());
    launcher().setPanel({.isShown = true, .serveTray = true});
    ASSERT_EQ(program.children.size(), 1U);
    EXPECT_THAT(told(), ElementsAre("panel shown tray", "count 0"));
    launcher().setPanel({.isShown = false, .serveTray = false});
    EXPECT_THAT(told(), ElementsAre("panel not shown"));
    launcher().setPanel({.isShown = true, .serveTray = true});

    launcher().showSettings({.display = second, .activationToken = "", .startupId = ""});
    finish({0, 0});
    ASSERT_EQ(program.children.size(), 2U);
    EXPECT_THAT(told(), ElementsAre("panel shown", "count 0", "settings"));
    say(WindowShown{WindowKind::settings});
    finish({0, 0}); // back to the tray
    ASSERT_EQ(program.children.size(), 3U);
    EXPECT_EQ(program.child().environment["DISPLAY"], ":1");
    EXPECT_THAT(told(), ElementsAre("panel shown tray", "count 0"));
    finish({0, 11});
    EXPECT_EQ(program.children.size(), 3U) << "one that fails is not started again and again";
    EXPECT_EQ(errors().size(), 1U);
}

TEST(AskerData, PassesTheDisplayAndTheLeaveOnAndNothingElse) {
    const Asker asker{.display = second, .activationToken = "go", .startupId = "id"};
    const Asker passed = askerOf(platformDataOf(asker));
    EXPECT_EQ(passed.display, second);
    EXPECT_EQ(passed.activationToken, "go");
    EXPECT_EQ(passed.startupId, "id");
    const Asker evil{.display = {{"DISPLAY", ":1"},
                                 {"LD_PRELOAD", "/tmp/x.so"},
                                 {"QT_PLUGIN_PATH", "/tmp"},
                                 {"XAUTHORITY", std::string(5000, 'x')},
                                 {"QT_SCALE_FACTOR", std::string("1\0002", 3)}},
                     .activationToken = std::string(2000, 'x'),
                     .startupId = ""};
    EXPECT_EQ(askerOf(platformDataOf(evil)).display, (Display{{"DISPLAY", ":1"}}));
    EXPECT_EQ(askerOf(platformDataOf(evil)).activationToken, "");
    EXPECT_TRUE(askerOf({{"com.orlen.keysong.display", "no map"}}).display.empty());
    EXPECT_TRUE(askerOf(platformDataOf(
                            {.display = {{"QT_SCALE_FACTOR", "2"}}, .activationToken = "", .startupId = ""}))
                    .display.empty());
}

} // namespace
} // namespace keysong::test
