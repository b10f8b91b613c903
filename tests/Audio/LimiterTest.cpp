#include "Audio/Limiter.h"

#include "Audio/MixerHarness.h"

#include <gtest/gtest.h>

namespace keysong::test {
namespace {

TEST(Limiter, isTransparentUpToTheThreshold) {
    std::vector<float> left = sine(997, 48000, 5000, Limiter::threshold);
    std::vector<float> right = sine(50, 48000, 5000, -Limiter::threshold);
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
        std::vector<float> left = sine(997, 48000, 5000, amplitude);
        std::vector<float> right = sine(997, 48000, 5000, amplitude / 4);
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

TEST(Limiter, recoversSmoothlyAndCompletely) {
    for (const double sampleRate : {44100.0, 48000.0, 192000.0}) {
        Limiter limiter;
        limiter.prepare(sampleRate);
        float left = 4;
        float right = 0;
        limiter.process(&left, &right, 1);
        std::vector<float> frames(static_cast<std::size_t>(sampleRate), 0.1F);
        std::vector<float> other(frames.size());
        limiter.process(frames.data(), other.data(), frames.size());
        EXPECT_LT(frames.front(), 0.03F);
        const double afterRelease = static_cast<double>(frames[static_cast<std::size_t>(0.060 * sampleRate)]);
        EXPECT_NEAR(afterRelease, 0.1 - (0.1 - static_cast<double>(frames.front())) * std::exp(-1.0), 0.001);
        EXPECT_LT(greatestJump(frames), 0.1F / (0.05F * static_cast<float>(sampleRate)));
        EXPECT_EQ(frames.back(), 0.1F);
    }
}

TEST(Limiter, recoversInSilenceAsItDoesInSound) {
    Limiter silent;
    Limiter sounding;
    for (Limiter* limiter : {&silent, &sounding}) {
        limiter->prepare(48000);
        float left = 4;
        float right = 4;
        limiter->process(&left, &right, 1);
    }
    std::vector<float> quiet(1000);
    std::vector<float> other(1000);
    sounding.process(quiet.data(), other.data(), quiet.size());
    silent.recover(quiet.size());
    float first[2] = {0.5F, 0.5F};
    float second[2] = {0.5F, 0.5F};
    sounding.process(&first[0], &first[1], 1);
    silent.process(&second[0], &second[1], 1);
    EXPECT_EQ(first[0], second[0]);
    EXPECT_LT(first[0], 0.5F);
}

} // namespace
} // namespace keysong::test
