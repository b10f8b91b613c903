#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace keysong {

/// Where a device's events come from.
enum class DeviceOrigin : std::uint8_t { hardware, software };

/// What sysfs and the kernel tell of an input device.
struct DeviceFacts {
    /// Its folder in sysfs.
    std::string sysfsPath;
    std::uint16_t bus = 0;
    /// Where the kernel's driver says that it is attached; empty where it says nothing.
    std::string phys;
    /// Whether its driver has a table of keys. Nothing where the node cannot be read.
    std::optional<bool> hasKeymap;
    /// Whether the hypervisor's bus has the keyboard that `phys` names.
    bool isOnXenbus = false;
};

/// Where the events of such a device come from. Any thread; allocates nothing.
///
/// Whatever is attached to something is hardware, and so are the devices made through uhid, which stand for
/// Bluetooth LE hardware: their folders in sysfs are not among the virtual input devices, and no program can
/// choose the folder. Those that remain are made by programs through uinput, or by drivers of the kernel that
/// name no parent: vendors' hot keys and the keyboards of Xen. A program may give its device any name, ids,
/// bus and phys, but uinput has no way to give it a table of keys, which the drivers of hot keys have. So the
/// table decides. Xen's keyboards have none; their phys names a device of the hypervisor's bus, which a
/// program can copy only in such a machine. Where the node cannot be read, nothing better is left than the
/// host's bus and a phys, which no program is known to give; a virtual device of the kernel that has neither
/// table nor Xen's bus counts as software.
[[nodiscard]] DeviceOrigin originOf(const DeviceFacts& facts);

/// Where the events of a device come from, by the folder of its event node in sysfs, without links, and the
/// node. Reads a few files and asks the device for virtual ones. Any thread but the render thread.
[[nodiscard]] DeviceOrigin originOfDevice(const std::string& sysfsPath, const std::string& node);

} // namespace keysong
