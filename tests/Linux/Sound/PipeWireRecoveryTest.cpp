#include "Audio/FallbackOutput.h"
#include "Audio/OutputDevices.h"
#include "Linux/Sound/AudioOutputFactories.h"
#include "Shared/SerialQueue.h"
#include "Virtual/VirtualOutput.h"
#include "fakes/ManualQueue.h"
#include "support/PipeWireFixture.h"
#include "support/SwitchStorm.h"

#include <algorithm>
#include <cstdlib>
#include <thread>

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
    std::unique_ptr<AudioOutput> makeOutput() {
        return std::make_unique<FallbackOutput>(
            FallbackOutput::chosen(allOutputs(), ""),
            std::make_unique<SerialQueue>(threads, ThreadAttributes{"com.orlen.keysong.output", "output"}));
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

/// An engine whose control queue the test runs: however busy the machine is, the pause after which it
/// recovers is as long as the test makes it.
class PipeWireSwitchTest : public PipeWireFixture {
  protected:
    void SetUp() override {
        PipeWireFixture::SetUp();
        auto ownControl = std::make_unique<ManualQueue>();
        control = ownControl.get();
        output = std::make_unique<PipeWireOutput>(threads);
        engine = std::make_unique<SoundEngine>(
            *output,
            SoundEngineServices{clock, std::move(ownControl),
                                [](std::chrono::nanoseconds time) { std::this_thread::sleep_for(time); }},
            RandomSource(1));
        engine->load(clickSet());
        engine->setTone(-0.7F);
        engine->start();
    }

    /// Runs the control queue until the engine is on this sink.
    bool settlesOn(const char* uid) {
        return eventually([&] {
            control->advance(milliseconds(10));
            return engine->snapshot().activeUid == uid && output->isRunning();
        });
    }
    [[nodiscard]] bool isListed(const char* uid) const {
        return OutputDevices::deviceIdForUid(output->devices(), uid).has_value();
    }
    /// Where the server itself says that the stream is.
    [[nodiscard]] std::string streamIsOn() const {
        const auto device = output->currentDevice();
        return device ? output->devices().uid(*device).value_or("") : "";
    }
    /// Makes the sink the default, and waits until the output knows.
    bool makeDefault(const char* sink) {
        return PrivatePipeWire::setDefault(sink) && eventually([&] {
                   const auto device = output->devices().defaultOutputDevice();
                   return device && output->devices().uid(*device) == sink;
               });
    }

    ManualQueue* control = nullptr;
    std::unique_ptr<PipeWireOutput> output;
    std::unique_ptr<SoundEngine> engine;
};

TEST_F(PipeWireSwitchTest, TheSoundIsOnTheRightSinkThroughUnplugAndReturn) {
    ASSERT_TRUE(PrivatePipeWire::plug("test.sink.usb"));
    ASSERT_TRUE(eventually([&] { return isListed("test.sink.usb"); }));
    engine->setOutputDevice("test.sink.usb", false);
    EXPECT_TRUE(isHeardOn("test.sink.usb", *engine));

    ASSERT_TRUE(PrivatePipeWire::unplug("test.sink.usb"));
    EXPECT_TRUE(settlesOn("test.sink.a"));
    EXPECT_EQ(engine->snapshot().selectedUid, "test.sink.usb");
    EXPECT_TRUE(isHeardOn("test.sink.a", *engine));
    ASSERT_TRUE(PrivatePipeWire::plug("test.sink.usb"));
    EXPECT_TRUE(settlesOn("test.sink.usb"));
    EXPECT_TRUE(isHeardOn("test.sink.usb", *engine));
    EXPECT_NEAR(engine->shelfGainsForTest().low, 4.2F, 0.01F);
}

TEST_F(PipeWireSwitchTest, AChoiceThatWasGivenUpIsNotReturnedToAndTheDefaultIsFollowed) {
    ASSERT_TRUE(PrivatePipeWire::plug("test.sink.usb"));
    ASSERT_TRUE(eventually([&] { return isListed("test.sink.usb"); }));
    engine->setOutputDevice("test.sink.usb", false);
    ASSERT_TRUE(eventually([&] { return streamIsOn() == "test.sink.usb"; }));
    ASSERT_TRUE(PrivatePipeWire::unplug("test.sink.usb"));
    // The session manager has moved the stream already when the choice is given up.
    ASSERT_TRUE(eventually([&] { return !isListed("test.sink.usb") && streamIsOn() == "test.sink.a"; }));
    const std::size_t before = starts();
    engine->setOutputDevice(std::nullopt, false);
    EXPECT_EQ(starts(), before) << "it is there already";
    ASSERT_TRUE(PrivatePipeWire::plug("test.sink.usb"));
    ASSERT_TRUE(eventually([&] { return isListed("test.sink.usb"); }));
    EXPECT_TRUE(isHeardOn("test.sink.a", *engine));
    EXPECT_EQ(streamIsOn(), "test.sink.a");
    control->advance(milliseconds(300));
    EXPECT_EQ(starts(), before) << "what was plugged in is no reason either";

    for (const char* sink : {"test.sink.b", "test.sink.a", "test.sink.b"}) {
        ASSERT_TRUE(makeDefault(sink));
    }
    EXPECT_TRUE(settlesOn("test.sink.b"));
    EXPECT_EQ(starts(), before) << "the session manager moves it";
    EXPECT_TRUE(isHeardOn("test.sink.b", *engine));
}

TEST_F(PipeWireSwitchTest, WhatTheUserMovedInTheMixerStaysThereUntilTheyChooseHere) {
    const auto staysOn = [&](const char* sink, const char* plugged) {
        ASSERT_TRUE(PrivatePipeWire::moveStream(sink));
        EXPECT_TRUE(settlesOn(sink));
        const std::size_t before = starts();
        ASSERT_TRUE(PrivatePipeWire::plug(plugged));
        ASSERT_TRUE(eventually([&] { return isListed(plugged); }));
        control->advance(milliseconds(300));
        EXPECT_TRUE(isHeardOn(sink, *engine));
        EXPECT_EQ(streamIsOn(), sink);
        EXPECT_EQ(starts(), before);
    };
    staysOn("test.sink.b", "test.sink.usb");
    engine->setOutputDevice("test.sink.usb", false);
    EXPECT_TRUE(isHeardOn("test.sink.usb", *engine));
    staysOn("test.sink.a", "test.sink.hdmi");
    staysOn("test.sink.hdmi", "test.sink.phone");
    engine->setOutputDevice(std::nullopt, false);
    EXPECT_TRUE(isHeardOn("test.sink.a", *engine));
}

TEST_F(PipeWireSwitchTest, ASinkIsGoneOnlyForAWholeSoundSystem) {
    const auto isGone = [&](const char* uid) { return output->devices().isGone(uid); };
    EXPECT_TRUE(isGone("test.sink.usb"));
    EXPECT_FALSE(isGone("test.sink.a"));
    server.killManager();
    EXPECT_TRUE(eventually([&] { return !isGone("test.sink.usb"); }));
    server.kill();
    EXPECT_TRUE(eventually([&] { return !output->isRunning(); }));
    EXPECT_FALSE(isGone("test.sink.a"));
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(eventually([&] { return isGone("test.sink.usb"); }));
    EXPECT_FALSE(isGone("test.sink.a"));
}

TEST_F(PipeWireRecoveryTest, AServerKilledAgainAndAgainIsFoundAgain) {
    PipeWireOutput output(threads);
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
        ASSERT_TRUE(isHeardOn("test.sink.b", engine));
        ASSERT_NEAR(engine.shelfGainsForTest().low, 4.2F, 0.01F);
        static_cast<void>(LogCapture::shared().takeErrors()); // what the recoveries met on the way
    }
}

