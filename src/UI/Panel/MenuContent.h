#pragma once

#include "App/Panel/PanelMenu.h"

#include <QMenu>
#include <functional>
#include <map>

namespace keysong {

/// The menu of the status item, drawn by the program itself where no panel does. It follows what it shows
/// also while it is open. Main thread.
class MenuContent final : public QMenu {
    Q_OBJECT

  public:
    /// The menu that is shown outlives this one. `shortcutsReachUs` tells whether the global hotkeys have not
    /// acted already on keys that come to an open menu.
    MenuContent(PanelMenu& shown, std::function<bool()> shortcutsReachUs);
    ~MenuContent() override;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    /// Puts the items of a menu where they belong; those that were there stay the same objects.
    void showChildren(int parent);
    void removeGone();
    void showItem(int id);
    [[nodiscard]] QAction* makeAction(int id);
    /// The menu of an item, or this one.
    [[nodiscard]] QMenu* menuOf(int id);
    /// The shortcuts, for which the toolkit does not look in a menu that hangs on no window. True when the
    /// key is one of them.
    bool handleKey(const QKeyEvent& event);
    /// The item whose shortcut is pressed; null for none.
    [[nodiscard]] QAction* itemFor(const QKeyEvent& press) const;
    void closeAll();

    PanelMenu& shown_;
    const std::function<bool()> shortcutsReachUs_;
    std::map<int, QAction*> actions_;
    /// The item whose shortcut is held down, and its key; null for none.
    QAction* held_ = nullptr;
    int heldKey_ = 0;
};

} // namespace keysong
