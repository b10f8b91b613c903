#pragma once

#include "Audio/SoundSet.h"
#include "Platform/AudioFile.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

namespace keysong::test {

/// Every file is a mono recording at 48 kHz that holds 0.5 throughout, whatever is on the disk.
class ConstantAudioFiles final : public AudioFiles {
  public:
    explicit ConstantAudioFiles(std::size_t frames = 480) : frames_(frames) {}

    [[nodiscard]] std::unique_ptr<AudioFileReader> open(const std::filesystem::path&) const override {
        return std::make_unique<Reader>(frames_);
    }
    [[nodiscard]] bool canConvert(const AudioFormat&, const AudioFormat&) const override { return false; }
    [[nodiscard]] std::vector<float> convert(std::span<const float>, const AudioFormat&, const AudioFormat&,
                                             std::size_t) const override {
        throw AudioFileError("nothing to convert");
    }

  private:
    class Reader final : public AudioFileReader {
      public:
        explicit Reader(std::size_t frames) : length_(frames), left_(frames) {}
        [[nodiscard]] AudioFormat format() const override { return {48000, 1}; }
        [[nodiscard]] std::int64_t lengthFrames() const override {
            return static_cast<std::int64_t>(length_);
        }
        std::size_t read(std::span<float> frames) override {
            const std::size_t count = std::min(left_, frames.size());
            std::fill_n(frames.begin(), count, 0.5F);
            left_ -= count;
            return count;
        }

      private:
        std::size_t length_;
        std::size_t left_;
    };

    std::size_t frames_;
};

/// Writes a set's folder: three files for keys going down, one for keys coming up, one for the left
/// button and one for scrolling; `extra` is further manifest text, such as "\"gain\":3,".
inline std::filesystem::path writeSet(const std::filesystem::path& parent, const std::string& id,
                                      const std::string& extra = {}) {
    const auto directory = parent / id;
    std::filesystem::create_directories(directory);
    for (const char* name : {"a.wav", "b.wav", "c.wav", "up.wav", "left.wav", "scroll.wav"}) {
        std::ofstream(directory / name) << "audio";
    }
    std::ofstream(directory / "manifest.json")
        << "{\"schema\":1,\"id\":\"" << id << "\",\"name\":\"Name\"," << extra
        << "\"defaults\":{\"down\":[\"a.wav\",\"b.wav\",\"c.wav\"],\"up\":[\"up.wav\"]},"
           "\"mouse\":{\"left\":{\"down\":[\"left.wav\"]},\"scroll\":[\"scroll.wav\"]}}";
    return directory;
}

/// A set as `writeSet` writes it, loaded.
inline std::shared_ptr<const SoundSet> makeSet(const std::string& id, const std::string& extra = {},
                                               std::size_t frames = 480) {
    const TempFolder folder;
    return SoundSet::load(writeSet(folder.path(), id, extra), {48000, 1}, ConstantAudioFiles(frames));
}

} // namespace keysong::test
