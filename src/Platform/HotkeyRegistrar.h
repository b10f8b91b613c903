#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace keysong {

/// The outcome of a hotkey operation: `noErr` or the number of what went wrong, as it stands in the log.
using HotkeyStatus = std::int32_t;
inline constexpr HotkeyStatus noErr = 0;
/// There was no event to handle.
inline constexpr HotkeyStatus eventNotHandledErr = -9874;
/// The combination belongs to another program, or to another hotkey of this one.
inline constexpr HotkeyStatus eventHotKeyExistsErr = -9878;
/// The combination has no key on this machine, or no modifier.
inline constexpr HotkeyStatus eventHotKeyInvalidErr = -9879;

/// The modifier bits of a key combination.
enum HotkeyModifiers : std::uint32_t {
    commandKey = 0x0100,
    shiftKey = 0x0200,
    optionKey = 0x0800,
    controlKey = 0x1000,
};

/// A virtual key code and the modifiers (`HotkeyModifiers`) that must be held with it, and no others.
/// The locks (Caps Lock, Num Lock, Scroll Lock) do not matter.
struct HotkeyCombination {
    std::uint32_t keyCode = 0;
    std::uint32_t modifiers = 0;

    bool operator==(const HotkeyCombination&) const = default;
};

/// What a registration is known by. Ids are unique in the process and never used again.
struct HotkeyIdentity {
    /// A four-character code.
    std::uint32_t signature = 0;
    std::uint32_t id = 0;

    bool operator==(const HotkeyIdentity&) const = default;
};

/// One press of a registered combination.
struct HotkeyEvent {
    /// With what outcome the machine read the identity; it counts only with `noErr`.
    HotkeyStatus identityStatus = noErr;
    HotkeyIdentity identity;
};

/// The machine's global hotkeys: combinations that reach the program whichever application is in front.
///
/// Main thread only. The handlers run there too, through the task queue that the implementation was given,
/// never from inside a call of this interface, and not any more once the registrar is gone.
class HotkeyRegistrar {
  public:
    struct Handlers {
        /// A registered combination was pressed; once for each press, however long it is held. The event
        /// is valid during the call.
        std::function<HotkeyStatus(const HotkeyEvent* event)> pressed;
        /// A registration that had been accepted is refused after all, since the answer took its time (the
        /// desktop asks the user) or the combination was lost to another program meanwhile. It is then
        /// no longer registered.
        std::function<void(HotkeyIdentity identity, HotkeyStatus status)> refused;
    };

    virtual ~HotkeyRegistrar() = default;

    /// Sets the handlers of all registrations. Call once, before the first registration.
    virtual void installHandlers(Handlers handlers) = 0;

    /// Asks for a combination. Anything but `noErr` is a refusal and leaves nothing registered. May take a
    /// round trip to the display server.
    [[nodiscard]] virtual HotkeyStatus registerHotkey(HotkeyCombination combination,
                                                      HotkeyIdentity identity) = 0;

    /// Gives a combination back. Does nothing for an unknown identity. A press that was under way may
    /// still be delivered.
    virtual void unregisterHotkey(HotkeyIdentity identity) = 0;

    /// What serves the hotkeys at the moment: "x11" (the display server), "portal" (the desktop), or
    /// "input" (recognised among the events that the program hears anyway).
    [[nodiscard]] virtual std::string_view way() const = 0;

  protected:
    HotkeyRegistrar() = default;
    HotkeyRegistrar(const HotkeyRegistrar&) = default;
    HotkeyRegistrar& operator=(const HotkeyRegistrar&) = default;
};

} // namespace keysong
