#include "Platform/linux/X11Source.h"

#include "Platform/linux/EpollRunLoop.h"
#include "Platform/linux/InputTranslator.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <linux/input-event-codes.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <set>
#include <string_view>

namespace keysong {

namespace {

struct CloseDisplay {
    void operator()(Display* display) const { XCloseDisplay(display); }
};
using DisplayRef = std::unique_ptr<Display, CloseDisplay>;

/// X key codes are the kernel's, moved by eight.
constexpr int keycodeOffset = 8;

/// An X server inside a Wayland session hears only what goes to its own windows: it is no source.
bool isXwayland(Display* display) {
    int count = 0;
    XIDeviceInfo* devices = XIQueryDevice(display, XIAllDevices, &count);
    bool found = false;
    for (int i = 0; i < count; ++i) {
        found = found || std::string_view(devices[i].name).starts_with("xwayland-");
    }
    if (devices != nullptr) {
        XIFreeDeviceInfo(devices);
    }
    return found;
}

DisplayRef openDisplay(int& extension) {
    if (std::getenv("DISPLAY") == nullptr) {
        return nullptr;
    }
    DisplayRef display(XOpenDisplay(nullptr));
    int event = 0;
    int error = 0;
    int major = 2;
    int minor = 2;
    if (display == nullptr ||
        !XQueryExtension(display.get(), "XInputExtension", &extension, &event, &error) ||
        XIQueryVersion(display.get(), &major, &minor) != Success || isXwayland(display.get())) {
        return nullptr;
    }
    return display;
}

class X11Tap final : public InputTap {
  public:
    X11Tap(EventMask mask, RawEventHandler handler)
        : mask_(mask), handler_(std::move(handler)), translator_([this](const RawEvent& event) {
              if ((mask_ & maskOf(event.type)) != 0) {
                  handler_(event);
              }
          }) {}

    bool open() {
        lost_ = false;
        display_ = openDisplay(extension_);
        if (display_ == nullptr) {
            lost_ = true;
            return false;
        }
        // The server's end must not be the program's; the display is let go of outside the handler.
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
        XSetIOErrorHandler([](Display*) { return 0; });
        XSetIOErrorExitHandler(
            display_.get(), [](Display*, void* self) { static_cast<X11Tap*>(self)->lost_ = true; }, this);
        select(XIAllMasterDevices,
               {XI_RawKeyPress, XI_RawKeyRelease, XI_RawButtonPress, XI_RawButtonRelease});
        select(XIAllDevices, {XI_HierarchyChanged});
        findInjectors();
        XFlush(display_.get());
        return !lost_;
    }

    [[nodiscard]] std::unique_ptr<RunLoop> makeRunLoop() override {
        auto loop = EpollRunLoop::make();
        if (loop == nullptr || !loop->watch(ConnectionNumber(display_.get()), [this] { dispatch(); })) {
            return nullptr;
        }
        loop_ = loop.get();
        return loop;
    }

    void enable() override {
        if (!lost_ || loop_ == nullptr) {
            return;
        }
        translator_.reset();
        if (open() && !loop_->watch(ConnectionNumber(display_.get()), [this] { dispatch(); })) {
            lost_ = true;
        }
    }

    [[nodiscard]] bool isEnabled() const override { return !lost_; }

  private:
    void select(int devices, std::initializer_list<int> events) {
        std::array<unsigned char, XIMaskLen(XI_LASTEVENT)> bits{};
        for (const int event : events) {
            const auto bit = static_cast<unsigned>(event);
            bits.at(bit / 8) = static_cast<unsigned char>(bits.at(bit / 8) | 1U << bit % 8);
        }
        XIEventMask mask{devices, static_cast<int>(bits.size()), bits.data()};
        XISelectEvents(display_.get(), DefaultRootWindow(display_.get()), &mask, 1);
    }

