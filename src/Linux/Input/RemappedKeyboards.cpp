#include "Linux/Input/RemappedKeyboards.h"

namespace keysong {

void RemappedKeyboards::addHardware(Device keyboard, const KeySet& held) {
    hardware_[keyboard].hidden = held;
}

void RemappedKeyboards::remove(Device keyboard) {
    hardware_.erase(keyboard);
    virtual_.erase(keyboard);
    for (auto& [device, state] : virtual_) {
        if (state.standsFor == keyboard) {
            state.standsFor.reset();
        }
    }
}

void RemappedKeyboards::hardwareKey(Device keyboard, std::uint16_t code, bool pressed) {
    const auto found = hardware_.find(keyboard);
    if (found == hardware_.end() || code >= KEY_CNT) {
        return;
    }
    found->second.delivered.set(code, pressed);
    for (auto& [device, state] : virtual_) {
        if (state.standsFor == keyboard) {
            state.standsFor.reset();
        }
    }
}

std::int64_t RemappedKeyboards::virtualKey(Device keyboard, std::uint16_t code, bool pressed) {
    // Looked for at releases too: the next press of the same hidden key is a new one only if this is seen.
    const auto hiddenPress = lookForHiddenPress();
    Virtual& state = virtual_[keyboard];
    if (code >= KEY_CNT) {
        return softwareSourceState;
    }
    if (pressed) {
        if (hiddenPress) {
            state.standsFor = hiddenPress;
        }
        state.held.set(code, state.standsFor.has_value());
        return state.standsFor ? hardwareSourceState : softwareSourceState;
    }
    const bool wasHardware = state.held.test(code);
    state.held.reset(code);
    return wasHardware ? hardwareSourceState : softwareSourceState;
}

std::optional<RemappedKeyboards::Device> RemappedKeyboards::lookForHiddenPress() {
    std::optional<Device> found;
    for (auto& [device, keys] : hardware_) {
        const auto held = heldKeys_(device);
        if (!held) {
            continue;
        }
        keys.delivered &= *held; // a release that went to whoever has grabbed the keyboard
        const KeySet hidden = *held & ~keys.delivered;
        if ((hidden & ~keys.hidden).any()) {
            found = device;
        }
        keys.hidden = hidden;
    }
    return found;
}

} // namespace keysong
