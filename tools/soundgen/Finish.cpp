#include "soundgen/Finish.h"

#include <algorithm>
#include <cmath>

#include "soundgen/ExactMath.h"

namespace keysong::soundgen {

void removeRumble(Signal& signal) {
    highPass(60).run(signal);
}

double peakOf(const Signal& signal) noexcept {
    double peak = 0;
    for (const double sample : signal) {
        peak = std::max(peak, std::abs(sample));
    }
    return peak;
}

void trimTail(Signal& signal, double belowDb) {
    const double quiet = peakOf(signal) * amplitudeFromDecibels(-belowDb);
    const auto fade = std::min(signal.size(), static_cast<std::size_t>(samplesIn(25)));
    const auto lastLoud = std::find_if(signal.rbegin(), signal.rend(),
                                       [quiet](double sample) { return std::abs(sample) > quiet; });
    const auto kept = static_cast<std::size_t>(signal.rend() - lastLoud) + fade;
    signal.resize(std::min(signal.size(), kept));
    for (std::size_t n = 0; n < fade; ++n) {
        signal[signal.size() - 1 - n] *= smoothStep(static_cast<double>(n) / static_cast<double>(fade));
    }
}

} // namespace keysong::soundgen
