#include "Linux/Sound/AudioOutputFactories.h"

#include "Linux/Sound/AlsaOutput.h"
#include "Linux/Sound/PipeWireOutput.h"

namespace keysong {

void introduceToSoundServers() {
    // PulseAudio's client reads it, also from within ALSA's plugin, which would name the program after
    // itself.
    setenv("PULSE_PROP_OVERRIDE",
           "application.name=Keysong application.id=com.orlen.keysong "
           "application.icon_name=com.orlen.keysong media.role=event",
           0);
}

namespace {

/// A server that is there answers in a few milliseconds; one that starts with the session gets time to find
/// the devices, or the one that the user chose would count as unplugged.
constexpr std::chrono::milliseconds answerLimit{2000};

std::unique_ptr<AudioOutput> makePipeWireOutput(Threads& threads) {
    auto output = std::make_unique<PipeWireOutput>(threads);
    output->waitUntilReady(answerLimit);
    return output;
}

} // namespace

std::vector<NamedOutput> audioOutputFactories(Threads& threads, const Clock& clock) {
    return {{"pipewire", [&threads] { return makePipeWireOutput(threads); }},
            {"alsa", [&threads, &clock] { return std::make_unique<AlsaOutput>(threads, clock); }}};
}

} // namespace keysong
