// The listener service as it is, except for what it knows of sessions and devices: that comes from a pipe.
// Everybody is user 1000. Its word is its folder: in it the socket, the pipe "commands" and the permissions.

#include "Linux/Files/LinuxDurableFiles.h"
#include "Linux/Listener/ListenerLink.h"
#include "Linux/Listener/ListenerProgram.h"
#include "Linux/Listener/PermissionFile.h"
#include "Linux/Listener/SocketPeers.h"
#include "fakes/FakeListenerFacts.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>

namespace keysong::test {
namespace {

using namespace listener;

constexpr std::uint32_t standInUser = 1000;

/// The kernel's facts, except for the user.
class OneUser final : public PeerFacts {
  public:
    [[nodiscard]] std::optional<Peer> peerOf(int socket) override {
        auto peer = SocketPeers().peerOf(socket);
        if (peer) {
            peer->process.user = standInUser;
        }
        return peer;
    }
};

/// Everybody belongs to the one session.
class PipedSessions final : public Sessions {
  public:
    Session session{standInUser, "seat0", true, false};

    [[nodiscard]] std::string sessionOf(const Process&) override { return "a"; }
    [[nodiscard]] std::optional<Session> find(const std::string&) override { return session; }
};

void obey(const std::string& line, PipedSessions& sessions, FakeDevices& devices, FakeAuthority& authority) {
    std::istringstream words(line);
    std::string what;
    RawEvent event;
    words >> what >> event.keycode;
    if (what == "down" || what == "up") {
        event.type = what == "down" ? RawEventType::keyDown : RawEventType::keyUp;
        event.flags = nonCoalescedFlag;
        devices.deliver(event);
        return;
    }
    if (what == "yes") {
        if (authority.open.contains(standInUser)) {
            authority.answer(standInUser, Answer::Outcome::granted);
        }
        return;
    }
    sessions.session.isActive = what != "behind";
    sessions.session.isLocked = what == "locked";
    sessions.onChange();
}

FileDescriptor listenAt(const std::filesystem::path& path) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.native().copy(address.sun_path, sizeof address.sun_path - 1);
    unlink(path.c_str());
    if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(socket.get(), 64) != 0) {
        socket.reset();
    }
    return socket;
}

int run(const std::filesystem::path& folder) {
    hideProcess();
    const auto loop = EpollRunLoop::make();
    const FileDescriptor socket = listenAt(folder / "socket");
    const FileDescriptor pipe(open((folder / "commands").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    const LinuxDurableFiles files;
    PermissionFile permissions(files, folder / "permissions", [](std::uint32_t) { return "tester"; });
    OneUser peers;
    PipedSessions sessions;
    FakeAuthority authority;
    FakeDevices devices;
    std::string waiting;
    const bool watched = loop->watch(pipe.get(), [&] {
        char bytes[256];
        const ssize_t length = read(pipe.get(), bytes, sizeof bytes);
        waiting.append(bytes, length > 0 ? static_cast<std::size_t>(length) : 0);
        for (std::size_t end = 0; (end = waiting.find('\n')) != std::string::npos;
             waiting.erase(0, end + 1)) {
            obey(waiting.substr(0, end), sessions, devices, authority);
        }
    });
    if (!socket.isOpen() || !watched) {
        return 1;
    }
    serveListeners(*loop, socket.get(), {peers, sessions, authority, permissions, devices},
                   std::chrono::hours(1));
    return 0;
}

} // namespace
} // namespace keysong::test

int main(int count, char** words) {
    return count == 2 ? keysong::test::run(words[1]) : 2;
}
