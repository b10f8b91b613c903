#pragma once

#include "App/Asker.h"

#include <string>

namespace keysong {

/// The windows that the program opens. Main thread; nothing waits until one shows.
class AppWindows {
  public:
    virtual ~AppWindows() = default;

    /// Shows the settings, in front of everything, where `asker` sits; where it does not tell, on the display
    /// where a window was shown last. Returns why that cannot be, for a person, and logs it, too; empty when
    /// it is under way.
    virtual std::string showSettings(const Asker& asker) = 0;
    /// Shows what the user must do so that the program may listen, in the same way. It closes by itself once
    /// that is done.
    virtual std::string showOnboarding(const Asker& asker) = 0;

  protected:
    AppWindows() = default;
    AppWindows(const AppWindows&) = default;
    AppWindows& operator=(const AppWindows&) = default;
};

} // namespace keysong
