#pragma once

#include "Platform/AudioFile.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

namespace keysong::test {

/// Audio files that exist only in a test's memory.
class FakeAudioFiles : public AudioFiles {
  public:
    struct File {
        AudioFormat format{48000, 1};
        std::vector<float> samples{0.1F, 0.2F};
        /// The length in frames that the file claims; none for the true one.
        std::optional<std::int64_t> claimedFrames;
    };

    /// By whole path.
    std::map<std::string, File> files;
    /// What every other path holds; these may be opened by several threads.
    std::optional<File> others;
    bool convertible = true;
    /// What conversion returns.
    std::vector<float> converted{0.5F};

    // What was asked for, in order.
    mutable std::vector<std::string> opened;
    mutable std::vector<std::size_t> capacities;
    mutable std::vector<float> convertedFrom;

    [[nodiscard]] std::unique_ptr<AudioFileReader> open(const std::filesystem::path& path) const override {
        const auto found = files.find(path.string());
        if (found == files.end() && others) {
            return std::make_unique<Reader>(*others);
        }
        opened.push_back(path.string());
        if (found == files.end()) {
            throw AudioFileError("no such file");
        }
        return std::make_unique<Reader>(found->second);
    }

    [[nodiscard]] bool canConvert(const AudioFormat&, const AudioFormat&) const override {
        return convertible;
    }

    [[nodiscard]] std::vector<float> convert(std::span<const float> frames, const AudioFormat&,
                                             const AudioFormat&, std::size_t capacityFrames) const override {
        capacities.push_back(capacityFrames);
        convertedFrom.assign(frames.begin(), frames.end());
        return converted;
    }

  private:
    class Reader final : public AudioFileReader {
      public:
        explicit Reader(File file) : file_(std::move(file)) {}

        [[nodiscard]] AudioFormat format() const override { return file_.format; }
        [[nodiscard]] std::int64_t lengthFrames() const override {
            return file_.claimedFrames.value_or(
                static_cast<std::int64_t>(file_.samples.size() / std::max(1U, file_.format.channels)));
        }
        std::size_t read(std::span<float> frames) override {
            const std::size_t count = std::min(frames.size(), file_.samples.size() - position_);
            std::copy_n(file_.samples.begin() + static_cast<std::ptrdiff_t>(position_), count,
                        frames.begin());
            position_ += count;
            return count / file_.format.channels;
        }

      private:
        File file_;
        std::size_t position_ = 0;
    };
};

} // namespace keysong::test
