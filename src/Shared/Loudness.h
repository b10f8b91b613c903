#pragma once

#include <span>

namespace keysong {

/// How much a sound adds to the loudness of typing: its energy after the K weighting of ITU-R BS.1770, as the
/// root mean square that it has when all of it lies within 50 ms. One channel at 48 kHz, full scale 1. Any
/// thread; real-time safe.
[[nodiscard]] double loudness(std::span<const double> signal) noexcept;

} // namespace keysong
