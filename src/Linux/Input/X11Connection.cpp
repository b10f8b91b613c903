#include "Linux/Input/X11Connection.h"

#include "Linux/Input/XInputDevices.h"
#include "Linux/System/Xcb.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include <array>

namespace keysong {

namespace {

template <typename T>
using Ref = XcbRef<T>;

template <typename Handler>
void forEachMonitor(xcb_connection_t* connection, xcb_window_t root, Handler handler) {
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_randr_id);
    if (extension == nullptr || extension->present == 0) {
        return; // asking all the same would break the connection
    }
    const Ref<xcb_randr_get_monitors_reply_t> reply(
        xcb_randr_get_monitors_reply(connection, xcb_randr_get_monitors(connection, root, 0), nullptr));
    if (reply == nullptr) {
        return;
    }
    for (auto monitor = xcb_randr_get_monitors_monitors_iterator(reply.get()); monitor.rem > 0;
         xcb_randr_monitor_info_next(&monitor)) {
        const Ref<xcb_get_atom_name_reply_t> name(
            xcb_get_atom_name_reply(connection, xcb_get_atom_name(connection, monitor.data->name), nullptr));
        if (name != nullptr) {
            handler(std::string_view(xcb_get_atom_name_name(name.get()), name->name_len));
        }
    }
}

void readHierarchy(const xcb_input_hierarchy_event_t& event,
                   const std::function<void(const X11Event&)>& handler) {
    constexpr std::uint32_t gone = XCB_INPUT_HIERARCHY_MASK_MASTER_REMOVED |
                                   XCB_INPUT_HIERARCHY_MASK_SLAVE_REMOVED |
                                   XCB_INPUT_HIERARCHY_MASK_DEVICE_DISABLED;
    for (auto info = xcb_input_hierarchy_infos_iterator(&event); info.rem > 0;
         xcb_input_hierarchy_info_next(&info)) {
        if (info.data->flags != 0) {
            handler(
                {(info.data->flags & gone) != 0 ? X11Event::Kind::deviceGone : X11Event::Kind::deviceChanged,
                 info.data->deviceid, 0});
        }
    }
}

void readInput(const xcb_ge_generic_event_t& event, const std::function<void(const X11Event&)>& handler) {
    // The raw events of keys and buttons are laid out alike.
    const auto& raw = reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event);
    switch (event.event_type) {
    case XCB_INPUT_HIERARCHY:
        readHierarchy(reinterpret_cast<const xcb_input_hierarchy_event_t&>(event), handler);
        break;
    case XCB_INPUT_RAW_KEY_PRESS:
        handler({X11Event::Kind::keyPressed, raw.sourceid, raw.detail});
        break;
    case XCB_INPUT_RAW_KEY_RELEASE:
        handler({X11Event::Kind::keyReleased, raw.sourceid, raw.detail});
        break;
    case XCB_INPUT_RAW_BUTTON_PRESS:
        handler({X11Event::Kind::buttonPressed, raw.sourceid, raw.detail});
        break;
    case XCB_INPUT_RAW_BUTTON_RELEASE:
        handler({X11Event::Kind::buttonReleased, raw.sourceid, raw.detail});
        break;
    default:
        break;
    }
}

} // namespace

X11Connection::X11Connection(xcb_connection_t* connection, int screen)
    : connection_(connection), screen_(screen) {
}

X11Connection::~X11Connection() {
    xcb_disconnect(connection_);
}

X11Connection::Opened X11Connection::open(const std::string& display) {
    int screen = 0;
    xcb_connection_t* connection = connectXcb(display.empty() ? nullptr : display.c_str(), &screen);
    std::unique_ptr<X11Connection> opened(new X11Connection(connection, screen));
    if (const std::string_view refusal = opened->prepare(); !refusal.empty()) {
        return {nullptr, refusal};
    }
    return {std::move(opened), {}};
}

