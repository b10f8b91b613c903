#pragma once

#include "Linux/Files/IcuTextOrder.h"
#include "Linux/Files/LinuxDurableFiles.h"
#include "Linux/Files/LinuxPlaces.h"
#include "Linux/System/LinuxMemoryLock.h"
#include "Linux/System/LinuxThreads.h"
#include "Linux/System/MonotonicClock.h"
#include "Platform/AudioOutput.h"
#include "Program/GuardedFiles.h"

#include <memory>

namespace keysong {

/// The machine's services, made once for the process.
struct Machine {
    LinuxPlaces places;
    LinuxThreads threads;
    LinuxMemoryLock memoryLock;
    MonotonicClock clock;
    IcuTextOrder textOrder{places};
    GuardedFiles files{places};
    LinuxDurableFiles durableFiles;

    /// The best sound output of this machine, the built-in virtual one when there is no other.
    /// `KEYSONG_OUTPUT` ("pipewire", "alsa" or "virtual") leaves only one; another value is logged and leaves
    /// all. Returns at once: which one it is shows when it starts, and none at all fails there.
    [[nodiscard]] std::unique_ptr<AudioOutput> makeOutput();
};

} // namespace keysong
