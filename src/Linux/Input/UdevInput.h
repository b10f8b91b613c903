#pragma once

#include "Linux/Input/DeviceOrigin.h"

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

struct udev;
struct udev_monitor;

namespace keysong {

/// What udev says of input devices: which there are, as they come and go, and where they are attached.
/// One thread: the tap's.
class UdevInput {
  public:
    /// Listens from now on. Null when the machine refuses.
    [[nodiscard]] static std::unique_ptr<UdevInput> make();

    /// Readable when there are changes.
    [[nodiscard]] int descriptor() const noexcept;
    /// The paths of the event nodes whose devices came, went or changed.
    [[nodiscard]] std::vector<std::string> takeChanges();
    /// Where the events of the device with this number come from. Nothing while udev has not finished with
    /// it, and for devices of another seat.
    [[nodiscard]] std::optional<DeviceOrigin> originOf(dev_t device) const;

  private:
    struct Unref {
        void operator()(udev* context) const noexcept;
        void operator()(udev_monitor* monitor) const noexcept;
    };

    UdevInput() = default;

    std::unique_ptr<udev, Unref> context_;
    std::unique_ptr<udev_monitor, Unref> monitor_;
};

} // namespace keysong
