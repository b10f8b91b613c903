#pragma once

#include "Audio/SampleBuffer.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace keysong {

/// One sound to be started, as it travels from the thread that asked for it to the render thread.
struct ScheduledHit {
    /// The monotonic time at which the sound was asked for.
    std::int64_t timeNanoseconds = 0;
    /// The voice that plays it, 0 to 15; what this voice still plays is cut off.
    std::uint32_t voice = 0;
    /// What to play. Stays alive for as long as `*inFlight` counts this hit.
    const SampleBuffer* buffer = nullptr;
    /// Playback rate factor, above 0.
    float rate = 1;
    /// Linear gain; may be above 1.
    float volume = 1;
    /// Decreased by one, with release order, once the hit is over: finished, faded out after being cut
    /// off, or discarded. May be null.
    std::atomic<std::uint32_t>* inFlight = nullptr;
};

/// A bounded queue of hits from any number of threads to the render thread.
///
/// Every cell carries a sequence number that says whose turn it is: a producer claims a position with one
/// compare-and-swap, fills the cell and passes it on; the consumer takes cells in order and never waits. A
/// producer that is suspended between the two steps only hides the hits behind it until it comes back.
class HitQueue {
  public:
    static constexpr std::size_t capacity = 256;

    HitQueue() noexcept {
        for (std::size_t index = 0; index < capacity; ++index) {
            cells_[index].turn.store(index, std::memory_order_relaxed);
        }
    }
    HitQueue(const HitQueue&) = delete;
    HitQueue& operator=(const HitQueue&) = delete;

    /// Takes a hit; false, with nothing changed, when the queue is full. Any thread, lock-free.
    [[nodiscard]] bool push(const ScheduledHit& hit) noexcept {
        std::uint64_t position = tail_.load(std::memory_order_relaxed);
        for (;;) {
            Cell& cell = cells_[position % capacity];
            const std::uint64_t turn = cell.turn.load(std::memory_order_acquire);
            if (turn == position) {
                if (tail_.compare_exchange_weak(position, position + 1, std::memory_order_relaxed)) {
                    cell.hit = hit;
                    cell.turn.store(position + 1, std::memory_order_release);
                    return true;
                }
            } else if (turn < position) {
                return false;
            } else {
                position = tail_.load(std::memory_order_relaxed);
            }
        }
    }

    /// The oldest hit, if there is one. Nothing of it stays here: when somebody typed shall not be found in
    /// memory. One thread at a time, wait-free.
    [[nodiscard]] std::optional<ScheduledHit> pop() noexcept {
        Cell& cell = cells_[head_ % capacity];
        if (cell.turn.load(std::memory_order_acquire) != head_ + 1) {
            return std::nullopt;
        }
        const ScheduledHit hit = std::exchange(cell.hit, ScheduledHit());
        cell.turn.store(head_ + capacity, std::memory_order_release);
        ++head_;
        return hit;
    }

  private:
    // Producers and the consumer each write their own cache lines.
    static constexpr std::size_t cacheLine = 64;

    struct alignas(cacheLine) Cell {
        std::atomic<std::uint64_t> turn = 0;
        ScheduledHit hit;
    };

    std::array<Cell, capacity> cells_;
    alignas(cacheLine) std::atomic<std::uint64_t> tail_ = 0;
    alignas(cacheLine) std::uint64_t head_ = 0;
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

} // namespace keysong
