#include "support/LogCapture.h"

#include "Shared/Log.h"

#include <gtest/gtest.h>

namespace keysong::test {

namespace {

/// Starts each test with an empty log and fails it on an error nobody expected.
class LogListener final : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override { LogCapture::shared().clear(); }

    void OnTestEnd(const testing::TestInfo&) override {
        for (const std::string& line : LogCapture::shared().takeErrors()) {
            ADD_FAILURE() << "unexpected error in the log: " << line;
        }
    }
};

/// Installed before main, so that every test program of the project has it by linking this file.
[[maybe_unused]] const bool installed = [] {
    Logger::setSink(&LogCapture::shared());
    testing::UnitTest::GetInstance()->listeners().Append(new LogListener); // owned by the framework
    return true;
}();

} // namespace

LogCapture& LogCapture::shared() {
    static LogCapture capture;
    return capture;
}

void LogCapture::write(const LogRecord& record) noexcept {
    const MutexLock lock(mutex_);
    lines_.push_back({record.level, std::string(record.message), std::string(record.privateMessage)});
}

std::vector<std::string> LogCapture::lines(LogLevel level) const {
    std::vector<std::string> result;
    for (const Line& line : all()) {
        if (line.level == level) {
            result.push_back(line.privateMessage);
        }
    }
    return result;
}

std::vector<LogCapture::Line> LogCapture::all() const {
    const MutexLock lock(mutex_);
    return lines_;
}

std::vector<std::string> LogCapture::takeErrors() {
    std::vector<std::string> errors = lines(LogLevel::error);
    const MutexLock lock(mutex_);
    std::erase_if(lines_, [](const Line& line) { return line.level == LogLevel::error; });
    return errors;
}

void LogCapture::clear() {
    const MutexLock lock(mutex_);
    lines_.clear();
}

} // namespace keysong::test
