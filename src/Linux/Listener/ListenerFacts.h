#pragma once

#include "Linux/Listener/ListenerMessages.h"
#include "Linux/System/FileDescriptor.h"
#include "Platform/InputSource.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace keysong::listener {

// What the listener service asks the machine, each behind an interface of its own, so that what it decides
// stands without them. All is used on the service's main thread.

/// The process at the other end of a connection, as the kernel vouches for it.
struct Peer {
    Process process;
    /// When the process was started, in the kernel's ticks since the machine was: with its number it names
    /// one process for good.
    std::uint64_t startTime = 0;
    /// Becomes readable when the process ends.
    FileDescriptor end;
};

class PeerFacts {
  public:
    virtual ~PeerFacts() = default;
    /// Who made this connection. Nothing when the process has ended or cannot be told.
    [[nodiscard]] virtual std::optional<Peer> peerOf(int socket) = 0;

  protected:
    PeerFacts() = default;
    PeerFacts(const PeerFacts&) = default;
    PeerFacts& operator=(const PeerFacts&) = default;
};

/// A person's session at a seat.
struct Session {
    std::uint32_t user = 0;
    std::string seat;
    /// Whether the seat shows it.
    bool isActive = false;
    /// Whether its screen is locked, or nobody knows.
    bool isLocked = true;
};

class Sessions {
  public:
    virtual ~Sessions() = default;
    /// The session that a process belongs to: its own, or for one of the user's services the user's session
    /// at a seat. Empty when there is none.
    [[nodiscard]] virtual std::string sessionOf(const Process& process) = 0;
    /// Nothing when it has ended, has no seat or is no person's.
    [[nodiscard]] virtual std::optional<Session> find(const std::string& session) = 0;

    /// Called whenever something may have changed. Set before the service serves.
    std::function<void()> onChange;

  protected:
    Sessions() = default;
    Sessions(const Sessions&) = default;
    Sessions& operator=(const Sessions&) = default;
};

/// A question to a person that is being asked; gone, it is withdrawn.
class Question {
  public:
    virtual ~Question() = default;

  protected:
    Question() = default;
    Question(const Question&) = default;
    Question& operator=(const Question&) = default;
};

/// Who decides whether a user gets the permission.
class Authority {
  public:
    using Handler = std::function<void(Answer::Outcome)>;

    virtual ~Authority() = default;
    /// Asks, for as long as the person takes. `handler` is called once, later, unless the question goes
    /// first; it may destroy the question. Null when nobody can be asked.
    [[nodiscard]] virtual std::unique_ptr<Question> ask(const Peer& peer, Handler handler) = 0;

  protected:
    Authority() = default;
    Authority(const Authority&) = default;
    Authority& operator=(const Authority&) = default;
};

/// Which users have the permission.
class Permissions {
  public:
    virtual ~Permissions() = default;
    [[nodiscard]] virtual bool isGranted(std::uint32_t user) const = 0;
    /// False when that could not be remembered; nothing has changed then.
    [[nodiscard]] virtual bool grant(std::uint32_t user) = 0;
    /// False when that could not be remembered; it then holds until the service ends.
    [[nodiscard]] virtual bool revoke(std::uint32_t user) = 0;

  protected:
    Permissions() = default;
    Permissions(const Permissions&) = default;
    Permissions& operator=(const Permissions&) = default;
};

/// The open devices of a seat; gone, they are closed, and no event comes any more.
class OpenDevices {
  public:
    virtual ~OpenDevices() = default;

  protected:
    OpenDevices() = default;
    OpenDevices(const OpenDevices&) = default;
    OpenDevices& operator=(const OpenDevices&) = default;
};

class Devices {
  public:
    virtual ~Devices() = default;
    /// Opens the devices of a seat to read them. On a thread of their own `handler` gets their events, and
    /// `rest` is called every few seconds. Null when that cannot be.
    [[nodiscard]] virtual std::unique_ptr<OpenDevices> open(const std::string& seat, RawEventHandler handler,
                                                            std::function<void()> rest) = 0;
    /// How many keyboards there are that can be read.
    [[nodiscard]] virtual std::size_t keyboards() const = 0;

  protected:
    Devices() = default;
    Devices(const Devices&) = default;
    Devices& operator=(const Devices&) = default;
};

} // namespace keysong::listener
