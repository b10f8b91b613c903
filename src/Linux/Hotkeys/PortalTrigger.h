#pragma once

#include "Platform/HotkeyRegistrar.h"

#include <optional>
#include <string>

namespace keysong {

/// A combination as the desktop's shortcuts know it: "CTRL+ALT+k". Only letters and digits have a name there;
/// empty for every other key. Any thread.
[[nodiscard]] std::optional<std::string> portalTrigger(HotkeyCombination combination);

/// The same for people: "Control+Alt+K". Any thread.
[[nodiscard]] std::string describeCombination(HotkeyCombination combination);

} // namespace keysong
