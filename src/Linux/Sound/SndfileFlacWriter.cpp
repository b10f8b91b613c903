#include "Linux/Sound/SndfileFlacWriter.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path, const char* reason) {
    throw AudioFileError("cannot write " + path.filename().string() + ": " + reason);
}

/// A frame as the library wants it: 24 bits in the upper part of an integer. Recordings of up to 24 bits
/// come out exactly as they went in.
int wide(float frame) {
    constexpr double fullScale = 8388608;
    const double scaled = std::isfinite(frame) ? std::nearbyint(static_cast<double>(frame) * fullScale) : 0;
    return static_cast<int>(std::clamp(scaled, -fullScale, fullScale - 1)) * 256;
}

} // namespace

void SndfileFlacWriter::write(const std::filesystem::path& path, std::span<const float> frames,
                              const AudioFormat& format) const {
    SF_INFO info{};
    info.samplerate = static_cast<int>(format.sampleRate);
    info.channels = static_cast<int>(format.channels);
    info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(sf_open(path.c_str(), SFM_WRITE, &info), sf_close);
    if (!file) {
        fail(path, sf_strerror(nullptr));
    }
    std::vector<int> values(frames.size());
    std::transform(frames.begin(), frames.end(), values.begin(), wide);
    const auto count = static_cast<sf_count_t>(values.size() / format.channels);
    if (sf_writef_int(file.get(), values.data(), count) != count) {
        fail(path, sf_strerror(file.get()));
    }
    // The encoder writes its last block only now.
    if (const int error = sf_close(file.release()); error != 0) {
        fail(path, sf_error_number(error));
    }
}

} // namespace keysong
