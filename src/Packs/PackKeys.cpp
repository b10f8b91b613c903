#include "Packs/PackKeys.h"

#include "Packs/PackFiles.h"

#include <algorithm>
#include <array>
#include <map>
#include <span>
#include <string>

namespace keysong {

namespace {

struct ScanRow {
    std::uint8_t scanCode;
    std::uint16_t kernelCode;
};

/// Keys whose scan code has the prefix 0xE0.
constexpr ScanRow extendedKeys[] = {
    {0x1C, 96},  // keypad Enter
    {0x1D, 97},  // right Control
    {0x35, 98},  // keypad /
    {0x37, 99},  // Print Screen
    {0x38, 100}, // right Alt
    {0x45, 119}, // Pause
    {0x46, 119}, // Pause with Control
    {0x47, 102}, // Home
    {0x48, 103}, // Up
    {0x49, 104}, // Page Up
    {0x4B, 105}, // Left
    {0x4D, 106}, // Right
    {0x4F, 107}, // End
    {0x50, 108}, // Down
    {0x51, 109}, // Page Down
    {0x52, 110}, // Insert
    {0x53, 111}, // Delete
    {0x5B, 125}, // left Meta
    {0x5C, 126}, // right Meta
    {0x5D, 127}, // Menu
    {0x0D, 117}, // keypad =
};

/// Keys of JIS and Brazilian boards, without a prefix.
constexpr ScanRow otherKeys[] = {
    {0x70, 93},  // Katakana and Hiragana
    {0x73, 89},  // Ro
    {0x79, 92},  // Henkan
    {0x7B, 94},  // Muhenkan
    {0x7D, 124}, // Yen
    {0x7E, 121}, // keypad comma
};

std::optional<std::uint16_t> findRow(std::span<const ScanRow> rows, std::int64_t scanCode) {
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [scanCode](const ScanRow& r) { return r.scanCode == scanCode; });
    return row == rows.end() ? std::nullopt : std::optional(row->kernelCode);
}

struct NameRow {
    std::string_view name;
    std::uint16_t kernelCode;
};

/// The W3C names first, then what else people call the keys. Letters, digits, F-keys and the keypad's digits
/// are not listed.
constexpr NameRow keyNames[] = {
    {"escape", 1},
    {"minus", 12},
    {"equal", 13},
    {"backspace", 14},
    {"tab", 15},
    {"bracketleft", 26},
    {"bracketright", 27},
    {"enter", 28},
    {"controlleft", 29},
    {"semicolon", 39},
    {"quote", 40},
    {"backquote", 41},
    {"shiftleft", 42},
    {"backslash", 43},
    {"comma", 51},
    {"period", 52},
    {"slash", 53},
    {"shiftright", 54},
    {"numpadmultiply", 55},
    {"altleft", 56},
    {"space", 57},
    {"capslock", 58},
    {"numlock", 69},
    {"scrolllock", 70},
    {"numpadsubtract", 74},
    {"numpadadd", 78},
    {"numpaddecimal", 83},
    {"intlbackslash", 86},
    {"intlro", 89},
    {"convert", 92},
    {"kanamode", 93},
    {"nonconvert", 94},
    {"numpadenter", 96},
    {"controlright", 97},
    {"numpaddivide", 98},
    {"printscreen", 99},
    {"altright", 100},
    {"home", 102},
    {"arrowup", 103},
    {"pageup", 104},
    {"arrowleft", 105},
    {"arrowright", 106},
    {"end", 107},
    {"arrowdown", 108},
    {"pagedown", 109},
    {"insert", 110},
    {"delete", 111},
    {"numpadequal", 117},
    {"pause", 119},
    {"numpadcomma", 121},
    {"intlyen", 124},
    {"metaleft", 125},
    {"metaright", 126},
    {"contextmenu", 127},
    {"help", 138},
    {"fn", 464},
    {"esc", 1},
    {"return", 28},
    {"spacebar", 57},
    {"caps", 58},
    {"lctrl", 29},
    {"rctrl", 97},
    {"leftctrl", 29},
    {"rightctrl", 97},
    {"ctrl", 29},
    {"control", 29},
    {"lshift", 42},
    {"rshift", 54},
    {"leftshift", 42},
    {"rightshift", 54},
    {"shift", 42},
    {"lalt", 56},
    {"ralt", 100},
    {"leftalt", 56},
    {"rightalt", 100},
    {"alt", 56},
    {"altgr", 100},
    {"meta", 125},
    {"super", 125},
    {"win", 125},
    {"command", 125},
    {"cmd", 125},
    {"menu", 127},
    {"left", 105},
    {"right", 106},
    {"up", 103},
    {"down", 108},
    {"del", 111},
    {"ins", 110},
    {"grave", 41},
    {"tilde", 41},
    {"apostrophe", 40},
    {"dot", 52},
    {"equals", 13},
    {"pgup", 104},
    {"pgdn", 109},
    {"prtsc", 99},
};

/// The kernel's codes of the letters from a to z, and of the keypad's digits from 0 to 9.
constexpr std::array<std::uint16_t, 26> letters = {30, 48, 46, 32, 18, 33, 34, 35, 23, 36, 37, 38, 50,
                                                   49, 24, 25, 16, 19, 31, 20, 22, 47, 17, 45, 21, 44};
constexpr std::array<std::uint16_t, 10> keypadDigits = {82, 79, 80, 81, 75, 76, 77, 71, 72, 73};

std::uint16_t functionKey(int number) {
    constexpr int firstHigh = 13;
    constexpr int kernelHigh = 183;
    const int code = number >= firstHigh ? kernelHigh + number - firstHigh
                     : number > 10       ? 87 + number - 11
                                         : 59 + number - 1;
    return static_cast<std::uint16_t>(code);
}

std::map<std::string, NamedTarget, std::less<>> makeNames() {
    std::map<std::string, NamedTarget, std::less<>> names;
    const auto key = [&names](const std::string& name, std::uint16_t code) {
        names.emplace(name, NamedTarget{NamedTarget::Kind::key, code, {}, {}});
    };
    for (const NameRow& row : keyNames) {
        key(std::string(row.name), row.kernelCode);
    }
    for (std::size_t index = 0; index < letters.size(); ++index) {
        const std::string letter(1, static_cast<char>('a' + index));
        key(letter, letters[index]);
        key("key" + letter, letters[index]);
    }
    for (std::size_t digit = 0; digit < keypadDigits.size(); ++digit) {
        const std::string text = std::to_string(digit);
        key("digit" + text, static_cast<std::uint16_t>(digit == 0 ? 11 : digit + 1));
        key("numpad" + text, keypadDigits[digit]);
    }
    for (int number = 1; number <= 24; ++number) {
        key("f" + std::to_string(number), functionKey(number));
    }
    for (const KeyGroup group : allKeyGroups) {
        names.emplace(std::string(rawValue(group)), NamedTarget{NamedTarget::Kind::group, 0, group, {}});
    }
    const auto button = [&names](const char* name, MouseButton which) {
        names.emplace(name, NamedTarget{NamedTarget::Kind::button, 0, {}, which});
    };
    button("mouseleft", MouseButton::left);
    button("leftclick", MouseButton::left);
    button("mouseright", MouseButton::right);
    button("rightclick", MouseButton::right);
    button("mousemiddle", MouseButton::other);
    button("mouseother", MouseButton::other);
    for (const char* name : {"scroll", "wheel", "mousewheel", "mousescroll"}) {
        names.emplace(name, NamedTarget{NamedTarget::Kind::scroll, 0, {}, {}});
    }
    return names;
}

} // namespace

