#pragma once

#include "Linux/Frontmost/FrontmostSource.h"
#include "Platform/Places.h"

#include <memory>

namespace keysong {

/// The window in front by the word of KWin, Plasma's compositor, which keeps its window list from ordinary
/// Wayland clients but runs scripts for anybody on the session's bus: a script of a few lines, loaded for as
/// long as the source is open, calls back with each window that is activated.
///
/// The script lies in `XDG_RUNTIME_DIR` meanwhile. `places` outlives the source.
[[nodiscard]] std::unique_ptr<FrontmostSource> makeKwinFrontmost(const Places& places);

} // namespace keysong
