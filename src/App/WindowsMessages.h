#pragma once

#include "App/KeyBitmap.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace keysong {

// What the program and the program that shows its windows tell each other. Each message has a form of its own
// and begins with the number of the whole set of forms: two programs of different versions do not understand
// each other, and neither guesses. All functions are pure; any thread.

enum class WindowKind : std::uint8_t { settings, onboarding };

/// To the windows: show one, in front of all others.
struct ShowWindow {
    WindowKind window = WindowKind::settings;
    /// The desktop's leave to take the focus; empty for none, and then nothing longer than `longestToken`.
    std::string activationToken;

    static constexpr std::size_t longestToken = 1024;
    friend bool operator==(const ShowWindow&, const ShowWindow&) = default;
};

/// To the windows: the keys that are held now.
struct KeysHeld {
    KeyBitmap down{};

    friend bool operator==(const KeysHeld&, const KeysHeld&) = default;
};

/// To the windows: where the program's symbol is.
struct PanelState {
    /// Whether some panel shows it.
    bool isShown = false;
    /// Whether the windows' program shall put it into the tray of an X panel.
    bool serveTray = false;

    friend bool operator==(const PanelState&, const PanelState&) = default;
};

/// To the windows: how many keys were pressed so far.
struct KeysCounted {
    std::int64_t total = 0;

    friend bool operator==(const KeysCounted&, const KeysCounted&) = default;
};

/// From the windows: what `ShowWindow` asked for was done.
struct WindowShown {
    WindowKind window = WindowKind::settings;

    friend bool operator==(const WindowShown&, const WindowShown&) = default;
};

/// From the windows: whether a keyboard can be seen that shows the keys.
struct WatchKeys {
    bool isWatching = false;

    friend bool operator==(const WatchKeys&, const WatchKeys&) = default;
};

using MessageToWindows = std::variant<ShowWindow, KeysHeld, PanelState, KeysCounted>;
using MessageFromWindows = std::variant<WindowShown, WatchKeys>;

/// A token that is too long is left out.
[[nodiscard]] std::vector<std::byte> encoded(const MessageToWindows& message);
[[nodiscard]] std::vector<std::byte> encoded(const MessageFromWindows& message);

/// Nothing for bytes that are not exactly a message of this version.
[[nodiscard]] std::optional<MessageToWindows> decodedToWindows(std::span<const std::byte> bytes);
[[nodiscard]] std::optional<MessageFromWindows> decodedFromWindows(std::span<const std::byte> bytes);

} // namespace keysong
