#pragma once

#include <functional>

namespace keysong {

/// Whether some application captures a microphone, or what the speakers play, right now. Main thread.
class CaptureUse {
  public:
    virtual ~CaptureUse() = default;

    /// Begins the watching, and calls this on the main thread after each change of `isInUse`. An empty one
    /// ends both; nothing is in use while nobody watches.
    virtual void watch(std::function<void()> changed) = 0;
    [[nodiscard]] virtual bool isInUse() const = 0;

  protected:
    CaptureUse() = default;
    CaptureUse(const CaptureUse&) = default;
    CaptureUse& operator=(const CaptureUse&) = default;
};

} // namespace keysong
