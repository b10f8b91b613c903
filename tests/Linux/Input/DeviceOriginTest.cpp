#include "Linux/Input/DeviceOrigin.h"

#include <gtest/gtest.h>
#include <linux/input.h>

namespace keysong {
namespace {

TEST(DeviceOrigin, ProgramsMakeWhatIsVirtualAndHasNoDriversMark) {
    const std::string attached = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-1/input/input7/event7";
    const std::string bluetooth = "/sys/devices/virtual/misc/uhid/0005:1234:5678.0001/input/input9/event9";
    const std::string made = "/sys/devices/virtual/input/input8/event8";
    struct Row {
        const char* what;
        DeviceFacts facts;
        DeviceOrigin origin;
    };
    const Row rows[] = {
        {"attached to a bus", {attached, BUS_USB, "usb-1/input0", true, false}, DeviceOrigin::hardware},
        {"attached, without a table", {attached, BUS_USB, "", false, false}, DeviceOrigin::hardware},
        {"Bluetooth LE", {bluetooth, BUS_BLUETOOTH, "aa:bb", true, false}, DeviceOrigin::hardware},
        {"a vendor's hot keys", {made, BUS_HOST, "wmi/input0", true, false}, DeviceOrigin::hardware},
        {"those of a driver that says nothing", {made, 0, "", true, false}, DeviceOrigin::hardware},
        {"a program's", {made, BUS_VIRTUAL, "", false, false}, DeviceOrigin::software},
        {"a program's copy of hot keys",
         {made, BUS_HOST, "wmi/input0", false, false},
         DeviceOrigin::software},
        {"Xen's keyboard", {made, BUS_PCI, "input/device/vkbd/0", false, true}, DeviceOrigin::hardware},
        {"hot keys that cannot be read", {made, BUS_HOST, "wmi/input0", {}, false}, DeviceOrigin::hardware},
        {"a program's that cannot be read",
         {made, BUS_USB, "usb-1/input0", {}, false},
         DeviceOrigin::software},
        {"one without a phys", {made, BUS_HOST, "", {}, false}, DeviceOrigin::software},
        {"Xen's that cannot be read",
         {made, BUS_PCI, "input/device/vkbd/0", {}, true},
         DeviceOrigin::hardware},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(originOf(row.facts), row.origin) << row.what;
    }
}

} // namespace
} // namespace keysong
