#include "Linux/System/RealtimeLimit.h"

#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace keysong {

namespace {

/// The limit at which a thread is told, half way to the one at which the kernel ends the program.
bool setLimit(rlim_t most) noexcept {
    const rlimit limit{most / 2, most};
    return setrlimit(RLIMIT_RTTIME, &limit) == 0;
}

/// On the thread that has computed for too long: the kernel prefers it to all others. System calls only.
void demoteThisThread(int) {
    const int error = errno;
    const sched_param none{};
    // Without the flag, which a user's thread cannot lay down, the call is refused.
    sched_setscheduler(0, SCHED_OTHER | SCHED_RESET_ON_FORK, &none);
    // The kernel has moved the mark beyond the end: without this the next one would not be told.
    rlimit limit{};
    if (getrlimit(RLIMIT_RTTIME, &limit) == 0 && limit.rlim_max != RLIM_INFINITY) {
        setLimit(limit.rlim_max);
    }
    errno = error;
}

} // namespace

void demoteAtRealtimeLimit() {
    struct sigaction action {};
    action.sa_handler = demoteThisThread;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGXCPU, &action, nullptr);
}

bool limitRealtime(std::chrono::microseconds most) {
    demoteAtRealtimeLimit();
    rlimit limit{};
    return most.count() > 0 && getrlimit(RLIMIT_RTTIME, &limit) == 0 &&
           setLimit(std::min(limit.rlim_max, static_cast<rlim_t>(most.count())));
}

} // namespace keysong
