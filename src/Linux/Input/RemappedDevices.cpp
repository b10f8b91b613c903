#include "Linux/Input/RemappedDevices.h"

namespace keysong {

void RemappedDevices::addHardware(Device device, const KeySet& held) {
    hardware_[device].hidden = held;
}

void RemappedDevices::addCopy(Device virtualDevice, Device hardware) {
    virtual_[virtualDevice].standsFor = hardware;
}

void RemappedDevices::remove(Device device) {
    hardware_.erase(device);
    virtual_.erase(device);
    endStandIns(device);
}

void RemappedDevices::endStandIns(Device hardware) {
    for (auto& [device, state] : virtual_) {
        if (state.standsFor == hardware) {
            state.standsFor.reset();
        }
    }
}

void RemappedDevices::hardwareKey(Device device, std::uint16_t code, bool pressed) {
    const auto found = hardware_.find(device);
    if (found == hardware_.end() || code >= KEY_CNT) {
        return;
    }
    found->second.delivered.set(code, pressed);
    endStandIns(device);
}

void RemappedDevices::hardwareDelivered(Device device, const KeySet& held) {
    const auto found = hardware_.find(device);
    if (found != hardware_.end()) {
        found->second.delivered = held;
        endStandIns(device);
    }
}

RemappedDevices::Virtual& RemappedDevices::look(Device device, bool pressed) {
    // Looked for at releases too: the next press of the same hidden key is a new one only if this is seen.
    const auto hiddenPress = lookForHiddenPress();
    Virtual& state = virtual_[device];
    if (pressed && hiddenPress) {
        state.standsFor = hiddenPress;
    }
    return state;
}

std::int64_t RemappedDevices::virtualKey(Device device, std::uint16_t code, bool pressed) {
    Virtual& state = look(device, pressed && code < KEY_CNT);
    if (code >= KEY_CNT) {
        return softwareSourceState;
    }
    if (pressed) {
        state.held.set(code, state.standsFor.has_value());
        return state.standsFor ? hardwareSourceState : softwareSourceState;
    }
    const bool wasHardware = state.held.test(code);
    state.held.reset(code);
    return wasHardware ? hardwareSourceState : softwareSourceState;
}

std::int64_t RemappedDevices::virtualScroll(Device device) {
    return look(device, true).standsFor ? hardwareSourceState : softwareSourceState;
}

bool RemappedDevices::standsForHardware(Device device) const {
    const auto found = virtual_.find(device);
    return found != virtual_.end() && found->second.standsFor.has_value();
}

std::optional<RemappedDevices::Device> RemappedDevices::lookForHiddenPress() {
    std::optional<Device> found;
    for (auto& [device, keys] : hardware_) {
        const auto held = heldKeys_(device);
        if (!held) {
            continue;
        }
        keys.delivered &= *held; // a release that went to whoever has grabbed the device
        const KeySet hidden = *held & ~keys.delivered;
        if ((hidden & ~keys.hidden).any()) {
            found = device;
        }
        keys.hidden = hidden;
    }
    return found;
}

} // namespace keysong
