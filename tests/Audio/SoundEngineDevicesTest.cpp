#include "Audio/OutputDevices.h"
#include "support/EngineFixture.h"

namespace keysong::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::ElementsAreArray;

class EngineDevicesTest : public EngineFixture {
  public:
    EngineDevicesTest() {
        engine->setTone(-0.7F);
        engine->start();
        output.operations.clear();
    }

    /// The text of the error with which a switch to `uid` fails; empty when it succeeds.
    std::string switchTo(const std::optional<std::string>& uid) {
        try {
            engine->setOutputDevice(uid, false);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }

    void expectToneKept() {
        EXPECT_NEAR(engine->shelfGainsForTest().low, 4.2F, 0.01F);
        EXPECT_FALSE(engine->shelfGainsForTest().bypassed);
    }
};

TEST_F(EngineDevicesTest, AnOutputThatDoesNotStartIsTriedAgainAndAgain) {
    output.die();
    output.failures.starts = {"busy", "busy", "busy", "busy", "busy", "busy", "busy", "busy"};
    std::vector<std::string> reports;
    const OutputReport report = [&](const auto& failure) { reports.push_back(failure.value_or("")); };
    engine->requestStart(report);
    queue->advance({});
    EXPECT_THAT(reports, ElementsAre("busy"));
    // Each attempt is made with the tone stage, without it, and once more.
    for (const auto wait : {milliseconds(250), milliseconds(500), milliseconds(1000)}) {
        const std::size_t before = output.operations.size();
        queue->advance(wait - milliseconds(1));
        EXPECT_EQ(output.operations.size(), before);
        EXPECT_FALSE(engine->isPlaying());
        queue->advance(milliseconds(1));
        EXPECT_GT(output.operations.size(), before);
    }
    EXPECT_TRUE(engine->isPlaying());
    EXPECT_EQ(engine->activeOutputDeviceUid(), "uid-a");
    queue->advance(std::chrono::seconds(60));
    EXPECT_TRUE(queue->empty()) << "no more attempts";
    static_cast<void>(LogCapture::shared().takeErrors());
}

// Whoever moves the sound with the system's mixer finds it there after every change of the system, until the
// user chooses anew.
TEST_F(EngineDevicesTest, WhatTheUserMovedStaysThere) {
    output.movedBySystem = true;
    const OutputReport ignore = [](const auto&) {};
    for (const auto& choice : {std::optional<std::string>(), std::optional<std::string>("uid-a")}) {
        engine->requestOutputDevice(choice, ignore);
        queue->advance({});
        output.operations.clear();
        output.moveTo(2);
        queue->advance(milliseconds(300));
        output.plug({3, "uid-c", "Speakers C"});
        output.reportChange();
        queue->advance(milliseconds(300));
        EXPECT_THAT(output.operations, ElementsAre());
        EXPECT_EQ(engine->activeOutputDeviceUid(), "uid-b") << "it is known where the sound is";
        engine->requestOutputDevice(choice, ignore);
        queue->advance({});
        EXPECT_THAT(output.operations, ElementsAre("stop", choice ? "device 1" : "device 0", "start"));
        output.unplug(3);
        queue->advance(milliseconds(300));
    }
}

const char* const toneDropped = "engine did not start with the tone EQ in the graph, dropping it";

/// A switch to a device, which the rows describe by how it differs from one that changes nothing.
struct SwitchRow {
    const char* name = nullptr;
    void (*arrange)(EngineDevicesTest&) = [](EngineDevicesTest&) {};
    std::int32_t refusal = 0;
    std::vector<std::optional<std::string>> failedStarts = {};
    std::optional<std::string> uid = std::nullopt;
    std::string error = {};
    std::vector<std::string> operations = {};
    bool running = true;
    std::optional<std::string> selected = uid;
    std::string active = "uid-a";
    bool toneConnected = true;
    bool toneDropped = false;
};

TEST(EngineDevices, SwitchTable) {
    const std::vector<std::string> moved = {"stop", "device 2", "start"};
    const std::vector<std::string> triedTwice = {"stop", "device 2", "start", "start"};
    const std::vector<std::string> triedThrice = {"stop", "device 2", "start", "start", "start"};
    const std::string refused = "could not switch output device (OSStatus -7)";
    const SwitchRow rows[] = {
        {.name = "an unknown device changes nothing",
         .uid = "gone",
         .error = "output device gone is not attached",
         .selected = std::nullopt},
        {.name = "the device in use is kept, without a restart", .uid = "uid-a", .operations = {"device 1"}},
        {.name = "a dead output is restarted",
         .arrange = [](EngineDevicesTest& test) { test.output.die(); },
         .uid = "uid-a",
         .operations = {"device 1", "start"}},
        {.name = "another device", .uid = "uid-b", .operations = moved, .active = "uid-b"},
        {.name = "a refused device leaves the output where it was",
         .refusal = -7,
         .uid = "uid-b",
         .error = refused,
         .operations = moved},
        {.name = "a refused device and no way back",
         .refusal = -7,
         .failedStarts = {"E1"},
         .uid = "uid-b",
         .error = refused,
         .operations = moved,
         .running = false},
        {.name = "the tone stage is dropped when the output does not start",
         .failedStarts = {"E1"},
         .uid = "uid-b",
         .operations = triedTwice,
         .active = "uid-b",
         .toneConnected = false,
         .toneDropped = true},
        {.name = "the third attempt runs, and the first failure is reported",
         .failedStarts = {"E1", "E2"},
         .uid = "uid-b",
         .error = "E1",
         .operations = triedThrice,
         .toneDropped = true},
        {.name = "no attempt runs",
         .failedStarts = {"E1", "E2", "E3"},
         .uid = "uid-b",
         .error = "E1",
         .operations = triedThrice,
         .running = false,
         .toneDropped = true},
    };
    for (const SwitchRow& row : rows) {
        SCOPED_TRACE(row.name);
        class Case : public EngineDevicesTest {
            void TestBody() override {}
        } test;
        row.arrange(test);
        test.output.failures.device = row.refusal;
        test.output.failures.starts = {row.failedStarts.begin(), row.failedStarts.end()};
        EXPECT_EQ(test.switchTo(row.uid), row.error);
        EXPECT_EQ(test.output.operations, row.operations);
        const EngineState state = test.engine->snapshot();
        EXPECT_EQ(state.running, row.running);
        EXPECT_EQ(state.selectedUid, row.selected);
        EXPECT_EQ(state.activeUid, row.active);
        EXPECT_EQ(SoundEngineTestPeer::mixer(*test.engine).toneConnected(), row.toneConnected);
        EXPECT_THAT(LogCapture::shared().takeErrors(),
                    ElementsAreArray(&toneDropped, row.toneDropped ? 1 : 0));
        test.expectToneKept();
    }
}

TEST_F(EngineDevicesTest, OfSeveralRequestsTheNewestIsCarriedOutAndReported) {
    std::vector<std::string> reports;
    const auto report = [&](const std::string& name) {
        return [&reports, name](const auto& failure) { reports.push_back(name + failure.value_or("")); };
    };
    engine->requestOutputDevice("uid-b", report("first"));
    engine->requestOutputDevice("gone", report("second"));
    engine->requestOutputDevice("uid-b", report("third"));
    EXPECT_THAT(output.operations, ElementsAre()) << "done on the caller's thread";
    queue->advance({});
    EXPECT_THAT(reports, ElementsAre("third"));
    EXPECT_THAT(output.operations, ElementsAre("stop", "device 2", "start"));
    engine->requestOutputDevice("gone", report(""));
    queue->advance({});
    EXPECT_EQ(reports.back(), "output device gone is not attached");
    output.die();
    output.failures.starts = {"E1"};
    engine->requestStart(report("start "));
    queue->advance({});
    EXPECT_EQ(reports.back(), "start E1");
}

TEST_F(EngineDevicesTest, TheNextSwitchPutsTheToneStageBack) {
    output.failures.starts = {"E1"};
    switchTo("uid-b");
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(toneDropped));
    EXPECT_EQ(switchTo("uid-a"), "");
    EXPECT_TRUE(SoundEngineTestPeer::mixer(*engine).toneConnected());
}

