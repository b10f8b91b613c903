// The service that alone reads the devices. The service manager starts it when somebody connects. With
// --grant or --revoke and a user's number it has the running service change that permission instead, for
// an administrator.

#include "Linux/Files/LinuxDurableFiles.h"
#include "Linux/Listener/LibinputDevices.h"
#include "Linux/Listener/ListenerCall.h"
#include "Linux/Listener/ListenerLink.h"
#include "Linux/Listener/ListenerProgram.h"
#include "Linux/Listener/LogindSessions.h"
#include "Linux/Listener/PermissionFile.h"
#include "Linux/Listener/PolkitAuthority.h"
#include "Linux/Listener/SocketPeers.h"
#include "Linux/Log/LogSinks.h"
#include "Linux/System/LinuxThreads.h"
#include "Shared/Log.h"
#include "Shared/NumberText.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <span>
#include <string_view>
#include <vector>

namespace keysong {
namespace {

using namespace listener;

/// The service is started again in some milliseconds; it has nothing to keep.
constexpr std::chrono::seconds idleTime{30};

constexpr std::chrono::seconds patience{10};

/// Has the running service change a permission, as only root may for others.
int change(Change::Kind kind, std::string_view user) {
    const auto number = parseInteger<std::uint32_t>(user);
    if (!number) {
        throw ListenerCallError("a user's number is wanted");
    }
    ListenerCall call(servicePath);
    static_cast<void>(call.greet(patience));
    const auto outcome = call.change({kind, *number});
    return outcome == Answer::Outcome::granted || outcome == Answer::Outcome::revoked ? 0 : 1;
}

int serve() {
    hideProcess();
    // The manager keeps it in the journal.
    StderrLogSink sink(LogPrivacy::redacted);
    Logger::setSink(&sink);
    const FileDescriptor socket = socketOfManager();
    const char* const state = std::getenv("STATE_DIRECTORY"); // set by the manager
    if (!socket.isOpen() || state == nullptr) {
        std::fputs("keysong-listener is a service of the system: systemctl start keysong-listener.socket\n",
                   stderr);
        return 2;
    }
    const auto loop = EpollRunLoop::make();
    if (loop == nullptr) {
        log.error("no run loop");
        return 1;
    }
    const LinuxDurableFiles files;
    PermissionFile permissions(files, std::filesystem::path(state) / "permissions",
                               PermissionFile::nameInDatabase);
    LinuxThreads threads;
    SystemBus bus(*loop);
    SocketPeers peers;
    LogindSessions sessions(*loop, bus);
    PolkitAuthority authority(bus);
    LibinputDevices devices(threads);
    serveListeners(*loop, socket.get(), {peers, sessions, authority, permissions, devices}, idleTime);
    return 0;
}

int run(std::span<const std::string_view> arguments) {
    if (arguments.size() == 2 && arguments[0] == "--grant") {
        return change(Change::Kind::grant, arguments[1]);
    }
    if (arguments.size() == 2 && arguments[0] == "--revoke") {
        return change(Change::Kind::revoke, arguments[1]);
    }
    return serve();
}

} // namespace
} // namespace keysong

int main(int count, char** words) {
    const std::vector<std::string_view> arguments(words + 1, words + count);
    try {
        return keysong::run(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysong-listener: %s\n", error.what());
        return 1;
    }
}
