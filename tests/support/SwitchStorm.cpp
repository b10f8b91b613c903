#include "support/SwitchStorm.h"

#include "support/EngineFixture.h"
#include "support/Eventually.h"
#include "support/RealtimeGuard.h"
#include "support/TestSets.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace keysong::test {

namespace {

using std::chrono::milliseconds;

/// Two threads that play until the end of its life.
class HitStorm {
  public:
    explicit HitStorm(SoundEngine& engine) : engine_(engine) {}
    ~HitStorm() { stop(); }

    void stop() {
        stop_ = true;
        for (std::thread& thread : threads_) {
            if (thread.joinable()) {
                thread.join();
            }
        }
    }
    [[nodiscard]] int hits() const { return hits_; }

  private:
    void play() {
        for (std::uint16_t key = 0; !stop_; key = static_cast<std::uint16_t>((key + 1) % 50)) {
            engine_.play(SoundEvent::keyDown(key));
            ++hits_;
            std::this_thread::sleep_for(milliseconds(2));
        }
    }

    SoundEngine& engine_;
    std::atomic<bool> stop_ = false;
    std::atomic<int> hits_ = 0;
    std::thread threads_[2] = {std::thread([this] { play(); }), std::thread([this] { play(); })};
};

/// Stands between an output and the mixer, and watches what the render thread does.
class WatchedRenderer final : public AudioRenderer {
  public:
    explicit WatchedRenderer(AudioRenderer& renderer) : renderer_(renderer) {}

    void render(const IoCycle& cycle, float* left, float* right) noexcept override {
        const RealtimeGuard guard;
        renderer_.render(cycle, left, right);
        violations += guard.total();
        ++periods;
    }

    /// Heap, lock, wait and file calls made by the mixer so far.
    std::atomic<std::size_t> violations = 0;
    std::atomic<int> periods = 0;

  private:
    AudioRenderer& renderer_;
};

} // namespace

void runSwitchStorm(SoundEngine& engine, AudioOutput& output, const std::vector<std::string>& uids,
                    int switches) {
    auto set = makeSet("one");
    const std::weak_ptr<const SoundSet> held = set;
    engine.load(std::move(set));
    Mixer& mixer = SoundEngineTestPeer::mixer(engine);
    WatchedRenderer watched(mixer);
    output.setRenderer(&watched);
    engine.start();
    HitStorm storm(engine);
    for (int i = 1; i <= switches; ++i) {
        engine.setOutputDevice(uids[static_cast<std::size_t>(i) % uids.size()], false);
        if (i % 20 == 10) {
            engine.recover();
        }
        std::this_thread::sleep_for(milliseconds(10));
    }
    storm.stop();
    EXPECT_TRUE(engine.snapshot().running);
    EXPECT_EQ(engine.snapshot().scheduling, 0);
    EXPECT_EQ(watched.violations, 0U);
    EXPECT_GT(watched.periods, switches);
    EXPECT_GT(storm.hits(), switches);
    // A hit that is still counted would keep the set for ever.
    engine.load(makeSet("two"));
    EXPECT_TRUE(eventually([&] { return held.expired(); }));
    output.stop();
    output.setRenderer(&mixer);
}

} // namespace keysong::test
