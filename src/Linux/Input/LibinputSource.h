#pragma once

#include "Linux/Input/PointerChoices.h"
#include "Platform/InputSource.h"

namespace keysong {

/// Input read from the machine's devices through libinput and udev: keyboards, mice and touchpads, as they
/// come and go. Nothing is grabbed. Where no udevd describes the devices, there are none.
///
/// Hardware is source state 1; what programs make through uinput is not (`DeviceOrigin.h` tells them apart),
/// with one exception: while a key remapper has grabbed the hardware keyboards for itself, the virtual
/// keyboard that it types on is the one that the user hears (`RemappedDevices` tells it from others).
///
/// Pointers are set up as `choices` has them, and as their users choose anew.
class LibinputSource final : public InputSource {
  public:
    /// Without choices of anybody's.
    LibinputSource() : LibinputSource(std::make_shared<PointerChoices>()) {}
    explicit LibinputSource(std::shared_ptr<PointerChoices> choices) : choices_(std::move(choices)) {}

    /// Whether this process may read the seat's hardware keyboards (`mayListenTo`).
    [[nodiscard]] bool hasAccess() const override;
    [[nodiscard]] std::unique_ptr<InputTap> createTap(EventMask mask, RawEventHandler handler) override;

  private:
    std::shared_ptr<PointerChoices> choices_;
};

} // namespace keysong
