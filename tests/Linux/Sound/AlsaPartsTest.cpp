// The parts of the ALSA output that need no device.
#include "Linux/Sound/AlsaDevices.h"
#include "Linux/Sound/AlsaFrames.h"
#include "Linux/Sound/AlsaTimeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

namespace keysong {
namespace {

TEST(AlsaDevices, TheUidNamesTheCardNotItsNumber) {
    EXPECT_EQ(alsaUid("PCH", 3), "alsa:PCH,3");
    EXPECT_EQ(alsaPcmName("hw", "PCH", 3), "hw:CARD=PCH,DEV=3");
}

/// How observations miss the true time, in nanoseconds, for the period of this number.
struct JitterCase {
    const char* name;
    /// The device's true rate.
    double rate;
    std::function<double(int, std::mt19937&)> lateness;
    /// How far a cycle may lie from a straight line by then, in nanoseconds.
    double largestError;
};

constexpr std::uint32_t period = 128;
constexpr double nominal = 48000;

/// Cycles tile, and run straight once the timeline has settled.
void expectStraight(const JitterCase& jitter) {
    SCOPED_TRACE(jitter.name);
    std::mt19937 random(7);
    AlsaTimeline timeline(nominal, period);
    const double truePeriod = period * 1e9 / jitter.rate;
    constexpr int periods = 8000;
    constexpr int settled = 6000;
    constexpr std::int64_t epoch = 8'000'000'000'000'000;
    IoCycle before;
    double firstOffset = 0;
    double worst = 0;
    for (int i = 0; i < periods; ++i) {
        const double time = i * truePeriod;
        const IoCycle cycle = timeline.advance(epoch + std::llround(time + jitter.lateness(i, random)));
        ASSERT_EQ(cycle.frameCount, period);
        if (i > 0) {
            const double end =
                static_cast<double>(before.startNanoseconds - epoch) + before.nanosecondsPerFrame * period;
            ASSERT_NEAR(static_cast<double>(cycle.startNanoseconds - epoch), end, 2) << "at " << i;
            ASSERT_GT(cycle.startNanoseconds, before.startNanoseconds);
        }
        before = cycle;
        const double offset = static_cast<double>(cycle.startNanoseconds - epoch) - time;
        if (i == settled) {
            firstOffset = offset;
        } else if (i > settled) {
            worst = std::max(worst, std::fabs(offset - firstOffset));
        }
    }
    EXPECT_LT(worst, jitter.largestError);
    EXPECT_NEAR(before.nanosecondsPerFrame, 1e9 / jitter.rate, jitter.largestError / period);
}

double uniform(std::mt19937& random, double least, double most) {
    return std::uniform_real_distribution<double>(least, most)(random);
}

TEST(AlsaTimeline, CyclesTileAndRunStraightHoweverLateTheyAreSeen) {
    const auto exact = [](int, std::mt19937&) { return 0.0; };
    const JitterCase rows[] = {
        {"exact stamps", nominal, exact, 10},
        {"a fast crystal", nominal * 1.0003, exact, 2000},
        {"a slow crystal and late wakes", nominal * 0.9997,
         [](int, std::mt19937& random) { return uniform(random, 0, 300e3); }, 15e3},
        {"a bus that takes sound in steps of a millisecond", nominal,
         [](int i, std::mt19937&) {
             const double time = i * (period * 1e9 / nominal);
             return std::ceil(time / 1e6) * 1e6 - time;
         },
         20e3},
        {"rare long stalls", nominal,
         [](int, std::mt19937& random) { return uniform(random, 0, 1) > 0.998 ? 2e6 : 0.0; }, 40e3}};
    for (const JitterCase& row : rows) {
        expectStraight(row);
    }
}

TEST(AlsaTimeline, AStalledMachineMovesTheTimelineForwardOnly) {
    AlsaTimeline timeline(nominal, period);
    constexpr double periodLength = period * 1e9 / nominal;
    std::int64_t time = 1'000'000;
    for (int i = 0; i < 500; ++i) {
        static_cast<void>(timeline.advance(time + std::llround(i * periodLength)));
    }
    time += 2'000'000'000;
    const std::int64_t awake = time + std::llround(500 * periodLength);
    EXPECT_EQ(timeline.advance(awake).startNanoseconds, awake);
    // Started anew with a first observation that seems to lie in the past.
    timeline.reset();
    EXPECT_GE(timeline.advance(awake - 1'000'000).startNanoseconds, awake);
}

TEST(AlsaTimeline, ALateFirstObservationIsCorrectedWithinAFewPeriods) {
    AlsaTimeline timeline(nominal, period);
    constexpr double periodLength = period * 1e9 / nominal;
    constexpr double late = 4e6;
    static_cast<void>(timeline.advance(std::llround(1e9 + late)));
    double offset = late;
    for (int i = 1; i <= 10; ++i) {
        const double time = 1e9 + i * periodLength;
        offset = static_cast<double>(timeline.advance(std::llround(time)).startNanoseconds) - time;
    }
    EXPECT_LT(std::fabs(offset), 0.01 * late);
}

template <typename Sample>
std::vector<Sample> samplesOf(const AlsaFrames& frames, std::size_t count) {
    std::vector<Sample> samples(count);
    std::memcpy(samples.data(), frames.at(0), count * sizeof(Sample));
    return samples;
}

const std::vector<float> left{0.0F, 0.5F, 1.0F, 2.0F};
const std::vector<float> right{-0.5F, -1.0F, -2.0F, 1.0F / 65536.0F};

TEST(AlsaFrames, FloatsPassAndAreClamped) {
    AlsaFrames frames(AlsaFormat::float32, {}, 4);
    frames.fill(left.data(), right.data());
    EXPECT_EQ(samplesOf<float>(frames, 8),
              (std::vector<float>{0.0F, -0.5F, 0.5F, -1.0F, 1.0F, -1.0F, 1.0F, 1.0F / 65536.0F}));
    EXPECT_EQ(samplesOf<float>(frames, 3)[2], *static_cast<const float*>(frames.at(1)));
}

TEST(AlsaFrames, WholeNumbersReachFullScaleWithoutTurningOver) {
    AlsaFrames wide(AlsaFormat::signed32, {}, 4);
    wide.fill(left.data(), right.data());
    constexpr auto most = std::numeric_limits<std::int32_t>::max();
    constexpr auto least = std::numeric_limits<std::int32_t>::min();
    EXPECT_EQ(samplesOf<std::int32_t>(wide, 8),
              (std::vector<std::int32_t>{0, -(1 << 30), 1 << 30, least, most, least, most, 1 << 15}));
    AlsaFrames narrow(AlsaFormat::signed16, {}, 4);
    narrow.fill(left.data(), right.data());
    EXPECT_EQ(samplesOf<std::int16_t>(narrow, 8),
              (std::vector<std::int16_t>{0, -16384, 16384, -32768, 32767, -32768, 32767, 0}));
}

TEST(AlsaFrames, TheTwoSidesComeWhereTheyBelong) {
    const std::vector<float> first{0.25F, 0.5F};
    const std::vector<float> second{0.75F, -0.5F};
    struct Row {
        const char* name;
        AlsaChannels channels;
        std::vector<float> frames;
    };
    for (const Row& row : {Row{"one channel gets the mean", {1, 0, 1}, {0.5F, 0.0F}},
                           Row{"exchanged", {2, 1, 0}, {0.75F, 0.25F, -0.5F, 0.5F}},
                           Row{"out of range", {3, 7, 8}, {0.25F, 0.75F, 0, 0.5F, -0.5F, 0}}}) {
        AlsaFrames frames(AlsaFormat::float32, row.channels, 2);
        frames.fill(first.data(), second.data());
        EXPECT_EQ(samplesOf<float>(frames, row.frames.size()), row.frames) << row.name;
    }
}

} // namespace
} // namespace keysong
