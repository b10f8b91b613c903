#pragma once

#include "Linux/Sound/AlsaDevices.h"
#include "Linux/Sound/AlsaStream.h"
#include "Linux/Sound/AlsaWatch.h"
#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Threads.h"
#include "Shared/Mutex.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace keysong {

/// Sound through ALSA: stereo at 48 kHz, in periods of 128 frames where the device grants them.
///
/// For systems without a PipeWire server. A sound server of another kind is reached through the
/// configuration's default device, a bare console's card directly or through ALSA's own mixer. While nobody
/// has chosen a device, every start takes the default. When the device goes, the output stops by itself and
/// the configuration-change handler is called; it is also called when devices come and go. A sound
/// server that comes back is noticed within two seconds. The handler runs
/// on the watch's thread and must only hand the news on.
///
/// At rest the device is closed: it can sleep, and belongs to others. The watch's thread closes and opens it.
class AlsaOutput final : public AudioOutput {
  public:
    /// Looks for devices at once, and starts to watch `deviceFolder`/snd for cards that come and go.
    /// `threads` and `clock` outlive the output. Throws `AudioOutputError` when no thread can be made.
    AlsaOutput(Threads& threads, const Clock& clock, std::filesystem::path deviceFolder = "/dev");
    ~AlsaOutput() override;

    /// Whether there is a device to play to.
    [[nodiscard]] bool canPlay() const { return devices_.defaultOutputDevice().has_value(); }

    [[nodiscard]] const char* backendName() const noexcept override { return "alsa"; }
    void setRenderer(AudioRenderer* renderer) override { renderer_ = renderer; }
    /// Takes effect with the next start.
    std::int32_t requestBufferFrames(std::uint32_t frames) override;
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override;
    [[nodiscard]] double sampleRate() const override { return AlsaPcm::rate; }
    void start() override;
    void stop() noexcept override;
    /// Absent while there is no device to play to.
    [[nodiscard]] Readiness readiness() const override {
        return canPlay() ? Readiness::ready : Readiness::absent;
    }
    [[nodiscard]] bool isRunning() const noexcept override;
    void setResting(bool resting) noexcept override;
    [[nodiscard]] std::uint64_t xruns() const noexcept override;
    /// Keeps to the device until the next call, the default device too. EBUSY while running.
    std::int32_t setDevice(std::optional<AudioDeviceId> device) override;
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override;
    void setConfigurationChangeHandler(std::function<void()> handler) override;
    [[nodiscard]] AudioDevices& devices() override { return devices_; }

  private:
    /// Starts on the device. Throws `AudioOutputError`.
    void startOn(const AlsaDevices::Device& device, bool isAfterRest) KEYSONG_REQUIRES(controlMutex_);
    /// Closes the stream; null when there is none. The caller frees it.
    [[nodiscard]] std::unique_ptr<AlsaStream> takeStream() noexcept;
    void endStream(std::unique_ptr<AlsaStream> stream) noexcept KEYSONG_REQUIRES(controlMutex_);
    /// Plays on the device, in longer periods where it cannot be fed in those asked for.
    [[nodiscard]] std::unique_ptr<AlsaStream> open(const AlsaDevices::Device& device, bool isAfterRest);
    /// Opens the device by the first of its names that works.
    [[nodiscard]] static AlsaPcm openPcm(const AlsaConfig& config, const AlsaDevices::Device& device,
                                         std::uint32_t frames);
    void logStart(const AlsaStream& stream);
    void logXruns();
    // On the watch's thread.
    AlsaWatch::NextLook lookAgain();
    AlsaWatch::NextLook woken();
    /// Does what `setResting` wished last. What fails is told as a change: the output does not run then.
    void rest() KEYSONG_EXCLUDES(controlMutex_, mutex_);
    [[nodiscard]] AlsaWatch::NextLook nextLook() const;
    void reportChange();

    Threads& threads_;
    const Clock& clock_;
    const std::filesystem::path deviceFolder_;
    AudioRenderer* renderer_ = nullptr;
    std::atomic<std::uint32_t> requestedFrames_ = 128;
    AlsaDevices devices_;

    /// Held over starts and stops, those of the watch's thread among them. Taken before the other mutex.
    Mutex controlMutex_;
    mutable Mutex mutex_;
    std::function<void()> configurationChanged_ KEYSONG_GUARDED_BY(mutex_);
    /// The device that was chosen; empty follows the default.
    std::string chosenUid_ KEYSONG_GUARDED_BY(mutex_);
    /// Replaced under the control mutex alone.
    std::unique_ptr<AlsaStream> stream_ KEYSONG_GUARDED_BY(mutex_);
    /// The device of the stream, or of the rest.
    std::string streamUid_ KEYSONG_GUARDED_BY(mutex_);
    bool restWished_ KEYSONG_GUARDED_BY(mutex_) = false;
    /// It runs, but for the device that is closed meanwhile.
    bool isResting_ KEYSONG_GUARDED_BY(mutex_) = false;
    std::uint64_t earlierXruns_ KEYSONG_GUARDED_BY(mutex_) = 0;
    std::uint64_t loggedXruns_ KEYSONG_GUARDED_BY(mutex_) = 0;

    /// Last to come, first to go: its thread calls into all of the above.
    std::unique_ptr<AlsaWatch> watch_;
};

} // namespace keysong
