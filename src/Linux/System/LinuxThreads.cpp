#include "Linux/System/LinuxThreads.h"

#include "Linux/System/RealtimeKit.h"
#include "Linux/System/RealtimeLimit.h"
#include "Shared/Log.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

namespace keysong {

namespace {

/// The kernel keeps 15 bytes of a name and refuses a longer one.
constexpr std::size_t longestThreadName = 15;

/// The most that RealtimeKit grants by default, which is what PipeWire's threads get from it too: a period of
/// sound comes first.
constexpr int renderPriority = 20;
/// Below every thread that renders, so that an event never delays a period, and above everything ordinary.
/// The kernel's own interrupt threads are at 50.
constexpr int inputPriority = renderPriority - 1;

/// Where real time is not granted; more often is this (RLIMIT_NICE).
constexpr int niceLevel = -11;

bool setRealtime(int priority) {
    const sched_param parameters{priority};
    return pthread_setschedparam(pthread_self(), SCHED_RR | SCHED_RESET_ON_FORK, &parameters) == 0;
}

/// What the process may take by its own right: the priority, or the highest below it that a limit
/// (RLIMIT_RTPRIO) leaves.
int raiseDirectly(int priority) {
    if (setRealtime(priority)) {
        return priority;
    }
    rlimit limit{};
    getrlimit(RLIMIT_RTPRIO, &limit);
    const int left = static_cast<int>(std::min(limit.rlim_cur, static_cast<rlim_t>(priority)));
    if (left > 0 && setRealtime(left)) {
        return left;
    }
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), niceLevel);
    return 0;
}

} // namespace

LinuxThreads::LinuxThreads() : LinuxThreads(Means{raiseDirectly}) {
}

LinuxThreads::LinuxThreads(Means means) : means_(std::move(means)) {
}

LinuxThreads::~LinuxThreads() {
    ending_ = true;
}

std::thread LinuxThreads::start(ThreadAttributes attributes, std::function<void()> body) {
    return std::thread([this, attributes = std::move(attributes), body = std::move(body)] {
        pthread_setname_np(pthread_self(), attributes.shortName.substr(0, longestThreadName).c_str());
        raiseThisThread(attributes);
        body();
    });
}

void LinuxThreads::raiseThisThread(const ThreadAttributes& attributes) {
    if (attributes.priority == ThreadPriority::normal) {
        return;
    }
    demoteAtRealtimeLimit();
    const RealtimeRequest request{static_cast<pid_t>(syscall(SYS_gettid)),
                                  attributes.priority == ThreadPriority::render ? renderPriority
                                                                                : inputPriority};
    const int raised = means_.raiseThisThread(request.priority);
    try {
        // Not even the log is waited for here.
        questions_.run([this, request, raised, name = attributes.shortName] {
            say(name, raised > 0 ? "real-time priority " + std::to_string(raised)
                                 : askForRealtime(request, means_.limit, ending_));
        });
    } catch (const std::system_error&) {
        // No thread to ask on: this one goes on as it is.
    }
}

void LinuxThreads::say(const std::string& thread, const std::string& granted) {
    {
        const MutexLock lock(mutex_);
        if (std::exchange(said_[thread], granted) == granted) {
            return;
        }
    }
    log.notice("%{public}s: %{public}s", thread, granted);
}

} // namespace keysong
