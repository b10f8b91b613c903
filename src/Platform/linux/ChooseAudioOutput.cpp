#include "Platform/linux/ChooseAudioOutput.h"

#include "Platform/Virtual/VirtualOutput.h"
#include "Platform/linux/AlsaOutput.h"
#include "Platform/linux/PipeWireOutput.h"
#include "Shared/Log.h"

namespace keysong {

namespace {

/// A server that is there answers in a few milliseconds; one that is starting gets a little more.
constexpr std::chrono::milliseconds answerLimit{1000};

std::unique_ptr<AudioOutput> choose(const std::string& wish, Threads& threads, const Clock& clock) {
    if (wish == "alsa") {
        return std::make_unique<AlsaOutput>(threads, clock);
    }
    if (wish != "virtual") {
        try {
            auto output = std::make_unique<PipeWireOutput>();
            if (wish == "pipewire" || output->serverAnswers(answerLimit)) {
                return output;
            }
        } catch (const AudioOutputError& error) {
            log.error("PipeWire is not available: %{public}s", error.what());
        }
    }
    return std::make_unique<VirtualOutput>(threads, clock);
}

} // namespace

std::unique_ptr<AudioOutput> chooseAudioOutput(const Places& places, Threads& threads, const Clock& clock) {
    const std::string wish = places.environment("KEYSONG_OUTPUT").value_or("");
    if (!wish.empty() && wish != "pipewire" && wish != "alsa" && wish != "virtual") {
        log.error("KEYSONG_OUTPUT=%{public}s is not an output, choosing one", wish);
    }
    auto output = choose(wish, threads, clock);
    log.notice("sound output %{public}s", output->backendName());
    return output;
}

} // namespace keysong
