#pragma once

#include <vector>

#include "soundgen/Filter.h"

namespace keysong::soundgen {

/// Folds sounds with the response of a room by the fast Fourier transform. Its own one: libraries for it pick
/// other code, with other last digits, on other processors. Keeps a table; for one thread at a time.
class Convolver {
  public:
    /// The convolution of two signals, at least one sample each, as long as their sum less one, or
    /// `greatestLength` when that is less.
    [[nodiscard]] Signal convolve(const Signal& a, const Signal& b, std::size_t greatestLength);

  private:
    void prepare(std::size_t size);
    void transform();

    /// Real and imaginary parts, and the first half of the unit circle.
    Signal real_, imaginary_, cosines_, sines_;
};

} // namespace keysong::soundgen
