#pragma once

#include <cstddef>
#include <cstring>

namespace keysong {

/// Four floats side by side, by the compiler's own vector extension: one register on every machine that
/// the program is built for. Any thread, real-time safe.
using FloatLanes [[gnu::vector_size(16)]] = float;

inline constexpr std::size_t floatLaneCount = 4;

/// Reads four floats from any address.
[[gnu::always_inline]] inline FloatLanes loadLanes(const float* from) noexcept {
    FloatLanes lanes;
    std::memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

/// Writes four floats to any address.
[[gnu::always_inline]] inline void storeLanes(float* to, FloatLanes lanes) noexcept {
    std::memcpy(to, &lanes, sizeof lanes);
}

} // namespace keysong
