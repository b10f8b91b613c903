#pragma once

#include "Virtual/VirtualOutput.h"

#include <chrono>
#include <string>
#include <vector>

namespace keysong::test {

/// A built-in output that keeps a list of what was done to it and whose periods the test asks for.
class FakeAudioOutput final : public BuiltInOutput {
  public:
    std::vector<std::string> operations;
    /// The period that it claims to grant.
    std::optional<std::uint32_t> granted = 128;
    /// The period that was asked for on this device.
    std::uint32_t asked = 0;
    double deviceRate = rate;

    /// Two speakers, 1 ("uid-a", the default) and 2 ("uid-b").
    FakeAudioOutput() {
        devices().replace({{1, "uid-a", "Speakers A"}, {2, "uid-b", "Speakers B"}}, 1);
        devices().setWhole(true);
    }

    [[nodiscard]] const char* backendName() const noexcept override { return "fake"; }
    [[nodiscard]] std::optional<std::uint32_t> bufferFrames() const override { return granted; }
    [[nodiscard]] std::optional<AudioDeviceId> currentDevice() const override {
        return knowsCurrent ? BuiltInOutput::currentDevice() : std::nullopt;
    }
    void start() override {
        operations.emplace_back("start");
        failStartAsTold();
        running_ = true;
    }
    void stop() noexcept override {
        if (running_.exchange(false)) {
            operations.emplace_back("stop");
        }
    }
    std::int32_t requestBufferFrames(std::uint32_t frames) override {
        asked = frames;
        return BuiltInOutput::requestBufferFrames(frames);
    }
    [[nodiscard]] double sampleRate() const override { return deviceRate; }
    std::int32_t setDevice(std::optional<AudioDeviceId> device) override {
        asked = 0;
        operations.push_back("device " + std::to_string(device.value_or(0)));
        return BuiltInOutput::setDevice(device);
    }
    [[nodiscard]] bool isMovedBySystem() const noexcept override { return movedBySystem; }
    /// As the user does in the system's mixer.
    void moveTo(AudioDeviceId device) {
        static_cast<void>(BuiltInOutput::setDevice(device));
        reportChange();
    }
    /// Whether it is one that the system moves.
    bool movedBySystem = false;

    void setConfigurationChangeHandler(std::function<void()> handler) override {
        configurationChanged = handler;
        BuiltInOutput::setConfigurationChangeHandler(std::move(handler));
    }

    /// The handler as it was set last, for a call under way.
    std::function<void()> configurationChanged;

    /// As if the back end died without a word.
    void die() { halt(); }
    [[nodiscard]] AudioRenderer* renderer() const { return renderer_; }

    /// Renders one period that begins at `start`.
    void step(std::chrono::nanoseconds start, std::uint32_t frames = 128) {
        left.assign(frames, 0);
        right.assign(frames, 0);
        renderer_->render({start.count(), 1e9 / deviceRate, frames}, left.data(), right.data());
    }
    std::vector<float> left;
    std::vector<float> right;
    /// Whether it tells which device it is on.
    bool knowsCurrent = true;
};

} // namespace keysong::test