TEST_F(EngineDevicesTest, ASwitchCutsOffWhatSoundsAndPlaysAsTheNewDeviceNeedsIt) {
    engine->load(makeSet("one", "\"pitchVariation\":0,", 4800));
    engine->play(SoundEvent::keyDown(0));
    render(3);
    ASSERT_TRUE(isAudible());
    output.deviceRate = 96000;
    EXPECT_EQ(switchTo("uid-b"), "");
    EXPECT_EQ(output.asked, SoundEngine::requestedBufferFrames);
    render(3);
    EXPECT_FALSE(isAudible()) << "a rest of the sound from the old device";
    engine->play(SoundEvent::keyDown(0));
    int periods = 0;
    for (int i = 0; i < 150; ++i) {
        render(1);
        periods += isAudible() ? 1 : 0;
    }
    // The tone stage rings on for a moment.
    EXPECT_NEAR(periods, 2 * 4800 / 128, 6) << "at another pitch";
}

TEST_F(EngineDevicesTest, ASwitchWaitsForAHitThatIsBeingScheduled) {
    SoundEngineTestPeer::addScheduling(*engine, 1);
    int sleeps = 0;
    onSleep = [&] {
        EXPECT_FALSE(engine->snapshot().running);
        EXPECT_TRUE(output.isRunning()) << "stopped under a hit";
        if (++sleeps == 3) {
            SoundEngineTestPeer::addScheduling(*engine, -1);
        }
    };
    EXPECT_EQ(switchTo("uid-b"), "");
    EXPECT_EQ(sleeps, 3);
}

