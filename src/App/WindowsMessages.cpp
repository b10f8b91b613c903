#include "App/WindowsMessages.h"

#include <algorithm>
#include <array>

namespace keysong {

namespace {

using Bytes = std::vector<std::byte>;
using View = std::span<const std::byte>;

constexpr std::byte version{2};
enum class Form : std::uint8_t { showWindow = 1, keysHeld, windowShown, watchKeys, panelState, keysCounted };
/// The version and the form.
constexpr std::size_t headSize = 2;
constexpr std::size_t wordSize = sizeof(std::uint64_t);

struct Encoder {
    Bytes operator()(const ShowWindow& message) const {
        Bytes bytes = head(Form::showWindow, static_cast<std::uint8_t>(message.window));
        if (message.activationToken.size() <= ShowWindow::longestToken) {
            for (const char each : message.activationToken) {
                bytes.push_back(static_cast<std::byte>(each));
            }
        }
        return bytes;
    }
    Bytes operator()(const KeysHeld& message) const {
        Bytes bytes{version, std::byte(Form::keysHeld)};
        for (const std::uint64_t word : message.down) {
            append(bytes, word);
        }
        return bytes;
    }
    Bytes operator()(const KeysCounted& message) const {
        Bytes bytes{version, std::byte(Form::keysCounted)};
        append(bytes, static_cast<std::uint64_t>(message.total));
        return bytes;
    }
    Bytes operator()(const PanelState& message) const {
        Bytes bytes = head(Form::panelState, message.isShown ? 1 : 0);
        bytes.push_back(std::byte(message.serveTray ? 1 : 0));
        return bytes;
    }
    Bytes operator()(const WindowShown& message) const {
        return head(Form::windowShown, static_cast<std::uint8_t>(message.window));
    }
    Bytes operator()(const WatchKeys& message) const {
        return head(Form::watchKeys, message.isWatching ? 1 : 0);
    }

  private:
    static Bytes head(Form form, std::uint8_t value) { return {version, std::byte(form), std::byte(value)}; }
    static void append(Bytes& bytes, std::uint64_t word) {
        for (std::size_t i = 0; i < wordSize; ++i) {
            bytes.push_back(static_cast<std::byte>(word >> (8 * i)));
        }
    }
};

/// What follows the head of a message of this form and at least this size; nothing where it is none.
std::optional<View> bodyOf(View bytes, Form form, std::size_t least, std::size_t most) {
    if (bytes.size() < headSize + least || bytes.size() > headSize + most || bytes[0] != version ||
        bytes[1] != std::byte(form)) {
        return std::nullopt;
    }
    return bytes.subspan(headSize);
}

std::uint64_t wordOf(View bytes) {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < wordSize; ++i) {
        word |= std::uint64_t(bytes[i]) << (8 * i);
    }
    return word;
}

std::optional<bool> flagOf(std::byte value) {
    return value <= std::byte(1) ? std::optional(value == std::byte(1)) : std::nullopt;
}

std::optional<WindowKind> windowOf(std::byte value) {
    const auto window = static_cast<WindowKind>(value);
    return window == WindowKind::settings || window == WindowKind::onboarding ? std::optional(window)
                                                                              : std::nullopt;
}

} // namespace

std::vector<std::byte> encoded(const MessageToWindows& message) {
    return std::visit(Encoder(), message);
}

std::vector<std::byte> encoded(const MessageFromWindows& message) {
    return std::visit(Encoder(), message);
}

std::optional<MessageToWindows> decodedToWindows(std::span<const std::byte> bytes) {
    if (const auto body = bodyOf(bytes, Form::showWindow, 1, 1 + ShowWindow::longestToken)) {
        const auto window = windowOf(body->front());
        std::string token;
        std::ranges::transform(body->subspan(1), std::back_inserter(token),
                               [](std::byte each) { return static_cast<char>(each); });
        // It becomes a variable of the environment.
        if (window && token.find('\0') == std::string::npos) {
            return ShowWindow{*window, std::move(token)};
        }
    }
    KeysHeld keys;
    const std::size_t size = keys.down.size() * wordSize;
    if (const auto body = bodyOf(bytes, Form::keysHeld, size, size)) {
        for (std::size_t i = 0; i < keys.down.size(); ++i) {
            keys.down.at(i) = wordOf(body->subspan(i * wordSize));
        }
        return keys;
    }
    if (const auto body = bodyOf(bytes, Form::keysCounted, wordSize, wordSize)) {
        return KeysCounted{static_cast<std::int64_t>(wordOf(*body))};
    }
    if (const auto body = bodyOf(bytes, Form::panelState, 2, 2)) {
        const auto isShown = flagOf(body->front());
        const auto serveTray = flagOf(body->back());
        if (isShown && serveTray) {
            return PanelState{*isShown, *serveTray};
        }
    }
    return std::nullopt;
}

std::optional<MessageFromWindows> decodedFromWindows(std::span<const std::byte> bytes) {
    if (const auto body = bodyOf(bytes, Form::windowShown, 1, 1)) {
        if (const auto window = windowOf(body->front())) {
            return WindowShown{*window};
        }
    }
    if (const auto body = bodyOf(bytes, Form::watchKeys, 1, 1)) {
        if (const auto isWatching = flagOf(body->front())) {
            return WatchKeys{*isWatching};
        }
    }
    return std::nullopt;
}

} // namespace keysong
