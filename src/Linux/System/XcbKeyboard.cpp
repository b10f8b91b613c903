#include "Linux/System/XcbKeyboard.h"

#include "Linux/System/Xcb.h"

#include <cstdint>

namespace keysong {

bool useDetectableRepeat(xcb_connection_t* connection) {
    const auto* extension = xcb_get_extension_data(connection, &xcb_xkb_id);
    if (extension == nullptr || extension->present == 0) {
        return false;
    }
    const auto usable = xcbRef(xcb_xkb_use_extension_reply(
        connection, xcb_xkb_use_extension(connection, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION),
        nullptr));
    if (usable == nullptr || usable->supported == 0) {
        return false;
    }
    constexpr std::uint32_t flag = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    const auto granted = xcbRef(xcb_xkb_per_client_flags_reply(
        connection, xcb_xkb_per_client_flags(connection, XCB_XKB_ID_USE_CORE_KBD, flag, flag, 0, 0, 0),
        nullptr));
    return granted != nullptr;
}

} // namespace keysong
