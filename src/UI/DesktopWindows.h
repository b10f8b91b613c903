#pragma once

#include "App/AppWindows.h"
#include "UI/Onboarding/OnboardingWindow.h"
#include "UI/Settings/SettingsWindow.h"

#include <memory>

namespace keysong {

/// The windows on a desktop, each made when it is needed first. Main thread.
class DesktopWindows final : public AppWindows {
  public:
    DesktopWindows() = default;

    /// Call it before anything is shown; what the arguments refer to outlives the windows. `mainQueue` runs
    /// its tasks on the main thread.
    void attach(const UiServices& services, KeyboardAccess& access, TaskQueue& mainQueue);
    /// Takes the windows down, while what they show is still there.
    void detach();

    /// Whether some panel shows the program's icon; until somebody says so, one does. After `attach`.
    void setHasTray(bool hasTray) { onboarding_->setHasTray(hasTray); }

    std::string showSettings(const Asker& asker) override;
    std::string showOnboarding(const Asker& asker) override;

  private:
    std::unique_ptr<SettingsWindow> settings_;
    std::unique_ptr<OnboardingWindow> onboarding_;
};

} // namespace keysong
