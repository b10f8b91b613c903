#include "Linux/Hotkeys/X11KeyGrabs.h"

#include "Linux/Input/KeyCodes.h"
#include "Linux/System/Xcb.h"
#include "Linux/System/XcbKeyboard.h"

#include <X11/keysym.h>

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace keysong {

namespace {

/// X key codes are the kernel's, moved by eight.
constexpr unsigned keycodeOffset = 8;
/// Shift, Lock, Control and Mod1 to Mod5; the bits above are mouse buttons and the layout group.
constexpr std::uint16_t allModifiers = 0xFF;
constexpr int firstFreeModifier = 3;
constexpr int modifierCount = 8;

HotkeyStatus statusOf(const xcb_generic_error_t& error) {
    return error.error_code == XCB_ACCESS ? eventHotKeyExistsErr : eventHotKeyInvalidErr;
}

/// The server's table of symbols, by key code.
class KeySymbols {
  public:
    KeySymbols(xcb_connection_t* connection, xcb_keycode_t first, xcb_keycode_t last) : first_(first) {
        const auto count = static_cast<std::uint8_t>(last - first + 1);
        reply_ = xcbRef(xcb_get_keyboard_mapping_reply(
            connection, xcb_get_keyboard_mapping(connection, first_, count), nullptr));
    }

    [[nodiscard]] bool keyHas(xcb_keycode_t key, xcb_keysym_t wanted) const {
        if (reply_ == nullptr || key < first_) {
            return false;
        }
        const int perKey = reply_->keysyms_per_keycode;
        const int begin = (key - first_) * perKey;
        if (begin + perKey > xcb_get_keyboard_mapping_keysyms_length(reply_.get())) {
            return false;
        }
        const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(reply_.get()) + begin;
        return std::find(symbols, symbols + perKey, wanted) != symbols + perKey;
    }

  private:
    xcb_keycode_t first_;
    XcbRef<xcb_get_keyboard_mapping_reply_t> reply_;
};

} // namespace

std::unique_ptr<X11KeyGrabs> X11KeyGrabs::connect() {
    int screen = 0;
    // The connection is an object even when it failed.
    std::unique_ptr<X11KeyGrabs> grabs(new X11KeyGrabs(connectXcb(nullptr, &screen), screen));
    return grabs->isLost() || isXwayland(grabs->connection_.get(), grabs->root_) ? nullptr : std::move(grabs);
}

X11KeyGrabs::X11KeyGrabs(xcb_connection_t* connection, int screen) : connection_(connection) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    if (isLost() || setup == nullptr) {
        return;
    }
    descriptor_ = xcb_get_file_descriptor(connection);
    firstKeycode_ = setup->min_keycode;
    lastKeycode_ = setup->max_keycode;
    root_ = rootWindow(connection, screen);
    useKeyboardExtension();
    masks_ = readModifiers();
}

void X11KeyGrabs::useKeyboardExtension() {
    xcb_connection_t* connection = connection_.get();
    // Otherwise a held key would seem to be released and pressed again and again.
    if (!useDetectableRepeat(connection)) {
        return;
    }
    // The extension reports mappings to its clients; the core protocol then no longer does.
    constexpr std::uint16_t newKeyboard = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY;
    constexpr std::uint16_t changes = newKeyboard | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr std::uint16_t allParts = 0xFF;
    xcb_xkb_select_events(connection, XCB_XKB_ID_USE_CORE_KBD, changes, 0, newKeyboard, allParts, allParts,
                          nullptr);
    mappingEvent_ = xcb_get_extension_data(connection, &xcb_xkb_id)->first_event;
}

X11KeyGrabs::ModifierMasks X11KeyGrabs::readModifiers() const {
    const auto mapping = xcbRef(xcb_get_modifier_mapping_reply(
        connection_.get(), xcb_get_modifier_mapping(connection_.get()), nullptr));
    ModifierMasks masks;
    if (mapping == nullptr) {
        return masks;
    }
    const KeySymbols symbols(connection_.get(), firstKeycode_, lastKeycode_);
    const int perModifier = mapping->keycodes_per_modifier;
    const xcb_keycode_t* keys = xcb_get_modifier_mapping_keycodes(mapping.get());
    // The first modifier with a key that bears one of the symbols.
    const auto find = [&](std::initializer_list<xcb_keysym_t> wanted, std::uint16_t otherwise) {
        for (int modifier = firstFreeModifier; modifier < modifierCount; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                const xcb_keycode_t key = keys[modifier * perModifier + i];
                if (std::any_of(wanted.begin(), wanted.end(),
                                [&](xcb_keysym_t symbol) { return symbols.keyHas(key, symbol); })) {
                    return static_cast<std::uint16_t>(1U << modifier);
                }
            }
        }
        return otherwise;
    };
    masks.option = find({XK_Alt_L, XK_Alt_R}, masks.option);
    masks.command = find({XK_Super_L, XK_Super_R}, masks.command);
    masks.altGr = find({XK_ISO_Level3_Shift}, 0);
    if (masks.altGr == masks.option || masks.altGr == masks.command) {
        masks.altGr = 0;
    }
    const unsigned locks = find({XK_Num_Lock}, 0) | find({XK_Scroll_Lock}, 0) | XCB_MOD_MASK_LOCK;
    const unsigned others = unsigned{masks.option} | masks.command | masks.altGr;
    masks.locks = static_cast<std::uint16_t>(locks & ~others);
    return masks;
}

