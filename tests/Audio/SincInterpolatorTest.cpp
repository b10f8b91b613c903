#include "Audio/MixerHarness.h"

#include <gtest/gtest.h>

namespace keysong::test {
namespace {

using Instructions = SincInterpolator::Instructions;

// What this machine lacks is replaced by what it has.
constexpr Instructions allInstructions[] = {Instructions::portable, Instructions::avx2, Instructions::avx512};

constexpr std::uint64_t start = 64 * SincInterpolator::oneFrame;

std::vector<float> readAll(const SincInterpolator& interpolator, const std::vector<float>& source,
                           double rate, std::size_t count) {
    const std::uint64_t step = SincInterpolator::step(rate);
    std::uint64_t position = start;
    std::vector<float> out(count);
    interpolator.read(source.data(), interpolator.filter(step), position, step, out.data(), count);
    EXPECT_EQ(position, start + count * step);
    return out;
}

/// The error against the sine itself, in dB below it.
double residual(const SincInterpolator& interpolator, double frequency, double rate) {
    const std::vector<float> source = sine(frequency, 8192, 48000, 1);
    const std::vector<float> out = readAll(interpolator, source, rate, 4000);
    const double step = static_cast<double>(SincInterpolator::step(rate)) * 0x1p-32;
    double error = 0;
    for (std::size_t index = 0; index < out.size(); ++index) {
        const double at = 64 + static_cast<double>(index) * step;
        const double wanted = std::sin(2 * std::numbers::pi * frequency / 48000 * at);
        error += std::pow(static_cast<double>(out[index]) - wanted, 2);
    }
    return -10 * std::log10(2 * error / static_cast<double>(out.size()));
}

TEST(SincInterpolator, reproducesSinesToNinetyDecibels) {
    for (const Instructions instructions : allInstructions) {
        const SincInterpolator interpolator(instructions);
        for (const double frequency : {50.0, 1000.0, 5000.0, 10000.0}) {
            for (const double rate : {0.5, 0.71, 0.84, 0.97, 1.0001, 1.03, 1.0884, 1.19, 1.26, 1.37}) {
                EXPECT_GT(residual(interpolator, frequency, rate), 90) << frequency << " Hz at rate " << rate;
            }
        }
    }
}

// What would fold back is taken out first.
TEST(SincInterpolator, leavesOutWhatNoLongerFits) {
    const SincInterpolator interpolator;
    for (const auto& [rate, frequency] :
         {std::pair{1.19, 23800.0}, {1.5, 21500.0}, {2.0, 17500.0}, {4.0, 11500.0}}) {
        const std::vector<float> source = sine(frequency, 20000, 48000, 1);
        const std::vector<float> out = readAll(interpolator, source, rate, 4000);
        EXPECT_LT(*std::max_element(out.begin(), out.end()), rate == 1.19 ? 0.005 : 3e-4) << rate;
    }
}

TEST(SincInterpolator, isTransparentAtWholePositions) {
    const std::vector<float> source = sine(997, 400, 48000, 0.7);
    for (const Instructions instructions : allInstructions) {
        // Rate 1/2 goes through the filters: every other frame must still be the recording's own.
        const std::vector<float> out = readAll(SincInterpolator(instructions), source, 0.5, 401);
        for (std::size_t index = 0; index < out.size(); index += 2) {
            ASSERT_EQ(out[index], source[64 + index / 2]) << index;
        }
    }
}

// However a sound is cut into blocks, it is the same sound, and all instructions agree.
TEST(SincInterpolator, doesNotDependOnBlocksOrInstructions) {
    const std::vector<float> source = sine(3000, 2000, 48000, 1);
    const std::uint64_t step = SincInterpolator::step(1.1234567);
    const auto readInParts = [&](Instructions instructions, std::size_t greatest) {
        const SincInterpolator interpolator(instructions);
        std::vector<float> parts(1000);
        std::uint64_t position = start;
        for (std::size_t done = 0, size = 1; done < parts.size(); done += size, size = size % greatest + 1) {
            size = std::min(size, parts.size() - done);
            interpolator.read(source.data(), interpolator.filter(step), position, step, parts.data() + done,
                              size);
        }
        return parts;
    };
    const std::vector<float> portable = readInParts(Instructions::portable, 500);
    for (const Instructions instructions : allInstructions) {
        const std::vector<float> parts = readInParts(instructions, 13);
        EXPECT_EQ(parts, readInParts(instructions, 500));
        for (std::size_t index = 0; index < parts.size(); ++index) {
            ASSERT_NEAR(parts[index], portable[index], 1e-6) << index;
        }
    }
}

} // namespace
} // namespace keysong::test
