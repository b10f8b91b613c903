#pragma once

#include "Platform/LogSink.h"

#include <string>

namespace keysong {

/// "info", "notice" or "error". Any thread.
[[nodiscard]] const char* nameOf(LogLevel level) noexcept;

/// Whether a sink shows private arguments too.
enum class LogPrivacy { redacted, whole };

/// One line for a log in text form, with its line feed: UTC time in ISO 8601 with milliseconds, level,
/// subsystem and category, message. Control characters in the message are escaped, so that nothing in it
/// can pass for another line. Not real-time safe.
[[nodiscard]] std::string logLine(const LogRecord& record, LogPrivacy privacy);

} // namespace keysong
