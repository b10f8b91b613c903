#pragma once

#include <cstddef>
#include <cstring>

namespace keysong {

/// Four floats side by side, by the compiler's own vector extension: one register on every machine that
/// the program is built for. Any thread, real-time safe.
using FloatVector [[gnu::vector_size(16)]] = float;

inline constexpr std::size_t floatVectorSize = 4;

/// Reads four floats from any address.
[[gnu::always_inline]] inline FloatVector loadVector(const float* from) noexcept {
    FloatVector values;
    std::memcpy(&values, from, sizeof values);
    return values;
}

/// Writes four floats to any address.
[[gnu::always_inline]] inline void storeVector(float* to, FloatVector values) noexcept {
    std::memcpy(to, &values, sizeof values);
}

} // namespace keysong
