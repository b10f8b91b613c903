#include "UI/DesktopWindows.h"

namespace keysong {

void DesktopWindows::attach(const UiServices& services) {
    settings_ = std::make_unique<SettingsWindow>(services);
}

void DesktopWindows::showSettings() {
    settings_->show();
}

void DesktopWindows::showOnboarding() {
}

} // namespace keysong
