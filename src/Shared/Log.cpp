#include "Shared/Log.h"

#include <atomic>
#include <cstdlib>

namespace keysong {

namespace {

std::atomic<LogSink*> currentSink{nullptr};

} // namespace

void Logger::setSink(LogSink* sink) noexcept {
    currentSink.store(sink, std::memory_order_release);
}

void Logger::write(LogLevel level, std::string_view format, const LogArgument* arguments) {
    LogSink* sink = currentSink.load(std::memory_order_acquire);
    if (sink == nullptr) {
        return;
    }
    std::string shown;
    std::string whole;
    std::size_t at = 0;
    for (auto placeholder = LogPlaceholder::next(format, 0); placeholder.found();
         placeholder = LogPlaceholder::next(format, at)) {
        const auto text = format.substr(at, placeholder.begin - at);
        shown += text;
        whole += text;
        arguments->appendTo(whole);
        if (placeholder.isText() && !placeholder.isPublic) {
            shown += "<private>";
        } else {
            arguments->appendTo(shown);
        }
        ++arguments;
        at = placeholder.end;
    }
    shown += format.substr(at);
    whole += format.substr(at);
    sink->write({"com.orlen.keysong", "app", level, shown, whole});
}

bool verboseLogging() {
    static const bool verbose = [] {
        const char* value = std::getenv("KEYSONG_LOG");
        return value != nullptr && std::string_view(value) == "1";
    }();
    return verbose;
}

} // namespace keysong
