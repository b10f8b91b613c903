#pragma once

#include "Linux/System/FileDescriptor.h"

namespace keysong {

/// The requests by which a desktop or a person ends the program: SIGTERM, SIGINT and SIGHUP, as a descriptor
/// that becomes readable. No handler ever interrupts the program's work.
///
/// Construct it on the main thread before any other thread starts, so that every thread leaves the signals
/// to it.
class TerminationSignals {
  public:
    /// Throws std::system_error when the machine has no descriptor left.
    TerminationSignals();

    /// Readable once the program was asked to end. For the main thread's event loop.
    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

    /// Whether the program was asked to end. Never waits; the main thread.
    [[nodiscard]] bool areRequested() const noexcept;

  private:
    FileDescriptor descriptor_;
};

} // namespace keysong
