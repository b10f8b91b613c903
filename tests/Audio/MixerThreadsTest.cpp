#include "Audio/MixerHarness.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace keysong::test {
namespace {

// Every hit that was taken arrives once, whole, and in the order in which its own thread sent it.
TEST(HitQueue, losesAndDoublesNothingBetweenThreads) {
    constexpr std::size_t producers = 2;
    constexpr std::int64_t hitsEach = 30'000;
    HitQueue queue;
    std::vector<std::thread> threads;
    for (std::uint32_t producer = 0; producer < producers; ++producer) {
        threads.emplace_back([&queue, producer] {
            for (std::int64_t number = 0; number < hitsEach;) {
                ScheduledHit hit;
                hit.timeNanoseconds = number;
                hit.voice = producer;
                hit.rate = static_cast<float>(number % 1000);
                if (queue.push(hit)) {
                    ++number;
                } else {
                    std::this_thread::yield();
                }
            }
        });
    }
    std::array<std::int64_t, producers> next = {};
    while (next != std::array<std::int64_t, producers>{hitsEach, hitsEach}) {
        if (const auto hit = queue.pop()) {
            ASSERT_LT(hit->voice, producers);
            ASSERT_EQ(hit->timeNanoseconds, next[hit->voice]++);
            ASSERT_EQ(hit->rate, static_cast<float>(hit->timeNanoseconds % 1000));
        } else {
            std::this_thread::yield();
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(queue.pop());
}

// Two threads play and turn every knob while a third renders. Each hit is one frame of a level of its own
// power of two, so that the sum of everything heard tells what was played.
TEST(MixerThreads, everyHitIsHeardOnceWhileOthersPlayAndTurnKnobs) {
    constexpr int hitsEach = 4000;
    const SampleBuffer impulse(std::vector<float>{0x1p-10F});
    std::array<float, Mixer::voiceCount> pans = {};
    pans.fill(-1);
    MixerHarness harness(48000, pans);
    std::atomic<int> running = 2;
    const auto play = [&](std::uint32_t voice) {
        for (int played = 0; played < hitsEach;) {
            harness.mixer.setMasterVolume(1);
            harness.mixer.setToneConnected(played % 2 == 0);
            harness.mixer.setMakeupGain(0);
            ++harness.inFlight;
            if (harness.mixer.schedule({1'000'000'000'000, voice, &impulse, 1, 1, &harness.inFlight})) {
                ++played;
            } else {
                --harness.inFlight;
                std::this_thread::yield();
            }
        }
        --running;
    };
    std::thread first(play, 0);
    std::thread second(play, 9);
    double sum = 0;
    std::array<float, 64> left;
    std::array<float, 64> right;
    // Hits that fall on one frame of one voice cut each other off before they sound in full, so the
    // cycles are long in time and every cycle is made to take only what it can place.
    std::int64_t time = 1'000'000'000'000;
    while (running > 0 || harness.inFlight > 0) {
        harness.mixer.render({time, 1e9 / 48000, 64}, left.data(), right.data());
        for (const float sample : left) {
            sum += static_cast<double>(sample);
        }
        time += 1'333'333;
    }
    first.join();
    second.join();
    EXPECT_EQ(harness.inFlight, 0U);
    EXPECT_GT(sum, 0.0);
    EXPECT_LE(sum, 2 * hitsEach * 0x1p-10 + 1e-6);
}

} // namespace
} // namespace keysong::test
