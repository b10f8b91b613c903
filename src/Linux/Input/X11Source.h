#pragma once

#include "Platform/InputSource.h"

#include <filesystem>
#include <string>

namespace keysong {

/// Input from an X server through XInput2 raw events, for those who have a display but no right to the
/// devices: every key and button of the session, also under another client's grab. A scroll notch comes as
/// its button. A press of a key that is down already is autorepeat.
///
/// What clients inject (XTEST) and what the server reads from kernel devices that programs made (uinput,
/// `DeviceOrigin.h`) is software, everything else hardware. That holds for a key remapper's virtual keyboard
/// too: whether it has grabbed the real ones cannot be seen without the right to read them.
///
/// A tap whose server is gone says so at once with a notice, and reconnects when it is enabled.
class X11Source final : public InputSource {
  public:
    /// `display` is a name such as ":0", or empty for what DISPLAY names at the time. `inputClass` is where
    /// sysfs lists the kernel's input devices.
    explicit X11Source(std::string display = {}, std::filesystem::path inputClass = "/sys/class/input");

    /// Whether a display with XInput 2 answers. Connects to find out.
    [[nodiscard]] bool hasAccess() const override;
    /// The log tells why there is none.
    [[nodiscard]] std::unique_ptr<InputTap> createTap(EventMask mask, RawEventHandler handler) override;

  private:
    const std::string display_;
    const std::filesystem::path inputClass_;
};

} // namespace keysong
