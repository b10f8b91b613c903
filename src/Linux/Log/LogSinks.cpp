#include "Linux/Log/LogSinks.h"

#include "Linux/Files/LinuxPlaces.h"
#include "Linux/Log/FileLogSink.h"
#include "Linux/Log/JournalLogSink.h"

#include <unistd.h>

#include <exception>

namespace keysong {

void StderrLogSink::write(const LogRecord& record) noexcept {
    try {
        const std::string line = logLine(record, privacy_);
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    } catch (const std::exception&) {
        // Without memory there is no message; the program goes on.
    }
}

std::unique_ptr<LogSink> makeLogSink(const Places& places) {
    const auto privacy =
        places.environment("KEYSONG_LOG_PRIVATE") == "1" ? LogPrivacy::whole : LogPrivacy::redacted;
    if (places.environment("KEYSONG_LOG_SINK") == "stderr") {
        return std::make_unique<StderrLogSink>(privacy);
    }
    if (JournalLogSink::isAvailable()) {
        return std::make_unique<JournalLogSink>(privacy);
    }
    const auto state = userBaseFolder(places, "XDG_STATE_HOME", ".local/state");
    if (state.empty()) {
        return nullptr;
    }
    return std::make_unique<FileLogSink>(state / "keysong" / "keysong.log", privacy);
}

} // namespace keysong
