#include "Shared/Lifetime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>

namespace keysong {
namespace {

TEST(LifetimeTest, ACallPassesItsArgumentsOnUntilTheEndAndNothingAfterIt) {
    std::optional<Lifetime> lifetime(std::in_place);
    std::string text = "a";
    const auto append = lifetime->guarded([&text](const std::string& more, int times) {
        for (int i = 0; i < times; ++i) {
            text += more;
        }
        return static_cast<int>(text.size());
    });
    const std::function<void()> clear = lifetime->guarded([&text] { text.clear(); });
    EXPECT_EQ(append("bc", 2), 5);
    lifetime.reset();
    EXPECT_EQ(append("d", 1), 0);
    clear();
    EXPECT_EQ(text, "abcbc");
}

TEST(LifetimeTest, ACallMayEndItsOwnLifetime) {
    std::optional<Lifetime> lifetime(std::in_place);
    int calls = 0;
    std::function<void()> inner;
    const std::function<void()> outer = lifetime->guarded([&] {
        ++calls;
        inner();
        lifetime.reset();
        inner();
    });
    inner = lifetime->guarded([&] { ++calls; });
    outer();
    outer();
    EXPECT_EQ(calls, 2);
}

TEST(LifetimeTest, TheEndWaitsForCallsOfOtherThreads) {
    Lifetime lifetime;
    std::promise<void> started;
    std::promise<void> goOn;
    std::promise<void> over;
    const auto ended = over.get_future();
    const auto call = lifetime.guarded([&] {
        started.set_value();
        goOn.get_future().wait();
        // An end that does not wait would come now.
        return ended.wait_for(std::chrono::milliseconds(50)) == std::future_status::ready;
    });
    auto endedDuringCall = std::async(std::launch::async, call);
    started.get_future().wait();
    std::thread ending([&] {
        lifetime.end();
        over.set_value();
    });
    // The end has begun once calls are refused.
    const auto probe = lifetime.guarded([] { return true; });
    while (probe()) {
        std::this_thread::yield();
    }
    goOn.set_value();
    EXPECT_FALSE(endedDuringCall.get());
    ending.join();
}

} // namespace
} // namespace keysong
