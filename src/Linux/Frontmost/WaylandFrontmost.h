#pragma once

#include "Linux/Frontmost/FrontmostSource.h"
#include "Platform/Places.h"

#include <memory>

namespace keysong {

/// The window in front by the word of a Wayland compositor that speaks wlr-foreign-toplevel-management: sway,
/// labwc, Wayfire, Hyprland and others. Windows of X programs are told as well, their class as the
/// application id. Speaks through a connection of its own. `places` outlives the source.
[[nodiscard]] std::unique_ptr<FrontmostSource> makeWaylandFrontmost(const Places& places);

} // namespace keysong
