#include "Linux/System/EpollRunLoop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

namespace keysong {
namespace {

using std::chrono::milliseconds;

TEST(EpollRunLoop, AHangUpIsToldApartFromInput) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    FileDescriptor reader(ends[0]);
    FileDescriptor writer(ends[1]);
    const auto loop = EpollRunLoop::make();
    ASSERT_NE(loop, nullptr);
    bool closed = false;
    int told = 0;
    ASSERT_TRUE(loop->watchHangUp(reader.get(), [&] {
        EXPECT_TRUE(closed);
        ++told;
        loop->unwatch(reader.get()); // it would be told for ever
        loop->stop();
    }));
    ASSERT_EQ(write(writer.get(), "x", 1), 1);
    // By the time this timer fires, the input that waits has had its chance to be told.
    ASSERT_TRUE(loop->addTimer(milliseconds(1), milliseconds(0), [&] {
        closed = true;
        writer.reset();
    }));
    loop->run();
    EXPECT_EQ(told, 1);
}

} // namespace
} // namespace keysong
