#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace keysong::test {

/// What a WAV file's header says, true or not.
struct WaveHeader {
    std::uint32_t rate = 48000;
    std::uint16_t channels = 1;
    /// The size of the samples in bytes; none for the true one.
    std::optional<std::uint32_t> dataBytes;
};

/// The bytes of a WAV file of 32-bit float samples, interleaved.
[[nodiscard]] std::string waveBytes(std::span<const float> samples, const WaveHeader& header = {});

/// A sine wave, one channel.
[[nodiscard]] std::vector<float> sine(double hertz, std::size_t frames, double rate, double amplitude = 0.5);

} // namespace keysong::test
