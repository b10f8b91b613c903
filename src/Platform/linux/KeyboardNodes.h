#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// What sysfs and the device nodes tell about keyboards. Any thread but the render thread.

/// Where a device's events come from, by its path in sysfs, which a program cannot choose.
enum class DeviceOrigin : std::uint8_t { hardware, software };

/// Virtual input devices are software; those made through uhid stand for Bluetooth LE hardware.
[[nodiscard]] DeviceOrigin originOfDevice(std::string_view sysfsPath);

/// The nodes under /dev/input that have letter keys, readable or not.
[[nodiscard]] std::vector<std::string> keyboardNodes();

[[nodiscard]] bool isReadable(const std::string& node);

/// Whether another process has grabbed the device behind this node. Grabs it itself for a moment.
[[nodiscard]] bool isGrabbedByOther(const std::string& node);

} // namespace keysong
