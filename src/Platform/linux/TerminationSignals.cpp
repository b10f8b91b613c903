#include "Platform/linux/TerminationSignals.h"

#include <pthread.h>

#include <cerrno>

namespace keysong {

TerminationSignals::TerminationSignals() {
    sigemptyset(&signals_);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
}

bool TerminationSignals::waitFor(std::chrono::nanoseconds limit) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    const timespec time{seconds.count(), (limit - seconds).count()};
    int signal = -1;
    do {
        signal = sigtimedwait(&signals_, nullptr, &time);
    } while (signal < 0 && errno == EINTR);
    return signal > 0;
}

void TerminationSignals::wait() {
    int signal = 0;
    sigwait(&signals_, &signal);
}

} // namespace keysong
