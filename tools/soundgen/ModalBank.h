#pragma once

#include <vector>

#include "soundgen/Description.h"
#include "soundgen/Filter.h"
#include "soundgen/Random.h"

namespace keysong::soundgen {

/// The resonances of one bank, its clouds and series drawn out into modes. The same board for every sound of
/// the set: the draw depends on the seed and the bank's name only.
[[nodiscard]] std::vector<Mode> drawModes(const Bank& bank, std::uint64_t seed);

/// How one hit changes the resonances: each strays by the bank's jitter, then all are tuned and damped, and
/// each is as loud as its shape lets it be at the place that is struck.
[[nodiscard]] std::vector<Mode> modesOfHit(const std::vector<Mode>& modes, const Bank& bank,
                                           const Adjustment& adjustment, const Damping& damping,
                                           const Place& place, Random& random);

/// Adds to `out` what the modes radiate under a force. A unit impulse makes a mode ring with the amplitude of
/// its level. Modes above 0.45 of the sample rate are left out. Both signals have the same length.
void ring(const std::vector<Mode>& modes, const Signal& force, Signal& out);

} // namespace keysong::soundgen
