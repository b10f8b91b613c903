#pragma once

#include "Platform/TraySelection.h"

#include <memory>

namespace keysong {

/// The tray of the screen that DISPLAY names, as its panels announce it: the owner of the selection
/// `_NET_SYSTEM_TRAY_Sn`. Null when no server answers. The process ignores SIGPIPE.
[[nodiscard]] std::unique_ptr<TraySelection> makeX11TraySelection();

} // namespace keysong
