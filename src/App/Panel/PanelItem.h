#pragma once

#include "App/AppState.h"
#include "App/AppWindows.h"
#include "App/Panel/PanelMenu.h"
#include "App/Panel/PanelMenuBus.h"
#include "App/Panel/StatusNotifier.h"
#include "App/Panel/StatusNotifierHosts.h"
#include "App/SessionBus.h"

#include <QObject>
#include <functional>

namespace keysong {

/// The program's symbol in the panel, with its menu: the panel reads both over the session bus and draws
/// them, so that nothing here needs a display. It appears as soon as there is a panel, whichever starts
/// first, and again after a panel restarted. Main thread.
class PanelItem final : public QObject {
    Q_OBJECT

  public:
    /// `windows` shows the settings, `quit` ends the program. What is referred to outlives the item.
    PanelItem(SessionBus& bus, AppState& state, AppWindows& windows, std::function<void()> quit);
    ~PanelItem() override;

    /// Whether a panel shows the item, so that the user can reach the menu.
    [[nodiscard]] bool hasHost() const { return hosts_.hasHost(); }

  signals:
    void hasHostChanged();

  private:
    void enterBus();
    void showSettings();

    AppWindows& windows_;
    SessionBus& bus_;
    PanelMenu menu_;
    PanelMenuBus menuOnBus_;
    StatusNotifier notifier_;
    StatusNotifierHosts hosts_;
};

} // namespace keysong
