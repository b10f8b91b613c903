#include "Audio/FallbackOutput.h"
#include "Shared/SerialQueue.h"
#include "fakes/ManualQueue.h"
#include "support/PipeWireFixture.h"
#include "support/SwitchStorm.h"

#include <algorithm>
#include <cstdlib>
#include <thread>

#include "Linux/Sound/AudioOutputFactories.h"
#include "Linux/Sound/PipeWireMicrophone.h"
#include "Virtual/VirtualOutput.h"

namespace keysong::test {
namespace {

using std::chrono::milliseconds;

class PipeWireRecoveryTest : public PipeWireFixture {
  protected:
    /// What the program chooses from.
    std::vector<NamedOutput> allOutputs() {
        std::vector<NamedOutput> all = audioOutputFactories(threads, clock);
        all.push_back({"virtual", [this] { return std::make_unique<VirtualOutput>(threads, clock); }});
        return all;
    }
};

std::size_t starts() {
    const auto lines = LogCapture::shared().lines(LogLevel::notice);
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [](const auto& line) { return line.starts_with("engine started"); }));
}

/// How often the costly tests go round: a few times, unless KEYSONG_TEST_ROUNDS says more.
int rounds() {
    const char* text = std::getenv("KEYSONG_TEST_ROUNDS");
    return text != nullptr ? std::atoi(text) : 3;
}

TEST_F(PipeWireRecoveryTest, TheSoundIsOnTheRightSinkThroughUnplugReturnAndChangeOfDefault) {
    PipeWireOutput output;
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.load(clickSet());
    engine.setTone(-0.7F);
    engine.start();
    const auto settlesOn = [&](const char* uid) {
        return eventually([&] { return engine.snapshot().activeUid == uid && output.isRunning(); });
    };
    ASSERT_TRUE(PrivatePipeWire::plug("test.sink.usb"));
    ASSERT_TRUE(eventually([&] {
        try {
            engine.setOutputDevice("test.sink.usb", false);
            return true;
        } catch (const SoundEngineError&) { // not listed yet
            return false;
        }
    }));
    EXPECT_EQ(heardOn("test.sink.usb", engine), 3);

    ASSERT_TRUE(PrivatePipeWire::unplug("test.sink.usb"));
    EXPECT_TRUE(settlesOn("test.sink.a"));
    EXPECT_EQ(engine.snapshot().selectedUid, "test.sink.usb");
    EXPECT_EQ(heardOn("test.sink.a", engine), 3);
    ASSERT_TRUE(PrivatePipeWire::plug("test.sink.usb"));
    EXPECT_TRUE(settlesOn("test.sink.usb"));
    EXPECT_EQ(heardOn("test.sink.usb", engine), 3);
    EXPECT_NEAR(engine.shelfGainsForTest().low, 4.2F, 0.01F);

    engine.setOutputDevice(std::nullopt, false);
    EXPECT_TRUE(settlesOn("test.sink.a"));
    const std::size_t before = starts();
    for (const char* sink : {"test.sink.b", "test.sink.a", "test.sink.b", "test.sink.a", "test.sink.b"}) {
        ASSERT_TRUE(PrivatePipeWire::setDefault(sink));
        std::this_thread::sleep_for(milliseconds(100));
    }
    EXPECT_TRUE(settlesOn("test.sink.b"));
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_EQ(starts(), before + 1) << "one restart for the whole burst";
    EXPECT_EQ(heardOn("test.sink.b", engine), 3);
}

TEST_F(PipeWireRecoveryTest, AServerKilledAgainAndAgainIsFoundAgain) {
    PipeWireOutput output;
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.load(clickSet());
    engine.setTone(-0.7F);
    engine.start();
    engine.setOutputDevice("test.sink.b", false);
    for (int i = 0; i < rounds(); ++i) {
        server.kill();
        ASSERT_TRUE(eventually([&] { return !output.isRunning(); }));
        engine.play(SoundEvent::keyDown(0)); // harmless
        ASSERT_TRUE(server.start());
        ASSERT_TRUE(eventually([&] { return output.isRunning() && engine.snapshot().running; }));
        ASSERT_EQ(engine.snapshot().activeUid, "test.sink.b");
        ASSERT_EQ(heardOn("test.sink.b", engine), 3);
        ASSERT_NEAR(engine.shelfGainsForTest().low, 4.2F, 0.01F);
        static_cast<void>(LogCapture::shared().takeErrors()); // what the recoveries met on the way
    }
}

