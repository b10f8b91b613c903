#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// One period of a sound output, as the render thread is asked to fill it.
struct IoCycle {
    /// The time on the monotonic clock at which this cycle begins. Cycles follow each other on the
    /// output's own timeline: a late wake-up does not move it.
    std::int64_t startNanoseconds = 0;
    /// Duration of one frame by the device's own clock.
    double nanosecondsPerFrame = 1e9 / 48000.0;
    /// How many frames to fill, at least 1.
    std::uint32_t frameCount = 0;
    /// The output rested until this cycle: hits may have waited for it to wake up.
    bool isFirstAfterRest = false;
};

/// Fills the output's periods.
class AudioRenderer {
  public:
    virtual ~AudioRenderer() = default;

    /// Writes `cycle.frameCount` frames to each of the two channels, overwriting what is there. Called on
    /// the render thread, one call at a time. The body must be real-time safe: no heap, lock, wait, log,
    /// file or exception.
    virtual void render(const IoCycle& cycle, float* left, float* right) noexcept = 0;

  protected:
    AudioRenderer() = default;
    AudioRenderer(const AudioRenderer&) = default;
    AudioRenderer& operator=(const AudioRenderer&) = default;
};

/// A device's number, valid only while the program runs; 0 is no device.
using AudioDeviceId = std::uint32_t;

/// What a device listener can be told about. The numbers stand in the log: four characters each, "dOut" and
/// "dev#".
enum class DeviceListProperty : std::uint32_t {
    defaultOutputDevice = 0x644F7574,
    devices = 0x64657623,
};

/// The machine's sound devices, asked afresh on every call: callers must not cache answers.
///
/// Any thread but the render thread. Every failure reads as absence.
class AudioDevices {
  public:
    using ChangeHandler = std::function<void()>;

    virtual ~AudioDevices() = default;

    /// All devices, capture-only ones included, in the system's order.
    [[nodiscard]] virtual std::vector<AudioDeviceId> deviceIds() const = 0;
    /// Number of output channels, 0 for a device that cannot play.
    [[nodiscard]] virtual std::uint32_t outputChannels(AudioDeviceId device) const = 0;
    /// The persistent identifier, stable across runs.
    [[nodiscard]] virtual std::optional<std::string> uid(AudioDeviceId device) const = 0;
    /// The name to show a person.
    [[nodiscard]] virtual std::optional<std::string> name(AudioDeviceId device) const = 0;
    /// The rate at which the device runs, in Hz.
    [[nodiscard]] virtual std::optional<double> nominalSampleRate(AudioDeviceId device) const = 0;
    /// Frames from the device's buffer to the air, as far as the system knows.
    [[nodiscard]] virtual std::optional<std::uint32_t> latencyFrames(AudioDeviceId device) const = 0;
    /// Frames that the system keeps ahead of the device.
    [[nodiscard]] virtual std::optional<std::uint32_t> safetyOffsetFrames(AudioDeviceId device) const = 0;
    /// The device that the system plays to when nobody chose one.
    [[nodiscard]] virtual std::optional<AudioDeviceId> defaultOutputDevice() const = 0;

    /// Whether the device of this identifier is known not to be there: the sound system that gave the
    /// identifier is whole and does not list it. False while a server or whoever finds its devices is away,
    /// and for identifiers of another sound system.
    [[nodiscard]] virtual bool isGone(std::string_view uid) const = 0;

    /// Calls `*handler` on a thread of the implementation after each change of `property`, until the same
    /// handler is removed. Returns 0, or the status of a refusal. The implementation holds the handler
    /// weakly or drops it on removal; a call under way may still end after `removeListener` returned.
    virtual std::int32_t addListener(DeviceListProperty property,
                                     std::shared_ptr<const ChangeHandler> handler) = 0;
    virtual void removeListener(DeviceListProperty property,
                                const std::shared_ptr<const ChangeHandler>& handler) = 0;

  protected:
    AudioDevices() = default;
    AudioDevices(const AudioDevices&) = default;
    AudioDevices& operator=(const AudioDevices&) = default;
};

