#pragma once

#include "Platform/LogSink.h"
#include "Shared/Mutex.h"

#include <string>
#include <vector>

namespace keysong::test {

/// Keeps every log message of the running test. The test program installs one for its whole life; an
/// error-level message that the test did not take with `takeErrors` fails the test.
class LogCapture final : public LogSink {
  public:
    struct Line {
        LogLevel level;
        std::string message;
        std::string privateMessage;
    };

    /// The one that the test program installed.
    static LogCapture& shared();

    void write(const LogRecord& record) noexcept override;

    /// All messages so far, whole (private arguments included), of one level; they stay.
    [[nodiscard]] std::vector<std::string> lines(LogLevel level) const;
    /// All messages so far as records; they stay.
    [[nodiscard]] std::vector<Line> all() const;
    /// The error messages so far; they are then forgotten, so that the test passes.
    [[nodiscard]] std::vector<std::string> takeErrors();
    void clear();

  private:
    mutable Mutex mutex_;
    std::vector<Line> lines_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong::test
