#pragma once

#include <functional>
#include <string>
#include <thread>

namespace keysong {

/// How urgently the machine should run a thread.
enum class ThreadPriority {
    /// Ordinary work.
    normal,
    /// A person waits for the result of every wake-up: input delivery.
    userInteractive,
    /// A period of sound must be ready in time: threads that render.
    render,
};

struct ThreadAttributes {
    /// The full label, as it stands in the log and in documentation.
    std::string label;
    /// At most 15 bytes, shown by the machine's tools; longer names are cut.
    std::string shortName;
    ThreadPriority priority = ThreadPriority::normal;
};

/// Starts the program's threads, named and with their priority.
///
/// Any thread but the render thread. The caller owns the returned thread and joins it.
class Threads {
  public:
    virtual ~Threads() = default;

    /// Starts `body` on a new thread. The thread does not wait for its priority: it may come later, or never
    /// where the machine does not grant it. Throws std::system_error when no thread can be made.
    [[nodiscard]] virtual std::thread start(ThreadAttributes attributes, std::function<void()> body) = 0;

    /// Gives the calling thread, which somebody else has started, a priority in the same way; its name stays.
    /// Waits for nothing. Once for each thread, at its beginning.
    virtual void raiseThisThread(const ThreadAttributes& attributes) = 0;

  protected:
    Threads() = default;
    Threads(const Threads&) = default;
    Threads& operator=(const Threads&) = default;
};

} // namespace keysong
