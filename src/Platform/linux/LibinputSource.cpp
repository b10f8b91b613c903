#include "Platform/linux/LibinputSource.h"

#include "Platform/linux/EpollRunLoop.h"
#include "Platform/linux/InputTranslator.h"
#include "Platform/linux/KeyboardNodes.h"

#include <fcntl.h>
#include <libinput.h>
#include <libudev.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <string>

namespace keysong {

namespace {

using Clock = std::chrono::steady_clock;

/// How long hardware keyboards must have been silent before a typing virtual one is looked into, and how
/// long the answer holds.
constexpr std::chrono::seconds grabCheckInterval{2};

class LibinputTap final : public InputTap {
  public:
    LibinputTap(EventMask mask, RawEventHandler handler)
        : mask_(mask), handler_(std::move(handler)),
          translator_([this](const RawEvent& event) { emit(event); }) {}

    ~LibinputTap() override {
        if (libinput_ != nullptr) {
            libinput_unref(libinput_);
        }
        if (udev_ != nullptr) {
            udev_unref(udev_);
        }
    }
    LibinputTap(const LibinputTap&) = delete;
    LibinputTap& operator=(const LibinputTap&) = delete;

    bool open() {
        udev_ = udev_new();
        libinput_ = udev_ == nullptr ? nullptr : libinput_udev_create_context(&interface, this, udev_);
        if (libinput_ == nullptr) {
            return false;
        }
        libinput_log_set_handler(libinput_, [](libinput*, libinput_log_priority, const char*, va_list) {});
        return libinput_udev_assign_seat(libinput_, "seat0") == 0;
    }

    [[nodiscard]] std::unique_ptr<RunLoop> makeRunLoop() override {
        auto loop = EpollRunLoop::make();
        if (loop == nullptr || !loop->watch(libinput_get_fd(libinput_), [this] { dispatch(true); })) {
            return nullptr;
        }
        // What was there at the start waits already; it does not make the descriptor readable.
        loop->addTimer(std::chrono::nanoseconds(1), std::chrono::nanoseconds(0), [this] { dispatch(true); });
        return loop;
    }

    void enable() override {
        // The releases that a suspension brings are not told: the translator forgets what was held.
        libinput_suspend(libinput_);
        dispatch(false);
        translator_.reset();
        lost_.clear();
        denied_.clear();
        libinput_resume(libinput_);
        dispatch(false);
    }

    [[nodiscard]] bool isEnabled() const override {
        // A node that is gone was unplugged; one that is there but not with us was taken from us, or has
        // become readable since.
        const auto exists = [](const std::string& node) { return access(node.c_str(), F_OK) == 0; };
        return std::none_of(lost_.begin(), lost_.end(), exists) &&
               std::none_of(denied_.begin(), denied_.end(), isReadable) &&
               std::all_of(open_.begin(), open_.end(),
                           [&](const std::string& node) { return !exists(node) || isReadable(node); });
    }

  private:
    static const libinput_interface interface;

    static std::int64_t sourceStateOf(DeviceOrigin origin) {
        return origin == DeviceOrigin::hardware ? hardwareSourceState : softwareSourceState;
    }

    void emit(const RawEvent& event) {
        if ((mask_ & maskOf(event.type)) != 0) {
            handler_(event);
        }
    }

    /// Reads all that waits; with `deliver` false only devices are noted, and input is dropped.
    void dispatch(bool deliver) {
        libinput_dispatch(libinput_);
        while (libinput_event* event = libinput_get_event(libinput_)) {
            handle(event, deliver);
            libinput_event_destroy(event);
        }
    }

    void handle(libinput_event* event, bool deliver) {
        libinput_device* device = libinput_event_get_device(event);
        switch (libinput_event_get_type(event)) {
        case LIBINPUT_EVENT_DEVICE_ADDED:
            deviceAdded(device);
            return;
        case LIBINPUT_EVENT_DEVICE_REMOVED:
            deviceRemoved(device, deliver);
            return;
        default:
            break;
        }
        if (deliver) {
            handleInput(event, device);
        }
    }

