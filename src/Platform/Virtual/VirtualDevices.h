#pragma once

#include "Platform/AudioOutput.h"

namespace keysong {

/// The device list of the built-in outputs: one stereo device that is always there.
class VirtualDevices final : public AudioDevices {
  public:
    static constexpr AudioDeviceId deviceId = 1;
    static constexpr double sampleRate = 48000;

    [[nodiscard]] std::vector<AudioDeviceId> deviceIds() const override { return {deviceId}; }
    [[nodiscard]] std::uint32_t outputChannels(AudioDeviceId device) const override {
        return device == deviceId ? 2 : 0;
    }
    [[nodiscard]] std::optional<std::string> uid(AudioDeviceId device) const override {
        return named(device, "virtual");
    }
    [[nodiscard]] std::optional<std::string> name(AudioDeviceId device) const override {
        return named(device, "Virtual Output");
    }
    [[nodiscard]] std::optional<double> nominalSampleRate(AudioDeviceId device) const override {
        return device == deviceId ? std::optional(sampleRate) : std::nullopt;
    }
    [[nodiscard]] std::optional<std::uint32_t> latencyFrames(AudioDeviceId) const override {
        return std::nullopt;
    }
    [[nodiscard]] std::optional<std::uint32_t> safetyOffsetFrames(AudioDeviceId) const override {
        return std::nullopt;
    }
    [[nodiscard]] std::optional<AudioDeviceId> defaultOutputDevice() const override { return deviceId; }

    /// Nothing ever changes, so no handler is ever called.
    std::int32_t addListener(DeviceListProperty, std::shared_ptr<const ChangeHandler>) override { return 0; }
    void removeListener(DeviceListProperty, const std::shared_ptr<const ChangeHandler>&) override {}

  private:
    static std::optional<std::string> named(AudioDeviceId device, const char* text) {
        return device == deviceId ? std::optional<std::string>(text) : std::nullopt;
    }
};

} // namespace keysong
