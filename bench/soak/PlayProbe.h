#pragma once

#include <chrono>
#include <optional>

namespace keysong::bench {

/// Waits until a plain program's new stream, which asks for nothing in particular, is asked for sound: from
/// then on the server is able. A stream that gets nothing is joined by a fresh one from time to time. Returns
/// the time of the first period, or nothing when the limit passed. Any thread.
[[nodiscard]] std::optional<std::chrono::nanoseconds> waitUntilPlayable(std::chrono::milliseconds limit);

} // namespace keysong::bench
