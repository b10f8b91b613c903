#include "Program/Machine.h"

#include "Audio/FallbackOutput.h"
#include "Linux/Sound/AudioOutputFactories.h"
#include "Shared/SerialQueue.h"
#include "Virtual/VirtualOutput.h"

#include <vector>

namespace keysong {

std::unique_ptr<AudioOutput> Machine::makeOutput() {
    std::vector<NamedOutput> all = audioOutputFactories(threads, clock);
    all.push_back({"virtual", [this] { return std::make_unique<VirtualOutput>(threads, clock); }});
    return std::make_unique<FallbackOutput>(
        FallbackOutput::chosen(all, places.environment("KEYSONG_OUTPUT").value_or("")),
        std::make_unique<SerialQueue>(threads, ThreadAttributes{"com.orlen.keysong.output", "output"}));
}

} // namespace keysong
