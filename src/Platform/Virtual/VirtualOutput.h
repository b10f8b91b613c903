#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Threads.h"
#include "Platform/Virtual/VirtualDevices.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace keysong {

/// What the built-in outputs share: 48 kHz stereo on one device, with no hardware behind it.
class BuiltInOutput : public AudioOutput {
  public:
    [[nodiscard]] const char* backendName() const noexcept override { return "virtual"; }
    void setRenderer(AudioRenderer* renderer) override { renderer_ = renderer; }
    /// Takes effect with the next start.
    std::int32_t requestBufferFrames(std::uint32_t frames) override;
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override { return frames_; }
    [[nodiscard]] double sampleRate() const override { return VirtualDevices::sampleRate; }
    [[nodiscard]] bool isRunning() const noexcept override { return running_; }
    std::int32_t setDevice(AudioDeviceId device) override;
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override {
        return VirtualDevices::deviceId;
    }
    /// The configuration never changes, so the handler is never called.
    void setConfigurationChangeHandler(std::function<void()>) override {}
    [[nodiscard]] AudioDevices& devices() override { return devices_; }

  protected:
    static constexpr double nanosecondsPerFrame = 1e9 / VirtualDevices::sampleRate;

    AudioRenderer* renderer_ = nullptr;
    std::uint32_t frames_ = 128;
    std::atomic<bool> running_ = false;

  private:
    VirtualDevices devices_;
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

  private:
    void serve();

    Threads& threads_;
    const Clock& clock_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread thread_;
};

/// An output that the caller steps by hand, with the clock that goes with it: for tests and for rendering
/// without real time. One thread at a time but for `now`.
class SteppedOutput final : public BuiltInOutput, public Clock {
  public:
    void start() override { running_ = true; }
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
    /// timeline on. While stopped the period is silent. The frames stay valid until the next step.
    void step();
    [[nodiscard]] const std::vector<float>& left() const noexcept { return left_; }
    [[nodiscard]] const std::vector<float>& right() const noexcept { return right_; }

  private:
    std::atomic<std::int64_t> now_ = 0;
    std::int64_t position_ = 0;
    std::vector<float> left_;
    std::vector<float> right_;
};

} // namespace keysong
