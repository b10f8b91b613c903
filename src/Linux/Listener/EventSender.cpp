#include "Linux/Listener/EventSender.h"

#include <sys/socket.h>

#include <limits>

namespace keysong::listener {

namespace {

/// The kernel counts several hundred bytes for each message, however short.
constexpr int queueBytes = 64 * 1024;

} // namespace

void EventSender::send(const RawEvent& event) noexcept {
    const Packet packet = encodedEvent(event);
    if (packet.bytes().empty()) {
        return;
    }
    tellLost();
    if ((lost_ > 0 || !write(packet)) && lost_ < std::numeric_limits<std::uint32_t>::max()) {
        ++lost_;
    }
}

void EventSender::tellLost() noexcept {
    if (lost_ > 0 && write(encoded(Report(Lost{lost_})))) {
        lost_ = 0;
    }
}

bool EventSender::write(const Packet& packet) const noexcept {
    const auto bytes = packet.bytes();
    return ::send(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

void boundQueue(int socket) noexcept {
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &queueBytes, sizeof queueBytes);
}

} // namespace keysong::listener
