#include "Linux/Decoder/ChildAudioFiles.h"

#include "Linux/Decoder/MappedFile.h"
#include "Linux/Sound/SndfileAudio.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace keysong {

namespace {

/// The most values that are taken of one sound: 128 MiB.
constexpr std::uint64_t mostValues = std::uint64_t{32} << 20U;

/// A sound that a child has described; its frames come with the first read.
class ChildReader final : public AudioFileReader {
  public:
    ChildReader(const DecodingChild& child, const std::filesystem::path& path)
        : child_(child), name_(path.filename().string()), file_(SndfileAudio::openRegularFile(path)),
          description_(ask({DecoderRequest::Kind::describeSound, 0, 0, 0, 0}).answer) {}

    [[nodiscard]] AudioFormat format() const override {
        return {description_.sampleRate, description_.channels};
    }
    [[nodiscard]] std::int64_t lengthFrames() const override { return description_.claimedFrames; }

    std::size_t read(std::span<float> frames) override {
        const std::size_t channels = description_.channels;
        if (channels == 0) {
            return 0;
        }
        decodeOnce();
        const std::string_view all = decoded_->bytes();
        const std::size_t count =
            std::min(frames.size() / channels, all.size() / sizeof(float) / channels - framesRead_);
        std::memcpy(frames.data(), all.data() + framesRead_ * channels * sizeof(float),
                    count * channels * sizeof(float));
        framesRead_ += count;
        return count;
    }

  private:
    void decodeOnce() {
        if (decoded_) {
            return;
        }
        const auto result = ask({DecoderRequest::Kind::decodeSound, mostValues, 0, 0, 0});
        const bool isSame = result.answer.channels == description_.channels;
        if (!isSame || result.answer.bytes > mostValues * sizeof(float)) {
            throw AudioFileError("cannot read " + name_ + ": the decoder contradicts itself");
        }
        try {
            decoded_.emplace(result.file, static_cast<std::size_t>(result.answer.bytes));
        } catch (const std::runtime_error& error) {
            throw AudioFileError("cannot read " + name_ + ": " + error.what());
        }
    }

    [[nodiscard]] DecodingChild::Result ask(const DecoderRequest& request) const {
        try {
            return child_.ask(request, file_, ChildAudioFiles::longestDecoding);
        } catch (const DecodingError& error) {
            throw AudioFileError("cannot read " + name_ + ": " + error.what());
        }
    }

    const DecodingChild& child_;
    const std::string name_;
    const FileDescriptor file_;
    const DecoderAnswer description_;
    std::optional<MappedFile> decoded_;
    std::size_t framesRead_ = 0;
};

} // namespace

std::unique_ptr<AudioFileReader> ChildAudioFiles::open(const std::filesystem::path& path) const {
    return std::make_unique<ChildReader>(child_, path);
}

std::unique_ptr<AudioFileReader> GuardedAudioFiles::open(const std::filesystem::path& path) const {
    const std::filesystem::path whole = path.lexically_normal();
    const bool isOwn =
        !own_.empty() &&
        std::mismatch(own_.begin(), own_.end(), whole.begin(), whole.end()).first == own_.end();
    return (isOwn ? direct_ : guarded_).open(path);
}

} // namespace keysong
