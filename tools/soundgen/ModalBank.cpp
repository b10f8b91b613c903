#include "soundgen/ModalBank.h"

#include <algorithm>

#include "soundgen/ExactMath.h"

namespace keysong::soundgen {
namespace {

void drawCloud(const Cloud& cloud, Random& random, std::vector<Mode>& modes) {
    const double octaves = exactLogarithm(cloud.toHz / cloud.fromHz);
    for (int i = 0; i < cloud.count; ++i) {
        // One mode in each equal stretch: random, but without gaps or piles that would sound like a pitch.
        const double place = (i + random.unit()) / cloud.count;
        modes.push_back(
            {cloud.fromHz * exactExponential(octaves * place),
             (cloud.decayFromMs + (cloud.decayToMs - cloud.decayFromMs) * place) *
                 (1 + 0.25 * random.stray()),
             cloud.levelFromDb + (cloud.levelToDb - cloud.levelFromDb) * place + 4 * random.stray()});
    }
}

void drawSeries(const Series& series, Random& random, std::vector<Mode>& modes) {
    for (int i = 0; i < series.count; ++i) {
        const double frequency = series.baseHz * exactPower(i + 1, series.stretch);
        modes.push_back({frequency * (1 + 0.01 * random.stray()), series.decayMs * (1 + 0.2 * random.stray()),
                         series.levelDb - series.fallDb * i});
    }
}

/// How far a resonance swings at a place, from -1 to 1.
double shapeAt(const Mode& mode, const Place& place) {
    return exactCosine(2 * pi *
                       (mode.wavesAcross * place.across + mode.wavesDown * place.down + mode.wavePhase));
}

/// A two-pole resonator, scaled so that a unit impulse gives amplitude * decay^n * sin(w (n + 1)).
struct Resonator {
    explicit Resonator(const Mode& mode) {
        const double w = 2 * pi * mode.frequencyHz / sampleRate;
        // -60 dB is a factor of e^-6.9078.
        const double radius = exactExponential(-6.907755278982137 / (mode.decayMs * sampleRate / 1000));
        input = mode.polarity * amplitudeFromDecibels(mode.levelDb) * exactSine(w);
        feedback1 = 2 * radius * exactCosine(w);
        feedback2 = -radius * radius;
    }

    double input, feedback1, feedback2;
};

} // namespace

std::vector<Mode> drawModes(const Bank& bank, std::uint64_t seed) {
    Random random(seed, "bank " + bank.name, 0);
    std::vector<Mode> modes = bank.modes;
    for (const Cloud& cloud : bank.clouds) {
        drawCloud(cloud, random, modes);
    }
    for (const Series& series : bank.series) {
        drawSeries(series, random, modes);
    }
    // Neighbouring resonances start either way; all the same way they would add up to one great first swing.
    for (Mode& mode : modes) {
        mode.polarity = random.even() < 0 ? -1 : 1;
        // The longer side of the board holds more waves.
        mode.wavesAcross = 2 * random.even();
        mode.wavesDown = 0.7 * random.even();
        mode.wavePhase = random.unit();
    }
    return modes;
}

std::vector<Mode> modesOfHit(const std::vector<Mode>& modes, const Bank& bank, const Adjustment& adjustment,
                             const Damping& damping, const Place& place, Random& random) {
    std::vector<Mode> hit;
    hit.reserve(modes.size());
    for (const Mode& mode : modes) {
        const double frequency =
            mode.frequencyHz * adjustment.pitch * (1 + bank.frequencyJitter * random.stray());
        const double overFoam = frequency / damping.foamHz;
        hit.push_back({frequency,
                       mode.decayMs * adjustment.sustain * damping.sustain *
                           (1 + bank.decayJitter * random.stray()) / (1 + overFoam * overFoam),
                       mode.levelDb + adjustment.levelDb + bank.levelJitterDb * random.stray() +
                           bank.shapeDb * shapeAt(mode, place),
                       mode.polarity});
    }
    return hit;
}

void ring(const std::vector<Mode>& modes, const Signal& force, Signal& out) {
    const auto lastPush = static_cast<std::size_t>(
        force.rend() - std::find_if(force.rbegin(), force.rend(), [](double push) { return push != 0; }));
    for (const Mode& mode : modes) {
        if (mode.frequencyHz > 0.45 * sampleRate) {
            continue;
        }
        const Resonator resonator(mode);
        // Until it has fallen by 100 dB.
        const std::size_t end =
            std::min(out.size(), lastPush + static_cast<std::size_t>(samplesIn(mode.decayMs * 5 / 3)));
        double last = 0;
        double beforeLast = 0;
        for (std::size_t n = 0; n < end; ++n) {
            const double now =
                resonator.input * force[n] + resonator.feedback1 * last + resonator.feedback2 * beforeLast;
            beforeLast = last;
            last = now;
            out[n] += now;
        }
    }
}

} // namespace keysong::soundgen
