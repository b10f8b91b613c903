#pragma once

#include "Linux/Input/DeviceOrigin.h"

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct udev;
struct udev_monitor;

namespace keysong {

/// What udev says of input devices when it is asked. One thread at a time, not the render thread.
class UdevDevices {
  public:
    /// The devices of this seat.
    explicit UdevDevices(std::string seat = "seat0");

    /// Where the events of the device with this number come from. Nothing while udev has not finished with
    /// it, for devices of another seat, and where the machine refuses.
    [[nodiscard]] std::optional<DeviceOrigin> originOf(dev_t device) const;

  private:
    friend class UdevInput;
    struct Unref {
        void operator()(udev* context) const noexcept;
    };

    const std::string seat_;
    std::unique_ptr<udev, Unref> context_;
};

/// What udev tells of input devices by itself: which there are, as they come and go. One thread: the tap's.
class UdevInput {
  public:
    /// Listens from now on to the devices of a seat. Null when the machine refuses.
    [[nodiscard]] static std::unique_ptr<UdevInput> make(std::string seat);

    /// Readable when there are changes.
    [[nodiscard]] int descriptor() const noexcept;
    /// The paths of the event nodes whose devices came, went or changed.
    [[nodiscard]] std::vector<std::string> takeChanges();
    [[nodiscard]] const UdevDevices& devices() const noexcept { return devices_; }

  private:
    struct Unref {
        void operator()(udev_monitor* monitor) const noexcept;
    };

    explicit UdevInput(std::string seat) : devices_(std::move(seat)) {}

    UdevDevices devices_;
    std::unique_ptr<udev_monitor, Unref> monitor_;
};

} // namespace keysong
