#include "Audio/ToneStage.h"

#include "Audio/MixerHarness.h"

#include <gtest/gtest.h>

#include <complex>
#include <tuple>

namespace keysong::test {
namespace {

using Complex = std::complex<double>;

/// The cookbook's analogue shelf of slope 1, at the frequency to which the bilinear transform moves it.
double shelfDecibels(bool low, double corner, double gain, double frequency, double sampleRate) {
    const double a = std::pow(10.0, gain / 40);
    const double root = std::sqrt(a) * std::numbers::sqrt2;
    const Complex s(0, std::tan(std::numbers::pi * frequency / sampleRate) /
                           std::tan(std::numbers::pi * corner / sampleRate));
    const Complex up = low ? s * s + root * s + a : a * s * s + root * s + 1.0;
    const Complex down = low ? a * s * s + root * s + 1.0 : s * s + root * s + a;
    return 20 * std::log10(a * std::abs(up / down));
}

double level(const std::vector<float>& samples, std::size_t from) {
    double sum = 0;
    for (std::size_t index = from; index < samples.size(); ++index) {
        sum += std::pow(static_cast<double>(samples[index]), 2);
    }
    return 10 * std::log10(sum / static_cast<double>(samples.size() - from));
}

TEST(ToneStage, followsTheCookbook) {
    using Row = std::tuple<double, double, double, double>;
    for (const auto& [sampleRate, low, high, makeup] :
         {Row{44100, 6, -6, -2}, {48000, -6, 6, -1.5}, {48000, 0, 0, -3}, {192000, 6, 0, 0}}) {
        for (const double frequency : {40.0, 200.0, 450.0, 1000.0, 2500.0, 3500.0, 14000.0}) {
            SCOPED_TRACE(testing::Message() << sampleRate << " Hz, " << low << '/' << high << '/' << makeup
                                            << " dB at " << frequency << " Hz");
            ToneStage tone;
            tone.setGains({static_cast<float>(low), static_cast<float>(high), static_cast<float>(makeup)});
            tone.prepare(sampleRate);
            // A whole second: whole cycles of every frequency after the first half.
            std::vector<float> left = sine(frequency, static_cast<std::size_t>(sampleRate), sampleRate, 0.25);
            const std::vector<float> before = left;
            std::vector<float> right(left.size());
            tone.process(left.data(), right.data(), left.size());
            const std::size_t from = left.size() / 2;
            EXPECT_NEAR(level(left, from) - level(before, from),
                        shelfDecibels(true, 200, low, frequency, sampleRate) +
                            shelfDecibels(false, 3500, high, frequency, sampleRate) + makeup,
                        0.01);
            EXPECT_EQ(*std::max_element(right.begin(), right.end()), 0.0F) << "the channels leak";
        }
    }
}

TEST(ToneStage, isTransparentWhenFlatAndAgainAfterReturning) {
    const std::vector<float> frames = sine(330, 48000, 48000, 0.4);
    std::vector<float> left = frames;
    std::vector<float> right = frames;
    ToneStage tone;
    tone.prepare(48000);
    const auto process = [&](std::size_t from, std::size_t to) {
        for (; from < to; from += 100) {
            tone.process(left.data() + from, right.data() + from, 100);
        }
    };
    process(0, 10'000);
    EXPECT_EQ(left, frames);
    tone.setGains({6, -6, -2});
    process(10'000, 20'000);
    EXPECT_NE(left[19'999], frames[19'999]);
    tone.setGains({-0.0F, 0, -0.0F});
    process(20'000, 48'000);
    // 20 ms of way and then what a 200 Hz filter takes to forget.
    EXPECT_TRUE(std::equal(left.begin() + 23'000, left.end(), frames.begin() + 23'000));
    EXPECT_EQ(left, right);
}

} // namespace
} // namespace keysong::test
