#include "Program/Machine.h"

#include "Audio/FallbackOutput.h"
#include "Shared/Log.h"
#include "Shared/SerialQueue.h"

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "Linux/Sound/AudioOutputFactories.h"
#include "Virtual/VirtualOutput.h"

namespace keysong {

std::unique_ptr<AudioOutput> Machine::makeOutput() {
    std::vector<NamedOutput> all = audioOutputFactories(threads, clock);
    all.push_back({"virtual", [this] { return std::make_unique<VirtualOutput>(threads, clock); }});
    const std::string wish = places.environment("KEYSONG_OUTPUT").value_or("");
    const bool forced =
        std::any_of(all.begin(), all.end(), [&](const NamedOutput& output) { return output.name == wish; });
    if (!wish.empty() && !forced) {
        log.error("KEYSONG_OUTPUT=%{public}s is not an output, choosing one", wish);
    }
    std::vector<std::function<std::unique_ptr<AudioOutput>()>> factories;
    for (const NamedOutput& output : all) {
        if (!forced || output.name == wish) {
            factories.push_back(output.make);
        }
    }
    return std::make_unique<FallbackOutput>(
        std::move(factories),
        std::make_unique<SerialQueue>(threads, ThreadAttributes{"com.orlen.keysong.output", "output"}));
}

} // namespace keysong
