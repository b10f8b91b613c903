#pragma once

#include "Audio/SampleBuffer.h"
#include "Platform/AudioFile.h"

#include <cstddef>
#include <filesystem>
#include <vector>

namespace keysong {

/// Decodes sound files into sample buffers of one format, within bounds that no keyboard sound comes near,
/// so that a hostile file cannot take the machine's memory.
///
/// One thread at a time, and never the main, event-tap or render thread.
class SampleDecoder {
  public:
    /// The longest sound that is decoded, in seconds of the target rate.
    static constexpr double longestSoundSeconds = 120.0;
    /// The most values (frames times channels) that are read from one file: 128 MiB.
    static constexpr std::size_t mostSourceValues = std::size_t{32} << 20U;
    /// The most frames that one decoder returns in all: 256 MiB, 23 minutes at 48 kHz.
    static constexpr std::size_t mostFramesInAll = std::size_t{64} << 20U;
    static constexpr std::uint32_t mostChannels = 64;

    /// `target` must have one channel. `files` outlives the decoder.
    SampleDecoder(const AudioFormat& target, const AudioFiles& files);

    /// The whole of one file in the target format. Throws `AudioFileError` when the file cannot be opened,
    /// read or converted, and `SoundSetError` (undecodable) when it is empty, has a format that cannot be
    /// converted, or exceeds a bound above.
    [[nodiscard]] SampleRef decode(const std::filesystem::path& path);

  private:
    /// Frames as decoded, or converted where the formats differ; empty when there is nothing to play.
    [[nodiscard]] std::vector<float> framesOf(AudioFileReader& reader) const;

    AudioFormat target_;
    const AudioFiles& files_;
    std::size_t framesLeft_ = mostFramesInAll;
};

/// All frames of an opened file as they are, interleaved. The length that the file claims is not trusted:
/// memory grows with what is really there. Empty when there is nothing, or more than `SampleDecoder` reads of
/// one file. Throws `AudioFileError`.
[[nodiscard]] std::vector<float> readAllFrames(AudioFileReader& reader);

} // namespace keysong
