#pragma once

#include "Audio/FallbackDevices.h"
#include "Platform/AudioOutput.h"
#include "Shared/Mutex.h"
#include "Shared/TaskQueue.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace keysong {

/// The best of several back ends: the first whose sound system is there.
///
/// One that comes later takes over from a lower one, which is stopped at once: it may hold the very card
/// that the newcomer wants to open. One that goes, or never gets a device, is waited for, since a server
/// that crashed is mostly back within a second; then a lower one stands in. Either way the change is
/// reported like one inside a back end, and the caller's next look-up of devices leads to the new one.
/// Lower back ends are made when they are needed first.
class FallbackOutput final : public AudioOutput {
  public:
    /// Makes a back end, stopped, never null. Throws `AudioOutputError` when it cannot be had in this
    /// process, which is logged.
    using Factory = std::function<std::unique_ptr<AudioOutput>()>;

    /// How long a sound system without a device is waited for.
    static constexpr std::chrono::seconds patience{3};

    /// The factories of `all`, or of the one that `wish` names; another wish is logged and leaves all.
    [[nodiscard]] static std::vector<Factory> chosen(const std::vector<NamedOutput>& all,
                                                     const std::string& wish);

    /// At most 15 factories, the best first; the last must give a back end. `queue` is this output's alone:
    /// the back ends' reports are looked into there. Logs the choice, here and on each change. Throws
    /// `AudioOutputError` when no back end can be had.
    FallbackOutput(std::vector<Factory> factories, std::unique_ptr<TaskQueue> queue);
    /// The output is stopped.
    ~FallbackOutput() override;

    [[nodiscard]] const char* backendName() const noexcept override;
    void setRenderer(AudioRenderer* renderer) override;
    std::int32_t requestBufferFrames(std::uint32_t frames) override;
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override;
    [[nodiscard]] double sampleRate() const override;
    void start() override;
    void stop() noexcept override;
    [[nodiscard]] Readiness readiness() const override;
    [[nodiscard]] bool isRunning() const noexcept override;
    /// Moves to the device's back end.
    std::int32_t setDevice(AudioDeviceId device) override;
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override;
    void setConfigurationChangeHandler(std::function<void()> handler) override;
    /// Those of the back end that should be in use.
    [[nodiscard]] AudioDevices& devices() override;

  private:
    /// What the back ends' handlers hold, which may be called a moment longer than this lives.
    struct Gate;
    struct BackEnd {
        Factory factory;
        std::unique_ptr<AudioOutput> output;
        Readiness readiness = Readiness::absent;
    };

    /// The back end at a rank, made now if it was not; null when it cannot be had.
    AudioOutput* made(std::size_t rank) KEYSONG_REQUIRES(mutex_);
    /// The first rank that is at least so far; the last one if none is.
    [[nodiscard]] std::size_t firstAtLeast(Readiness wished) KEYSONG_REQUIRES(mutex_);
    /// A back end that was made.
    [[nodiscard]] AudioOutput& at(std::size_t rank) const KEYSONG_EXCLUDES(mutex_);
    /// The back end that plays or will.
    [[nodiscard]] AudioOutput& active() const { return at(active_); }
    /// The back end whose devices count.
    [[nodiscard]] AudioOutput& wanted() const { return at(wanted_); }
    /// On the queue: something changed in the back end of this rank.
    void review(std::size_t rank) KEYSONG_EXCLUDES(mutex_);
    /// On the queue: lets a lower back end stand in, if the wanted one is still away since then.
    void giveUp(std::uint64_t absence) KEYSONG_EXCLUDES(mutex_);
    void waitForWanted() KEYSONG_REQUIRES(mutex_);
    /// On the queue.
    void moveTo(std::size_t rank) KEYSONG_EXCLUDES(mutex_);
    void reportChange() KEYSONG_EXCLUDES(mutex_);

    /// Held over control operations of the back ends. Taken before `mutex_`.
    mutable Mutex controlMutex_;
    mutable Mutex mutex_;
    /// Never grows; an output that came stays.
    std::vector<BackEnd> backEnds_ KEYSONG_GUARDED_BY(mutex_);
    AudioRenderer* renderer_ KEYSONG_GUARDED_BY(mutex_) = nullptr;
    /// Counts the times that the wanted back end lost or found its device; odd while it has none.
    std::uint64_t absences_ KEYSONG_GUARDED_BY(mutex_) = 0;
    std::function<void()> configurationChanged_ KEYSONG_GUARDED_BY(mutex_);
    /// Changed on the queue alone.
    std::atomic<std::size_t> wanted_ = 0;
    /// Changed under the control mutex alone.
    std::atomic<std::size_t> active_ = 0;

    FallbackDevices devices_;
    std::shared_ptr<Gate> gate_;
    std::unique_ptr<TaskQueue> queue_;
};

} // namespace keysong
