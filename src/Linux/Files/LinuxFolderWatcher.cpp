#include "Linux/Files/LinuxFolderWatcher.h"

#include "Shared/Lifetime.h"
#include "Shared/Log.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace keysong {

namespace {

using Clock = std::chrono::steady_clock;

} // namespace

/// One watch, from its begin to its end. Made and destroyed on the main thread; what has no other comment
/// belongs to its own thread.
class LinuxFolderWatcher::Watching {
  public:
    Watching(std::vector<std::filesystem::path> folders, Handler handler, TaskQueue& mainQueue,
             Threads& threads)
        : mainQueue_(mainQueue), handler_(std::move(handler)),
          thread_(threads, {"com.orlen.keysong.folders", "folders"}) {
        // The folders are looked through there, not on the main thread.
        thread_.async([this, folders = std::move(folders)]() mutable { begin(std::move(folders)); });
    }

  private:
    void begin(std::vector<std::filesystem::path> folders) {
        try {
            folders_.emplace(std::move(folders));
        } catch (const std::system_error& error) {
            log.error("folders cannot be watched: %{public}s", error.what());
            return;
        }
        if (!thread_.loop().watch(folders_->descriptor(), [this] { takeChanges(); })) {
            log.error("folders cannot be watched: %{public}s", "no room for another descriptor");
            return;
        }
        report({});
    }

    void takeChanges() {
        auto changes = folders_->takeChanges();
        if (changes.empty()) {
            return;
        }
        lastChange_ = Clock::now();
        if (changes_.empty()) {
            burstBegan_ = lastChange_;
            thread_.asyncAfter(settleTime, [this] { reportOnceSettled(); });
        }
        changes_.merge(changes);
    }

    void reportOnceSettled() {
        const auto left = std::min(lastChange_ + settleTime, burstBegan_ + longestBurst) - Clock::now();
        if (left > std::chrono::nanoseconds(0)) {
            thread_.asyncAfter(left, [this] { reportOnceSettled(); });
            return;
        }
        report({changes_.begin(), changes_.end()});
        changes_.clear();
    }

    void report(std::vector<std::filesystem::path> changes) {
        // A watch that has ended meanwhile reports nothing.
        mainQueue_.async(
            lifetime_.guarded([handler = handler_, changes = std::move(changes)] { handler(changes); }));
    }

    TaskQueue& mainQueue_;
    const Handler handler_;
    std::optional<InotifyFolders> folders_;
    std::set<std::filesystem::path> changes_;
    Clock::time_point burstBegan_;
    Clock::time_point lastChange_;
    Lifetime lifetime_;
    /// Stops before anything that it uses goes.
    ServiceThread thread_;
};

LinuxFolderWatcher::LinuxFolderWatcher(TaskQueue& mainQueue, Threads& threads)
    : mainQueue_(mainQueue), threads_(threads) {
}

LinuxFolderWatcher::~LinuxFolderWatcher() = default;

void LinuxFolderWatcher::watch(std::vector<std::filesystem::path> folders, Handler handler) {
    watching_.reset();
    if (!handler) {
        return;
    }
    try {
        watching_ = std::make_unique<Watching>(std::move(folders), std::move(handler), mainQueue_, threads_);
    } catch (const std::system_error& error) {
        log.error("folders cannot be watched: %{public}s", error.what());
    }
}

} // namespace keysong