/// A sound output did not start; `what()` says why in words for the log.
class AudioOutputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// How far a sound system is.
enum class Readiness {
    /// Nobody answers.
    absent,
    /// It answers, and has nothing to play on yet.
    preparing,
    /// It has a device to play on.
    ready,
};

/// One sound output back end: it can be started, stopped and pointed at another device, and it asks its
/// renderer for every period.
///
/// Control operations are called by one thread at a time (the engine's control queue), never by the
/// render thread.
class AudioOutput {
  public:
    virtual ~AudioOutput() = default;

    /// A short name for the log: "pipewire", "virtual".
    [[nodiscard]] virtual const char* backendName() const noexcept = 0;

    /// Who fills the periods. Call while stopped; null detaches. The renderer outlives its attachment.
    virtual void setRenderer(AudioRenderer* renderer) = 0;

    /// Asks for periods of this many frames from the next start on, and of the running stream where the
    /// system can change it. Returns 0, or the status of a refusal.
    virtual std::int32_t requestBufferFrames(std::uint32_t frames) = 0;

    /// The period length in force, or the one that the next start will ask for; none when there is none.
    [[nodiscard]] virtual std::optional<std::uint32_t> bufferFrames() const = 0;

    /// The rate of the frames that the renderer delivers, in Hz. Fixed while running.
    [[nodiscard]] virtual double sampleRate() const = 0;

    /// Starts asking the renderer for periods; returns once the output runs. Throws `AudioOutputError`.
    /// Does nothing when running.
    virtual void start() = 0;

    /// Stops; on return the renderer is not being called and will not be. Does nothing when stopped.
    virtual void stop() noexcept = 0;

    /// How far the sound system behind the back end is. A change is a configuration change. Any thread but
    /// the render thread.
    [[nodiscard]] virtual Readiness readiness() const = 0;

    /// Whether the back end really runs, as the back end knows: false again once the server died or the
    /// device went. Any thread.
    [[nodiscard]] virtual bool isRunning() const noexcept = 0;

    /// Whether the running output renders: false too while a server that stands still asks for nothing. Any
    /// thread; never waits.
    [[nodiscard]] virtual bool isRendering() const noexcept { return isRunning(); }

    /// Lets a running output rest, or go on. At rest it asks for no periods, costs nothing and lets the
    /// device behind it sleep; it stays running to whoever asks, and moves with its device. Every start
    /// begins without rest. Takes effect soon after. Any thread but the render thread; never waits.
    virtual void setResting(bool resting) noexcept = 0;

    /// How often the output came too late for its device since it was made, as far as the back end can tell.
    /// Any thread.
    [[nodiscard]] virtual std::uint64_t xruns() const noexcept { return 0; }

    /// Points the output at a device: a stopped one at any, a running one at the device that it is on
    /// already, where the system may have moved it. Such a call does not interrupt the sound; it only keeps
    /// the output from going back. Without a device the output belongs where the system puts it, which is its
    /// default. Returns 0, or the status of a refusal; then the output stays where it was.
    virtual std::int32_t setDevice(std::optional<AudioDeviceId> device) = 0;

    /// Whether the system itself moves a running output that belongs nowhere, as its default or its user's
    /// mixer says. Any thread.
    [[nodiscard]] virtual bool isMovedBySystem() const noexcept { return false; }

    /// The device that the output is on, none when unknown.
    [[nodiscard]] virtual std::optional<AudioDeviceId> currentDevice() const = 0;

    /// Called, on a thread of the implementation, when the system changed the configuration behind the
    /// output's back: the device went, the server died or came, the stream moved. Set before `start`.
    virtual void setConfigurationChangeHandler(std::function<void()> handler) = 0;

    [[nodiscard]] virtual AudioDevices& devices() = 0;

  protected:
    AudioOutput() = default;
    AudioOutput(const AudioOutput&) = default;
    AudioOutput& operator=(const AudioOutput&) = default;
};

/// A back end that can be made, by the name that the user chooses it with.
struct NamedOutput {
    std::string_view name;
    /// Makes the back end, stopped, never null. Throws `AudioOutputError` where it cannot be had.
    std::function<std::unique_ptr<AudioOutput>()> make;
};

} // namespace keysong
