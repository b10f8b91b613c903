#include "App/EventLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace keysong {
namespace {

using std::chrono::microseconds;

EventLog parse(const std::string& text) {
    std::istringstream stream(text);
    return EventLog::parse(stream);
}

TEST(EventLog, ReadsWhatEvemuWrites) {
    const EventLog eventLog = parse("# EVEMU 1.3\n"
                                    "N: AT Translated Set 2 keyboard\n"
                                    "I: 0011 0001 0001 ab41\n"
                                    "E: 0.000001 0004 0004 0030\t# EV_MSC / MSC_SCAN 30\n"
                                    "E: 0.000001 0001 001e 0001\t# EV_KEY / KEY_A 1\r\n"
                                    "E: 1.500000 0002 0008 -001\n"
                                    "E: 61.000000 0002 000b -120");
    EXPECT_THAT(eventLog.events,
                testing::ElementsAre(EventLog::Event{microseconds(1), 4, 4, 30},
                                     EventLog::Event{microseconds(1), 1, 0x1e, 1},
                                     EventLog::Event{microseconds(1'500'000), 2, 8, -1},
                                     EventLog::Event{microseconds(61'000'000), 2, 0xb, -120}));
}

TEST(EventLog, RefusesWhatItWouldMisread) {
    for (const char* line :
         {"E:", "E: 0.5 0001 001e 0001", "E: 0.0000001 0001 001e 0001", "E: -1.000000 0001 001e 0001",
          "E: 0.000000 1 001e 0001", "E: 0.000000 0001 00gg 0001", "E: 0.000000 0001 001e 0x01",
          "E: 0.000000 0001 001e", "E: 0.000000 0001 001e 0001 0002", "E: 0.000000 0001 001e 99999999999",
          "E: 10800.000001 0001 001e 0001", "E: 0.+00001 0001 001e 0001"}) {
        try {
            static_cast<void>(parse(std::string("\n") + line));
            ADD_FAILURE() << "accepted: " << line;
        } catch (const EventLogError& error) {
            EXPECT_THAT(error.what(), testing::StartsWith("line 2: ")) << line;
        }
    }
    EXPECT_THROW(static_cast<void>(parse("E: 2.000000 0001 001e 0001\nE: 1.999999 0001 001e 0000")),
                 EventLogError);
}

} // namespace
} // namespace keysong
