#include "Linux/Listener/ListenerMessages.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace keysong::test {
namespace {

using namespace listener;

std::vector<std::byte> bytesOf(const Packet& packet) {
    return {packet.bytes().begin(), packet.bytes().end()};
}

bool isSameEvent(const RawEvent& a, const RawEvent& b) {
    return a.type == b.type && a.flags == b.flags && a.sourceState == b.sourceState &&
           a.keycode == b.keycode && a.autorepeat == b.autorepeat && a.lineDelta == b.lineDelta &&
           a.continuous == b.continuous && a.pointDelta == b.pointDelta &&
           a.scrollPhaseOrSubtype == b.scrollPhaseOrSubtype && a.momentumPhase == b.momentumPhase &&
           a.data1 == b.data1 && a.sourceProcess == b.sourceProcess && a.time == b.time;
}

RawEvent event(RawEventType type) {
    RawEvent result;
    result.type = type;
    result.flags = nonCoalescedFlag | capsLockFlag | rightControlFlag | functionFlag;
    result.time = std::chrono::nanoseconds(std::numeric_limits<std::int64_t>::max());
    return result;
}

std::vector<RawEvent> everyKindOfEvent() {
    std::vector<RawEvent> events;
    for (const auto type :
         {RawEventType::leftMouseDown, RawEventType::leftMouseUp, RawEventType::rightMouseDown,
          RawEventType::rightMouseUp, RawEventType::otherMouseDown, RawEventType::otherMouseUp,
          RawEventType::pointerMotion}) {
        events.push_back(event(type));
    }
    for (const auto type : {RawEventType::keyDown, RawEventType::keyUp, RawEventType::flagsChanged}) {
        events.push_back(event(type));
        events.back().keycode = 255;
        events.back().autorepeat = 1;
        events.back().sourceState = softwareSourceState;
    }
    events.push_back(event(RawEventType::systemDefined));
    events.back().scrollPhaseOrSubtype = auxiliaryControlSubtype;
    events.back().data1 = 0x160B01;
    events.push_back(event(RawEventType::scrollWheel));
    events.back().lineDelta = -3;
    events.push_back(event(RawEventType::scrollWheel));
    events.back().continuous = 1;
    events.back().pointDelta = -70'000;
    events.back().scrollPhaseOrSubtype = 4;
    return events;
}

TEST(ListenerMessagesTest, EveryMessageArrivesAsItWasSent) {
    for (const RawEvent& sent : everyKindOfEvent()) {
        const auto got = decodedReport(encoded(Report(sent)).bytes());
        ASSERT_TRUE(got && std::holds_alternative<RawEvent>(*got)) << static_cast<std::uint32_t>(sent.type);
        EXPECT_TRUE(isSameEvent(std::get<RawEvent>(*got), sent)) << static_cast<std::uint32_t>(sent.type);
    }
    const Process process{4'000'000'000, 4'194'304, "a fifteen bytes"};
    for (int phase = 0; phase <= static_cast<int>(State::Phase::failed); ++phase) {
        const State sent{static_cast<State::Phase>(phase), phase % 2 == 0, 255, process};
        EXPECT_EQ(std::get<State>(decodedReport(encoded(Report(sent)).bytes()).value()), sent);
    }
    EXPECT_EQ(std::get<Rival>(decodedReport(encoded(Report(Rival{process})).bytes()).value()).process,
              process);
    EXPECT_EQ(std::get<Lost>(decodedReport(encoded(Report(Lost{70'000})).bytes()).value()).count, 70'000U);
    EXPECT_EQ(
        std::get<Answer>(decodedReport(encoded(Report(Answer{Answer::Outcome::cannotAsk})).bytes()).value())
            .outcome,
        Answer::Outcome::cannotAsk);
    for (const Request& sent :
         {Request(Hello()), Request(Listen()), Request(Change{Change::Kind::revoke, 4'000'000'000})}) {
        EXPECT_EQ(decodedRequest(encoded(sent).bytes()), sent);
    }
}

TEST(ListenerMessagesTest, NothingTravelsButWhatTheDecoderNeeds) {
    RawEvent telling = event(RawEventType::leftMouseDown);
    telling.keycode = 12;
    telling.data1 = 34;
    telling.sourceProcess = 5678;
    telling.pointDelta = 9;
    const auto got = decodedReport(encoded(Report(telling)).bytes());
    ASSERT_TRUE(got);
    EXPECT_TRUE(isSameEvent(std::get<RawEvent>(*got), event(RawEventType::leftMouseDown)));
    for (const auto notice : {RawEventType::tapDisabledByTimeout, RawEventType::tapDisabledByUserInput}) {
        EXPECT_TRUE(encoded(Report(event(notice))).bytes().empty());
    }
    RawEvent huge = event(RawEventType::scrollWheel);
    huge.lineDelta = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(std::get<RawEvent>(decodedReport(encoded(Report(huge)).bytes()).value()).lineDelta,
              std::numeric_limits<std::int32_t>::min());
}

TEST(ListenerMessagesTest, NamesAreShortAndPrintable) {
    EXPECT_EQ(printableName("a\x1b[31m\n\xc3\xa4" + std::string(20, 'x')), "a?[31m???xxxxxx");
    const Rival rival{{1, 2, "two\nlines"}};
    EXPECT_EQ(std::get<Rival>(decodedReport(encoded(Report(rival)).bytes()).value()).process.name,
              "two?lines");
}

/// Each byte of each message changed to anything, each message cut short and made longer: what is understood
/// says exactly what stands there, so that two readers never see two things.
TEST(ListenerMessagesTest, OnlyExactlyAMessageIsOne) {
    std::vector<std::vector<std::byte>> messages;
    for (const RawEvent& each : everyKindOfEvent()) {
        messages.push_back(bytesOf(encoded(Report(each))));
    }
    messages.push_back(bytesOf(encoded(Report(State{State::Phase::held, true, 1, {1000, 77, "holder"}}))));
    messages.push_back(bytesOf(encoded(Report(Lost{7}))));
    messages.push_back(bytesOf(encoded(Report(Answer{}))));
    messages.push_back(bytesOf(encoded(Request(Hello()))));
    messages.push_back(bytesOf(encoded(Request(Change{Change::Kind::grant, 1000}))));
    std::size_t understood = 0;
    const auto check = [&](const std::vector<std::byte>& bytes) {
        if (const auto report = decodedReport(bytes)) {
            EXPECT_EQ(bytesOf(encoded(*report)), bytes);
            ++understood;
        }
        if (const auto request = decodedRequest(bytes)) {
            EXPECT_EQ(bytesOf(encoded(*request)), bytes);
            ++understood;
        }
    };
    for (const auto& message : messages) {
        EXPECT_LE(message.size(), longestMessage);
        for (std::size_t i = 0; i < message.size(); ++i) {
            for (int value = 0; value < 256; ++value) {
                auto changed = message;
                changed[i] = static_cast<std::byte>(value);
                check(changed);
            }
            const std::vector<std::byte> cut(message.begin(),
                                             message.begin() + static_cast<std::ptrdiff_t>(i));
            EXPECT_FALSE(decodedReport(cut) || decodedRequest(cut));
        }
        auto longer = message;
        longer.push_back(std::byte(0));
        EXPECT_FALSE(decodedReport(longer) || decodedRequest(longer));
        EXPECT_FALSE(isOfOtherVersion(message));
        longer[0] = std::byte(2);
        EXPECT_TRUE(isOfOtherVersion(longer));
    }
    EXPECT_GT(understood, messages.size());
}

} // namespace
} // namespace keysong::test
