#include "Virtual/VirtualDevices.h"

#include <algorithm>
#include <utility>

namespace keysong {

std::vector<AudioDeviceId> VirtualDevices::deviceIds() const {
    const std::lock_guard lock(mutex_);
    std::vector<AudioDeviceId> ids;
    for (const VirtualDevice& device : devices_) {
        ids.push_back(device.id);
    }
    return ids;
}

std::optional<VirtualDevice> VirtualDevices::find(AudioDeviceId device) const {
    const std::lock_guard lock(mutex_);
    const auto at = std::find_if(devices_.begin(), devices_.end(),
                                 [&](const VirtualDevice& candidate) { return candidate.id == device; });
    return at != devices_.end() ? std::optional(*at) : std::nullopt;
}

std::uint32_t VirtualDevices::outputChannels(AudioDeviceId device) const {
    return get(device, &VirtualDevice::channels);
}

std::optional<std::string> VirtualDevices::uid(AudioDeviceId device) const {
    return get(device, &VirtualDevice::uid);
}

std::optional<std::string> VirtualDevices::name(AudioDeviceId device) const {
    return get(device, &VirtualDevice::name);
}

std::optional<double> VirtualDevices::nominalSampleRate(AudioDeviceId device) const {
    return get(device, &VirtualDevice::rate);
}

std::optional<std::uint32_t> VirtualDevices::latencyFrames(AudioDeviceId device) const {
    return get(device, &VirtualDevice::latency);
}

std::optional<std::uint32_t> VirtualDevices::safetyOffsetFrames(AudioDeviceId device) const {
    return get(device, &VirtualDevice::safetyOffset);
}

std::optional<AudioDeviceId> VirtualDevices::defaultOutputDevice() const {
    const std::lock_guard lock(mutex_);
    return default_;
}

bool VirtualDevices::isGone(std::string_view uid) const {
    const std::lock_guard lock(mutex_);
    return isWhole_ && std::none_of(devices_.begin(), devices_.end(),
                                    [&](const VirtualDevice& device) { return device.uid == uid; });
}

void VirtualDevices::setWhole(bool whole) {
    const std::lock_guard lock(mutex_);
    isWhole_ = whole;
}

std::int32_t VirtualDevices::addListener(DeviceListProperty property,
                                         std::shared_ptr<const ChangeHandler> handler) {
    const std::lock_guard lock(mutex_);
    if (refusal_ != 0 && property == refused_) {
        return refusal_;
    }
    return listeners_.add(property, std::move(handler));
}

void VirtualDevices::removeListener(DeviceListProperty property,
                                    const std::shared_ptr<const ChangeHandler>& handler) {
    listeners_.remove(property, handler);
}

void VirtualDevices::replace(std::vector<VirtualDevice> devices, std::optional<AudioDeviceId> defaultDevice) {
    {
        const std::lock_guard lock(mutex_);
        devices_ = std::move(devices);
    }
    listeners_.tell(DeviceListProperty::devices);
    setDefault(defaultDevice);
}

void VirtualDevices::plug(VirtualDevice device) {
    {
        const std::lock_guard lock(mutex_);
        devices_.push_back(std::move(device));
    }
    listeners_.tell(DeviceListProperty::devices);
}

std::optional<VirtualDevice> VirtualDevices::unplug(AudioDeviceId device) {
    auto found = find(device);
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(devices_, [&](const VirtualDevice& candidate) { return candidate.id == device; });
    }
    if (found) {
        listeners_.tell(DeviceListProperty::devices);
    }
    return found;
}

void VirtualDevices::setDefault(std::optional<AudioDeviceId> device) {
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(default_, device) == device) {
            return;
        }
    }
    listeners_.tell(DeviceListProperty::defaultOutputDevice);
}

void VirtualDevices::refuseListeners(DeviceListProperty property, std::int32_t status) {
    const std::lock_guard lock(mutex_);
    refused_ = property;
    refusal_ = status;
}

} // namespace keysong
