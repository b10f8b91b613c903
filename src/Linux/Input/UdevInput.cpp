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

void UdevInput::Unref::operator()(udev* context) const noexcept {
    udev_unref(context);
}

void UdevInput::Unref::operator()(udev_monitor* monitor) const noexcept {
    udev_monitor_unref(monitor);
}

std::unique_ptr<UdevInput> UdevInput::make() {
    std::unique_ptr<UdevInput> input(new UdevInput);
    input->context_.reset(udev_new());
    if (input->context_ == nullptr) {
        return nullptr;
    }
    input->monitor_.reset(udev_monitor_new_from_netlink(input->context_.get(), "udev"));
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

std::optional<DeviceOrigin> UdevInput::originOf(dev_t number) const {
    const UdevDevice device(udev_device_new_from_devnum(context_.get(), 'c', number));
    if (device == nullptr || udev_device_get_is_initialized(device.get()) == 0) {
        return std::nullopt;
    }
    const char* seat = udev_device_get_property_value(device.get(), "ID_SEAT");
    const char* path = udev_device_get_syspath(device.get());
    const char* node = udev_device_get_devnode(device.get());
    if (path == nullptr || node == nullptr || (seat != nullptr && std::string_view(seat) != "seat0")) {
        return std::nullopt;
    }
    return originOfDevice(path, node);
}

} // namespace keysong
