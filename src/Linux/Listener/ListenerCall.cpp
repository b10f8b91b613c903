#include "Linux/Listener/ListenerCall.h"

#include "Linux/Listener/ListenerLink.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace keysong::listener {

ListenerCall::ListenerCall(const std::string& path) : channel_(connectTo(path)) {
    if (channel_.descriptor() < 0) {
        throw ListenerCallError("there is no listener service");
    }
}

State ListenerCall::greet(std::chrono::milliseconds limit) {
    if (!channel_.send(encoded(Request(Hello())).bytes())) {
        throw ListenerCallError("the listener service has ended");
    }
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const Report report = next(std::max(left, std::chrono::milliseconds(0)));
        if (const auto* state = std::get_if<State>(&report)) {
            return *state;
        }
    }
}

Answer::Outcome ListenerCall::change(const Change& wanted) {
    if (!channel_.send(encoded(Request(wanted)).bytes())) {
        throw ListenerCallError("the listener service has ended");
    }
    for (;;) {
        const Report report = next(std::nullopt);
        if (const auto* answer = std::get_if<Answer>(&report)) {
            return answer->outcome;
        }
    }
}

void ListenerCall::cancel() const noexcept {
    shutdown(channel_.descriptor(), SHUT_RDWR);
}

Report ListenerCall::next(std::optional<std::chrono::milliseconds> limit) {
    for (;;) {
        if (const auto message = channel_.receive()) {
            if (const auto report = decodedReport(*message)) {
                return *report;
            }
            throw ListenerCallError("the listener service is of another version");
        }
        if (channel_.isClosed()) {
            throw ListenerCallError("the listener service has ended, or refuses more connections");
        }
        pollfd readable{channel_.descriptor(), POLLIN, 0};
        const int found = poll(&readable, 1, limit ? static_cast<int>(limit->count()) : -1);
        if (found == 0) {
            throw ListenerCallError("the listener service does not answer");
        }
        if (found < 0 && errno != EINTR) {
            throw ListenerCallError("the listener service cannot be waited for");
        }
    }
}

} // namespace keysong::listener
