#pragma once

#include "Shared/Biquad.h"

#include <vector>

namespace keysong::soundgen {

/// Samples of one sound while it is made: mono, 48 kHz, full scale 1.
using Signal = std::vector<double>;

inline constexpr double sampleRate = 48000;

/// The number of samples in a time, at least one.
[[nodiscard]] int samplesIn(double milliseconds) noexcept;

/// Butterworth, 12 dB an octave beyond the corner. The corner lies above 0 and below half the rate.
[[nodiscard]] Biquad lowPass(double cornerHz) noexcept;
[[nodiscard]] Biquad highPass(double cornerHz) noexcept;

/// Raises (or lowers) an octave or so around a frequency by a gain.
[[nodiscard]] Biquad octaveGain(double centreHz, double gainDb) noexcept;

} // namespace keysong::soundgen
