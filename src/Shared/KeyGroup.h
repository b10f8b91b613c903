#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace keysong {

/// The classes of keys to which a sound set may give sounds of their own. The order is the order in
/// which a set's groups are loaded.
enum class KeyGroup : std::uint8_t {
    main,
    space,
    enter,
    backspace,
    tab,
    escape,
    modifier,
    function,
    arrow,
    navigation,
    numpad,
};

inline constexpr std::size_t keyGroupCount = 11;

/// Every group, in declaration order.
extern const std::array<KeyGroup, keyGroupCount> allKeyGroups;

/// The group of a virtual key code: total over all 16 bits, codes without a class of their own are
/// `main`. Any thread; real-time safe.
[[nodiscard]] KeyGroup keyGroupOf(std::uint16_t keyCode) noexcept;

/// The group's name in a manifest: "main", "space", ...
[[nodiscard]] std::string_view rawValue(KeyGroup group) noexcept;

/// The group with exactly this name, none for any other text.
[[nodiscard]] std::optional<KeyGroup> keyGroupFromRawValue(std::string_view name) noexcept;

} // namespace keysong
