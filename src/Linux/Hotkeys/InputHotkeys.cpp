#include "Linux/Hotkeys/InputHotkeys.h"

#include <optional>

namespace keysong {

namespace {

constexpr std::uint64_t modifierFlags = controlFlag | optionFlag | shiftFlag | commandFlag;

std::uint32_t hotkeyModifiers(std::uint64_t flags) {
    std::uint32_t modifiers = 0;
    modifiers |= (flags & controlFlag) != 0 ? controlKey : 0U;
    modifiers |= (flags & optionFlag) != 0 ? optionKey : 0U;
    modifiers |= (flags & shiftFlag) != 0 ? shiftKey : 0U;
    modifiers |= (flags & commandFlag) != 0 ? commandKey : 0U;
    return modifiers;
}

} // namespace

void InputHotkeys::observe(const RawEvent& event) {
    if (event.type != RawEventType::keyDown || (event.flags & modifierFlags) == 0 || event.autorepeat != 0) {
        return;
    }
    const std::uint32_t modifiers = hotkeyModifiers(event.flags);
    std::optional<HotkeyIdentity> pressed;
    {
        const MutexLock lock(mutex_);
        for (const HotkeyEntry& entry : table_.entries()) {
            if (entry.combination.keyCode == event.keycode && entry.combination.modifiers == modifiers) {
                pressed = entry.identity;
            }
        }
    }
    if (pressed) {
        delivery_.press(*pressed);
    }
}

HotkeyStatus InputHotkeys::registerHotkey(HotkeyCombination combination, HotkeyIdentity identity) {
    const MutexLock lock(mutex_);
    return table_.add({combination, identity});
}

void InputHotkeys::unregisterHotkey(HotkeyIdentity identity) {
    const MutexLock lock(mutex_);
    table_.remove(identity);
}

} // namespace keysong
