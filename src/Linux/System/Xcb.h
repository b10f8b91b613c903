#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace keysong {

struct FreeXcbMemory {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

/// A reply, event or error of xcb's, which its receiver frees. Null where the server gave none.
template <typename Reply>
using XcbRef = std::unique_ptr<Reply, FreeXcbMemory>;

/// Takes over what an xcb function returned.
template <typename Reply>
[[nodiscard]] XcbRef<Reply> xcbRef(Reply* reply) {
    return XcbRef<Reply>(reply);
}

struct DisconnectXcb {
    void operator()(xcb_connection_t* connection) const noexcept { xcb_disconnect(connection); }
};
/// A connection to a display, which ends with it.
using XcbConnection = std::unique_ptr<xcb_connection_t, DisconnectXcb>;

/// Connects to a display, the one of DISPLAY for null, and tells its preferred screen unless `screen` is
/// null; like `xcb_connect`, whose look for the display's key is not safe on two threads at once. Any thread
/// but the render and event-tap threads.
[[nodiscard]] xcb_connection_t* connectXcb(const char* display, int* screen);

/// The root window of a screen, or of the last one where there are fewer; XCB_WINDOW_NONE without a server.
/// Any thread that may use the connection.
[[nodiscard]] xcb_window_t rootWindow(xcb_connection_t* connection, int screen);

/// Whether an X server runs inside a Wayland session: it then sees only the keys of its own windows. Round
/// trips to the server; the thread that uses the connection.
[[nodiscard]] bool isXwayland(xcb_connection_t* connection, xcb_window_t root);

} // namespace keysong
