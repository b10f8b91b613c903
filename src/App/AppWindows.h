#pragma once

namespace keysong {

/// The windows that the model opens. Main thread.
class AppWindows {
  public:
    virtual ~AppWindows() = default;

    /// Shows the settings, in front of everything.
    virtual void showSettings() = 0;
    /// Shows what the user must do so that the program may listen. It closes by itself once that is done.
    virtual void showOnboarding() = 0;

  protected:
    AppWindows() = default;
    AppWindows(const AppWindows&) = default;
    AppWindows& operator=(const AppWindows&) = default;
};

} // namespace keysong
