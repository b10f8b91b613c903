#include "soundgen/RoomResponse.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "soundgen/ExactMath.h"

namespace keysong::soundgen {
namespace {

/// -60 dB is a factor of e^-6.9078 in amplitude.
constexpr double fallOf60Db = 6.907755278982137;
constexpr double soundMPerMs = 0.343;
constexpr double greatestMs = 400;
constexpr int reflectionCount = 14;
constexpr double boardWidthM = 0.4;
constexpr double boardDepthM = 0.13;
constexpr int octaveCount = 8;
constexpr double lowestOctaveHz = 125;

double absorption(const Room& room, double frequencyHz) {
    // Six octaves from 177 Hz to 11.3 kHz.
    const double place = exactLogarithm(frequencyHz / 177) / (6 * 0.693147180559945);
    return room.absorptionLow + (room.absorptionHigh - room.absorptionLow) * std::clamp(place, 0.0, 1.0);
}

void addOctave(Signal& response, Signal noise, double decayMs, double level, double growthMs) {
    const double perSample = 1000 / sampleRate;
    const double fall = exactExponential(-fallOf60Db * perSample / decayMs);
    double envelope = level;
    for (std::size_t n = 1; n < response.size(); ++n) {
        envelope *= fall;
        response[n] += noise[n] * envelope * smoothStep(static_cast<double>(n) * perSample / growthMs);
    }
}

} // namespace

double reverberationMs(const Room& room, double frequencyHz) {
    return 1000 * 0.161 * room.sizeM / (-6 * exactLogarithm(1 - absorption(room, frequencyHz)));
}

RoomResponse::RoomResponse(const Room& room, std::uint64_t seed) : room_(room) {
    if (room.sizeM <= 0) {
        return;
    }
    Random random(seed, "walls", 0);
    const double kept = std::sqrt(1 - absorption(room, 1000));
    for (int i = 0; i < reflectionCount; ++i) {
        // From the desk, a millisecond late, to the far walls; ever more of them.
        const double share = (i + random.unit()) / reflectionCount;
        const double delayMs = 1 + 8 * room.sizeM * exactPower(share, 1.5);
        // The way is longer, so it is weaker, and what it met has swallowed some, most of all the highest.
        const double gain = kept * room.distanceM / (room.distanceM + delayMs * soundMPerMs);
        const double angle = 2 * pi * random.unit();
        reflections_.push_back({delayMs, random.even() < 0 ? -gain : gain, 0.1 + 0.25 * share,
                                boardWidthM / soundMPerMs * exactCosine(angle),
                                boardDepthM / soundMPerMs * exactSine(angle)});
    }
}

void RoomResponse::addReflections(Signal& response, const Place& place, Random& random) const {
    for (const Reflection& reflection : reflections_) {
        const double delayMs = reflection.delayMs + (place.across - 0.5) * reflection.acrossMs +
                               (place.down - 0.5) * reflection.downMs;
        // The hands are in the way now of one, now of another.
        const double gain = reflection.gain * (1 + 0.3 * random.stray());
        const auto at = static_cast<std::size_t>(samplesIn(std::max(0.4, delayMs)));
        response.at(at) += gain * (1 - reflection.dark);
        response.at(at + 1) += gain * reflection.dark;
    }
}

void RoomResponse::addReverberation(Signal& response, Random& random) const {
    Signal rest(response.size());
    for (double& sample : rest) {
        sample = random.gaussian();
    }
    // The reverberant field against the sound itself: distance over critical distance, squared. Every octave
    // starts alike; those that last longer have more energy.
    const double volume = room_.sizeM * room_.sizeM * room_.sizeM;
    const double level = room_.distanceM / 0.057 * std::sqrt(2 * fallOf60Db / (volume * sampleRate));
    const double growthMs = 4 * room_.sizeM;
    for (int octave = 0; octave < octaveCount; ++octave) {
        const double centreHz = lowestOctaveHz * (1 << octave);
        Signal low = rest;
        if (octave + 1 < octaveCount) {
            for (int i = 0; i < 2; ++i) {
                lowPass(centreHz * 1.41421356).run(low);
            }
            for (std::size_t n = 0; n < rest.size(); ++n) {
                rest[n] -= low[n];
            }
        }
        addOctave(response, std::move(low), reverberationMs(room_, centreHz), level, growthMs);
    }
}

Signal RoomResponse::at(const Place& place, Random& random) const {
    Signal response(1, 1.0);
    if (room_.sizeM > 0) {
        const double slowestMs = std::max(reverberationMs(room_, 177), reverberationMs(room_, 11314));
        // What is 50 dB down is not heard. The last reflection comes within eight milliseconds a metre, and
        // three.
        response.resize(static_cast<std::size_t>(
            samplesIn(std::min(greatestMs, std::max(10 * room_.sizeM + 5, slowestMs * 5 / 6)))));
        addReflections(response, place, random);
        addReverberation(response, random);
    }
    return response;
}

} // namespace keysong::soundgen
