#include "App/KeyMonitor.h"
#include "App/ModelFixture.h"
#include "Input/EventTap.h"
#include "Linux/System/MonotonicClock.h"
#include "fakes/GatedOutput.h"

namespace keysong::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using AppModelTest = ModelFixture;

TEST_F(AppModelTest, AFreshStartHasTheDefaultsAndStoresOnlyTheChosenSet) {
    model->bootstrap();
    settle();
    EXPECT_EQ(loadedSet(), "alpha");
    EXPECT_THAT(model->mutedApps(), ElementsAre("us.zoom.xos", "com.microsoft.teams2", "com.apple.FaceTime"));
    EXPECT_TRUE(model->hasAccess());
    EXPECT_EQ(windows.onboarding, 0);
    preferences->flush();
    EXPECT_EQ(domains.read(PreferenceMigration::currentDomain),
              nlohmann::json({{"migratedFrom", true}, {"setID", "alpha"}}));
}

TEST_F(AppModelTest, RestoresWhatIsStoredAndTakesWrongTypesForMissing) {
    preferences->setBool("enabled", false);
    preferences->setString("volume", "loud");
    preferences->setString("setID", "beta");
    preferences->setString("outputUID", "uid-b");
    preferences->setFloat("tone", -0.7F);
    preferences->setFloat("body", 0.25F);
    preferences->setBool("mouse", false);
    preferences->setBool("scroll", true);
    preferences->setBool("spatial", false);
    preferences->setBool("muteWhileRecording", true);
    preferences->setStringArray("mutedApps", {"a", "b", "a", "c", "b"});
    model->bootstrap();
    settle();
    EXPECT_FALSE(model->isEnabled());
    EXPECT_EQ(model->volume(), 0.6F);
    EXPECT_EQ(preferences->string("volume"), "loud") << "restoring writes nothing";
    EXPECT_THAT(model->mutedApps(), ElementsAre("a", "b", "c"));
    EXPECT_EQ(loadedSet(), "beta");
    const EngineState state = engine->snapshot();
    EXPECT_TRUE(state.muted);
    EXPECT_EQ(state.activeUid, "uid-b");
    EXPECT_EQ(state.tone, -0.7F);
    EXPECT_EQ(state.body, 0.25F);
    EXPECT_FALSE(state.mouseEnabled);
    EXPECT_TRUE(state.scrollEnabled);
    EXPECT_FALSE(state.spatial);
    EXPECT_EQ(state.volume, 0.6F);
}

TEST_F(AppModelTest, AnEmptyListOfMutedApplicationsStaysEmpty) {
    preferences->setStringArray("mutedApps", {});
    model->bootstrap();
    EXPECT_THAT(model->mutedApps(), ElementsAre());
}

TEST_F(AppModelTest, ObserversHearOfRealChangesAloneAfterTheValueIsStored) {
    model->bootstrap();
    settle();
    std::vector<float> seen;
    QObject::connect(model.get(), &AppState::volumeChanged, [&] { seen.push_back(model->volume()); });
    model->setVolume(0.3F);
    model->setVolume(0.3F);
    EXPECT_THAT(seen, ElementsAre(0.3F));
    model->setTone(0);
    EXPECT_FALSE(preferences->contains("tone")) << "an equal value is not written";
    model->setEnabled(true);
    EXPECT_TRUE(preferences->contains("enabled")) << "this one is written every time";
}

TEST_F(AppModelTest, ASwitchOffMutesWhateverSleeps) {
    preferences->setStringArray("mutedApps", {"call"});
    frontmost.activate("call");
    model->bootstrap();
    const auto muted = [&] { return engine->snapshot().muted; };
    EXPECT_TRUE(model->isSleeping());
    EXPECT_TRUE(muted());
    model->toggleEnabled();
    frontmost.activate("editor");
    EXPECT_FALSE(model->isSleeping());
    EXPECT_TRUE(muted());
    model->toggleEnabled();
    EXPECT_FALSE(muted());
    // Adding the application in front silences at once; removing it wakes.
    model->addMutedApp("editor");
    EXPECT_TRUE(muted());
    model->addMutedApp("editor");
    model->addMutedApp("");
    EXPECT_THAT(model->mutedApps(), ElementsAre("call", "editor"));
    model->removeMutedApp("editor");
    EXPECT_FALSE(muted());
    EXPECT_EQ(preferences->stringArray("mutedApps"), std::vector<std::string>{"call"});
}

