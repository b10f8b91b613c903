#pragma once

namespace keysong {

/// Makes the heap give what is freed back to the system. Call once, first in the program.
///
/// A sound set is a hundred pieces of some ten thousand bytes, decoded on a thread of its own beside small
/// things that stay. By default the heap keeps such pieces in one place with everything else, keeps more the
/// larger the pieces were, and has one such place for each thread: after some sets were tried it holds
/// megabytes that nobody uses. Pieces from `largeBytes` on now come straight from the system and return to it
/// when they are freed.
void keepHeapSmall() noexcept;

/// Gives the system what the heap holds and nobody uses, also between pieces in use. Takes up to some
/// milliseconds, during which other threads that allocate may wait. Not on the render or event-tap thread.
void returnFreeMemory() noexcept;

/// From which size on a piece is the system's own. Below it, the waste in the last page would count.
inline constexpr int largeBytes = 16 * 1024;

} // namespace keysong
