#pragma once

#include "Linux/Sound/AlsaPcm.h"
#include "Linux/Sound/AlsaTimeline.h"
#include "Linux/System/FileDescriptor.h"
#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Threads.h"

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

namespace keysong {

/// A PCM that plays: its render thread keeps it filled with what the renderer delivers.
///
/// Two periods are kept ahead of the device. When it runs dry twice within a minute, one more period is kept
/// from then on, up to the whole of its buffer: a machine that cannot keep the shortest delay gets a steady
/// sound instead. A device that goes, fails or stands still ends the render thread.
///
/// Owned by one thread at a time; what is atomic can be asked by any.
class AlsaStream {
  public:
    /// What the stream needs; everything referred to outlives it.
    struct Services {
        Threads& threads;
        const Clock& clock;
        /// Asked for every period; null plays silence.
        AudioRenderer* renderer = nullptr;
        /// Called on the render thread as the last thing it does when it ends by itself. Must only pass the
        /// news on.
        std::function<void()> onEnd;
        /// The first period is the first after a rest.
        bool isAfterRest = false;
    };

    /// Fills the buffer with silence, starts the device and returns once the first period was rendered.
    /// Throws `AlsaError` when the device fails before that, std::system_error when no thread can be made.
    AlsaStream(AlsaPcm pcm, Services services);
    /// Stops; the renderer is not called any more.
    ~AlsaStream();
    AlsaStream(const AlsaStream&) = delete;
    AlsaStream& operator=(const AlsaStream&) = delete;

    [[nodiscard]] bool isRunning() const noexcept { return running_; }
    /// Why the render thread ended by itself: a negative number as ALSA's functions return it, else 0.
    [[nodiscard]] int error() const noexcept { return error_; }
    /// How often the device ran dry.
    [[nodiscard]] std::uint64_t xruns() const noexcept { return xruns_; }
    /// How many frames are kept ahead of the device.
    [[nodiscard]] std::uint32_t filledFrames() const noexcept { return fill_; }
    /// Frames from the buffer to the air, where the device knows.
    [[nodiscard]] std::optional<std::uint32_t> latencyFrames() const noexcept;
    [[nodiscard]] const AlsaPcm& pcm() const noexcept { return pcm_; }

  private:
    void stop() noexcept;

    // All of these run on the render thread. Those that return a number follow ALSA: negative is an error.
    void serve() noexcept;
    [[nodiscard]] int beginPlaying() noexcept;
    [[nodiscard]] int playPeriod() noexcept;
    /// Waits until a period can be written, or the stream is to stop.
    [[nodiscard]] int waitForRoom() noexcept;
    [[nodiscard]] int waitForDevice() noexcept;
    [[nodiscard]] snd_pcm_sframes_t usableRoom() noexcept;
    /// How much room there is when one more period belongs into the buffer.
    [[nodiscard]] snd_pcm_sframes_t wantedRoom() const noexcept {
        return snd_pcm_sframes_t{pcm_.bufferFrames()} - fill_.load() + pcm_.periodFrames();
    }
    /// When the device made room for the period that is written next.
    [[nodiscard]] std::int64_t roomTime() noexcept;
    [[nodiscard]] int writePeriod() noexcept;
    /// Makes a device that ran dry or slept ready to be started anew; every other error stays.
    [[nodiscard]] int recover(int error) noexcept;
    [[nodiscard]] int resume() noexcept;
    void keepMore() noexcept;
    void measureLatency() noexcept;
    [[nodiscard]] bool outrunsTime() const noexcept;
    /// Waits so long, or until the stream is to stop.
    void pause(std::chrono::nanoseconds time) noexcept;
    [[nodiscard]] std::int64_t nowNanoseconds() const noexcept { return services_.clock.now().count(); }

    AlsaPcm pcm_;
    Services services_;
    AlsaFrames frames_;
    std::vector<float> left_;
    std::vector<float> right_;
    AlsaTimeline timeline_;
    FileDescriptor stopEvent_;
    FileDescriptor startedEvent_;
    /// The stop event, then the device's own.
    std::vector<pollfd> descriptors_;

    // The render thread's own.
    /// Frames written since the device was started last, and when that was.
    std::int64_t written_ = 0;
    std::int64_t startNanoseconds_ = 0;
    std::int64_t lastXrun_ = 0;
    std::uint64_t cycles_ = 0;
    std::uint32_t failedStarts_ = 0;

    std::atomic<std::uint32_t> fill_;
    std::atomic<bool> stopping_ = false;
    std::atomic<bool> running_ = true;
    std::atomic<int> error_ = 0;
    std::atomic<std::uint64_t> xruns_ = 0;
    std::atomic<std::int64_t> latency_ = -1;
    std::thread thread_;
};

} // namespace keysong
