#include "UI/DesktopWindows.h"

#include "App/WindowsMessages.h"

namespace keysong {

DesktopWindows::DesktopWindows(const UiServices& services, KeyboardAccess& access, TaskQueue& mainQueue)
    : settings_(services), onboarding_(services.model, access, mainQueue) {
    // Later: a window that is shown anew may be closed for a moment.
    connect(&settings_, &SettingsWindow::closed, this, &DesktopWindows::look, Qt::QueuedConnection);
    connect(&onboarding_, &OnboardingWindow::closed, this, &DesktopWindows::look, Qt::QueuedConnection);
}

void DesktopWindows::show(WindowKind window, const std::string& activationToken) {
    if (!activationToken.empty()) { // where the toolkit looks for it
        qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(activationToken));
    }
    window == WindowKind::settings ? settings_.show() : onboarding_.show();
}

bool DesktopWindows::isOpen() const {
    return settings_.isShown() || onboarding_.isShown() || onboarding_.isAsking();
}

void DesktopWindows::look() {
    if (!isOpen()) {
        emit closed();
    }
}

} // namespace keysong
