#include "Packs/ClipStore.h"

#include "Audio/SoundEngine.h"
#include "Packs/Cut.h"
#include "Shared/NumberText.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <stdexcept>

namespace keysong {

namespace fs = std::filesystem;

namespace {

constexpr const char* scratchFolder = ".source";

void writeFile(const fs::path& path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw PackError("cannot write " + path.string());
    }
}

/// The letters, digits and marks of a name that are safe everywhere.
std::string plainName(std::string_view name) {
    constexpr std::size_t longest = 48;
    std::string result;
    for (const char character : name.substr(0, longest)) {
        const bool isPlain = (character >= 'a' && character <= 'z') ||
                             (character >= 'A' && character <= 'Z') ||
                             (character >= '0' && character <= '9') || character == '-' || character == '_';
        result += isPlain ? character : '-';
    }
    return result.empty() ? "sound" : result;
}

/// The frame nearest to a time, not beyond the end.
std::size_t frameAt(double milliseconds, double rate, std::size_t count) {
    const double frame = std::round(milliseconds * rate / 1000);
    return frame >= static_cast<double>(count) ? count : static_cast<std::size_t>(std::max(0.0, frame));
}

/// Where a piece lies, for the user.
std::string milliseconds(const ClipRange& range) {
    return shortestText(static_cast<float>(range.startMs)) + " ms for " +
           shortestText(static_cast<float>(range.lengthMs)) + " ms";
}

} // namespace

ClipStore::ClipStore(const PackFiles& files, const AudioFiles& audio, const AudioFileWriter& writer,
                     const fs::path& folder, PackReport& report)
    : files_(files), audio_(audio), writer_(writer), folder_(folder), scratch_(folder / scratchFolder),
      report_(report), decoder_(SoundEngine::renderFormat, audio), names_{silenceFileName} {
    fs::create_directory(scratch_);
}

void ClipStore::finish() {
    recordings_.clear();
    fs::remove_all(scratch_);
}

void ClipStore::prepare(const SoundPlan<Clip>& plan) {
    std::set<std::string> seen;
    float peak = 1;
    static_cast<void>(mapPlan<bool>(plan, [&](const Clip& clip) -> std::optional<bool> {
        if (!clip.range || !seen.insert(clip.file).second) {
            return std::nullopt;
        }
        try {
            for (const float frame : recordingOf(clip.file).frames) {
                peak = std::isfinite(frame) ? std::max(peak, std::abs(frame)) : peak;
            }
        } catch (const std::runtime_error&) {
            // Left with a reason when it is stored.
        }
        return std::nullopt;
    }));
    scale_ = 1 / peak;
}

double ClipStore::levelTakenAway() const noexcept {
    return scale_ == 1 ? 0 : -20 * std::log10(static_cast<double>(scale_));
}

std::optional<std::string> ClipStore::store(const Clip& clip) {
    const ClipRange range = clip.range.value_or(ClipRange{-1, -1});
    const auto key = std::tuple(clip.file, range.startMs, range.lengthMs);
    const auto known = stored_.find(key);
    return known != stored_.end() ? known->second : stored_.emplace(key, tryStore(clip)).first->second;
}

std::optional<std::string> ClipStore::tryStore(const Clip& clip) {
    if (unreadable_.contains(clip.file)) {
        return std::nullopt;
    }
    if (clip.isSilence()) {
        return silence();
    }
    if (names_.size() >= mostFiles) {
        report_.leave("more sounds than a set can have", clip.file);
        return std::nullopt;
    }
    try {
        return clip.range ? cutPiece(clip.file, *clip.range) : copyWhole(clip.file);
    } catch (const PackFileError& error) {
        report_.leave("a file that cannot be unpacked", error.what());
    } catch (const AudioFileError&) {
        report_.leave("a file that cannot be read as sound", clip.file);
    } catch (const SoundSetError&) {
        report_.leave("a file that is empty or too long for a sound", clip.file);
    }
    unreadable_.insert(clip.file);
    return std::nullopt;
}

