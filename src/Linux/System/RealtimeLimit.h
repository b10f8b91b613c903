#pragma once

#include <chrono>

namespace keysong {

/// From now on a thread that computes in real time for longer than the process may (RLIMIT_RTTIME) loses its
/// real-time priority, and the program goes on: by itself the system would end it. That holds for threads of
/// libraries too: the kernel tells the thread that is at it. Any thread but the render thread, as often as
/// one likes.
void demoteAtRealtimeLimit();

/// Lets threads compute in real time no longer than `most` without a rest, as services that grant real-time
/// priority demand, and sees to it that they are demoted at half of that; at `most` itself the kernel ends
/// the program. A limit that is tighter already stays. False when the machine refuses. Any thread but the
/// render thread.
[[nodiscard]] bool limitRealtime(std::chrono::microseconds most);

} // namespace keysong
