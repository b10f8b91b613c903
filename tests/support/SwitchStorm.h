#pragma once

#include "Audio/SoundEngine.h"
#include "support/RealtimeGuard.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace keysong::test {

/// An output seen from both sides: passes everything on, and watches what the render thread does and how
/// far its periods are apart.
class WatchedOutput final : public AudioOutput, private AudioRenderer {
  public:
    explicit WatchedOutput(AudioOutput& output) : output_(output) {}

    [[nodiscard]] const char* backendName() const noexcept override { return output_.backendName(); }
    void setRenderer(AudioRenderer* renderer) override {
        renderer_ = renderer;
        output_.setRenderer(renderer != nullptr ? this : nullptr);
    }
    std::int32_t requestBufferFrames(std::uint32_t frames) override {
        return output_.requestBufferFrames(frames);
    }
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override {
        return output_.bufferFrames();
    }
    [[nodiscard]] double sampleRate() const override { return output_.sampleRate(); }
    [[nodiscard]] Readiness readiness() const override { return output_.readiness(); }
    void start() override { output_.start(); }
    void stop() noexcept override { output_.stop(); }
    [[nodiscard]] bool isRunning() const noexcept override { return output_.isRunning(); }
    std::int32_t setDevice(AudioDeviceId device) override { return output_.setDevice(device); }
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override {
        return output_.currentDevice();
    }
    void setConfigurationChangeHandler(std::function<void()> handler) override {
        output_.setConfigurationChangeHandler(std::move(handler));
    }
    [[nodiscard]] AudioDevices& devices() override { return output_.devices(); }

    /// Heap, lock, wait and file calls made by the renderer so far.
    [[nodiscard]] std::size_t violations() const { return violations_; }
    [[nodiscard]] int periods() const { return periods_; }
    /// The longest time between two periods since it was asked last, in nanoseconds.
    [[nodiscard]] std::int64_t takeLongestGap() { return longestGap_.exchange(0); }

  private:
    void render(const IoCycle& cycle, float* left, float* right) noexcept override;

    AudioOutput& output_;
    AudioRenderer* renderer_ = nullptr;
    std::atomic<std::size_t> violations_ = 0;
    std::atomic<int> periods_ = 0;
    std::atomic<std::int64_t> longestGap_ = 0;
    std::int64_t lastPeriod_ = 0;
};

/// Moves the engine between two devices this many times while two threads play 500 hits a second each,
/// with a configuration change now and then. Prints what it measured; expects that nothing is lost for
/// good: the engine runs, no hit stays counted, the render thread did nothing it must not.
void runSwitchStorm(SoundEngine& engine, WatchedOutput& output, const std::vector<std::string>& uids,
                    int switches);

} // namespace keysong::test
