#include "support/EngineFixture.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

namespace keysong::test {
namespace {

using std::chrono::milliseconds;

class SoundEngineTest : public EngineFixture {
  public:
    /// Loads a set, which nobody but the engine holds then.
    std::weak_ptr<const SoundSet> load(const std::string& id) {
        auto set = makeSet(id);
        const std::weak_ptr<const SoundSet> held = set;
        engine->load(std::move(set));
        return held;
    }
};

TEST_F(SoundEngineTest, StartsOnceUnlessThatFailsAndSaysOnWhat) {
    output.devices().replace({{1, "uid-a", "Speakers A", 2, 48000, 100, 92}}, 1);
    output.failures.starts = {"no server"};
    EXPECT_THROW(engine->start(), AudioOutputError);
    EXPECT_FALSE(engine->snapshot().running);
    engine->start();
    engine->start();
    EXPECT_THAT(notices("engine started"),
                testing::ElementsAre("engine started output=Speakers A rate=48000 buffer=128 (2.67 ms) "
                                     "deviceLatency=4.00 ms voices=16"));
    EXPECT_EQ(engine->snapshot().activeUid, "uid-a");
    EXPECT_THAT(output.operations, testing::ElementsAre("start", "start")) << "one failed";
}

TEST_F(SoundEngineTest, StartsWithoutADeviceOrAPeriodLength) {
    output.knowsCurrent = false;
    output.devices().setDefault(std::nullopt);
    output.granted.reset();
    output.failures.buffer = -5;
    engine->start();
    EXPECT_THAT(notices("engine started"),
                testing::ElementsAre("engine started output=unknown rate=48000 buffer=0 (0.00 ms) "
                                     "deviceLatency=0.00 ms voices=16"));
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                testing::ElementsAre("could not request a 128 frame IO buffer (OSStatus -5)"));
    EXPECT_TRUE(engine->snapshot().running);
    EXPECT_EQ(engine->currentOutputDeviceUid(), std::nullopt);
}

TEST_F(SoundEngineTest, AHitIsHeardAndMutedOrStoppedItIsNot) {
    load("one");
    engine->play(SoundEvent::keyDown(0));
    engine->start();
    render(4);
    EXPECT_FALSE(isAudible()) << "played before the start";
    engine->setMuted(true);
    engine->play(SoundEvent::keyDown(0));
    render(4);
    EXPECT_FALSE(isAudible()) << "played while muted";
    engine->setMuted(false);
    engine->play(SoundEvent::keyDown(0));
    EXPECT_EQ(engine->snapshot().scheduling, 0);
    render(3);
    EXPECT_TRUE(isAudible());
}

TEST_F(SoundEngineTest, AHitCountsFromItsOwnTimeWhereThatCanBe) {
    load("one");
    engine->start();
    clock.advance(std::chrono::minutes(2));
    const auto frames = [](int count) { return std::chrono::nanoseconds(count * 1'000'000'000LL / 48000); };
    // When the event happened, as it is told to an engine that is 100 frames into a period, and the frame of
    // the next period at which it is heard; none when it is dropped.
    struct Row {
        std::chrono::nanoseconds time;
        std::optional<std::ptrdiff_t> heard;
    };
    const auto arrival = clock.now() + frames(100);
    for (const Row& row :
         {Row{arrival - frames(60), 40}, Row{std::chrono::nanoseconds(0), 100}, Row{arrival - frames(99), 1},
          Row{arrival + milliseconds(1), 100}, Row{arrival - milliseconds(20), 0},
          Row{arrival - milliseconds(100), std::nullopt}, Row{arrival - std::chrono::seconds(61), 100}}) {
        SCOPED_TRACE((arrival - row.time).count());
        const auto shift = clock.now() + frames(100) - arrival;
        clock.advance(frames(100));
        engine->play(SoundEvent::keyDown(0), row.time.count() == 0 ? row.time : row.time + shift);
        clock.advance(frames(128) - frames(100));
        render(1);
        const auto first = std::ranges::find_if(output.left, [](float frame) { return frame != 0; });
        EXPECT_EQ(first == output.left.end() ? std::nullopt : std::optional(first - output.left.begin()),
                  row.heard);
        render(20);
    }
    EXPECT_EQ(engine->lateHits(), 1U);
}

TEST_F(SoundEngineTest, DrawsAreMadeForEveryEventAndTheVolumeIsHeard) {
    load("one");
    engine->start();
    engine->setVolume(0.5F);
    EXPECT_TRUE(queue->empty()) << "the control queue may stand still";
    engine->setMuted(true);
    engine->play(SoundEvent::keyDown(0));
    engine->setMuted(false);
    // With the numbers of the second event: its sound is as loud as its draw says, in a lane's left share.
    RandomSource expected(7);
    static_cast<void>(expected.next());
    const float decibels = expected.next().gain;
    engine->play(SoundEvent::keyDown(0));
    render(3);
    float loudest = 0;
    for (std::size_t i = 0; i < output.left.size(); ++i) {
        loudest = std::max(loudest, std::hypot(output.left[i], output.right[i]));
    }
    EXPECT_NEAR(loudest, 0.25F * std::pow(10.0F, decibels / 20), 0.01F);
}

TEST_F(SoundEngineTest, AReplacedSetIsReleasedAfterItsLastSoundOffTheRenderThread) {
    const auto old = load("one");
    // Six files of 480 frames and their padding, in 16 bits.
    constexpr std::size_t setBytes = 6 * (480 + 2 * SampleBuffer::padding) * 2;
    EXPECT_EQ(memory.heldBytes, setBytes);
    engine->start();
    engine->play(SoundEvent::keyDown(0));
    load("two");
    EXPECT_EQ(memory.heldBytes, 2 * setBytes);
    EXPECT_EQ(engine->set()->manifest().id, "two");
    queue->advance(milliseconds(250));
    EXPECT_FALSE(old.expired()) << "its hit has not been rendered";
    render(12); // the recording lasts 480 frames, less than four periods
    EXPECT_FALSE(old.expired()) << "the render thread released it";
    queue->advance(milliseconds(250));
    EXPECT_TRUE(old.expired());
    EXPECT_EQ(memory.heldBytes, setBytes);
    EXPECT_TRUE(queue->empty()) << "nothing is left to come back for";
    const auto unplayed = load("three");
    load("four");
    EXPECT_TRUE(unplayed.expired()) << "nothing of it sounds";
}

TEST_F(SoundEngineTest, DestructionGivesBackWhatStillSounds) {
    const auto held = load("one");
    engine->start();
    engine->play(SoundEvent::keyDown(0));
    const auto late = output.configurationChanged;
    engine.reset();
    EXPECT_TRUE(held.expired());
    EXPECT_FALSE(output.isRunning());
    EXPECT_EQ(output.renderer(), nullptr);
    late(); // a notification under way meets no engine
}

TEST_F(SoundEngineTest, RefusedHitsAreCountedDownAtOnce) {
    const auto old = load("one");
    engine->start();
    for (int i = 0; i < 100'000; ++i) { // far more than any queue takes without a render
        engine->play(SoundEvent::keyDown(0));
    }
    load("two");
    render(50);
    queue->advance(milliseconds(250));
    EXPECT_TRUE(old.expired());
}

TEST_F(SoundEngineTest, VolumeToneAndBodyAreLimitedAndReachTheMixer) {
    engine->setTone(5);
    EXPECT_EQ(engine->tone(), 1);
    EXPECT_TRUE(queue->empty()) << "the control queue may stand still";
    EXPECT_FLOAT_EQ(engine->shelfGainsForTest().low, -6);
    EXPECT_FLOAT_EQ(engine->shelfGainsForTest().high, 6);
    EXPECT_FLOAT_EQ(SoundEngineTestPeer::mixer(*engine).makeupGain(), -2);
    engine->setBody(-9);
    EXPECT_EQ(engine->body(), -1);
    EXPECT_FLOAT_EQ(engine->snapshot().rateBias, 0.8408964F);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const auto& [set, kept] : {std::pair{1.5F, 1.0F}, {-1.0F, 0.0F}, {0.25F, 0.25F}, {nan, 0.0F}}) {
        engine->setVolume(set);
        EXPECT_EQ(engine->volume(), kept);
    }
    EXPECT_TRUE(queue->empty());
    engine->setTone(nan);
    EXPECT_EQ(engine->tone(), 0);
}

TEST_F(SoundEngineTest, ManyThreadsPlayWhileSetsAreSwappedAndTheOutputRenders) {
    load("one");
    engine->start();
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, code = static_cast<std::uint16_t>(i * 12)] {
            for (int hits = 0; hits < 2000; ++hits) {
                engine->play(SoundEvent::keyDown(code));
            }
        });
    }
    std::thread renderer([&] {
        while (!stop) {
            render(1);
        }
    });
    std::vector<std::weak_ptr<const SoundSet>> replaced;
    for (int i = 0; i < 20; ++i) {
        replaced.push_back(load("swap"));
        queue->advance(milliseconds(250));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    stop = true;
    renderer.join();
    replaced.pop_back(); // the current one
    render(200);
    queue->advance(milliseconds(250));
    EXPECT_TRUE(std::all_of(replaced.begin(), replaced.end(), [](const auto& set) { return set.expired(); }));
    EXPECT_EQ(engine->snapshot().scheduling, 0);
}

} // namespace
} // namespace keysong::test
