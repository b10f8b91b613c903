#pragma once

#include <array>
#include <cstdint>

#include "soundgen/Description.h"
#include "soundgen/Filter.h"
#include "soundgen/Random.h"

namespace keysong::soundgen {

/// How the keys of one board differ: no two caps, switches and places of a plate answer alike. In every
/// octave a board has a pattern of louder and softer places, drawn from its seed. Any thread.
class Colour {
  public:
    Colour(const Colouring& colouring, std::uint64_t seed);

    /// Gives a hit the colour of its place, and some that is its own.
    void apply(Signal& signal, const Place& place, Random& random) const;

    /// How much louder the board is at a place, in dB, in one of `octaveCount` octaves around 350 Hz and up.
    [[nodiscard]] double levelDb(int octave, const Place& place) const;

    static constexpr int octaveCount = 6;

  private:
    struct Wave {
        double across, down, phase;
    };
    static constexpr int waveCount = 4;

    Colouring colouring_;
    std::array<std::array<Wave, waveCount>, octaveCount> waves_;
};

} // namespace keysong::soundgen
