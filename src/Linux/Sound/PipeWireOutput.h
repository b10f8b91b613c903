#pragma once

#include "Linux/Sound/PipeWireSession.h"
#include "Platform/AudioOutput.h"
#include "Platform/DeviceListeners.h"

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
class PipeWireOutput final : public AudioOutput, private AudioDevices {
  public:
    /// Tries to reach a server at once. Throws `AudioOutputError` only when the client library fails.
    PipeWireOutput();
    ~PipeWireOutput() override;

    /// Waits at most this long for a server that is there to have a device; true when it has one. Returns at
    /// once when there is no server.
    bool waitUntilReady(std::chrono::milliseconds limit);

    [[nodiscard]] const char* backendName() const noexcept override { return "pipewire"; }
    void setRenderer(AudioRenderer* renderer) override { renderer_ = renderer; }
    std::int32_t requestBufferFrames(std::uint32_t frames) override;
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override;
    [[nodiscard]] double sampleRate() const override { return streamRate; }
    void start() override;
    void stop() noexcept override;
    /// Preparing while there is no sink or no session manager.
    [[nodiscard]] Readiness readiness() const override;
    [[nodiscard]] bool isRunning() const noexcept override { return running_; }
    [[nodiscard]] bool isRendering() const noexcept override;
    /// Pins the stream to the device until the next call, or takes the pin away. A running stream moves by
    /// itself. What somebody chose for the stream since, in a mixer, stands until the next call.
    std::int32_t setDevice(std::optional<AudioDeviceId> device) override;
    [[nodiscard]] bool isMovedBySystem() const noexcept override { return true; }
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override;
    void setConfigurationChangeHandler(std::function<void()> handler) override;
    [[nodiscard]] AudioDevices& devices() override { return *this; }

  private:
    static constexpr double streamRate = 48000;
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
    void logScheduling();
    void onSessionChange(PipeWireSession::Change change);
    void onStreamState(pw_stream_state state, const char* error);
    void reportChange();
    /// The readiness with the lock held.
    [[nodiscard]] Readiness readinessNow() const;
    /// Render thread.
    void process() noexcept;
    [[nodiscard]] IoCycle nextCycle(std::uint32_t frames) noexcept;

    AudioRenderer* renderer_ = nullptr;
    std::function<void()> configurationChanged_;
    DeviceListeners listeners_;

    std::atomic<std::uint32_t> requestedFrames_ = 128;
    /// Node name of the pinned device; empty follows the default.
    std::string pinned_;
    pw_stream* stream_ = nullptr;
    spa_hook streamListener_{};
    pw_stream_state streamState_ = PW_STREAM_STATE_UNCONNECTED;
    std::string streamError_;
    /// The node that the stream fed last, to tell a move from a first link.
    std::optional<std::uint32_t> lastLinked_;
    /// Whether the stream was pointed at its pinned device.
    bool isPointed_ = false;
    bool schedulingLogged_ = false;

    std::atomic<bool> running_ = false;
    std::atomic<spa_io_position*> position_ = nullptr;
    std::atomic<std::uint32_t> grantedFrames_ = 0;
    std::atomic<std::uint32_t> graphRate_ = 0;
    /// When the last period was asked for, on the monotonic clock.
    std::atomic<std::int64_t> lastPeriod_ = 0;
    // The render thread's own: the server's cycle that was begun last, and how much of it was delivered.
    std::int64_t cycleStart_ = 0;
    std::uint64_t cycleFrames_ = 0;
    /// -1 until the render thread has said how it is scheduled.
    std::atomic<int> schedulingPolicy_ = -1;

    /// Last to come, first to go: its thread calls into all of the above.
    std::unique_ptr<PipeWireSession> session_;
};

} // namespace keysong
