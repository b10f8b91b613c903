#pragma once

#include <vector>

#include "soundgen/Filter.h"

namespace keysong::soundgen {

/// How alike two lists of sounds are: the mean levels of each in half octaves from 100 Hz to 12.8 kHz and
/// spans of time up to 80 ms, in decibels, no lower than 45 below the highest.
using Fingerprint = std::vector<double>;

[[nodiscard]] Fingerprint fingerprintOf(const std::vector<Signal>& sounds);

/// Root mean square of the differences of two fingerprints, in decibels.
[[nodiscard]] double distanceOf(const Fingerprint& a, const Fingerprint& b);

/// When the blows of a sound come, in milliseconds: the peaks above 2 kHz that stand 6 dB over the dip before
/// them and at most 18 dB below the greatest.
[[nodiscard]] std::vector<double> blowsOf(const Signal& sound);

/// A whistle: the level of the strongest line of 40 to 120 ms above 700 Hz against the loudest 10 ms, in
/// decibels, if it has more than half of what is left of the sound there; otherwise -120.
[[nodiscard]] double whistleOf(const Signal& sound);

/// How much of a sound's energy lies in its first 20 ms above 2 kHz, in decibels: low for a dull thud.
[[nodiscard]] double attackOf(const Signal& sound);

/// The first sample of at least a tenth of the peak.
[[nodiscard]] std::size_t onsetOf(const Signal& sound);

} // namespace keysong::soundgen
