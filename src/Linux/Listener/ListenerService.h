#pragma once

#include "Linux/Listener/ListenerFacts.h"
#include "Linux/System/EpollRunLoop.h"
#include "Linux/System/OneShotTimer.h"
#include "Linux/System/PacketSocket.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace keysong::listener {

/// Decides who hears the keyboards: of the connections that ask for it, one for each session, and only while
/// the seat shows that session, its screen is not locked and its user has the permission. Devices are opened
/// and closed as that changes. A connection belongs to the process that made it and ends with it.
///
/// What one user's programs can take is bounded: connections, requests in a time, questions to a person. A
/// connection that breaks a bound or the protocol is closed.
///
/// Used on the thread that serves the loop; events travel on the devices' own threads.
class ListenerService {
  public:
    struct Means {
        PeerFacts& peers;
        Sessions& sessions;
        Authority& authority;
        Permissions& permissions;
        Devices& devices;
    };

    static constexpr std::size_t mostConnections = 64;
    static constexpr std::size_t mostOfOneUser = 8;
    static constexpr std::size_t mostQuestions = 4;
    /// Requests of one connection in one `budgetTime`.
    static constexpr int mostRequests = 20;
    static constexpr std::chrono::seconds budgetTime{10};
    /// A connection that has not greeted by then is closed.
    static constexpr std::chrono::seconds greetingTime{5};
    /// The same rival is told of again only after this.
    static constexpr std::chrono::seconds rivalTime{30};

    /// All outlive the service. `becameIdle` is called when the last connection has gone.
    ListenerService(EpollRunLoop& loop, const Means& means, std::function<void()> becameIdle);
    ~ListenerService();
    ListenerService(const ListenerService&) = delete;
    ListenerService& operator=(const ListenerService&) = delete;

    /// Takes connections from a listening socket, which the caller owns. False when it cannot be watched.
    [[nodiscard]] bool serve(int listeningSocket);
    /// Takes one connection.
    void add(FileDescriptor socket);

    [[nodiscard]] std::size_t connections() const noexcept { return connections_.size(); }

  private:
    using Clock = std::chrono::steady_clock;

    struct Connection {
        explicit Connection(FileDescriptor connected) : channel(std::move(connected)) {}

        PacketSocket channel;
        Peer peer;
        std::string session;
        bool hasGreeted = false;
        bool wantsEvents = false;
        /// Over: closed at the end of the next review.
        bool isBroken = false;
        Clock::time_point since = Clock::now();
        Clock::time_point budgetStart = Clock::now();
        int requests = 0;
        /// The state that was told last.
        std::optional<State> told;
        std::unique_ptr<Question> question;
        /// The rival that this one was told of last, and when.
        std::uint32_t rival = 0;
        Clock::time_point rivalTold;
        /// Last, so that they close before the connection does.
        std::unique_ptr<OpenDevices> devices;
    };
    using Place = std::list<Connection>::iterator;

    void acceptSome(int listeningSocket);
    [[nodiscard]] bool hasRoomFor(std::uint32_t user) const;
    void receive(Place place);
    /// Closes the connection if its process has ended.
    void lookForEnd(Place place);
    [[nodiscard]] static bool isWithinBudget(Connection& connection);
    /// False when the connection must be closed.
    [[nodiscard]] bool handle(Place place, std::span<const std::byte> bytes);
    void change(Place place, const Change& wanted);
    /// Asks whether the peer's user gets the permission.
    void ask(Place place);
    void answer(Place place, Answer::Outcome outcome);
    void close(Place place);

    /// Brings every connection to what holds now.
    void review();
    void reviewOnce();
    /// The session of the connection's process, as long as it may listen there.
    [[nodiscard]] std::optional<Session> sessionOf(Connection& connection) const;
    /// What stands in the way, before anybody else of the session is looked at.
    [[nodiscard]] static State::Phase phaseOf(bool isGranted, const std::optional<Session>& session);
    /// Opens or closes the devices. False when they cannot be opened.
    [[nodiscard]] bool setListening(Connection& connection, const std::string& seat, bool listens) const;
    static void tellRival(Connection& holder, const Connection& rival);
    static void tell(Connection& connection, const State& state);
    /// Who reads so little that this does not fit has lost the connection.
    static void send(Connection& connection, const Report& report);
    bool closeBroken();
    void lookForSilent();

    EpollRunLoop& loop_;
    const Means means_;
    const std::function<void()> becameIdle_;
    /// In the order in which they came: the first of a session holds it.
    std::list<Connection> connections_;
    OneShotTimer silence_;
    int listening_ = -1;
    bool receiving_ = false;
};

} // namespace keysong::listener
