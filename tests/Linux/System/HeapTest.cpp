#include "Linux/System/Heap.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <memory>
#include <vector>

namespace keysong::test {
namespace {

/// How many pieces are the system's own at the moment.
std::size_t ownPieces() {
    return mallinfo2().hblks;
}

TEST(Heap, WhatASoundSetTookIsGivenBackWhateverStaysBesideIt) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer has a heap of its own";
#endif
    // A large piece that is freed first: from it the heap would learn to keep the others.
    std::vector<char>(8 << 20).clear();
    keepHeapSmall();
    std::vector<char>(8 << 20).clear();
    const std::size_t before = ownPieces();
    std::vector<std::unique_ptr<char[]>> samples;
    std::vector<std::unique_ptr<char[]>> staying;
    for (int i = 0; i < 100; ++i) {
        samples.push_back(std::make_unique<char[]>(40'000));
        staying.push_back(std::make_unique<char[]>(100));
    }
    // A few may fit where something else was free.
    EXPECT_GE(ownPieces() - before, 90U);
    samples.clear();
    EXPECT_EQ(ownPieces(), before);
}

} // namespace
} // namespace keysong::test
