#include "Linux/Pointers/PointerLists.h"
#include "Linux/Pointers/PointerSource.h"
#include "Linux/System/ServiceThread.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace keysong {

namespace {

constexpr std::string_view magic = "i3-ipc";
constexpr std::uint32_t subscribe = 2;
constexpr std::uint32_t getInputs = 100;
constexpr std::uint32_t inputChanged = 0x80000015;

/// What stands before each message, in the machine's own byte order.
struct Header {
    std::uint32_t length = 0;
    std::uint32_t type = 0;
};
constexpr std::size_t headerSize = magic.size() + sizeof(Header);

FileDescriptor connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return {};
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    FileDescriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    return connect(connection.get(), generic, sizeof address) == 0 ? std::move(connection) : FileDescriptor();
}

class SwayPointers final : public PointerSource {
  public:
    SwayPointers(const std::string& socket, Threads& threads, PublishRules publish)
        : publish_(std::move(publish)), connection_(connectTo(socket)),
          thread_(threads, {"com.orlen.keysong.pointers", "pointers"}) {
        thread_.async([this] {
            if (connection_.isOpen() && thread_.loop().watch(connection_.get(), [this] { take(); }) &&
                send(subscribe, "[\"input\"]") && send(getInputs, "")) {
                return;
            }
            end();
        });
    }

  private:
    /// Small messages to one who reads: what the socket does not take at once, it never will.
    bool send(std::uint32_t type, std::string_view payload) {
        const Header header{static_cast<std::uint32_t>(payload.size()), type};
        std::string message(magic);
        message.append(reinterpret_cast<const char*>(&header), sizeof header);
        message.append(payload);
        return ::send(connection_.get(), message.data(), message.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(message.size());
    }

    void take() {
        std::array<char, 4096> part{};
        ssize_t size = 0;
        while ((size = recv(connection_.get(), part.data(), part.size(), 0)) > 0) {
            received_.append(part.data(), static_cast<std::size_t>(size));
            if (!takeMessages()) {
                end();
                return;
            }
        }
        if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
            end();
        }
    }

    /// False when what came is no message, or too large a one.
    bool takeMessages() {
        while (received_.size() >= headerSize) {
            Header header;
            std::memcpy(&header, received_.data() + magic.size(), sizeof header);
            if (!received_.starts_with(magic) || header.length > longestPointerList) {
                return false;
            }
            if (received_.size() < headerSize + header.length) {
                return true;
            }
            if (header.type == getInputs) {
                publish_(swayPointerRules(std::string_view(received_).substr(headerSize, header.length)));
            } else if (header.type == inputChanged && !send(getInputs, "")) {
                return false;
            }
            received_.erase(0, headerSize + header.length);
        }
        return true;
    }

    /// Sway has ended, and the session with it.
    void end() {
        if (connection_.isOpen()) {
            thread_.loop().unwatch(connection_.get());
            connection_.reset();
        }
        received_ = {};
    }

    const PublishRules publish_;
    FileDescriptor connection_;
    std::string received_;
    ServiceThread thread_;
};

} // namespace

std::unique_ptr<PointerSource> followSwayPointers(std::string socket, Threads& threads,
                                                  PublishRules publish) {
    return std::make_unique<SwayPointers>(socket, threads, std::move(publish));
}

} // namespace keysong
