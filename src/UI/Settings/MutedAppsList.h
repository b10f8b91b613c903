#pragma once

#include "App/AppState.h"
#include "Platform/InstalledApplications.h"
#include "Platform/TextOrder.h"
#include "UI/Look/Symbols.h"

#include <QLabel>
#include <QListWidget>
#include <QToolButton>
#include <QWidget>

namespace keysong {

/// The model's muted applications with icon and name, and the buttons that add and remove one. Main thread.
/// Everything referred to outlives it.
class MutedAppsList final : public QWidget {
    Q_OBJECT

  public:
    MutedAppsList(AppState& model, InstalledApplications& applications, const TextOrder& order,
                  QWidget* parent);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    QToolButton* makeButton(Symbol symbol, const QString& help);
    void refill();
    void followSelection();
    void addMutedApp();
    void removeSelectedMutedApp();

    AppState& model_;
    InstalledApplications& applications_;
    const TextOrder& order_;
    QListWidget* list_;
    QLabel* none_;
    QToolButton* remove_;
};

} // namespace keysong
