#include "Shared/Loudness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "GeneratedFiles.h"
#include "soundgen/ExactMath.h"
#include "soundgen/Excitation.h"
#include "soundgen/Finish.h"
#include "soundgen/ModalBank.h"

namespace keysong::soundgen {
namespace {

TEST(ExactMathTest, AgreesWithTheLibraryOverItsRange) {
    for (double x = -50; x < 50; x += 0.0137) {
        EXPECT_NEAR(exactSine(x), std::sin(x), 2e-14) << x;
        EXPECT_NEAR(exactCosine(x), std::cos(x), 2e-14) << x;
        EXPECT_NEAR(exactExponential(x) / std::exp(x), 1, 1e-14) << x;
        EXPECT_NEAR(exactLogarithm(std::exp(x)), x, 1e-13) << x;
    }
    EXPECT_EQ(exactExponential(-1e9), 0);
    EXPECT_TRUE(std::isfinite(exactExponential(1e9)));
    EXPECT_NEAR(exactPower(3, 1.06), std::pow(3, 1.06), 1e-13);
    EXPECT_NEAR(amplitudeFromDecibels(-6), 0.501187, 1e-6);
    EXPECT_NEAR(decibelsFromAmplitude(0.5), -6.0206, 1e-4);
}

TEST(RandomTest, PartsAreIndependentAndRepeatable) {
    EXPECT_EQ(Random(1, "a", 2).next(), Random(1, "a", 2).next());
    EXPECT_NE(Random(1, "a", 2).next(), Random(1, "a", 3).next());
    EXPECT_NE(Random(1, "a", 2).next(), Random(1, "b", 2).next());
    EXPECT_NE(Random(1, "a", 2).next(), Random(2, "a", 2).next());
    Random random(7);
    double sum = 0;
    double squares = 0;
    for (int i = 0; i < 20000; ++i) {
        const double value = random.gaussian();
        sum += value;
        squares += value * value;
    }
    EXPECT_NEAR(sum / 20000, 0, 0.03);
    EXPECT_NEAR(squares / 20000, 1, 0.05);
}

TEST(ModalBankTest, AModeRingsAtItsLevelAndFallsBySixtyDecibelsInItsTime) {
    Signal force(9600);
    force[0] = 1;
    Signal out(force.size());
    ring({{1000, 100, -6}}, force, out);
    const auto peakFrom = [&out](std::size_t start) {
        double peak = 0;
        for (std::size_t n = start; n < start + 48; ++n) {
            peak = std::max(peak, std::abs(out[n]));
        }
        return peak;
    };
    EXPECT_NEAR(20 * std::log10(peakFrom(0)), -6, 0.3);
    EXPECT_NEAR(20 * std::log10(peakFrom(4800)), -66, 0.3);
}

TEST(ModalBankTest, DampingShortensTheHighResonancesMost) {
    Bank still;
    still.frequencyJitter = still.decayJitter = still.levelJitterDb = 0;
    Random random(1);
    const auto hit =
        modesOfHit({{100, 50, 0}, {4000, 50, 0}}, still, {0, 1.5, 2, -3}, {0.5, 6000}, {}, random);
    EXPECT_DOUBLE_EQ(hit[1].frequencyHz, 6000);
    EXPECT_NEAR(hit[0].decayMs, 50, 0.1);
    EXPECT_NEAR(hit[1].decayMs, 25, 0.1) << "half at the foam's own frequency";
    EXPECT_DOUBLE_EQ(hit[1].levelDb, -3);
}

TEST(ModalBankTest, ACloudFillsItsBandWithoutGaps) {
    Bank bank;
    bank.name = "plate";
    bank.clouds.push_back({16, 500, 8000, 20, 10, 0, 0});
    const auto modes = drawModes(bank, 3);
    ASSERT_EQ(modes.size(), 16U);
    for (std::size_t i = 0; i < modes.size(); ++i) {
        // A quarter of an octave each.
        EXPECT_GE(modes[i].frequencyHz, 499.9 * std::exp2(0.25 * static_cast<double>(i)));
        EXPECT_LE(modes[i].frequencyHz, 500.1 * std::exp2(0.25 * static_cast<double>(i + 1)));
    }
}

TEST(ModalBankTest, AResonanceIsHeardAsFarAsItSwingsWhereItIsStruck) {
    Bank bank;
    bank.frequencyJitter = bank.decayJitter = bank.levelJitterDb = 0;
    bank.shapeDb = 4;
    Mode mode{1000, 50, -10};
    mode.wavesAcross = 1;
    Random random(1);
    const auto levelAt = [&](double across) {
        return modesOfHit({mode}, bank, {0, 1, 1, 0}, {}, {across, 0}, random).at(0).levelDb;
    };
    EXPECT_NEAR(levelAt(0), -6, 1e-9);
    EXPECT_NEAR(levelAt(0.25), -10, 1e-9);
    EXPECT_NEAR(levelAt(0.5), -14, 1e-9);
}

TEST(ExcitationTest, AContactPushesByItsAmplitudeHoweverLongItIs) {
    for (const double contactMs : {0.1, 0.3, 1.0, 3.0}) {
        Signal force(480);
        Random random(1);
        addContact(force, 1.234, contactMs, -120, 2, random);
        EXPECT_NEAR(std::accumulate(force.begin(), force.end(), 0.0), 2, 0.02) << contactMs;
        EXPECT_EQ(force[59], 0) << "nothing before its time";
    }
}

TEST(ExcitationTest, TheShorterAContactTheHigherItsNoiseReaches) {
    const auto highShare = [](double contactMs) {
        Signal out(4800);
        Random random(1);
        addAir(out, 10, {0, 5}, contactMs, 1, random);
        EXPECT_EQ(energyOf(out, 0, 480), 0) << "nothing before its time";
        Signal high = out;
        highPass(10000).run(high);
        return energyOf(high, 0, high.size()) / energyOf(out, 0, out.size());
    };
    EXPECT_GT(highShare(0.2), 0.4) << "hard parts reach 17 kHz";
    EXPECT_GT(highShare(0.2), 1.3 * highShare(0.4));
    EXPECT_LT(highShare(1), 0.1) << "soft ones do not";
}

TEST(ExcitationTest, WhatReachesBeyondTheEndIsDropped) {
    Signal out(100);
    Random random(1);
    addContact(out, 50, 1, 0, 1, random);
    addBurst(out, 2, {0, 1000, 4000, 0.2, 50}, 1, random);
    addBurst(out, 50, {0, 1000, 4000, 0.2, 50}, 1, random);
    addRub(out, 1.9, {}, 1, random);
    EXPECT_EQ(out.size(), 100U);
    EXPECT_EQ(out[90], 0);
    EXPECT_NE(out[99], 0);
}

TEST(FinishTest, ASteadyToneIsAsLoudAsTheStandardSays) {
    // By ITU-R BS.1770 a full-scale sine at 997 Hz reads -3.01 when the standard's offset of -0.691 is added.
    // A second holds twenty times the energy of the 50 ms that it is given as.
    Signal tone(48000);
    for (std::size_t n = 0; n < tone.size(); ++n) {
        tone[n] = std::sin(2 * pi * 997 * static_cast<double>(n) / sampleRate);
    }
    EXPECT_NEAR(20 * std::log10(loudness(tone)) - 10 * std::log10(20) - 0.691, -3.01, 0.1);
}

TEST(FinishTest, ASoundEndsSoonAfterItHasDiedAway) {
    Signal signal(20000);
    signal[10] = 1;
    signal[3000] = 1e-3;
    signal[8000] = 1e-5;
    trimTail(signal, 66);
    EXPECT_EQ(signal.size(), 3001U + 1200U);
    EXPECT_EQ(signal.back(), 0);
    EXPECT_EQ(signal[3000], 1e-3) << "the fade comes after it";
}

} // namespace
} // namespace keysong::soundgen
