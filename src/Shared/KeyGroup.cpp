#include "Shared/KeyGroup.h"

#include <algorithm>

namespace keysong {

namespace {

constexpr std::array<std::string_view, keyGroupCount> rawValues = {
    "main",     "space",    "enter", "backspace",  "tab",    "escape",
    "modifier", "function", "arrow", "navigation", "numpad",
};

/// Every code of a group other than `main` lies below this one.
constexpr std::size_t tableSize = 127;

constexpr std::array<KeyGroup, tableSize> makeTable() {
    std::array<KeyGroup, tableSize> table{};
    const auto assign = [&table](KeyGroup group, std::initializer_list<std::size_t> codes) {
        for (const std::size_t code : codes) {
            table[code] = group;
        }
    };
    assign(KeyGroup::space, {49});
    assign(KeyGroup::enter, {36, 52});
    assign(KeyGroup::backspace, {51});
    assign(KeyGroup::tab, {48});
    assign(KeyGroup::escape, {53});
    assign(KeyGroup::modifier, {54, 55, 56, 57, 58, 59, 60, 61, 62, 63});
    assign(KeyGroup::function,
           {122, 120, 99, 118, 96, 97, 98, 100, 101, 109, 103, 111, 105, 107, 113, 106, 64, 79, 80, 90});
    assign(KeyGroup::arrow, {123, 124, 125, 126});
    assign(KeyGroup::navigation, {114, 115, 116, 117, 119, 121});
    assign(KeyGroup::numpad, {65, 67, 69, 71, 75, 76, 78, 81, 82, 83, 84, 85, 86, 87, 88, 89, 91, 92});
    return table;
}

constexpr auto groupByCode = makeTable();

} // namespace

const std::array<KeyGroup, keyGroupCount> allKeyGroups = {
    KeyGroup::main,  KeyGroup::space,      KeyGroup::enter,    KeyGroup::backspace,
    KeyGroup::tab,   KeyGroup::escape,     KeyGroup::modifier, KeyGroup::function,
    KeyGroup::arrow, KeyGroup::navigation, KeyGroup::numpad,
};

KeyGroup keyGroupOf(std::uint16_t keyCode) noexcept {
    return keyCode < tableSize ? groupByCode[keyCode] : KeyGroup::main;
}

std::string_view rawValue(KeyGroup group) noexcept {
    return rawValues[static_cast<std::size_t>(group)];
}

std::optional<KeyGroup> keyGroupFromRawValue(std::string_view name) noexcept {
    const auto* const found = std::find(rawValues.begin(), rawValues.end(), name);
    if (found == rawValues.end()) {
        return std::nullopt;
    }
    return allKeyGroups[static_cast<std::size_t>(found - rawValues.begin())];
}

} // namespace keysong
