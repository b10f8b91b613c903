#pragma once

#include "Linux/Log/LogLine.h"
#include "Platform/LogSink.h"

namespace keysong {

/// Sends messages to the systemd journal with the fields SUBSYSTEM, CATEGORY and LEVEL to filter by.
/// Private arguments travel in a field of their own, MESSAGE_PRIVATE, and only when asked for.
class JournalLogSink final : public LogSink {
  public:
    explicit JournalLogSink(LogPrivacy privacy) noexcept : privacy_(privacy) {}

    /// Whether a journal takes messages now; sending to an absent one would lose them without an error.
    [[nodiscard]] static bool isAvailable() noexcept;

    void write(const LogRecord& record) noexcept override;

  private:
    LogPrivacy privacy_;
};

} // namespace keysong
