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
    for (const auto& [pick, file] : {std::pair{0.0, "a.wav"},
                                     {0.33, "a.wav"},
                                     {0.34, "b.wav"},
                                     {0.67, "c.wav"},
                                     {0.9999, "c.wav"},
                                     {1.0, "c.wav"}}) {
        EXPECT_EQ(state.resolve(SoundEvent::keyDown(0), {pick, 0, 0}, true)->file, file) << pick;
    }
}

TEST(EngineState, RateAndGainFollowTheBiasTheLimitedManifestAndTheDraws) {
    EngineState state = audibleState(R"("pitchVariation":0.5,"gain":10,"gainVariation":9,)");
    state.rateBias = 2;
    const auto hit = state.resolve(SoundEvent::keyDown(0), {0, 1, -0.5F}, false);
    ASSERT_TRUE(hit);
    EXPECT_FLOAT_EQ(hit->rate, 2 * 1.15F);
    EXPECT_FLOAT_EQ(hit->gainDecibels, 3);
    EXPECT_FLOAT_EQ(hit->volume, std::pow(10.0F, 3.0F / 20));
}

TEST(EngineState, EachLaneAlternatesBetweenItsTwoVoices) {
    struct Row {
        const char* name;
        SoundEvent event;
        std::uint32_t first;
        bool spatial = true;
        bool placeless = false;
    };
    for (const Row& row : {Row{"grave accent, leftmost", SoundEvent::keyDown(50), 0},
                           {"Right arrow", SoundEvent::keyUp(124), 14},
                           {"leftmost key, not spatial", SoundEvent::keyDown(50), 8, false},
                           {"leftmost key, placeless", SoundEvent::keyDown(50), 8, true, true}}) {
        SCOPED_TRACE(row.name);
        EngineState state = audibleState();
        state.spatial = row.spatial;
        state.placeless = row.placeless;
        for (const std::uint32_t second : {0U, 1U, 0U}) {
            EXPECT_EQ(state.resolve(row.event, {0, 0, 0}, false)->voice, row.first + second);
        }
    }
}

TEST(VoiceLanes, PansSpanTheBoardAndLeadBackToTheirLanes) {
    const auto pans = VoiceLanes::pans();
    const float lanes[] = {-0.5775F, -0.4125F, -0.2475F, -0.0825F, 0.0825F, 0.2475F, 0.4125F, 0.5775F};
    for (std::size_t voice = 0; voice < pans.size(); ++voice) {
        EXPECT_NEAR(pans[voice], lanes[voice / 2], 1e-6F);
        EXPECT_EQ(VoiceLanes::laneFor(pans[voice]), voice / 2);
    }
    EXPECT_EQ(VoiceLanes::laneFor(-2), 0U);
}

// The letters and the space bar are in what the play test prints.
TEST(KeyPan, PlacesKeysAsTheyLieOnTheBoard) {
    for (const auto& [code, pan] : {std::pair{44, 0.33F},
                                    {50, -0.66F},
                                    {51, 0.484F},
                                    {59, -0.60456F},
                                    {124, 0.594F},
                                    {53, 0.0F},
                                    {65535, 0.0F}}) {
        EXPECT_NEAR(KeyPan::pan(static_cast<std::uint16_t>(code)), pan, 1e-5F) << code;
    }
    EXPECT_EQ(KeyPan::pan(125), KeyPan::pan(126));
}

TEST(RandomSource, FillsItsRangesEvenlyAndNeverLeavesThem) {
    RandomSource random(1);
    constexpr int count = 100'000;
    double pickSum = 0;
    double pitchSquares = 0;
    double product = 0;
    for (int i = 0; i < count; ++i) {
        const Draws draws = random.next();
        ASSERT_TRUE(draws.pick >= 0 && draws.pick < 1);
        ASSERT_TRUE(std::abs(draws.pitch) <= 1 && std::abs(draws.gain) <= 1);
        pickSum += draws.pick;
        pitchSquares += static_cast<double>(draws.pitch) * draws.pitch;
        product += static_cast<double>(draws.pitch) * draws.gain;
    }
    EXPECT_NE(RandomSource(1).next().pick, RandomSource(2).next().pick);
    EXPECT_NEAR(pickSum / count, 0.5, 0.005);
    EXPECT_NEAR(pitchSquares / count, 1.0 / 3, 0.005);
    EXPECT_NEAR(product / count, 0, 0.005);
}

} // namespace
} // namespace keysong::test
