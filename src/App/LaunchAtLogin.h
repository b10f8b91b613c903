#pragma once

#include "Platform/LoginItem.h"

namespace keysong {

/// Whether the desktop starts the program at login. The login item is the only record of it. Main thread.
class LaunchAtLogin {
  public:
    LaunchAtLogin() = delete;

    /// Registers or unregisters the program; what was never registered is left alone. Throws
    /// `LoginItemError`.
    static void set(LoginItem& item, bool enabled);

    [[nodiscard]] static bool isEnabled(const LoginItem& item);
};

} // namespace keysong
