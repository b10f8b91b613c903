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

std::string DesktopWindows::showSettings(const Asker& asker) {
    qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(asker.activationToken));
    settings_->show();
    return {};
}

std::string DesktopWindows::showOnboarding(const Asker& asker) {
    qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(asker.activationToken));
    onboarding_->show();
    return {};
}

} // namespace keysong
