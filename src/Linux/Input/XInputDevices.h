#pragma once

#include "Linux/System/Xcb.h"

#include <xcb/xinput.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace keysong {

/// Questions about the input devices of an X server. They wait for its answer. Any thread that may use the
/// connection.

/// A property's bytes; none when the device lacks it or is gone, and for properties of larger elements.
[[nodiscard]] inline std::string xinputPropertyBytes(xcb_connection_t* connection,
                                                     xcb_input_xi_get_property_cookie_t cookie) {
    const auto reply = xcbRef(xcb_input_xi_get_property_reply(connection, cookie, nullptr));
    if (reply == nullptr || reply->format != 8) {
        return {};
    }
    const auto size = std::min<std::size_t>(reply->num_items, std::size_t{4} * reply->length);
    return {static_cast<const char*>(xcb_input_xi_get_property_items(reply.get())), size};
}

/// Calls `handler` with the number and the name of each device, masters included.
template <typename Handler>
void forEachXInputDevice(xcb_connection_t* connection, Handler handler) {
    const auto cookie = xcb_input_xi_query_device(connection, XCB_INPUT_DEVICE_ALL);
    const auto reply = xcbRef(xcb_input_xi_query_device_reply(connection, cookie, nullptr));
    if (reply == nullptr) {
        return;
    }
    for (auto info = xcb_input_xi_query_device_infos_iterator(reply.get()); info.rem > 0;
         xcb_input_xi_device_info_next(&info)) {
        const auto length = static_cast<std::size_t>(xcb_input_xi_device_info_name_length(info.data));
        handler(info.data->deviceid, std::string_view(xcb_input_xi_device_info_name(info.data), length));
    }
}

} // namespace keysong