TEST_F(AppModelTest, ACaptureTakesThePlaceAndIsOneMoreReasonToSleepWhereTheUserWishes) {
    preferences->setStringArray("mutedApps", {"call"});
    model->bootstrap();
    EXPECT_FALSE(engine->snapshot().placeless);
    captures.use(true);
    EXPECT_TRUE(engine->snapshot().placeless);
    EXPECT_FALSE(model->isSleeping());
    model->setMuteWhileRecording(true);
    EXPECT_TRUE(model->isSleeping());
    frontmost.activate("call");
    captures.use(false);
    EXPECT_FALSE(engine->snapshot().placeless);
    EXPECT_TRUE(model->isSleeping()) << "the call is still in front";
    frontmost.activate("editor");
    EXPECT_FALSE(engine->snapshot().muted);
    captures.use(true);
    frontmost.activate(std::nullopt);
    EXPECT_TRUE(engine->snapshot().muted);
    model->setMuteWhileRecording(false);
    EXPECT_FALSE(engine->snapshot().muted);
}

TEST_F(AppModelTest, TheSetChosenLastIsPlayedAndStaysWhenAnUnknownOneIsChosen) {
    model->bootstrap();
    settle();
    model->setSelectedSetId("beta");
    model->setSelectedSetId("gamma");
    settle();
    EXPECT_EQ(loadedSet(), "gamma");
    model->setSelectedSetId("missing");
    settle();
    EXPECT_EQ(loadedSet(), "gamma") << "an unknown set leaves what plays";
}

TEST_F(AppModelTest, AnUnpluggedChoiceIsClearedAndNotTakenUpAgain) {
    model->bootstrap();
    settle();
    model->setOutputDeviceUid("uid-b");
    settle();
    EXPECT_EQ(model->playingOn(), "uid-b");
    const auto unplugged = output.unplug(2);
    settleDevices(milliseconds(1900));
    EXPECT_EQ(model->playingOn(), "uid-a");
    EXPECT_EQ(model->outputDeviceUid(), "uid-b") << "it may come back";
    EXPECT_TRUE(isChoiceGivenUp());
    EXPECT_FALSE(preferences->contains("outputUID"));
    EXPECT_EQ(model->outputDevices().size(), 1U);
    output.plug(*unplugged);
    settleDevices(milliseconds(300));
    EXPECT_EQ(model->playingOn(), "uid-a");
    // A choice that cannot be had is cleared as well.
    model->setOutputDeviceUid("gone");
    settle();
    EXPECT_TRUE(isChoiceGivenUp());
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre("output device unavailable, using the system default: "
                            "output device gone is not attached"));
}

// A server that is restarted, or starts after the program, finds its devices one by one.
TEST_F(AppModelTest, AChoiceStandsWhileTheSoundSystemIsNotWhole) {
    const auto late = *output.devices().unplug(2);
    output.devices().setWhole(false);
    preferences->setString("outputUID", "uid-b");
    model->bootstrap();
    settleDevices(seconds(60));
    EXPECT_EQ(model->playingOn(), "uid-a");
    EXPECT_EQ(model->outputDeviceUid(), "uid-b") << "a stand-in knows nothing of it";
    output.devices().setWhole(true);
    output.plug({7, "uid-d", "Speakers D"});
    settleDevices(milliseconds(1900));
    output.plug({8, "uid-e", "Speakers E"});
    settleDevices(milliseconds(1900));
    EXPECT_EQ(model->outputDeviceUid(), "uid-b") << "devices still come";
    output.plug(late);
    settleDevices(seconds(10));
    EXPECT_EQ(model->outputDeviceUid(), "uid-b");
    EXPECT_EQ(model->playingOn(), "uid-b");
    EXPECT_EQ(preferences->string("outputUID"), "uid-b");
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre("output device unavailable, using the system default: "
                            "output device uid-b is not attached"));
}

TEST_F(AppModelTest, ALateRefusalDoesNotClearANewerChoice) {
    model->bootstrap();
    settle();
    model->setOutputDeviceUid("gone");
    control->advance({}); // the refusal is on its way
    model->setOutputDeviceUid("uid-b");
    settle();
    EXPECT_EQ(model->outputDeviceUid(), "uid-b");
    EXPECT_EQ(model->playingOn(), "uid-b");
    static_cast<void>(LogCapture::shared().takeErrors());
}

