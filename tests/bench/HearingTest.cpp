#include "soak/Hearing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keysong::bench {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using Fate = Outcome::Fate;
using testing::ElementsAre;

/// Keys every 30 ms from 0 on, and the sound of each 4 ms after it, without those of some keys.
struct Evening {
    explicit Evening(int keys, int silentFrom = 0, int silentTo = 0) {
        for (int i = 0; i < keys; ++i) {
            typed.push_back({i * 30ms, i * 30ms + 1ms});
            if (i < silentFrom || i >= silentTo) {
                begins.emplace_back(i * 30ms + 4ms);
            }
        }
    }
    std::vector<Typed> typed;
    std::vector<nanoseconds> begins;
};

Fault fault(milliseconds begin, milliseconds lifted, bool mayLose = true) {
    return {"fault", mayLose, begin, lifted, lifted, 0};
}

TEST(Hearing, GivesEachSoundToItsKey) {
    // The second is lost and moves nobody; the third is late, in the time of the fourth; so is the fifth,
    // alone; the last sound is nobody's.
    const std::vector<Typed> typed{{0ms, 1ms}, {30ms, 31ms}, {200ms, 201ms}, {230ms, 231ms}, {400ms, 401ms}};
    std::size_t extra = 0;
    const auto outcomes = outcomesOf(typed, {4ms, 233ms, 240ms, 450ms, 600ms}, extra);
    std::vector<Fate> fates;
    for (const Outcome& outcome : outcomes) {
        fates.push_back(outcome.fate);
    }
    EXPECT_THAT(fates, ElementsAre(Fate::heard, Fate::lost, Fate::late, Fate::heard, Fate::late));
    EXPECT_EQ(outcomes[2].begin, 240ms);
    EXPECT_EQ(extra, 1U);
}

TEST(Hearing, ForgivesWhatAFaultTakesAndNothingElse) {
    // Silent from 300 to 600 ms, while the fault ends at 400 ms.
    const Evening evening(100, 10, 20);
    auto hearing = judge(evening.typed, evening.begins, {fault(290ms, 400ms)}, {}, 1000ms);
    EXPECT_EQ(hearing.faults[0].count.lost, 10U);
    EXPECT_EQ(hearing.faults[0].back, 204ms);
    EXPECT_EQ(hearing.calm.lost, 0U);

    // The same silence at another time is nobody's fault but the program's, or the machine's.
    hearing = judge(evening.typed, evening.begins, {fault(1500ms, 1600ms)}, {}, 1000ms);
    EXPECT_EQ(hearing.lostWhenCalm.size(), 10U);
    hearing = judge(evening.typed, evening.begins, {}, {{300ms, 550ms}}, 1000ms);
    EXPECT_EQ(hearing.lostWhenCalm.size(), 0U);
    EXPECT_EQ(hearing.stalled.lost, 10U);
}

TEST(Hearing, TellsOfASilenceOnce) {
    // Nothing is heard from the first fault until long after the second began.
    const Evening evening(200, 10, 150);
    const auto hearing =
        judge(evening.typed, evening.begins, {fault(290ms, 400ms), fault(3000ms, 3100ms)}, {}, 1000ms);
    EXPECT_FALSE(hearing.faults[0].back);
    EXPECT_FALSE(hearing.faults[0].wasSilent);
    EXPECT_TRUE(hearing.faults[1].wasSilent);
    EXPECT_EQ(hearing.faults[1].back, 1404ms);
    EXPECT_EQ(hearing.calm.lost, 0U);
}

} // namespace
} // namespace keysong::bench
