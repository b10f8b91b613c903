#include "Audio/MixerHarness.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <optional>
#include <thread>

namespace keysong::test {
namespace {

// Two threads play and turn knobs while a third renders. Each hit is a single frame on a voice that is free,
// so what is heard adds up to exactly what was played. A recording is destroyed and made anew as soon as its
// hit is over: the thread sanitizer would see the mixer look at it later.
TEST(MixerThreads, everyHitIsHeardOnceAndItsRecordingLeftAloneAfterwards) {
    constexpr int hitsEach = 2000;
    constexpr std::uint32_t voicesEach = 8;
    std::array<float, Mixer::voiceCount> pans = {};
    pans.fill(-1);
    Mixer mixer(pans);
    std::array<std::atomic<std::uint32_t>, Mixer::voiceCount> inFlight = {};
    std::atomic<int> playing = 2;
    std::atomic<int> refused = 0;
    const auto awaitEnd = [&](std::uint32_t voice) {
        while (inFlight[voice].load(std::memory_order_acquire) != 0) {
            std::this_thread::yield();
        }
    };
    const auto play = [&](std::uint32_t firstVoice) {
        std::array<std::optional<SampleBuffer>, voicesEach> recordings;
        for (std::uint32_t played = 0; played < hitsEach; ++played) {
            const std::uint32_t index = played % voicesEach;
            const std::uint32_t voice = firstVoice + index;
            awaitEnd(voice);
            recordings[index].emplace(std::vector<float>{0x1p-10F});
            inFlight[voice] = 1;
            mixer.setToneConnected(played % 2 == 0);
            mixer.setMasterVolume(1);
            if (!mixer.schedule({played, voice, &*recordings[index], 1, 1, &inFlight[voice]})) {
                ++refused;
                inFlight[voice] = 0;
            }
        }
        for (std::uint32_t index = 0; index < voicesEach; ++index) {
            awaitEnd(firstVoice + index);
        }
        --playing;
    };
    std::thread first(play, 0);
    std::thread second(play, voicesEach);
    double sum = 0;
    std::array<float, 64> left;
    std::array<float, 64> right;
    while (playing > 0) {
        // Ten milliseconds after all hits, so that each is late and sounds at once.
        mixer.render({10'000'000, 1e9 / 48000, 64}, left.data(), right.data());
        sum = std::accumulate(left.begin(), left.end(), sum);
    }
    first.join();
    second.join();
    EXPECT_EQ(refused, 0);
    EXPECT_EQ(sum, 2 * hitsEach * 0x1p-10);
}

} // namespace
} // namespace keysong::test
