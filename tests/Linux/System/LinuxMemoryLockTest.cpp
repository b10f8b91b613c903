#include "Linux/System/LinuxMemoryLock.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace keysong {
namespace {

/// How much of this process's memory is locked, in KiB.
std::size_t lockedKib() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmLck:") {
            std::size_t size = 0;
            status >> size;
            return size;
        }
    }
    return 0;
}

TEST(LinuxMemoryLock, PagesStayLockedUntilNobodyHoldsThem) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer locks nothing";
#endif
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t kib = page / 1024;
    auto* const memory = static_cast<const std::byte*>(
        mmap(nullptr, 6 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(memory, MAP_FAILED);
    const std::size_t before = lockedKib();
    LinuxMemoryLock lock;
    using Piece = std::span<const std::byte>;
    const Piece first[] = {{memory, page + page / 2}, {memory + 4 * page, 10}, {}};
    const Piece second[] = {{memory + page + page / 2, page}};
    auto a = lock.hold(first);
    if (a == nullptr) {
        GTEST_SKIP() << "this user may not lock memory";
    }
    EXPECT_EQ(lockedKib() - before, 3 * kib);
    auto b = lock.hold(second);
    EXPECT_EQ(lockedKib() - before, 4 * kib);
    a.reset();
    EXPECT_EQ(lockedKib() - before, 2 * kib) << "the page in the middle belongs to both";
    // One that cannot be held whole is not held at all, and takes nothing from others.
    munmap(const_cast<std::byte*>(memory) + 5 * page, page);
    const Piece impossible[] = {{memory, 2 * page}, {memory + 5 * page, 1}};
    EXPECT_EQ(lock.hold(impossible), nullptr);
    EXPECT_EQ(lockedKib() - before, 2 * kib);
    b.reset();
    EXPECT_EQ(lockedKib(), before);
    munmap(const_cast<std::byte*>(memory), 5 * page);
}

} // namespace
} // namespace keysong
