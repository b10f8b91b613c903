#pragma once

#include "Linux/Input/InputTranslator.h"
#include "Linux/Input/KeySet.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

namespace keysong {

/// Tells the virtual keyboard or pointer on which a remapper types and clicks, which is the one that the user
/// hears, from those of other programs.
///
/// A remapper grabs the hardware device, so that nothing of it reaches anybody else, and types what it makes
/// of it on a virtual one. The kernel still tells everybody which keys and buttons the hardware holds. So a
/// virtual device stands for a hardware one when it types while a key went down there that was never
/// delivered. It does so until the hardware delivers again or is gone: what a remapper types late, such as a
/// key that means one thing when tapped and another when held, counts from its first ordinary key on, and its
/// wheel from its first button. A virtual device with the name and the ids of a hardware one is what
/// remappers make that pass on what they do not change; it stands for that one from the beginning, until it
/// delivers. Each hidden press accounts for one device, the first to type after it. Nobody is grabbed to find
/// out.
///
/// One thread: the tap's. Allocates only when a device is new.
class RemappedDevices {
  public:
    using Device = InputTranslator::Device;
    /// The keys that a hardware device holds now. Before it answers it tells what the device has delivered,
    /// by `hardwareKey` or `hardwareDelivered`. Nothing when that cannot be told: it is gone, or something
    /// is just being delivered.
    using HeldKeys = std::function<std::optional<KeySet>(Device)>;

    /// `heldKeys` is asked for every hardware device on every key and step of a virtual one: a few system
    /// calls.
    explicit RemappedDevices(HeldKeys heldKeys) : heldKeys_(std::move(heldKeys)) {}

    /// A hardware device is there; what it holds already tells nothing.
    void addHardware(Device device, const KeySet& held);
    /// This virtual device has the name and the ids of that hardware device.
    void addCopy(Device virtualDevice, Device hardware);
    /// A device of either kind is gone.
    void remove(Device device);
    /// A hardware device delivered a press or a release: nobody has grabbed it.
    void hardwareKey(Device device, std::uint16_t code, bool pressed);
    /// A hardware device delivered more than could be followed; what it holds is taken as delivered.
    void hardwareDelivered(Device device, const KeySet& held);
    /// The source state that a press or release on a virtual device counts as; that of a release is that
    /// of its press.
    [[nodiscard]] std::int64_t virtualKey(Device device, std::uint16_t code, bool pressed);
    /// The source state that scrolling on a virtual device counts as.
    [[nodiscard]] std::int64_t virtualScroll(Device device);
    /// What the next event of a virtual device would count as, from what is known already.
    [[nodiscard]] bool standsForHardware(Device device) const;

  private:
    struct Hardware {
        /// Held, and told so.
        KeySet delivered;
        /// Held, never told, and accounted for.
        KeySet hidden;
    };
    struct Virtual {
        std::optional<Device> standsFor;
        /// Pressed as keys of the hardware.
        KeySet held;
    };

    /// The virtual device as it is after a look at the hardware.
    Virtual& look(Device device, bool pressed);
    /// Looks at all hardware devices; the one where a hidden key went down since the last look.
    std::optional<Device> lookForHiddenPress();
    /// No virtual device stands for this one.
    void endStandIns(Device hardware);

    HeldKeys heldKeys_;
    std::map<Device, Hardware> hardware_;
    std::map<Device, Virtual> virtual_;
};

} // namespace keysong
