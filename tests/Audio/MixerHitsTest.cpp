#include "Audio/MixerHarness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <span>

namespace keysong::test {
namespace {

/// A single frame: wherever it comes out, there the hit began.
const SampleBuffer& impulse() {
    static const SampleBuffer buffer(std::vector<float>{0.5F});
    return buffer;
}

TEST(MixerHits, aLoneHitComesOutBitForBitAPeriodLater) {
    std::array<float, Mixer::voiceCount> pans = {};
    pans[1] = -0.5775F;
    pans[2] = 1;
    const std::vector<float> frames = noise(1000);
    const SampleBuffer buffer(frames);
    for (const std::uint32_t voice : {0U, 1U, 2U}) {
        SCOPED_TRACE(voice);
        MixerHarness harness(48000, pans);
        ASSERT_TRUE(harness.play(buffer, voice, 5, 1, 0.9F));
        harness.renderPeriods(12);
        const double angle = (static_cast<double>(pans[voice]) + 1) * std::numbers::pi / 4;
        const float leftGain = 0.9F * static_cast<float>(std::cos(angle));
        const float rightGain = 0.9F * static_cast<float>(std::sin(angle));
        const std::size_t start = MixerHarness::period + 5;
        for (std::size_t index = 0; index < harness.left.size(); ++index) {
            const bool inside = index >= start && index < start + frames.size();
            const float source = inside ? frames[index - start] : 0;
            ASSERT_EQ(harness.left[index], source * leftGain) << index;
            ASSERT_EQ(harness.right[index], source * rightGain) << index;
        }
        EXPECT_EQ(harness.inFlight, 0U);
    }
}

// A sample of 16 bits sounds as its like in float, at every rate and whatever cuts it off.
TEST(MixerHits, soundTheSameFromSixteenBits) {
    std::vector<float> frames = noise(3001);
    std::transform(frames.begin(), frames.end(), frames.begin(),
                   [](float frame) { return std::trunc(frame * 32768) / 32768; });
    frames[7] = -1;
    const SampleBuffer narrow(frames);
    EXPECT_EQ(narrow.data(), nullptr);
    EXPECT_EQ(narrow.frames(), frames);
    frames.back() += 1e-6F; // fits no more, and is not heard
    const SampleBuffer wide(frames);
    ASSERT_NE(wide.data(), nullptr);
    for (const float rate : {0.004F, 0.37F, 1.0F, 1.07F, 5.3F, 16.0F}) {
        MixerHarness one;
        MixerHarness other;
        for (auto& [harness, buffer] : {std::pair(&one, &narrow), std::pair(&other, &wide)}) {
            ASSERT_TRUE(harness->play(*buffer, 3, 5.5, rate));
            ASSERT_TRUE(harness->play(*buffer, 3, 170, rate));
            harness->render(700);
            harness->renderPeriods(60);
        }
        for (std::size_t index = 0; index < one.left.size(); ++index) {
            ASSERT_NEAR(one.left[index], other.left[index], 2e-6) << "rate " << rate << ", frame " << index;
        }
        EXPECT_EQ(one.inFlight, other.inFlight);
    }
}

// With periods of one length, a hit sounds exactly a period after it was asked for, whichever cycle sees
// it; one that comes too late for that sounds at once.
TEST(MixerHits, areExactToTheFrame) {
    struct Row {
        const char* name;
        double sampleRate;
        std::uint32_t smallest;
        std::uint32_t largest;
        /// How long after the beginning of the next cycle a hit is asked for, in periods.
        double earliest;
        double latest;
    };
    for (const Row& row : {Row{"within the block", 48000, 1, 2048, -1, 0},
                           {"late", 48000, 1, 300, -9, -1},
                           {"for a later cycle", 48000, 1, 700, 0, 5},
                           {"huge", 48000, 8192, 9000, -1, 1},
                           {"another rate", 44100, 1, 700, -1, 2}}) {
        SCOPED_TRACE(row.name);
        std::mt19937 random(11);
        std::uniform_int_distribution<std::uint32_t> size(row.smallest, row.largest);
        std::uniform_real_distribution<double> offset(row.earliest, row.latest);
        MixerHarness harness(row.sampleRate);
        for (int round = 0; round < 300; ++round) {
            const std::uint32_t frames = size(random);
            const std::size_t before = harness.left.size();
            const double asked = offset(random) * frames;
            ASSERT_TRUE(harness.play(impulse(), 3, asked));
            const double delayed = std::max(0.0, std::round(asked + frames));
            const auto expected = before + static_cast<std::size_t>(delayed);
            while (harness.left.size() < expected + 40) {
                harness.render(frames);
            }
            const auto found = soundingFrames(harness.left, before);
            ASSERT_FALSE(found.empty());
            ASSERT_EQ(found.front(), expected) << "frames " << frames << ", asked " << asked;
        }
    }
}

TEST(MixerHits, waitInTheOrderOfTheirTimesAndAllArrive) {
    MixerHarness harness;
    std::vector<double> asked(HitQueue::capacity);
    std::mt19937 random(5);
    for (std::size_t index = 0; index < asked.size(); ++index) {
        asked[index] = static_cast<double>(index * 3);
    }
    std::shuffle(asked.begin(), asked.end(), random);
    for (const double frames : asked) {
        ASSERT_TRUE(harness.play(impulse(), 0, frames));
    }
    EXPECT_FALSE(harness.play(impulse())) << "the queue takes no more than it holds";
    harness.renderPeriods(10);
    const auto found = soundingFrames(harness.left);
    ASSERT_EQ(found.size(), asked.size());
    for (std::size_t index = 0; index < found.size(); ++index) {
        ASSERT_EQ(found[index], MixerHarness::period + index * 3);
    }
    EXPECT_EQ(harness.inFlight, 0U);
}

TEST(MixerHits, ofNoUseAreRefusedAndOfNoTimeArePlayedNow) {
    MixerHarness harness;
    EXPECT_FALSE(harness.play(impulse(), Mixer::voiceCount));
    for (const float rate : {0.0F, -1.0F, std::numeric_limits<float>::infinity()}) {
        EXPECT_FALSE(harness.play(impulse(), 0, 0, rate));
    }
    EXPECT_FALSE(harness.play(impulse(), 0, 0, 1, std::numeric_limits<float>::quiet_NaN()));
    EXPECT_FALSE(harness.mixer.schedule({}));
    ++harness.inFlight;
    ASSERT_TRUE(harness.mixer.schedule(
        {std::numeric_limits<std::int64_t>::max(), 0, &impulse(), 1, 1, &harness.inFlight}));
    harness.renderPeriods(2);
    EXPECT_THAT(soundingFrames(harness.left), testing::ElementsAre(MixerHarness::period));
    EXPECT_EQ(harness.inFlight, 0U);
}

// What was typed while the render thread stood still does not come out as one bang.
TEST(MixerHits, thatComeTooLateAreDroppedAndCounted) {
    MixerHarness harness;
    const double limit = Mixer::mostLateNanoseconds / harness.nanosecondsPerFrame + MixerHarness::period;
    ASSERT_TRUE(harness.play(impulse(), 0, 1 - limit));
    for (const double frames : {-1 - limit, -2 * limit, -100 * 48000.0}) {
        ASSERT_TRUE(harness.play(impulse(), 1, frames));
    }
    ++harness.inFlight;
    ASSERT_TRUE(harness.mixer.schedule(
        {std::numeric_limits<std::int64_t>::min(), 2, &impulse(), 1, 1, &harness.inFlight}));
    harness.renderPeriods(1);
    EXPECT_EQ(harness.mixer.lateHits(), 4U);
    EXPECT_EQ(soundingFrames(harness.left).size(), 1U);
    ASSERT_TRUE(harness.play(impulse(), 3));
    harness.renderPeriods(2);
    EXPECT_EQ(soundingFrames(harness.left).size(), 2U) << "what comes in time is heard again";
    EXPECT_EQ(harness.inFlight, 0U);
}

// It is the one that woke the output, however long that took.
TEST(MixerHits, ofThoseThatAreTooLateTheFirstAfterARestIsPlayed) {
    MixerHarness harness;
    const auto playLate = [&] {
        for (std::uint32_t voice = 0; voice < 3; ++voice) {
            ASSERT_TRUE(harness.play(impulse(), voice, 1000.0 * voice - 48'000));
        }
        ASSERT_TRUE(harness.play(impulse(), 3, 50)); // and one in time
    };
    playLate();
    harness.rested = true;
    harness.renderPeriods(2);
    EXPECT_THAT(soundingFrames(harness.left), testing::ElementsAre(0U, MixerHarness::period + 50));
    EXPECT_EQ(harness.mixer.lateHits(), 2U);
    harness.rested = true;
    harness.renderPeriods(1); // nothing was late: that does not count for later
    playLate();
    harness.renderPeriods(2);
    EXPECT_EQ(harness.mixer.lateHits(), 5U);
    EXPECT_EQ(harness.inFlight, 0U);
}

TEST(MixerHits, silenceIsKnown) {
    MixerHarness harness;
    EXPECT_TRUE(harness.mixer.isSilent());
    ASSERT_TRUE(harness.play(impulse(), 0, 200));
    harness.render();
    EXPECT_FALSE(harness.mixer.isSilent()) << "one waits";
    harness.renderPeriods(2);
    EXPECT_FALSE(harness.mixer.isSilent()) << "it sounds";
    harness.renderPeriods(100);
    EXPECT_TRUE(harness.mixer.isSilent());
}

// Of what was typed the mixer knows when, and forgets it.
TEST(MixerHits, leaveNoTimeInMemory) {
    MixerHarness harness;
    std::vector<std::int64_t> times;
    for (const double frames : {-4800.0, 0.0, 10.0, 300.0, 2000.0}) {
        times.push_back(harness.now() + std::llround(frames * harness.nanosecondsPerFrame));
        ASSERT_TRUE(harness.play(impulse(), 0, frames));
    }
    const auto found = [&] {
        const auto bytes = std::as_bytes(std::span(&harness.mixer, 1));
        return std::ranges::count_if(times, [bytes](std::int64_t time) {
            const auto wanted = std::as_bytes(std::span(&time, 1));
            return std::search(bytes.begin(), bytes.end(), wanted.begin(), wanted.end()) != bytes.end();
        });
    };
    EXPECT_EQ(found(), 5);
    harness.renderPeriods(2);
    EXPECT_EQ(found(), 2) << "those that wait";
    harness.mixer.discardAll();
    EXPECT_EQ(found(), 0);
}

// What a voice plays when it is struck again ends within 2 ms, in one smooth movement, while the new sound
// starts on its frame as if nothing had been there.
TEST(MixerHits, cutOffSoundsFadeUnderTheNewOne) {
    const SampleBuffer tone(sine(150, 48000, 48000, 0.4));
    const SampleBuffer next(sine(700, 2000, 48000, 0.3));
    for (const float rate : {1.0F, 0.84F, 1.19F}) {
        for (int delay = 0; delay < 320; delay += 29) {
            SCOPED_TRACE(delay);
            MixerHarness both;
            MixerHarness alone;
            ASSERT_TRUE(both.play(tone, 0, 0, rate));
            both.renderPeriods(7);
            alone.renderPeriods(7);
            const std::size_t cut = both.left.size() + MixerHarness::period + static_cast<std::size_t>(delay);
            for (MixerHarness* harness : {&both, &alone}) {
                ASSERT_TRUE(harness->play(next, 0, delay));
                harness->renderPeriods(20);
            }
            std::vector<float> old(both.left.size());
            std::transform(both.left.begin(), both.left.end(), alone.left.begin(), old.begin(), std::minus());
            EXPECT_LE(soundingFrames(old).back(), cut + 96);
            EXPECT_GE(soundingFrames(old).back(), cut + 80) << "it did not fade, it stopped";
            // The fade itself moves by at most pi/2 of the amplitude in 96 frames, the tone by 0.02 of it.
            EXPECT_LT(greatestJump(old), 0.4F * 0.7072F * (0.0234F + 0.0165F));
            EXPECT_EQ(both.inFlight, 0U);
        }
    }
}

// There is room for 48 sounds that fade. Where more are cut off at nearly the same time, those that are
// barely heard make room: the loud one fades to its end, whenever it came.
TEST(MixerHits, makeRoomForTheirFadesWhereItIsHeardLeast) {
    const SampleBuffer loud(std::vector<float>(4000, 0.5F));
    const SampleBuffer silence(std::vector<float>(4000, 0.0F));
    constexpr int strikes = 90;
    for (const int loudEnds : {-1, 20, strikes - 1}) {
        SCOPED_TRACE(loudEnds);
        MixerHarness harness;
        ASSERT_TRUE(harness.play(loud, 0));
        ASSERT_TRUE(harness.play(loud, 1, 0, 1, 0.001F));
        harness.renderPeriods(3);
        const std::size_t before = harness.left.size();
        for (int frame = 0; frame < strikes; ++frame) {
            ASSERT_TRUE(harness.play(loud, 1, frame, 1, 0.001F));
        }
        ASSERT_TRUE(harness.play(silence, 0, loudEnds));
        harness.renderPeriods(3);
        EXPECT_LT(
            greatestJump({harness.left.begin() + static_cast<std::ptrdiff_t>(before), harness.left.end()}),
            0.5F * 0.7072F * 0.0165F + 0.001F)
            << "it did not fade, it stopped";
    }
}

// Whole bursts fall on one frame of one voice, periods are of any length, settings never rest.
TEST(MixerHits, aStormEndsInSilenceWithNothingInFlight) {
    const SampleBuffer tone(sine(300, 30000, 48000, 0.1));
    std::mt19937 random(3);
    std::uniform_int_distribution<std::uint32_t> voice(0, Mixer::voiceCount - 1);
    std::uniform_real_distribution<double> place(-128, 128);
    std::uniform_real_distribution<float> rate(0.7F, 1.4F);
    std::uniform_int_distribution<std::uint32_t> size(1, 700);
    MixerHarness harness;
    for (int round = 0; round < 300; ++round) {
        for (int hit = 0; hit < 100; ++hit) {
            const bool burst = hit % 10 < 5;
            ASSERT_TRUE(
                harness.play(tone, burst ? 4 : voice(random), burst ? -40 : place(random), rate(random), 2));
        }
        harness.mixer.setMasterVolume(static_cast<float>(round % 7) / 7);
        harness.mixer.setLowShelfGain(static_cast<float>(round % 13) - 6);
        harness.mixer.setToneConnected(round % 5 != 0);
        harness.render(size(random));
    }
    EXPECT_LE(harness.inFlight, 16U + 48U + 100U);
    harness.renderPeriods(400);
    EXPECT_EQ(harness.inFlight, 0U);
    EXPECT_EQ(harness.left.back(), 0.0F);
    EXPECT_LE(*std::max_element(harness.left.begin(), harness.left.end()), 1.0F);
}

TEST(MixerHits, areNoLongerInFlightOnceDiscarded) {
    const SampleBuffer tone(sine(300, 30000, 48000));
    MixerHarness harness;
    ASSERT_TRUE(harness.play(tone, 0));
    ASSERT_TRUE(harness.play(tone, 1));
    harness.renderPeriods(2);
    ASSERT_TRUE(harness.play(tone, 0));         // fades what voice 0 played
    ASSERT_TRUE(harness.play(tone, 2, 10'000)); // waits
    harness.renderPeriods(1);
    harness.render(8);
    ASSERT_TRUE(harness.play(tone, 3)); // still queued
    ASSERT_EQ(harness.inFlight, 5U);
    harness.mixer.discardAll();
    EXPECT_EQ(harness.inFlight, 0U);
    const std::size_t before = harness.left.size();
    harness.renderPeriods(200);
    EXPECT_TRUE(soundingFrames(harness.left, before).empty());
}

TEST(MixerHits, playAtTheirPitchAndLengthAtEveryOutputRate) {
    const SampleBuffer tone(sine(1000, 24000, 48000, 0.5));
    for (const double outputRate : {44100.0, 48000.0, 192000.0}) {
        for (const float rate : {0.84F, 1.0F, 1.19F}) {
            SCOPED_TRACE(testing::Message() << outputRate << ' ' << rate);
            MixerHarness harness(outputRate);
            ASSERT_TRUE(harness.play(tone, 0, -128, rate));
            harness.renderPeriods(static_cast<std::size_t>(outputRate) / 128);
            const auto end = static_cast<std::size_t>(0.5 * outputRate / static_cast<double>(rate));
            const auto wanted =
                sine(1000 * static_cast<double>(rate), end, outputRate, 0.5 * std::numbers::sqrt2 / 2);
            for (std::size_t index = 100; index < end * 9 / 10; ++index) {
                ASSERT_NEAR(harness.left[index], wanted[index], 1e-5) << index;
            }
            EXPECT_NEAR(static_cast<double>(soundingFrames(harness.left).back()), static_cast<double>(end),
                        80);
        }
    }
}

} // namespace
} // namespace keysong::test
