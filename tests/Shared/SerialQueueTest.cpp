#include "Shared/SerialQueue.h"

#include "support/LogCapture.h"
#include "support/PlainThreads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>

namespace keysong::test {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

struct SerialQueueTest : testing::Test {
    PlainThreads threads;
    std::optional<SerialQueue> queue{std::in_place, threads, ThreadAttributes{"test", "test"}};
};

TEST_F(SerialQueueTest, RunsTasksInOrderOnItsOwnThread) {
    std::vector<int> order;
    std::thread::id thread;
    for (int i = 0; i < 100; ++i) {
        queue->async([&order, i] { order.push_back(i); });
    }
    queue->sync([&] { thread = std::this_thread::get_id(); });
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(SerialQueueTest, DelayedTasksRunByTheirTimeNotTheirOrder) {
    std::vector<char> order;
    std::promise<void> done;
    queue->asyncAfter(milliseconds(40), [&] {
        order.push_back('l');
        done.set_value();
    });
    queue->asyncAfter(milliseconds(20), [&] { order.push_back('e'); });
    queue->async([&] { order.push_back('n'); });
    done.get_future().get();
    EXPECT_EQ(order, (std::vector<char>{'n', 'e', 'l'}));
}

TEST_F(SerialQueueTest, WhatATaskThrowsReachesTheWaitingCallerOrTheLog) {
    EXPECT_THROW(queue->sync([] { throw std::invalid_argument("no"); }), std::invalid_argument);
    queue->async([] { throw std::runtime_error("broken"); });
    bool ran = false;
    queue->sync([&] { ran = true; });
    EXPECT_TRUE(ran);
    EXPECT_THAT(LogCapture::shared().takeErrors(), testing::ElementsAre("a queued task failed: broken"));
}

TEST_F(SerialQueueTest, DestructionEndsWhatIsDueAndDropsWhatIsDelayed) {
    std::promise<void> started;
    std::promise<void> release;
    std::vector<int> ran;
    const auto token = std::make_shared<int>(0);
    queue->async([&] {
        started.set_value();
        release.get_future().wait();
        ran.push_back(1);
    });
    queue->async([&] { ran.push_back(2); });
    queue->asyncAfter(hours(1), [&ran, token] { ran.push_back(3); });
    queue->asyncAfter(std::chrono::nanoseconds::max(), [token] {});
    started.get_future().wait();
    std::thread destroyer([&] { queue.reset(); });
    release.set_value();
    destroyer.join();
    EXPECT_EQ(ran, (std::vector<int>{1, 2}));
    EXPECT_EQ(token.use_count(), 1);
}

TEST_F(SerialQueueTest, ManyThreadsMayAddTasks) {
    int sum = 0; // only the queue's thread touches it
    std::vector<std::thread> adders;
    for (int i = 0; i < 4; ++i) {
        adders.emplace_back([&] {
            for (int task = 0; task < 500; ++task) {
                queue->async([&sum] { ++sum; });
            }
        });
    }
    for (std::thread& adder : adders) {
        adder.join();
    }
    queue->sync([] {});
    EXPECT_EQ(sum, 2000);
}

} // namespace
} // namespace keysong::test
