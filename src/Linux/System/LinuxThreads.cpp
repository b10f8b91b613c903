#include "Linux/System/LinuxThreads.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace keysong {

namespace {

/// The kernel keeps 15 bytes of a name and refuses a longer one.
constexpr std::size_t longestThreadName = 15;

void raisePriority() {
    // Real-time scheduling needs a right that few sessions grant (RLIMIT_RTPRIO); a lower nice value is
    // granted more often (RLIMIT_NICE).
    sched_param parameters{};
    parameters.sched_priority = 1;
    if (pthread_setschedparam(pthread_self(), SCHED_RR | SCHED_RESET_ON_FORK, &parameters) != 0) {
        setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), -10);
    }
}

} // namespace

std::thread LinuxThreads::start(ThreadAttributes attributes, std::function<void()> body) {
    return std::thread([attributes = std::move(attributes), body = std::move(body)] {
        pthread_setname_np(pthread_self(), attributes.shortName.substr(0, longestThreadName).c_str());
        if (attributes.priority == ThreadPriority::userInteractive) {
            raisePriority();
        }
        body();
    });
}

} // namespace keysong
