#include "soundgen/ExactMath.h"

#include <algorithm>
#include <cmath>

namespace keysong::soundgen {
namespace {

constexpr double ln2 = 0.693147180559945309417;
constexpr double ln10 = 2.302585092994045684018;

/// The sine of an angle of at most pi / 2 either way.
double sineNearZero(double x) noexcept {
    double term = x;
    double sum = x;
    for (int n = 1; n <= 12; ++n) {
        term *= -x * x / static_cast<double>((2 * n) * (2 * n + 1));
        sum += term;
    }
    return sum;
}

} // namespace

double exactSine(double radians) noexcept {
    const double turns = std::floor(radians / (2 * pi) + 0.5);
    double x = radians - turns * 2 * pi;
    if (x > pi / 2) {
        x = pi - x;
    } else if (x < -pi / 2) {
        x = -pi - x;
    }
    return sineNearZero(x);
}

double exactCosine(double radians) noexcept {
    return exactSine(radians + pi / 2);
}

double exactExponential(double x) noexcept {
    if (x < -700) {
        return 0;
    }
    const double limited = std::min(x, 700.0);
    const double halvings = std::floor(limited / ln2 + 0.5);
    const double rest = limited - halvings * ln2;
    double term = 1;
    double sum = 1;
    for (int n = 1; n <= 16; ++n) {
        term *= rest / static_cast<double>(n);
        sum += term;
    }
    return std::ldexp(sum, static_cast<int>(halvings));
}

double exactLogarithm(double x) noexcept {
    int exponent = 0;
    double fraction = std::frexp(x, &exponent);
    if (fraction < 0.70710678) {
        fraction *= 2;
        --exponent;
    }
    // ln f = 2 artanh((f - 1) / (f + 1)); the argument stays below 0.172.
    const double ratio = (fraction - 1) / (fraction + 1);
    double power = ratio;
    double sum = 0;
    for (int n = 1; n <= 23; n += 2) {
        sum += power / static_cast<double>(n);
        power *= ratio * ratio;
    }
    return 2 * sum + static_cast<double>(exponent) * ln2;
}

double exactPower(double base, double exponent) noexcept {
    return exactExponential(exponent * exactLogarithm(base));
}

double amplitudeFromDecibels(double decibels) noexcept {
    return exactExponential(decibels * ln10 / 20);
}

double decibelsFromAmplitude(double amplitude) noexcept {
    return 20 / ln10 * exactLogarithm(amplitude);
}

double smoothStep(double x) noexcept {
    if (x <= 0 || x >= 1) {
        return x <= 0 ? 0 : 1;
    }
    return 0.5 - 0.5 * exactCosine(pi * x);
}

} // namespace keysong::soundgen
