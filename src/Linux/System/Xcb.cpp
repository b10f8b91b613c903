#include "Linux/System/Xcb.h"

#include <xcb/randr.h>

#include <mutex>
#include <string_view>

namespace keysong {

namespace {

constexpr std::string_view extensionAndOutput = "XWAYLAND";

bool firstOutputIsXwayland(xcb_connection_t* connection, xcb_window_t root) {
    const auto version =
        xcbRef(xcb_randr_query_version_reply(connection, xcb_randr_query_version(connection, 1, 3), nullptr));
    const auto resources = xcbRef(xcb_randr_get_screen_resources_current_reply(
        connection, xcb_randr_get_screen_resources_current(connection, root), nullptr));
    if (version == nullptr || resources == nullptr || resources->num_outputs == 0) {
        return false;
    }
    const xcb_randr_output_t first = *xcb_randr_get_screen_resources_current_outputs(resources.get());
    const auto output = xcbRef(xcb_randr_get_output_info_reply(
        connection, xcb_randr_get_output_info(connection, first, resources->config_timestamp), nullptr));
    if (output == nullptr) {
        return false;
    }
    const std::string_view name(
        reinterpret_cast<const char*>(xcb_randr_get_output_info_name(output.get())),
        static_cast<std::size_t>(xcb_randr_get_output_info_name_length(output.get())));
    return name.starts_with(extensionAndOutput);
}

} // namespace

xcb_connection_t* connectXcb(const char* display, int* screen) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    return xcb_connect(display, screen);
}

xcb_window_t rootWindow(xcb_connection_t* connection, int screen) {
    const auto* setup = xcb_get_setup(connection);
    if (setup == nullptr) {
        return XCB_WINDOW_NONE;
    }
    auto screens = xcb_setup_roots_iterator(setup);
    for (; screens.rem > 1 && screen > 0; --screen) {
        xcb_screen_next(&screens);
    }
    return screens.rem == 0 ? xcb_window_t{XCB_WINDOW_NONE} : screens.data->root;
}

bool isXwayland(xcb_connection_t* connection, xcb_window_t root) {
    const auto extension = xcbRef(xcb_query_extension_reply(
        connection, xcb_query_extension(connection, extensionAndOutput.size(), extensionAndOutput.data()),
        nullptr));
    if (extension != nullptr && extension->present != 0) {
        return true;
    }
    // Those before 23.1 lack the extension and show themselves by their outputs. They have input devices of
    // their own too, but only once the session has some.
    const auto* outputs = xcb_get_extension_data(connection, &xcb_randr_id);
    return outputs != nullptr && outputs->present != 0 && firstOutputIsXwayland(connection, root);
}

} // namespace keysong
