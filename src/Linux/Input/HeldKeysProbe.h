#pragma once

#include "Linux/Input/KeySet.h"
#include "Linux/System/FileDescriptor.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace keysong {

/// Asks a device which keys and buttons it holds, and which of them it has delivered to those who listen: as
/// long as somebody has grabbed it, none. Two further openings of its node, which nobody wakes for.
///
/// One thread: the tap's. What was delivered is forgotten as soon as it is told.
class HeldKeysProbe {
  public:
    /// What was delivered since the last look.
    struct Delivered {
        std::function<void(std::uint16_t code, bool pressed)> key;
        /// More than the kernel keeps, with what the device holds now.
        std::function<void(const KeySet& held)> tooMuch;
    };

    HeldKeysProbe() = default;
    /// Nothing is delivered yet. A node that cannot be opened tells nothing.
    explicit HeldKeysProbe(const std::string& node);

    /// What the device holds; touches on a pad or a screen are no keys. Nothing when it is gone or something
    /// is delivered at this moment.
    [[nodiscard]] std::optional<KeySet> look(const Delivered& delivered) const;
    /// What the device holds, without a look at what was delivered.
    [[nodiscard]] std::optional<KeySet> held() const;

  private:
    /// No event ever waits in it: asking drops those that do.
    FileDescriptor state_;
    /// Only keys and buttons wait in it.
    FileDescriptor events_;
};

} // namespace keysong
