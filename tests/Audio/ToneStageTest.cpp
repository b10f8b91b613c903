#include "Audio/ToneStage.h"

#include "Audio/MixerHarness.h"

#include <gtest/gtest.h>

#include <complex>

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

struct Response {
    double sampleRate;
    ToneGains gains;
};

void PrintTo(const Response& response, std::ostream* out) {
    *out << response.sampleRate << " Hz, " << response.gains.lowShelf << '/' << response.gains.highShelf
         << '/' << response.gains.makeup << " dB";
}

class ToneStageResponse : public testing::TestWithParam<Response> {};

TEST_P(ToneStageResponse, followsTheCookbook) {
    const auto& [sampleRate, gains] = GetParam();
    for (const double frequency : {40.0, 120.0, 200.0, 450.0, 1000.0, 2500.0, 3500.0, 6000.0, 14000.0}) {
        ToneStage tone;
        tone.setGains(gains);
        tone.prepare(sampleRate);
        // A whole second: whole cycles of every frequency after the first half.
        std::vector<float> left = sine(frequency, sampleRate, static_cast<std::size_t>(sampleRate), 0.25F);
        const std::vector<float> before = left;
        std::vector<float> right(left.size());
        tone.process(left.data(), right.data(), left.size());
        const std::size_t from = left.size() / 2;
        const double wanted =
            shelfDecibels(true, 200, static_cast<double>(gains.lowShelf), frequency, sampleRate) +
            shelfDecibels(false, 3500, static_cast<double>(gains.highShelf), frequency, sampleRate) +
            static_cast<double>(gains.makeup);
        EXPECT_NEAR(level(left, from) - level(before, from), wanted, 0.01) << frequency;
        EXPECT_EQ(*std::max_element(right.begin(), right.end()), 0.0F) << "the channels leak";
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, ToneStageResponse,
                         testing::Values(Response{44100, {6, -6, -2}}, Response{48000, {6, -6, -2}},
                                         Response{48000, {-6, 6, -1.5F}}, Response{96000, {-4.2F, 4.2F, 0}},
                                         Response{48000, {0, 0, -3}}, Response{192000, {6, 0, 0}}));

TEST(ToneStage, isTransparentWhenFlatAndAgainAfterReturning) {
    const std::vector<float> frames = sine(330, 48000, 48000, 0.4F);
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

// From one end to the other on a steady low tone: all that is not this tone itself stays small. Its second
// difference would show the corners that steps of a setting leave.
TEST(ToneStage, movesWithoutZipperNoise) {
    std::vector<float> left = sine(100, 48000, 24'000, 0.5F);
    std::vector<float> right = left;
    ToneStage tone;
    tone.setGains({6, -6, -2});
    tone.prepare(48000);
    const auto roughness = [&](std::size_t from, std::size_t to) {
        float greatest = 0;
        for (std::size_t index = from + 2; index < to; ++index) {
            greatest = std::max(greatest, std::fabs(left[index] - 2 * left[index - 1] + left[index - 2]));
        }
        return greatest;
    };
    for (std::size_t block = 0; block < 24'000; block += 120) {
        if (block >= 6000 && block < 12'000) {
            // Like a pad being dragged: a new place with every block.
            const float place = static_cast<float>(block - 6000) / 6000;
            tone.setGains({6 - 12 * place, -6 + 12 * place, -2});
        }
        tone.process(left.data() + block, right.data() + block, 120);
    }
    EXPECT_LT(roughness(6000, 24'000), 1.3F * roughness(1000, 6000));
}

} // namespace
} // namespace keysong::test
