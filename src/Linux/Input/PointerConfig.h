#pragma once

#include "Linux/Input/PointerSettings.h"

struct libinput_device;

namespace keysong {

/// The pointer as desktops name it; nothing for a device that is none. The thread that uses the device.
[[nodiscard]] std::optional<PointerDevice> pointerOf(libinput_device* device, const std::string& node);

/// Sets the device up as its user has chosen, and as libinput has it by itself where nothing is chosen, but
/// with taps on. What the device does not have is left out. The thread that uses the device.
void configure(libinput_device* device, const PointerSettings& settings);

} // namespace keysong