TEST_F(EngineDevicesTest, AStuckHitHoldsASwitchUpForTwentyMilliseconds) {
    SoundEngineTestPeer::addScheduling(*engine, 1);
    const auto before = clock.now();
    EXPECT_EQ(switchTo("uid-b"), "");
    EXPECT_EQ(clock.now() - before, std::chrono::microseconds(20'050));
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre("a hit was still scheduling after 20 ms, switching the device anyway"));
}

TEST_F(EngineDevicesTest, ABurstOfChangesRecoversOnceAfterTheLast) {
    output.die();
    output.reportChange();
    queue->advance(milliseconds(200));
    output.reportChange();
    queue->advance(milliseconds(200));
    engine->recover();
    queue->advance(milliseconds(299));
    EXPECT_THAT(output.operations, ElementsAre());
    queue->advance(milliseconds(1));
    EXPECT_THAT(output.operations, ElementsAre("device 1", "start"));
    engine->recover();
    queue->advance(milliseconds(1000));
    EXPECT_EQ(output.operations.size(), 2U) << "it is where it should be";
}

TEST_F(EngineDevicesTest, AnUnpluggedDeviceIsLeftAndReturnedTo) {
    switchTo("uid-b");
    const auto unplugged = output.unplug(2);
    ASSERT_TRUE(unplugged);
    queue->advance(milliseconds(300));
    EXPECT_EQ(engine->snapshot().activeUid, "uid-a");
    EXPECT_EQ(engine->snapshot().selectedUid, "uid-b");
    EXPECT_EQ(notices("selected output device is gone, falling back to the system default").size(), 1U);
    output.plug(*unplugged);
    queue->advance(milliseconds(300));
    EXPECT_EQ(engine->snapshot().activeUid, "uid-b");
    expectToneKept();
}

TEST_F(EngineDevicesTest, AFailedRecoveryIsLogged) {
    output.devices().setDefault(2);
    output.failures.device = 4;
    engine->recover();
    queue->advance(milliseconds(300));
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre("recover failed: could not switch output device (OSStatus 4)"));
}

} // namespace
} // namespace keysong::test
