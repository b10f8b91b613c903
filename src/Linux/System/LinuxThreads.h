#pragma once

#include "Platform/Threads.h"

namespace keysong {

/// Threads with a kernel-visible name and, where the machine grants it, a raised priority.
class LinuxThreads final : public Threads {
  public:
    [[nodiscard]] std::thread start(ThreadAttributes attributes, std::function<void()> body) override;
};

} // namespace keysong