    void handleInput(libinput_event* event, libinput_device* device) {
        const auto key = reinterpret_cast<InputTranslator::Device>(device);
        switch (libinput_event_get_type(event)) {
        case LIBINPUT_EVENT_KEYBOARD_KEY: {
            auto* keyboard = libinput_event_get_keyboard_event(event);
            translator_.key(
                key, keyboardSourceState(device),
                static_cast<std::uint16_t>(libinput_event_keyboard_get_key(keyboard)),
                libinput_event_keyboard_get_key_state(keyboard) == LIBINPUT_KEY_STATE_PRESSED ? 1 : 0);
            break;
        }
        case LIBINPUT_EVENT_POINTER_BUTTON: {
            auto* pointer = libinput_event_get_pointer_event(event);
            translator_.button(sourceStateOf(originOf(device)),
                               static_cast<std::uint16_t>(libinput_event_pointer_get_button(pointer)),
                               libinput_event_pointer_get_button_state(pointer) ==
                                   LIBINPUT_BUTTON_STATE_PRESSED);
            break;
        }
        case LIBINPUT_EVENT_POINTER_SCROLL_WHEEL: {
            auto* pointer = libinput_event_get_pointer_event(event);
            if (scrollsVertically(pointer)) {
                translator_.wheel(key, sourceStateOf(originOf(device)),
                                  libinput_event_pointer_get_scroll_value_v120(
                                      pointer, LIBINPUT_POINTER_AXIS_SCROLL_VERTICAL));
            }
            break;
        }
        case LIBINPUT_EVENT_POINTER_SCROLL_FINGER:
        case LIBINPUT_EVENT_POINTER_SCROLL_CONTINUOUS: {
            auto* pointer = libinput_event_get_pointer_event(event);
            if (scrollsVertically(pointer)) {
                const double points =
                    libinput_event_pointer_get_scroll_value(pointer, LIBINPUT_POINTER_AXIS_SCROLL_VERTICAL);
                translator_.fingers(key, sourceStateOf(originOf(device)), points, points == 0);
            }
            break;
        }
        default:
            break;
        }
    }

    static bool scrollsVertically(libinput_event_pointer* pointer) {
        return libinput_event_pointer_has_axis(pointer, LIBINPUT_POINTER_AXIS_SCROLL_VERTICAL) != 0;
    }

    static std::string nodeOf(libinput_device* device) {
        return std::string("/dev/input/") + libinput_device_get_sysname(device);
    }

    static DeviceOrigin originOf(libinput_device* device) {
        udev_device* described = libinput_device_get_udev_device(device);
        const char* path = described == nullptr ? nullptr : udev_device_get_syspath(described);
        const DeviceOrigin origin = originOfDevice(path == nullptr ? "" : path);
        if (described != nullptr) {
            udev_device_unref(described);
        }
        return origin;
    }

    std::int64_t keyboardSourceState(libinput_device* device) {
        const auto now = Clock::now();
        if (originOf(device) == DeviceOrigin::hardware) {
            lastHardwareKey_ = now;
            return hardwareSourceState;
        }
        if (now - lastHardwareKey_ < grabCheckInterval) {
            hardwareGrabbed_ = false;
        } else if (now - lastGrabCheck_ >= grabCheckInterval) {
            lastGrabCheck_ = now;
            hardwareGrabbed_ =
                std::any_of(hardwareKeyboards_.begin(), hardwareKeyboards_.end(), isGrabbedByOther);
        }
        return hardwareGrabbed_ ? hardwareSourceState : softwareSourceState;
    }

    void deviceAdded(libinput_device* device) {
        const std::string node = nodeOf(device);
        open_.insert(node);
        lost_.erase(node);
        denied_.erase(node);
        if (libinput_device_has_capability(device, LIBINPUT_DEVICE_CAP_KEYBOARD) != 0 &&
            originOf(device) == DeviceOrigin::hardware) {
            hardwareKeyboards_.insert(node);
        }
    }

    void deviceRemoved(libinput_device* device, bool deliver) {
        const std::string node = nodeOf(device);
        open_.erase(node);
        hardwareKeyboards_.erase(node);
        lost_.insert(node);
        if (deliver) {
            translator_.remove(reinterpret_cast<InputTranslator::Device>(device));
        }
    }

    const EventMask mask_;
    const RawEventHandler handler_;
    InputTranslator translator_;
    udev* udev_ = nullptr;
    libinput* libinput_ = nullptr;
    std::set<std::string> open_;
    std::set<std::string> hardwareKeyboards_;
    /// Went away although their nodes may still be there: revoked.
    std::set<std::string> lost_;
    /// Could not be opened for want of the right.
    std::set<std::string> denied_;
    Clock::time_point lastHardwareKey_{};
    Clock::time_point lastGrabCheck_{};
    bool hardwareGrabbed_ = false;
};

const libinput_interface LibinputTap::interface = {
    .open_restricted =
        [](const char* path, int, void* self) {
            const int descriptor = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
            if (descriptor < 0) {
                const int error = errno;
                if (error == EACCES || error == EPERM) {
                    static_cast<LibinputTap*>(self)->denied_.insert(path);
                }
                return -error;
            }
            return descriptor;
        },
    .close_restricted = [](int descriptor, void*) { close(descriptor); }};

} // namespace

bool LibinputSource::isTrusted() const {
    const auto nodes = keyboardNodes();
    return std::any_of(nodes.begin(), nodes.end(), isReadable);
}

std::unique_ptr<InputTap> LibinputSource::createTap(EventMask mask, RawEventHandler handler) {
    if (!isTrusted()) {
        return nullptr;
    }
    auto tap = std::make_unique<LibinputTap>(mask, std::move(handler));
    return tap->open() ? std::move(tap) : nullptr;
}

} // namespace keysong
