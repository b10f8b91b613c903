#pragma once

#include "Linux/Listener/ListenerService.h"
#include "Linux/System/ServiceThread.h"
#include "fakes/FakeListenerFacts.h"
#include "support/Eventually.h"
#include "support/PlainThreads.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace keysong::test {

/// A program that is connected to the service, by its bare messages.
class ListenerClient {
  public:
    explicit ListenerClient(FileDescriptor socket) : channel_(std::move(socket)) {}

    void send(const listener::Request& request) { channel_.send(listener::encoded(request).bytes()); }
    void sendBytes(std::span<const std::byte> bytes) { channel_.send(bytes); }
    [[nodiscard]] PacketSocket& channel() { return channel_; }

    /// The next report; nothing when the service has closed the connection.
    [[nodiscard]] std::optional<listener::Report> next() {
        std::optional<MessageChannel::Message> message;
        const bool came = eventually([&] {
            message = channel_.receive();
            return message || channel_.isClosed();
        });
        EXPECT_TRUE(came) << "no report came";
        return message ? listener::decodedReport(*message) : std::nullopt;
    }
    /// The next report of this kind; others before it are left out.
    template <typename Kind>
    [[nodiscard]] std::optional<Kind> nextOf() {
        while (const auto report = next()) {
            if (const auto* found = std::get_if<Kind>(&*report)) {
                return *found;
            }
        }
        return std::nullopt;
    }
    /// Waits until it is told this phase; false when it is closed instead.
    [[nodiscard]] bool reaches(listener::State::Phase phase) {
        while (const auto state = nextOf<listener::State>()) {
            last = *state;
            if (state->phase == phase) {
                return true;
            }
        }
        return false;
    }
    [[nodiscard]] bool isClosed() {
        return eventually([&] { return !channel_.receive() && channel_.isClosed(); });
    }

    /// The state that was told last.
    listener::State last;

  private:
    PacketSocket channel_;
};

/// The service on facts of the test: user 1000 in session "a" on seat0, in front; user 1001 in "b", behind.
class ListenerWorld {
  public:
    FakePeers peers;
    FakeSessions sessions;
    FakeAuthority authority;
    FakePermissions permissions;
    FakeDevices devices;

    ListenerWorld() {
        sessions.all = {{"a", {1000, "seat0", true, false}}, {"b", {1001, "seat0", false, false}}};
        thread_.ask([this] {
            service_ = std::make_unique<listener::ListenerService>(
                thread_.loop(),
                listener::ListenerService::Means{peers, sessions, authority, permissions, devices}, [] {});
            return 0;
        });
    }
    ~ListenerWorld() {
        thread_.ask([this] {
            service_.reset();
            return 0;
        });
    }
    ListenerWorld(const ListenerWorld&) = delete;
    ListenerWorld& operator=(const ListenerWorld&) = delete;

    /// Does something where the service runs, and lets it look at its facts again.
    template <typename Action>
    void change(const Action& action) {
        thread_.ask([&] {
            action();
            if (sessions.onChange) {
                sessions.onChange();
            }
            return 0;
        });
    }
    /// What something is where the service runs.
    template <typename Look>
    auto look(const Look& look) {
        return thread_.ask(look);
    }
    [[nodiscard]] std::size_t connections() {
        return look([this] { return service_->connections(); });
    }

    /// A process of a session connects, without a word.
    [[nodiscard]] ListenerClient connect(std::uint32_t user, std::uint32_t process,
                                         const std::string& session) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
        thread_.ask([&] {
            peers.next = {user, process, "program"};
            sessions.processes[process] = session;
            service_->add(FileDescriptor(ends[0]));
            return 0;
        });
        return ListenerClient(FileDescriptor(ends[1]));
    }
    /// The same, greets, and asks for events.
    [[nodiscard]] ListenerClient listen(std::uint32_t user, std::uint32_t process,
                                        const std::string& session) {
        ListenerClient client = connect(user, process, session);
        client.send(listener::Hello());
        client.send(listener::Listen());
        return client;
    }

  private:
    PlainThreads threads_;
    ServiceThread thread_{threads_, {"service", "service"}};
    std::unique_ptr<listener::ListenerService> service_;
};

/// A key of the hardware.
inline RawEvent keyEvent(RawEventType type, std::int64_t code) {
    RawEvent event;
    event.type = type;
    event.keycode = code;
    event.flags = nonCoalescedFlag;
    event.time = std::chrono::nanoseconds(123'456'789'000);
    return event;
}

} // namespace keysong::test
