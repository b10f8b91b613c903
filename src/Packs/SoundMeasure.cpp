#include "Packs/SoundMeasure.h"

#include "Audio/SampleDecoder.h"
#include "Audio/SoundEngine.h"
#include "Shared/Loudness.h"

#include <algorithm>
#include <cmath>

namespace keysong {

SoundMeasure measureSound(const SampleBuffer& sample) {
    constexpr float inaudible = 1e-4F; // -80 dBFS
    constexpr double blockOffset = -0.691;
    const auto frames = sample.frames();
    float peak = 0;
    for (const float frame : frames) {
        peak = std::max(peak, std::abs(frame));
    }
    SoundMeasure measure;
    if (peak < inaudible) {
        return measure;
    }
    measure.isSilent = false;
    const auto onset = std::find_if(frames.begin(), frames.end(),
                                    [peak](float frame) { return std::abs(frame) >= peak / 10; });
    measure.onsetMilliseconds =
        static_cast<double>(onset - frames.begin()) * 1000 / SoundEngine::renderFormat.sampleRate;
    const std::vector<double> signal(frames.begin(), frames.end());
    measure.loudnessDecibels = blockOffset + 20 * std::log10(std::max(1e-10, loudness(signal)));
    return measure;
}

double clippedMilliseconds(const AudioFiles& files, const std::filesystem::path& path) {
    constexpr float fullScale = 0.9999F;
    constexpr std::size_t shortestRun = 3;
    try {
        const auto reader = files.open(path);
        const AudioFormat format = reader->format();
        const std::vector<float> frames = readAllFrames(*reader);
        std::size_t clipped = 0;
        for (std::size_t channel = 0; channel < format.channels; ++channel) {
            std::size_t run = 0;
            float last = 0;
            for (std::size_t at = channel; at < frames.size(); at += format.channels) {
                const float frame = frames[at];
                const bool stands = std::abs(frame) >= fullScale && (run == 0 || (frame > 0) == (last > 0));
                run = stands ? run + 1 : 0;
                last = frame;
                // A run counts as a whole once it is long enough.
                clipped += run == shortestRun ? shortestRun : run > shortestRun ? 1 : 0;
            }
        }
        return static_cast<double>(clipped) * 1000 / format.sampleRate;
    } catch (const AudioFileError&) {
        return 0;
    }
}

} // namespace keysong
