#pragma once

#include "Linux/System/FileDescriptor.h"

#include <sys/types.h>

#include <filesystem>
#include <optional>

namespace keysong {

/// The right to store the user's settings, which one process at a time has: an advisory lock on the folder
/// in which they lie. The kernel takes it back when the process ends, however it ends.
///
/// One thread at a time; never waits.
class SettingsLock {
  public:
    enum class Outcome {
        /// This process has the right, until the lock is destroyed.
        held,
        /// Another process has it.
        taken,
        /// Nobody can have it: there is no such folder and none can be made, or its file system has no locks.
        impossible,
    };

    /// `folder` is made with the first `take`; an empty one is locked by nobody.
    explicit SettingsLock(std::filesystem::path folder);

    /// Asks for the right; does nothing when this lock has it.
    [[nodiscard]] Outcome take();

    /// The process that has the right, as far as the system tells.
    [[nodiscard]] std::optional<pid_t> holder() const;

  private:
    const std::filesystem::path folder_;
    FileDescriptor descriptor_;
    bool isHeld_ = false;
};

} // namespace keysong
