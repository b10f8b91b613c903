#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Places.h"
#include "Platform/Threads.h"

#include <functional>
#include <memory>
#include <vector>

namespace keysong {

/// The sound outputs of this system, the best first: PipeWire, ALSA, the built-in virtual output.
/// `KEYSONG_OUTPUT` ("pipewire", "alsa" or "virtual") leaves only one; another value is logged and leaves
/// all. A factory throws `AudioOutputError` where the back end cannot be had. The references outlive the
/// outputs. Main thread.
[[nodiscard]] std::vector<std::function<std::unique_ptr<AudioOutput>()>>
audioOutputFactories(const Places& places, Threads& threads, const Clock& clock);

} // namespace keysong
