#pragma once

#include "App/AppWindows.h"
#include "UI/SettingsWindow.h"

#include <memory>

namespace keysong {

/// The windows on a desktop, each made when it is needed first. Main thread.
class DesktopWindows final : public AppWindows {
  public:
    DesktopWindows() = default;

    /// Call it before anything is shown; what `services` refers to outlives the windows.
    void attach(const UiServices& services);
    /// Takes the windows down, while what they show is still there.
    void detach() { settings_.reset(); }

    void showSettings() override;
    void showOnboarding() override;

  private:
    std::unique_ptr<SettingsWindow> settings_;
};

} // namespace keysong