TEST_F(PipeWireRecoveryTest, AServerThatComesLateIsMovedUpTo) {
    server.kill();
    FallbackOutput output(
        FallbackOutput::chosen(allOutputs(), ""),
        std::make_unique<SerialQueue>(threads, ThreadAttributes{"com.orlen.keysong.output", "output"}));
    EXPECT_STREQ(output.backendName(), "virtual");
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.load(clickSet());
    engine.start();
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(eventually([&] { return engine.snapshot().activeUid == "test.sink.a"; }));
    EXPECT_STREQ(output.backendName(), "pipewire");
    EXPECT_EQ(heardOn("test.sink.a", engine), 3);
    static_cast<void>(LogCapture::shared().takeErrors());
}

TEST_F(PipeWireRecoveryTest, TheEnvironmentForcesAnOutput) {
    const auto chosen = [&](const std::string& wish) {
        std::string names;
        for (const auto& make : FallbackOutput::chosen(allOutputs(), wish)) {
            names += std::string(names.empty() ? "" : " ") + make()->backendName();
        }
        return names;
    };
    EXPECT_EQ(chosen(""), "pipewire alsa virtual");
    EXPECT_EQ(chosen("alsa"), "alsa");
    EXPECT_EQ(chosen("virtual"), "virtual");
    EXPECT_EQ(chosen("pipewire"), "pipewire");
    EXPECT_EQ(chosen("speaker"), "pipewire alsa virtual");
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U);
}

TEST_F(PipeWireRecoveryTest, ARebuildLeavesNothingBehind) {
    const auto resources = [] {
        const auto count = [](const char* place) {
            return std::distance(std::filesystem::directory_iterator(place), {});
        };
        return std::pair(count("/proc/self/fd"), count("/proc/self/task"));
    };
    PipeWireOutput output;
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.load(clickSet());
    engine.start();
    engine.setOutputDevice(std::nullopt, true);
    const auto before = resources();
    for (int i = 0; i < 8; ++i) {
        engine.setOutputDevice(std::nullopt, true);
        EXPECT_EQ(resources(), before) << "descriptors, threads";
    }
}

TEST_F(PipeWireRecoveryTest, HitsInAStormThroughSwitches) {
    PipeWireOutput output;
    SoundEngine engine(output, clock, threads, RandomSource(3));
    runSwitchStorm(engine, output, {"test.sink.a", "test.sink.b"}, rounds() * 10);
}

TEST_F(PipeWireRecoveryTest, AnApplicationThatListensToAMicrophoneIsNoticed) {
    ManualQueue mainQueue;
    PipeWireMicrophone microphone(mainQueue);
    int changes = 0;
    microphone.setChangeHandler([&] { ++changes; });
    microphone.setWatching(true);
    const auto isInUse = [&] {
        mainQueue.advance({});
        return microphone.isInUse();
    };
    ASSERT_TRUE(PrivatePipeWire::plugMicrophone("test.microphone"));
    // What records a sink hears no microphone.
    ChildProcess monitor = startRecording("test.sink.a", "monitor.wav");
    EXPECT_FALSE(isInUse());
    monitor.interrupt();
    ChildProcess recorder = PrivatePipeWire::recordMicrophone("test.microphone");
    EXPECT_TRUE(eventually(isInUse));
    recorder.interrupt();
    EXPECT_TRUE(eventually([&] { return !isInUse(); }));
    EXPECT_EQ(changes, 2);
    microphone.setWatching(false);
    EXPECT_FALSE(isInUse());
}

} // namespace
} // namespace keysong::test
