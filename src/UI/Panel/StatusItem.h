#pragma once

#include "UI/Look/Symbols.h"
#include "UI/Panel/MenuContent.h"
#include "UI/Panel/StatusNotifierHosts.h"

#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace keysong {

class AppState;
class TraySelection;

/// The program's symbol in the panel, with its menu: as a status notifier item where the desktop has those,
/// else in the tray of an X panel. It appears as soon as there is a panel, whichever starts first, and again
/// after a panel restarted.
///
/// One of the two ways is chosen when the first panel shows up, and kept: the toolkit looks for the desktop's
/// way once in the life of a process. Main thread.
class StatusItem final : public QObject {
    Q_OBJECT

  public:
    /// The symbol and its opacity, 0 to 1, that tell the model's state.
    struct Appearance {
        Symbol symbol;
        double opacity;

        bool operator==(const Appearance&) const = default;
    };

    /// The model outlives the item; `trays` is null where programs cannot be embedded into panels. `quit`
    /// ends the program.
    StatusItem(AppState& model, std::unique_ptr<TraySelection> trays, const std::function<void()>& quit);
    ~StatusItem() override;

    [[nodiscard]] static Appearance appearance(const AppState& model);

    /// Whether a panel shows the item, so that the user can reach the menu.
    [[nodiscard]] bool hasHost() const { return hasHost_; }

  signals:
    void hasHostChanged();

  private:
    void watchTrays();
    /// Looks for a panel again, after something changed.
    void look();
    void show(MenuDrawer drawer);
    void showAppearance();
    void activated(QSystemTrayIcon::ActivationReason reason);

    AppState& model_;
    const std::unique_ptr<TraySelection> trays_;
    StatusNotifierHosts notifierHosts_;
    std::unique_ptr<QSocketNotifier> traysChanged_;
    /// How long an X panel waits for a panel of the other kind.
    QTimer patience_;
    /// Opened by the program itself.
    MenuContent popup_;
    /// Given to the panel.
    MenuContent exported_;
    /// Null until there is a panel.
    std::unique_ptr<QSystemTrayIcon> icon_;
    MenuDrawer drawer_ = MenuDrawer::toolkit;
    bool hasHost_ = false;
};

} // namespace keysong
