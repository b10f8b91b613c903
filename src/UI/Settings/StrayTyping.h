#pragma once

class QKeyEvent;

namespace keysong {

/// Whether a key press types text: a printable character, without a modifier that makes a command of it, or
/// the erasing of the last one. Main thread.
[[nodiscard]] bool isStrayTyping(const QKeyEvent& event);

} // namespace keysong
