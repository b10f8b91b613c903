#include "Platform/linux/Xcb.h"

#include <xcb/xinput.h>

#include <string_view>

namespace keysong {

bool isXwayland(xcb_connection_t* connection) {
    constexpr std::string_view extension = "XWAYLAND";
    const auto present = xcbRef(xcb_query_extension_reply(
        connection, xcb_query_extension(connection, extension.size(), extension.data()), nullptr));
    if (present != nullptr && present->present != 0) {
        return true;
    }
    // Older ones show themselves by their devices only.
    const auto* input = xcb_get_extension_data(connection, &xcb_input_id);
    if (input == nullptr || input->present == 0) {
        return false;
    }
    const auto devices = xcbRef(
        xcb_input_list_input_devices_reply(connection, xcb_input_list_input_devices(connection), nullptr));
    if (devices == nullptr) {
        return false;
    }
    for (auto names = xcb_input_list_input_devices_names_iterator(devices.get()); names.rem > 0;
         xcb_str_next(&names)) {
        const std::string_view name(xcb_str_name(names.data),
                                    static_cast<std::size_t>(xcb_str_name_length(names.data)));
        if (name.starts_with("xwayland-")) {
            return true;
        }
    }
    return false;
}

} // namespace keysong
