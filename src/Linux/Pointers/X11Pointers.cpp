#include "Linux/Input/XInputDevices.h"
#include "Linux/Pointers/PointerSource.h"
#include "Linux/System/ServiceThread.h"

#include <array>
#include <utility>

namespace keysong {

namespace {

/// Longer than any of the properties, in words of four bytes.
constexpr std::uint32_t longestProperty = 64;
constexpr std::chrono::seconds untilNextTry{10};

class X11Pointers final : public PointerSource {
  public:
    X11Pointers(std::string display, Threads& threads, PublishRules publish)
        : display_(std::move(display)), publish_(std::move(publish)),
          thread_(threads, {"com.orlen.keysong.pointers", "pointers"}) {
        thread_.async([this] { open(); });
    }

  private:
    enum Property { node, enabled, tap, tapButtons, clickMethod, leftHanded, middleEmulation, propertyCount };
    static constexpr std::array<std::string_view, propertyCount> names = {
        "Device Node",
        "libinput Send Events Mode Enabled",
        "libinput Tapping Enabled",
        "libinput Tapping Button Mapping Enabled",
        "libinput Click Method Enabled",
        "libinput Left Handed Enabled",
        "libinput Middle Emulation Enabled"};

    void open() {
        int screen = 0;
        connection_.reset(connectXcb(display_.c_str(), &screen));
        root_ = isLost() ? xcb_window_t{XCB_WINDOW_NONE} : rootWindow(connection_.get(), screen);
        const auto* extension = isLost() ? nullptr : xcb_get_extension_data(connection_.get(), &xcb_input_id);
        if (extension == nullptr) {
            lose();
            return;
        }
        if (extension->present == 0 || isXwayland(connection_.get(), root_)) {
            return; // there it is the desktop that knows
        }
        extension_ = extension->major_opcode;
        select();
        thread_.loop().watch(xcb_get_file_descriptor(connection_.get()), [this] { dispatch(); });
        changed_ = true;
        dispatch();
    }

    void select() {
        const auto version = xcbRef(xcb_input_xi_query_version_reply(
            connection_.get(), xcb_input_xi_query_version(connection_.get(), 2, 2), nullptr));
        struct Mask {
            xcb_input_event_mask_t head;
            std::uint32_t events;
        };
        const Mask mask{{XCB_INPUT_DEVICE_ALL, 1},
                        XCB_INPUT_XI_EVENT_MASK_HIERARCHY | XCB_INPUT_XI_EVENT_MASK_PROPERTY};
        xcb_input_xi_select_events(connection_.get(), root_, 1, &mask.head);
        for (std::size_t i = 0; i < propertyCount; ++i) {
            const auto cookie = xcb_intern_atom(
                connection_.get(), 0, static_cast<std::uint16_t>(names.at(i).size()), names.at(i).data());
            const auto atom = xcbRef(xcb_intern_atom_reply(connection_.get(), cookie, nullptr));
            atoms_.at(i) = atom == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : atom->atom;
        }
    }

    [[nodiscard]] bool isLost() const { return xcb_connection_has_error(connection_.get()) != 0; }

    /// The server has gone, or never came: it may come back.
    void lose() {
        connection_.reset();
        thread_.asyncAfter(untilNextTry, [this] { open(); });
    }

    void dispatch() {
        // Waiting for an answer takes in events too, for which nothing else would wake this thread.
        while (takeEvents() && !isLost()) {
            publish_(rules());
        }
        if (isLost()) {
            thread_.loop().unwatch(xcb_get_file_descriptor(connection_.get()));
            lose();
        }
    }

    /// Whether something has changed since the last time.
    bool takeEvents() {
        bool changed = std::exchange(changed_, false);
        while (const auto event = xcbRef(xcb_poll_for_event(connection_.get()))) {
            const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(*event);
            changed = changed || (event->response_type == XCB_GE_GENERIC && generic.extension == extension_);
        }
        return changed;
    }

    PointerRules rules() {
        PointerRules rules;
        forEachXInputDevice(connection_.get(), [&](std::uint16_t device, std::string_view) {
            PointerRule rule;
            rule.node = property(device, node);
            while (rule.node.ends_with('\0')) {
                rule.node.pop_back();
            }
            if (!rule.node.empty()) {
                rule.settings = settings(device);
                rules.push_back(std::move(rule));
            }
        });
        return rules;
    }

    PointerSettings settings(std::uint16_t device) {
        PointerSettings found;
        const auto flag = [](const std::string& bytes, std::size_t index) {
            return index < bytes.size() ? std::optional(bytes[index] != 0) : std::nullopt;
        };
        const auto disabled = flag(property(device, enabled), 0);
        found.enabled = disabled ? std::optional(!*disabled) : std::nullopt;
        found.tap = flag(property(device, tap), 0);
        found.leftHanded = flag(property(device, leftHanded), 0);
        found.middleEmulation = flag(property(device, middleEmulation), 0);
        // One flag for each choice, in this order.
        const std::string buttons = property(device, tapButtons);
        if (buttons.size() >= 2) {
            found.tapButtons = buttons[1] != 0 ? TapButtons::leftMiddleRight : TapButtons::leftRightMiddle;
        }
        const std::string method = property(device, clickMethod);
        if (method.size() >= 2) {
            found.clickMethod = method[0] != 0   ? ClickMethod::areas
                                : method[1] != 0 ? ClickMethod::fingers
                                                 : ClickMethod::none;
        }
        return found;
    }

    std::string property(std::uint16_t device, Property which) {
        return xinputPropertyBytes(connection_.get(),
                                   xcb_input_xi_get_property(connection_.get(), device, 0, atoms_.at(which),
                                                             XCB_ATOM_ANY, 0, longestProperty));
    }

    const std::string display_;
    const PublishRules publish_;
    XcbConnection connection_;
    xcb_window_t root_ = XCB_WINDOW_NONE;
    std::uint8_t extension_ = 0;
    std::array<xcb_atom_t, propertyCount> atoms_{};
    bool changed_ = false;
    ServiceThread thread_;
};

} // namespace

std::unique_ptr<PointerSource> followX11Pointers(std::string display, Threads& threads,
                                                 PublishRules publish) {
    return std::make_unique<X11Pointers>(std::move(display), threads, std::move(publish));
}

} // namespace keysong
