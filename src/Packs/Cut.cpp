#include "Packs/Cut.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace keysong {

namespace {

float peakOf(std::span<const float> values) {
    float peak = 0;
    for (const float value : values) {
        peak = std::max(peak, std::abs(value));
    }
    return peak;
}

void fadeOut(std::span<float> values, std::size_t channels) {
    const std::size_t frames = values.size() / channels;
    for (std::size_t at = 0; at < values.size(); ++at) {
        const double place = (static_cast<double>(at / channels) + 0.5) / static_cast<double>(frames);
        values[at] *= static_cast<float>(0.5 * (1 + std::cos(std::numbers::pi * place)));
    }
}

} // namespace

Cut cutFrom(std::span<const float> recording, const AudioFormat& format, std::size_t first, std::size_t end) {
    constexpr double edgeSeconds = 0.003;
    constexpr float ringing = 0.01F; // -40 dB under the piece's own peak
    const std::size_t channels = format.channels;
    const auto framesIn = [&format](double seconds) {
        return static_cast<std::size_t>(std::max(1.0, std::round(seconds * format.sampleRate)));
    };
    const std::size_t frames = end - first;
    const std::size_t edge = std::min(framesIn(edgeSeconds), frames);
    Cut cut;
    const auto piece = recording.subspan(first * channels, frames * channels);
    cut.frames.assign(piece.begin(), piece.end());
    const float peak = peakOf(piece);

    // An attack is the loudest of a sound: where it lies before the piece, the piece has lost it. Where the
    // piece is louder later on, what stands before it is the end of another sound.
    const std::size_t before = std::min(framesIn(edgeSeconds), first);
    const float peakBefore = peakOf(recording.subspan((first - before) * channels, before * channels));
    cut.beginsLate = peak > 0 && peakBefore > peak && peakOf(piece.first(edge * channels)) >= peak;

    cut.isFaded = peakOf(piece.last(edge * channels)) > ringing * peak;
    if (cut.isFaded) {
        const std::size_t faded = std::min(framesIn(fadeSeconds), std::max<std::size_t>(1, frames / 4));
        fadeOut(std::span(cut.frames).last(faded * channels), channels);
    }
    return cut;
}

} // namespace keysong
