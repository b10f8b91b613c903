#include "Linux/Listener/ListenerService.h"

#include "Linux/Listener/EventSender.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <limits>
#include <map>
#include <utility>
#include <vector>

namespace keysong::listener {

namespace {

/// Taken in a row, so that a flood of one kind leaves time for the rest.
constexpr int mostAtOnce = 16;
constexpr std::uint32_t administrator = 0;

} // namespace

ListenerService::ListenerService(EpollRunLoop& loop, const Means& means, std::function<void()> becameIdle)
    : loop_(loop), means_(means), becameIdle_(std::move(becameIdle)),
      silence_(loop, [this] { lookForSilent(); }) {
    means_.sessions.onChange = [this] { review(); };
}

ListenerService::~ListenerService() {
    means_.sessions.onChange = nullptr;
    if (listening_ >= 0) {
        loop_.unwatch(listening_);
    }
    for (Connection& connection : connections_) {
        connection.isBroken = true;
    }
    closeBroken();
}

bool ListenerService::serve(int listeningSocket) {
    // The manager hands over one that waits.
    const int flags = fcntl(listeningSocket, F_GETFL);
    if (fcntl(listeningSocket, F_SETFL, flags | O_NONBLOCK) != 0 ||
        !loop_.watch(listeningSocket, [this, listeningSocket] { acceptSome(listeningSocket); })) {
        return false;
    }
    listening_ = listeningSocket;
    return true;
}

void ListenerService::acceptSome(int listeningSocket) {
    for (int i = 0; i < mostAtOnce; ++i) {
        FileDescriptor socket(accept4(listeningSocket, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket.isOpen()) {
            return;
        }
        add(std::move(socket));
    }
}

bool ListenerService::hasRoomFor(std::uint32_t user) const {
    const auto ofUser = std::ranges::count_if(
        connections_, [&](const Connection& connection) { return connection.peer.process.user == user; });
    return connections_.size() < mostConnections && static_cast<std::size_t>(ofUser) < mostOfOneUser;
}

void ListenerService::add(FileDescriptor socket) {
    auto peer = means_.peers.peerOf(socket.get());
    if (!peer || !hasRoomFor(peer->process.user)) {
        return;
    }
    boundQueue(socket.get());
    connections_.emplace_back(std::move(socket)).peer = *std::move(peer);
    const Place place = std::prev(connections_.end());
    if (!loop_.watch(place->channel.descriptor(), [this, place] { receive(place); }) ||
        !loop_.watch(place->peer.end.get(), [this, place] { lookForEnd(place); })) {
        close(place);
        return;
    }
    if (!silence_.isArmed()) {
        silence_.arm(greetingTime);
    }
}

void ListenerService::lookForEnd(Place place) {
    // The number of the descriptor may have been another's a moment ago.
    pollfd ended{place->peer.end.get(), POLLIN, 0};
    if (poll(&ended, 1, 0) != 0) {
        close(place);
    }
}

void ListenerService::receive(Place place) {
    receiving_ = true; // nothing goes while it is looked at
    for (int i = 0; i < mostAtOnce && !place->isBroken; ++i) {
        const auto message = place->channel.receive();
        if (!message) {
            place->isBroken = place->isBroken || place->channel.isClosed();
            break;
        }
        place->isBroken = !isWithinBudget(*place) || !handle(place, *message) || place->isBroken;
    }
    receiving_ = false;
    if (std::ranges::any_of(connections_, &Connection::isBroken)) {
        review();
    }
}

bool ListenerService::isWithinBudget(Connection& connection) {
    const auto now = Clock::now();
    if (now - connection.budgetStart > budgetTime) {
        connection.budgetStart = now;
        connection.requests = 0;
    }
    return ++connection.requests <= mostRequests;
}

bool ListenerService::handle(Place place, std::span<const std::byte> bytes) {
    const auto request = decodedRequest(bytes);
    if (!request) {
        return false;
    }
    if (std::holds_alternative<Hello>(*request)) {
        if (std::exchange(place->hasGreeted, true)) {
            return false;
        }
        review();
        return true;
    }
    if (!place->hasGreeted) {
        return false;
    }
    if (const auto* wanted = std::get_if<Change>(&*request)) {
        change(place, *wanted);
    } else if (!std::exchange(place->wantsEvents, true)) {
        // Behind all that asked before.
        connections_.splice(connections_.end(), connections_, place);
        review();
    }
    return true;
}

void ListenerService::change(Place place, const Change& wanted) {
    const std::uint32_t asker = place->peer.process.user;
    const std::uint32_t user = wanted.user == Change::oneself ? asker : wanted.user;
    const bool mayDecide = asker == administrator;
    if (user == administrator || (user != asker && !mayDecide)) {
        answer(place, Answer::Outcome::notAuthorized);
    } else if (wanted.kind == Change::Kind::revoke) {
        answer(place, means_.permissions.revoke(user) ? Answer::Outcome::revoked : Answer::Outcome::failed);
    } else if (mayDecide || means_.permissions.isGranted(user)) {
        answer(place, means_.permissions.grant(user) ? Answer::Outcome::granted : Answer::Outcome::failed);
    } else {
        ask(place);
    }
}

void ListenerService::ask(Place place) {
    const std::uint32_t user = place->peer.process.user;
    std::size_t open = 0;
    bool isAsked = false;
    for (const Connection& connection : connections_) {
        if (connection.question != nullptr) {
            ++open;
            isAsked = isAsked || connection.peer.process.user == user;
        }
    }
    if (isAsked || open >= mostQuestions) {
        answer(place, Answer::Outcome::failed);
        return;
    }
    place->question = means_.authority.ask(place->peer, [this, place, user](Answer::Outcome outcome) {
        place->question.reset();
        if (outcome == Answer::Outcome::granted && !means_.permissions.grant(user)) {
            outcome = Answer::Outcome::failed;
        }
        answer(place, outcome);
    });
    if (place->question == nullptr) {
        answer(place, Answer::Outcome::cannotAsk);
    }
}

void ListenerService::answer(Place place, Answer::Outcome outcome) {
    send(*place, Answer{outcome});
    review();
}

void ListenerService::close(Place place) {
    place->isBroken = true;
    review();
}

void ListenerService::review() {
    do {
        reviewOnce();
    } while (closeBroken());
}

void ListenerService::reviewOnce() {
    std::map<std::string, Connection*> holders;
    const auto keyboards = static_cast<std::uint8_t>(
        std::min<std::size_t>(means_.devices.keyboards(), std::numeric_limits<std::uint8_t>::max()));
    // First what ends, so that nobody hears twice what another one hears already.
    struct Facts {
        Connection* connection;
        std::optional<Session> session;
        State state;
    };
    std::vector<Facts> all;
    for (Connection& connection : connections_) {
        if (connection.isBroken) {
            connection.devices.reset();
        } else if (connection.hasGreeted) {
            Facts& facts = all.emplace_back(Facts{&connection, sessionOf(connection), {}});
            const bool isGranted = means_.permissions.isGranted(connection.peer.process.user);
            facts.state = {phaseOf(isGranted, facts.session), isGranted, keyboards, {}};
            if (connection.wantsEvents && facts.session && facts.state.isGranted) {
                holders.try_emplace(connection.session, &connection);
            }
            if (facts.state.phase != State::Phase::idle) {
                static_cast<void>(setListening(connection, {}, false));
            }
        }
    }
    for (auto& [connection, session, state] : all) {
        const auto found = holders.find(connection->session);
        Connection* const holder = session && found != holders.end() ? found->second : nullptr;
        if (holder != nullptr) {
            state.holder = holder->peer.process;
        }
        const bool mayListen = connection->wantsEvents && state.isGranted && session.has_value();
        if (mayListen && holder != connection) {
            state.phase = State::Phase::held;
            if (!connection->told || connection->told->phase != State::Phase::held) {
                tellRival(*holder, *connection);
            }
        } else if (mayListen && state.phase == State::Phase::idle) {
            state.phase = setListening(*connection, session->seat, true) ? State::Phase::listening
                                                                         : State::Phase::failed;
        }
        tell(*connection, state);
    }
}

std::optional<Session> ListenerService::sessionOf(Connection& connection) const {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (attempt > 0 || connection.session.empty()) {
            connection.session = means_.sessions.sessionOf(connection.peer.process);
        }
        auto session = connection.session.empty() ? std::nullopt : means_.sessions.find(connection.session);
        // One that runs as another user than the session's, as after su, hears nothing of it.
        if (session && session->user == connection.peer.process.user) {
            return session;
        }
    }
    return std::nullopt;
}

State::Phase ListenerService::phaseOf(bool isGranted, const std::optional<Session>& session) {
    if (!isGranted) {
        return State::Phase::notGranted;
    }
    if (!session) {
        return State::Phase::noSession;
    }
    if (!session->isActive) {
        return State::Phase::notActive;
    }
    return session->isLocked ? State::Phase::locked : State::Phase::idle;
}

bool ListenerService::setListening(Connection& connection, const std::string& seat, bool listens) const {
    if (!listens) {
        connection.devices.reset();
    } else if (connection.devices == nullptr) {
        const auto sender = std::make_shared<EventSender>(connection.channel.descriptor());
        connection.devices = means_.devices.open(
            seat, [sender](const RawEvent& event) { sender->send(event); }, [sender] { sender->tellLost(); });
    }
    return connection.devices != nullptr;
}

void ListenerService::tellRival(Connection& holder, const Connection& rival) {
    const auto now = Clock::now();
    if (holder.rival != rival.peer.process.id || now - holder.rivalTold > rivalTime) {
        holder.rival = rival.peer.process.id;
        holder.rivalTold = now;
        send(holder, Rival{rival.peer.process});
    }
}

void ListenerService::tell(Connection& connection, const State& state) {
    if (connection.told != state) {
        connection.told = state;
        send(connection, state);
    }
}

void ListenerService::send(Connection& connection, const Report& report) {
    if (!connection.isBroken && !connection.channel.send(encoded(report).bytes())) {
        connection.isBroken = true;
    }
}

bool ListenerService::closeBroken() {
    if (receiving_) {
        return false;
    }
    std::list<Connection> broken;
    for (Place place = connections_.begin(); place != connections_.end();) {
        const Place next = std::next(place);
        if (place->isBroken) {
            broken.splice(broken.end(), connections_, place);
        }
        place = next;
    }
    for (Connection& connection : broken) {
        loop_.unwatch(connection.channel.descriptor());
        loop_.unwatch(connection.peer.end.get());
    }
    if (broken.empty()) {
        return false;
    }
    broken.clear();
    if (connections_.empty() && becameIdle_) {
        becameIdle_();
    }
    return true;
}

void ListenerService::lookForSilent() {
    const auto now = Clock::now();
    bool isAnybodyWaiting = false;
    for (Connection& connection : connections_) {
        const bool isSilent = !connection.hasGreeted;
        connection.isBroken = connection.isBroken || (isSilent && now - connection.since >= greetingTime);
        isAnybodyWaiting = isAnybodyWaiting || (isSilent && !connection.isBroken);
    }
    if (isAnybodyWaiting) {
        silence_.arm(std::chrono::seconds(1));
    }
    review();
}

} // namespace keysong::listener
