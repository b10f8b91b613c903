#pragma once

#include "Linux/Log/LogLine.h"
#include "Linux/System/FileDescriptor.h"
#include "Platform/LogSink.h"
#include "Shared/Mutex.h"

#include <cstdint>
#include <filesystem>

namespace keysong {

/// Appends messages as lines to a file that only the user may read, and starts a new one when it is full:
/// the full one is kept as "<name>.1" in place of its predecessor. Several processes may use the same file.
/// Files and folders are made when the first message comes.
class FileLogSink final : public LogSink {
  public:
    static constexpr std::int64_t defaultLimitBytes = std::int64_t{1} << 20;

    FileLogSink(std::filesystem::path path, LogPrivacy privacy, std::int64_t limitBytes = defaultLimitBytes);

    void write(const LogRecord& record) noexcept override;

  private:
    void append(const std::string& line);
    /// Opens the file unless the open one is still the one at the path. False when it cannot be had.
    bool follow() KEYSONG_REQUIRES(mutex_);
    void rotate() KEYSONG_REQUIRES(mutex_);

    const std::filesystem::path path_;
    const LogPrivacy privacy_;
    const std::int64_t limitBytes_;
    Mutex mutex_;
    FileDescriptor file_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong
