#pragma once

#include <functional>

namespace keysong {

/// Stores what is not stored yet when the process is ended from within: the window toolkit does that by
/// itself when the display server goes away. Then nothing else is torn down, since other threads still work.
/// Main thread; at most one at a time.
class LastFlush final {
  public:
    explicit LastFlush(std::function<void()> flush);
    /// From here on the process ends without it.
    ~LastFlush();
    LastFlush(const LastFlush&) = delete;
    LastFlush& operator=(const LastFlush&) = delete;
};

} // namespace keysong
