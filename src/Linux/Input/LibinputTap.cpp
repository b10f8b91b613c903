#include "Linux/Input/LibinputTap.h"

#include "Linux/System/EpollRunLoop.h"
#include "Linux/System/MonotonicClock.h"

#include <fcntl.h>
#include <libinput.h>
#include <linux/input.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace keysong {

namespace {

InputTranslator::Device keyOf(libinput_device* device) {
    return reinterpret_cast<InputTranslator::Device>(device);
}

/// Motion is told at most so often.
constexpr std::chrono::milliseconds motionInterval{100};

std::int64_t sourceStateOf(DeviceOrigin origin) {
    return origin == DeviceOrigin::hardware ? hardwareSourceState : softwareSourceState;
}

/// A button that comes later than this was held back: to tell a bounce of its contact from a press (up to
/// 25 ms), a click of both buttons (50 ms) or scrolling with a held button (200 ms). It must not be taken for
/// one that waited because the machine was busy.
constexpr std::chrono::milliseconds promptButton{10};

int openForReading(const char* path) {
    return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

/// The device behind the descriptor was unplugged or revoked.
bool isDead(int descriptor) {
    int version = 0;
    return ioctl(descriptor, EVIOCGVERSION, &version) != 0 && errno == ENODEV;
}

/// A second way to the device: it answers which keys are held, and no event ever waits in it.
FileDescriptor openProbe(const std::string& node) {
    FileDescriptor probe(openForReading(node.c_str()));
    const input_mask nothing{EV_SYN, 0, 0};
    ioctl(probe.get(), EVIOCSMASK, &nothing);
    return probe;
}

std::optional<KeySet> heldKeys(const FileDescriptor& probe) {
    using Word = unsigned long;
    constexpr std::size_t bitsPerWord = 8 * sizeof(Word);
    std::array<Word, KEY_CNT / bitsPerWord> words{};
    if (ioctl(probe.get(), EVIOCGKEY(sizeof words), words.data()) < 0) {
        return std::nullopt;
    }
    KeySet keys;
    for (std::size_t word = words.size(); word-- > 0;) {
        keys = keys << bitsPerWord | KeySet(words.at(word));
    }
    return keys;
}

} // namespace

const libinput_interface LibinputTap::interface = {
    .open_restricted = [](const char* path, int,
                          void* self) { return static_cast<LibinputTap*>(self)->openNode(path); },
    .close_restricted = [](int descriptor,
                           void* self) { static_cast<LibinputTap*>(self)->closeNode(descriptor); }};

void LibinputTap::Unref::operator()(libinput_device* device) const noexcept {
    libinput_device_unref(device);
}

LibinputTap::LibinputTap(EventMask mask, RawEventHandler handler)
    : mask_(mask), handler_(std::move(handler)), translator_([this](const RawEvent& event) { emit(event); }),
      remapped_([this](InputTranslator::Device keyboard) {
          const auto* device = static_cast<const Device*>(
              libinput_device_get_user_data(reinterpret_cast<libinput_device*>(keyboard)));
          return settledKeys(*device);
      }) {
}

LibinputTap::~LibinputTap() {
    loop_ = nullptr; // it went before the tap
    devices_.clear();
    if (libinput_ != nullptr) {
        libinput_unref(libinput_);
    }
}

bool LibinputTap::open() {
    udev_ = UdevInput::make();
    libinput_ = libinput_path_create_context(&interface, this);
    if (udev_ == nullptr || libinput_ == nullptr) {
        return false;
    }
    libinput_log_set_handler(libinput_, [](libinput*, libinput_log_priority, const char*, va_list) {});
    for (const std::string& node : eventNodes()) {
        reviewNode(node);
    }
    return true;
}

std::unique_ptr<RunLoop> LibinputTap::makeRunLoop() {
    auto loop = EpollRunLoop::make();
    if (loop == nullptr || !loop->watch(libinput_get_fd(libinput_), [this] { dispatchAndReview(); }) ||
        !loop->watch(udev_->descriptor(), [this] {
            folder_.watchAgain();
            review(udev_->takeChanges());
        })) {
        return nullptr;
    }
    if (folder_.descriptor() >= 0) {
        // Without it a lost permission is still found by asking.
        static_cast<void>(loop->watch(folder_.descriptor(), [this] { review(folder_.takeChanges()); }));
    }
    loop_ = loop.get();
    for (const auto& [descriptor, node] : descriptors_) {
        watchHangUp(descriptor, node);
    }
    return loop;
}

void LibinputTap::enable() {
    std::vector<std::string> nodes;
    for (const auto& [node, device] : devices_) {
        nodes.push_back(node);
    }
    for (const std::string& node : nodes) {
        reviewNode(node); // withdraws what was taken without notice
    }
    nodes.clear();
    for (const auto& [node, withheld] : withheld_) {
        nodes.push_back(node);
    }
    for (const std::string& node : nodes) {
        reviewNode(node);
    }
}

bool LibinputTap::isEnabled() const {
    const bool taken = std::any_of(devices_.begin(), devices_.end(), [this](const auto& entry) {
        return isTaken(entry.second, nodeStateOf(entry.first));
    });
    const bool withheld = std::any_of(withheld_.begin(), withheld_.end(), [](const auto& entry) {
        const NodeState now = nodeStateOf(entry.first);
        return now.inode == entry.second.inode && (entry.second.wasOpen || now.readable);
    });
    return !taken && !withheld;
}

int LibinputTap::openNode(const char* path) {
    const int descriptor = openForReading(path);
    if (descriptor < 0) {
        openError_ = errno;
        return -openError_;
    }
    descriptors_[descriptor] = path;
    watchHangUp(descriptor, path);
    return descriptor;
}

void LibinputTap::closeNode(int descriptor) {
    if (loop_ != nullptr) {
        loop_->unwatch(descriptor);
    }
    descriptors_.erase(descriptor);
    close(descriptor);
}

void LibinputTap::watchHangUp(int descriptor, const std::string& node) {
    if (loop_ != nullptr) {
        // Without it a revoked device is still found by asking.
        static_cast<void>(loop_->watchHangUp(descriptor, [this, node] { review(std::vector{node}); }));
    }
}

int LibinputTap::descriptorOf(const std::string& node) const {
    const auto found = std::find_if(descriptors_.begin(), descriptors_.end(),
                                    [&](const auto& entry) { return entry.second == node; });
    return found == descriptors_.end() ? -1 : found->first;
}

bool LibinputTap::isTaken(const Device& device, const NodeState& now) const {
    // libinput closes some devices for a while by itself, such as a keyboard under a closed lid.
    const int descriptor = descriptorOf(device.node);
    const bool dead = device.isDead || (descriptor >= 0 && isDead(descriptor));
    return now.inode == device.inode && (dead || !now.readable);
}

void LibinputTap::review(const std::vector<std::string>& nodes) {
    bool taken = false;
    for (const std::string& node : nodes) {
        taken = reviewNode(node) || taken;
    }
    if (taken) {
        RawEvent notice;
        notice.type = RawEventType::tapDisabledByUserInput;
        handler_(notice);
    }
    if (!deadNodes_.empty()) {
        review(std::exchange(deadNodes_, {}));
    }
}

bool LibinputTap::reviewNode(const std::string& node) {
    const NodeState now = nodeStateOf(node);
    if (const auto known = devices_.find(node); known != devices_.end()) {
        const ino_t inode = known->second.inode;
        const bool taken = isTaken(known->second, now);
        if (inode == now.inode && !taken) {
            return false;
        }
        removeDevice(node);
        if (taken) {
            withheld_[node] = {inode, true};
            return true;
        }
    }
    if (const auto withheld = withheld_.find(node);
        withheld != withheld_.end() && withheld->second.inode != now.inode) {
        withheld_.erase(withheld);
    }
    if (now.inode != 0) {
        addDevice(node, now);
    }
    return false;
}

void LibinputTap::addDevice(const std::string& node, const NodeState& now) {
    const auto origin = udev_->devices().originOf(now.device);
    if (!origin) {
        return;
    }
    openError_ = 0;
    libinput_device* handle = libinput_path_add_device(libinput_, node.c_str());
    if (handle == nullptr) {
        if (openError_ == EACCES || openError_ == EPERM) {
            withheld_.try_emplace(node, Withheld{now.inode, false});
        }
        return;
    }
    withheld_.erase(node);
    Device& device = devices_[node];
    device = {node, now.inode, *origin, Handle(libinput_device_ref(handle)), {}, false};
    libinput_device_set_user_data(handle, &device);
    if (*origin == DeviceOrigin::hardware &&
        libinput_device_has_capability(handle, LIBINPUT_DEVICE_CAP_KEYBOARD) != 0) {
        device.probe = openProbe(node);
        remapped_.addHardware(keyOf(handle), heldKeys(device.probe).value_or(KeySet()));
    }
}

void LibinputTap::removeDevice(const std::string& node) {
    const Device& device = devices_.at(node);
    const auto key = keyOf(device.handle.get());
    libinput_path_remove_device(device.handle.get());
    dispatch(); // lets go of the keys and buttons that are held
    translator_.remove(key);
    remapped_.remove(key);
    devices_.erase(node);
}

void LibinputTap::dispatchAndReview() {
    dispatch();
    review(std::exchange(deadNodes_, {}));
}

void LibinputTap::dispatch() {
    libinput_dispatch(libinput_);
    while (libinput_event* event = libinput_get_event(libinput_)) {
        handle(event);
        libinput_event_destroy(event);
    }
    for (const VirtualKey& key : virtualKeys_) {
        translator_.key(keyOf(key.keyboard), remapped_.virtualKey(keyOf(key.keyboard), key.code, key.pressed),
                        key.code, key.pressed ? 1 : 0, key.time);
    }
    // What was typed, and when, shall not stay in memory.
    std::fill(virtualKeys_.begin(), virtualKeys_.end(), VirtualKey{});
    virtualKeys_.clear();
}

void LibinputTap::handle(libinput_event* event) {
    libinput_device* device = libinput_event_get_device(event);
    switch (libinput_event_get_type(event)) {
    case LIBINPUT_EVENT_KEYBOARD_KEY:
        handleKey(event, device);
        break;
    case LIBINPUT_EVENT_POINTER_BUTTON:
    case LIBINPUT_EVENT_POINTER_SCROLL_WHEEL:
    case LIBINPUT_EVENT_POINTER_SCROLL_FINGER:
    case LIBINPUT_EVENT_POINTER_SCROLL_CONTINUOUS:
        handlePointer(event, device);
        break;
    case LIBINPUT_EVENT_DEVICE_REMOVED: {
        auto* removed = static_cast<Device*>(libinput_device_get_user_data(device));
        removed->isDead = true;
        deadNodes_.push_back(removed->node);
        break;
    }
    case LIBINPUT_EVENT_POINTER_MOTION:
    case LIBINPUT_EVENT_POINTER_MOTION_ABSOLUTE:
    case LIBINPUT_EVENT_TOUCH_DOWN:
        handleMotion(device);
        break;
    default:
        break;
    }
}

void LibinputTap::handleMotion(libinput_device* device) {
    const auto now = std::chrono::steady_clock::now();
    if (originOf(device) == DeviceOrigin::hardware && now - lastMotion_ >= motionInterval) {
        lastMotion_ = now;
        RawEvent notice;
        notice.type = RawEventType::pointerMotion;
        handler_(notice);
    }
}

void LibinputTap::handleKey(libinput_event* event, libinput_device* device) {
    auto* keyboard = libinput_event_get_keyboard_event(event);
    const auto code = static_cast<std::uint16_t>(libinput_event_keyboard_get_key(keyboard));
    const bool pressed = libinput_event_keyboard_get_key_state(keyboard) == LIBINPUT_KEY_STATE_PRESSED;
    const InputTranslator::Time time(libinput_event_keyboard_get_time_usec(keyboard));
    if (originOf(device) == DeviceOrigin::software) {
        virtualKeys_.push_back({device, code, pressed, time});
        return;
    }
    // The sound first.
    translator_.key(keyOf(device), hardwareSourceState, code, pressed ? 1 : 0, time);
    remapped_.hardwareKey(keyOf(device), code, pressed);
}

void LibinputTap::handlePointer(libinput_event* event, libinput_device* device) {
    auto* pointer = libinput_event_get_pointer_event(event);
    const std::int64_t sourceState = sourceStateOf(originOf(device));
    const auto type = libinput_event_get_type(event);
    if (type == LIBINPUT_EVENT_POINTER_BUTTON) {
        translator_.button(sourceState,
                           static_cast<std::uint16_t>(libinput_event_pointer_get_button(pointer)),
                           libinput_event_pointer_get_button_state(pointer) == LIBINPUT_BUTTON_STATE_PRESSED,
                           timeOfButton(pointer));
        return;
    }
    constexpr auto vertical = LIBINPUT_POINTER_AXIS_SCROLL_VERTICAL;
    if (libinput_event_pointer_has_axis(pointer, vertical) == 0) {
        return;
    }
    const InputTranslator::Time time(libinput_event_pointer_get_time_usec(pointer));
    if (type == LIBINPUT_EVENT_POINTER_SCROLL_WHEEL) {
        translator_.wheel(keyOf(device), sourceState,
                          libinput_event_pointer_get_scroll_value_v120(pointer, vertical), time);
        return;
    }
    const double points = libinput_event_pointer_get_scroll_value(pointer, vertical);
    translator_.fingers(keyOf(device), sourceState, points, points == 0, time);
}

InputTranslator::Time LibinputTap::timeOfButton(libinput_event_pointer* pointer) {
    const InputTranslator::Time time(libinput_event_pointer_get_time_usec(pointer));
    return MonotonicClock().now() - time <= promptButton ? time : InputTranslator::Time(0);
}

DeviceOrigin LibinputTap::originOf(libinput_device* device) {
    return static_cast<const Device*>(libinput_device_get_user_data(device))->origin;
}

std::optional<KeySet> LibinputTap::settledKeys(const Device& device) const {
    const auto keys = heldKeys(device.probe);
    // Asked after the keys, so that a key which is held and delivered has been read or still waits.
    pollfd waiting{descriptorOf(device.node), POLLIN, 0};
    return waiting.fd >= 0 && poll(&waiting, 1, 0) == 0 ? keys : std::nullopt;
}

void LibinputTap::emit(const RawEvent& event) {
    if ((mask_ & maskOf(event.type)) != 0) {
        handler_(event);
    }
}

} // namespace keysong
