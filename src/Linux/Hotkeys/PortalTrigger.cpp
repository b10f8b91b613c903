#include "Linux/Hotkeys/PortalTrigger.h"

#include "Linux/Input/KeyCodes.h"

#include <linux/input-event-codes.h>

#include <string_view>

namespace keysong {

namespace {

/// Keys that follow each other on the board and in the kernel's numbers.
struct KeyRow {
    std::uint16_t first;
    std::string_view names;
};
constexpr KeyRow keyRows[] = {
    {KEY_1, "1234567890"}, {KEY_Q, "qwertyuiop"}, {KEY_A, "asdfghjkl"}, {KEY_Z, "zxcvbnm"}};

struct ModifierName {
    std::uint32_t modifier;
    std::string_view trigger;
    std::string_view shown;
};
constexpr ModifierName modifierNames[] = {{controlKey, "CTRL+", "Control+"},
                                          {optionKey, "ALT+", "Alt+"},
                                          {shiftKey, "SHIFT+", "Shift+"},
                                          {commandKey, "LOGO+", "Super+"}};

std::optional<char> keyName(std::uint32_t keyCode) {
    for (const std::uint16_t code : linuxCodesOf(keyCode)) {
        for (const KeyRow& row : keyRows) {
            if (code >= row.first && code < row.first + row.names.size()) {
                return row.names[code - row.first];
            }
        }
    }
    return {};
}

std::string modifiers(HotkeyCombination combination, std::string_view ModifierName::*form) {
    std::string text;
    for (const ModifierName& name : modifierNames) {
        if ((combination.modifiers & name.modifier) != 0) {
            text += name.*form;
        }
    }
    return text;
}

} // namespace

std::optional<std::string> portalTrigger(HotkeyCombination combination) {
    const auto key = keyName(combination.keyCode);
    if (!key) {
        return {};
    }
    return modifiers(combination, &ModifierName::trigger) + *key;
}

std::string describeCombination(HotkeyCombination combination) {
    const char key = keyName(combination.keyCode).value_or('?');
    const bool letter = key >= 'a' && key <= 'z';
    return modifiers(combination, &ModifierName::shown) + static_cast<char>(letter ? key - 'a' + 'A' : key);
}

} // namespace keysong
