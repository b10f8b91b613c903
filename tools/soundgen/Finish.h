#pragma once

#include <cstdint>

#include "soundgen/Description.h"
#include "soundgen/Filter.h"

namespace keysong::soundgen {

/// The reflections of the desk and the near room: adds to a signal a scatter of delayed, darkened copies that
/// depends on the seed only.
void addRoom(Signal& signal, const Room& room, std::uint64_t seed);

/// Takes away what lies below the range of any part of a keyboard, and so all constant offset.
void removeRumble(Signal& signal);

/// Greatest absolute value.
[[nodiscard]] double peakOf(const Signal& signal) noexcept;

/// Cuts a signal where it has fallen 72 dB below its peak for good, and fades the last 15 ms out to exactly
/// 0.
void trimTail(Signal& signal);

} // namespace keysong::soundgen
