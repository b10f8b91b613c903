#pragma once

#include "Platform/RawEvent.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

namespace keysong::listener {

// What a program and the listener service tell each other. Each message has one form, begins with the number
// of the whole set of forms, and has a length that its form bounds: two programs of different versions do not
// understand each other, and neither guesses. All functions are pure; any thread. Nothing here allocates but
// the names of processes.

/// No message is longer.
inline constexpr std::size_t longestMessage = 40;

/// The bytes of one message. They are wiped when it goes: they may hold what was typed.
class Packet {
  public:
    Packet() = default;
    ~Packet();
    Packet(const Packet&) = default;
    Packet& operator=(const Packet&) = default;

    [[nodiscard]] std::span<const std::byte> bytes() const noexcept { return std::span(bytes_).first(size_); }
    /// Appends the lowest `count` bytes of the value, the lowest first. What does not fit is left out.
    void append(std::uint64_t value, std::size_t count) noexcept;

  private:
    std::array<std::byte, longestMessage> bytes_{};
    std::size_t size_ = 0;
};

/// A process, as one tells a person of it.
struct Process {
    std::uint32_t user = 0;
    /// 0 for none.
    std::uint32_t id = 0;
    /// The kernel's name of it, printable ASCII, at most `longestName` bytes. The process chooses it.
    std::string name;

    static constexpr std::size_t longestName = 15;
    friend bool operator==(const Process&, const Process&) = default;
};

/// To the service, first of all: from now on it tells its state.
struct Hello {
    friend bool operator==(const Hello&, const Hello&) = default;
};

/// To the service: send events whenever that is allowed.
struct Listen {
    friend bool operator==(const Listen&, const Listen&) = default;
};

/// To the service: give a user the permission, or take it back. It is answered.
struct Change {
    enum class Kind : std::uint8_t { grant, revoke };

    /// The user of the process that asks.
    static constexpr std::uint32_t oneself = 0xFFFFFFFF;

    Kind kind = Kind::grant;
    std::uint32_t user = oneself;

    friend bool operator==(const Change&, const Change&) = default;
};

/// From the service, after the greeting and on every change.
struct State {
    enum class Phase : std::uint8_t {
        /// Nothing was asked for, and nothing is in the way.
        idle,
        /// Events are sent.
        listening,
        /// The user has not got the permission.
        notGranted,
        /// The process belongs to no session with a seat, or to one of another user.
        noSession,
        /// The session is not the one that the seat shows.
        notActive,
        /// The session's screen is locked.
        locked,
        /// Another process of the session listens already.
        held,
        /// The devices cannot be opened.
        failed,
    };

    Phase phase = Phase::idle;
    bool isGranted = false;
    /// How many keyboards there are that the service may read, of all seats.
    std::uint8_t keyboards = 0;
    /// Who listens in this session; none while nobody does.
    Process holder;

    friend bool operator==(const State&, const State&) = default;
};

/// From the service, to who listens: another process of the session asked to.
struct Rival {
    Process process;

    friend bool operator==(const Rival&, const Rival&) = default;
};

/// From the service: so many events could not be sent, since the reader was too slow.
struct Lost {
    std::uint32_t count = 0;

    friend bool operator==(const Lost&, const Lost&) = default;
};

/// From the service: what became of a `Change`.
struct Answer {
    enum class Outcome : std::uint8_t { granted, revoked, dismissed, notAuthorized, cannotAsk, failed };

    Outcome outcome = Outcome::failed;

    friend bool operator==(const Answer&, const Answer&) = default;
};

using Request = std::variant<Hello, Listen, Change>;
/// Of an event only what the decoder needs is told: kind, key code, flags, source state, scrolling, time.
using Report = std::variant<State, RawEvent, Lost, Rival, Answer>;

[[nodiscard]] Packet encoded(const Request& request);
/// An event of a kind that is not sent becomes an empty packet. Values that do not fit are cut to what fits.
[[nodiscard]] Packet encoded(const Report& report);
/// The same for one event, without a copy of it. Real-time safe.
[[nodiscard]] Packet encodedEvent(const RawEvent& event) noexcept;

/// Nothing for bytes that are not exactly a message of this version.
[[nodiscard]] std::optional<Request> decodedRequest(std::span<const std::byte> bytes);
[[nodiscard]] std::optional<Report> decodedReport(std::span<const std::byte> bytes);

/// Whether the bytes are a message of another version.
[[nodiscard]] bool isOfOtherVersion(std::span<const std::byte> bytes) noexcept;

/// The printable ASCII of a process's name, as `Process::name` holds it; other bytes become "?".
[[nodiscard]] std::string printableName(std::string_view name);

} // namespace keysong::listener
