#include "support/RealtimeGuard.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <ostream>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <thread>

namespace keysong::test {
namespace {

using Operation = RealtimeGuard::Operation;

struct Offence {
    const char* name;
    Operation operation;
    void (*commit)();
};

void PrintTo(const Offence& offence, std::ostream* out) {
    *out << offence.name;
}

// Written through, so that no optimiser may leave a heap operation out.
void* volatile escaped = nullptr;

std::mutex lock;
std::shared_mutex sharedLock;
std::condition_variable condition;

const Offence offences[] = {
    {"operatorNew", Operation::heap, [] { escaped = std::make_unique<int>(1).get(); }},
    {"copiedString", Operation::heap, [] { escaped = std::string(100, 'x').data(); }},
    {"sharedPointer", Operation::heap, [] { escaped = std::make_shared<int>(1).get(); }},
    {"malloc", Operation::heap,
     [] {
         escaped = std::malloc(10);
         std::free(escaped);
     }},
    {"calloc", Operation::heap,
     [] {
         escaped = std::calloc(2, 10);
         std::free(escaped);
     }},
    {"exception", Operation::heap,
     [] {
         try {
             throw std::runtime_error("no");
         } catch (const std::runtime_error&) {
         }
     }},
    {"mutex", Operation::lock, [] { const std::lock_guard held(lock); }},
    {"triedMutex", Operation::lock, [] { const std::unique_lock held(lock, std::try_to_lock); }},
    {"sharedMutexForReading", Operation::lock, [] { const std::shared_lock held(sharedLock); }},
    {"sharedMutexForWriting", Operation::lock, [] { const std::unique_lock held(sharedLock); }},
    {"conditionVariable", Operation::wait,
     [] {
         std::unique_lock held(lock);
         condition.wait_for(held, std::chrono::microseconds(1));
     }},
    {"notification", Operation::wait, [] { condition.notify_one(); }},
    {"sleep", Operation::wait, [] { std::this_thread::sleep_for(std::chrono::nanoseconds(1)); }},
    {"yield", Operation::wait, [] { std::this_thread::yield(); }},
    {"printf", Operation::file, [] { std::printf("%d", 1); }},
    {"fprintf", Operation::file, [] { std::fprintf(stderr, "%d", 1); }},
    {"fputs", Operation::file, [] { std::fputs("a text", stderr); }},
    {"fopen", Operation::file, [] { escaped = std::fopen("/there/is/no/such/file", "r"); }},
    {"write", Operation::file, [] { static_cast<void>(!write(-1, "x", 1)); }},
};

class RealtimeGuardCatches : public testing::TestWithParam<Offence> {};

TEST_P(RealtimeGuardCatches, whatARenderThreadMustNotDo) {
    const Offence& offence = GetParam();
    offence.commit();
    const RealtimeGuard guard;
    EXPECT_EQ(guard.total(), 0U) << "counted what happened before";
    offence.commit();
    EXPECT_GT(guard.count(offence.operation), 0U);
}

INSTANTIATE_TEST_SUITE_P(Offences, RealtimeGuardCatches, testing::ValuesIn(offences),
                         testing::PrintToStringParamName());

TEST(RealtimeGuard, countsOnlyItsOwnThread) {
    std::atomic<bool> go = false;
    std::atomic<bool> done = false;
    std::thread other([&] {
        while (!go) {
        }
        escaped = std::make_unique<int>(1).get();
        done = true;
    });
    {
        const RealtimeGuard guard;
        go = true;
        while (!done) {
        }
        EXPECT_EQ(guard.total(), 0U);
    }
    other.join();
}

} // namespace
} // namespace keysong::test
