#pragma once

#include <string>

namespace keysong {

/// Is a touchpad, a touchscreen or a pen as a Bluetooth daemon would make it, through uhid, until the end of
/// standard input. Each line there is a report: bytes in hexadecimal. Throws std::exception.
void beHidDevice(const std::string& kind);

} // namespace keysong
