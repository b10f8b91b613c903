#include "Input/EventTap.h"

#include "fakes/FakeInputSource.h"
#include "support/LogCapture.h"
#include "support/PlainThreads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

namespace keysong {
namespace {

using test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

RawEvent keyDown(std::int64_t code, std::int64_t sourceState = hardwareSourceState) {
    return {.type = RawEventType::keyDown, .sourceState = sourceState, .keycode = code};
}

class EventTapTest : public testing::Test {
  protected:
    test::FakeInputSource source;
    test::PlainThreads threads;
    std::vector<SoundEvent> events;
    std::vector<std::chrono::nanoseconds> times;
    EventTap tap{source, threads, [this](SoundEvent event, std::chrono::nanoseconds time) {
                     events.push_back(event);
                     times.push_back(time);
                 }};

    /// Ends before the tap does.
    std::vector<std::future<void>> pending;

    void expectNoStart(EventTapError::Kind kind) {
        EXPECT_THAT([this] { tap.start(); },
                    testing::Throws<EventTapError>(testing::Property(&EventTapError::kind, kind)));
    }
};

TEST_F(EventTapTest, DecodesOnItsOwnThreadAndStartsOnce) {
    tap.start();
    tap.start();
    EXPECT_EQ(source.tapsCreated, 1);
    EXPECT_EQ(source.mask, 0x6405C1EU);
    EXPECT_THAT(threads.labels(), ElementsAre("com.orlen.keysong.eventtap"));
    RawEvent event = keyDown(0);
    event.time = std::chrono::microseconds(5);
    source.deliver(event);
    EXPECT_THAT(events, ElementsAre(SoundEvent::keyDown(0)));
    EXPECT_THAT(times, ElementsAre(event.time));
}

TEST_F(EventTapTest, EveryDeedOfTheHardwareIsInputAndTheSoundComesFirst) {
    std::vector<std::size_t> soundsBefore;
    tap.onInput = [&] { soundsBefore.push_back(events.size()); };
    tap.start();
    source.deliver(keyDown(0));
    source.deliver({.type = RawEventType::keyDown, .autorepeat = 1});
    source.deliver({.type = RawEventType::pointerMotion});
    EXPECT_THAT(soundsBefore, ElementsAre(1U, 1U, 1U));
    source.deliver(keyDown(0, softwareSourceState));
    source.deliver({.type = RawEventType::tapDisabledByTimeout});
    EXPECT_THAT(soundsBefore, SizeIs(3));
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U);
}

TEST_F(EventTapTest, RawHandlersStandAroundTheSoundAndSeeSoftwareEventsToo) {
    std::vector<std::pair<char, std::size_t>> calls;
    tap.onRawEvent = [&](const RawEvent&) { calls.emplace_back('b', events.size()); };
    tap.afterRawEvent = [&](const RawEvent&) { calls.emplace_back('a', events.size()); };
    tap.start();
    source.deliver(keyDown(0));
    EXPECT_THAT(calls, ElementsAre(std::pair('b', 0U), std::pair('a', 1U)));
    source.deliver(keyDown(0, softwareSourceState));
    EXPECT_EQ(calls.size(), 4U);
    EXPECT_EQ(events.size(), 1U);
    // Neither the tap's own notices nor motion are events.
    source.deliver({.type = RawEventType::pointerMotion});
    source.deliver({.type = RawEventType::tapDisabledByTimeout});
    EXPECT_EQ(calls.size(), 4U);
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U);
}

TEST_F(EventTapTest, AFailedStartKeepsNothingAndALaterOneSucceeds) {
    source.trusted = false;
    expectNoStart(EventTapError::Kind::notTrusted);
    source.trusted = true;
    for (bool* const refuses : {&source.refusesTap, &source.refusesRunLoop, &threads.refusing}) {
        *refuses = true;
        expectNoStart(EventTapError::Kind::createFailed);
        *refuses = false;
    }
    source.refusesTimer = true; // which it can do without
    tap.start();
    ASSERT_THAT(threads.labels(), SizeIs(1));
    source.deliver(keyDown(49));
    EXPECT_THAT(events, ElementsAre(SoundEvent::keyDown(49)));
}

TEST_F(EventTapTest, ANoticeSwitchesTheTapOnAgain) {
    tap.start();
    source.enabled = false;
    source.deliver({.type = RawEventType::tapDisabledByTimeout});
    EXPECT_TRUE(source.enabled);
    source.enabled = false;
    source.canEnable = false;
    source.deliver({.type = RawEventType::tapDisabledByUserInput});
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre("event tap disabled (timeout), re-enabled",
                            "event tap disabled (user input), re-enable FAILED"));
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(EventTapTest, ThePollFindsATapThatWasSwitchedOffSilently) {
    constexpr std::chrono::seconds promised{5};
    tap.start();
    source.pass(promised); // an enabled tap: no line
    source.enabled = false;
    source.pass(promised);
    source.enabled = false;
    source.canEnable = false;
    source.pass(promised);
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre("event tap was disabled (poll), re-enabled",
                            "event tap is disabled (poll) and re-enabling it failed"));
}

TEST_F(EventTapTest, NobodyWaitsForATapThatIsBeingEnabled) {
    // Starting again takes all the locks of the tap; it must return while devices are being opened.
    bool answered = true;
    source.whileEnabling = [&] {
        auto answer = std::async(std::launch::async, [this] { tap.start(); });
        answered = answered && answer.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
        pending.push_back(std::move(answer));
    };
    tap.start();
    source.enabled = false;
    source.pass(std::chrono::seconds(5));
    source.enabled = false;
    source.deliver({.type = RawEventType::tapDisabledByTimeout});
    EXPECT_TRUE(answered);
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 2U);
}

} // namespace
} // namespace keysong
