#pragma once

#include "Platform/Threads.h"
#include "Shared/BackgroundTasks.h"
#include "Shared/Mutex.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <string>

namespace keysong {

/// Threads with a kernel-visible name and a real-time priority: at once where this process may take one
/// itself, otherwise a moment later from RealtimeKit or the portal, asked on a short-lived thread of its own.
/// What was granted is logged.
///
/// The destructor waits for questions under way, a twentieth of a second at the most; log sinks outlive it.
class LinuxThreads final : public Threads {
  public:
    /// How threads are raised. The defaults are the machine's; tests take others.
    struct Means {
        /// Gives the calling thread a real-time priority, this one or a lower; answers which, 0 for none.
        std::function<int(int priority)> raiseThisThread;
        /// How long each of the two services is waited for.
        std::chrono::milliseconds limit{2000};
    };

    LinuxThreads();
    explicit LinuxThreads(Means means);
    ~LinuxThreads() override;
    LinuxThreads(const LinuxThreads&) = delete;
    LinuxThreads& operator=(const LinuxThreads&) = delete;

    [[nodiscard]] std::thread start(ThreadAttributes attributes, std::function<void()> body) override;
    void raiseThisThread(const ThreadAttributes& attributes) override;

  private:
    void say(const std::string& thread, const std::string& granted) KEYSONG_EXCLUDES(mutex_);

    const Means means_;
    std::atomic<bool> ending_ = false;
    Mutex mutex_;
    /// What was said of each thread last: one that starts again and again says the same once.
    std::map<std::string, std::string> said_ KEYSONG_GUARDED_BY(mutex_);
    BackgroundTasks questions_{*this, {"com.orlen.keysong.realtime", "realtime"}};
};

} // namespace keysong
