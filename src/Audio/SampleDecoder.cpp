#include "Audio/SampleDecoder.h"

#include "Audio/SoundSet.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace keysong {

namespace {

/// Room in the converter's output beyond the computed length, for what its filters add.
constexpr std::size_t converterHeadroom = 4096;

/// The last path component, as `SoundSetError` names a file.
std::string lastComponent(const std::filesystem::path& path) {
    return path.has_filename() ? path.filename().string() : path.parent_path().filename().string();
}

} // namespace

SampleDecoder::SampleDecoder(const AudioFormat& target, const AudioFiles& files, std::stop_token stop)
    : target_(target), files_(files), stop_(std::move(stop)) {
    if (target.channels != 1 || !(target.sampleRate > 0)) {
        throw std::invalid_argument("samples are decoded to one channel at a positive rate");
    }
}

SampleRef SampleDecoder::decode(const std::filesystem::path& path) {
    const auto reader = files_.open(path);
    const std::vector<float> frames = framesOf(*reader);
    if (frames.empty()) {
        throw SoundSetError(SoundSetError::Kind::undecodable, lastComponent(path));
    }
    return std::make_shared<const SampleBuffer>(frames);
}

std::vector<float> SampleDecoder::framesOf(AudioFileReader& reader) {
    const AudioFormat source = reader.format();
    if (!(source.sampleRate > 0)) {
        return {};
    }
    const double ratio = target_.sampleRate / source.sampleRate;
    const double claimedFrames = static_cast<double>(reader.lengthFrames());
    if (claimedFrames < 0 || claimedFrames * ratio > longestSoundSeconds * target_.sampleRate) {
        return {};
    }
    const auto frames = static_cast<std::size_t>(std::ceil(claimedFrames * ratio));
    const double claimedValues = claimedFrames * source.channels;
    if (frames > framesLeft_ || claimedValues > static_cast<double>(valuesLeft_)) {
        return {};
    }
    framesLeft_ -= frames;
    valuesLeft_ -= static_cast<std::size_t>(claimedValues);
    std::vector<float> result = decodedFrames(reader);
    framesLeft_ += frames;
    if (result.size() > framesLeft_) {
        return {};
    }
    framesLeft_ -= result.size();
    return result;
}

std::vector<float> SampleDecoder::decodedFrames(AudioFileReader& reader) const {
    const AudioFormat source = reader.format();
    const double ratio = target_.sampleRate / source.sampleRate;
    if (source != target_ && !files_.canConvert(source, target_)) {
        return {};
    }
    std::vector<float> values = readAllFrames(reader, stop_);
    if (source == target_ || values.empty()) {
        return values;
    }
    // One value that is no number would spread over the whole length of the converter's filter.
    std::replace_if(
        values.begin(), values.end(), [](float value) { return !std::isfinite(value); }, 0.0F);
    const double frameCount = static_cast<double>(values.size() / source.channels);
    const auto capacity = static_cast<std::size_t>(std::trunc(ratio * frameCount)) + converterHeadroom;
    return files_.convert(values, source, target_, capacity);
}

std::vector<float> readAllFrames(AudioFileReader& reader, const std::stop_token& stop) {
    constexpr std::size_t framesAtOnce = std::size_t{1} << 14U;
    const std::size_t channels = reader.format().channels;
    const std::int64_t claimed = reader.lengthFrames();
    if (claimed <= 0 || channels == 0 || channels > SampleDecoder::mostChannels ||
        static_cast<std::uint64_t>(claimed) > SampleDecoder::mostSourceValues / channels) {
        return {};
    }
    const auto length = static_cast<std::size_t>(claimed);
    std::vector<float> values;
    for (std::size_t done = 0; done < length;) {
        if (stop.stop_requested()) {
            throw AudioFileError("reading was stopped");
        }
        const std::size_t wanted = std::min(framesAtOnce, length - done);
        values.resize((done + wanted) * channels);
        const std::size_t got = reader.read(std::span(values).subspan(done * channels));
        done += got;
        if (got < wanted) {
            values.resize(done * channels);
            break;
        }
    }
    return values;
}

} // namespace keysong
