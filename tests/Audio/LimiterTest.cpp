#include "Audio/Limiter.h"

#include "Audio/MixerHarness.h"

#include <gtest/gtest.h>

namespace keysong::test {
namespace {

TEST(Limiter, isTransparentUpToTheThreshold) {
    std::vector<float> left = sine(997, 5000, 48000, Limiter::threshold);
    std::vector<float> right = sine(50, 5000, 48000, -Limiter::threshold);
    const auto before = std::pair(left, right);
    Limiter limiter;
    limiter.prepare(48000);
    for (std::size_t index = 0; index < left.size(); index += 25) {
        limiter.process(left.data() + index, right.data() + index, 25);
    }
    EXPECT_EQ(std::pair(left, right), before);
}

TEST(Limiter, neverExceedsTheCeilingAndKeepsOrderAndPlace) {
    for (const float amplitude : {0.81F, 1.0F, 2.0F, 4.0F, 64.0F, 1e6F, 1e30F}) {
        std::vector<float> left = sine(997, 5000, 48000, amplitude);
        std::vector<float> right = sine(997, 5000, 48000, amplitude / 4);
        Limiter limiter;
        limiter.prepare(48000);
        limiter.process(left.data(), right.data(), left.size());
        float loudest = 0;
        for (std::size_t index = 0; index < left.size(); ++index) {
            loudest = std::max(loudest, std::fabs(left[index]));
            ASSERT_NEAR(right[index], left[index] / 4, 1e-6F) << "the picture moved";
        }
        EXPECT_LE(loudest, Limiter::ceiling);
        EXPECT_GT(loudest, Limiter::threshold) << amplitude;
    }
}

// The curve from input to output peak rises everywhere and meets the straight line without a corner.
TEST(Limiter, bendsSoftlyAtTheKnee) {
    float previous = 0;
    for (float peak = 0.7F; peak < 3; peak += 0.001F) {
        float left = peak;
        float right = 0;
        Limiter limiter;
        limiter.prepare(48000);
        limiter.process(&left, &right, 1);
        ASSERT_GT(left, previous) << peak;
        if (peak < 0.81F) {
            ASSERT_NEAR(left, peak, 0.001F);
        }
        previous = left;
    }
}

TEST(Limiter, recoversSmoothlyAndCompletelyInSoundAndInSilence) {
    for (const double sampleRate : {44100.0, 192000.0}) {
        Limiter limiter;
        limiter.prepare(sampleRate);
        float left = 4;
        float right = 0;
        limiter.process(&left, &right, 1);
        Limiter silent = limiter;
        std::vector<float> frames(static_cast<std::size_t>(sampleRate), 0.1F);
        std::vector<float> other(frames.size());
        limiter.process(frames.data(), other.data(), frames.size());
        EXPECT_LT(frames.front(), 0.03F);
        const auto release = static_cast<std::size_t>(Limiter::releaseSeconds * sampleRate);
        EXPECT_NEAR(frames[release], 0.1F - (0.1F - frames[0]) * std::exp(-1.0F), 0.001F);
        EXPECT_LT(greatestJump(frames), 0.1F / (0.05F * static_cast<float>(sampleRate)));
        EXPECT_EQ(frames.back(), 0.1F);
        silent.recover(release);
        float after = 0.1F;
        silent.process(&after, &right, 1);
        EXPECT_EQ(after, frames[release]);
    }
}

} // namespace
} // namespace keysong::test
