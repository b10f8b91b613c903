#include "Virtual/VirtualOutput.h"

#include "Linux/System/MonotonicClock.h"
#include "support/Eventually.h"
#include "support/PlainThreads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <utility>

namespace keysong {
namespace {

/// Notes the cycles that it is asked for.
class CycleRecorder final : public AudioRenderer {
  public:
    explicit CycleRecorder(std::size_t wanted) : wanted_(wanted) { cycles_.reserve(wanted); }

    void render(const IoCycle& cycle, float* left, float* right) noexcept override {
        left[0] = right[cycle.frameCount - 1] = 1.0F;
        if (cycles_.size() < wanted_) {
            cycles_.push_back(cycle);
            if (cycles_.size() == wanted_) {
                enough_.set_value();
            }
        }
    }

    std::vector<IoCycle> wait() {
        enough_.get_future().wait();
        return cycles_;
    }

  private:
    std::size_t wanted_;
    std::vector<IoCycle> cycles_;
    std::promise<void> enough_;
};

TEST(VirtualOutput, CyclesFollowTheNominalTimeline) {
    test::PlainThreads threads;
    const MonotonicClock clock;
    CycleRecorder recorder(20);
    VirtualOutput output(threads, clock);
    output.setRenderer(&recorder);
    EXPECT_NE(output.requestBufferFrames(0), 0);
    EXPECT_NE(output.requestBufferFrames(1U << 20), 0);
    EXPECT_EQ(output.requestBufferFrames(96), 0);
    output.start();
    output.start();
    EXPECT_TRUE(output.isRunning());
    const auto cycles = recorder.wait();
    output.stop();
    EXPECT_FALSE(output.isRunning());
    int onTime = 0;
    for (std::size_t i = 1; i < cycles.size(); ++i) {
        EXPECT_EQ(cycles[i].frameCount, 96U);
        onTime += cycles[i].startNanoseconds - cycles[i - 1].startNanoseconds == 2'000'000 ? 1 : 0;
    }
    // A machine that stalls for a tenth of a second starts a new timeline: not all of them may follow.
    EXPECT_GE(onTime, 15);
    EXPECT_EQ(threads.labels().size(), 1U);
}

TEST(VirtualOutput, ARestLeavesAGapAndIsTold) {
    /// Waits for the first period after a rest.
    struct Wakening final : AudioRenderer {
        void render(const IoCycle& cycle, float*, float*) noexcept override {
            if (++count == 3) {
                begun.set_value();
            }
            if (cycle.isFirstAfterRest && ++wakenings == 1) {
                start.set_value(cycle.startNanoseconds);
            }
        }
        std::atomic<int> count = 0;
        std::atomic<int> wakenings = 0;
        std::promise<void> begun;
        std::promise<std::int64_t> start;
    } renderer;
    test::PlainThreads threads;
    const MonotonicClock clock;
    VirtualOutput output(threads, clock);
    output.setRenderer(&renderer);
    output.start();
    renderer.begun.get_future().wait();
    output.setResting(true);
    int before = 0;
    ASSERT_TRUE(test::eventually([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return std::exchange(before, renderer.count.load()) == renderer.count;
    }));
    EXPECT_EQ(renderer.wakenings, 0);
    const std::int64_t awake = clock.now().count();
    output.setResting(false);
    EXPECT_GE(renderer.start.get_future().get(), awake);
    output.setResting(true);
    output.stop(); // ends from its sleep
    EXPECT_EQ(renderer.wakenings, 1);
}

TEST(SteppedOutput, TimeGoesOnWhileItStandsAndBothSidesAreItsOwn) {
    CycleRecorder recorder(1);
    SteppedOutput output;
    output.setRenderer(&recorder);
    output.step(); // stopped: silence, but time goes on
    EXPECT_EQ(output.left()[0], 0.0F);
    output.start();
    output.step();
    EXPECT_EQ(output.left()[0], 1.0F);
    EXPECT_EQ(output.right()[127], 1.0F);
    EXPECT_EQ(recorder.wait()[0].startNanoseconds, 2'666'667);
    EXPECT_NE(output.setDevice(7), 0);
}

} // namespace
} // namespace keysong
