#include "fakes/FakeTray.h"

#include <utility>

namespace keysong::test {

namespace {

constexpr std::uint16_t side = 24;
constexpr std::uint32_t requestDock = 0;
constexpr std::uint32_t embeddedNotify = 0;

} // namespace

FakeTray::FakeTray(const std::string& display)
    : connection_(connectXcb(display.c_str(), nullptr)), root_(rootWindow(connection_.get(), 0)),
      panel_(xcb_generate_id(connection_.get())), opcode_(atom("_NET_SYSTEM_TRAY_OPCODE")),
      xembed_(atom("_XEMBED")) {
    auto* const connection = connection_.get();
    const std::uint32_t overrideRedirect = 1;
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, panel_, root_, 0, 0, side, side, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
                      &overrideRedirect);
    xcb_map_window(connection, panel_);
    const xcb_atom_t selection = atom("_NET_SYSTEM_TRAY_S0");
    xcb_set_selection_owner(connection, panel_, selection, XCB_CURRENT_TIME);
    xcb_client_message_data_t announcement{};
    announcement.data32[1] = selection;
    announcement.data32[2] = panel_;
    tell(root_, XCB_EVENT_MASK_STRUCTURE_NOTIFY, atom("MANAGER"), announcement);
}

void FakeTray::process() {
    while (const auto event = xcbRef(xcb_poll_for_event(connection_.get()))) {
        if ((event->response_type & ~0x80) == XCB_CLIENT_MESSAGE) {
            const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
            if (message.type == opcode_ && message.data.data32[1] == requestDock) {
                embed(message.data.data32[2]);
            }
        }
    }
}

void FakeTray::embed(xcb_window_t window) {
    xcb_reparent_window(connection_.get(), window, panel_, 0, 0);
    const std::uint32_t size[] = {side, side};
    xcb_configure_window(connection_.get(), window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
    xcb_map_window(connection_.get(), window);
    xcb_client_message_data_t embedding{};
    embedding.data32[1] = embeddedNotify;
    embedding.data32[3] = panel_;
    tell(window, XCB_EVENT_MASK_NO_EVENT, xembed_, embedding);
}

int FakeTray::symbols() const {
    const auto reply =
        xcbRef(xcb_query_tree_reply(connection_.get(), xcb_query_tree(connection_.get(), panel_), nullptr));
    return reply ? static_cast<int>(reply->children_len) : 0;
}

void FakeTray::pointAtSymbol() const {
    xcb_warp_pointer(connection_.get(), XCB_NONE, root_, 0, 0, 0, 0, side / 2, side / 2);
    // A round trip: another client may click as soon as this returns.
    (void)xcbRef(
        xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
}

xcb_atom_t FakeTray::atom(std::string_view name) const {
    const auto reply = xcbRef(xcb_intern_atom_reply(
        connection_.get(),
        xcb_intern_atom(connection_.get(), 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    return reply->atom;
}

void FakeTray::tell(xcb_window_t window, std::uint32_t mask, xcb_atom_t type,
                    const xcb_client_message_data_t& data) const {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    event.data = data;
    xcb_send_event(connection_.get(), 0, window, mask, reinterpret_cast<const char*>(&event));
    xcb_flush(connection_.get());
}

} // namespace keysong::test
