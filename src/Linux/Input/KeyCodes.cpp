#include "Linux/Input/KeyCodes.h"

#include "Platform/RawEvent.h"

#include <linux/input-event-codes.h>

#include <array>

namespace keysong {

namespace {

// Newer than the oldest headers that the program builds with.
constexpr std::uint16_t keyDoNotDisturb = 0x24f;

struct Row {
    std::uint16_t linuxCode;
    std::uint16_t code;
};

constexpr Row ordinaryKeys[] = {
    // Letters, by their place on the board.
    {KEY_A, 0},
    {KEY_S, 1},
    {KEY_D, 2},
    {KEY_F, 3},
    {KEY_H, 4},
    {KEY_G, 5},
    {KEY_Z, 6},
    {KEY_X, 7},
    {KEY_C, 8},
    {KEY_V, 9},
    {KEY_B, 11},
    {KEY_Q, 12},
    {KEY_W, 13},
    {KEY_E, 14},
    {KEY_R, 15},
    {KEY_Y, 16},
    {KEY_T, 17},
    {KEY_O, 31},
    {KEY_U, 32},
    {KEY_I, 34},
    {KEY_P, 35},
    {KEY_L, 37},
    {KEY_J, 38},
    {KEY_K, 40},
    {KEY_N, 45},
    {KEY_M, 46},
    // Digits and punctuation.
    {KEY_1, 18},
    {KEY_2, 19},
    {KEY_3, 20},
    {KEY_4, 21},
    {KEY_6, 22},
    {KEY_5, 23},
    {KEY_EQUAL, 24},
    {KEY_9, 25},
    {KEY_7, 26},
    {KEY_MINUS, 27},
    {KEY_8, 28},
    {KEY_0, 29},
    {KEY_RIGHTBRACE, 30},
    {KEY_LEFTBRACE, 33},
    {KEY_APOSTROPHE, 39},
    {KEY_SEMICOLON, 41},
    {KEY_BACKSLASH, 42},
    {KEY_COMMA, 43},
    {KEY_SLASH, 44},
    {KEY_DOT, 47},
    {KEY_GRAVE, 50},
    {KEY_ZENKAKUHANKAKU, 50}, // in that place on a JIS board
    // The keys of ISO and JIS boards.
    {KEY_102ND, 10},
    {KEY_YEN, 93},
    {KEY_RO, 94},
    {KEY_KPJPCOMMA, 95},
    {KEY_MUHENKAN, 102},
    {KEY_HANJA, 102},
    {KEY_HENKAN, 104},
    {KEY_KATAKANAHIRAGANA, 104},
    {KEY_HANGEUL, 104},
    {KEY_KATAKANA, 104},
    {KEY_HIRAGANA, 104},
    // Space, editing, navigation.
    {KEY_ENTER, 36},
    {KEY_TAB, 48},
    {KEY_SPACE, 49},
    {KEY_BACKSPACE, 51},
    {KEY_ESC, 53},
    {KEY_INSERT, 114},
    {KEY_HELP, 114},
    {KEY_HOME, 115},
    {KEY_PAGEUP, 116},
    {KEY_DELETE, 117},
    {KEY_END, 119},
    {KEY_PAGEDOWN, 121},
    {KEY_LEFT, 123},
    {KEY_RIGHT, 124},
    {KEY_DOWN, 125},
    {KEY_UP, 126},
    {KEY_COMPOSE, 110},
    {KEY_MENU, 110},
    {KEY_CONTEXT_MENU, 110},
    // The keypad.
    {KEY_KPDOT, 65},
    {KEY_KPASTERISK, 67},
    {KEY_KPPLUS, 69},
    {KEY_NUMLOCK, 71},
    {KEY_CLEAR, 71},
    {KEY_KPSLASH, 75},
    {KEY_KPENTER, 76},
    {KEY_KPMINUS, 78},
    {KEY_KPEQUAL, 81},
    {KEY_KP0, 82},
    {KEY_KP1, 83},
    {KEY_KP2, 84},
    {KEY_KP3, 85},
    {KEY_KP4, 86},
    {KEY_KP5, 87},
    {KEY_KP6, 88},
    {KEY_KP7, 89},
    {KEY_KP8, 91},
    {KEY_KP9, 92},
    {KEY_KPCOMMA, 95},
    // The function row, and the three keys beside it on the places of F13 to F15.
    {KEY_F1, 122},
    {KEY_F2, 120},
    {KEY_F3, 99},
    {KEY_F4, 118},
    {KEY_F5, 96},
    {KEY_F6, 97},
    {KEY_F7, 98},
    {KEY_F8, 100},
    {KEY_F9, 101},
    {KEY_F10, 109},
    {KEY_F11, 103},
    {KEY_F12, 111},
    {KEY_F13, 105},
    {KEY_F14, 107},
    {KEY_F15, 113},
    {KEY_F16, 106},
    {KEY_F17, 64},
    {KEY_F18, 79},
    {KEY_F19, 80},
    {KEY_F20, 90},
    {KEY_SYSRQ, 105},
    {KEY_PRINT, 105},
    {KEY_SCROLLLOCK, 107},
    {KEY_PAUSE, 113},
    {KEY_BREAK, 113},
    // Keys that stand with a function row but have no code of their own share those of F16 to F20.
    {KEY_F21, 64},
    {KEY_F22, 79},
    {KEY_F23, 80},
    {KEY_F24, 90},
    {KEY_STOP, 106},
    {KEY_STOPCD, 106},
    {KEY_EJECTCD, 90},
    {KEY_EJECTCLOSECD, 90},
    {KEY_CLOSECD, 90},
    {KEY_POWER, 90},
    {KEY_POWER2, 90},
    {KEY_SLEEP, 90},
    {KEY_SUSPEND, 90},
    {KEY_WAKEUP, 90},
    // Special keys of a function row, as the decoder knows them.
    {KEY_SCALE, 160},
    {KEY_CYCLEWINDOWS, 160},
    {KEY_APPSELECT, 160},
    {KEY_DASHBOARD, 131},
    {KEY_ALL_APPLICATIONS, 131},
    {KEY_SEARCH, 177},
    {KEY_DICTATE, 176},
    {KEY_VOICECOMMAND, 176},
    {KEY_MICMUTE, 176},
    {keyDoNotDisturb, 178}};

constexpr Row mediaKeys[] = {{KEY_VOLUMEUP, 0},       {KEY_VOLUMEDOWN, 1},    {KEY_BRIGHTNESSUP, 2},
                             {KEY_BRIGHTNESSDOWN, 3}, {KEY_MUTE, 7},          {KEY_PLAYPAUSE, 16},
                             {KEY_PLAY, 16},          {KEY_PLAYCD, 16},       {KEY_PAUSECD, 16},
                             {KEY_NEXTSONG, 17},      {KEY_PREVIOUSSONG, 18}, {KEY_FASTFORWARD, 19},
                             {KEY_REWIND, 20},        {KEY_KBDILLUMUP, 21},   {KEY_KBDILLUMDOWN, 22}};

struct ModifierRow {
    std::uint16_t linuxCode;
    std::uint16_t code;
    std::uint64_t flags;
};

constexpr ModifierRow modifierKeys[] = {{KEY_RIGHTMETA, 54, commandFlag | rightCommandFlag},
                                        {KEY_LEFTMETA, 55, commandFlag | leftCommandFlag},
                                        {KEY_LEFTSHIFT, 56, shiftFlag | leftShiftFlag},
                                        {KEY_LEFTALT, 58, optionFlag | leftOptionFlag},
                                        {KEY_LEFTCTRL, 59, controlFlag | leftControlFlag},
                                        {KEY_RIGHTSHIFT, 60, shiftFlag | rightShiftFlag},
                                        {KEY_RIGHTALT, 61, optionFlag | rightOptionFlag},
                                        {KEY_RIGHTCTRL, 62, controlFlag | rightControlFlag},
                                        {KEY_FN, 63, functionFlag}};

/// A code for a key without a counterpart: one of those from 128 up that mean nothing to the decoder.
constexpr std::uint16_t freeCode(std::uint16_t linuxCode) {
    constexpr std::uint16_t first = 128;
    constexpr std::uint16_t taken[] = {131, 160, 176, 177, 178};
    constexpr std::uint16_t count = 256 - first - static_cast<std::uint16_t>(std::size(taken));
    unsigned code = first + linuxCode % count;
    for (const std::uint16_t skipped : taken) {
        code += code >= skipped ? 1 : 0;
    }
    return static_cast<std::uint16_t>(code);
}

/// The kernel numbers buttons among the keys.
constexpr bool isKey(std::uint16_t linuxCode) {
    const auto isWithin = [linuxCode](std::uint16_t first, std::uint16_t last) {
        return linuxCode >= first && linuxCode <= last;
    };
    return linuxCode != KEY_RESERVED && !isWithin(BTN_MISC, KEY_OK - 1) &&
           !isWithin(BTN_DPAD_UP, BTN_DPAD_RIGHT) && !isWithin(BTN_TRIGGER_HAPPY, BTN_TRIGGER_HAPPY40);
}

constexpr std::size_t tableSize = KEY_CNT;

constexpr std::array<KeyMeaning, tableSize> makeTable() {
    std::array<KeyMeaning, tableSize> table{};
    for (std::uint16_t code = 0; code < tableSize; ++code) {
        table[code] = isKey(code) ? KeyMeaning{KeyMeaning::Kind::key, freeCode(code), 0}
                                  : KeyMeaning{KeyMeaning::Kind::none, 0, 0};
    }
    for (const Row& row : ordinaryKeys) {
        table[row.linuxCode].code = row.code;
    }
    for (const Row& row : mediaKeys) {
        table[row.linuxCode] = {KeyMeaning::Kind::media, row.code, 0};
    }
    for (const ModifierRow& row : modifierKeys) {
        table[row.linuxCode] = {KeyMeaning::Kind::modifier, row.code, row.flags};
    }
    table[KEY_CAPSLOCK] = {KeyMeaning::Kind::capsLock, 57, capsLockFlag};
    return table;
}

constexpr auto table = makeTable();

} // namespace

KeyMeaning keyMeaningOf(std::uint16_t linuxCode) noexcept {
    return linuxCode < tableSize ? table[linuxCode]
                                 : KeyMeaning{KeyMeaning::Kind::key, freeCode(linuxCode), 0};
}

std::optional<std::uint8_t> soundKeyOf(std::uint16_t linuxCode) noexcept {
    const KeyMeaning meaning = keyMeaningOf(linuxCode);
    const bool hasOwn = meaning.kind != KeyMeaning::Kind::none && meaning.kind != KeyMeaning::Kind::media;
    return hasOwn ? std::optional(static_cast<std::uint8_t>(meaning.code)) : std::nullopt;
}

std::vector<std::uint16_t> linuxCodesOf(std::uint32_t keyCode) {
    std::vector<std::uint16_t> codes;
    for (const Row& row : ordinaryKeys) {
        if (row.code == keyCode) {
            codes.push_back(row.linuxCode);
        }
    }
    return codes;
}

} // namespace keysong
