#pragma once

#include <span>

namespace keysong {

/// A second-order filter section. A value type for one thread; real-time safe.
class Biquad {
  public:
    struct Coefficients {
        double b0, b1, b2, a1, a2;
    };

    explicit constexpr Biquad(const Coefficients& coefficients) noexcept : c_(coefficients) {}

    [[nodiscard]] double step(double input) noexcept {
        const double output = c_.b0 * input + first_;
        first_ = c_.b1 * input - c_.a1 * output + second_;
        second_ = c_.b2 * input - c_.a2 * output;
        return output;
    }

    /// Filters in place, from the state that the filter is in.
    void run(std::span<double> signal) noexcept {
        for (double& sample : signal) {
            sample = step(sample);
        }
    }

  private:
    Coefficients c_;
    double first_ = 0;
    double second_ = 0;
};

} // namespace keysong
