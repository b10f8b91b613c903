#pragma once

#include "soundgen/Description.h"
#include "soundgen/Filter.h"
#include "soundgen/Random.h"

namespace keysong::soundgen {

/// White noise through a band, of unit root mean square over its length.
[[nodiscard]] Signal bandNoise(int length, double fromHz, double toHz, Random& random);

/// Adds the push of one contact to a force: a raised cosine of unit impulse (so that a short contact reaches
/// higher, not lower), times `amplitude`, with noise of `roughnessDb` in it. Parts beyond the end are
/// dropped.
void addContact(Signal& force, double atMs, double contactMs, double roughnessDb, double amplitude,
                Random& random);

/// Adds the noise that a contact sets free.
void addBurst(Signal& out, double atMs, const Burst& burst, double amplitude, Random& random);

/// Adds the noise that a contact of this length radiates: the shorter it is the higher it reaches, to 17 kHz
/// where hard parts meet.
void addAir(Signal& out, double atMs, const Air& air, double contactMs, double amplitude, Random& random);

/// Adds the noise of a slide.
void addRub(Signal& out, double atMs, const Rub& rub, double amplitude, Random& random);

} // namespace keysong::soundgen
