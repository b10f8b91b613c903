#pragma once

#include "soundgen/Filter.h"

namespace keysong::soundgen {

/// Takes away what lies below the range of any part of a keyboard, and so all constant offset.
void removeRumble(Signal& signal);

/// Greatest absolute value.
[[nodiscard]] double peakOf(const Signal& signal) noexcept;

/// Cuts a signal where it has fallen this far below its peak for good, and fades the last 25 ms out to
/// exactly 0.
void trimTail(Signal& signal, double belowDb);

} // namespace keysong::soundgen
