#include "UI/DesktopWindows.h"

namespace keysong {

void DesktopWindows::attach(const UiServices& services, KeyboardAccess& access, TaskQueue& mainQueue) {
    settings_ = std::make_unique<SettingsWindow>(services);
    onboarding_ = std::make_unique<OnboardingWindow>(services.model, access, mainQueue);
}

void DesktopWindows::detach() {
    onboarding_.reset();
    settings_.reset();
}

void DesktopWindows::showSettings() {
    settings_->show();
}

void DesktopWindows::showOnboarding() {
    onboarding_->show();
}

} // namespace keysong
