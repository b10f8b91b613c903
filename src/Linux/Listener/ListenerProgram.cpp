#include "Linux/Listener/ListenerProgram.h"

#include "Linux/System/TerminationSignals.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>

namespace keysong::listener {

void hideProcess() noexcept {
    prctl(PR_SET_DUMPABLE, 0);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

FileDescriptor socketOfManager() {
    constexpr int onlyOne = 1;
    if (sd_listen_fds(1) != onlyOne || sd_is_socket(SD_LISTEN_FDS_START, AF_UNIX, SOCK_SEQPACKET, 1) <= 0) {
        return {};
    }
    return FileDescriptor(SD_LISTEN_FDS_START);
}

void serveListeners(EpollRunLoop& loop, int listeningSocket, const ListenerService::Means& means,
                    std::chrono::milliseconds idleTime) {
    const TerminationSignals termination;
    OneShotTimer idle(loop, [&loop] { loop.stop(); });
    ListenerService service(loop, means, [&idle, idleTime] { idle.arm(idleTime); });
    // Who connects meanwhile only has to wait for the next start: the manager keeps the socket.
    if (!loop.watch(termination.descriptor(), [&loop] { loop.stop(); }) || !service.serve(listeningSocket)) {
        return;
    }
    idle.arm(idleTime);
    loop.run();
    loop.unwatch(termination.descriptor());
}

} // namespace keysong::listener