std::string ClipStore::copyWhole(const std::string& file) {
    const std::string bytes = files_.read(file);
    const auto content = std::pair(bytes.size(), std::hash<std::string>{}(bytes));
    if (const auto known = wholeByContent_.find(content); known != wholeByContent_.end()) {
        return known->second;
    }
    const fs::path trial = scratch_ / "whole";
    writeFile(trial, bytes);
    static_cast<void>(decoder_.decode(trial));
    std::string name;
    if (scale_ == 1) {
        name = freshName(file, lowerCase(fs::path(file).extension().string()));
        fs::rename(trial, folder_ / name);
    } else {
        const Recording& recording = recordingOf(file);
        name = writePiece(file, recording.frames, recording.format);
    }
    ++copied_;
    return wholeByContent_.emplace(content, name).first->second;
}

std::optional<std::string> ClipStore::cutPiece(const std::string& file, const ClipRange& range) {
    const Recording& recording = recordingOf(file);
    const std::size_t channels = recording.format.channels;
    const std::size_t count = recording.frames.size() / channels;
    const std::size_t first = frameAt(range.startMs, recording.format.sampleRate, count);
    const std::size_t end = frameAt(range.startMs + range.lengthMs, recording.format.sampleRate, count);
    if (end <= first) {
        report_.leave("a piece that lies outside the recording", file + " from " + milliseconds(range));
        return std::nullopt;
    }
    const auto place = std::tuple(file, first, end);
    if (const auto known = pieces_.find(place); known != pieces_.end()) {
        return known->second;
    }
    const std::size_t frames = end - first;
    if (frames > framesLeft_ ||
        static_cast<double>(frames) > SampleDecoder::longestSoundSeconds * recording.format.sampleRate) {
        report_.leave("a piece that is too long for a sound", file + " from " + milliseconds(range));
        return std::nullopt;
    }
    framesLeft_ -= frames;
    const Cut cut = cutFrom(recording.frames, recording.format, first, end);
    if (cut.beginsLate) {
        report_.note("a piece that begins after its sound did", file + " from " + milliseconds(range));
    }
    if (cut.isFaded) {
        report_.note("a piece that ends while its sound rings", file + " from " + milliseconds(range));
    }
    const std::string name = writePiece(file, cut.frames, recording.format);
    ++cut_;
    return pieces_.emplace(place, name).first->second;
}

std::string ClipStore::silence() {
    constexpr std::size_t frames = 480;
    const fs::path path = folder_ / silenceFileName;
    if (!fs::exists(path)) {
        writer_.write(path, std::vector<float>(frames), SoundEngine::renderFormat);
    }
    return silenceFileName;
}

std::string ClipStore::writePiece(const std::string& file, std::vector<float> frames,
                                  const AudioFormat& format) {
    if (scale_ != 1) {
        for (float& frame : frames) {
            frame *= scale_;
        }
    }
    std::string name = freshName(file, ".flac");
    try {
        writer_.write(folder_ / name, frames, format);
    } catch (const AudioFileError& error) {
        // The disk is full, or the recording has a shape that no file of ours can have: the next would fail
        // too.
        throw PackError(error.what());
    }
    return name;
}

const ClipStore::Recording& ClipStore::recordingOf(const std::string& file) {
    if (const auto known = recordings_.find(file); known != recordings_.end()) {
        return known->second;
    }
    const fs::path source = scratch_ / "recording";
    writeFile(source, files_.read(file));
    const auto reader = audio_.open(source);
    Recording recording{reader->format(), readAllFrames(*reader)};
    if (recording.frames.empty() || !(recording.format.sampleRate > 0)) {
        throw AudioFileError("it holds no sound, or too much");
    }
    // Most packs have one recording, some one for each key: all of these together would be too much.
    if (valuesHeld_ + recording.frames.size() > SampleDecoder::mostSourceValues) {
        recordings_.clear();
        valuesHeld_ = 0;
    }
    valuesHeld_ += recording.frames.size();
    return recordings_.emplace(file, std::move(recording)).first->second;
}

std::string ClipStore::freshName(const std::string& packName, const std::string& ending) {
    const std::string stem = plainName(fs::path(packName).stem().string());
    const std::string plainEnding = ending.empty() ? std::string() : "." + plainName(ending.substr(1));
    for (int number = 1;; ++number) {
        std::string name = stem + (number > 1 ? "-" + std::to_string(number) : "") + plainEnding;
        if (names_.insert(lowerCase(name)).second) {
            return name;
        }
    }
}

} // namespace keysong
