#pragma once

#include <functional>

namespace keysong {

/// Whether some application listens to a microphone right now. Main thread.
class MicrophoneUse {
  public:
    virtual ~MicrophoneUse() = default;

    /// Begins or ends the watching; nothing runs and nothing is in use while it is off. Off at first.
    virtual void setWatching(bool watching) = 0;
    [[nodiscard]] virtual bool isInUse() const = 0;
    /// Called on the main thread after each change of `isInUse`. An empty one ends the calls.
    virtual void setChangeHandler(std::function<void()> handler) = 0;

  protected:
    MicrophoneUse() = default;
    MicrophoneUse(const MicrophoneUse&) = default;
    MicrophoneUse& operator=(const MicrophoneUse&) = default;
};

} // namespace keysong
