#include "Linux/Log/LogLine.h"

#include "Shared/PrintableText.h"

#include <array>
#include <ctime>

namespace keysong {

namespace {

constexpr std::size_t longestMessage = std::size_t{16} << 10U;

void appendPadded(std::string& text, long number, std::size_t width) {
    const std::string digits = std::to_string(number);
    text.append(width > digits.size() ? width - digits.size() : 0, '0');
    text += digits;
}

void appendTime(std::string& text) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    appendPadded(text, parts.tm_year + 1900L, 4);
    appendPadded(text += '-', parts.tm_mon + 1L, 2);
    appendPadded(text += '-', parts.tm_mday, 2);
    appendPadded(text += 'T', parts.tm_hour, 2);
    appendPadded(text += ':', parts.tm_min, 2);
    appendPadded(text += ':', parts.tm_sec, 2);
    appendPadded(text += '.', now.tv_nsec / 1'000'000, 3);
    text += 'Z';
}

} // namespace

const char* nameOf(LogLevel level) noexcept {
    switch (level) {
    case LogLevel::info:
        return "info";
    case LogLevel::notice:
        return "notice";
    case LogLevel::error:
        break;
    }
    return "error";
}

std::string logLine(const LogRecord& record, LogPrivacy privacy) {
    std::string line;
    line.reserve(record.privateMessage.size() + 80);
    appendTime(line);
    line += ' ';
    line += nameOf(record.level);
    line += ' ';
    line += record.subsystem;
    line += '/';
    line += record.category;
    line += ' ';
    const std::string_view message = privacy == LogPrivacy::whole ? record.privateMessage : record.message;
    appendPrintable(line, message.substr(0, longestMessage));
    line += '\n';
    return line;
}

} // namespace keysong
