#pragma once

#include "Linux/Sound/PeriodLength.h"
#include "Linux/Sound/PipeWireLinks.h"
#include "Linux/Sound/PipeWireSession.h"
#include "Linux/Sound/PipeWireTimeline.h"
#include "Platform/AudioOutput.h"
#include "Platform/DeviceListeners.h"
#include "Platform/Threads.h"

#include <atomic>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// Sound through PipeWire's native stream: stereo float at 48 kHz, one period at a time on the server's own
/// timeline.
///
/// The server may die and come back: the output is then not running, and the configuration-change handler
/// is called at both moments, on the PipeWire loop's thread with its lock held: it must only hand the news
/// on. Without a sink `start` fails; the handler tells when one appeared.
///
/// On a machine that is too slow for the periods asked for they get longer until it is calm (`PeriodLength`).
/// At rest the stream is inactive: the server leaves it out of the graph. A stream that the session manager
/// leaves without a link is linked here after a while (`PipeWireLinks`), and one that its successor took over
/// and let stand still is made anew.
class PipeWireOutput final : public AudioOutput, private AudioDevices {
  public:
    /// Tries to reach a server at once. `threads`, which outlives the output, raises its render thread.
    /// Throws `AudioOutputError` only when the client library fails.
    explicit PipeWireOutput(Threads& threads);
    ~PipeWireOutput() override;

    /// Waits at most this long for a server that is there to have a device; true when it has one. Returns at
    /// once when there is no server.
    bool waitUntilReady(std::chrono::milliseconds limit);

    [[nodiscard]] const char* backendName() const noexcept override { return "pipewire"; }
    void setRenderer(AudioRenderer* renderer) override { renderer_ = renderer; }
    std::int32_t requestBufferFrames(std::uint32_t frames) override;
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override;
    [[nodiscard]] double sampleRate() const override { return PipeWireTimeline::streamRate; }
    void start() override;
    void stop() noexcept override;
    /// Preparing while there is no sink or no session manager.
    [[nodiscard]] Readiness readiness() const override;
    [[nodiscard]] bool isRunning() const noexcept override { return running_; }
    [[nodiscard]] bool isRendering() const noexcept override { return running_ && timeline_.isMoving(); }
    void setResting(bool resting) noexcept override;
    [[nodiscard]] std::uint64_t xruns() const noexcept override { return timeline_.xruns(); }
    /// Pins the stream to the device until the next call, or takes the pin away. A running stream moves by
    /// itself. What somebody chose for the stream since, in a mixer, stands until the next call.
    std::int32_t setDevice(std::optional<AudioDeviceId> device) override;
    [[nodiscard]] bool isMovedBySystem() const noexcept override { return true; }
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override;
    void setConfigurationChangeHandler(std::function<void()> handler) override;
    [[nodiscard]] AudioDevices& devices() override { return *this; }

  private:
    static const pw_stream_events streamEvents;

    // The device list.
    [[nodiscard]] std::vector<AudioDeviceId> deviceIds() const override;
    [[nodiscard]] std::uint32_t outputChannels(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::string> uid(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::string> name(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<double> nominalSampleRate(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::uint32_t> latencyFrames(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::uint32_t> safetyOffsetFrames(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<AudioDeviceId> defaultOutputDevice() const override;
    [[nodiscard]] bool isGone(std::string_view uid) const override;
    std::int32_t addListener(DeviceListProperty property,
                             std::shared_ptr<const ChangeHandler> handler) override;
    void removeListener(DeviceListProperty property,
                        const std::shared_ptr<const ChangeHandler>& handler) override;

    [[nodiscard]] std::optional<PipeWireSession::Node> node(AudioDeviceId device) const;
    /// The registry id of the node that our stream feeds.
    [[nodiscard]] std::optional<std::uint32_t> linkedNode() const;
    void createStream();
    void destroyStream() noexcept;
    void waitForStream();
    /// Tells the server where the stream belongs, if it does not know yet.
    void pointStream();
    /// Gives the client library's render thread its priority, once.
    void raiseRenderThread();
    void onSessionChange(PipeWireSession::Change change);
    void onStreamState(pw_stream_state state, const char* error);
    void reportChange();
    /// Sees to it that `checkStream` is called in a while; the second one only where something is amiss.
    void checkLater();
    void checkAfterChange();
    /// On the loop's thread: links a stream that nobody linked, and gives one up that stands still after the
    /// session manager was another.
    void checkStream();
    /// The registry id of the sink that the stream belongs on.
    [[nodiscard]] std::optional<std::uint32_t> targetNode() const;
    /// Lets the session manager's links be, where it made some after all.
    void yieldToManager();
    /// The stream is of no use any more.
    void loseStream(const char* reason);
    /// On the loop's thread: does what `setResting` wished last.
    void rest();
    /// On the loop's thread: looks whether the periods should be longer, or shorter again.
    void answerXruns();
    void shortenIfCalm();
    void applyPeriodLength();
    [[nodiscard]] std::string latency() const;
    /// The readiness with the lock held.
    [[nodiscard]] Readiness readinessNow() const;
    /// Render thread.
    void process() noexcept;

    Threads& threads_;
    AudioRenderer* renderer_ = nullptr;
    std::function<void()> configurationChanged_;
    DeviceListeners listeners_;

    PeriodLength periodLength_;
    /// Its frames, for every thread.
    std::atomic<std::uint32_t> requestedFrames_ = 128;
    std::uint64_t answeredXruns_ = 0;
    /// Node name of the pinned device; empty follows the default.
    std::string pinned_;
    pw_stream* stream_ = nullptr;
    spa_hook streamListener_{};
    pw_stream_state streamState_ = PW_STREAM_STATE_UNCONNECTED;
    std::string streamError_;
    /// The node that the stream fed last, to tell a move from a first link.
    std::optional<std::uint32_t> lastLinked_;
    /// Whether the server knows of the last choice, or there was none yet.
    bool isPointed_ = true;
    bool isRaised_ = false;

    std::atomic<bool> running_ = false;
    std::atomic<bool> restWished_ = false;
    /// Whether the stream was made inactive. With the lock.
    bool isAtRest_ = false;
    PipeWireTimeline timeline_;

    PipeWireLinks ownLinks_;
    /// Whether the stream had a link since it or the session manager came. Who takes that away means it.
    bool wasLinked_ = false;
    /// The session manager was another since the stream was looked at.
    bool hasNewManager_ = false;

    /// Last to come, first to go: its thread calls into all of the above.
    std::unique_ptr<PipeWireSession> session_;
    // Its loop's, which frees them.
    spa_source* restSource_ = nullptr;
    spa_source* xrunSource_ = nullptr;
    spa_source* calmTimer_ = nullptr;
    spa_source* checkTimer_ = nullptr;
};

} // namespace keysong
