#include "Linux/Hotkeys/HotkeyDelivery.h"

namespace keysong {

void HotkeyDelivery::press(HotkeyIdentity identity) const {
    mainQueue_.async([weakHandlers = std::weak_ptr(handlers_), identity] {
        const auto handlers = weakHandlers.lock();
        if (handlers != nullptr && handlers->pressed) {
            const HotkeyEvent event{noErr, identity};
            handlers->pressed(&event);
        }
    });
}

void HotkeyDelivery::refuse(HotkeyIdentity identity, HotkeyStatus status) const {
    mainQueue_.async([weakHandlers = std::weak_ptr(handlers_), identity, status] {
        const auto handlers = weakHandlers.lock();
        if (handlers != nullptr && handlers->refused) {
            handlers->refused(identity, status);
        }
    });
}

} // namespace keysong
