#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace keysong {

/// What a Linux key stands for in the virtual key codes that the program speaks.
struct KeyMeaning {
    enum class Kind : std::uint8_t {
        /// An ordinary key; `code` is its virtual key code.
        key,
        /// No key at all: a mouse or joystick button, a direction pad, the reserved code.
        none,
        /// A key whose press and release change the flag word; `code` and `flags` are its own.
        modifier,
        /// Caps Lock, whose every press toggles its flag.
        capsLock,
        /// A media, brightness or keyboard-light key; `code` is its auxiliary key type.
        media,
    };

    Kind kind = Kind::key;
    std::uint16_t code = 0;
    /// The general and the device-dependent bit that a modifier sets.
    std::uint64_t flags = 0;
};

/// The meaning of a Linux key code (KEY_*). A key with no counterpart gets a code between 128 and 255 that
/// no other meaning uses, so that it still sounds. Any thread; real-time safe.
[[nodiscard]] KeyMeaning keyMeaningOf(std::uint16_t linuxCode) noexcept;

/// The virtual key code of a Linux key as a sound set's manifest names it; none for a button, and for a media
/// key, which sounds as the key that it shares its cap with. Any thread; real-time safe.
[[nodiscard]] std::optional<std::uint8_t> soundKeyOf(std::uint16_t linuxCode) noexcept;

/// The Linux key codes (KEY_*) of the ordinary keys that have this virtual key code; empty when there is
/// none. Any thread but the render thread.
[[nodiscard]] std::vector<std::uint16_t> linuxCodesOf(std::uint32_t keyCode);

} // namespace keysong
