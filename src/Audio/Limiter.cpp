#include "Audio/Limiter.h"

#include "Audio/FloatVector.h"

#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

/// Whether any frame of either channel lies above the threshold.
bool exceedsThreshold(const float* left, const float* right, std::size_t count) noexcept {
    FloatVector peaks = {};
    std::size_t index = 0;
    for (; index + floatVectorSize <= count; index += floatVectorSize) {
        for (const float* channel : {left, right}) {
            const FloatVector frames = loadVector(channel + index);
            peaks = frames > peaks ? frames : peaks;
            peaks = -frames > peaks ? -frames : peaks;
        }
    }
    float peak = std::max(std::max(peaks[0], peaks[1]), std::max(peaks[2], peaks[3]));
    for (; index < count; ++index) {
        peak = std::max(peak, std::max(std::fabs(left[index]), std::fabs(right[index])));
    }
    return peak > Limiter::threshold;
}

/// The gain that bends a peak above the threshold into the room between threshold and ceiling. It leaves
/// the straight line with the line's own slope and nears the ceiling without reaching it.
float kneeGain(float peak) noexcept {
    constexpr float room = Limiter::ceiling - Limiter::threshold;
    const float excess = (peak - Limiter::threshold) / room;
    return (Limiter::threshold + room * (excess / (1 + excess))) / peak;
}

} // namespace

void Limiter::prepare(double sampleRate) noexcept {
    releasePerFrame_ = 1 - std::exp(-1 / (releaseSeconds * sampleRate));
    reset();
}

/// The gain a frame later, if nothing is loud.
double Limiter::releasedGain(double gain) const noexcept {
    // An exponential never arrives: what is this close to 1 is 1, a step of 100 dB below the signal.
    constexpr double closeEnough = 1 - 1e-5;
    const double released = gain + (1 - gain) * releasePerFrame_;
    return released > closeEnough ? 1 : released;
}

void Limiter::recover(std::size_t count) noexcept {
    for (std::size_t index = 0; index < count && !isRecovered(); ++index) {
        gain_ = releasedGain(gain_);
    }
}

void Limiter::process(float* left, float* right, std::size_t count) noexcept {
    if (isRecovered() && !exceedsThreshold(left, right, count)) {
        return;
    }
    double gain = gain_;
    for (std::size_t index = 0; index < count; ++index) {
        gain = releasedGain(gain);
        const float peak = std::max(std::fabs(left[index]), std::fabs(right[index]));
        if (peak > threshold) {
            gain = std::min(gain, static_cast<double>(kneeGain(peak)));
        }
        // The product can round past the ceiling by its last bit.
        const auto factor = static_cast<float>(gain);
        left[index] = std::clamp(left[index] * factor, -ceiling, ceiling);
        right[index] = std::clamp(right[index] * factor, -ceiling, ceiling);
    }
    gain_ = gain;
}

} // namespace keysong
