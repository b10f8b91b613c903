#pragma once

#include "Linux/Frontmost/LinuxFrontmost.h"
#include "fakes/FakeApplications.h"
#include "fakes/PumpedQueue.h"
#include "support/PlainThreads.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace keysong::test {

/// The whole way from a real source to the main thread's handler, with the program's own times but a quick
/// retry.
class FrontmostFollower {
  public:
    FrontmostFollower(std::unique_ptr<FrontmostSource> source, InstalledApplications::List applications)
        : applications_(std::move(applications)) {
        FrontmostWatcher::Sources sources;
        sources.push_back(std::move(source));
        FrontmostWatcher::Timing timing;
        timing.firstRetry = std::chrono::milliseconds(50);
        timing.longestRetry = timing.firstRetry;
        frontmost_ = makeFrontmostApplication(queue_, threads_, std::move(sources), applications_, timing);
        frontmost_->setChangeHandler([this](const std::optional<std::string>& identifier) {
            told_.push_back(identifier.value_or("none"));
        });
    }

    /// Waits until this is the last that was told.
    [[nodiscard]] bool hears(const std::string& identifier) {
        return waitUntil([&] { return isLast(identifier); });
    }
    [[nodiscard]] bool isLast(const std::string& identifier) const {
        return !told_.empty() && told_.back() == identifier;
    }
    [[nodiscard]] bool follows(const std::string& sourceName) {
        return waitUntil([&] { return frontmost_->sourceName() == sourceName; });
    }
    /// Serves the main thread until then; false when that takes too long.
    [[nodiscard]] bool waitUntil(
        const std::function<bool()>& condition, const std::function<void()>& besides = [] {}) {
        return queue_.runUntil(condition, besides);
    }

    /// All that was told, in order; "none" for none.
    [[nodiscard]] const std::vector<std::string>& told() const { return told_; }

  private:
    FakeApplications applications_;
    PumpedQueue queue_;
    PlainThreads threads_;
    std::vector<std::string> told_;
    std::unique_ptr<FrontmostApplication> frontmost_;
};

} // namespace keysong::test
