#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/DeviceListeners.h"

#include <mutex>
#include <vector>

namespace keysong {

/// One device of a built-in output. What is absent here is absent for everyone who asks.
struct VirtualDevice {
    AudioDeviceId id = 1;
    std::optional<std::string> uid = "virtual";
    std::optional<std::string> name = "Virtual Output";
    /// 0 for a device that only captures.
    std::uint32_t channels = 2;
    std::optional<double> rate = 48000;
    std::optional<std::uint32_t> latency = {};
    std::optional<std::uint32_t> safetyOffset = {};
};

/// The device list of a built-in output: one stereo device, unless somebody plugs others.
///
/// Any thread but the render thread. Listeners are called on the thread that made the change.
class VirtualDevices final : public AudioDevices {
  public:
    [[nodiscard]] std::vector<AudioDeviceId> deviceIds() const override;
    [[nodiscard]] std::uint32_t outputChannels(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::string> uid(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::string> name(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<double> nominalSampleRate(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::uint32_t> latencyFrames(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::uint32_t> safetyOffsetFrames(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<AudioDeviceId> defaultOutputDevice() const override;
    /// Only after `setWhole`: a stand-in knows nothing of the devices that it stands in for.
    [[nodiscard]] bool isGone(std::string_view uid) const override;
    std::int32_t addListener(DeviceListProperty property,
                             std::shared_ptr<const ChangeHandler> handler) override;
    void removeListener(DeviceListProperty property,
                        const std::shared_ptr<const ChangeHandler>& handler) override;

    /// Puts these devices in the place of all others.
    void replace(std::vector<VirtualDevice> devices, std::optional<AudioDeviceId> defaultDevice);
    /// Adds a device, at the end.
    void plug(VirtualDevice device);
    /// Takes a device away and returns it; none when it is not there. The default stays as it is.
    std::optional<VirtualDevice> unplug(AudioDeviceId device);
    void setDefault(std::optional<AudioDeviceId> device);
    /// Whether what is not listed is gone.
    void setWhole(bool whole);
    /// Coming listeners of this property are refused with a status; 0 accepts them again.
    void refuseListeners(DeviceListProperty property, std::int32_t status);

    [[nodiscard]] std::size_t listenerCount() const { return listeners_.count(); }

  private:
    /// A copy of the device; none when it is not there.
    [[nodiscard]] std::optional<VirtualDevice> find(AudioDeviceId device) const;
    /// One field of the device; empty when it is not there.
    template <typename Value>
    [[nodiscard]] Value get(AudioDeviceId device, Value VirtualDevice::*field) const {
        const auto found = find(device);
        return found ? (*found).*field : Value();
    }

    mutable std::mutex mutex_;
    std::vector<VirtualDevice> devices_{VirtualDevice()};
    std::optional<AudioDeviceId> default_ = 1;
    bool isWhole_ = false;
    DeviceListeners listeners_;
    DeviceListProperty refused_{};
    std::int32_t refusal_ = 0;
};

} // namespace keysong
