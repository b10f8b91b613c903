#pragma once

#include "Platform/Termination.h"

#include <csignal>

namespace keysong {

/// SIGTERM, SIGINT and SIGHUP, taken synchronously: no handler ever interrupts the program's work.
///
/// Construct it on the main thread before any other thread starts, so that every thread leaves the signals
/// to the one that waits.
class TerminationSignals final : public Termination {
  public:
    TerminationSignals();

    [[nodiscard]] bool waitFor(std::chrono::nanoseconds limit) override;
    void wait() override;

  private:
    sigset_t signals_{};
};

} // namespace keysong
