#include "soundgen/Colour.h"

#include <cmath>

#include "soundgen/ExactMath.h"

namespace keysong::soundgen {
namespace {

constexpr double lowestHz = 350;

} // namespace

Colour::Colour(const Colouring& colouring, std::uint64_t seed) : colouring_(colouring), waves_() {
    Random random(seed, "colour", 0);
    for (auto& waves : waves_) {
        for (Wave& wave : waves) {
            // A row differs from the next, and a hand's breadth along it does.
            wave = {1.6 * random.even(), 3 * random.even(), random.unit()};
        }
    }
}

double Colour::levelDb(int octave, const Place& place) const {
    double sum = 0;
    for (const Wave& wave : waves_[static_cast<std::size_t>(octave)]) {
        sum += exactCosine(2 * pi * (wave.across * place.across + wave.down * place.down + wave.phase));
    }
    return colouring_.keyDb * sum * std::sqrt(2.0 / waveCount);
}

void Colour::apply(Signal& signal, const Place& place, Random& random) const {
    double centreHz = lowestHz;
    for (int octave = 0; octave < octaveCount; ++octave, centreHz *= 2) {
        const double gainDb = levelDb(octave, place) + colouring_.hitDb * random.gaussian();
        octaveGain(centreHz, gainDb).run(signal);
    }
}

} // namespace keysong::soundgen
