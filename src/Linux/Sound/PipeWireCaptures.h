#pragma once

#include "Linux/Sound/PipeWireListener.h"
#include "Linux/Sound/PipeWireSession.h"
#include "Platform/CaptureUse.h"
#include "Shared/TaskQueue.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace keysong {

/// Learns from the sound server whether an application captures a microphone, an output's monitor or the
/// program's own stream. Nothing is heard here: it reads the server's list of links, and what the nodes
/// where such links end say of themselves (`PipeWireListener`).
///
/// What plays on another output counts too: where the sound goes to changes, and a monitor may feed another.
/// Nothing is known where there is no PipeWire.
///
/// Has a connection, and with it a thread, while it watches. The thread wakes when the server's objects
/// change or, while there is no server, where its socket should be; else it sleeps.
class PipeWireCaptures final : public CaptureUse {
  public:
    /// The queue outlives this object and runs its tasks on the main thread.
    explicit PipeWireCaptures(TaskQueue& mainQueue);
    ~PipeWireCaptures() override;

    void watch(std::function<void()> changed) override;
    [[nodiscard]] bool isInUse() const override { return inUse_; }

  private:
    void start();
    void stop();
    /// On the session's thread, its lock held, as is the next.
    void look();
    void tell();
    /// On the main thread.
    void setInUse(bool inUse);

    TaskQueue& mainQueue_;
    std::function<void()> changed_;
    bool inUse_ = false;
    /// Renewed whenever watching begins or ends: what was told before is then void.
    std::shared_ptr<const int> watch_;

    // The session's thread's own.
    /// By registry id, the nodes that sound flows into from where it can be captured.
    std::map<std::uint32_t, std::unique_ptr<PipeWireListener>> listeners_;
    /// What was told to the main thread last.
    bool told_ = false;
    /// The session as its own thread sees it, to the very end of its life.
    PipeWireSession* watched_ = nullptr;

    std::unique_ptr<PipeWireSession> session_;
};

} // namespace keysong
