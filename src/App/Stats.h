#pragma once

#include "App/Preferences.h"
#include "Shared/Mutex.h"

#include <atomic>
#include <cstdint>
#include <optional>

namespace keysong {

/// Counts key presses across launches. Only their number is kept.
///
/// Make it after the preferences of older names were carried over, so that it goes on from their total.
class Stats {
  public:
    /// The total's preference key.
    static constexpr const char* key = "keysPressed";
    /// The number of ticks, one each second, from one stored total to the next.
    static constexpr int ticksPerFlush = 10;

    /// Goes on from the stored total, 0 where there is none. `preferences` outlives the counter.
    explicit Stats(Preferences& preferences);

    /// Counts a key press. Any thread; costs one atomic addition.
    void increment() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }

    /// The running total. Any thread.
    [[nodiscard]] std::int64_t count() const noexcept { return count_.load(std::memory_order_relaxed); }

    /// Hands the total to the preferences, which write it within their interval. Any thread but the render
    /// and event-tap threads.
    void flush() KEYSONG_EXCLUDES(persistence_);

    /// Sets the total to 0, which is on the disk when this returns. The next tick to flush is then the tenth
    /// from now. Any thread but the render and event-tap threads.
    void reset() KEYSONG_EXCLUDES(persistence_);

    /// Call it once a second on the main thread: every tenth call flushes, and returns the total that is
    /// stored.
    std::optional<std::int64_t> statsTick() KEYSONG_EXCLUDES(persistence_);

  private:
    static_assert(std::atomic<std::int64_t>::is_always_lock_free);

    Preferences& preferences_;
    std::atomic<std::int64_t> count_;
    /// Keeps the total of a flush from being stored after the zero of a reset.
    Mutex persistence_;
    int ticksSinceFlush_ KEYSONG_GUARDED_BY(persistence_) = 0;
};

} // namespace keysong
