#include <gtest/gtest.h>

#include <cmath>

#include "GeneratedFiles.h"
#include "soundgen/Colour.h"
#include "soundgen/Convolver.h"
#include "soundgen/RoomResponse.h"

namespace keysong::soundgen {
namespace {

constexpr Room study = {3, 0.3, 0.55, 0.25};

/// Mean energy of some draws of a room between two times, through an octave.
double energyIn(const Room& room, double centreHz, double fromMs, double toMs) {
    const RoomResponse response(room, 3);
    double energy = 0;
    for (std::uint64_t seed = 0; seed < 12; ++seed) {
        Random random(seed);
        Signal signal = response.at({}, random);
        for (int i = 0; i < 2; ++i) {
            highPass(centreHz / 1.3).run(signal);
            lowPass(centreHz * 1.3).run(signal);
        }
        energy +=
            energyOf(signal, static_cast<std::size_t>(fromMs * 48), static_cast<std::size_t>(toMs * 48));
    }
    return energy;
}

TEST(RoomTest, ASizeOfNothingIsNoRoom) {
    Random random(1);
    EXPECT_EQ(RoomResponse({}, 1).at({}, random), Signal{1.0});
}

TEST(RoomTest, EveryOctaveDiesAwayAsItsAbsorptionSays) {
    for (const double centreHz : {250.0, 1000.0, 4000.0}) {
        const double early = energyIn(study, centreHz, 50, 80);
        const double late = energyIn(study, centreHz, 90, 120);
        // What falls by 60 dB in so long falls in 40 ms by:
        const double expectedDb = 60 * 40 / reverberationMs(study, centreHz);
        EXPECT_NEAR(10 * std::log10(early / late), expectedDb, 0.2 * expectedDb) << centreHz;
    }
    EXPECT_GT(reverberationMs(study, 177), 1.7 * reverberationMs(study, 11314));
    // Eyring: 0.161 times volume over surface and the exponent of the absorption.
    EXPECT_NEAR(reverberationMs(study, 177), 161 * 27 / (54 * -std::log(0.7)), 0.1);
    EXPECT_NEAR(reverberationMs({6, 0.3, 0.55, 0.25}, 1000), 2 * reverberationMs(study, 1000), 1e-6);
}

TEST(RoomTest, FartherAwayMoreOfTheRoomIsHeard) {
    const Room farther = {3, 0.3, 0.55, 0.5};
    EXPECT_NEAR(10 * std::log10(energyIn(farther, 1000, 50, 120) / energyIn(study, 1000, 50, 120)), 6, 0.5);
    // Reflections come within the first 24 ms, the rest builds up.
    EXPECT_GT(energyIn(study, 4000, 1, 12), energyIn(study, 4000, 24, 36));
}

TEST(RoomTest, EachKeyHearsTheSameWallsFromItsOwnPlace) {
    const RoomResponse response(study, 3);
    const auto drawn = [&](const Place& place, std::uint64_t seed) {
        Random random(seed);
        return response.at(place, random);
    };
    // Above all, where the reflections come: those of hits of one key are in one place, those of others are
    // not.
    const auto common = [](const Signal& a, const Signal& b) {
        double sum = 0;
        for (std::size_t n = 24; n < 480; ++n) {
            sum += a[n] * b[n];
        }
        return sum / std::sqrt(energyOf(a, 24, 480) * energyOf(b, 24, 480));
    };
    EXPECT_GT(common(drawn({0.2, 0.5}, 1), drawn({0.2, 0.5}, 2)), 0.7);
    EXPECT_LT(std::abs(common(drawn({0.2, 0.5}, 1), drawn({0.8, 0.5}, 1))), 0.5);
    const Signal one = drawn({}, 1);
    EXPECT_EQ(one.front(), 1) << "the sound itself comes first";
    EXPECT_LT(energyOf(one, 1, 15), 1e-3) << "and nothing at once after it";
}

TEST(ConvolverTest, GivesTheSumOfAllDelayedCopies) {
    Random random(1);
    Signal a(700);
    Signal b(90);
    for (auto* signal : {&a, &b}) {
        for (double& sample : *signal) {
            sample = random.even();
        }
    }
    Convolver convolver;
    const Signal whole = convolver.convolve(a, b, 10000);
    ASSERT_EQ(whole.size(), 789U);
    for (const std::size_t n : {0U, 1U, 89U, 400U, 788U}) {
        double expected = 0;
        for (std::size_t k = 0; k < b.size(); ++k) {
            expected += n >= k && n - k < a.size() ? a[n - k] * b[k] : 0;
        }
        EXPECT_NEAR(whole[n], expected, 1e-11) << n;
    }
    EXPECT_EQ(convolver.convolve(a, b, 100).size(), 100U);
    EXPECT_EQ(convolver.convolve({2}, {3}, 5).size(), 1U);
    EXPECT_NEAR(convolver.convolve({2}, {3}, 5).at(0), 6, 1e-12);
}

TEST(ColourTest, KeysDifferByAsMuchAsTheBoardSays) {
    const Colour colour({3, 0}, 5);
    double squares = 0;
    double alongSquares = 0;
    int count = 0;
    for (double down = 0.25; down < 0.8; down += 0.165) {
        for (double across = 0; across < 1; across += 0.05) {
            for (int octave = 0; octave < Colour::octaveCount; ++octave) {
                const double level = colour.levelDb(octave, {across, down});
                squares += level * level;
                alongSquares += std::pow(level - colour.levelDb(octave, {across + 0.02, down}), 2);
                ++count;
            }
        }
    }
    EXPECT_NEAR(std::sqrt(squares / count), 3, 0.6);
    EXPECT_LT(alongSquares, 0.1 * squares) << "a quarter of a key makes no difference";
    Signal click(4800);
    click[0] = 1;
    Signal coloured = click;
    Random random(1);
    Colour({0, 0}, 5).apply(coloured, {}, random);
    for (std::size_t n = 0; n < click.size(); ++n) {
        EXPECT_NEAR(coloured[n], click[n], 1e-12);
    }
}

} // namespace
} // namespace keysong::soundgen
