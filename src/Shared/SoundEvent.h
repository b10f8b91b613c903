#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace keysong {

/// Which mouse button; the number of a further button is not kept.
enum class MouseButton : std::uint8_t { left, right, other };

/// The one value that crosses from input capture into the rest of the system: what happened to which key
/// or button, and nothing about what was typed.
///
/// A small immutable value, free to copy and safe on every thread. The absence of an event is an empty
/// `std::optional<SoundEvent>`.
class SoundEvent {
  public:
    /// In this order; the order is the ordinal that is hashed.
    enum class Kind : std::uint8_t { keyDown, keyUp, mouseDown, mouseUp, scrollTick };

    /// Key codes are virtual key codes; all 16 bits are kept, consumers bound them for their tables.
    [[nodiscard]] static constexpr SoundEvent keyDown(std::uint16_t code) { return {Kind::keyDown, code}; }
    [[nodiscard]] static constexpr SoundEvent keyUp(std::uint16_t code) { return {Kind::keyUp, code}; }
    [[nodiscard]] static constexpr SoundEvent mouseDown(MouseButton button) {
        return {Kind::mouseDown, static_cast<std::uint16_t>(button)};
    }
    [[nodiscard]] static constexpr SoundEvent mouseUp(MouseButton button) {
        return {Kind::mouseUp, static_cast<std::uint16_t>(button)};
    }
    [[nodiscard]] static constexpr SoundEvent scrollTick() { return {Kind::scrollTick, 0}; }

    [[nodiscard]] constexpr Kind kind() const { return kind_; }
    [[nodiscard]] constexpr bool isKey() const { return kind_ == Kind::keyDown || kind_ == Kind::keyUp; }
    /// The key code; meaningful for key events only.
    [[nodiscard]] constexpr std::uint16_t keyCode() const { return payload_; }
    /// The button; meaningful for mouse events only.
    [[nodiscard]] constexpr MouseButton button() const { return static_cast<MouseButton>(payload_); }

    friend constexpr bool operator==(const SoundEvent&, const SoundEvent&) = default;

  private:
    constexpr SoundEvent(Kind kind, std::uint16_t payload) : kind_(kind), payload_(payload) {}

    Kind kind_;
    std::uint16_t payload_;
};

/// "left", "right" or "other".
[[nodiscard]] constexpr const char* nameOf(MouseButton button) {
    switch (button) {
    case MouseButton::left:
        return "left";
    case MouseButton::right:
        return "right";
    case MouseButton::other:
        break;
    }
    return "other";
}

} // namespace keysong

template <>
struct std::hash<keysong::SoundEvent> {
    std::size_t operator()(const keysong::SoundEvent& event) const noexcept {
        const auto ordinal = static_cast<std::size_t>(event.kind());
        const std::size_t payload =
            event.kind() == keysong::SoundEvent::Kind::scrollTick ? 0 : event.keyCode();
        return std::hash<std::size_t>{}(ordinal << 16 | payload);
    }
};
