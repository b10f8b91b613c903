#include "Linux/Hotkeys/HotkeyDelivery.h"

namespace keysong {

void HotkeyDelivery::press(HotkeyIdentity identity) const {
    mainQueue_.async(lifetime_.guarded([this, identity] {
        if (handlers_.pressed) {
            const HotkeyEvent event{noErr, identity};
            handlers_.pressed(&event);
        }
    }));
}

void HotkeyDelivery::refuse(HotkeyIdentity identity, HotkeyStatus status) const {
    mainQueue_.async(lifetime_.guarded([this, identity, status] {
        if (handlers_.refused) {
            handlers_.refused(identity, status);
        }
    }));
}

} // namespace keysong
