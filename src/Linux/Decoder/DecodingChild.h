#pragma once

#include "Linux/Decoder/DecoderMessages.h"
#include "Linux/System/FileDescriptor.h"
#include "Linux/System/SpawnedProcess.h"
#include "Shared/Mutex.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>

namespace keysong {

/// The decoding child did not do what was asked: it ended, hung, or said that it can't; `what()` says which.
class DecodingError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A process that reads the files of strangers for this one, with nothing but the file and its own memory: a
/// codec's fault costs that process, and the next request gets another. Started with the first request. Any
/// thread but the main, event-tap and render threads; requests wait for each other.
class DecodingChild {
  public:
    /// `program` is the child's executable.
    explicit DecodingChild(std::filesystem::path program) : program_(std::move(program)) {}
    ~DecodingChild();
    DecodingChild(const DecodingChild&) = delete;
    DecodingChild& operator=(const DecodingChild&) = delete;

    struct Result {
        DecoderAnswer answer;
        FileDescriptor file;
    };
    /// Has the child work on a file, from its beginning; a request that takes longer than `longest` ends the
    /// child. Throws `DecodingError`.
    [[nodiscard]] Result ask(const DecoderRequest& request, const FileDescriptor& file,
                             std::chrono::milliseconds longest) const KEYSONG_EXCLUDES(mutex_);

    /// Ends the child until the next request.
    void rest() const KEYSONG_EXCLUDES(mutex_);

  private:
    void start() const KEYSONG_REQUIRES(mutex_);
    void end() const KEYSONG_REQUIRES(mutex_);

    const std::filesystem::path program_;
    mutable Mutex mutex_;
    mutable std::optional<SpawnedProcess> process_ KEYSONG_GUARDED_BY(mutex_);
    mutable FileDescriptor socket_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong
