#pragma once

#include "UI/Onboarding/OnboardingWindow.h"
#include "UI/Settings/SettingsWindow.h"

#include <QObject>
#include <cstdint>
#include <string>

namespace keysong {

enum class WindowKind : std::uint8_t;

/// The windows on a desktop, each made when it is needed first. Main thread.
class DesktopWindows final : public QObject {
    Q_OBJECT

  public:
    /// What the arguments refer to outlives the windows. `mainQueue` runs its tasks on the main thread.
    DesktopWindows(const UiServices& services, KeyboardAccess& access, TaskQueue& mainQueue);

    /// Shows a window in front of all others. The token is the desktop's leave to take the focus; it may be
    /// empty.
    void show(WindowKind window, const std::string& activationToken);
    /// Whether some panel shows the program's icon; until somebody says so, one does.
    void setHasTray(bool hasTray) { onboarding_.setHasTray(hasTray); }
    /// Whether any window shows, or the machine asks for a password because of one.
    [[nodiscard]] bool isOpen() const;

  signals:
    /// `isOpen` is no longer true.
    void closed();

  private:
    void look();

    SettingsWindow settings_;
    OnboardingWindow onboarding_;
};

} // namespace keysong
