#include "Platform/linux/AudioOutputFactories.h"

#include "Platform/Virtual/VirtualOutput.h"
#include "Platform/linux/AlsaOutput.h"
#include "Platform/linux/PipeWireOutput.h"
#include "Shared/Log.h"

#include <algorithm>
#include <string>

namespace keysong {

namespace {

/// A server that is there answers in a few milliseconds; one that starts with the session gets time to find
/// the devices, or the one that the user chose would count as unplugged.
constexpr std::chrono::milliseconds answerLimit{2000};

std::unique_ptr<AudioOutput> makePipeWireOutput() {
    auto output = std::make_unique<PipeWireOutput>();
    output->waitUntilReady(answerLimit);
    return output;
}

} // namespace

std::vector<std::function<std::unique_ptr<AudioOutput>()>>
audioOutputFactories(const Places& places, Threads& threads, const Clock& clock) {
    struct Named {
        const char* name;
        std::function<std::unique_ptr<AudioOutput>()> make;
    };
    const std::vector<Named> all = {
        {"pipewire", makePipeWireOutput},
        {"alsa", [&threads, &clock] { return std::make_unique<AlsaOutput>(threads, clock); }},
        {"virtual", [&threads, &clock] { return std::make_unique<VirtualOutput>(threads, clock); }}};
    const std::string wish = places.environment("KEYSONG_OUTPUT").value_or("");
    const bool forced =
        std::any_of(all.begin(), all.end(), [&](const Named& output) { return output.name == wish; });
    if (!wish.empty() && !forced) {
        log.error("KEYSONG_OUTPUT=%{public}s is not an output, choosing one", wish);
    }
    std::vector<std::function<std::unique_ptr<AudioOutput>()>> factories;
    for (const Named& output : all) {
        if (!forced || output.name == wish) {
            factories.push_back(output.make);
        }
    }
    return factories;
}

} // namespace keysong
