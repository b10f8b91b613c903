#include "soundgen/Filter.h"

#include <algorithm>
#include <cmath>

#include "soundgen/ExactMath.h"

namespace keysong::soundgen {
namespace {

/// The denominator that both kinds of Butterworth section share.
struct Section {
    double cosine, a0, a1, a2;
};

Section section(double cornerHz) noexcept {
    const double w = 2 * pi * cornerHz / sampleRate;
    const double alpha = exactSine(w) * std::sqrt(0.5);
    const double cosine = exactCosine(w);
    return {cosine, 1 + alpha, -2 * cosine, 1 - alpha};
}

} // namespace

int samplesIn(double milliseconds) noexcept {
    return std::max(1, static_cast<int>(milliseconds * sampleRate / 1000 + 0.5));
}

Biquad lowPass(double cornerHz) noexcept {
    const Section s = section(cornerHz);
    const double b = (1 - s.cosine) / 2 / s.a0;
    return Biquad({b, 2 * b, b, s.a1 / s.a0, s.a2 / s.a0});
}

Biquad highPass(double cornerHz) noexcept {
    const Section s = section(cornerHz);
    const double b = (1 + s.cosine) / 2 / s.a0;
    return Biquad({b, -2 * b, b, s.a1 / s.a0, s.a2 / s.a0});
}

Biquad octaveGain(double centreHz, double gainDb) noexcept {
    const double w = 2 * pi * centreHz / sampleRate;
    const double root = amplitudeFromDecibels(gainDb / 2);
    // A quality of 1.1: neighbours an octave off meet halfway.
    const double alpha = exactSine(w) / 2.2;
    const double a0 = 1 + alpha / root;
    const double b1 = -2 * exactCosine(w) / a0;
    return Biquad({(1 + alpha * root) / a0, b1, (1 - alpha * root) / a0, b1, (1 - alpha / root) / a0});
}

} // namespace keysong::soundgen
