#include "Linux/Input/DeviceOrigin.h"

#include "Linux/System/FileDescriptor.h"

#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace keysong {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view virtualDevices = "/devices/virtual/input/";
/// How Xen's driver begins its phys; what follows is the number of the device on its bus.
constexpr std::string_view xenPhys = "input/device/vkbd/";

std::string lineOf(const fs::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

std::optional<bool> hasKeymap(const std::string& node) {
    const FileDescriptor device(open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!device.isOpen()) {
        return std::nullopt;
    }
    input_keymap_entry first{};
    first.flags = INPUT_KEYMAP_BY_INDEX;
    return ioctl(device.get(), EVIOCGKEYCODE_V2, &first) == 0;
}

bool isOnXenbus(std::string_view phys) {
    if (!phys.starts_with(xenPhys)) {
        return false;
    }
    const std::string_view number =
        phys.substr(xenPhys.size(), phys.find('/', xenPhys.size()) - xenPhys.size());
    const bool isNumber =
        !number.empty() && std::ranges::all_of(number, [](char c) { return c >= '0' && c <= '9'; });
    std::error_code error;
    return isNumber && fs::exists("/sys/bus/xen/devices/vkbd-" + std::string(number), error);
}

} // namespace

DeviceOrigin originOf(const DeviceFacts& facts) {
    const bool isVirtual = facts.sysfsPath.find(virtualDevices) != std::string::npos;
    const bool isDrivers =
        facts.isOnXenbus || facts.hasKeymap.value_or(facts.bus == BUS_HOST && !facts.phys.empty());
    return !isVirtual || isDrivers ? DeviceOrigin::hardware : DeviceOrigin::software;
}

DeviceOrigin originOfDevice(const std::string& sysfsPath, const std::string& node) {
    DeviceFacts facts;
    facts.sysfsPath = sysfsPath;
    if (originOf(facts) == DeviceOrigin::software) {
        const fs::path device = fs::path(sysfsPath) / "device";
        const std::string bus = lineOf(device / "id/bustype");
        std::from_chars(bus.data(), bus.data() + bus.size(), facts.bus, 16);
        facts.phys = lineOf(device / "phys");
        facts.hasKeymap = hasKeymap(node);
        facts.isOnXenbus = isOnXenbus(facts.phys);
    }
    return originOf(facts);
}

} // namespace keysong
