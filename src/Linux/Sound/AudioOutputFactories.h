#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Threads.h"

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace keysong {

/// One way to sound, by the name that the user chooses it with.
struct NamedOutput {
    std::string_view name;
    /// Throws `AudioOutputError` where the back end cannot be had.
    std::function<std::unique_ptr<AudioOutput>()> make;
};

/// The sound outputs of this system, the best first: PipeWire, ALSA. The references outlive the outputs.
/// Main thread.
[[nodiscard]] std::vector<NamedOutput> audioOutputFactories(Threads& threads, const Clock& clock);

} // namespace keysong
