#pragma once

#include "Audio/SampleBuffer.h"
#include "Platform/AudioFile.h"

#include <filesystem>

namespace keysong {

/// What can be measured of one decoded sound.
struct SoundMeasure {
    /// Nothing of it could be heard.
    bool isSilent = true;
    /// From its beginning to the first frame of a tenth of its peak.
    double onsetMilliseconds = 0;
    /// Of all of it as if it lay within 50 ms, in LUFS.
    double loudnessDecibels = 0;
};

/// Any thread but the render thread.
[[nodiscard]] SoundMeasure measureSound(const SampleBuffer& sample);

/// For how long, in all, a file's channels stand still at full scale: three frames in a row or more, which no
/// wave does by itself. 0 for a file that cannot be read. Blocks on the file.
[[nodiscard]] double clippedMilliseconds(const AudioFiles& files, const std::filesystem::path& path);

} // namespace keysong
