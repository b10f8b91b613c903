#include "support/XTestClient.h"

#include <poll.h>
#include <sys/uio.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <cstring>
#include <stdexcept>

namespace keysong::test {

namespace {

XcbConnection connect(const std::string& display) {
    XcbConnection connection(connectXcb(display.c_str(), nullptr));
    if (xcb_connection_has_error(connection.get()) != 0) {
        throw std::runtime_error("no X server at " + display);
    }
    return connection;
}

} // namespace

XTestClient::XTestClient(const std::string& display) : connection_(connect(display)) {
    const XcbRef<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(client_, xcb_input_xi_query_version(client_, 2, 2), nullptr));
}

XTestClient::DeviceId XTestClient::deviceNamed(std::string_view name) const {
    const XcbRef<xcb_input_xi_query_device_reply_t> reply(xcb_input_xi_query_device_reply(
        client_, xcb_input_xi_query_device(client_, XCB_INPUT_DEVICE_ALL), nullptr));
    for (auto info = xcb_input_xi_query_device_infos_iterator(reply.get()); info.rem > 0;
         xcb_input_xi_device_info_next(&info)) {
        if (name == std::string_view(xcb_input_xi_device_info_name(info.data), info.data->name_len)) {
            return info.data->deviceid;
        }
    }
    return 0;
}

void XTestClient::key(DeviceId device, int linuxCode, bool pressed) const {
    constexpr int keycodeOffset = 8;
    fake(pressed ? XCB_KEY_PRESS : XCB_KEY_RELEASE, device, linuxCode + keycodeOffset);
}

void XTestClient::button(DeviceId device, int number, bool pressed) const {
    fake(pressed ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, device, number);
}

void XTestClient::moveTo(int x, int y) const {
    constexpr int absolute = 0;
    fake(XCB_MOTION_NOTIFY, injected, absolute, x, y);
}

void XTestClient::clickAt(int x, int y, int button) const {
    moveTo(x, y);
    this->button(injected, button, true);
    this->button(injected, button, false);
}

std::vector<std::uint32_t> XTestClient::picture(int x, int y, int width, int height) const {
    const XcbRef<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        client_,
        xcb_get_image(client_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, static_cast<std::int16_t>(x),
                      static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(height), ~0U),
        nullptr));
    const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<std::uint32_t> pixels(count);
    if (reply == nullptr ||
        static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) != count * sizeof pixels[0]) {
        throw std::runtime_error("the screen gives no picture");
    }
    std::memcpy(pixels.data(), xcb_get_image_data(reply.get()), count * sizeof pixels[0]);
    return pixels;
}

void XTestClient::fake(std::uint8_t type, DeviceId device, int detail, int x, int y) const {
    if (device != injected) {
        // The events of devices stand in the same order, from the extension's first number plus one.
        const auto first = xcb_get_extension_data(client_, &xcb_input_id)->first_event;
        type = static_cast<std::uint8_t>(type - XCB_KEY_PRESS + first + XCB_INPUT_DEVICE_KEY_PRESS);
    }
    xcb_test_fake_input(client_, type, static_cast<std::uint8_t>(detail), XCB_CURRENT_TIME, XCB_NONE,
                        static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                        static_cast<std::uint8_t>(device));
    sync();
}

void XTestClient::setProperty(DeviceId device, std::string_view name, std::uint32_t type,
                              std::string_view bytes) const {
    // xcb reads whole words of four bytes.
    std::string words(bytes);
    words.resize((bytes.size() + 3) / 4 * 4);
    xcb_input_xi_change_property(client_, device, XCB_PROP_MODE_REPLACE, XCB_INPUT_PROPERTY_FORMAT_8_BITS,
                                 atom(name), type, static_cast<std::uint32_t>(bytes.size()), words.data());
    sync();
}

void XTestClient::setNode(DeviceId device, std::string_view node) const {
    setProperty(device, "Device Node", XCB_ATOM_STRING, node);
}

void XTestClient::setChoice(DeviceId device, std::string_view name, std::string_view bytes) const {
    setProperty(device, name, XCB_ATOM_INTEGER, bytes);
}

void XTestClient::setEnabled(DeviceId device, bool enabled) const {
    setProperty(device, "Device Enabled", XCB_ATOM_INTEGER, std::string(1, enabled ? '\1' : '\0'));
}

void XTestClient::addMaster(std::string_view name) const {
    constexpr std::size_t word = 4;
    const std::size_t words = (sizeof(xcb_input_add_master_t) + name.size() + word - 1) / word;
    std::vector<char> change(words * word);
    auto& head = *new (change.data()) xcb_input_add_master_t{};
    head.type = XCB_INPUT_HIERARCHY_CHANGE_TYPE_ADD_MASTER;
    head.len = static_cast<std::uint16_t>(words);
    head.name_len = static_cast<std::uint16_t>(name.size());
    head.send_core = 1;
    head.enable = 1;
    name.copy(change.data() + sizeof head, name.size());
    xcb_input_xi_change_hierarchy(client_, 1,
                                  reinterpret_cast<const xcb_input_hierarchy_change_t*>(change.data()));
    sync();
}

void XTestClient::addMonitor(std::string_view name) const {
    struct {
        xcb_randr_set_monitor_request_t head;
        xcb_randr_monitor_info_t monitor;
    } request{};
    request.head.window = root_;
    request.monitor.name = atom(name);
    request.monitor.width = request.monitor.height = 32;
    request.monitor.width_in_millimeters = request.monitor.height_in_millimeters = 10;
    // Sent by hand: xcb 1.15's own function leaves the length of its last part unset.
    iovec parts[3] = {{}, {}, {&request, sizeof request}};
    const xcb_protocol_request_t description{1, &xcb_randr_id, XCB_RANDR_SET_MONITOR, 1};
    xcb_send_request(client_, 0, &parts[2], &description);
    sync();
}

void XTestClient::removeMonitor(std::string_view name) const {
    xcb_randr_delete_monitor(client_, root_, atom(name));
    sync();
}

void XTestClient::grabKeyboard() const {
    const XcbRef<xcb_grab_keyboard_reply_t> reply(xcb_grab_keyboard_reply(
        client_,
        xcb_grab_keyboard(client_, 0, root_, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
        nullptr));
    if (reply == nullptr || reply->status != XCB_GRAB_STATUS_SUCCESS) {
        throw std::runtime_error("the keyboard cannot be grabbed");
    }
}

bool XTestClient::receivesPresses(int count) const {
    pollfd readable{xcb_get_file_descriptor(client_), POLLIN, 0};
    constexpr int limit = 10'000; // milliseconds without any event
    for (;;) {
        while (const XcbRef<xcb_generic_event_t> event{xcb_poll_for_event(client_)}) {
            count -= (event->response_type & 0x7F) == XCB_KEY_PRESS ? 1 : 0;
        }
        if (count <= 0) {
            return true;
        }
        if (poll(&readable, 1, limit) <= 0 || xcb_connection_has_error(client_) != 0) {
            return false;
        }
    }
}

std::uint32_t XTestClient::atom(std::string_view name) const {
    const auto cookie = xcb_intern_atom(client_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    return XcbRef<xcb_intern_atom_reply_t>(xcb_intern_atom_reply(client_, cookie, nullptr))->atom;
}

void XTestClient::sync() const {
    const XcbRef<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(client_, xcb_get_input_focus(client_), nullptr));
    if (reply == nullptr) {
        throw std::runtime_error("the X server is gone");
    }
}

} // namespace keysong::test
