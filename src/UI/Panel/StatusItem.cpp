#include "UI/Panel/StatusItem.h"

#include "App/Panel/PanelAppearance.h"
#include "UI/Panel/PanelSymbols.h"

#include <QCursor>
#include <utility>

namespace keysong {

StatusItem::StatusItem(AppState& state, PanelMenu::Actions actions)
    : state_(state), menu_(state, std::move(actions)),
      // The input devices hear a key that no open menu keeps to itself.
      popup_(menu_, [&state] { return state.hotkeyWay() != "input"; }) {
    icon_.setToolTip("Keysong");
    icon_.setContextMenu(&popup_);
    connect(&icon_, &QSystemTrayIcon::activated, this, &StatusItem::activated);
    for (const auto changed :
         {&AppState::hasAccessChanged, &AppState::isEnabledChanged, &AppState::isSleepingChanged}) {
        connect(&state_, changed, this, &StatusItem::showAppearance);
    }
    showAppearance();
    icon_.show();
}

StatusItem::~StatusItem() = default;

void StatusItem::showAppearance() {
    const auto [symbol, isFaint] = panelAppearance(state_);
    icon_.setIcon(panelIcon(drawingOf(symbol), isFaint ? faintOpacity : 1));
}

void StatusItem::activated(QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger) {
        popup_.popup(QCursor::pos());
    }
}

} // namespace keysong