// WirePlumber 0.4 links no stream after such a restart: the sinks were in use, and never become ready for it.
TEST_F(PipeWireRecoveryTest, ASessionManagerThatStartsAnewLeavesNobodySilent) {
    PipeWireOutput output(threads);
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.load(clickSet());
    engine.start();
    engine.setOutputDevice("test.sink.b", false);
    ASSERT_TRUE(isHeardOn("test.sink.b", engine));
    for (int round = 0; round < 2; ++round) {
        server.killManager();
        ASSERT_TRUE(eventually([&] { return output.readiness() == Readiness::preparing; }));
        server.startManager();
        ASSERT_TRUE(eventually([&] { return output.readiness() == Readiness::ready; }));
        EXPECT_TRUE(eventually([&] { return PrivatePipeWire::isLinkedTo("test.sink.b"); }));
        EXPECT_TRUE(output.isRunning());
    }
}

TEST_F(PipeWireRecoveryTest, AServerThatComesOrAnswersLateIsMovedUpTo) {
    for (const bool accepts : {false, true}) {
        SCOPED_TRACE(accepts ? "accepts and does not answer" : "is not there");
        accepts ? server.pause() : server.kill();
        const auto output = makeOutput();
        SoundEngine engine(*output, clock, threads, RandomSource(1));
        engine.load(clickSet());
        engine.start();
        EXPECT_STREQ(output->backendName(), "virtual");
        EXPECT_TRUE(engine.snapshot().running);
        if (accepts) {
            server.resume();
        } else {
            ASSERT_TRUE(server.start());
        }
        EXPECT_TRUE(eventually([&] { return engine.snapshot().activeUid == "test.sink.a"; }));
        EXPECT_STREQ(output->backendName(), "pipewire");
        EXPECT_TRUE(isHeardOn("test.sink.a", engine));
        static_cast<void>(LogCapture::shared().takeErrors());
    }
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
    PipeWireOutput output(threads);
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
    PipeWireOutput output(threads);
    SoundEngine engine(output, clock, threads, RandomSource(3));
    runSwitchStorm(engine, output, {"test.sink.a", "test.sink.b"}, rounds() * 10);
}

} // namespace
} // namespace keysong::test
