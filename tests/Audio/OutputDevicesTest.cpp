#include "Audio/OutputDevices.h"

#include "Audio/ListenerToken.h"
#include "Virtual/VirtualDevices.h"
#include "fakes/ManualQueue.h"
#include "support/LogCapture.h"
#include "support/PlainThreads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

namespace keysong::test {
namespace {

TEST(OutputDevices, ListsOnlyWhatCanPlay) {
    VirtualDevices devices;
    devices.replace({}, std::nullopt);
    EXPECT_TRUE(OutputDevices::all(devices).empty());
    EXPECT_EQ(OutputDevices::deviceIdForUid(devices, "uid"), std::nullopt);
    devices.replace({{1, "mic", "Microphone", 0},
                     {2, "Nameless", std::nullopt},
                     {3, std::nullopt, "No UID"},
                     {4, "uid", "First"},
                     {5, "uid", "Second"}},
                    1);
    EXPECT_EQ(OutputDevices::all(devices),
              (std::vector<AudioOutputDevice>{{4, "uid", "First"}, {5, "uid", "Second"}}));
    EXPECT_EQ(OutputDevices::deviceIdForUid(devices, "mic"), std::nullopt);
    EXPECT_EQ(OutputDevices::deviceIdForUid(devices, "Nameless"), 2U);
    EXPECT_EQ(OutputDevices::deviceIdForUid(devices, "uid"), 4U);
    EXPECT_EQ(OutputDevices::deviceIdForUid(devices, "UID"), std::nullopt);
}

const std::vector<DeviceListProperty> bothProperties = {DeviceListProperty::defaultOutputDevice,
                                                        DeviceListProperty::devices};

struct ListenerTokenTest : testing::Test {
    VirtualDevices devices;
    std::unique_ptr<ManualQueue> ownQueue = std::make_unique<ManualQueue>();
    ManualQueue& queue = *ownQueue;
    int told = 0;
};

TEST_F(ListenerTokenTest, TellsOnItsQueueAboutWhatItListensTo) {
    {
        const ListenerToken token(devices, std::move(ownQueue), bothProperties, [&] { ++told; });
        devices.setDefault(7);
        devices.plug({2, "b", "B"});
        EXPECT_EQ(told, 0) << "called on the thread of the change";
        queue.advance({});
        EXPECT_EQ(told, 2) << "each property is told of";
        devices.unplug(2); // still waiting when the token goes
    }
    devices.plug({3, "c", "C"});
    EXPECT_EQ(told, 2);
    EXPECT_EQ(devices.listenerCount(), 0U);
}

TEST_F(ListenerTokenTest, ABurstIsOneCallAndAChangeDuringACallIsAnother) {
    std::vector<std::size_t> seen;
    std::function<void()> meanwhile;
    const ListenerToken token(devices, std::move(ownQueue), {DeviceListProperty::devices}, [&] {
        seen.push_back(devices.deviceIds().size());
        if (meanwhile) {
            std::exchange(meanwhile, nullptr)();
        }
    });
    for (AudioDeviceId id = 2; id < 1000; ++id) {
        devices.plug({id, "x", "X"});
    }
    meanwhile = [&] {
        devices.plug({1000, "y", "Y"});
        devices.plug({1001, "z", "Z"});
    };
    queue.advance({});
    EXPECT_THAT(seen, testing::ElementsAre(999U, 1001U));
}

TEST_F(ListenerTokenTest, ARefusedPropertyIsLoggedAndTheOtherHeard) {
    devices.refuseListeners(DeviceListProperty::defaultOutputDevice, -50);
    const ListenerToken token(devices, std::move(ownQueue), bothProperties, [&] { ++told; });
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                testing::ElementsAre("device listener 1682929012 failed: -50"));
    devices.setDefault(std::nullopt);
    devices.plug({2, "b", "B"});
    queue.advance({});
    EXPECT_EQ(told, 1);
}

TEST_F(ListenerTokenTest, ItsReleaseWaitsForACallAndNoneFollows) {
    PlainThreads threads;
    for (int round = 0; round < 50; ++round) {
        std::atomic<bool> alive{true};
        std::atomic<bool> late{false};
        std::thread hotPlugger([&] {
            for (AudioDeviceId id = 2; id < 200; ++id) {
                devices.plug({id, "x", "X"});
                devices.unplug(id);
            }
        });
        {
            const ListenerToken token(devices, threads, bothProperties, [&] {
                std::this_thread::yield();
                late = late || !alive;
            });
            std::this_thread::yield();
        }
        alive = false;
        hotPlugger.join();
        ASSERT_FALSE(late);
    }
    EXPECT_EQ(devices.listenerCount(), 0U);
}

} // namespace
} // namespace keysong::test
