#include "Audio/MixerHarness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace keysong::test {
namespace {

TEST(MixerSettings, changeWithoutAClick) {
    const SampleBuffer tone(sine(150, 48000, 48000, 0.3));
    MixerHarness harness;
    ASSERT_TRUE(harness.play(tone));
    harness.renderPeriods(20);
    const float calm = greatestJump(harness.left);
    harness.mixer.setMasterVolume(0);
    harness.renderPeriods(3);
    harness.mixer.setMasterVolume(1);
    harness.renderPeriods(10);
    harness.mixer.setLowShelfGain(6);
    harness.mixer.setHighShelfGain(-6);
    harness.mixer.setMakeupGain(-3);
    harness.renderPeriods(20);
    harness.mixer.setToneConnected(false);
    harness.renderPeriods(1);
    harness.mixer.setToneConnected(true);
    harness.renderPeriods(20);
    // A step of only a thirtieth of the amplitude would show; +6 dB doubles the tone's own jumps.
    EXPECT_LT(greatestJump(harness.left), 1.5F * calm);
    EXPECT_EQ(harness.mixer.lowShelfGain(), 6.0F);
    harness.mixer.setLowShelfGain(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(harness.mixer.lowShelfGain(), 6.0F);
}

TEST(MixerSettings, masterVolumeArrivesExactlyWithinTenMilliseconds) {
    const std::vector<float> frames = noise(4000);
    const SampleBuffer buffer(frames);
    MixerHarness harness;
    ASSERT_TRUE(harness.play(buffer));
    harness.renderPeriods(2);
    harness.mixer.setMasterVolume(0.25F);
    harness.renderPeriods(10);
    for (std::size_t index = 256 + 480; index < harness.left.size(); ++index) {
        ASSERT_EQ(harness.left[index], frames[index - 128] * centreGain * 0.25F);
    }
    EXPECT_NEAR(harness.left[256 + 240], frames[128 + 240] * centreGain * 0.625F, 0.002F) << "a click";
}

TEST(MixerSettings, masterVolumeIsThereAtOnceWhereNothingSounds) {
    const SampleBuffer steady(std::vector<float>(1000, 0.5F));
    MixerHarness harness;
    harness.mixer.setMasterVolume(0.25F);
    harness.mixer.prepare(48000);
    ASSERT_TRUE(harness.play(steady, 0, -128));
    harness.render();
    EXPECT_EQ(harness.left.front(), 0.125F * centreGain) << "after a start";
    harness.renderPeriods(10);
    harness.mixer.setMasterVolume(0.5F);
    harness.render();
    ASSERT_TRUE(harness.play(steady, 0, -128));
    harness.render();
    EXPECT_EQ(harness.left[12 * MixerHarness::period], 0.25F * centreGain) << "in silence";
}

TEST(MixerSettings, aLoudBlowTurnsTheRestDownForAWhile) {
    const SampleBuffer loud(std::vector<float>(100, 0.5F));
    const SampleBuffer calm(std::vector<float>(30'000, 0.1F));
    MixerHarness harness(44100);
    ASSERT_TRUE(harness.play(calm, 1));
    ASSERT_TRUE(harness.play(loud, 0, 0, 1, 16));
    harness.renderPeriods(200);
    const float level = harness.left.back();
    EXPECT_GT(level, 0.07F) << "it came back";
    EXPECT_LT(harness.left[MixerHarness::period + 200], level / 2) << "each frame was bent by itself";
    EXPECT_LT(greatestJump({harness.left.begin() + 400, harness.left.end()}), 0.001F);
}

TEST(MixerSettings, tinyNumbersCountAsNothing) {
    std::vector<float> frames(1000, 1e-40F);
    frames.front() = 0.5F;
    const SampleBuffer buffer(frames);
    MixerHarness harness;
    ASSERT_TRUE(harness.play(buffer));
    harness.renderPeriods(9);
    EXPECT_EQ(soundingFrames(harness.left).size(), 1U);
    volatile float tiny = 1e-40F;
    EXPECT_NE(tiny * 0.5F, 0.0F) << "outside the mixer they count again";
}

// Whether they add up to infinity on one side, on the other, or to no number at all.
TEST(MixerSettings, absurdSamplesStayWithinFullScaleAndLeaveNoTrace) {
    const SampleBuffer absurd(std::vector<float>(500, std::numeric_limits<float>::max()));
    const std::vector<float> frames = noise(1000, 0.2F);
    const SampleBuffer sane(frames);
    for (const auto& [even, odd] : {std::pair{4.0F, 4.0F}, {-4.0F, -4.0F}, {4.0F, -4.0F}}) {
        MixerHarness harness;
        harness.mixer.setLowShelfGain(6);
        for (std::uint32_t voice = 0; voice < Mixer::voiceCount; voice += 2) {
            ASSERT_TRUE(harness.play(absurd, voice, 0, 1, even));
            ASSERT_TRUE(harness.play(absurd, voice + 1, 0, 1.1F, odd));
        }
        harness.renderPeriods(10);
        for (const float sample : harness.left) {
            ASSERT_LE(std::fabs(sample), 1.0F);
        }
        harness.mixer.setLowShelfGain(0);
        harness.renderPeriods(400);
        const std::size_t start = harness.left.size() + MixerHarness::period;
        ASSERT_TRUE(harness.play(sane));
        harness.renderPeriods(9);
        for (std::size_t index = 0; index < frames.size(); ++index) {
            ASSERT_EQ(harness.left[start + index], frames[index] * centreGain);
        }
    }
}

} // namespace
} // namespace keysong::test
