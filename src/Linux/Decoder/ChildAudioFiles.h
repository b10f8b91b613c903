#pragma once

#include "Linux/Decoder/DecodingChild.h"
#include "Platform/AudioFile.h"

#include <chrono>
#include <filesystem>
#include <utility>

namespace keysong {

/// Sound files, decoded by a child. What it says is not believed beyond what memory it takes; conversion is
/// done here, on plain numbers.
class ChildAudioFiles final : public AudioFiles {
  public:
    /// One file that takes longer to decode is refused.
    static constexpr std::chrono::seconds longestDecoding{5};

    /// `child` and `converter` outlive the files.
    ChildAudioFiles(const DecodingChild& child, const AudioFiles& converter)
        : child_(child), converter_(converter) {}

    [[nodiscard]] std::unique_ptr<AudioFileReader> open(const std::filesystem::path& path) const override;
    [[nodiscard]] bool canConvert(const AudioFormat& from, const AudioFormat& to) const override {
        return converter_.canConvert(from, to);
    }
    [[nodiscard]] std::vector<float> convert(std::span<const float> frames, const AudioFormat& from,
                                             const AudioFormat& to,
                                             std::size_t capacityFrames) const override {
        return converter_.convert(frames, from, to, capacityFrames);
    }
    void rest() const override { child_.rest(); }

  private:
    const DecodingChild& child_;
    const AudioFiles& converter_;
};

/// Files below one folder are read directly, all others by a child: the program's own need no guard.
class GuardedAudioFiles final : public AudioFiles {
  public:
    /// Both outlive this. An empty folder holds nothing.
    GuardedAudioFiles(const AudioFiles& direct, const AudioFiles& guarded, std::filesystem::path own)
        : direct_(direct), guarded_(guarded), own_(std::move(own)) {}

    [[nodiscard]] std::unique_ptr<AudioFileReader> open(const std::filesystem::path& path) const override;
    [[nodiscard]] bool canConvert(const AudioFormat& from, const AudioFormat& to) const override {
        return direct_.canConvert(from, to);
    }
    [[nodiscard]] std::vector<float> convert(std::span<const float> frames, const AudioFormat& from,
                                             const AudioFormat& to,
                                             std::size_t capacityFrames) const override {
        return direct_.convert(frames, from, to, capacityFrames);
    }
    void rest() const override { guarded_.rest(); }

  private:
    const AudioFiles& direct_;
    const AudioFiles& guarded_;
    const std::filesystem::path own_;
};

} // namespace keysong
