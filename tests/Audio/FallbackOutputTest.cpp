#include "Audio/FallbackOutput.h"

#include "Audio/OutputDevices.h"
#include "Shared/SerialQueue.h"
#include "fakes/GatedOutput.h"
#include "support/EngineFixture.h"
#include "support/Eventually.h"
#include "support/PlainThreads.h"

namespace keysong::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

/// Three back ends, of which the test says how far their sound systems are, and an engine on top. All time
/// is moved by hand.
class FallbackOutputTest : public testing::Test {
  public:
    /// Makes the output over back ends that are so far.
    void make(std::vector<Readiness> readiness) {
        std::vector<FallbackOutput::Factory> factories;
        for (std::size_t rank = 0; rank < readiness.size(); ++rank) {
            factories.emplace_back([this, rank, first = readiness[rank]] {
                auto backEnd = std::make_unique<FakeAudioOutput>();
                const std::string name(1, static_cast<char>('a' + rank));
                backEnd->devices().replace({{1, "uid-" + name, "Speakers"}}, 1);
                backEnd->setReadiness(first);
                backEnds[rank] = backEnd.get();
                return backEnd;
            });
        }
        engine.reset();
        backEnds.assign(readiness.size(), nullptr);
        auto ownQueue = std::make_unique<ManualQueue>();
        queue = ownQueue.get();
        output = std::make_unique<FallbackOutput>(std::move(factories), std::move(ownQueue));
        EXPECT_EQ(backEnds, std::vector<FakeAudioOutput*>(readiness.size())) << "the constructor waits";
        queue->advance({});
        auto ownControl = std::make_unique<ManualQueue>();
        control = ownControl.get();
        engine = std::make_unique<SoundEngine>(
            *output, SoundEngineServices{clock, std::move(ownControl), [](std::chrono::nanoseconds) {}},
            RandomSource(1));
    }

    void advance(milliseconds time) {
        for (milliseconds passed{0}; passed < time; passed += milliseconds(10)) {
            queue->advance(milliseconds(10));
            control->advance(milliseconds(10));
        }
    }

    /// Which back end plays; '-' for none. The engine must know it.
    [[nodiscard]] char playing() const {
        char result = '-';
        for (std::size_t rank = 0; rank < backEnds.size(); ++rank) {
            if (backEnds[rank] != nullptr && backEnds[rank]->isRunning()) {
                EXPECT_EQ(result, '-') << "two play at once";
                result = static_cast<char>('a' + rank);
            }
        }
        EXPECT_TRUE(result == '-' || engine->snapshot().running);
        return result;
    }

    ManualClock clock;
    std::vector<FakeAudioOutput*> backEnds;
    ManualQueue* queue = nullptr;
    ManualQueue* control = nullptr;
    std::unique_ptr<FallbackOutput> output;
    std::unique_ptr<SoundEngine> engine;
};

constexpr auto ready = Readiness::ready;
constexpr auto preparing = Readiness::preparing;
constexpr auto absent = Readiness::absent;

TEST_F(FallbackOutputTest, TheFirstThatIsThereIsTakenAndLowerOnesAreNotMade) {
    make({ready, ready});
    engine->start();
    EXPECT_EQ(playing(), 'a');
    EXPECT_EQ(backEnds[1], nullptr);
    EXPECT_EQ(engine->currentOutputDeviceUid(), "uid-a");
    make({absent, ready});
    engine->start();
    EXPECT_EQ(playing(), 'b');
    EXPECT_STREQ(output->backendName(), "fake");
}

TEST_F(FallbackOutputTest, OneThatComesLaterTakesOverWithTheToneKept) {
    make({absent, absent, ready});
    engine->setTone(-0.7F);
    engine->start();
    const auto before = OutputDevices::all(output->devices());
    ASSERT_EQ(playing(), 'c');
    backEnds[0]->setReadiness(ready);
    queue->advance({});
    EXPECT_EQ(playing(), '-') << "the lower one must let go of its card at once";
    advance(milliseconds(310));
    EXPECT_EQ(playing(), 'a');
    EXPECT_EQ(engine->snapshot().activeUid, "uid-a");
    EXPECT_NEAR(engine->shelfGainsForTest().low, 4.2F, 0.01F);
    // A number from before means nothing now.
    ASSERT_EQ(before.size(), 1U);
    EXPECT_NE(OutputDevices::all(output->devices())[0].id, before[0].id);
    EXPECT_NE(output->setDevice(before[0].id), 0);
    EXPECT_EQ(output->devices().uid(before[0].id), "uid-c");
}

TEST_F(FallbackOutputTest, OneThatGoesIsWaitedForBeforeALowerOneStandsIn) {
    make({ready, ready});
    engine->start();
    backEnds[0]->setReadiness(absent);
    advance(milliseconds(2900));
    EXPECT_NE(playing(), 'b');
    backEnds[0]->setReadiness(ready);
    advance(milliseconds(310));
    EXPECT_EQ(playing(), 'a') << "back in time";
    advance(milliseconds(5000));
    EXPECT_EQ(playing(), 'a') << "the end of the first wait is nobody's business any more";
    backEnds[0]->setReadiness(absent);
    advance(milliseconds(3400));
    EXPECT_EQ(playing(), 'b');
    backEnds[1]->reportChange(); // no reason to restart
    backEnds[1]->operations.clear();
    advance(milliseconds(400));
    EXPECT_THAT(backEnds[1]->operations, ElementsAre());
    backEnds[0]->setReadiness(ready);
    advance(milliseconds(310));
    EXPECT_EQ(playing(), 'a');
    static_cast<void>(LogCapture::shared().takeErrors()); // what the recoveries in between met
}