std::optional<std::uint16_t> kernelCodeOfScanCode(std::int64_t code) {
    if (isExtendedScanCode(code)) {
        return findRow(extendedKeys, code & 0xFF);
    }
    if ((code >= 1 && code <= 83) || (code >= 86 && code <= 88)) {
        return static_cast<std::uint16_t>(code);
    }
    if (code >= 91 && code <= 93) {
        return functionKey(static_cast<int>(code - 91) + 13);
    }
    if (code >= 99 && code <= 107) {
        return functionKey(static_cast<int>(code - 99) + 16);
    }
    return findRow(otherKeys, code);
}

bool isExtendedScanCode(std::int64_t code) {
    const std::int64_t prefix = code & ~std::int64_t{0xFF};
    return prefix == 0x0E00 || prefix == 0xE000 || prefix == 0xEE00;
}

bool mayBeKernelNumber(std::int64_t code) {
    return code >= 96 && code <= 127;
}

std::optional<NamedTarget> targetNamed(std::string_view name) {
    static const auto names = makeNames();
    std::string plain = lowerCase(name);
    std::erase_if(plain, [](char c) { return c == ' ' || c == '-' || c == '_'; });
    const auto found = names.find(plain);
    return found == names.end() ? std::nullopt : std::optional(found->second);
}

} // namespace keysong
