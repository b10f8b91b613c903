#pragma once

#include "Platform/InputSource.h"

#include <vector>

namespace keysong::listener {

/// What the hardware holds, by the events that came of it: when they cease to come, it is let go of. One
/// thread. Allocates only when more is held than ever before.
class HeldInput {
  public:
    void note(const RawEvent& event);
    /// Calls `emit` with a release for each press that has none.
    void releaseAll(const RawEventHandler& emit);

  private:
    /// The release of each.
    std::vector<RawEvent> releases_;
};

} // namespace keysong::listener
