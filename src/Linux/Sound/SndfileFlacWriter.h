#pragma once

#include "Platform/AudioFile.h"

namespace keysong {

/// Lossless files written by libsndfile: 24-bit FLAC. Stateless.
class SndfileFlacWriter final : public AudioFileWriter {
  public:
    void write(const std::filesystem::path& path, std::span<const float> frames,
               const AudioFormat& format) const override;
};

} // namespace keysong
