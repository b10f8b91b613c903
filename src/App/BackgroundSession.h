#pragma once

#include "Audio/SoundEngine.h"
#include "Input/EventTap.h"
#include "Platform/AudioFile.h"
#include "Platform/InputSource.h"
#include "Platform/Places.h"
#include "Platform/Termination.h"
#include "Platform/TextOrder.h"
#include "Platform/Threads.h"

namespace keysong {

/// The program without windows: the engine, the first installed set and the event tap, from start to the
/// request to end. Main thread.
class BackgroundSession {
  public:
    /// Everything given outlives the session.
    struct Services {
        SoundEngine& engine;
        InputSource& input;
        Threads& threads;
        const Places& places;
        const TextOrder& textOrder;
        const AudioFiles& audioFiles;
        Termination& termination;
    };

    explicit BackgroundSession(const Services& services);

    /// Starts what can be started, logs what cannot, and returns when the program is asked to end. Without
    /// the right to listen it waits for it and begins to sound within a second of its coming.
    void run();

  private:
    void startEngine();
    void loadFirstSet();
    /// True when the tap runs; a failure is logged only when it differs from the last one.
    bool startTap();

    Services services_;
    EventTap tap_;
    std::string lastTapError_;
};

} // namespace keysong
