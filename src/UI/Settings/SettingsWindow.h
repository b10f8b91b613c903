#pragma once

#include "UI/Settings/SettingsView.h"

#include <QMainWindow>
#include <memory>

namespace keysong {

/// The window around the settings. What is typed while no text field has the focus goes to the scratch field.
/// Main thread.
class SettingsPanel final : public QMainWindow {
    Q_OBJECT

  public:
    explicit SettingsPanel(const UiServices& services);

  signals:
    void closed();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void fitScreen();

    SettingsView* view_;
};

/// Shows the one settings window; it is made when it is needed first and kept. Main thread.
class SettingsWindow final : public QObject {
    Q_OBJECT

  public:
    /// What `services` refers to outlives it.
    explicit SettingsWindow(const UiServices& services) : services_(services) {}

    /// Shows the window in front of all others, with the keyboard's focus where the desktop allows it.
    void show();
    [[nodiscard]] bool isShown() const { return window_ != nullptr && window_->isVisible(); }

  signals:
    /// The user closed the window.
    void closed();

  private:
    const UiServices services_;
    std::unique_ptr<SettingsPanel> window_;
};

} // namespace keysong
