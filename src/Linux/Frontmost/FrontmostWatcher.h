#pragma once

#include "Linux/Frontmost/FrontmostSource.h"
#include "Linux/System/OneShotTimer.h"
#include "Platform/InstalledApplications.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// Follows the application in front through the best of several sources: the first that is to be had, and
/// again from the first one whenever the one in use is lost. Lives on one run loop's thread.
class FrontmostWatcher final : private FrontmostSource::Listener {
  public:
    using Sources = std::vector<std::unique_ptr<FrontmostSource>>;
    /// Called on the loop's thread with the application in front and the source's name, each time that one of
    /// the two has changed.
    using Report = std::function<void(const std::optional<std::string>& identifier, const char* sourceName)>;

    struct Timing {
        /// A switch passes through "no window in front"; only when it stays so is it told.
        std::chrono::milliseconds settling{100};
        /// How long a source may take to be ready.
        std::chrono::milliseconds opening{5000};
        /// The first wait before the sources are tried again; it doubles up to the longest.
        std::chrono::milliseconds firstRetry{1000};
        std::chrono::milliseconds longestRetry{30000};
    };

    /// `sources` from best to least. The loop and the applications outlive the watcher. Throws
    /// std::system_error when the machine refuses a timer.
    FrontmostWatcher(EpollRunLoop& loop, Sources sources, InstalledApplications& applications, Report report,
                     Timing timing);
    ~FrontmostWatcher();
    FrontmostWatcher(const FrontmostWatcher&) = delete;
    FrontmostWatcher& operator=(const FrontmostWatcher&) = delete;

    /// Begins. On the loop's thread, or before it runs.
    void start();

  private:
    enum class Phase { opening, following, failed, waiting };

    void sourceReady() override;
    void sourceFailed(FrontmostSource::Failure failure) override;
    void windowInFront(std::optional<WindowIdentity> window) override;

    void step();
    void open(std::size_t index);
    void leaveFailedSource();
    void waitBeforeRetry();
    void lookForBetterSource();
    void publish(std::optional<std::string> identifier);

    EpollRunLoop& loop_;
    const Sources sources_;
    InstalledApplications& applications_;
    const Report report_;
    const Timing timing_;
    /// Moves on from one phase to the next, always at the top of the loop and so never inside a source.
    OneShotTimer stepping_;
    OneShotTimer settling_;

    Phase phase_ = Phase::waiting;
    std::size_t index_ = 0;
    FrontmostSource::Failure failure_ = FrontmostSource::Failure::notOffered;
    bool wasFollowing_ = false;
    /// Whether a source before this one may come back.
    bool betterUnreachable_ = false;
    std::chrono::milliseconds retry_;
    std::optional<std::string> identifier_;
    const char* sourceName_;
};

} // namespace keysong
