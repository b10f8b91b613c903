#pragma once

#include "UI/Panel/ChoiceItems.h"
#include "UI/Panel/MenuLabel.h"

#include <QMenu>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace keysong {

class AppState;

/// The menu of the status item: the everyday controls, and the ways to the settings and out of the program.
/// It shows the model as it is, also while it is open, and every choice goes through the model's setters.
/// Main thread.
class MenuContent final : public QMenu {
    Q_OBJECT

  public:
    /// The model outlives the menu; `quit` ends the program.
    MenuContent(AppState& model, MenuDrawer drawer, std::function<void()> quit);
    ~MenuContent() override;

    /// The keystroke total in words, its number as the default locale writes it: "12,345 keys", "1 key".
    [[nodiscard]] static QString keyCount(std::int64_t keysPressed);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void follow();
    void showSets();
    void showDevices();
    /// The shortcuts, for which the toolkit does not look in a menu that hangs on no window. True when the
    /// key is one of them.
    bool handleKey(const QKeyEvent& event);
    /// The item whose shortcut is pressed; null for none.
    [[nodiscard]] QAction* itemFor(const QKeyEvent& press) const;
    void closeAll();

    AppState& model_;
    const MenuDrawer drawer_;
    QAction* enabled_ = nullptr;
    QAction* soundHeading_ = nullptr;
    QMenu* volumeMenu_ = nullptr;
    QMenu* outputMenu_ = nullptr;
    QAction* total_ = nullptr;
    QAction* settings_ = nullptr;
    /// The item whose shortcut is held down, and its key; null for none.
    QAction* held_ = nullptr;
    int heldKey_ = 0;
    std::optional<ChoiceItems<std::string>> sets_;
    std::optional<ChoiceItems<float>> volumes_;
    std::optional<ChoiceItems<std::optional<std::string>>> outputs_;
};

} // namespace keysong
