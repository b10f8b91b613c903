#pragma once

#include "Linux/Log/LogLine.h"
#include "Platform/LogSink.h"
#include "Platform/Places.h"

#include <memory>

namespace keysong {

/// Writes messages to standard error: for someone who watches the program in a terminal.
class StderrLogSink final : public LogSink {
  public:
    explicit StderrLogSink(LogPrivacy privacy) noexcept : privacy_(privacy) {}

    void write(const LogRecord& record) noexcept override;

  private:
    LogPrivacy privacy_;
};

/// Chooses where this process logs: standard error when `KEYSONG_LOG_SINK` is "stderr", else the journal
/// where there is one, else the file "keysong/keysong.log" in the user's folder for state
/// (`XDG_STATE_HOME`, or ".local/state" in the home folder). Null, which `Logger::setSink` takes as "drop
/// everything", without a home folder.
///
/// Private arguments are shown only when `KEYSONG_LOG_PRIVATE` is "1". Opens no file. Main thread, before
/// other threads start.
[[nodiscard]] std::unique_ptr<LogSink> makeLogSink(const Places& places);

} // namespace keysong
