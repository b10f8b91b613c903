#include "App/EventLog.h"

#include "Shared/NumberText.h"

#include <charconv>
#include <istream>
#include <string_view>

namespace keysong {

namespace {

constexpr std::size_t longestLine = 4096;
constexpr std::size_t mostEvents = 20'000'000;

[[noreturn]] void fail(std::size_t line, const std::string& problem) {
    throw EventLogError("line " + std::to_string(line) + ": " + problem);
}

/// Removes the next word from the front of `text` and returns it.
std::string_view nextWord(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const auto word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size());
    return word;
}

std::optional<std::uint16_t> parseHex(std::string_view word) {
    std::uint16_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value, 16);
    if (word.size() != 4 || error != std::errc() || end != word.data() + word.size()) {
        return std::nullopt;
    }
    return value;
}

/// "seconds.micros" with six digits after the point.
std::optional<std::chrono::microseconds> parseTime(std::string_view word) {
    const auto point = word.find('.');
    if (point == std::string_view::npos || word.size() - point != 7) {
        return std::nullopt;
    }
    const auto seconds = parseInteger<std::uint32_t>(word.substr(0, point));
    const auto micros = parseInteger<std::uint32_t>(word.substr(point + 1));
    if (!seconds || !micros || word.find_first_of("+-") != std::string_view::npos) {
        return std::nullopt;
    }
    return std::chrono::seconds(*seconds) + std::chrono::microseconds(*micros);
}

EventLog::Event parseEvent(std::string_view text, std::size_t line) {
    text = text.substr(0, text.find('\t'));
    const auto time = parseTime(nextWord(text));
    const auto type = parseHex(nextWord(text));
    const auto code = parseHex(nextWord(text));
    const auto value = parseInteger<std::int32_t>(nextWord(text));
    if (!time || !type || !code || !value || !nextWord(text).empty()) {
        fail(line, "not an event; expected \"E: seconds.micros type code value\"");
    }
    return {*time, *type, *code, *value};
}

} // namespace

EventLog EventLog::parse(std::istream& text) {
    EventLog eventLog;
    std::size_t number = 0;
    for (std::string line; std::getline(text, line);) {
        ++number;
        if (!line.starts_with("E:")) {
            continue;
        }
        if (line.size() > longestLine) {
            fail(number, "too long");
        }
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        const Event event = parseEvent(std::string_view(line).substr(2), number);
        if (!eventLog.events.empty() && event.time < eventLog.events.back().time) {
            fail(number, "the time goes backwards");
        }
        if (event.time > longest) {
            fail(number, "the event log is longer than three hours");
        }
        if (eventLog.events.size() == mostEvents) {
            fail(number, "too many events");
        }
        eventLog.events.push_back(event);
    }
    return eventLog;
}

} // namespace keysong
