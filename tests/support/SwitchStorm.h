#pragma once

#include "Audio/SoundEngine.h"

#include <string>
#include <vector>

namespace keysong::test {

/// Moves the engine between two devices this many times while two threads play 500 hits a second each,
/// with a configuration change now and then. Expects that nothing is lost for good: the engine runs, no hit
/// stays counted, the render thread did nothing it must not.
void runSwitchStorm(SoundEngine& engine, AudioOutput& output, const std::vector<std::string>& uids,
                    int switches);

} // namespace keysong::test
