#include "Linux/Decoder/DecoderMessages.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace keysong {

namespace {

/// Room for one descriptor beside a message.
union ControlRoom {
    cmsghdr alignment;
    char bytes[CMSG_SPACE(sizeof(int))];
};

} // namespace

bool sendMessage(int socket, const void* message, std::size_t bytes, int descriptor) {
    iovec piece{const_cast<void*>(message), bytes}; // NOLINT(cppcoreguidelines-pro-type-const-cast)
    msghdr header{};
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    ControlRoom room{};
    if (descriptor >= 0) {
        header.msg_control = room.bytes;
        header.msg_controllen = sizeof(room.bytes);
        cmsghdr* const control = CMSG_FIRSTHDR(&header);
        control->cmsg_level = SOL_SOCKET;
        control->cmsg_type = SCM_RIGHTS;
        control->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(control), &descriptor, sizeof(int));
    }
    ssize_t sent = -1;
    do {
        sent = sendmsg(socket, &header, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(bytes);
}

bool receiveMessage(int socket, void* message, std::size_t bytes, FileDescriptor& descriptor) {
    iovec piece{message, bytes};
    msghdr header{};
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    ControlRoom room{};
    header.msg_control = room.bytes;
    header.msg_controllen = sizeof(room.bytes);
    ssize_t got = -1;
    do {
        got = recvmsg(socket, &header, MSG_CMSG_CLOEXEC);
    } while (got < 0 && errno == EINTR);
    for (cmsghdr* control = got < 0 ? nullptr : CMSG_FIRSTHDR(&header); control != nullptr;
         control = CMSG_NXTHDR(&header, control)) {
        if (control->cmsg_level == SOL_SOCKET && control->cmsg_type == SCM_RIGHTS &&
            control->cmsg_len == CMSG_LEN(sizeof(int))) {
            int received = -1;
            std::memcpy(&received, CMSG_DATA(control), sizeof(int));
            descriptor.reset(received);
        }
    }
    return got == static_cast<ssize_t>(bytes) && (header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0;
}

} // namespace keysong