TEST_F(FallbackOutputTest, AServerThatNeverGetsADeviceIsGivenUpUntilItHasOne) {
    make({preparing, ready});
    EXPECT_THROW(engine->start(), AudioOutputError);
    EXPECT_EQ(backEnds[1], nullptr);
    advance(milliseconds(3400));
    EXPECT_EQ(playing(), 'b');
    backEnds[0]->reportChange();
    advance(milliseconds(400));
    EXPECT_EQ(playing(), 'b');
    backEnds[0]->setReadiness(ready);
    advance(milliseconds(310));
    EXPECT_EQ(playing(), 'a');
}

TEST_F(FallbackOutputTest, AServerThatComesWithoutADeviceFindsTheCardFree) {
    make({absent, ready});
    engine->start();
    backEnds[0]->setReadiness(preparing);
    queue->advance({});
    EXPECT_EQ(backEnds[1]->isRunning(), false);
    advance(milliseconds(1000));
    backEnds[0]->setReadiness(ready);
    advance(milliseconds(310));
    EXPECT_EQ(playing(), 'a');
    static_cast<void>(LogCapture::shared().takeErrors());
}

TEST_F(FallbackOutputTest, ListenersFollowTheBackEndInUse) {
    make({absent, ready});
    int lists = 0;
    const auto handler = std::make_shared<const AudioDevices::ChangeHandler>([&] { ++lists; });
    EXPECT_EQ(output->devices().addListener(DeviceListProperty::devices, handler), 0);
    backEnds[1]->devices().plug({2, "more", "More"});
    queue->advance({});
    EXPECT_EQ(lists, 1);
    backEnds[0]->devices().plug({2, "unseen", "Unseen"});
    queue->advance({});
    EXPECT_EQ(lists, 1);
    backEnds[0]->setReadiness(ready);
    queue->advance({});
    EXPECT_EQ(lists, 2);
    output->devices().removeListener(DeviceListProperty::devices, handler);
    backEnds[0]->devices().unplug(2);
    queue->advance({});
    EXPECT_EQ(lists, 2);
}

TEST_F(FallbackOutputTest, OnlyAControlOperationWaitsForABackEndThatIsBeingMade) {
    Gate gate;
    gate.close();
    FakeAudioOutput* made = nullptr;
    PlainThreads threads;
    FallbackOutput slow({[&] {
                            gate.pass();
                            auto backEnd = std::make_unique<FakeAudioOutput>();
                            made = backEnd.get();
                            return backEnd;
                        }},
                        std::make_unique<SerialQueue>(threads, ThreadAttributes{"test.output", "output"}));
    SoundEngine player(slow, clock, threads, RandomSource(1));
    std::atomic<int> lists = 0;
    const auto handler = std::make_shared<const AudioDevices::ChangeHandler>([&] { ++lists; });
    EXPECT_EQ(slow.devices().addListener(DeviceListProperty::devices, handler), 0);
    std::atomic<bool> started = false;
    player.requestStart([&](const auto& failure) { started = !failure; });
    EXPECT_STREQ(slow.backendName(), "none");
    EXPECT_TRUE(OutputDevices::all(slow.devices()).empty());
    EXPECT_EQ(slow.readiness(), absent);
    EXPECT_FALSE(slow.isRunning());
    EXPECT_FALSE(started);
    EXPECT_FALSE(gate.wasForced());
    gate.open();
    EXPECT_TRUE(eventually([&] { return started && lists == 1; }));
    EXPECT_EQ(player.activeOutputDeviceUid(), "uid-a");
    EXPECT_EQ(made->renderer(), &SoundEngineTestPeer::mixer(player))
        << "it came after the renderer was named";
    slow.devices().removeListener(DeviceListProperty::devices, handler);
}

TEST(FallbackOutput, PassesOverWhatCannotBeHadAndSaysSoWhenNothingCan) {
    const FallbackOutput::Factory none = []() -> std::unique_ptr<AudioOutput> {
        throw AudioOutputError("no client library");
    };
    FallbackOutput output({none, [] { return std::make_unique<FakeAudioOutput>(); }},
                          std::make_unique<ManualQueue>());
    output.start();
    EXPECT_STREQ(output.backendName(), "fake");
    FallbackOutput nothing({none}, std::make_unique<ManualQueue>());
    EXPECT_THROW(nothing.start(), AudioOutputError);
    EXPECT_TRUE(OutputDevices::all(nothing.devices()).empty());
    EXPECT_FALSE(nothing.isRunning());
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                testing::Each("a sound output is not available: no client library"));
}

} // namespace
} // namespace keysong::test
