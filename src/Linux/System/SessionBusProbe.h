#pragma once

#include <chrono>

namespace keysong {

/// Whether the session's message bus lets a client in within `limit`. A bus that accepts connections and
/// never answers would hold a client library for as long as that library likes to wait; this tells before.
/// Waits up to `limit`. Any thread but the render and event-tap threads.
[[nodiscard]] bool sessionBusAnswers(std::chrono::milliseconds limit);

} // namespace keysong
