#include "support/WaveFile.h"

#include <bit>
#include <cmath>
#include <numbers>

namespace keysong::test {

namespace {

void append(std::string& bytes, std::uint32_t value, int width) {
    for (int index = 0; index < width; ++index) {
        bytes += static_cast<char>(value >> (8 * index) & 0xFFU);
    }
}

} // namespace

std::string waveBytes(std::span<const float> samples, const WaveHeader& header) {
    constexpr std::uint32_t sampleBytes = 4;
    constexpr std::uint32_t floatFormat = 3;
    const auto trueBytes = static_cast<std::uint32_t>(samples.size() * sampleBytes);
    const std::uint32_t dataBytes = header.dataBytes.value_or(trueBytes);
    std::string bytes = "RIFF";
    append(bytes, 36 + dataBytes, 4);
    bytes += "WAVEfmt ";
    append(bytes, 16, 4);
    append(bytes, floatFormat, 2);
    append(bytes, header.channels, 2);
    append(bytes, header.rate, 4);
    append(bytes, header.rate * header.channels * sampleBytes, 4);
    append(bytes, header.channels * sampleBytes, 2);
    append(bytes, sampleBytes * 8, 2);
    bytes += "data";
    append(bytes, dataBytes, 4);
    for (const float sample : samples) {
        append(bytes, std::bit_cast<std::uint32_t>(sample), 4);
    }
    return bytes;
}

std::vector<float> sine(double hertz, std::size_t frames, double rate, double amplitude) {
    std::vector<float> samples(frames);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const double phase = 2 * std::numbers::pi * hertz * static_cast<double>(frame) / rate;
        samples[frame] = static_cast<float>(amplitude * std::sin(phase));
    }
    return samples;
}

} // namespace keysong::test
