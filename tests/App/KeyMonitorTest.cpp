#include "App/KeyMonitor.h"

#include "App/HeldKeys.h"

#include <gtest/gtest.h>

namespace keysong {
namespace {

TEST(KeyMonitor, RecordsKeysOnlyWhileWatched) {
    KeyMonitor monitor;
    monitor.record(SoundEvent::keyDown(0));
    EXPECT_EQ(monitor.snapshot().generation, 0U);

    monitor.setWatching(true);
    monitor.record(SoundEvent::keyDown(0));
    monitor.record(SoundEvent::keyDown(255));
    EXPECT_EQ(monitor.snapshot().down, (std::array<std::uint64_t, 4>{1, 0, 0, std::uint64_t{1} << 63}));
    EXPECT_EQ(monitor.snapshot().generation, 2U);

    monitor.record(SoundEvent::keyDown(255)); // a repeated down still counts as a change
    monitor.record(SoundEvent::keyUp(255));
    EXPECT_EQ(monitor.snapshot().down[3], 0U);
    EXPECT_EQ(monitor.snapshot().generation, 4U);

    for (const SoundEvent& ignored : {SoundEvent::keyDown(256), SoundEvent::mouseDown(MouseButton::right),
                                      SoundEvent::mouseUp(MouseButton::left), SoundEvent::scrollTick()}) {
        monitor.record(ignored);
    }
    EXPECT_EQ(monitor.snapshot().generation, 4U);

    monitor.setWatching(false); // releases the key whose up never came
    EXPECT_EQ(monitor.snapshot().down[0], 0U);
    EXPECT_EQ(monitor.snapshot().generation, 5U);
    monitor.record(SoundEvent::keyDown(1));
    EXPECT_EQ(monitor.snapshot().generation, 5U);
}

TEST(HeldKeys, AreFollowedAndLetGoWithTheWatch) {
    HeldKeys keys;
    int changes = 0;
    QObject::connect(&keys, &HeldKeys::downChanged, [&changes] { ++changes; });
    keys.setDown({1});
    EXPECT_EQ(keys.down(), KeyBitmap{}) << "nobody watches";
    keys.setWatching(true);
    keys.setDown({1});
    keys.setDown({1});
    EXPECT_EQ(keys.down(), KeyBitmap{1});
    keys.setWatching(false);
    EXPECT_EQ(keys.down(), KeyBitmap{});
    EXPECT_EQ(changes, 2);
}

} // namespace
} // namespace keysong
