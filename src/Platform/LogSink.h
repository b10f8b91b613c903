#pragma once

#include <string_view>

namespace keysong {

/// The levels that the program uses, from chatter to failure.
enum class LogLevel { info, notice, error };

/// One message on its way to a sink. The views live for the duration of the call.
struct LogRecord {
    std::string_view subsystem;
    std::string_view category;
    LogLevel level = LogLevel::notice;
    /// The message as anyone may read it: private arguments are replaced by "<private>".
    std::string_view message;
    /// The whole message, private arguments included. A sink shows it only where the user enabled that.
    std::string_view privateMessage;
};

/// Where log messages go. Any thread but the render thread; calls may overlap.
class LogSink {
  public:
    virtual ~LogSink() = default;

    /// Takes one message. Never throws; a message that cannot be kept is dropped.
    virtual void write(const LogRecord& record) noexcept = 0;

  protected:
    LogSink() = default;
    LogSink(const LogSink&) = default;
    LogSink& operator=(const LogSink&) = default;
};

} // namespace keysong
