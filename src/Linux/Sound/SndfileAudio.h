#pragma once

#include "Linux/System/FileDescriptor.h"
#include "Platform/AudioFile.h"

#include <string>

namespace keysong {

/// Audio files read by libsndfile and converted by the soxr resampler.
///
/// A format is found by the file's content alone. Channels are mixed before the rate is converted: several
/// to one by their mean, one to several by copies, several to a different number by way of one. The
/// converter's delay is taken out, so that output frame 0 is the moment of input frame 0, and its gain is 1.
/// Stateless: calls from several threads may overlap.
class SndfileAudio final : public AudioFiles {
  public:
    /// Larger files are refused unread.
    static constexpr std::int64_t largestFileBytes = std::int64_t{512} << 20;
    static constexpr double lowestRate = 1000;
    static constexpr double highestRate = 1'536'000;
    static constexpr std::uint32_t mostChannels = 64;

    [[nodiscard]] std::unique_ptr<AudioFileReader> open(const std::filesystem::path& path) const override;
    /// Opens a regular file of a bearable size, without ever waiting for a pipe's writer or a device. Throws
    /// `AudioFileError`.
    [[nodiscard]] static FileDescriptor openRegularFile(const std::filesystem::path& path);
    /// As `open`, for a file that is open; errors call it `name`.
    [[nodiscard]] static std::unique_ptr<AudioFileReader> openDescriptor(FileDescriptor file,
                                                                         const std::string& name);
    /// Rates from `lowestRate` to `highestRate` and up to `mostChannels` channels on both sides.
    [[nodiscard]] bool canConvert(const AudioFormat& from, const AudioFormat& to) const override;
    [[nodiscard]] std::vector<float> convert(std::span<const float> frames, const AudioFormat& from,
                                             const AudioFormat& to,
                                             std::size_t capacityFrames) const override;
};

} // namespace keysong
