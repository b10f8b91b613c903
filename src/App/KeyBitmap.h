#pragma once

#include <array>
#include <cstdint>

namespace keysong {

/// A set of key codes from 0 to 255: bit n is set for code n, in word n / 64 at n mod 64.
using KeyBitmap = std::array<std::uint64_t, 4>;

} // namespace keysong
