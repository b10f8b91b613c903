#include "Linux/Input/UdevInput.h"

#include "Linux/Input/KeyboardNodes.h"

#include <libudev.h>

#include <string_view>

namespace keysong {

namespace {

struct UnrefDevice {
    void operator()(udev_device* device) const noexcept { udev_device_unref(device); }
};
using UdevDevice = std::unique_ptr<udev_device, UnrefDevice>;

} // namespace

void UdevDevices::Unref::operator()(udev* context) const noexcept {
    udev_unref(context);
}

void UdevInput::Unref::operator()(udev_monitor* monitor) const noexcept {
    udev_monitor_unref(monitor);
}

std::unique_ptr<UdevInput> UdevInput::make(std::string seat) {
    std::unique_ptr<UdevInput> input(new UdevInput(std::move(seat)));
    udev* context = input->devices_.context_.get();
    if (context == nullptr) {
        return nullptr;
    }
    input->monitor_.reset(udev_monitor_new_from_netlink(context, "udev"));
    udev_monitor* monitor = input->monitor_.get();
    if (monitor == nullptr ||
        udev_monitor_filter_add_match_subsystem_devtype(monitor, "input", nullptr) != 0 ||
        udev_monitor_enable_receiving(monitor) != 0) {
        return nullptr;
    }
    return input;
}

int UdevInput::descriptor() const noexcept {
    return udev_monitor_get_fd(monitor_.get());
}

std::vector<std::string> UdevInput::takeChanges() {
    std::vector<std::string> nodes;
    while (const UdevDevice device{udev_monitor_receive_device(monitor_.get())}) {
        const char* node = udev_device_get_devnode(device.get());
        if (node != nullptr && isEventNode(node)) {
            nodes.emplace_back(node);
        }
    }
    return nodes;
}

UdevDevices::UdevDevices(std::string seat) : seat_(std::move(seat)), context_(udev_new()) {
}

std::optional<DeviceOrigin> UdevDevices::originOf(dev_t number) const {
    if (context_ == nullptr) {
        return std::nullopt;
    }
    const UdevDevice device(udev_device_new_from_devnum(context_.get(), 'c', number));
    if (device == nullptr || udev_device_get_is_initialized(device.get()) == 0) {
        return std::nullopt;
    }
    const char* seat = udev_device_get_property_value(device.get(), "ID_SEAT");
    const char* path = udev_device_get_syspath(device.get());
    const char* node = udev_device_get_devnode(device.get());
    if (path == nullptr || node == nullptr || (seat != nullptr ? seat : std::string_view("seat0")) != seat_) {
        return std::nullopt;
    }
    return originOfDevice(path, node);
}

} // namespace keysong
