#include "Linux/Input/LibinputTap.h"

#include "Linux/Input/PointerConfig.h"
#include "Linux/System/EpollRunLoop.h"

#include <fcntl.h>
#include <libinput.h>
#include <linux/input.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace keysong {

namespace {

int openForReading(const char* path) {
    return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

/// The device behind the descriptor was unplugged or revoked.
bool isDead(int descriptor) {
    int version = 0;
    return ioctl(descriptor, EVIOCGVERSION, &version) != 0 && errno == ENODEV;
}

std::string identityOf(libinput_device* device) {
    return std::to_string(libinput_device_get_id_vendor(device)) + ' ' +
           std::to_string(libinput_device_get_id_product(device)) + ' ' + libinput_device_get_name(device);
}

bool has(libinput_device* device, libinput_device_capability capability) {
    return libinput_device_has_capability(device, capability) != 0;
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

LibinputTap::LibinputTap(EventMask mask, RawEventHandler handler, PointerChoices& choices, std::string seat)
    : mask_(mask), handler_(std::move(handler)), choices_(choices), seat_(std::move(seat)),
      choicesChanged_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      translator_([this](const RawEvent& event) { emit(event); }),
      remapped_([this](InputTranslator::Device key) {
          return deviceOf(reinterpret_cast<libinput_device*>(key))
              .probe.look({[this, key](std::uint16_t code, bool pressed) {
                               remapped_.hardwareKey(key, code, pressed);
                           },
                           [this, key](const KeySet& held) { remapped_.hardwareDelivered(key, held); }});
      }),
      touch_([this](libinput_device* device, std::uint16_t code, bool pressed, InputTranslator::Time time) {
          button(device, code, pressed, time);
      }) {
}

LibinputTap::~LibinputTap() {
    choices_.setListener({});
    loop_ = nullptr; // it went before the tap
    devices_.clear();
    if (libinput_ != nullptr) {
        libinput_unref(libinput_);
    }
}

bool LibinputTap::open() {
    udev_ = UdevInput::make(seat_);
    libinput_ = libinput_path_create_context(&interface, this);
    if (udev_ == nullptr || libinput_ == nullptr) {
        return false;
    }
    libinput_log_set_handler(libinput_, [](libinput*, libinput_log_priority, const char*, va_list) {});
    choices_.setListener([this] { eventfd_write(choicesChanged_.get(), 1); });
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
    if (choicesChanged_.isOpen()) {
        static_cast<void>(loop->watch(choicesChanged_.get(), [this] { configurePointers(); }));
    }
    if (touch_.descriptor() >= 0) {
        static_cast<void>(loop->watch(touch_.descriptor(), [this] { touch_.release(); }));
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
    device = {node, now.inode, *origin, Handle(libinput_device_ref(handle)), identityOf(handle), {}, false};
    libinput_device_set_user_data(handle, &device);
    if (has(handle, LIBINPUT_DEVICE_CAP_KEYBOARD) || has(handle, LIBINPUT_DEVICE_CAP_POINTER)) {
        noteForRemapping(device);
    }
    configurePointer(device, choices_.rules());
}

void LibinputTap::configurePointers() {
    eventfd_t changes = 0;
    eventfd_read(choicesChanged_.get(), &changes);
    const PointerRules rules = choices_.rules();
    for (const auto& [node, device] : devices_) {
        configurePointer(device, rules);
    }
    dispatchAndReview(); // lets go of what a device held that is not used any more
}

void LibinputTap::configurePointer(const Device& device, const PointerRules& rules) const {
    if (const auto pointer = pointerOf(device.handle.get(), device.node)) {
        configure(device.handle.get(), settingsOf(*pointer, rules));
    }
}

void LibinputTap::noteForRemapping(Device& device) {
    const bool isHardware = device.origin == DeviceOrigin::hardware;
    if (isHardware) {
        device.probe = HeldKeysProbe(device.node);
        remapped_.addHardware(keyOf(device.handle.get()), device.probe.held().value_or(KeySet()));
    }
    for (const auto& [node, other] : devices_) {
        if (other.origin != device.origin && other.identity == device.identity) {
            const Device& copy = isHardware ? other : device;
            const Device& original = isHardware ? device : other;
            remapped_.addCopy(keyOf(copy.handle.get()), keyOf(original.handle.get()));
        }
    }
}

void LibinputTap::removeDevice(const std::string& node) {
    const Device& device = devices_.at(node);
    const auto key = keyOf(device.handle.get());
    libinput_path_remove_device(device.handle.get());
    dispatch(); // lets go of the keys and buttons that are held
    touch_.remove(device.handle.get());
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
}

} // namespace keysong
