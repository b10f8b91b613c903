#include "Linux/Listener/SocketPeers.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

namespace keysong::listener {

namespace {

#ifndef SO_PEERPIDFD
constexpr int SO_PEERPIDFD = 77; // since Linux 6.5; the headers of Debian 12 lack it
#endif

FileDescriptor processAt(int socket, pid_t id) {
    int process = -1;
    socklen_t size = sizeof process;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERPIDFD, &process, &size) == 0) {
        return FileDescriptor(process);
    }
    // Another process could have got the number meanwhile. It gains nothing by it: what counts is the user at
    // the time of the connection, and a session of that same user.
    return FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, id, 0)));
}

std::string firstLineOf(const std::string& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

std::uint64_t startTimeIn(const std::string& statistics) {
    // The name, in brackets, may hold anything.
    std::istringstream rest(statistics.substr(statistics.rfind(')') + 1));
    constexpr int wordsBefore = 19;
    std::string word;
    for (int i = 0; i < wordsBefore; ++i) {
        rest >> word;
    }
    std::uint64_t time = 0;
    return rest >> time ? time : 0;
}

} // namespace

std::optional<Peer> SocketPeers::peerOf(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 || credentials.pid <= 0) {
        return std::nullopt;
    }
    Peer peer;
    peer.end = processAt(socket, credentials.pid);
    const std::string folder = "/proc/" + std::to_string(credentials.pid);
    peer.process = {credentials.uid, static_cast<std::uint32_t>(credentials.pid),
                    printableName(firstLineOf(folder + "/comm"))};
    const std::string statistics = firstLineOf(folder + "/stat");
    pollfd ended{peer.end.get(), POLLIN, 0};
    if (!peer.end.isOpen() || statistics.find(')') == std::string::npos || poll(&ended, 1, 0) != 0) {
        return std::nullopt; // what was read may be another's
    }
    peer.startTime = startTimeIn(statistics);
    return peer;
}

} // namespace keysong::listener
