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

// Written through, so that no optimiser may leave a heap operation out.
void* volatile escaped = nullptr;

void release(void* memory) {
    escaped = memory;
    std::free(memory);
}

std::mutex lock;
std::shared_mutex sharedLock;
std::condition_variable condition;

const Offence offences[] = {
    {"operator new", Operation::heap, [] { escaped = std::make_unique<int>(1).get(); }},
    {"malloc", Operation::heap, [] { release(std::malloc(10)); }},
    {"calloc", Operation::heap, [] { release(std::calloc(2, 10)); }},
    {"an exception", Operation::heap,
     [] {
         try {
             throw std::runtime_error("no");
         } catch (const std::runtime_error&) {
         }
     }},
    {"a mutex", Operation::lock, [] { const std::lock_guard held(lock); }},
    {"a mutex that is tried", Operation::lock, [] { const std::unique_lock held(lock, std::try_to_lock); }},
    {"a shared mutex for reading", Operation::lock, [] { const std::shared_lock held(sharedLock); }},
    {"a shared mutex for writing", Operation::lock, [] { const std::unique_lock held(sharedLock); }},
    {"a condition variable", Operation::wait,
     [] {
         std::unique_lock held(lock);
         condition.wait_for(held, std::chrono::microseconds(1));
     }},
    {"a notification", Operation::wait, [] { condition.notify_one(); }},
    {"a sleep", Operation::wait, [] { std::this_thread::sleep_for(std::chrono::nanoseconds(1)); }},
    {"a yield", Operation::wait, [] { std::this_thread::yield(); }},
    {"printf", Operation::file, [] { std::printf("%d", 1); }},
    {"fprintf", Operation::file, [] { std::fprintf(stderr, "%d", 1); }},
    {"fputs", Operation::file, [] { std::fputs("a text", stderr); }},
    {"fopen", Operation::file, [] { escaped = std::fopen("/there/is/no/such/file", "r"); }},
    {"write", Operation::file, [] { static_cast<void>(!write(-1, "x", 1)); }},
};

TEST(RealtimeGuard, catchesWhatARenderThreadMustNotDo) {
    for (const Offence& offence : offences) {
        offence.commit();
        const RealtimeGuard guard;
        EXPECT_EQ(guard.total(), 0U) << "counted what happened before";
        offence.commit();
        EXPECT_GT(guard.count(offence.operation), 0U) << offence.name;
    }
}

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
