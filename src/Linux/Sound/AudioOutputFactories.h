#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Threads.h"

#include <vector>

namespace keysong {

/// The sound outputs of this system, the best first: PipeWire, ALSA. The references outlive the outputs.
/// Main thread.
[[nodiscard]] std::vector<NamedOutput> audioOutputFactories(Threads& threads, const Clock& clock);

} // namespace keysong
