#include "Linux/Listener/ListenerLink.h"

#include "Shared/Log.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace keysong::listener {

FileDescriptor connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return {};
    }
    std::memcpy(address.sun_path, path.c_str(), path.size());
    FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        socket.reset();
    }
    return socket;
}

ListenerLink::ListenerLink(EpollRunLoop& loop, std::string path, Wish wish, Handlers handlers)
    : loop_(loop), path_(std::move(path)), wish_(wish), handlers_(std::move(handlers)),
      retry_(loop, [this] { connect(); }) {
    retry_.arm(std::chrono::nanoseconds(0));
}

ListenerLink::~ListenerLink() {
    if (channel_) {
        loop_.unwatch(channel_->descriptor());
    }
}

void ListenerLink::connect() {
    FileDescriptor socket = connectTo(path_);
    const int descriptor = socket.get();
    if (socket.isOpen() && loop_.watch(descriptor, [this] { receive(); })) {
        channel_.emplace(std::move(socket));
        if (greet()) {
            return;
        }
    }
    lose();
}

bool ListenerLink::greet() {
    return channel_->send(encoded(Request(Hello())).bytes()) &&
           (wish_ == Wish::state || channel_->send(encoded(Request(Listen())).bytes()));
}

void ListenerLink::receive() {
    while (channel_) {
        auto message = channel_->receive();
        if (!message) {
            break;
        }
        const auto report = decodedReport(*message);
        const bool isOther = isOfOtherVersion(*message);
        std::ranges::fill(*message, std::byte(0)); // it may hold what was typed
        if (!report) {
            if (isOther && !std::exchange(toldOfVersion_, true)) {
                log.error("the listener service is of another version than Keysong");
            }
            lose();
            return;
        }
        pause_ = firstPause;
        handlers_.received(*report);
    }
    if (channel_ && channel_->isClosed()) {
        lose();
    }
}

void ListenerLink::lose() {
    if (channel_) {
        loop_.unwatch(channel_->descriptor());
        channel_.reset();
    }
    retry_.arm(pause_);
    pause_ = std::min(pause_ * 2, longestPause);
    handlers_.lost();
}

} // namespace keysong::listener
