#pragma once

#include <chrono>

namespace keysong {

/// The requests by which a desktop or a person ends the program (SIGTERM, SIGINT, SIGHUP on Linux).
class Termination {
  public:
    virtual ~Termination() = default;

    /// Waits until the program is asked to end, at most for `limit`; true when it was. Main thread.
    [[nodiscard]] virtual bool waitFor(std::chrono::nanoseconds limit) = 0;

    /// Waits until the program is asked to end. Main thread.
    virtual void wait() = 0;

  protected:
    Termination() = default;
    Termination(const Termination&) = default;
    Termination& operator=(const Termination&) = default;
};

} // namespace keysong
