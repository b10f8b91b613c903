#include "Audio/OutputDevices.h"
#include "support/EngineFixture.h"

namespace keysong::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

class EngineDevicesTest : public EngineFixture {
  public:
    EngineDevicesTest() {
        engine->setTone(-0.7F);
        engine->start();
        output.operations.clear();
    }

    /// The text of the error with which a switch to `uid` fails; empty when it succeeds.
    std::string switchTo(const std::optional<std::string>& uid, bool rebuild = false) {
        try {
            engine->setOutputDevice(uid, rebuild);
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

const char* const toneDropped = "engine did not start with the tone EQ in the graph, dropping it";

struct SwitchRow {
    const char* name;
    void (*arrange)(EngineDevicesTest&);
    std::optional<std::string> uid;
    bool rebuild;
    std::string error;
    std::vector<std::string> operations;
    bool running;
    std::optional<std::string> selected;
    std::optional<std::string> active;
    bool toneConnected;
    std::vector<std::string> logged;
};

TEST(EngineDevices, SwitchTable) {
    const std::vector<std::string> moved = {"stop", "device 2", "start"};
    const SwitchRow rows[] = {
        {"an unknown device changes nothing",
         [](EngineDevicesTest&) {},
         "gone",
         false,
         "output device gone is not attached",
         {},
         true,
         std::nullopt,
         "uid-a",
         true,
         {}},
        {"without a default there is nothing to follow",
         [](EngineDevicesTest& test) { test.output.devices().setDefault(0); },
         std::nullopt,
         false,
         "no audio output device is available",
         {},
         true,
         std::nullopt,
         "uid-a",
         true,
         {}},
        {"the device in use is not restarted",
         [](EngineDevicesTest&) {},
         "uid-a",
         false,
         "",
         {},
         true,
         "uid-a",
         "uid-a",
         true,
         {}},
        {"a rebuild restarts it",
         [](EngineDevicesTest&) {},
         "uid-a",
         true,
         "",
         {"stop", "device 1", "start"},
         true,
         "uid-a",
         "uid-a",
         true,
         {}},
        {"a dead output is restarted",
         [](EngineDevicesTest& test) { test.output.die(); },
         "uid-a",
         false,
         "",
         {"device 1", "start"},
         true,
         "uid-a",
         "uid-a",
         true,
         {}},
        {"another device",
         [](EngineDevicesTest&) {},
         "uid-b",
         false,
         "",
         moved,
         true,
         "uid-b",
         "uid-b",
         true,
         {}},
        {"a refused device leaves the output where it was",
         [](EngineDevicesTest& test) { test.output.failures.device = -7; },
         "uid-b",
         false,
         "could not switch output device (OSStatus -7)",
         moved,
         true,
         "uid-b",
         "uid-a",
         true,
         {}},
        {"a refused device and no way back",
         [](EngineDevicesTest& test) {
             test.output.failures.device = -7;
             test.output.failures.starts = {"E1"};
         },
         "uid-b",
         false,
         "could not switch output device (OSStatus -7)",
         moved,
         false,
         "uid-b",
         "uid-a",
         true,
         {}},
        {"the tone stage is dropped when the output does not start",
         [](EngineDevicesTest& test) { test.output.failures.starts = {"E1"}; },
         "uid-b",
         false,
         "",
         {"stop", "device 2", "start", "start"},
         true,
         "uid-b",
         "uid-b",
         false,
         {toneDropped}},
        {"the third attempt runs, and the first failure is reported",
         [](EngineDevicesTest& test) {
             test.output.failures.starts = {"E1", "E2"};
         },
         "uid-b",
         false,
         "E1",
         {"stop", "device 2", "start", "start", "start"},
         true,
         "uid-b",
         "uid-a",
         true,
         {toneDropped}},
        {"no attempt runs",
         [](EngineDevicesTest& test) {
             test.output.failures.starts = {"E1", "E2", "E3"};
         },
         "uid-b",
         false,
         "E1",
         {"stop", "device 2", "start", "start", "start"},
         false,
         "uid-b",
         "uid-a",
         true,
         {toneDropped}},
    };
    for (const SwitchRow& row : rows) {
        SCOPED_TRACE(row.name);
        class Case : public EngineDevicesTest {
            void TestBody() override {}
        } test;
        row.arrange(test);
        EXPECT_EQ(test.switchTo(row.uid, row.rebuild), row.error);
        EXPECT_EQ(test.output.operations, row.operations);
        const EngineState state = test.engine->snapshot();
        EXPECT_EQ(state.running, row.running);
        EXPECT_EQ(state.selectedUid, row.selected);
        EXPECT_EQ(state.activeUid, row.active);
        EXPECT_EQ(SoundEngineTestPeer::mixer(*test.engine).toneConnected(), row.toneConnected);
        EXPECT_EQ(LogCapture::shared().takeErrors(), row.logged);
        test.expectToneKept();
    }
}

TEST_F(EngineDevicesTest, TheNextSwitchPutsTheToneStageBack) {
    output.failures.starts = {"E1"};
    switchTo("uid-b");
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(toneDropped));
    EXPECT_EQ(switchTo("uid-a"), "");
    EXPECT_TRUE(SoundEngineTestPeer::mixer(*engine).toneConnected());
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
    queue->advance(milliseconds(1000));
    EXPECT_EQ(output.operations.size(), 2U);
}

TEST_F(EngineDevicesTest, RecoveryLeavesAnOutputThatIsWhereItShouldBe) {
    engine->recover();
    queue->advance(milliseconds(300));
    EXPECT_THAT(output.operations, ElementsAre());
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
    output.devices().setDefault(std::nullopt);
    engine->recover();
    queue->advance(milliseconds(300));
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre("configuration change: no output device available"));
    output.devices().setDefault(2);
    output.failures.device = 4;
    engine->recover();
    queue->advance(milliseconds(300));
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre("recover failed: could not switch output device (OSStatus 4)"));
}

} // namespace
} // namespace keysong::test
