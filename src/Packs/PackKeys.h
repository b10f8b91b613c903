#pragma once

#include "Shared/KeyGroup.h"
#include "Shared/SoundEvent.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace keysong {

/// The virtual key code that a kernel's key code (its KEY_ numbers) stands for; none for what is no key of
/// the board. What the machine knows, given to those who read packs.
using KernelKeys = std::function<std::optional<std::uint8_t>(std::uint16_t kernelCode)>;

/// The kernel's key code for a code in the way of the PC's first scan code set: 1 to 83 and 86 to 88 as they
/// are, 0x0E00, 0xE000 or 0xEE00 plus the code for a key with the prefix 0xE0, 91 to 93 and 99 to 107 for
/// F13 to F24, and the keys of JIS boards.
[[nodiscard]] std::optional<std::uint16_t> kernelCodeOfScanCode(std::int64_t code);

/// Whether a code has one of the prefixes above: nothing else can be meant by it.
[[nodiscard]] bool isExtendedScanCode(std::int64_t code);

/// Whether a code may be the kernel's own number of a key instead, as some packs have them: 96 to 127.
[[nodiscard]] bool mayBeKernelNumber(std::int64_t code);

/// What a name in a pack may mean.
struct NamedTarget {
    enum class Kind : std::uint8_t { key, group, button, scroll };

    Kind kind = Kind::key;
    /// The kernel's key code, of a key.
    std::uint16_t kernelCode = 0;
    KeyGroup group = KeyGroup::main;
    MouseButton button = MouseButton::left;
};

/// What a name means: a W3C key code ("KeyA", "Enter", "MouseLeft"), another usual name of a key ("a",
/// "return", "lshift"), or a group's. Letter case, blanks, "-" and "_" do not matter.
[[nodiscard]] std::optional<NamedTarget> targetNamed(std::string_view name);

} // namespace keysong
