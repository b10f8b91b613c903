#pragma once

#include "Audio/FallbackDevices.h"
#include "Platform/AudioOutput.h"
#include "Shared/Lifetime.h"
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
/// One that comes later replaces a lower one, which is stopped at once: it may hold the card that the new one
/// wants to open. One that goes, or never gets a device, is waited for, since a server that crashed is mostly
/// back within a second; then a lower one replaces it. Either way the change is reported like a change inside
/// a back end, and the caller's next look-up of devices leads to the new one.
/// Lower back ends are made when they are needed first.
///
/// Making a back end may take as long as a sound server is given to answer. It begins on the queue as soon as
/// this object is there; the first control operation waits for it. Until then there is no device, and nothing
/// else waits.
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

    /// At most 15 factories, the best first. `queue` is this output's alone: back ends are made and their
    /// reports are looked into there. Returns at once. Logs the choice when it is made, and each change.
    /// Where no back end can be had, control operations throw `AudioOutputError`.
    FallbackOutput(std::vector<Factory> factories, std::unique_ptr<TaskQueue> queue);
    /// The output is stopped.
    ~FallbackOutput() override;

    /// "none" until a back end is chosen.
    [[nodiscard]] const char* backendName() const noexcept override;
    void setRenderer(AudioRenderer* renderer) override;
    std::int32_t requestBufferFrames(std::uint32_t frames) override;
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override;
    [[nodiscard]] double sampleRate() const override;
    void start() override;
    void stop() noexcept override;
    [[nodiscard]] Readiness readiness() const override;
    [[nodiscard]] bool isRunning() const noexcept override;
    [[nodiscard]] bool isRendering() const noexcept override;
    void setResting(bool resting) noexcept override;
    /// Of all back ends together.
    [[nodiscard]] std::uint64_t xruns() const noexcept override;
    /// Moves to the device's back end, without a device to the one that should be in use.
    std::int32_t setDevice(std::optional<AudioDeviceId> device) override;
    [[nodiscard]] bool isMovedBySystem() const noexcept override;
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override;
    void setConfigurationChangeHandler(std::function<void()> handler) override;
    /// Those of the back end that should be in use.
    [[nodiscard]] AudioDevices& devices() override;

  private:
    /// The rank of no back end.
    static constexpr std::size_t nobody = static_cast<std::size_t>(-1);

    struct BackEnd {
        std::unique_ptr<AudioOutput> output;
        Readiness readiness = Readiness::absent;
    };

    /// Chooses the first back end, unless that was done.
    void choose() KEYSONG_EXCLUDES(makeMutex_, mutex_);
    /// The back end at a rank, made now if it was not; null when it cannot be had.
    AudioOutput* made(std::size_t rank) KEYSONG_REQUIRES(makeMutex_) KEYSONG_EXCLUDES(mutex_);
    /// Gives a back end that was just made what belongs to it, and takes it in.
    void takeIn(std::size_t rank, std::unique_ptr<AudioOutput> made) KEYSONG_EXCLUDES(mutex_);
    /// The first rank that is at least so far; the last one that can be had if none is; or nobody.
    [[nodiscard]] std::size_t firstAtLeast(Readiness wished) KEYSONG_REQUIRES(makeMutex_)
        KEYSONG_EXCLUDES(mutex_);
    /// A back end; null when it was not made.
    [[nodiscard]] AudioOutput* at(std::size_t rank) const KEYSONG_EXCLUDES(mutex_);
    /// The back end that plays or will; null before there is one.
    [[nodiscard]] AudioOutput* active() const { return at(active_); }
    /// The same, chosen now if need be. Throws `AudioOutputError` when there is none.
    [[nodiscard]] AudioOutput& activeOrFirst() KEYSONG_REQUIRES(controlMutex_);
    void listChanged(std::size_t rank, DeviceListProperty property);
    /// On the queue: something changed in the back end of this rank.
    void review(std::size_t rank) KEYSONG_EXCLUDES(mutex_);
    /// On the queue: lets a lower back end stand in, if the wanted one is still away since then.
    void giveUp(std::uint64_t absence) KEYSONG_EXCLUDES(mutex_);
    void waitForWanted() KEYSONG_REQUIRES(mutex_);
    /// On the queue.
    void moveTo(std::size_t rank) KEYSONG_EXCLUDES(mutex_);
    void reportChange() KEYSONG_EXCLUDES(mutex_);

    // The mutexes are taken in this order.
    /// Held over control operations of the back ends.
    mutable Mutex controlMutex_;
    /// Held while back ends are made, which takes long.
    Mutex makeMutex_;
    mutable Mutex mutex_;
    /// Empty once its back end was made or could not be.
    std::vector<Factory> factories_ KEYSONG_GUARDED_BY(makeMutex_);
    /// As many as factories; an output that came stays.
    std::vector<BackEnd> backEnds_ KEYSONG_GUARDED_BY(mutex_);
    AudioRenderer* renderer_ KEYSONG_GUARDED_BY(mutex_) = nullptr;
    /// Counts the times that the wanted back end lost or found its device; odd while it has none.
    std::uint64_t absences_ KEYSONG_GUARDED_BY(mutex_) = 0;
    std::function<void()> configurationChanged_ KEYSONG_GUARDED_BY(mutex_);
    /// Changed on the queue, and when the first back end is chosen.
    std::atomic<std::size_t> wanted_ = nobody;
    /// Changed under the control mutex, and when the first back end is chosen.
    std::atomic<std::size_t> active_ = nobody;

    FallbackDevices devices_;
    std::unique_ptr<TaskQueue> queue_;
    /// For the back ends' handlers, which may be called a moment longer than this lives.
    Lifetime lifetime_;
};

} // namespace keysong
