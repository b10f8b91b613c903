#pragma once

#include "Linux/Frontmost/FrontmostSource.h"

#include <memory>

namespace keysong {

/// The window in front by the word of an X window manager: `_NET_ACTIVE_WINDOW`. Knows only X windows: inside
/// a Wayland session it is blind to all others. Speaks through a connection of its own (xcb), which has no
/// error handlers that a process must share.
[[nodiscard]] std::unique_ptr<FrontmostSource> makeX11Frontmost();

} // namespace keysong
