#include "soundgen/Finish.h"

#include <algorithm>
#include <cmath>

#include "soundgen/ExactMath.h"
#include "soundgen/Random.h"

namespace keysong::soundgen {

void addRoom(Signal& signal, const Room& room, std::uint64_t seed) {
    if (room.reflections == 0) {
        return;
    }
    Random random(seed, "room", 0);
    Signal dark = signal;
    lowPass(room.lowPassHz).run(dark);
    const double level = amplitudeFromDecibels(room.levelDb);
    for (int i = 0; i < room.reflections; ++i) {
        const double place = (i + random.unit()) / room.reflections;
        // No reflection reaches the ear within half a millisecond of the sound itself.
        const auto delay = static_cast<std::size_t>(samplesIn(0.5 + place * room.lengthMs));
        const double fall = exactExponential(-6.907755278982137 * place * room.lengthMs / room.decayMs);
        const double gain = (random.even() < 0 ? -level : level) * fall;
        for (std::size_t n = delay; n < signal.size(); ++n) {
            signal[n] += gain * dark[n - delay];
        }
    }
}

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

void trimTail(Signal& signal) {
    const double quiet = peakOf(signal) * amplitudeFromDecibels(-72);
    const auto fade = std::min(signal.size(), static_cast<std::size_t>(samplesIn(15)));
    const auto lastLoud = std::find_if(signal.rbegin(), signal.rend(),
                                       [quiet](double sample) { return std::abs(sample) > quiet; });
    const auto kept = static_cast<std::size_t>(signal.rend() - lastLoud) + fade;
    signal.resize(std::min(signal.size(), kept));
    for (std::size_t n = 0; n < fade; ++n) {
        signal[signal.size() - 1 - n] *= smoothStep(static_cast<double>(n) / static_cast<double>(fade));
    }
}

} // namespace keysong::soundgen