X11KeyGrabs::Grab X11KeyGrabs::prepare(HotkeyCombination combination) const {
    Grab grab{combination, {}, 0, {0}};
    for (const std::uint16_t code : linuxCodesOf(combination.keyCode)) {
        const unsigned keycode = code + keycodeOffset;
        if (keycode >= firstKeycode_ && keycode <= lastKeycode_) {
            grab.keycodes.push_back(static_cast<std::uint8_t>(keycode));
        }
    }
    const std::pair<std::uint32_t, unsigned> bits[] = {
        {controlKey, XCB_MOD_MASK_CONTROL}, {shiftKey, XCB_MOD_MASK_SHIFT}, {commandKey, masks_.command}};
    unsigned modifiers = 0;
    for (const auto& [bit, mask] : bits) {
        modifiers |= (combination.modifiers & bit) != 0 ? mask : 0;
    }
    grab.modifiers = static_cast<std::uint16_t>(modifiers);
    if ((combination.modifiers & optionKey) != 0) {
        grab.options = {masks_.option};
        if (masks_.altGr != 0) {
            grab.options.push_back(masks_.altGr);
            grab.options.push_back(static_cast<std::uint16_t>(masks_.option | masks_.altGr));
        }
    }
    return grab;
}

template <typename Use>
void X11KeyGrabs::forEachVariant(const Grab& grab, const Use& use) const {
    for (const std::uint8_t keycode : grab.keycodes) {
        for (const std::uint16_t option : grab.options) {
            // Every subset of the lock bits, down to the empty one.
            for (unsigned locks = masks_.locks;; locks = (locks - 1) & masks_.locks) {
                use(keycode, static_cast<std::uint16_t>(grab.modifiers | option | locks));
                if (locks == 0) {
                    break;
                }
            }
        }
    }
}

HotkeyStatus X11KeyGrabs::apply(const Grab& grab) const {
    std::vector<xcb_void_cookie_t> requests;
    forEachVariant(grab, [&](std::uint8_t keycode, std::uint16_t modifiers) {
        requests.push_back(xcb_grab_key_checked(connection_.get(), 0, root_, modifiers, keycode,
                                                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    });
    HotkeyStatus status = requests.empty() ? eventHotKeyInvalidErr : noErr;
    for (const xcb_void_cookie_t request : requests) {
        if (const auto error = xcbRef(xcb_request_check(connection_.get(), request))) {
            status = statusOf(*error);
        }
    }
    if (status != noErr) {
        cancel(grab); // what was granted of a refused combination
    }
    return status;
}

void X11KeyGrabs::cancel(const Grab& grab) const {
    forEachVariant(grab, [&](std::uint8_t keycode, std::uint16_t modifiers) {
        xcb_ungrab_key(connection_.get(), keycode, root_, modifiers);
    });
    xcb_flush(connection_.get());
}

HotkeyStatus X11KeyGrabs::grab(HotkeyCombination combination) {
    Grab grab = prepare(combination);
    const HotkeyStatus status = apply(grab);
    if (status == noErr) {
        grabs_.push_back(std::move(grab));
    }
    return status;
}

void X11KeyGrabs::ungrab(HotkeyCombination combination) {
    std::erase_if(grabs_, [&](const Grab& grab) {
        if (grab.combination != combination) {
            return false;
        }
        cancel(grab);
        return true;
    });
}

void X11KeyGrabs::dispatch(const std::function<void(HotkeyCombination)>& pressed,
                           const std::function<void(HotkeyCombination, HotkeyStatus)>& lost) {
    // The questions after a change of the mapping may read further events, which nothing else would announce.
    while (readEvents(pressed) && !isLost()) {
        mappingChanged(lost);
    }
}

bool X11KeyGrabs::readEvents(const std::function<void(HotkeyCombination)>& pressed) {
    constexpr unsigned sentByClient = 0x80;
    bool mappingChanges = false;
    while (const auto event = xcbRef(xcb_poll_for_event(connection_.get()))) {
        const unsigned type = event->response_type & ~sentByClient;
        switch (type) {
        case XCB_KEY_PRESS:
            keyPressed(reinterpret_cast<const xcb_key_press_event_t&>(*event), pressed);
            break;
        case XCB_KEY_RELEASE:
            keyReleased(reinterpret_cast<const xcb_key_release_event_t&>(*event));
            break;
        case XCB_MAPPING_NOTIFY:
            mappingChanges = true;
            break;
        default:
            mappingChanges = mappingChanges || type == mappingEvent_;
            break;
        }
    }
    return mappingChanges;
}

void X11KeyGrabs::keyPressed(const xcb_key_press_event_t& event,
                             const std::function<void(HotkeyCombination)>& pressed) {
    if (std::exchange(heldKey_, event.detail) == event.detail) {
        return; // autorepeat
    }
    const std::uint16_t modifiers = event.state & allModifiers & static_cast<std::uint16_t>(~masks_.locks);
    for (const Grab& grab : grabs_) {
        const bool held = std::any_of(grab.options.begin(), grab.options.end(), [&](std::uint16_t option) {
            return (grab.modifiers | option) == modifiers;
        });
        if (held &&
            std::find(grab.keycodes.begin(), grab.keycodes.end(), event.detail) != grab.keycodes.end()) {
            pressed(grab.combination);
            return;
        }
    }
}

void X11KeyGrabs::keyReleased(const xcb_key_release_event_t& event) {
    if (event.detail == heldKey_) {
        heldKey_ = 0;
    }
}

void X11KeyGrabs::mappingChanged(const std::function<void(HotkeyCombination, HotkeyStatus)>& lost) {
    const ModifierMasks masks = readModifiers();
    if (masks == masks_) {
        return;
    }
    const std::vector<Grab> old = std::exchange(grabs_, {});
    for (const Grab& grab : old) {
        cancel(grab);
    }
    masks_ = masks;
    for (const Grab& grab : old) {
        const HotkeyStatus status = this->grab(grab.combination);
        if (status != noErr && !isLost()) {
            lost(grab.combination, status);
        }
    }
}

} // namespace keysong
