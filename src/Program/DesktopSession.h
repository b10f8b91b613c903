#pragma once

#include "App/AppState.h"
#include "App/Panel/PanelChoice.h"
#include "App/Panel/PanelItem.h"
#include "UI/DesktopWindows.h"
#include "UI/Look/Theme.h"
#include "UI/Panel/StatusItem.h"

#include <QApplication>
#include <functional>
#include <optional>

#include "Linux/Input/PolkitAccess.h"
#include "Program/Machine.h"

namespace keysong {

/// What the program shows where there is a display: the windows, the tray icon with its menu, and how they
/// look. Main thread.
class DesktopSession final {
  public:
    /// `application` outlives it.
    explicit DesktopSession(QApplication& application) : theme_(application) {}

    /// Nothing may be shown before `attach`.
    [[nodiscard]] AppWindows& windows() noexcept { return windows_; }

    /// Shows the model from here on until `detach`, and its symbol in the tray of an X panel where `panel` is
    /// in none; `quit` ends the program. What is referred to stays until then.
    void attach(AppState& model, const PanelItem& panel, InstalledApplications& applications,
                Machine& machine, TaskQueue& mainQueue, const std::function<void()>& quit);
    void detach();

  private:
    Theme theme_;
    DesktopWindows windows_;
    std::optional<PolkitAccess> access_;
    std::optional<StatusItem> trayItem_;
    std::optional<PanelChoice> panelChoice_;
};

} // namespace keysong
