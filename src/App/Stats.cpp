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
    preferences_.setInteger(key, 0);
    preferences_.flush();
}

std::int64_t Stats::statsTick() {
    const std::int64_t total = count();
    if (++ticksSinceFlush_ == ticksPerFlush) {
        ticksSinceFlush_ = 0;
        flush();
    }
    return total;
}

} // namespace keysong
