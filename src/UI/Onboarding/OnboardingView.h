#pragma once

#include "Platform/KeyboardAccess.h"

#include <QString>
#include <QWidget>

class QBoxLayout;
class QLabel;
class QPushButton;

namespace keysong {

class AppState;

/// What the onboarding window shows: why the program needs to hear the keyboards, a button that gets the
/// right to, the same as a command to copy, and whether the right has arrived. Main thread.
class OnboardingView final : public QWidget {
    Q_OBJECT

  public:
    /// `command` is shown for a terminal. Without `canGrant` it is the only way, and copying it the default
    /// action. The model outlives the view.
    OnboardingView(const AppState& model, const KeyboardAccess& access, QWidget* parent);

    /// The button does nothing while the machine asks for a password.
    void setAsking(bool asking);
    /// Says how the asking ended, where that is not to be seen anyway.
    void showResult(const KeyboardAccess::Result& result);
    /// Where no panel shows the program's icon, the window says how to reach the settings.
    void setHasTray(bool hasTray);

    /// As high as the texts need at the width of the window.
    [[nodiscard]] QSize sizeHint() const override;

  signals:
    void grantRequested();

  private:
    enum class Importance { primary, secondary };

    /// What granting means for the user.
    [[nodiscard]] static QString consequence(KeyboardAccess::Way way);

    /// A text in the middle that wraps where it is longer than `width`.
    QLabel* addText(QBoxLayout* column, const QString& text, int width, Importance importance);
    void addGrantButton(QBoxLayout* column);
    void addStatus(QBoxLayout* column);
    void addCommand(QBoxLayout* column, bool isDefault, const QString& command);
    void showAccess();
    void copyCommand(const QString& command);

    const AppState& model_;
    QPushButton* grant_ = nullptr;
    QPushButton* copy_ = nullptr;
    QLabel* status_ = nullptr;
    QLabel* message_ = nullptr;
    QLabel* trayHint_ = nullptr;
};

} // namespace keysong
