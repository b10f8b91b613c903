#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

namespace keysong {

/// The layout of 32-bit float audio: frames a second and channels.
struct AudioFormat {
    double sampleRate = 0;
    std::uint32_t channels = 0;

    friend bool operator==(const AudioFormat&, const AudioFormat&) = default;
};

/// An audio file could not be opened, read or converted; `what()` says why in words for the log.
class AudioFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One audio file opened for reading, whatever its format. One thread at a time.
class AudioFileReader {
  public:
    virtual ~AudioFileReader() = default;

    [[nodiscard]] virtual AudioFormat format() const = 0;
    /// Length in frames as the file declares it; may be wrong in a damaged or hostile file.
    [[nodiscard]] virtual std::int64_t lengthFrames() const = 0;

    /// Reads up to `frames.size() / channels` interleaved frames from the current position on and returns
    /// how many were read; fewer at the end. Throws `AudioFileError`.
    virtual std::size_t read(std::span<float> frames) = 0;

  protected:
    AudioFileReader() = default;
    AudioFileReader(const AudioFileReader&) = default;
    AudioFileReader& operator=(const AudioFileReader&) = default;
};

/// The machine's audio file reader and converter. Any thread but the render thread; calls may overlap.
class AudioFiles {
  public:
    virtual ~AudioFiles() = default;

    /// Opens a file by its content; the name's extension is not looked at. Throws `AudioFileError`.
    [[nodiscard]] virtual std::unique_ptr<AudioFileReader> open(const std::filesystem::path& path) const = 0;

    /// Whether `convert` can go from one format to the other.
    [[nodiscard]] virtual bool canConvert(const AudioFormat& from, const AudioFormat& to) const = 0;

    /// Converts whole interleaved audio between formats, rate and channels in one step, the converter's
    /// tail included, into at most `capacityFrames` frames. Throws `AudioFileError`.
    [[nodiscard]] virtual std::vector<float> convert(std::span<const float> frames, const AudioFormat& from,
                                                     const AudioFormat& to,
                                                     std::size_t capacityFrames) const = 0;

    /// Gives back what reading keeps for the next file, such as a process. The next file fetches it again.
    virtual void rest() const {}

  protected:
    AudioFiles() = default;
    AudioFiles(const AudioFiles&) = default;
    AudioFiles& operator=(const AudioFiles&) = default;
};

/// The machine's writer of lossless audio files. Any thread but the render thread; calls may overlap.
class AudioFileWriter {
  public:
    virtual ~AudioFileWriter() = default;

    /// Writes interleaved frames as a new file that `AudioFiles::open` reads, for rates that are whole
    /// numbers and up to 8 channels. Frames beyond full scale are limited to it. Throws `AudioFileError`.
    virtual void write(const std::filesystem::path& path, std::span<const float> frames,
                       const AudioFormat& format) const = 0;

  protected:
    AudioFileWriter() = default;
    AudioFileWriter(const AudioFileWriter&) = default;
    AudioFileWriter& operator=(const AudioFileWriter&) = default;
};

} // namespace keysong
