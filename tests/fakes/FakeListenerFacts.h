#pragma once

#include "Linux/Listener/ListenerFacts.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace keysong::test {

/// Processes as the test says; each ends when it is told to.
class FakePeers final : public listener::PeerFacts {
  public:
    /// Who connects next.
    listener::Process next;

    [[nodiscard]] std::optional<listener::Peer> peerOf(int) override {
        if (next.id == 0) {
            return std::nullopt;
        }
        listener::Peer peer{next, 1, FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))};
        ends_[next.id] = dup(peer.end.get());
        return peer;
    }
    void end(std::uint32_t process) {
        eventfd_write(ends_.at(process), 1);
        close(ends_.at(process));
    }

  private:
    std::map<std::uint32_t, int> ends_;
};

class FakeSessions final : public listener::Sessions {
  public:
    std::map<std::string, listener::Session> all;
    /// The session of each process.
    std::map<std::uint32_t, std::string> processes;

    [[nodiscard]] std::string sessionOf(const listener::Process& process) override {
        return processes.contains(process.id) ? processes.at(process.id) : std::string();
    }
    [[nodiscard]] std::optional<listener::Session> find(const std::string& session) override {
        return all.contains(session) ? std::optional(all.at(session)) : std::nullopt;
    }
};

class FakeAuthority final : public listener::Authority {
  public:
    /// Who is being asked for.
    std::map<std::uint32_t, Handler> open;
    bool hasNobody = false;

    [[nodiscard]] std::unique_ptr<listener::Question> ask(const listener::Peer& peer,
                                                          Handler handler) override {
        if (hasNobody) {
            return nullptr;
        }
        open[peer.process.user] = std::move(handler);
        return std::make_unique<Asked>(*this, peer.process.user);
    }
    void answer(std::uint32_t user, listener::Answer::Outcome outcome) {
        const auto handler = std::exchange(open.at(user), nullptr);
        handler(outcome);
    }

  private:
    class Asked final : public listener::Question {
      public:
        Asked(FakeAuthority& owner, std::uint32_t user) : owner_(owner), user_(user) {}
        ~Asked() override { owner_.open.erase(user_); }
        Asked(const Asked&) = delete;
        Asked& operator=(const Asked&) = delete;

      private:
        FakeAuthority& owner_;
        const std::uint32_t user_;
    };
};

class FakePermissions final : public listener::Permissions {
  public:
    std::set<std::uint32_t> users;
    bool isFull = false;

    [[nodiscard]] bool isGranted(std::uint32_t user) const override { return users.contains(user); }
    [[nodiscard]] bool grant(std::uint32_t user) override { return !isFull && (users.insert(user), true); }
    [[nodiscard]] bool revoke(std::uint32_t user) override {
        users.erase(user);
        return !isFull;
    }
};

/// Devices whose events the test lets happen, on the service's own thread.
class FakeDevices final : public listener::Devices {
  public:
    bool refuses = false;
    /// The seats that are open, and where their events go.
    std::multimap<std::string, RawEventHandler> open_;
    std::vector<std::function<void()>> rests;
    int opened = 0;

    [[nodiscard]] std::unique_ptr<listener::OpenDevices>
    open(const std::string& seat, RawEventHandler handler, std::function<void()> rest) override {
        if (refuses) {
            return nullptr;
        }
        ++opened;
        rests = {std::move(rest)};
        return std::make_unique<Opened>(*this, open_.emplace(seat, std::move(handler)));
    }
    [[nodiscard]] std::size_t keyboards() const override { return 2; }

    void deliver(const RawEvent& event) {
        for (const auto& [seat, handler] : open_) {
            handler(event);
        }
    }
    [[nodiscard]] std::vector<std::string> seats() const {
        std::vector<std::string> names;
        for (const auto& [seat, handler] : open_) {
            names.push_back(seat);
        }
        return names;
    }

  private:
    using Place = std::multimap<std::string, RawEventHandler>::iterator;

    class Opened final : public listener::OpenDevices {
      public:
        Opened(FakeDevices& owner, Place place) : owner_(owner), place_(place) {}
        ~Opened() override { owner_.open_.erase(place_); }
        Opened(const Opened&) = delete;
        Opened& operator=(const Opened&) = delete;

      private:
        FakeDevices& owner_;
        const Place place_;
    };
};

} // namespace keysong::test
