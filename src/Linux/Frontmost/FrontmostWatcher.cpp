#include "Linux/Frontmost/FrontmostWatcher.h"

#include "Shared/Log.h"

#include <algorithm>
#include <string_view>

namespace keysong {

namespace {

constexpr const char* noSource = "none";

} // namespace

FrontmostWatcher::FrontmostWatcher(EpollRunLoop& loop, Sources sources, InstalledApplications& applications,
                                   Report report, Timing timing)
    : loop_(loop), sources_(std::move(sources)), applications_(applications), report_(std::move(report)),
      timing_(timing), stepping_(loop, [this] { step(); }),
      settling_(loop, [this] { publish(std::nullopt); }), retry_(timing.firstRetry), sourceName_(noSource) {
}

FrontmostWatcher::~FrontmostWatcher() {
    for (const auto& source : sources_) {
        source->close();
    }
}

void FrontmostWatcher::start() {
    betterUnreachable_ = false;
    if (!sources_.empty()) {
        open(0);
    }
}

void FrontmostWatcher::open(std::size_t index) {
    index_ = index;
    phase_ = Phase::opening;
    wasFollowing_ = false;
    stepping_.arm(timing_.opening);
    sources_[index]->open(loop_, *this);
}

void FrontmostWatcher::sourceReady() {
    if (phase_ != Phase::opening) {
        return;
    }
    phase_ = Phase::following;
    wasFollowing_ = true;
    sourceName_ = sources_[index_]->name();
    log.notice("frontmost application: following %{public}s", sourceName_);
    report_(identifier_, sourceName_);
    if (betterUnreachable_) {
        stepping_.arm(timing_.longestRetry);
    } else {
        stepping_.disarm();
    }
}

void FrontmostWatcher::sourceFailed(FrontmostSource::Failure failure) {
    phase_ = Phase::failed;
    failure_ = failure;
    stepping_.arm(std::chrono::nanoseconds(0));
}

void FrontmostWatcher::windowInFront(std::optional<WindowIdentity> window) {
    if (window) {
        settling_.disarm();
        publish(applicationOf(*window, *applications_.list()));
    } else if (identifier_ && !settling_.isArmed()) {
        settling_.arm(timing_.settling);
    }
}

void FrontmostWatcher::publish(std::optional<std::string> identifier) {
    if (identifier != identifier_) {
        identifier_ = std::move(identifier);
        report_(identifier_, sourceName_);
    }
}

void FrontmostWatcher::step() {
    switch (phase_) {
    case Phase::opening: // for too long
        failure_ = FrontmostSource::Failure::unreachable;
        leaveFailedSource();
        break;
    case Phase::failed:
        leaveFailedSource();
        break;
    case Phase::following:
        lookForBetterSource();
        break;
    case Phase::waiting:
        start();
        break;
    }
}

void FrontmostWatcher::leaveFailedSource() {
    sources_[index_]->close();
    windowInFront(std::nullopt);
    if (wasFollowing_) {
        log.notice("frontmost application: lost %{public}s", sourceName_);
        sourceName_ = noSource;
        report_(identifier_, sourceName_);
        retry_ = timing_.firstRetry;
        waitBeforeRetry();
        return;
    }
    betterUnreachable_ = betterUnreachable_ || failure_ == FrontmostSource::Failure::unreachable;
    if (index_ + 1 < sources_.size()) {
        open(index_ + 1);
    } else {
        waitBeforeRetry();
    }
}

void FrontmostWatcher::waitBeforeRetry() {
    phase_ = Phase::waiting;
    stepping_.arm(retry_);
    retry_ = std::min(retry_ * 2, timing_.longestRetry);
}

void FrontmostWatcher::lookForBetterSource() {
    const auto current = sources_.begin() + static_cast<std::ptrdiff_t>(index_);
    if (std::any_of(sources_.begin(), current, [](const auto& source) { return source->isReachable(); })) {
        (*current)->close();
        windowInFront(std::nullopt);
        start();
    } else {
        stepping_.arm(timing_.longestRetry);
    }
}

} // namespace keysong
