#pragma once

#include "App/AppState.h"
#include "Platform/HotkeyRegistrar.h"

#include <Qt>
#include <array>
#include <utility>

namespace keysong {

/// A combination that does something whichever application is in front.
struct GlobalHotkey {
    HotkeyCombination combination;
    /// The letter on that key, as menus show it.
    char letter;
    /// What the desktop shows where it asks the user about the hotkey.
    const char* description;
    void (AppState::*action)();
};

inline constexpr GlobalHotkey toggleHotkey{
    {40, controlKey | optionKey}, 'K', "Turn the sound on or off", &AppState::toggleEnabled};
inline constexpr GlobalHotkey settingsHotkey{
    {8, controlKey | optionKey}, 'C', "Open the settings", &AppState::showSettings};

/// All of them, in the order in which they are registered.
inline constexpr std::array globalHotkeys{toggleHotkey, settingsHotkey};

/// The combination as the toolkit names it.
[[nodiscard]] constexpr QKeyCombination keysOf(const GlobalHotkey& hotkey) {
    constexpr std::pair<std::uint32_t, Qt::KeyboardModifier> names[] = {{controlKey, Qt::ControlModifier},
                                                                        {optionKey, Qt::AltModifier},
                                                                        {shiftKey, Qt::ShiftModifier},
                                                                        {commandKey, Qt::MetaModifier}};
    Qt::KeyboardModifiers modifiers;
    for (const auto& [bit, modifier] : names) {
        modifiers.setFlag(modifier, (hotkey.combination.modifiers & bit) != 0);
    }
    // The toolkit's numbers of the letters are their characters.
    return QKeyCombination(modifiers, static_cast<Qt::Key>(hotkey.letter));
}

} // namespace keysong
