// The parts of the PipeWire output that need no server.
#include "Linux/Sound/PeriodLength.h"
#include "Linux/Sound/PipeWireTimeline.h"

#include <gtest/gtest.h>

namespace keysong {
namespace {

using std::chrono::seconds;

TEST(PeriodLength, GrowsUnderTroubleAndShrinksWhenItIsCalm) {
    PeriodLength length;
    length.request(128);
    EXPECT_FALSE(length.nextCalm());
    EXPECT_FALSE(length.noteXrun(seconds(0)));
    EXPECT_FALSE(length.noteXrun(seconds(1)));
    EXPECT_FALSE(length.noteXrun(seconds(10))) << "the first is ten seconds old";
    EXPECT_TRUE(length.noteXrun(seconds(10)));
    EXPECT_EQ(length.frames(), 256U);
    EXPECT_FALSE(length.noteXrun(seconds(10))) << "those before the change do not count";
    for (int i = 0; i < 10; ++i) {
        length.noteXrun(seconds(11));
    }
    EXPECT_EQ(length.frames(), 512U) << "not longer than this";

    EXPECT_EQ(length.nextCalm(), seconds(41));
    EXPECT_FALSE(length.noteCalm(seconds(40)));
    EXPECT_TRUE(length.noteCalm(seconds(41)));
    EXPECT_EQ(length.frames(), 256U);
    EXPECT_TRUE(length.noteCalm(seconds(71)));
    EXPECT_EQ(length.frames(), 128U);
    EXPECT_FALSE(length.noteCalm(seconds(1000)));
}

TEST(PeriodLength, EveryRelapseMakesTheNextTryWaitLonger) {
    PeriodLength length;
    length.request(128);
    PeriodLength::Time now = seconds(0);
    for (const seconds wait : {seconds(30), seconds(60), seconds(120)}) {
        for (int i = 0; i < 3; ++i) {
            length.noteXrun(now);
        }
        EXPECT_EQ(length.nextCalm(), now + wait);
        now += wait;
        ASSERT_TRUE(length.noteCalm(now));
    }
    length.request(64);
    EXPECT_EQ(length.frames(), 64U);
    for (int i = 0; i < 3; ++i) {
        length.noteXrun(now);
    }
    EXPECT_EQ(length.nextCalm(), now + PeriodLength::calmTime) << "another request begins anew";
}

/// A server's position, moved on by the test.
struct FakeServer {
    FakeServer() {
        position.clock.id = 7;
        position.clock.rate = {1, 48000};
        position.clock.duration = 128;
        timeline.setPosition(&position);
    }
    IoCycle cycle(std::uint64_t skipped = 0) {
        position.clock.position += (1 + skipped) * position.clock.duration;
        return timeline.next(128);
    }

    spa_io_position position{};
    PipeWireTimeline timeline;
};

TEST(PipeWireTimeline, CountsTheCyclesThatItMissed) {
    FakeServer server;
    server.cycle(40); // the server ran before we came
    server.cycle();
    static_cast<void>(server.timeline.next(64)); // it asks twice in one cycle
    server.cycle();
    EXPECT_EQ(server.timeline.xruns(), 0U);
    server.cycle(1);
    EXPECT_EQ(server.timeline.xruns(), 1U);
    server.cycle(12);
    EXPECT_EQ(server.timeline.xruns(), 2U) << "standing still once is one fault";
    server.position.clock.duration = 512;
    server.cycle();
    server.cycle();
    server.position.clock.id = 8;
    server.cycle(1000); // another device's clock
    EXPECT_EQ(server.timeline.xruns(), 3U);
}

TEST(PipeWireTimeline, ARestIsNoFaultAndIsToldOnce) {
    FakeServer server;
    EXPECT_FALSE(server.cycle().isFirstAfterRest);
    server.timeline.noteRest();
    EXPECT_TRUE(server.cycle(100'000).isFirstAfterRest);
    EXPECT_FALSE(server.cycle().isFirstAfterRest);
    EXPECT_EQ(server.timeline.xruns(), 0U);
}

} // namespace
} // namespace keysong
