#include "SoundMeasures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>

#include "GeneratedFiles.h"
#include "soundgen/Finish.h"

namespace keysong::soundgen {
namespace {

constexpr int bandCount = 14;
/// Milliseconds.
constexpr std::array<double, 11> spans = {0, 1.5, 3, 6, 9, 12, 16, 22, 32, 48, 80};

double energyOf(const Signal& signal, std::size_t from, std::size_t to) {
    double energy = 0;
    for (std::size_t n = from; n < std::min(to, signal.size()); ++n) {
        energy += signal[n] * signal[n];
    }
    return energy;
}

double decibelsOf(double power) {
    return 10 * std::log10(std::max(power, 1e-14));
}

Signal above(Signal signal, double cornerHz) {
    highPass(cornerHz).run(signal);
    return signal;
}

/// Mean energies over windows of a sound that lie this far apart, in samples.
Signal envelopeOf(const Signal& signal, std::size_t window, std::size_t step) {
    Signal envelope;
    for (std::size_t n = 0; n < signal.size(); n += step) {
        envelope.push_back(energyOf(signal, n >= window ? n - window : 0, n + 1) /
                           static_cast<double>(window));
    }
    return envelope;
}

} // namespace

Fingerprint fingerprintOf(const std::vector<Signal>& sounds) {
    Fingerprint print(bandCount * (spans.size() - 1));
    for (const Signal& sound : sounds) {
        for (int band = 0; band < bandCount; ++band) {
            const double fromHz = 100 * std::exp2(0.5 * band);
            Signal part = above(above(sound, fromHz), fromHz);
            for (int i = 0; i < 2; ++i) {
                lowPass(fromHz * std::numbers::sqrt2).run(part);
            }
            for (std::size_t i = 0; i + 1 < spans.size(); ++i) {
                const auto from = static_cast<std::size_t>(samplesIn(spans[i]));
                const auto to = static_cast<std::size_t>(samplesIn(spans[i + 1]));
                print[static_cast<std::size_t>(band) * (spans.size() - 1) + i] +=
                    energyOf(part, from, to) / static_cast<double>((to - from) * sounds.size());
            }
        }
    }
    std::transform(print.begin(), print.end(), print.begin(), decibelsOf);
    const double floor = *std::max_element(print.begin(), print.end()) - 45;
    for (double& level : print) {
        level = std::max(level - floor, 0.0);
    }
    return print;
}

double distanceOf(const Fingerprint& a, const Fingerprint& b) {
    const double sum = std::transform_reduce(a.begin(), a.end(), b.begin(), 0.0, std::plus<>(),
                                             [](double x, double y) { return (x - y) * (x - y); });
    return std::sqrt(sum / static_cast<double>(a.size()));
}

std::vector<double> blowsOf(const Signal& sound) {
    constexpr std::size_t step = 12;
    Signal level = envelopeOf(above(sound, 2000), 48, step);
    std::transform(level.begin(), level.end(), level.begin(), decibelsOf);
    const double least = *std::max_element(level.begin(), level.end()) - 18;
    std::vector<double> blows;
    double dip = -120;
    for (std::size_t n = 0; n + 1 < level.size(); ++n) {
        const double at = static_cast<double>(n * step) / 48;
        const bool isPeak = level[n + 1] <= level[n];
        if (isPeak && level[n] > least && level[n] > dip + 6 && (blows.empty() || at > blows.back() + 2.5)) {
            blows.push_back(at);
            dip = level[n];
        }
        dip = std::min(dip, level[n]);
    }
    return blows;
}

double whistleOf(const Signal& sound) {
    constexpr std::size_t from = 1920;
    constexpr std::size_t size = 3840;
    const Signal envelope = envelopeOf(sound, 480, 48);
    const double loudest = *std::max_element(envelope.begin(), envelope.end());
    // No line is louder than all that is left.
    if (decibelsOf(energyOf(above(sound, 500), from, from + size) / 480 / loudest) < -50) {
        return -120;
    }
    Signal part(size);
    for (std::size_t n = 0; n < size && from + n < sound.size(); ++n) {
        part[n] =
            sound[from + n] * (0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(n) / size));
    }
    // The lines of the window's own length, 12.5 Hz apart.
    Signal power;
    for (double frequency = 700; frequency < 14000; frequency += 12.5) {
        power.push_back(lineOf(part, frequency));
    }
    const auto peak = std::max_element(power.begin(), power.end());
    const auto begin = peak - std::min<std::ptrdiff_t>(2, peak - power.begin());
    const auto end = peak + std::min<std::ptrdiff_t>(3, power.end() - peak);
    const double line = std::accumulate(begin, end, 0.0);
    if (line <= 0.5 * std::accumulate(power.begin(), power.end(), 0.0)) {
        return -120;
    }
    // The window's mean square is 0.375.
    return decibelsOf(2 * line / (0.375 * size * size) / loudest);
}

double attackOf(const Signal& sound) {
    return decibelsOf(energyOf(above(sound, 2000), 0, 960) / energyOf(sound, 0, sound.size()));
}

std::size_t onsetOf(const Signal& sound) {
    const double peak = peakOf(sound);
    const auto onset = std::find_if(sound.begin(), sound.end(),
                                    [peak](double sample) { return std::abs(sample) >= 0.1 * peak; });
    return static_cast<std::size_t>(onset - sound.begin());
}

} // namespace keysong::soundgen
