#include "App/Stats.h"

namespace keysong {

Stats::Stats(Preferences& preferences)
    : preferences_(preferences), count_(preferences.integer(key).value_or(0)) {
}

void Stats::flush() {
    const MutexLock lock(persistence_);
    preferences_.setInteger(key, count());
}

void Stats::reset() {
    const MutexLock lock(persistence_);
    count_.store(0, std::memory_order_relaxed);
    ticksSinceFlush_ = 0;
    preferences_.setInteger(key, 0);
    preferences_.flush();
}

std::optional<std::int64_t> Stats::statsTick() {
    const MutexLock lock(persistence_);
    if (++ticksSinceFlush_ < ticksPerFlush) {
        return std::nullopt;
    }
    ticksSinceFlush_ = 0;
    const std::int64_t total = count();
    preferences_.setInteger(key, total);
    return total;
}

} // namespace keysong
