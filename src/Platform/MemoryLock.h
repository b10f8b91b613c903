#pragma once

#include <cstddef>
#include <memory>
#include <span>

namespace keysong {

/// Memory that the machine leaves in place for as long as this lives. Destroyed before the memory is freed.
class MemoryHold {
  public:
    virtual ~MemoryHold() = default;

  protected:
    MemoryHold() = default;
    MemoryHold(const MemoryHold&) = default;
    MemoryHold& operator=(const MemoryHold&) = default;
};

/// Keeps memory that the render thread reads from being moved out to a disk, however long nobody plays: the
/// thread would have to wait for it.
///
/// Any thread but the render and event-tap threads; holds may end on any of them. Outlives its holds.
class MemoryLock {
  public:
    virtual ~MemoryLock() = default;

    /// Holds all the pieces, which may lie anywhere and beside those of other holds. Null when the machine
    /// does not allow that much: nothing is held then, which costs no more than a late sound on a machine
    /// that is short of memory.
    [[nodiscard]] virtual std::unique_ptr<MemoryHold>
    hold(std::span<const std::span<const std::byte>> pieces) = 0;

  protected:
    MemoryLock() = default;
    MemoryLock(const MemoryLock&) = default;
    MemoryLock& operator=(const MemoryLock&) = default;
};

} // namespace keysong
