#pragma once

#include "Linux/System/Xcb.h"
#include "Platform/HotkeyRegistrar.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace keysong {

/// A connection to an X server that grabs key combinations on the root window, whatever the layout and the
/// locks are, and reports their presses.
///
/// One thread at a time, and one that blocks SIGPIPE: xcb raises it when the server has gone. Operations
/// take round trips to the server and may read events with the answers, which the descriptor does not show
/// then: dispatch after each. When the server has gone, all operations do nothing and `isLost` is true.
class X11KeyGrabs {
  public:
    /// Connects to the server that DISPLAY names. Null when none answers, or one inside a Wayland session,
    /// which sees only the keys of its own windows.
    [[nodiscard]] static std::unique_ptr<X11KeyGrabs> connect();

    [[nodiscard]] bool isLost() const { return xcb_connection_has_error(connection_.get()) != 0; }
    /// Readable when there is something to dispatch, and when the server has gone.
    [[nodiscard]] int descriptor() const { return descriptor_; }

    /// Grabs a combination in all its forms, or not at all.
    [[nodiscard]] HotkeyStatus grab(HotkeyCombination combination);
    void ungrab(HotkeyCombination combination);

    /// Handles what the server has sent. `pressed` is told of each press of a grabbed combination, once
    /// however long it is held; `lost` of each grab that did not survive a change of the keyboard mapping.
    void dispatch(const std::function<void(HotkeyCombination)>& pressed,
                  const std::function<void(HotkeyCombination, HotkeyStatus)>& lost);

  private:
    /// Which bits of an X modifier state mean what, as the server's mapping has it.
    struct ModifierMasks {
        std::uint16_t option = XCB_MOD_MASK_1;
        std::uint16_t command = XCB_MOD_MASK_4;
        /// The right Alt key where the layout has made it AltGr: it stands for Option too. 0 where there is
        /// none.
        std::uint16_t altGr = 0;
        std::uint16_t locks = XCB_MOD_MASK_LOCK;

        bool operator==(const ModifierMasks&) const = default;
    };
    struct Grab {
        HotkeyCombination combination;
        std::vector<std::uint8_t> keycodes;
        std::uint16_t modifiers = 0;
        /// The modifiers by which Option can be held: Alt, AltGr, both. One that changes nothing where the
        /// combination has no Option.
        std::vector<std::uint16_t> options;
    };

    X11KeyGrabs(xcb_connection_t* connection, int screen);

    void useKeyboardExtension();
    [[nodiscard]] ModifierMasks readModifiers() const;
    [[nodiscard]] Grab prepare(HotkeyCombination combination) const;
    [[nodiscard]] HotkeyStatus apply(const Grab& grab) const;
    void cancel(const Grab& grab) const;
    /// Calls `use` with each keycode, each way to hold Option and each state of the locks.
    template <typename Use>
    void forEachVariant(const Grab& grab, const Use& use) const;
    /// Whether the mapping changed.
    bool readEvents(const std::function<void(HotkeyCombination)>& pressed);
    void keyPressed(const xcb_key_press_event_t& event,
                    const std::function<void(HotkeyCombination)>& pressed);
    void keyReleased(const xcb_key_release_event_t& event);
    void mappingChanged(const std::function<void(HotkeyCombination, HotkeyStatus)>& lost);

    XcbConnection connection_;
    // Kept apart: the library forgets them when the server has gone.
    int descriptor_ = -1;
    xcb_window_t root_ = XCB_WINDOW_NONE;
    std::uint8_t firstKeycode_ = 0;
    std::uint8_t lastKeycode_ = 0;
    /// The keyboard extension's event type, of which only changes of the mapping are selected.
    unsigned mappingEvent_ = XCB_MAPPING_NOTIFY;
    ModifierMasks masks_;
    std::vector<Grab> grabs_;
    /// The key that went down last among those that came here, while it is down.
    std::uint8_t heldKey_ = 0;
};

} // namespace keysong
