#pragma once

#include "Platform/AudioOutput.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace keysong::test {

/// Lets nobody through while it is closed. Whoever waits longer than the limit goes through and leaves a
/// note: a test with a fault ends, and fails.
class Gate {
  public:
    void close() { set(false); }
    void open() { set(true); }

    void pass() {
        std::unique_lock lock(mutex_);
        ++waiting_;
        if (!changed_.wait_for(lock, std::chrono::seconds(10), [this] { return open_; })) {
            wasForced_ = true;
            open_ = true;
        }
        --waiting_;
    }
    [[nodiscard]] bool wasForced() const {
        const std::lock_guard lock(mutex_);
        return wasForced_;
    }
    /// Whether somebody stands before it.
    [[nodiscard]] bool isBlocking() const {
        const std::lock_guard lock(mutex_);
        return !open_ && waiting_ > 0;
    }

  private:
    void set(bool open) {
        {
            const std::lock_guard lock(mutex_);
            open_ = open;
        }
        changed_.notify_all();
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = true;
    bool wasForced_ = false;
    int waiting_ = 0;
};

/// A device list and an output as those of a sound server that stopped answering: while the gate is closed,
/// no call that asks the server for anything comes back.
class GatedOutput final : public AudioOutput, private AudioDevices {
  public:
    GatedOutput(AudioOutput& output, Gate& gate) : output_(output), gate_(gate) {}

    [[nodiscard]] const char* backendName() const noexcept override { return output_.backendName(); }
    void setRenderer(AudioRenderer* renderer) override { output_.setRenderer(renderer); }
    std::int32_t requestBufferFrames(std::uint32_t frames) override {
        return gated().requestBufferFrames(frames);
    }
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override {
        return gated().bufferFrames();
    }
    [[nodiscard]] double sampleRate() const override { return gated().sampleRate(); }
    void start() override { gated().start(); }
    void stop() noexcept override { gated().stop(); }
    [[nodiscard]] Readiness readiness() const override { return gated().readiness(); }
    [[nodiscard]] bool isRunning() const noexcept override { return gated().isRunning(); }
    [[nodiscard]] bool isRendering() const noexcept override { return output_.isRendering(); }
    void setResting(bool resting) noexcept override { output_.setResting(resting); }
    std::int32_t setDevice(std::optional<AudioDeviceId> device) override { return gated().setDevice(device); }
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override {
        return gated().currentDevice();
    }
    void setConfigurationChangeHandler(std::function<void()> handler) override {
        output_.setConfigurationChangeHandler(std::move(handler));
    }
    [[nodiscard]] AudioDevices& devices() override { return *this; }

  private:
    [[nodiscard]] std::vector<AudioDeviceId> deviceIds() const override { return list().deviceIds(); }
    [[nodiscard]] std::uint32_t outputChannels(AudioDeviceId device) const override {
        return list().outputChannels(device);
    }
    [[nodiscard]] std::optional<std::string> uid(AudioDeviceId device) const override {
        return list().uid(device);
    }
    [[nodiscard]] std::optional<std::string> name(AudioDeviceId device) const override {
        return list().name(device);
    }
    [[nodiscard]] std::optional<double> nominalSampleRate(AudioDeviceId device) const override {
        return list().nominalSampleRate(device);
    }
    [[nodiscard]] std::optional<std::uint32_t> latencyFrames(AudioDeviceId device) const override {
        return list().latencyFrames(device);
    }
    [[nodiscard]] std::optional<std::uint32_t> safetyOffsetFrames(AudioDeviceId device) const override {
        return list().safetyOffsetFrames(device);
    }
    [[nodiscard]] std::optional<AudioDeviceId> defaultOutputDevice() const override {
        return list().defaultOutputDevice();
    }
    [[nodiscard]] bool isGone(std::string_view uid) const override { return list().isGone(uid); }
    std::int32_t addListener(DeviceListProperty property,
                             std::shared_ptr<const ChangeHandler> handler) override {
        return output_.devices().addListener(property, std::move(handler));
    }
    void removeListener(DeviceListProperty property,
                        const std::shared_ptr<const ChangeHandler>& handler) override {
        output_.devices().removeListener(property, handler);
    }

    [[nodiscard]] AudioOutput& gated() const {
        gate_.pass();
        return output_;
    }
    [[nodiscard]] AudioDevices& list() const { return gated().devices(); }

    AudioOutput& output_;
    Gate& gate_;
};

} // namespace keysong::test
