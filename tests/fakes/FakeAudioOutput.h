#pragma once

#include "Platform/AudioOutput.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <utility>

namespace keysong::test {

struct FakeAudioDevice {
    AudioDeviceId id = 0;
    std::optional<std::string> uid = {};
    std::optional<std::string> name = {};
    std::uint32_t channels = 2;
    std::optional<double> rate = 48000;
    std::optional<std::uint32_t> latency = {};
    std::optional<std::uint32_t> safetyOffset = {};
};

/// A list of devices that the test edits.
class FakeAudioDevices final : public AudioDevices {
  public:
    std::vector<FakeAudioDevice> list;
    std::optional<AudioDeviceId> defaultDevice;

    [[nodiscard]] std::vector<AudioDeviceId> deviceIds() const override {
        std::vector<AudioDeviceId> ids;
        for (const FakeAudioDevice& device : list) {
            ids.push_back(device.id);
        }
        return ids;
    }
    [[nodiscard]] std::uint32_t outputChannels(AudioDeviceId id) const override { return find(id).channels; }
    [[nodiscard]] std::optional<std::string> uid(AudioDeviceId id) const override { return find(id).uid; }
    [[nodiscard]] std::optional<std::string> name(AudioDeviceId id) const override { return find(id).name; }
    [[nodiscard]] std::optional<double> nominalSampleRate(AudioDeviceId id) const override {
        return find(id).rate;
    }
    [[nodiscard]] std::optional<std::uint32_t> latencyFrames(AudioDeviceId id) const override {
        return find(id).latency;
    }
    [[nodiscard]] std::optional<std::uint32_t> safetyOffsetFrames(AudioDeviceId id) const override {
        return find(id).safetyOffset;
    }
    [[nodiscard]] std::optional<AudioDeviceId> defaultOutputDevice() const override { return defaultDevice; }
    std::int32_t addListener(DeviceListProperty, std::shared_ptr<const ChangeHandler>) override { return 0; }
    void removeListener(DeviceListProperty, const std::shared_ptr<const ChangeHandler>&) override {}

  private:
    [[nodiscard]] FakeAudioDevice find(AudioDeviceId id) const {
        const auto at = std::find_if(list.begin(), list.end(),
                                     [&](const FakeAudioDevice& device) { return device.id == id; });
        return at != list.end() ? *at : FakeAudioDevice{0, {}, {}, 0, {}, {}, {}};
    }
};

/// An output that the test steps by hand and tells when to fail. It keeps a list of what was done to it.
class FakeAudioOutput final : public AudioOutput {
  public:
    FakeAudioDevices deviceList;
    std::vector<std::string> operations;
    /// One per coming start: the reason to fail with, or none to start.
    std::deque<std::optional<std::string>> startFailures;
    std::int32_t setDeviceStatus = 0;
    std::int32_t bufferStatus = 0;
    std::optional<std::uint32_t> granted = 128;
    std::optional<AudioDeviceId> current;
    std::function<void()> configurationChanged;
    std::atomic<bool> running{false};
    AudioRenderer* renderer = nullptr;

    [[nodiscard]] const char* backendName() const noexcept override { return "fake"; }
    void setRenderer(AudioRenderer* attached) override { renderer = attached; }
    std::int32_t requestBufferFrames(std::uint32_t) override { return bufferStatus; }
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override { return granted; }
    [[nodiscard]] double sampleRate() const override { return 48000; }
    void start() override {
        operations.push_back("start");
        std::optional<std::string> failure;
        if (!startFailures.empty()) {
            failure = startFailures.front();
            startFailures.pop_front();
        }
        if (failure) {
            throw AudioOutputError(*failure);
        }
        running = true;
    }
    void stop() noexcept override {
        if (running.exchange(false)) {
            operations.push_back("stop");
        }
    }
    [[nodiscard]] bool isRunning() const noexcept override { return running; }
    std::int32_t setDevice(AudioDeviceId device) override {
        operations.push_back("device " + std::to_string(device));
        if (setDeviceStatus == 0) {
            current = device;
        }
        return setDeviceStatus;
    }
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override { return current; }
    void setConfigurationChangeHandler(std::function<void()> handler) override {
        configurationChanged = std::move(handler);
    }
    [[nodiscard]] AudioDevices& devices() override { return deviceList; }

    /// Renders one period that begins at `start`.
    void step(std::chrono::nanoseconds start, std::uint32_t frames = 128) {
        left.assign(frames, 0);
        right.assign(frames, 0);
        renderer->render({start.count(), 1e9 / 48000.0, frames}, left.data(), right.data());
    }
    std::vector<float> left;
    std::vector<float> right;
};

} // namespace keysong::test