/// A model whose sound server stops answering when the gate is closed. The engine has its own thread.
class StoppedServerTest : public ModelFixture {
  public:
    StoppedServerTest() {
        model.reset();
        engine = std::make_unique<SoundEngine>(gated, machineClock, threads, RandomSource(1));
        usedDevices = &gated.devices();
        makeModel();
    }
    ~StoppedServerTest() override {
        gate.open();
        model.reset();
        engine.reset();
    }

    MonotonicClock machineClock;
    Gate gate;
    GatedOutput gated{output, gate};
};

TEST_F(StoppedServerTest, NothingOnTheMainThreadWaitsForIt) {
    gate.close();
    model->bootstrap();
    EXPECT_TRUE(eventually([this] { return gate.isBlocking(); }));
    model->setOutputDeviceUid("uid-b");
    model->setOutputDeviceUid(std::nullopt);
    model->setOutputDeviceUid("uid-b");
    model->setVolume(0.25F);
    model->setTone(-1);
    EXPECT_EQ(model->playingOn(), std::nullopt);
    EXPECT_TRUE(model->outputDevices().empty());
    output.reportChange();
    output.devices().plug({3, "uid-c", "Speakers C"});
    mainQueue.advance(seconds(2));
    EXPECT_FALSE(gate.wasForced()) << "the main thread waited until the gate gave in";

    gate.open();
    EXPECT_TRUE(eventually([this] {
        mainQueue.advance({});
        return model->playingOn() == "uid-b" && model->outputDevices().size() == 3;
    }));
    EXPECT_EQ(engine->volume(), 0.25F);
    // Once more, with a server that stops while everything plays.
    gate.close();
    model->setOutputDeviceUid("uid-a");
    EXPECT_TRUE(eventually([this] { return gate.isBlocking(); }));
    EXPECT_EQ(model->playingOn(), "uid-b");
    output.devices().unplug(3);
    mainQueue.advance(seconds(2));
    EXPECT_FALSE(gate.wasForced());
}

TEST_F(AppModelTest, OnlyTheLastPreviewIsPlayed) {
    model->bootstrap();
    settle();
    // Nobody renders: every hit stays in flight.
    const auto played = [&] { return engine->snapshot().set->inFlight.load(); };
    model->previewSet("beta");
    model->previewSet("gamma");
    mainQueue.advance(milliseconds(1900));
    EXPECT_EQ(played(), 0U) << "played before its set was loaded";
    settle();
    mainQueue.advance(milliseconds(20));
    EXPECT_EQ(loadedSet(), "gamma");
    EXPECT_EQ(played(), 1U);
    mainQueue.advance(milliseconds(45));
    EXPECT_EQ(played(), 2U) << "the key comes up again";
    model->previewSet("gamma");
    mainQueue.advance(seconds(1));
    EXPECT_EQ(played(), 2U + 10U) << "five keys, and the first preview is over";
    EXPECT_EQ(model->keysPressed(), 0);
}

TEST_F(AppModelTest, ALoginItemThatRefusesEndsWithWhatIs) {
    loginItem.refuses = true;
    model->bootstrap();
    std::vector<bool> seen;
    QObject::connect(model.get(), &AppState::launchAtLoginChanged,
                     [&] { seen.push_back(model->launchAtLogin()); });
    model->setLaunchAtLogin(true);
    EXPECT_THAT(seen, ElementsAre(true, false));
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre("launch at login on failed: no room"));
    loginItem.state = LoginItem::Status::enabled;
    makeModel();
    model->bootstrap();
    ASSERT_TRUE(model->launchAtLogin());
    loginItem.calls = 0;
    model->setLaunchAtLogin(false);
    EXPECT_TRUE(model->launchAtLogin());
    EXPECT_LE(loginItem.calls, 2) << "a refusal must not be tried for ever";
    static_cast<void>(LogCapture::shared().takeErrors());
    // Outside the applications' folders the service is not believed.
    loginItem.installed = false;
    makeModel();
    model->bootstrap();
    EXPECT_FALSE(model->launchAtLogin());
}

TEST_F(AppModelTest, TrustThatComesLaterStartsTheTapWithinASecond) {
    input.trusted = false;
    model->bootstrap();
    EXPECT_FALSE(model->hasAccess());
    EXPECT_EQ(windows.onboarding, 1);
    mainQueue.advance(seconds(3));
    EXPECT_EQ(input.tapsCreated, 0);
    input.trusted = true;
    mainQueue.advance(seconds(1));
    EXPECT_TRUE(model->hasAccess());
    EXPECT_EQ(input.tapsCreated, 1);
    input.trusted = false; // asked no more
    mainQueue.advance(seconds(3));
    EXPECT_TRUE(model->hasAccess());
}

