#pragma once

#include "Linux/Sound/PipeWireSession.h"
#include "Platform/MicrophoneUse.h"
#include "Shared/TaskQueue.h"

#include <atomic>
#include <functional>
#include <memory>

namespace keysong {

/// Learns from the sound server whether an application captures from a source. Has a connection, and with it
/// a thread, only while it watches. What is captured is never heard here: only the server's list of links is
/// read.
class PipeWireMicrophone final : public MicrophoneUse {
  public:
    /// The queue outlives this object and runs its tasks on the main thread.
    explicit PipeWireMicrophone(TaskQueue& mainQueue);
    ~PipeWireMicrophone() override;

    void setWatching(bool watching) override;
    [[nodiscard]] bool isInUse() const override { return inUse_; }
    void setChangeHandler(std::function<void()> handler) override;

  private:
    /// On the session's thread, its lock held.
    void look();
    /// On the main thread.
    void setInUse(bool inUse);

    TaskQueue& mainQueue_;
    std::function<void()> changed_;
    bool inUse_ = false;
    /// What was told to the main thread last; the session's thread.
    bool told_ = false;
    /// Renewed whenever watching begins or ends: what was told before is then void.
    std::shared_ptr<const int> watch_;
    /// The session as its own thread sees it, to the very end of its life.
    PipeWireSession* watched_ = nullptr;
    std::unique_ptr<PipeWireSession> session_;
};

} // namespace keysong
