#pragma once

#include "Linux/Input/PointerSettings.h"

#include <string_view>

namespace keysong {

/// How desktops write down what is chosen of pointers. Any thread but the render and event-tap threads.

/// The rules in the text of KDE's `kcminputrc`. What is no rule there is ignored.
[[nodiscard]] PointerRules kdePointerRules(std::string_view text);

/// The rules in sway's list of inputs. None for a text that is no such list.
[[nodiscard]] PointerRules swayPointerRules(std::string_view json);

/// No file or list of a desktop is looked at that has more bytes.
inline constexpr std::size_t longestPointerList = 1 << 20;

} // namespace keysong
