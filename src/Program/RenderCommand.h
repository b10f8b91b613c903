#pragma once

#include "Platform/AudioFile.h"
#include "Platform/Places.h"
#include "Platform/TextOrder.h"
#include "Platform/Threads.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace keysong {

/// What `keysongctl render` was asked for.
struct RenderOptions {
    std::filesystem::path eventLog;
    /// A set's identifier or a set's folder; empty takes the first installed set.
    std::string set;
    std::uint64_t seed = 1;
    float tone = 0;
    float body = 0;
    float volume = 1;
    bool spatial = true;
    std::filesystem::path output;
};

/// Turns an event log of input events into sound without a sound card and without real time: the same key
/// table, decoder, engine and mixer, on an output stepped by hand. Recorded time 0 is frame 0, and a hit
/// starts 128 frames after its event, on its sample. The same seed gives the same bytes.
class RenderCommand {
  public:
    /// The services outlive the command.
    RenderCommand(Threads& threads, const Places& places, const TextOrder& textOrder,
                  const AudioFiles& audioFiles);

    /// Renders and writes a stereo WAV file of 32-bit floats; a partial file is removed again. Shows a
    /// progress bar on a terminal for long logs. Throws std::runtime_error with the reason in words.
    void run(const RenderOptions& options) const;

  private:
    [[nodiscard]] std::filesystem::path findSet(const std::string& wanted) const;

    Threads& threads_;
    const Places& places_;
    const TextOrder& textOrder_;
    const AudioFiles& audioFiles_;
};

} // namespace keysong
