#include "Linux/Frontmost/LinuxFrontmost.h"

#include "Linux/Frontmost/AtspiFrontmost.h"
#include "Linux/Frontmost/KwinFrontmost.h"
#include "Linux/Frontmost/WaylandFrontmost.h"
#include "Linux/Frontmost/X11Frontmost.h"
#include "Linux/System/EpollRunLoop.h"
#include "Shared/Lifetime.h"
#include "Shared/Log.h"
#include "Shared/Mutex.h"

#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

namespace keysong {

namespace {

/// What the watching thread has found, on its way to the main thread. However many switches come, at most one
/// delivery waits in the queue.
class FrontmostMailbox {
  public:
    explicit FrontmostMailbox(TaskQueue& mainQueue) : mainQueue_(mainQueue) {}

    /// The watching thread.
    void put(const std::optional<std::string>& identifier, const char* sourceName) KEYSONG_EXCLUDES(mutex_) {
        {
            const MutexLock lock(mutex_);
            identifier_ = identifier;
            sourceName_ = sourceName;
            if (std::exchange(isQueued_, true)) {
                return;
            }
        }
        mainQueue_.async(lifetime_.guarded([this] { deliver(); }));
    }

    /// The main thread, as all below.
    void setHandler(FrontmostApplication::ChangeHandler handler) { handler_ = std::move(handler); }

    [[nodiscard]] std::optional<std::string> identifier() const KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        return identifier_;
    }
    [[nodiscard]] std::string sourceName() const KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        return sourceName_;
    }

  private:
    void deliver() KEYSONG_EXCLUDES(mutex_) {
        std::optional<std::string> identifier;
        {
            const MutexLock lock(mutex_);
            isQueued_ = false;
            identifier = identifier_;
        }
        if (identifier != delivered_) {
            delivered_ = identifier;
            if (const auto handler = handler_) { // a handler may set another
                handler(identifier);
            }
        }
    }

    TaskQueue& mainQueue_;
    FrontmostApplication::ChangeHandler handler_;
    std::optional<std::string> delivered_;
    mutable Mutex mutex_;
    std::optional<std::string> identifier_ KEYSONG_GUARDED_BY(mutex_);
    std::string sourceName_ KEYSONG_GUARDED_BY(mutex_) = "none";
    bool isQueued_ KEYSONG_GUARDED_BY(mutex_) = false;
    Lifetime lifetime_;
};

/// An X or D-Bus server that has gone would otherwise end the program at the next write.
void blockBrokenPipeSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

class LinuxFrontmost final : public FrontmostApplication {
  public:
    LinuxFrontmost(TaskQueue& mainQueue, Threads& threads, FrontmostWatcher::Sources sources,
                   InstalledApplications& applications, FrontmostWatcher::Timing timing)
        : mailbox_(mainQueue), loop_(EpollRunLoop::make()) {
        if (sources.empty() || loop_ == nullptr) {
            log.notice("frontmost application: there is no way to learn it here");
            return;
        }
        try {
            watcher_ = std::make_unique<FrontmostWatcher>(
                *loop_, std::move(sources), applications,
                [this](const auto& identifier, const char* sourceName) {
                    mailbox_.put(identifier, sourceName);
                },
                timing);
            thread_ = threads.start({"com.orlen.keysong.frontmost", "frontmost", ThreadPriority::normal},
                                    [this] { serve(); });
        } catch (const std::system_error& error) {
            log.error("frontmost application: %{public}s", error.what());
        }
    }

    ~LinuxFrontmost() override {
        if (thread_.joinable()) {
            loop_->stop();
            thread_.join();
        }
    }

    [[nodiscard]] std::optional<std::string> current() const override { return mailbox_.identifier(); }
    void setChangeHandler(ChangeHandler handler) override { mailbox_.setHandler(std::move(handler)); }
    [[nodiscard]] std::string sourceName() const override { return mailbox_.sourceName(); }

  private:
    void serve() {
        blockBrokenPipeSignal();
        watcher_->start();
        loop_->run();
        // Here, where a source that has gone cannot end the program either.
        watcher_.reset();
    }

    FrontmostMailbox mailbox_;
    const std::unique_ptr<EpollRunLoop> loop_;
    std::unique_ptr<FrontmostWatcher> watcher_;
    std::thread thread_;
};

bool isSet(const Places& places, const char* variable) {
    return !places.environment(variable).value_or("").empty();
}

} // namespace

std::unique_ptr<FrontmostApplication> makeFrontmostApplication(TaskQueue& mainQueue, Threads& threads,
                                                               const Places& places,
                                                               InstalledApplications& applications) {
    FrontmostWatcher::Sources sources;
    if (isSet(places, "WAYLAND_DISPLAY")) {
        sources.push_back(makeWaylandFrontmost(places));
        sources.push_back(makeKwinFrontmost(places));
        sources.push_back(makeAtspiFrontmost());
    }
    if (isSet(places, "DISPLAY")) {
        sources.push_back(makeX11Frontmost());
    }
    return makeFrontmostApplication(mainQueue, threads, std::move(sources), applications, {});
}

std::unique_ptr<FrontmostApplication> makeFrontmostApplication(TaskQueue& mainQueue, Threads& threads,
                                                               FrontmostWatcher::Sources sources,
                                                               InstalledApplications& applications,
                                                               FrontmostWatcher::Timing timing) {
    return std::make_unique<LinuxFrontmost>(mainQueue, threads, std::move(sources), applications, timing);
}

} // namespace keysong
