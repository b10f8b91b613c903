#pragma once

#include "App/KeyBitmap.h"
#include "Shared/Mutex.h"
#include "Shared/SoundEvent.h"

#include <cstdint>

namespace keysong {

/// The keys that are held right now, for the keyboard on the screen. Records only while somebody watches.
///
/// `record` runs on the event-tap thread, everything else on the main thread; neither allocates, and each
/// of the two locks is held for a few instructions.
class KeyMonitor {
  public:
    struct State {
        /// The codes of the keys that are held.
        KeyBitmap down{};
        /// Rises by one, wrapping, with every recorded key event and every clearing.
        std::uint64_t generation = 0;
    };

    /// The process-wide instance.
    static KeyMonitor& shared();

    /// Notes a key event with a code up to 255; ignores every other event, and all while nobody watches.
    void record(const SoundEvent& event) KEYSONG_EXCLUDES(stateLock_, watchingLock_);

    /// Starts or ends the watching. Ending it releases every key, also one whose release never came.
    void setWatching(bool watching) KEYSONG_EXCLUDES(stateLock_, watchingLock_);

    /// A copy of the state.
    [[nodiscard]] State snapshot() const KEYSONG_EXCLUDES(stateLock_);

  private:
    /// The two locks are never nested.
    mutable Mutex watchingLock_;
    bool watching_ KEYSONG_GUARDED_BY(watchingLock_) = false;
    mutable Mutex stateLock_;
    State state_ KEYSONG_GUARDED_BY(stateLock_);
};

} // namespace keysong
