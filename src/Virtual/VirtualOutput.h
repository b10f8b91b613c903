#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Threads.h"
#include "Virtual/VirtualDevices.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace keysong {

/// What the built-in outputs share: 48 kHz stereo, on devices that are only names, with no hardware behind
/// them. They can be told how to fail, as hardware does.
///
/// Control operations as in `AudioOutput`; plugging, failing and reporting may come from any other thread
/// but the render thread.
class BuiltInOutput : public AudioOutput {
  public:
    static constexpr double rate = 48000;

    /// How the coming operations fail.
    struct Failures {
        /// One for each coming start: the reason to fail with, or none to start.
        std::deque<std::optional<std::string>> starts;
        /// The status of every refused device and period length; 0 refuses nothing.
        std::int32_t device = 0;
        std::int32_t buffer = 0;
    };

    [[nodiscard]] const char* backendName() const noexcept override { return "virtual"; }
    void setRenderer(AudioRenderer* renderer) override { renderer_ = renderer; }
    /// Takes effect with the next start.
    std::int32_t requestBufferFrames(std::uint32_t frames) override;
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override { return frames_; }
    [[nodiscard]] double sampleRate() const override { return rate; }
    [[nodiscard]] Readiness readiness() const override { return readiness_; }
    [[nodiscard]] bool isRunning() const noexcept override { return running_; }
    void setResting(bool resting) noexcept override { resting_ = resting; }
    [[nodiscard]] bool isResting() const noexcept { return resting_; }
    std::int32_t setDevice(std::optional<AudioDeviceId> device) override;
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override;
    void setConfigurationChangeHandler(std::function<void()> handler) override;
    [[nodiscard]] VirtualDevices& devices() override { return devices_; }

    /// What the next operations meet. Not while a control operation runs.
    Failures failures;

    /// Takes a device out of the list and returns it. An output that plays on it stops running at once, and
    /// the change is reported.
    std::optional<VirtualDevice> unplug(AudioDeviceId device);
    void plug(VirtualDevice device);
    /// As if the sound system behind the output died, or came back: it runs only while ready, and says so.
    void setReadiness(Readiness readiness);
    /// Calls the configuration-change handler on this thread.
    void reportChange();

  protected:
    static constexpr double nanosecondsPerFrame = 1e9 / rate;

    /// Throws the `AudioOutputError` that this start should fail with, if any.
    void failStartAsTold();
    /// Ends the periods without waiting for the render thread. Any thread.
    virtual void halt() noexcept { running_ = false; }

    AudioRenderer* renderer_ = nullptr;
    std::uint32_t frames_ = 128;
    std::atomic<bool> running_ = false;
    std::atomic<bool> resting_ = false;

  private:
    VirtualDevices devices_;
    std::atomic<AudioDeviceId> current_ = 1;
    std::atomic<Readiness> readiness_ = Readiness::ready;
    std::mutex handlerMutex_;
    std::function<void()> configurationChanged_;
};

/// The output for a machine without a sound server: a thread of its own asks for every period at its time
/// and lets the sound go.
class VirtualOutput final : public BuiltInOutput {
  public:
    /// Both outlive the output.
    VirtualOutput(Threads& threads, const Clock& clock) : threads_(threads), clock_(clock) {}
    ~VirtualOutput() override;

    void start() override;
    void stop() noexcept override;
    void setResting(bool resting) noexcept override;

  private:
    void halt() noexcept override;
    void serve();

    Threads& threads_;
    const Clock& clock_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread thread_;
};

/// An output that the caller steps by hand, with the clock that goes with it: for tests and for rendering
/// without real time. One thread at a time, except for `now`.
class SteppedOutput final : public BuiltInOutput, public Clock {
  public:
    void start() override;
    void stop() noexcept override { running_ = false; }

    /// The time that `setNow` set. Any thread.
    [[nodiscard]] std::chrono::nanoseconds now() const noexcept override {
        return std::chrono::nanoseconds(now_.load(std::memory_order_relaxed));
    }
    void setNow(std::chrono::nanoseconds time) noexcept {
        now_.store(time.count(), std::memory_order_relaxed);
    }

    /// Frames stepped so far: the position of the next period's first frame.
    [[nodiscard]] std::int64_t position() const noexcept { return position_; }

    /// Asks for the next period on the calling thread, which stands in for the render thread, and moves the
    /// timeline on. While stopped or at rest the period is silent. The frames stay valid until the next step.
    void step();
    [[nodiscard]] const std::vector<float>& left() const noexcept { return left_; }
    [[nodiscard]] const std::vector<float>& right() const noexcept { return right_; }

  private:
    std::atomic<std::int64_t> now_ = 0;
    std::int64_t position_ = 0;
    bool rested_ = false;
    std::vector<float> left_;
    std::vector<float> right_;
};

} // namespace keysong
