#pragma once

#include <vector>

namespace keysong::soundgen {

/// Samples of one sound while it is made: mono, 48 kHz, full scale 1.
using Signal = std::vector<double>;

inline constexpr double sampleRate = 48000;

/// The number of samples in a time, at least one.
[[nodiscard]] int samplesIn(double milliseconds) noexcept;

/// A second-order section. A value type for one thread.
class Biquad {
  public:
    struct Coefficients {
        double b0, b1, b2, a1, a2;
    };

    explicit Biquad(const Coefficients& coefficients) noexcept : c_(coefficients) {}

    /// Butterworth, 12 dB an octave beyond the corner. The corner lies above 0 and below half the rate.
    [[nodiscard]] static Biquad lowPass(double cornerHz) noexcept;
    [[nodiscard]] static Biquad highPass(double cornerHz) noexcept;

    [[nodiscard]] double step(double input) noexcept;
    /// Filters in place, from the state that the filter is in.
    void run(Signal& signal) noexcept;

  private:
    Coefficients c_;
    double first_ = 0;
    double second_ = 0;
};

} // namespace keysong::soundgen