std::string_view X11Connection::prepare() {
    constexpr std::string_view noAnswer = "its server does not answer";
    switch (xcb_connection_has_error(connection_)) {
    case 0:
        break;
    case XCB_CONN_CLOSED_PARSE_ERR:
        return "no display is named";
    default:
        return noAnswer;
    }
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_, &xcb_input_id);
    if (extension == nullptr) {
        return noAnswer;
    }
    if (extension->present == 0 || !hasRawEvents()) {
        return isLost() ? noAnswer : "its server lacks XInput 2.1";
    }
    extension_ = extension->major_opcode;
    injectorAtom_ = atom("XTEST Device");
    nodeAtom_ = atom("Device Node");
    if (isXwayland()) {
        return "its server runs inside a Wayland session and hears its own windows only";
    }
    return isLost() ? noAnswer : std::string_view();
}

bool X11Connection::hasRawEvents() {
    const auto cookie = xcb_input_xi_query_version(connection_, 2, 2);
    const Ref<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(connection_, cookie, nullptr));
    // Before 2.1 a grab hides keys from everyone else.
    return version != nullptr &&
           (version->major_version > 2 || (version->major_version == 2 && version->minor_version >= 1));
}

bool X11Connection::isXwayland() {
    constexpr std::string_view name = "XWAYLAND";
    const auto cookie = xcb_query_extension(connection_, name.size(), name.data());
    const Ref<xcb_query_extension_reply_t> extension(xcb_query_extension_reply(connection_, cookie, nullptr));
    if (extension != nullptr && extension->present != 0) {
        return true;
    }
    // Versions before 23.1 are known by the names of their monitors and devices, of which either may be
    // missing: a seat without a keyboard, a closed lid.
    bool found = false;
    forEachMonitor(connection_, root(),
                   [&](std::string_view monitor) { found = found || monitor.starts_with(name); });
    forEachXInputDevice(connection_, [&](std::uint16_t, std::string_view device) {
        found = found || device.starts_with("xwayland-");
    });
    return found;
}

std::uint32_t X11Connection::atom(std::string_view name) {
    const auto cookie = xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const Ref<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection_, cookie, nullptr));
    return reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
}

std::uint32_t X11Connection::root() const {
    return rootWindow(connection_, screen_);
}

int X11Connection::descriptor() const noexcept {
    return xcb_get_file_descriptor(connection_);
}

bool X11Connection::isLost() const noexcept {
    return xcb_connection_has_error(connection_) != 0;
}

std::vector<std::uint16_t> X11Connection::devices() {
    std::vector<std::uint16_t> found;
    forEachXInputDevice(connection_,
                        [&](std::uint16_t device, std::string_view) { found.push_back(device); });
    return found;
}

X11Device X11Connection::describe(std::uint16_t device) {
    constexpr std::uint32_t longest = 64; // in words of four bytes
    const auto ask = [&](xcb_atom_t property) {
        return xcb_input_xi_get_property(connection_, device, 0, property, XCB_ATOM_ANY, 0, longest);
    };
    const auto injector = ask(injectorAtom_);
    const auto node = ask(nodeAtom_);
    X11Device description;
    const std::string flag = xinputPropertyBytes(connection_, injector);
    description.injector = !flag.empty() && flag.front() != 0;
    description.node = xinputPropertyBytes(connection_, node);
    return description;
}

void X11Connection::selectInput() {
    struct Mask {
        xcb_input_event_mask_t head;
        std::uint32_t events;
    };
    const std::array<Mask, 2> masks{
        {{{XCB_INPUT_DEVICE_ALL, 1}, XCB_INPUT_XI_EVENT_MASK_HIERARCHY},
         {{XCB_INPUT_DEVICE_ALL_MASTER, 1},
          XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE |
              XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE}}};
    xcb_input_xi_select_events(connection_, root(), masks.size(), &masks.front().head);
    xcb_flush(connection_);
}

void X11Connection::settle() {
    const Ref<xcb_get_input_focus_reply_t> answer(
        xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

void X11Connection::read(const std::function<void(const X11Event&)>& handler) {
    while (const Ref<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
        if (event->response_type == XCB_GE_GENERIC) {
            const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(*event);
            if (generic.extension == extension_) {
                readInput(generic, handler);
            }
        }
    }
}

} // namespace keysong
