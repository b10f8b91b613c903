#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// Values: what desktops let people choose of pointers, as far as it decides which button a click is, or
/// whether it is one. Any thread but the render thread.

/// Which buttons a tap of one, two and three fingers is.
enum class TapButtons : std::uint8_t { leftRightMiddle, leftMiddleRight };
/// How a touchpad without buttons tells which one is clicked: not, by place, or by the number of fingers.
enum class ClickMethod : std::uint8_t { none, areas, fingers };

/// The choices for one pointer; what is not chosen is as libinput has it, with taps on.
struct PointerSettings {
    /// Whether the device is used at all.
    std::optional<bool> enabled{};
    std::optional<bool> tap{};
    std::optional<TapButtons> tapButtons{};
    std::optional<ClickMethod> clickMethod{};
    std::optional<bool> leftHanded{};
    /// Whether both buttons together are the middle one.
    std::optional<bool> middleEmulation{};

    bool operator==(const PointerSettings&) const = default;
};

/// A pointer, as desktops name them.
struct PointerDevice {
    bool isTouchpad = false;
    std::uint32_t vendor = 0;
    std::uint32_t product = 0;
    std::string name{};
    /// Such as /dev/input/event3.
    std::string node{};
};

/// Choices, and for which pointers they are.
struct PointerRule {
    enum class Kind : std::uint8_t { any, touchpad, mouse };

    Kind kind = Kind::any;
    /// Where these are set, only for pointers with the same.
    std::optional<std::uint32_t> vendor{};
    std::optional<std::uint32_t> product{};
    std::string name{};
    std::string node{};
    PointerSettings settings{};

    bool operator==(const PointerRule&) const = default;
};

using PointerRules = std::vector<PointerRule>;

/// The choices for a pointer: of several rules for it the last one that has chosen.
[[nodiscard]] PointerSettings settingsOf(const PointerDevice& device, const PointerRules& rules);

} // namespace keysong
