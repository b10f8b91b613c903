#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <string>

namespace keysong {

/// What is asked of RealtimeKit.
struct RealtimeRequest {
    /// A thread of this process, by the kernel's number.
    pid_t thread = 0;
    /// Real-time priority, from 1; less is taken where no more is granted.
    int priority = 1;
};

/// Asks for a thread to run in real time, or at least before others: RealtimeKit on the system's bus, and
/// where that is not to be had the desktop's portal on the session's. Returns what was granted, in words for
/// the log: "real-time priority 19 from RealtimeKit".
///
/// Sets the process's limit of time in real time first, as both demand (`limitRealtime`).
///
/// Waits up to `limit` for each of the two, less once `cancelled` is true: on a thread for which nobody
/// waits.
[[nodiscard]] std::string askForRealtime(const RealtimeRequest& request, std::chrono::milliseconds limit,
                                         const std::atomic<bool>& cancelled);

} // namespace keysong
