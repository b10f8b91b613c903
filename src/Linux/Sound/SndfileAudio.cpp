#include "Linux/Sound/SndfileAudio.h"

#include "Linux/System/FileDescriptor.h"
#include "Shared/Mutex.h"

#include <fcntl.h>
#include <sndfile.h>
#include <soxr.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace keysong {

namespace {

struct SndfileCloser {
    void operator()(SNDFILE* file) const noexcept { sf_close(file); }
};
using Sndfile = std::unique_ptr<SNDFILE, SndfileCloser>;

struct SoxrDeleter {
    void operator()(soxr* converter) const noexcept { soxr_delete(converter); }
};

[[noreturn]] void fail(const std::filesystem::path& path, const std::string& reason) {
    throw AudioFileError("cannot read " + path.filename().string() + ": " + reason);
}

[[noreturn]] void failWithErrno(const std::filesystem::path& path) {
    fail(path, std::generic_category().message(errno));
}

/// By descriptor the library sees no name, from whose extension it would guess headerless formats.
Sndfile openSndfile(const std::filesystem::path& path, FileDescriptor descriptor, SF_INFO& info) {
    // The text of a failed open is kept in one place for the whole process.
    static Mutex mutex;
    const MutexLock lock(mutex);
    // From here on the library closes the descriptor, whether it likes the file or not.
    Sndfile file(sf_open_fd(descriptor.release(), SFM_READ, &info, SF_TRUE));
    if (!file) {
        fail(path, sf_strerror(nullptr));
    }
    return file;
}

class SndfileReader final : public AudioFileReader {
  public:
    SndfileReader(const std::filesystem::path& path, FileDescriptor descriptor)
        : path_(path), file_(openSndfile(path, std::move(descriptor), info_)) {}

    [[nodiscard]] AudioFormat format() const override {
        return {static_cast<double>(info_.samplerate), static_cast<std::uint32_t>(info_.channels)};
    }
    [[nodiscard]] std::int64_t lengthFrames() const override { return info_.frames; }

    std::size_t read(std::span<float> frames) override {
        const auto channels = static_cast<std::size_t>(info_.channels);
        const auto wanted = static_cast<sf_count_t>(frames.size() / channels);
        const sf_count_t got = sf_readf_float(file_.get(), frames.data(), wanted);
        if (got < wanted && sf_error(file_.get()) != SF_ERR_NO_ERROR) {
            fail(path_, sf_strerror(file_.get()));
        }
        return static_cast<std::size_t>(got);
    }

  private:
    std::filesystem::path path_;
    SF_INFO info_{};
    Sndfile file_;
};

/// Interleaved frames with their number of channels changed.
std::vector<float> mixed(std::span<const float> frames, std::size_t from, std::size_t to) {
    if (from == to) {
        return {frames.begin(), frames.end()};
    }
    const std::size_t count = frames.size() / from;
    std::vector<float> result(count * to);
    for (std::size_t frame = 0; frame < count; ++frame) {
        double sum = 0;
        for (const float value : frames.subspan(frame * from, from)) {
            sum += static_cast<double>(value);
        }
        std::fill_n(result.begin() + static_cast<std::ptrdiff_t>(frame * to), to,
                    static_cast<float>(sum / static_cast<double>(from)));
    }
    return result;
}

void check(soxr_error_t error) {
    if (error != nullptr) {
        throw AudioFileError(std::string("cannot convert the sample rate: ") + error);
    }
}

constexpr std::size_t framesAtOnce = 512;

/// Interleaved frames at another rate, the tail of the filter included.
std::vector<float> resampled(const std::vector<float>& frames, std::size_t channels, double fromRate,
                             double toRate, std::size_t capacityFrames) {
    soxr_error_t error = nullptr;
    const soxr_io_spec_t format = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    const std::unique_ptr<soxr, SoxrDeleter> converter(soxr_create(
        fromRate, toRate, static_cast<unsigned>(channels), &error, &format, &quality, &oneThread));
    check(error);

    std::vector<float> result(capacityFrames * channels);
    const std::size_t count = frames.size() / channels;
    std::size_t given = 0;
    std::size_t done = 0;
    while (done < capacityFrames) {
        // Small steps keep the converter's own buffers small. No input means the end of it: then the
        // converter hands out what it still holds.
        const std::size_t step = std::min(framesAtOnce, count - given);
        const float* input = step > 0 ? frames.data() + given * channels : nullptr;
        std::size_t taken = 0;
        std::size_t made = 0;
        check(soxr_process(converter.get(), input, step, &taken, result.data() + done * channels,
                           capacityFrames - done, &made));
        given += taken;
        done += made;
        if (step == 0 && made == 0) {
            break;
        }
    }
    result.resize(done * channels);
    return result;
}

bool isConvertible(const AudioFormat& format) {
    return format.sampleRate >= SndfileAudio::lowestRate && format.sampleRate <= SndfileAudio::highestRate &&
           format.channels >= 1 && format.channels <= SndfileAudio::mostChannels;
}

} // namespace

std::unique_ptr<AudioFileReader> SndfileAudio::open(const std::filesystem::path& path) const {
    return std::make_unique<SndfileReader>(path, openRegularFile(path));
}

FileDescriptor SndfileAudio::openRegularFile(const std::filesystem::path& path) {
    if (path.native().find('\0') != std::string::npos) {
        fail(path.native().c_str(), "the name contains a zero byte");
    }
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0) {
        failWithErrno(path);
    }
    if (!S_ISREG(status.st_mode)) {
        fail(path, S_ISDIR(status.st_mode) ? "it is a folder" : "not a regular file");
    }
    if (status.st_size > largestFileBytes) {
        fail(path, "the file is too large");
    }
    return file;
}

std::unique_ptr<AudioFileReader> SndfileAudio::openDescriptor(FileDescriptor file, const std::string& name) {
    return std::make_unique<SndfileReader>(name, std::move(file));
}

bool SndfileAudio::canConvert(const AudioFormat& from, const AudioFormat& to) const {
    return isConvertible(from) && isConvertible(to);
}

std::vector<float> SndfileAudio::convert(std::span<const float> frames, const AudioFormat& from,
                                         const AudioFormat& to, std::size_t capacityFrames) const {
    if (!canConvert(from, to)) {
        throw AudioFileError("cannot convert between these formats");
    }
    std::vector<float> values = mixed(frames, from.channels, to.channels);
    if (from.sampleRate == to.sampleRate) {
        values.resize(std::min(values.size(), capacityFrames * to.channels));
        return values;
    }
    // Upmixed channels are alike: resampling them one by one would only repeat the work, but a sound is
    // short and its target nearly always one channel.
    return resampled(values, to.channels, from.sampleRate, to.sampleRate, capacityFrames);
}

} // namespace keysong
