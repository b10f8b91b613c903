#pragma once

#include "Platform/RawEvent.h"
#include "Shared/SoundEvent.h"

#include <cstdint>
#include <optional>

namespace keysong {

/// Turns one raw input event into at most one sound event: the rules of what makes a sound.
///
/// Drops what software posted, autorepeat, held media keys and scroll momentum; tells a modifier's press
/// from its release; folds special and media keys into the F-key codes of their places on the board; turns
/// scrolling into ticks. It does not look at the user's settings.
///
/// A value owned by one event tap and used by that tap's thread only. Real-time safe.
class EventDecoder {
  public:
    /// Decodes one event; none when it makes no sound.
    [[nodiscard]] std::optional<SoundEvent> decode(RawEventType type, const RawEvent& event) noexcept;

  private:
    std::optional<SoundEvent> decodeFlagsChanged(const RawEvent& event) noexcept;
    std::optional<SoundEvent> decodeScroll(const RawEvent& event) noexcept;
    static std::optional<SoundEvent> decodeMediaKey(const RawEvent& event) noexcept;
    static std::optional<std::uint16_t> mediaKeyCode(std::int64_t keyType) noexcept;

    /// The flag word of the previous flags-changed event, without the non-coalesced bit.
    std::uint64_t lastFlags_ = 0;
    /// Points of continuous vertical scrolling gathered toward the next tick.
    double scrollPixels_ = 0;
};

} // namespace keysong
