#pragma once

#include "Platform/Clock.h"

namespace keysong {

/// CLOCK_MONOTONIC, the clock of PipeWire's cycles and of kernel input events.
class MonotonicClock final : public Clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const noexcept override;
};

} // namespace keysong
