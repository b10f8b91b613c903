#include "Linux/Sound/PeriodLength.h"

#include <algorithm>

namespace keysong {

void PeriodLength::request(std::uint32_t frames) noexcept {
    requested_ = frames;
    frames_ = frames;
    xruns_.clear();
    calmTime_ = calmTime;
    wasShortened_ = false;
}

bool PeriodLength::noteXrun(Time now) {
    lastTrouble_ = now;
    while (!xruns_.empty() && now - xruns_.front() >= window) {
        xruns_.pop_front();
    }
    xruns_.push_back(now);
    if (xruns_.size() < tooMany || frames_ >= longest) {
        return false;
    }
    xruns_.clear();
    if (wasShortened_) {
        calmTime_ = std::min<Time>(2 * calmTime_, longestCalmTime);
    }
    frames_ = std::min(2 * frames_, longest);
    return true;
}

bool PeriodLength::noteCalm(Time now) {
    const auto due = nextCalm();
    if (!due || now < *due) {
        return false;
    }
    lastTrouble_ = now;
    frames_ = std::max(frames_ / 2, requested_);
    wasShortened_ = true;
    return true;
}

std::optional<PeriodLength::Time> PeriodLength::nextCalm() const noexcept {
    return frames_ > requested_ ? std::optional(lastTrouble_ + calmTime_) : std::nullopt;
}

} // namespace keysong
