#include "Linux/System/TerminationSignals.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace keysong {

TerminationSignals::TerminationSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    descriptor_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!descriptor_.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "termination signals");
    }
}

bool TerminationSignals::areRequested() const noexcept {
    pollfd asked{descriptor_.get(), POLLIN, 0};
    return ::poll(&asked, 1, 0) > 0;
}

} // namespace keysong
