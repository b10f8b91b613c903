#include "support/ListenerWorld.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace keysong::test {
namespace {

using namespace listener;
using Phase = State::Phase;
using testing::ElementsAre;
using testing::IsEmpty;

class ListenerServiceTest : public testing::Test {
  protected:
    ListenerServiceTest() { world.permissions.users = {1000, 1001}; }

    std::vector<std::string> openSeats() {
        return world.look([this] { return world.devices.seats(); });
    }
    void press(std::int64_t code) {
        world.look([&] {
            world.devices.deliver(keyEvent(RawEventType::keyDown, code));
            return 0;
        });
    }
    static std::int64_t codeOf(const std::optional<RawEvent>& event) { return event ? event->keycode : -1; }
    /// Nothing but what is told of states waits for this client.
    static bool hearsNothing(ListenerClient& client) {
        while (const auto message = client.channel().receive()) {
            const auto report = decodedReport(*message);
            if (report && std::holds_alternative<RawEvent>(*report)) {
                return false;
            }
        }
        return !client.channel().isClosed();
    }

    ListenerWorld world;
};

TEST_F(ListenerServiceTest, OnlyTheSessionInFrontHearsAndSwitchingMovesTheEar) {
    auto first = world.listen(1000, 10, "a");
    ASSERT_TRUE(first.reaches(Phase::listening));
    auto second = world.listen(1001, 20, "b");
    ASSERT_TRUE(second.reaches(Phase::notActive));
    press(1);
    EXPECT_EQ(codeOf(first.nextOf<RawEvent>()), 1);
    EXPECT_EQ(world.devices.opened, 1);

    world.change([&] { // while the login screen is there, nobody is in front
        world.sessions.all.at("a").isActive = false;
    });
    ASSERT_TRUE(first.reaches(Phase::notActive));
    EXPECT_THAT(openSeats(), IsEmpty()) << "devices are open only while somebody may listen";
    world.change([&] { world.sessions.all.at("b").isActive = true; });
    ASSERT_TRUE(second.reaches(Phase::listening));
    press(2);
    EXPECT_EQ(codeOf(second.nextOf<RawEvent>()), 2);
    EXPECT_TRUE(hearsNothing(first)) << "the other user's password";

    world.change([&] {
        world.sessions.all.at("b").isActive = false;
        world.sessions.all.at("a").isActive = true;
    });
    ASSERT_TRUE(first.reaches(Phase::listening));
    press(3);
    EXPECT_EQ(codeOf(first.nextOf<RawEvent>()), 3);
    ASSERT_TRUE(second.reaches(Phase::notActive));
    EXPECT_TRUE(hearsNothing(second));
}

TEST_F(ListenerServiceTest, ALockedScreenClosesTheDevicesAndNotKnowingCountsAsLocked) {
    world.change([&] { world.sessions.all.at("a") = Session{1000, "seat0", true}; });
    auto client = world.listen(1000, 10, "a");
    ASSERT_TRUE(client.reaches(Phase::locked));
    EXPECT_EQ(world.devices.opened, 0);
    world.change([&] { world.sessions.all.at("a").isLocked = false; });
    ASSERT_TRUE(client.reaches(Phase::listening));
    world.change([&] { world.sessions.all.at("a").isLocked = true; });
    ASSERT_TRUE(client.reaches(Phase::locked));
    EXPECT_THAT(openSeats(), IsEmpty());
    press(1);
    EXPECT_TRUE(hearsNothing(client));
    world.change([&] { world.sessions.all.erase("a"); });
    ASSERT_TRUE(client.reaches(Phase::noSession));
}

TEST_F(ListenerServiceTest, ASeatHearsItsOwnDevices) {
    world.change([&] { world.sessions.all["c"] = {1000, "seat1", true, false}; });
    auto here = world.listen(1000, 10, "a");
    auto there = world.listen(1000, 11, "c");
    ASSERT_TRUE(here.reaches(Phase::listening));
    ASSERT_TRUE(there.reaches(Phase::listening));
    EXPECT_THAT(openSeats(), ElementsAre("seat0", "seat1"));
}

TEST_F(ListenerServiceTest, WhoHasNoPermissionOrNoSessionOfItsOwnHearsNothing) {
    world.change([&] { world.permissions.users = {1000, 0}; });
    auto stranger = world.listen(1001, 20, "b");
    ASSERT_TRUE(stranger.reaches(Phase::notGranted));
    EXPECT_FALSE(stranger.last.isGranted);
    auto remote = world.listen(1000, 10, "");
    ASSERT_TRUE(remote.reaches(Phase::noSession));
    auto afterSu = world.listen(0, 12, "a"); // runs in a's session as root
    ASSERT_TRUE(afterSu.reaches(Phase::noSession));
    EXPECT_EQ(world.devices.opened, 0);
    // A service of the user's was started before the login.
    world.change([&] { world.sessions.processes[10] = "a"; });
    ASSERT_TRUE(remote.reaches(Phase::listening));
}

TEST_F(ListenerServiceTest, TakingThePermissionBackEndsItAtOnceAndGivingItGoesOn) {
    auto client = world.listen(1000, 10, "a");
    ASSERT_TRUE(client.reaches(Phase::listening));
    auto settings = world.connect(1000, 11, "a");
    settings.send(Hello());
    EXPECT_EQ(settings.nextOf<State>()->holder.id, 10U);
    settings.send(Change{Change::Kind::revoke, 1000});
    EXPECT_EQ(settings.nextOf<Answer>(), Answer{Answer::Outcome::revoked});
    ASSERT_TRUE(client.reaches(Phase::notGranted));
    EXPECT_FALSE(client.last.isGranted);
    EXPECT_THAT(openSeats(), IsEmpty());
    press(1);

    settings.send(Change{Change::Kind::grant, 1000});
    ASSERT_TRUE(eventually([&] { return world.look([&] { return world.authority.open.contains(1000); }); }));
    EXPECT_THAT(openSeats(), IsEmpty()) << "nobody has answered yet";
    world.look([&] {
        world.authority.answer(1000, Answer::Outcome::granted);
        return 0;
    });
    EXPECT_EQ(settings.nextOf<Answer>(), Answer{Answer::Outcome::granted});
    ASSERT_TRUE(client.reaches(Phase::listening));
    press(2);
    EXPECT_EQ(codeOf(client.nextOf<RawEvent>()), 2);
}

TEST_F(ListenerServiceTest, AskingIsBoundedAndAnAnswerThatIsNoGrantChangesNothing) {
    world.change([&] { world.permissions.users.clear(); });
    auto client = world.connect(1000, 10, "a");
    client.send(Hello());
    for (const auto outcome : {Answer::Outcome::dismissed, Answer::Outcome::notAuthorized,
                               Answer::Outcome::cannotAsk, Answer::Outcome::failed}) {
        client.send(Change{Change::Kind::grant, 1000});
        ASSERT_TRUE(eventually([&] { return world.look([&] { return !world.authority.open.empty(); }); }));
        auto second = world.connect(1000, 11, "a");
        second.send(Hello());
        second.send(Change{Change::Kind::grant, 1000});
        EXPECT_EQ(second.nextOf<Answer>(), Answer{Answer::Outcome::failed}) << "one question to a person";
        world.look([&] {
            world.authority.answer(1000, outcome);
            return 0;
        });
        EXPECT_EQ(client.nextOf<Answer>(), Answer{outcome});
        EXPECT_THAT(world.permissions.users, IsEmpty());
    }
    // For another user, or for root: never, and nobody is asked.
    for (const std::uint32_t user : {1001U, 0U}) {
        client.send(Change{Change::Kind::grant, user});
        EXPECT_EQ(client.nextOf<Answer>(), Answer{Answer::Outcome::notAuthorized});
        client.send(Change{Change::Kind::revoke, user});
        EXPECT_EQ(client.nextOf<Answer>(), Answer{Answer::Outcome::notAuthorized});
    }
    // The question goes with who asked.
    client.send(Change{Change::Kind::grant, 1000});
    ASSERT_TRUE(eventually([&] { return world.look([&] { return !world.authority.open.empty(); }); }));
    client.channel().close();
    EXPECT_TRUE(eventually([&] { return world.look([&] { return world.authority.open.empty(); }); }));
    // Root decides for others, without a question.
    auto root = world.connect(0, 1, "");
    root.send(Hello());
    root.send(Change{Change::Kind::grant, 1001});
    EXPECT_EQ(root.nextOf<Answer>(), Answer{Answer::Outcome::granted});
    EXPECT_THAT(world.permissions.users, ElementsAre(1001U));
    world.look([&] { return world.permissions.isFull = true; });
    root.send(Change{Change::Kind::grant, 1000});
    EXPECT_EQ(root.nextOf<Answer>(), Answer{Answer::Outcome::failed});
}

TEST_F(ListenerServiceTest, ASecondListenerIsRefusedItsNameIsToldAndItFollowsWhenTheFirstEnds) {
    auto early = world.connect(1000, 9, "a"); // greets, and asks for events only later
    early.send(Hello());
    auto first = world.listen(1000, 10, "a");
    ASSERT_TRUE(first.reaches(Phase::listening));
    auto second = world.listen(1000, 11, "a");
    ASSERT_TRUE(second.reaches(Phase::held));
    EXPECT_EQ(second.last.holder.id, 10U);
    EXPECT_EQ(first.nextOf<Rival>()->process, (Process{1000, 11, "program"}));
    early.send(Listen());
    ASSERT_TRUE(early.reaches(Phase::held)) << "who came first but asked last";
    press(1);
    EXPECT_EQ(codeOf(first.nextOf<RawEvent>()), 1);
    EXPECT_TRUE(hearsNothing(second));

    world.look([&] { // the process ends while something else keeps its connection
        world.peers.end(10);
        return 0;
    });
    ASSERT_TRUE(second.reaches(Phase::listening));
    press(2);
    EXPECT_EQ(codeOf(second.nextOf<RawEvent>()), 2);
    EXPECT_TRUE(first.isClosed());
    EXPECT_TRUE(hearsNothing(early));
}

TEST_F(ListenerServiceTest, ASlowReaderLosesEventsAndIsToldHowMany) {
    auto client = world.listen(1000, 10, "a");
    ASSERT_TRUE(client.reaches(Phase::listening));
    constexpr int sent = 5000;
    for (int i = 0; i < sent; ++i) {
        press(i % 100);
    }
    int heard = 0;
    while (const auto message = client.channel().receive()) {
        const auto report = decodedReport(*message);
        ASSERT_TRUE(report && std::holds_alternative<RawEvent>(*report));
        EXPECT_EQ(std::get<RawEvent>(*report).keycode, heard % 100) << "the oldest, in their order";
        ++heard;
    }
    EXPECT_GT(heard, 20);
    EXPECT_LT(heard, 500) << "what waits is bounded";
    press(7); // there is room again
    EXPECT_EQ(client.nextOf<Lost>(), Lost{static_cast<std::uint32_t>(sent - heard)});
    EXPECT_EQ(codeOf(client.nextOf<RawEvent>()), 7);
    // Told also when nothing follows.
    for (int i = 0; i < sent; ++i) {
        press(1);
    }
    while (client.channel().receive()) {
    }
    world.look([&] {
        world.devices.rests.front()();
        return 0;
    });
    EXPECT_GT(client.nextOf<Lost>()->count, 0U);
}

TEST_F(ListenerServiceTest, WhoDoesNotReadWhatItIsToldLosesTheConnection) {
    auto client = world.listen(1000, 10, "a");
    ASSERT_TRUE(client.reaches(Phase::listening));
    for (int i = 0; i < 1000; ++i) {
        press(1);
    }
    world.change([&] { world.sessions.all.at("a").isLocked = true; });
    EXPECT_EQ(world.connections(), 0U);
    EXPECT_THAT(openSeats(), IsEmpty());
}

TEST_F(ListenerServiceTest, WhatIsNoRequestInItsPlaceEndsTheConnection) {
    using Bytes = std::vector<std::byte>;
    const auto asBytes = [](const Request& request) {
        const Packet packet = encoded(request);
        return Bytes(packet.bytes().begin(), packet.bytes().end());
    };
    const Bytes hello = asBytes(Hello());
    Bytes otherVersion = hello;
    otherVersion[0] = std::byte(9);
    const std::vector<std::vector<Bytes>> streams{
        {asBytes(Listen())},
        {asBytes(Change{Change::Kind::grant, 1000})},
        {hello, hello},
        {otherVersion},
        {hello, Bytes(1)},
        {hello, Bytes(40, std::byte(0xFF))},
        {hello, Bytes(2048, std::byte(1))},
        {hello, Bytes(10'000, std::byte(1))},
        {Bytes(3)},
    };
    auto listening = world.listen(1000, 10, "a");
    ASSERT_TRUE(listening.reaches(Phase::listening));
    for (const auto& stream : streams) {
        auto client = world.connect(1000, 11, "a");
        for (const Bytes& message : stream) {
            ::send(client.channel().descriptor(), message.data(), message.size(), MSG_NOSIGNAL);
        }
        EXPECT_TRUE(client.isClosed()) << &stream - streams.data();
    }
    auto flood = world.connect(1000, 11, "a");
    flood.send(Hello());
    for (int i = 0; i <= ListenerService::mostRequests; ++i) {
        flood.send(Change{Change::Kind::revoke, 1001});
    }
    EXPECT_TRUE(flood.isClosed());
    press(1);
    EXPECT_EQ(codeOf(listening.nextOf<RawEvent>()), 1) << "nobody else is disturbed";
}

TEST_F(ListenerServiceTest, OneUserCannotTakeAllConnectionsAndAThousandLeaveNothing) {
    auto listening = world.listen(1001, 20, "b");
    ASSERT_TRUE(listening.reaches(Phase::notActive));
    std::vector<ListenerClient> kept;
    for (std::uint32_t i = 0; i < ListenerService::mostOfOneUser; ++i) {
        kept.push_back(world.listen(1000, 100 + i, "a"));
        ASSERT_TRUE(kept.back().reaches(i == 0 ? Phase::listening : Phase::held));
    }
    EXPECT_TRUE(world.connect(1000, 200, "a").isClosed());
    kept.clear();
    ASSERT_TRUE(eventually([&] { return world.connections() == 1; }));
    for (std::uint32_t i = 0; i < 1000; ++i) {
        auto client = world.listen(1000, 1000 + i, "a");
        if (i % 3 == 0) {
            ASSERT_TRUE(client.reaches(Phase::listening)) << i;
        } else if (i % 3 == 1) {
            client.sendBytes(std::vector<std::byte>(i % 50, std::byte(0xAA)));
        }
        client.channel().close();
        ASSERT_TRUE(eventually([&] { return world.connections() == 1; })) << i;
        ASSERT_THAT(openSeats(), IsEmpty());
    }
    world.change([&] {
        world.sessions.all.at("a").isActive = false;
        world.sessions.all.at("b").isActive = true;
    });
    EXPECT_TRUE(listening.reaches(Phase::listening));
    listening.channel().close();
    EXPECT_TRUE(eventually([&] { return world.connections() == 0; }));
}

TEST_F(ListenerServiceTest, DevicesThatCannotBeOpenedAreToldOfAndTriedAgainOnAChange) {
    world.look([&] { return world.devices.refuses = true; });
    auto client = world.listen(1000, 10, "a");
    ASSERT_TRUE(client.reaches(Phase::failed));
    world.change([&] { world.devices.refuses = false; });
    EXPECT_TRUE(client.reaches(Phase::listening));
    EXPECT_EQ(client.last.keyboards, 2);
}

TEST_F(ListenerServiceTest, AProcessThatCannotBeToldIsNotConnected) {
    EXPECT_TRUE(world.connect(1000, 0, "a").isClosed());
    EXPECT_EQ(world.connections(), 0U);
}

} // namespace
} // namespace keysong::test
