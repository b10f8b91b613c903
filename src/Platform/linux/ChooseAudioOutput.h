#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Places.h"
#include "Platform/Threads.h"

#include <memory>

namespace keysong {

/// Chooses the sound output for this run: PipeWire where a server answers, else the built-in virtual output;
/// `KEYSONG_OUTPUT` ("pipewire", "alsa" or "virtual") forces one. Logs the choice. The references outlive the
/// output. Main thread.
[[nodiscard]] std::unique_ptr<AudioOutput> chooseAudioOutput(const Places& places, Threads& threads,
                                                             const Clock& clock);

} // namespace keysong
