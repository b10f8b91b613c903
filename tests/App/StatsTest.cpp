#include "App/Stats.h"

#include <thread>

#include "PreferencesFixture.h"

namespace keysong {
namespace {

using namespace std::chrono_literals;

class StatsTest : public test::PreferencesFixture {
  protected:
    /// The total as the next start of the program would find it.
    [[nodiscard]] std::int64_t storedCount() const {
        Preferences reopened(domains_, "domain", nullptr);
        return Stats(reopened).count();
    }

    static void type(Stats& stats, int keys) {
        for (int key = 0; key < keys; ++key) {
            stats.increment();
        }
    }
};

TEST_F(StatsTest, AKillLosesTheLastTenSecondsAtMost) {
    Preferences preferences(domains_, "domain", &writer_);
    Stats stats(preferences);
    for (int second = 1; second <= 35; ++second) {
        type(stats, 3);
        EXPECT_EQ(stats.statsTick(), second % 10 == 0 ? std::optional(3 * second) : std::nullopt);
        writer_.advance(0ns);
        EXPECT_EQ(storedCount(), second / 10 * 10 * 3);
        writer_.advance(1s);
    }
    for (int second = 0; second < 30; ++second) {
        stats.statsTick();
        writer_.advance(1s);
    }
    EXPECT_EQ(files_.writes, 4) << "an unchanged total is not written";
}

TEST_F(StatsTest, NoPressOfAnyThreadIsLostAndNoFlushUndoesAReset) {
    Preferences preferences(domains_, "domain", nullptr);
    Stats stats(preferences);
    constexpr int presses = 100'000;
    std::vector<std::thread> typing;
    for (int thread = 0; thread < 2; ++thread) {
        typing.emplace_back([&stats] { type(stats, presses); });
    }
    std::thread flushing([&stats] {
        for (int time = 0; time < 1000; ++time) {
            stats.flush();
        }
    });
    for (std::thread& thread : typing) {
        thread.join();
    }
    EXPECT_EQ(stats.count(), 2 * presses);
    stats.reset();
    flushing.join();
    EXPECT_EQ(preferences.integer(Stats::key), 0);
}

} // namespace
} // namespace keysong
