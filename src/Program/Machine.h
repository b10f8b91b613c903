#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/linux/IcuTextOrder.h"
#include "Platform/linux/LinuxDurableFiles.h"
#include "Platform/linux/LinuxPlaces.h"
#include "Platform/linux/LinuxThreads.h"
#include "Platform/linux/MonotonicClock.h"
#include "Platform/linux/SndfileAudio.h"

#include <memory>

namespace keysong {

/// The machine's services, made once for the process.
struct Machine {
    LinuxPlaces places;
    LinuxThreads threads;
    MonotonicClock clock;
    IcuTextOrder textOrder{places};
    SndfileAudio audioFiles;
    LinuxDurableFiles durableFiles;

    /// The best sound output of this machine. Throws `AudioOutputError` when there is none at all.
    [[nodiscard]] std::unique_ptr<AudioOutput> makeOutput();
};

} // namespace keysong
