#include "Linux/System/PacketSocket.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace keysong {

std::unique_ptr<PacketSocket> PacketSocket::inherited(int descriptor) {
    int type = 0;
    socklen_t size = sizeof type;
    if (getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) != 0 || type != SOCK_SEQPACKET ||
        fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0) {
        return nullptr;
    }
    return std::make_unique<PacketSocket>(FileDescriptor(descriptor));
}

bool PacketSocket::send(std::span<const std::byte> message) {
    return message.size() <= longestMessage &&
           ::send(socket_.get(), message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

std::optional<MessageChannel::Message> PacketSocket::receive() {
    std::array<std::byte, longestMessage> buffer{};
    ssize_t length = -1;
    do {
        length = recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_TRUNC);
    } while (length < 0 && errno == EINTR);
    if (length > 0) {
        const auto size = static_cast<std::size_t>(length);
        return size > buffer.size() ? Message() : Message(buffer.begin(), buffer.begin() + length);
    }
    isClosed_ = isClosed_ || length == 0 || errno != EAGAIN;
    return std::nullopt;
}

void PacketSocket::close() noexcept {
    socket_.reset();
    isClosed_ = true;
}

} // namespace keysong