    /// Notes the devices through which clients inject input.
    void findInjectors() {
        injectors_.clear();
        const Atom property = XInternAtom(display_.get(), "XTEST Device", True);
        int count = 0;
        XIDeviceInfo* devices =
            property == None ? nullptr : XIQueryDevice(display_.get(), XIAllDevices, &count);
        for (int i = 0; i < count; ++i) {
            Atom type = None;
            int format = 0;
            unsigned long items = 0;
            unsigned long left = 0;
            unsigned char* value = nullptr;
            if (XIGetProperty(display_.get(), devices[i].deviceid, property, 0, 1, False, AnyPropertyType,
                              &type, &format, &items, &left, &value) == Success) {
                if (items > 0 && value != nullptr && *value != 0) {
                    injectors_.insert(devices[i].deviceid);
                }
                XFree(value);
            }
        }
        if (devices != nullptr) {
            XIFreeDeviceInfo(devices);
        }
    }

    void dispatch() {
        while (!lost_ && XPending(display_.get()) > 0) {
            XEvent event;
            XNextEvent(display_.get(), &event);
            XGenericEventCookie& cookie = event.xcookie;
            if (!lost_ && event.type == GenericEvent && cookie.extension == extension_ &&
                XGetEventData(display_.get(), &cookie)) {
                handle(cookie);
                XFreeEventData(display_.get(), &cookie);
            }
        }
        if (lost_ && display_ != nullptr) {
            loop_->unwatch(ConnectionNumber(display_.get()));
            // Closing would talk to the server that is gone; its connection is closed without it.
            static_cast<void>(display_.release());
        }
    }

    void handle(const XGenericEventCookie& cookie) {
        if (cookie.evtype == XI_HierarchyChanged) {
            findInjectors();
            for (const auto device : known_) {
                translator_.release(device); // a device that went no longer holds its modifiers
            }
            known_.clear();
            return;
        }
        const auto& raw = *static_cast<const XIRawEvent*>(cookie.data);
        const auto device = static_cast<InputTranslator::Device>(raw.sourceid);
        const std::int64_t state =
            injectors_.contains(raw.sourceid) ? softwareSourceState : hardwareSourceState;
        known_.insert(device);
        switch (cookie.evtype) {
        case XI_RawKeyPress:
        case XI_RawKeyRelease:
            if (raw.detail >= keycodeOffset) {
                translator_.key(device, state, static_cast<std::uint16_t>(raw.detail - keycodeOffset),
                                cookie.evtype == XI_RawKeyPress ? 1 : 0);
            }
            break;
        case XI_RawButtonPress:
        case XI_RawButtonRelease:
            button(device, state, raw.detail, cookie.evtype == XI_RawButtonPress);
            break;
        default:
            break;
        }
    }

    void button(InputTranslator::Device device, std::int64_t state, int number, bool pressed) {
        constexpr double notch = 120;
        switch (number) {
        case 1:
            translator_.button(state, BTN_LEFT, pressed);
            break;
        case 3:
            translator_.button(state, BTN_RIGHT, pressed);
            break;
        case 4: // a notch up, a notch down: told by the press
        case 5:
            if (pressed) {
                translator_.wheel(device, state, number == 4 ? -notch : notch);
            }
            break;
        case 6: // sideways
        case 7:
            break;
        default:
            translator_.button(state, BTN_MIDDLE, pressed);
            break;
        }
    }

    const EventMask mask_;
    const RawEventHandler handler_;
    InputTranslator translator_;
    DisplayRef display_;
    EpollRunLoop* loop_ = nullptr;
    int extension_ = 0;
    bool lost_ = false;
    std::set<int> injectors_;
    std::set<InputTranslator::Device> known_;
};

} // namespace

bool X11Source::isTrusted() const {
    int extension = 0;
    return openDisplay(extension) != nullptr;
}

std::unique_ptr<InputTap> X11Source::createTap(EventMask mask, RawEventHandler handler) {
    auto tap = std::make_unique<X11Tap>(mask, std::move(handler));
    return tap->open() ? std::move(tap) : nullptr;
}

} // namespace keysong
