#include "Program/AccessCommands.h"

#include "Linux/Listener/ListenerCall.h"
#include "Linux/Listener/ListenerLink.h"

#include <pwd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace keysong {

namespace {

using namespace listener;

constexpr std::chrono::seconds patience{10};

std::string wordsFor(State::Phase phase) {
    switch (phase) {
    case State::Phase::idle:
    case State::Phase::listening:
        return "open";
    case State::Phase::notGranted:
        return "closed: access is not granted";
    case State::Phase::noSession:
        return "closed: this is no session at a seat";
    case State::Phase::notActive:
        return "closed: another session is in front";
    case State::Phase::locked:
        return "closed: the screen is locked";
    case State::Phase::held:
        return "closed: another program listens";
    case State::Phase::failed:
        return "closed: the devices cannot be opened";
    }
    return {};
}

void showStatus() {
    const State state = ListenerCall(servicePath).greet(patience);
    const std::string holder = state.holder.id == 0
                                   ? "nobody"
                                   : state.holder.name + " (process " + std::to_string(state.holder.id) + ")";
    std::printf("access     %s\nkeyboards  %s, %d to be read\nlistening  %s\n",
                state.isGranted ? "granted" : "not granted", wordsFor(state.phase).c_str(), state.keyboards,
                holder.c_str());
}

/// Oneself where no name is given.
std::uint32_t userNamed(const std::string& name) {
    if (name.empty()) {
        return Change::oneself;
    }
    const passwd* const entry = getpwnam(name.c_str()); // one thread
    if (entry == nullptr) {
        throw std::runtime_error("there is no user \"" + name + "\"");
    }
    return entry->pw_uid;
}

void change(Change::Kind kind, const std::string& user) {
    ListenerCall call(servicePath);
    static_cast<void>(call.greet(patience));
    switch (call.change({kind, userNamed(user)})) {
    case Answer::Outcome::granted:
        std::puts("granted");
        return;
    case Answer::Outcome::revoked:
        std::puts("taken back");
        return;
    case Answer::Outcome::dismissed:
        throw std::runtime_error("nothing was changed: the question was dismissed");
    case Answer::Outcome::notAuthorized:
        throw std::runtime_error(kind == Change::Kind::grant
                                     ? "not allowed to grant access"
                                     : "not allowed to take another user's access back");
    case Answer::Outcome::cannotAsk:
        throw std::runtime_error(
            "nothing here asks for a password; run: sudo keysongctl access grant \"$USER\"");
    case Answer::Outcome::failed:
        throw std::runtime_error("the listener service could not do it; its log says why "
                                 "(journalctl -u keysong-listener)");
    }
}

void addChange(CLI::App& access, const char* name, const char* help, Change::Kind kind) {
    const auto user = std::make_shared<std::string>();
    auto* command = access.add_subcommand(name, help);
    command->add_option("user", *user, "The user, for an administrator; without one oneself");
    command->callback([kind, user] { change(kind, *user); });
}

} // namespace

void addAccessCommands(CLI::App& app) {
    auto* access = app.add_subcommand("access", "Who may hear the keyboards through the listener service");
    access->require_subcommand(1);
    access->add_subcommand("status", "Whether access is granted, and who listens")->callback(showStatus);
    addChange(*access, "grant", "Let Keysong hear the keyboards; asks for an administrator's password",
              Change::Kind::grant);
    addChange(*access, "revoke", "Take that back", Change::Kind::revoke);
}

} // namespace keysong
