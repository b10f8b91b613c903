#pragma once

#include "App/AppState.h"
#include "App/Panel/PanelMenu.h"
#include "UI/Panel/MenuContent.h"

#include <QObject>
#include <QSystemTrayIcon>

namespace keysong {

/// The program's symbol in the tray of an X panel, with its menu, which either button opens. Only for where
/// no panel reads the status item over the bus: the toolkit would add a second one to such a panel. Main
/// thread.
class StatusItem final : public QObject {
    Q_OBJECT

  public:
    /// Shows the symbol. The state outlives it.
    StatusItem(AppState& state, PanelMenu::Actions actions);
    ~StatusItem() override;

  private:
    void showAppearance();
    void activated(QSystemTrayIcon::ActivationReason reason);

    AppState& state_;
    PanelMenu menu_;
    MenuContent popup_;
    QSystemTrayIcon icon_;
};

} // namespace keysong
