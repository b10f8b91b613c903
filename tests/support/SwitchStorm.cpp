#include "support/SwitchStorm.h"

#include "Platform/linux/MonotonicClock.h"
#include "support/Eventually.h"
#include "support/TestSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <thread>

namespace keysong::test {

namespace {

using std::chrono::milliseconds;

/// Two threads that play until the end of its life.
class HitStorm {
  public:
    explicit HitStorm(SoundEngine& engine) : engine_(engine) {}
    ~HitStorm() { stop(); }
    HitStorm(const HitStorm&) = delete;
    HitStorm& operator=(const HitStorm&) = delete;

    void stop() {
        stop_ = true;
        for (std::thread& thread : threads_) {
            if (thread.joinable()) {
                thread.join();
            }
        }
    }
    [[nodiscard]] int hits() const { return hits_; }
    /// Hits that came while the engine let none through.
    [[nodiscard]] int dropped() const { return dropped_; }

  private:
    void play() {
        for (std::uint16_t key = 0; !stop_; key = static_cast<std::uint16_t>((key + 1) % 50)) {
            dropped_ += engine_.snapshot().running ? 0 : 1;
            engine_.play(SoundEvent::keyDown(key));
            ++hits_;
            std::this_thread::sleep_for(milliseconds(2));
        }
    }

    SoundEngine& engine_;
    std::atomic<bool> stop_ = false;
    std::atomic<int> hits_ = 0;
    std::atomic<int> dropped_ = 0;
    std::thread threads_[2] = {std::thread([this] { play(); }), std::thread([this] { play(); })};
};

std::string medianAndMost(std::vector<double>& values) {
    std::sort(values.begin(), values.end());
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.2f ms (median), %.2f (longest)", values[values.size() / 2],
                  values.back());
    return text.data();
}

} // namespace

void WatchedOutput::render(const IoCycle& cycle, float* left, float* right) noexcept {
    if (lastPeriod_ != 0) {
        longestGap_ = std::max(longestGap_.load(), cycle.startNanoseconds - lastPeriod_);
    }
    lastPeriod_ = cycle.startNanoseconds;
    const RealtimeGuard guard;
    renderer_->render(cycle, left, right);
    violations_ += guard.total();
    ++periods_;
}

void runSwitchStorm(SoundEngine& engine, WatchedOutput& output, const std::vector<std::string>& uids,
                    int switches) {
    const MonotonicClock clock;
    auto set = makeSet("one");
    const std::weak_ptr<const SoundSet> held = set;
    engine.load(std::move(set));
    engine.start();
    HitStorm storm(engine);
    std::vector<double> durations;
    std::vector<double> gaps;
    for (int i = 1; i <= switches; ++i) {
        static_cast<void>(output.takeLongestGap());
        const auto start = clock.now();
        engine.setOutputDevice(uids[static_cast<std::size_t>(i) % uids.size()], false);
        durations.push_back(std::chrono::duration<double, std::milli>(clock.now() - start).count());
        if (i % 20 == 10) {
            engine.recover();
        }
        std::this_thread::sleep_for(milliseconds(10));
        gaps.push_back(static_cast<double>(output.takeLongestGap()) / 1e6);
    }
    storm.stop();
    std::printf("%d switches on %s under %d hits: %.2f dropped at each; a switch took %s; periods apart %s\n",
                switches, output.backendName(), storm.hits(), static_cast<double>(storm.dropped()) / switches,
                medianAndMost(durations).c_str(), medianAndMost(gaps).c_str());
    EXPECT_TRUE(engine.snapshot().running);
    EXPECT_EQ(engine.snapshot().scheduling, 0);
    EXPECT_EQ(output.violations(), 0U);
    EXPECT_GT(output.periods(), switches);
    EXPECT_GT(storm.hits(), switches);
    // A hit that is still counted would keep the set for ever.
    engine.load(makeSet("two"));
    EXPECT_TRUE(eventually([&] { return held.expired(); }));
}

} // namespace keysong::test