TEST_F(AppModelTest, AccessThatIsTakenBackIsToldAndComesAgainWithoutAnotherTap) {
    model->bootstrap();
    input.revoked = true;
    mainQueue.advance(seconds(1));
    EXPECT_FALSE(model->hasAccess());
    EXPECT_EQ(windows.onboarding, 0) << "it was the user who took it";
    input.revoked = false;
    mainQueue.advance(seconds(1));
    EXPECT_TRUE(model->hasAccess());
    EXPECT_EQ(input.tapsCreated, 1);
}

TEST_F(AppModelTest, ATapThatDoesNotStartIsTriedAgain) {
    input.refusesTap = true;
    model->bootstrap();
    EXPECT_FALSE(model->hasAccess());
    mainQueue.advance(seconds(1));
    EXPECT_EQ(windows.onboarding, 1);
    input.refusesTap = false;
    mainQueue.advance(seconds(1));
    EXPECT_TRUE(model->hasAccess());
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre("event tap did not start: createFailed",
                                                               "event tap did not start: createFailed"));
}

TEST_F(AppModelTest, KeyPressesAreCountedShownAndStored) {
    preferences->setInteger("keysPressed", 41);
    model->bootstrap();
    EXPECT_EQ(model->keysPressed(), 41);
    RawEvent press;
    press.type = RawEventType::keyDown;
    KeyMonitor::shared().setWatching(true);
    input.deliver(press);
    EXPECT_EQ(KeyMonitor::shared().snapshot().down[0], 1U);
    RawEvent release = press;
    release.type = RawEventType::keyUp;
    input.deliver(release);
    KeyMonitor::shared().setWatching(false);
    EXPECT_EQ(rawEvents, 2);
    std::int64_t live = 0;
    QObject::connect(model.get(), &AppModel::keysCounted, [&](std::int64_t total) { live = total; });
    mainQueue.advance(seconds(1));
    EXPECT_EQ(live, 42);
    EXPECT_EQ(model->keysPressed(), 41);
    EXPECT_EQ(preferences->integer("keysPressed"), 41);
    mainQueue.advance(seconds(9));
    EXPECT_EQ(model->keysPressed(), 42);
    EXPECT_EQ(preferences->integer("keysPressed"), 42);
    input.deliver(press);
    model->prepareToTerminate();
    const auto stored = [this] { return domains.read(PreferenceMigration::currentDomain)["keysPressed"]; };
    EXPECT_EQ(stored(), 43) << "the end loses nothing";
    mainQueue.advance(seconds(5));
    model->resetStats();
    EXPECT_EQ(model->keysPressed(), 0);
    EXPECT_EQ(live, 0);
    EXPECT_EQ(stored(), 0) << "a reset is on the disk at once";
    input.deliver(press);
    mainQueue.advance(seconds(9));
    EXPECT_EQ(live, 1);
    EXPECT_EQ(model->keysPressed(), 0) << "a reset does not show the keys after it sooner";
    mainQueue.advance(seconds(1));
    EXPECT_EQ(model->keysPressed(), 1);
}

TEST_F(AppModelTest, TheHotkeysToggleAndOpenTheSettings) {
    model->bootstrap();
    hotkeys.press(1);
    EXPECT_FALSE(model->isEnabled());
    hotkeys.press(2);
    EXPECT_EQ(windows.settings, 1);
    model.reset();
    EXPECT_EQ(hotkeys.press(1), noErr) << "a press under way meets no model";
}

TEST_F(AppModelTest, AnEngineThatDoesNotStartLeavesTheRestAtWork) {
    output.failures.starts = {"no server", "no server", "no server", "no server"};
    model->bootstrap();
    settle();
    EXPECT_EQ(loadedSet(), "alpha");
    EXPECT_TRUE(model->hasAccess());
    const auto errors = LogCapture::shared().takeErrors();
    EXPECT_THAT(errors, testing::Contains("audio engine did not start: no server"));
    output.reportChange();
    control->advance(milliseconds(300));
    EXPECT_TRUE(engine->snapshot().running) << "the next change of the system brings the sound";
}

} // namespace
} // namespace keysong::test
