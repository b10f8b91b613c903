#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Threads.h"

#include <vector>

namespace keysong {

/// Tells the name, icon and role of the program to sound servers that are reached through ALSA, which takes
/// them from the environment. What the user set there stays. Call before there is a second thread.
void introduceToSoundServers();

/// The sound outputs of this system, the best first: PipeWire, ALSA. The references outlive the outputs.
/// Main thread.
[[nodiscard]] std::vector<NamedOutput> audioOutputFactories(Threads& threads, const Clock& clock);

} // namespace keysong
