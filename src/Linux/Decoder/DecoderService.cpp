#include "Linux/Decoder/DecoderService.h"

#include "Linux/Decoder/DecoderMessages.h"
#include "Linux/Decoder/DecoderSandbox.h"
#include "Linux/Decoder/PackedList.h"
#include "Linux/Files/PackedArchives.h"
#include "Linux/Sound/SndfileAudio.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace keysong {

namespace {

constexpr DecoderLimits childLimits{1UL << 30U, 600};

/// A file in memory that grows, and that nobody can change once it is sealed.
class ResultFile {
  public:
    ResultFile() : file_(memfd_create("decoded", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
        if (!file_.isOpen()) {
            throw std::bad_alloc();
        }
    }

    void append(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t written = write(file_.get(), bytes.data(), bytes.size());
            if (written <= 0) {
                throw std::bad_alloc();
            }
            size_ += static_cast<std::uint64_t>(written);
            bytes.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    [[nodiscard]] FileDescriptor sealed() {
        if (fcntl(file_.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) != 0) {
            throw std::bad_alloc();
        }
        return std::move(file_);
    }
    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }

  private:
    FileDescriptor file_;
    std::uint64_t size_ = 0;
};

void describe(const AudioFileReader& reader, DecoderAnswer& answer) {
    answer.sampleRate = reader.format().sampleRate;
    answer.channels = reader.format().channels;
    answer.claimedFrames = reader.lengthFrames();
}

void decode(AudioFileReader& reader, std::uint64_t most, ResultFile& result) {
    constexpr std::size_t framesAtOnce = std::size_t{1} << 14U;
    const std::size_t channels = reader.format().channels;
    if (channels == 0 || channels > SndfileAudio::mostChannels) {
        throw AudioFileError("it has an unusual number of channels");
    }
    std::vector<float> step(framesAtOnce * channels);
    for (std::uint64_t left = most / channels; left > 0;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(framesAtOnce, left));
        const std::size_t got = reader.read(std::span(step).first(wanted * channels));
        result.append({reinterpret_cast<const char*>(step.data()), got * channels * sizeof(float)});
        left -= got;
        if (got < wanted) {
            return;
        }
    }
}

/// What the library's reader calls the file here, and how its errors begin then: the asker knows the name.
constexpr const char* nameHere = "sound";
constexpr std::string_view prefixHere = "cannot read sound: ";

/// Does what is asked; throws what the libraries' interfaces throw.
void work(const DecoderRequest& request, FileDescriptor file, DecoderAnswer& answer, ResultFile& result) {
    if (request.kind == DecoderRequest::Kind::unpackArchive) {
        const ArchiveLimits limits{UINT64_MAX, static_cast<std::size_t>(request.largestEntryBytes),
                                   static_cast<std::size_t>(request.most),
                                   static_cast<std::size_t>(request.mostEntries),
                                   std::chrono::seconds(static_cast<std::int64_t>(request.longestSeconds))};
        const auto archive = PackedArchives::openDescriptor(file, limits);
        writePackedList(*archive, [&result](std::string_view bytes) { result.append(bytes); });
        return;
    }
    const auto reader = SndfileAudio::openDescriptor(std::move(file), nameHere);
    describe(*reader, answer);
    if (request.kind == DecoderRequest::Kind::decodeSound) {
        decode(*reader, request.most, result);
    }
}

DecoderAnswer answerTo(const DecoderRequest& request, FileDescriptor file, FileDescriptor& sealed) {
    DecoderAnswer answer;
    try {
        ResultFile result;
        work(request, std::move(file), answer, result);
        answer.bytes = result.size();
        sealed = result.sealed();
        answer.isGood = 1;
    } catch (const std::bad_alloc&) {
        std::snprintf(answer.text, sizeof(answer.text), "it takes too much memory");
    } catch (const std::exception& error) {
        const std::string text = error.what();
        const bool hasPrefix = text.starts_with(prefixHere);
        std::snprintf(answer.text, sizeof(answer.text), "%s",
                      text.c_str() + (hasPrefix ? prefixHere.size() : 0));
    }
    return answer;
}

} // namespace

int serveDecoding(int socket) {
    if (!lockDownForDecoding(childLimits)) {
        return 3;
    }
    for (;;) {
        DecoderRequest request;
        FileDescriptor file;
        if (!receiveMessage(socket, &request, sizeof(request), file) || !file.isOpen()) {
            return 0;
        }
        FileDescriptor sealed;
        const DecoderAnswer answer = answerTo(request, std::move(file), sealed);
        if (!sendMessage(socket, &answer, sizeof(answer), sealed.get())) {
            return 0;
        }
    }
}

} // namespace keysong
