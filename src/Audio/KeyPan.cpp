#include "Audio/KeyPan.h"

#include "Shared/NumberText.h"

#include <array>
#include <cmath>
#include <cstddef>

namespace keysong {

namespace {

/// Base positions by key code, -1 (left edge of the board) to 1. 0 also stands for no place, which sounds
/// the same.
using PanTable = std::array<float, 256>;

/// The board is 15 key units wide; `x` is a key's left edge in key units.
constexpr float basePosition(double x) {
    return static_cast<float>(x / 15.0 * 2.0 - 1.0);
}

template <std::size_t Count>
constexpr void placeEvenRow(PanTable& table, double start, const std::array<std::uint8_t, Count>& codes) {
    for (std::size_t i = 0; i < Count; ++i) {
        table[codes[i]] = basePosition(start + static_cast<double>(i));
    }
}

struct PlacedKey {
    std::uint8_t code;
    double x;
};

constexpr std::array placedKeys{
    PlacedKey{59, 0.63},   // Control
    PlacedKey{58, 1.88},   // Option
    PlacedKey{55, 3.13},   // Command
    PlacedKey{49, 6.88},   // Space
    PlacedKey{54, 10.63},  // right Command
    PlacedKey{61, 11.88},  // right Option
    PlacedKey{123, 12.75}, // Left
    PlacedKey{125, 13.5},  // Down
    PlacedKey{126, 13.5},  // Up
    PlacedKey{124, 14.25}, // Right
};

constexpr PanTable makeTable() {
    PanTable table{};
    placeEvenRow<14>(table, 0.0, {50, 18, 19, 20, 21, 23, 22, 26, 28, 25, 29, 27, 24, 51});
    placeEvenRow<14>(table, 0.75, {48, 12, 13, 14, 15, 17, 16, 32, 34, 31, 35, 33, 30, 42});
    placeEvenRow<13>(table, 1.0, {57, 0, 1, 2, 3, 5, 4, 38, 40, 37, 41, 39, 36});
    placeEvenRow<12>(table, 1.25, {56, 6, 7, 8, 9, 11, 45, 46, 43, 47, 44, 60});
    for (const PlacedKey& key : placedKeys) {
        table[key.code] = basePosition(key.x);
    }
    return table;
}

constexpr PanTable table = makeTable();

} // namespace

float KeyPan::pan(std::uint16_t keyCode) noexcept {
    return keyCode < table.size() ? table[keyCode] * stereoWidth : 0.0F;
}

std::vector<std::string> KeyPan::selfCheck() {
    struct Rule {
        const char* key;
        std::uint16_t code;
        bool (*holds)(float);
    };
    constexpr auto left = [](float pan) { return pan < -0.3F; };
    constexpr auto right = [](float pan) { return pan > 0.25F; };
    constexpr auto nearCentre = [](float pan) { return std::abs(pan) < 0.12F; };
    constexpr auto centre = [](float pan) { return pan == 0.0F; };
    const std::array rules{
        Rule{"Q", 12, left},           Rule{"Z", 6, left},
        Rule{"P", 35, right},          Rule{"/", 44, right},
        Rule{"space", 49, nearCentre}, Rule{"unmapped", 200, centre},
    };
    std::vector<std::string> problems;
    for (const Rule& rule : rules) {
        const float panned = pan(rule.code);
        if (!rule.holds(panned)) {
            problems.push_back(std::string(rule.key) + " panned " + shortestText(panned));
        }
    }
    return problems;
}

} // namespace keysong
