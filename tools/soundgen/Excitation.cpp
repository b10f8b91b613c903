#include "soundgen/Excitation.h"

#include <algorithm>
#include <cmath>

#include "soundgen/ExactMath.h"

namespace keysong::soundgen {
namespace {

/// Adds `part` times `amplitude` to `out` from a time on, as far as it reaches.
void addAt(Signal& out, double atMs, const Signal& part, double amplitude) {
    const auto start = static_cast<std::size_t>(atMs * sampleRate / 1000 + 0.5);
    for (std::size_t n = 0; n < part.size() && start + n < out.size(); ++n) {
        out[start + n] += amplitude * part[n];
    }
}

} // namespace

Signal bandNoise(int length, double fromHz, double toHz, Random& random) {
    Biquad high = highPass(fromHz);
    Biquad low = lowPass(std::min(toHz, 0.45 * sampleRate));
    // The filters settle before the part that is kept.
    for (int n = 0; n < 512; ++n) {
        static_cast<void>(low.step(high.step(random.even())));
    }
    Signal noise(static_cast<std::size_t>(length));
    double energy = 0;
    for (double& sample : noise) {
        sample = low.step(high.step(random.even()));
        energy += sample * sample;
    }
    const double scale = energy > 0 ? std::sqrt(length / energy) : 0;
    for (double& sample : noise) {
        sample *= scale;
    }
    return noise;
}

void addContact(Signal& force, double atMs, double contactMs, double roughnessDb, double amplitude,
                Random& random) {
    const double start = atMs * sampleRate / 1000;
    const double length = std::max(contactMs * sampleRate / 1000, 2.0);
    const double roughness = amplitudeFromDecibels(roughnessDb);
    const auto end = std::min(force.size(), static_cast<std::size_t>(start + length) + 1);
    for (auto n = static_cast<std::size_t>(start); n < end; ++n) {
        const double place = (static_cast<double>(n) - start) / length;
        if (place > 0 && place < 1) {
            const double push = (1 - exactCosine(2 * pi * place)) / length;
            force[n] += amplitude * push * (1 + roughness * random.gaussian());
        }
    }
}

void addBurst(Signal& out, double atMs, const Burst& burst, double amplitude, Random& random) {
    // No more than there is room for.
    const double lengthMs = std::min(burst.attackMs + 1.3 * burst.decayMs,
                                     static_cast<double>(out.size()) * 1000 / sampleRate - atMs);
    if (lengthMs <= 0) {
        return;
    }
    const int attack = samplesIn(burst.attackMs);
    Signal noise = bandNoise(samplesIn(lengthMs), burst.fromHz, burst.toHz, random);
    const double fall = exactExponential(-6.907755278982137 / (burst.decayMs * sampleRate / 1000));
    double envelope = 1;
    for (std::size_t n = 0; n < noise.size(); ++n) {
        if (static_cast<int>(n) < attack) {
            noise[n] *= smoothStep(static_cast<double>(n) / attack);
        } else {
            noise[n] *= envelope;
            envelope *= fall;
        }
    }
    addAt(out, atMs, noise, amplitude * amplitudeFromDecibels(burst.levelDb));
}

void addAir(Signal& out, double atMs, const Air& air, double contactMs, double amplitude, Random& random) {
    constexpr double highestHz = 17000;
    // Points meet for a fraction of the time that the whole does.
    const double toHz = std::min(highestHz, 4200 / contactMs);
    // It swells while the surfaces approach each other.
    addBurst(out, atMs, {air.levelDb, 0.25 * toHz, toHz, 0.6 * contactMs, air.decayMs}, amplitude, random);
}

void addRub(Signal& out, double atMs, const Rub& rub, double amplitude, Random& random) {
    const int length = samplesIn(rub.lengthMs);
    Signal grains(static_cast<std::size_t>(length));
    const double chance = std::min(1.0, rub.grain * 1000 / sampleRate);
    const double weight = 1 / std::sqrt(chance);
    for (double& grain : grains) {
        grain = random.unit() < chance ? weight * random.gaussian() : 0;
    }
    highPass(rub.fromHz).run(grains);
    lowPass(std::min(rub.toHz, 0.45 * sampleRate)).run(grains);
    for (int n = 0; n < length; ++n) {
        const double place = static_cast<double>(n) / length;
        grains[static_cast<std::size_t>(n)] *= smoothStep(place * 4) * smoothStep((1 - place) * 1.6);
    }
    addAt(out, atMs, grains, amplitude * amplitudeFromDecibels(rub.levelDb));
}

} // namespace keysong::soundgen
