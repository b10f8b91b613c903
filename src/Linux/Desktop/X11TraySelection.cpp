#include "Linux/Desktop/X11TraySelection.h"

#include "Linux/System/Xcb.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace keysong {

namespace {

class X11TraySelection final : public TraySelection {
  public:
    X11TraySelection(XcbConnection connection, int screen)
        : connection_(std::move(connection)), descriptor_(xcb_get_file_descriptor(connection_.get())),
          selection_(atom("_NET_SYSTEM_TRAY_S" + std::to_string(screen))), manager_(atom("MANAGER")) {
        if (const xcb_window_t root = rootWindow(connection_.get(), screen); root != XCB_WINDOW_NONE) {
            // A new owner announces itself to whoever selects this.
            (void)select(root);
        }
        findOwner();
        // What came with the answers would not show at the descriptor any more.
        dispatch();
    }

    [[nodiscard]] bool isOwned() const override { return owner_ != XCB_WINDOW_NONE; }
    [[nodiscard]] int descriptor() const override { return descriptor_; }

    bool dispatch() override {
        while (const auto event = xcbRef(xcb_poll_for_event(connection_.get()))) {
            if (concernsOwner(*event)) {
                findOwner();
            }
        }
        if (xcb_connection_has_error(connection_.get()) != 0) {
            owner_ = XCB_WINDOW_NONE;
            return false;
        }
        return true;
    }

  private:
    [[nodiscard]] xcb_atom_t atom(std::string_view name) const {
        const auto reply = xcbRef(xcb_intern_atom_reply(
            connection_.get(),
            xcb_intern_atom(connection_.get(), 0, static_cast<std::uint16_t>(name.size()), name.data()),
            nullptr));
        return reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
    }

    /// Asks to be told of the window's end; false when it has ended already.
    [[nodiscard]] bool select(xcb_window_t window) const {
        const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        return xcbRef(xcb_request_check(connection_.get(),
                                        xcb_change_window_attributes_checked(
                                            connection_.get(), window, XCB_CW_EVENT_MASK, &mask))) == nullptr;
    }

    [[nodiscard]] bool concernsOwner(const xcb_generic_event_t& event) const {
        const int type = event.response_type & ~0x80;
        if (type == XCB_CLIENT_MESSAGE) {
            const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
            return message.type == manager_ && message.data.data32[1] == selection_;
        }
        return type == XCB_DESTROY_NOTIFY &&
               reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window == owner_;
    }

    void findOwner() {
        do {
            const auto reply = xcbRef(xcb_get_selection_owner_reply(
                connection_.get(), xcb_get_selection_owner(connection_.get(), selection_), nullptr));
            owner_ = reply == nullptr ? xcb_window_t{XCB_WINDOW_NONE} : reply->owner;
        } while (owner_ != XCB_WINDOW_NONE && !select(owner_));
    }

    const XcbConnection connection_;
    const int descriptor_;
    const xcb_atom_t selection_;
    const xcb_atom_t manager_;
    xcb_window_t owner_ = XCB_WINDOW_NONE;
};

} // namespace

std::unique_ptr<TraySelection> makeX11TraySelection() {
    int screen = 0;
    XcbConnection connection(connectXcb(nullptr, &screen));
    if (xcb_connection_has_error(connection.get()) != 0) {
        return nullptr;
    }
    return std::make_unique<X11TraySelection>(std::move(connection), screen);
}

} // namespace keysong
