#include "Audio/EngineState.h"

#include "Audio/KeyPan.h"
#include "support/TestSets.h"

#include <gtest/gtest.h>

#include <cmath>

namespace keysong::test {
namespace {

EngineState audibleState(const std::string& manifestExtra = {}) {
    EngineState state;
    state.running = true;
    state.set = std::make_shared<LoadedSet>(makeSet("test", manifestExtra));
    return state;
}

struct SilentRow {
    const char* name;
    SoundEvent event;
    void (*arrange)(EngineState&);
};

TEST(EngineState, NoHitLeavesTheStateUntouched) {
    const SilentRow rows[] = {
        {"not running", SoundEvent::keyDown(0), [](EngineState& state) { state.running = false; }},
        {"muted", SoundEvent::keyDown(0), [](EngineState& state) { state.muted = true; }},
        {"no set", SoundEvent::keyDown(0), [](EngineState& state) { state.set = nullptr; }},
        {"mouse disabled", SoundEvent::mouseDown(MouseButton::left),
         [](EngineState& state) { state.mouseEnabled = false; }},
        {"scroll disabled as at first", SoundEvent::scrollTick(), [](EngineState&) {}},
        {"no candidates", SoundEvent::keyDown(256), [](EngineState&) {}},
    };
    for (const SilentRow& row : rows) {
        SCOPED_TRACE(row.name);
        EngineState state = audibleState();
        const auto set = state.set;
        row.arrange(state);
        EXPECT_FALSE(state.resolve(row.event, {0.5, 0, 0}, false));
        EXPECT_EQ(state.nextInLane, EngineState().nextInLane);
        EXPECT_EQ(state.scheduling, 0);
        EXPECT_EQ(set->inFlight, 0U);
    }
}

TEST(EngineState, KeysSoundWhateverTheMouseAndScrollSwitchesSay) {
    EngineState state = audibleState();
    state.mouseEnabled = false;
    const auto hit = state.resolve(SoundEvent::keyDown(0), {0, 0, 0}, false);
    ASSERT_TRUE(hit);
    EXPECT_EQ(state.scheduling, 1);
    EXPECT_EQ(state.set->inFlight, 1U);
    EXPECT_EQ(hit->inFlight, &state.set->inFlight);
    EXPECT_EQ(hit->file, "");
}

TEST(EngineState, PickChoosesEveryCandidateEquallyAndNamesItsFileWhenVerbose) {
    EngineState state = audibleState();
    struct Row {
        double pick;
        const char* file;
    };
    for (const Row& row : {Row{0, "a.wav"}, Row{0.33, "a.wav"}, Row{0.34, "b.wav"}, Row{0.67, "c.wav"},
                           Row{0.9999, "c.wav"}, Row{1.0, "c.wav"}}) {
        EXPECT_EQ(state.resolve(SoundEvent::keyDown(0), {row.pick, 0, 0}, true)->file, row.file) << row.pick;
    }
}

TEST(EngineState, ManifestLimitsTheRandomRateAndGain) {
    struct Row {
        const char* manifest;
        float pitch;
        float gain;
        float rate;
        float gainDecibels;
    };
    const Row rows[] = {
        {"", 1, 1, 1.03F, 1},
        {"", -1, -1, 0.97F, -1},
        {"\"pitchVariation\":0.5,", 1, 0, 1.15F, 0},
        {"\"pitchVariation\":-0.1,", 1, 0, 1, 0},
        {"\"gain\":10,\"gainVariation\":9,", 0, 1, 1, 12},
        {"\"gain\":-20,\"gainVariation\":9,", 0, -1, 1, -18},
        {"\"gain\":3,\"gainVariation\":-1,", 0, 1, 1, 3},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.manifest);
        EngineState state = audibleState(row.manifest);
        state.rateBias = 2;
        const auto hit = state.resolve(SoundEvent::keyDown(0), {0, row.pitch, row.gain}, false);
        ASSERT_TRUE(hit);
        EXPECT_FLOAT_EQ(hit->rate, 2 * row.rate);
        EXPECT_FLOAT_EQ(hit->gainDecibels, row.gainDecibels);
        EXPECT_FLOAT_EQ(hit->volume, std::pow(10.0F, row.gainDecibels / 20));
    }
}

TEST(EngineState, EachLaneAlternatesBetweenItsTwoVoices) {
    struct Row {
        const char* name;
        SoundEvent event;
        bool spatial;
        std::vector<std::uint32_t> voices;
    };
    const Row rows[] = {
        {"grave accent, leftmost", SoundEvent::keyDown(50), true, {0, 1, 0}},
        {"Right arrow", SoundEvent::keyUp(124), true, {14, 15, 14}},
        {"Escape has no place", SoundEvent::keyDown(53), true, {8, 9, 8}},
        {"mouse", SoundEvent::mouseDown(MouseButton::left), true, {8, 9, 8}},
        {"scroll", SoundEvent::scrollTick(), true, {8, 9, 8}},
        {"leftmost key, not spatial", SoundEvent::keyDown(50), false, {8, 9, 8}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EngineState state = audibleState();
        state.scrollEnabled = true;
        state.spatial = row.spatial;
        for (const std::uint32_t voice : row.voices) {
            EXPECT_EQ(state.resolve(row.event, {0, 0, 0}, false)->voice, voice);
        }
    }
}

TEST(VoiceLanes, PansAndLanesSpanTheBoard) {
    EXPECT_EQ(VoiceLanes::laneFor(0), 4U);
    EXPECT_EQ(VoiceLanes::laneFor(-0.66F), 0U);
    EXPECT_EQ(VoiceLanes::laneFor(0.66F), 7U);
    EXPECT_EQ(VoiceLanes::laneFor(-2.0F), 0U);
    const auto pans = VoiceLanes::pans();
    const float lanes[] = {-0.5775F, -0.4125F, -0.2475F, -0.0825F, 0.0825F, 0.2475F, 0.4125F, 0.5775F};
    for (std::size_t voice = 0; voice < pans.size(); ++voice) {
        EXPECT_NEAR(pans[voice], lanes[voice / 2], 1e-6F);
        EXPECT_EQ(VoiceLanes::laneFor(pans[voice]), voice / 2);
    }
}

TEST(KeyPan, PlacesKeysAsTheyLieOnTheBoard) {
    struct Row {
        std::uint16_t code;
        float pan;
    };
    for (const Row& row : {Row{12, -0.506F}, Row{6, -0.462F}, Row{35, 0.286F}, Row{44, 0.33F},
                           Row{49, -0.05456F}, Row{50, -0.66F}, Row{51, 0.484F}, Row{59, -0.60456F},
                           Row{124, 0.594F}, Row{53, 0}, Row{200, 0}, Row{65535, 0}}) {
        EXPECT_NEAR(KeyPan::pan(row.code), row.pan, 1e-5F) << row.code;
    }
    EXPECT_EQ(KeyPan::pan(125), KeyPan::pan(126));
    EXPECT_EQ(KeyPan::selfCheck(), std::vector<std::string>());
}

TEST(RandomSource, SameSeedSameNumbersAndACopyGoesOn) {
    RandomSource first(42);
    RandomSource second(42);
    RandomSource other(43);
    const Draws a = first.next();
    const Draws b = second.next();
    EXPECT_EQ(a.pick, b.pick);
    EXPECT_EQ(a.pitch, b.pitch);
    EXPECT_EQ(a.gain, b.gain);
    EXPECT_NE(a.pick, other.next().pick);
    RandomSource copy(first);
    EXPECT_EQ(copy.next().pitch, first.next().pitch);
}

TEST(RandomSource, FillsItsRangesEvenlyAndNeverLeavesThem) {
    RandomSource random(1);
    constexpr int count = 100'000;
    double pickSum = 0;
    double pitchSquares = 0;
    double product = 0;
    float lowest = 1;
    float highest = -1;
    for (int i = 0; i < count; ++i) {
        const Draws draws = random.next();
        ASSERT_TRUE(draws.pick >= 0 && draws.pick < 1);
        ASSERT_TRUE(std::abs(draws.pitch) <= 1 && std::abs(draws.gain) <= 1);
        pickSum += draws.pick;
        pitchSquares += static_cast<double>(draws.pitch) * draws.pitch;
        product += static_cast<double>(draws.pitch) * draws.gain;
        lowest = std::min(lowest, draws.pitch);
        highest = std::max(highest, draws.pitch);
    }
    EXPECT_NEAR(pickSum / count, 0.5, 0.005);
    EXPECT_NEAR(pitchSquares / count, 1.0 / 3, 0.005);
    EXPECT_NEAR(product / count, 0, 0.005);
    EXPECT_LT(lowest, -0.999F);
    EXPECT_GT(highest, 0.999F);
}

} // namespace
} // namespace keysong::test
