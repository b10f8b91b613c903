#pragma once

namespace keysong::soundgen {

/// Elementary functions built only from the four basic operations, so that a set comes out the same, bit for
/// bit, on every processor: the C library picks other code, with other last digits, where the processor has
/// fused multiply-add. Accurate to about 1e-15 in relation to 1 (sine, cosine) or to the result (the others).
/// Any thread; no errors. They are not for speed.

inline constexpr double pi = 3.14159265358979323846;

/// For any `radians` between -1e6 and 1e6.
[[nodiscard]] double exactSine(double radians) noexcept;
[[nodiscard]] double exactCosine(double radians) noexcept;

/// e to the power x; 0 for x below -700, and x is limited to 700.
[[nodiscard]] double exactExponential(double x) noexcept;

/// The natural logarithm of a positive, finite, normal number.
[[nodiscard]] double exactLogarithm(double x) noexcept;

/// A positive base to any power.
[[nodiscard]] double exactPower(double base, double exponent) noexcept;

/// The amplitude factor of a level in decibels.
[[nodiscard]] double amplitudeFromDecibels(double decibels) noexcept;

/// The level in decibels of a positive amplitude.
[[nodiscard]] double decibelsFromAmplitude(double amplitude) noexcept;

/// A rise from 0 (at or below 0) to 1 (at or above 1) with level ends: half a period of a raised cosine.
[[nodiscard]] double smoothStep(double x) noexcept;

} // namespace keysong::soundgen
