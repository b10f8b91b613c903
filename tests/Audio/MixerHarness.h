#pragma once

#include "Audio/Mixer.h"
#include "support/RealtimeGuard.h"
#include "support/WaveFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

namespace keysong::test {

/// The greatest difference between neighbouring samples.
inline float greatestJump(const std::vector<float>& samples) {
    float greatest = 0;
    for (std::size_t index = 1; index < samples.size(); ++index) {
        greatest = std::max(greatest, std::fabs(samples[index] - samples[index - 1]));
    }
    return greatest;
}

/// The same noise every time.
inline std::vector<float> noise(std::size_t length, float amplitude = 0.5F) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> sample(-amplitude, amplitude);
    std::vector<float> frames(length);
    std::generate(frames.begin(), frames.end(), [&] { return sample(random); });
    return frames;
}

/// What a voice in the middle gives each side.
inline const float centreGain = static_cast<float>(std::cos(std::numbers::pi / 4));

/// The places of all samples that are not silent.
inline std::vector<std::size_t> soundingFrames(const std::vector<float>& samples, std::size_t from = 0) {
    std::vector<std::size_t> found;
    for (std::size_t index = from; index < samples.size(); ++index) {
        if (samples[index] != 0) {
            found.push_back(index);
        }
    }
    return found;
}

/// A mixer on a timeline of its own, period after period, with everything it played. Fails the test when a
/// hit or a period does what a render thread must not.
struct MixerHarness {
    static constexpr std::uint32_t period = 128;

    explicit MixerHarness(double sampleRate = 48000, std::array<float, Mixer::voiceCount> pans = {})
        : mixer(pans), nanosecondsPerFrame(1e9 / sampleRate) {
        mixer.prepare(sampleRate);
    }

    /// The time at which the next period begins.
    [[nodiscard]] std::int64_t now() const {
        return 1'000'000'000'000 + std::llround(static_cast<double>(left.size()) * nanosecondsPerFrame);
    }

    /// Plays on a voice, as asked for the given number of frames after the beginning of the next period.
    bool play(const SampleBuffer& buffer, std::uint32_t voice = 0, double framesFromNow = 0, float rate = 1,
              float volume = 1) {
        const RealtimeGuard guard;
        ++inFlight;
        const bool taken = mixer.schedule({now() + std::llround(framesFromNow * nanosecondsPerFrame), voice,
                                           &buffer, rate, volume, &inFlight});
        if (!taken) {
            --inFlight;
        }
        EXPECT_EQ(guard.total(), 0U);
        return taken;
    }

    void render(std::uint32_t frames = period) {
        const IoCycle cycle = {now(), nanosecondsPerFrame, frames, std::exchange(rested, false)};
        // What the mixer finds there must not matter.
        left.resize(left.size() + frames, 77.0F);
        right.resize(right.size() + frames, 77.0F);
        const RealtimeGuard guard;
        mixer.render(cycle, left.data() + left.size() - frames, right.data() + right.size() - frames);
        EXPECT_EQ(guard.total(), 0U);
    }

    void renderPeriods(std::size_t count) {
        for (std::size_t index = 0; index < count; ++index) {
            render();
        }
    }

    Mixer mixer;
    double nanosecondsPerFrame;
    /// The next period is the first after a rest.
    bool rested = false;
    std::vector<float> left;
    std::vector<float> right;
    std::atomic<std::uint32_t> inFlight = 0;
};

} // namespace keysong::test
