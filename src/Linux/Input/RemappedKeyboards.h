#pragma once

#include "Linux/Input/InputTranslator.h"

#include <linux/input-event-codes.h>

#include <bitset>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>

namespace keysong {

/// A set of Linux key codes.
using KeySet = std::bitset<KEY_CNT>;

/// Tells the virtual keyboard that a key remapper types on, which is the one that the user hears, from those
/// of other programs.
///
/// A remapper grabs the hardware keyboard, so that nothing of it reaches anybody else, and types what it
/// makes of it on a virtual one. The kernel still tells everybody which keys the hardware holds. So a virtual
/// keyboard stands for a hardware one when it types while a key went down there that was never delivered. It
/// does so until the hardware delivers again or is gone: what a remapper types late, such as a key that means
/// one thing when tapped and another when held, counts from its first ordinary key on. Each hidden press
/// accounts for one keyboard, the first to type after it. Nobody is grabbed to find out.
///
/// One thread: the tap's. Allocates only when a device is new.
class RemappedKeyboards {
  public:
    using Device = InputTranslator::Device;
    /// The keys that a hardware keyboard holds now. Nothing when that cannot be told: it is gone, or some of
    /// its events are delivered but not read.
    using HeldKeys = std::function<std::optional<KeySet>(Device)>;

    /// `heldKeys` is asked for every hardware keyboard on every key of a virtual one: a few system calls.
    explicit RemappedKeyboards(HeldKeys heldKeys) : heldKeys_(std::move(heldKeys)) {}

    /// A hardware keyboard is there; what it holds already tells nothing.
    void addHardware(Device keyboard, const KeySet& held);
    /// A keyboard of either kind is gone.
    void remove(Device keyboard);
    /// A hardware keyboard delivered a press or a release: nobody has grabbed it.
    void hardwareKey(Device keyboard, std::uint16_t code, bool pressed);
    /// The source state that a press or release on a virtual keyboard counts as; that of a release is that
    /// of its press.
    [[nodiscard]] std::int64_t virtualKey(Device keyboard, std::uint16_t code, bool pressed);

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

    /// Looks at all hardware keyboards; the one where a hidden key went down since the last look.
    std::optional<Device> lookForHiddenPress();

    HeldKeys heldKeys_;
    std::map<Device, Hardware> hardware_;
    std::map<Device, Virtual> virtual_;
};

} // namespace keysong
