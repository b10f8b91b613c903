#pragma once

#include "Audio/SampleBuffer.h"
#include "Platform/AudioFile.h"

#include <cstddef>
#include <filesystem>
#include <stop_token>
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

    /// The most values that one decoder reads in all, of files that it then refuses too: 512 MiB.
    static constexpr std::size_t mostSourceValuesInAll = 4 * mostSourceValues;

    /// `target` must have one channel. `files` outlives the decoder. Once `stop` is asked for, a file under
    /// way fails soon.
    SampleDecoder(const AudioFormat& target, const AudioFiles& files, std::stop_token stop = {});
    /// Lets `files` rest.
    ~SampleDecoder() { files_.rest(); }
    SampleDecoder(const SampleDecoder&) = delete;
    SampleDecoder& operator=(const SampleDecoder&) = delete;

    /// The whole of one file in the target format. What the file says of its length is charged before
    /// anything is decoded, and what it had less is given back only when it proves good. Throws
    /// `AudioFileError` when the file cannot be opened, read or converted, and `SoundSetError` (undecodable)
    /// when it is empty, has a format that cannot be converted, or exceeds a bound above.
    [[nodiscard]] SampleRef decode(const std::filesystem::path& path);

  private:
    /// Within what is left; empty when there is nothing to play or too much.
    [[nodiscard]] std::vector<float> framesOf(AudioFileReader& reader);
    /// Frames as decoded, or converted where the formats differ.
    [[nodiscard]] std::vector<float> decodedFrames(AudioFileReader& reader) const;

    AudioFormat target_;
    const AudioFiles& files_;
    std::stop_token stop_;
    std::size_t framesLeft_ = mostFramesInAll;
    std::size_t valuesLeft_ = mostSourceValuesInAll;
};

/// All frames of an opened file as they are, interleaved. The length that the file claims is not trusted:
/// memory grows with what is really there. Empty when there is nothing, or more than `SampleDecoder` reads of
/// one file. Throws `AudioFileError`, also when `stop` is asked for.
[[nodiscard]] std::vector<float> readAllFrames(AudioFileReader& reader, const std::stop_token& stop = {});

} // namespace keysong
