#pragma once

#include "Platform/MemoryLock.h"
#include "Shared/Mutex.h"

#include <vector>

namespace keysong {

/// Memory held by mlock, within RLIMIT_MEMLOCK. The kernel locks whole pages and does not count: where a hold
/// ends, pages that it shares with others are locked again for them.
class LinuxMemoryLock final : public MemoryLock {
  public:
    [[nodiscard]] std::unique_ptr<MemoryHold>
    hold(std::span<const std::span<const std::byte>> pieces) override KEYSONG_EXCLUDES(mutex_);

  private:
    class Hold;

    /// Unlocks the pages of a hold, the last of `holds_` or not one of them any more.
    void unlock(const Hold& hold) KEYSONG_REQUIRES(mutex_);

    Mutex mutex_;
    std::vector<const Hold*> holds_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong
