#include "Program/Machine.h"

#include "Audio/FallbackOutput.h"
#include "Platform/linux/AudioOutputFactories.h"
#include "Shared/SerialQueue.h"

namespace keysong {

std::unique_ptr<AudioOutput> Machine::makeOutput() {
    return std::make_unique<FallbackOutput>(
        audioOutputFactories(places, threads, clock),
        std::make_unique<SerialQueue>(threads, ThreadAttributes{"com.orlen.keysong.output", "output"}));
}

} // namespace keysong
