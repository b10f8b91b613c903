#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

namespace keysong {

/// An event log that cannot be read; `what()` names the line.
class EventLogError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Recorded input of one device: kernel input events with their times.
struct EventLog {
    struct Event {
        /// Time in the log.
        std::chrono::microseconds time{};
        std::uint16_t type = 0;
        std::uint16_t code = 0;
        std::int32_t value = 0;

        friend bool operator==(const Event&, const Event&) = default;
    };

    /// In the order of their times.
    std::vector<Event> events;

    /// No event log is longer than this: its sound would not fit a WAV file.
    static constexpr std::chrono::hours longest{3};

    /// Reads the text form that evemu writes: "E: seconds.micros type code value", type and code in four hex
    /// digits, value in decimal; a comment behind a tab, and lines of other kinds, are ignored. Throws
    /// `EventLogError` for an ill-formed event, for times that go backwards, and past `longest`.
    [[nodiscard]] static EventLog parse(std::istream& text);
};

} // namespace keysong
