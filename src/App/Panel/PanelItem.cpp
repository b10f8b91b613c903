#include "App/Panel/PanelItem.h"

#include "Shared/Log.h"

#include <utility>

namespace keysong {

PanelItem::PanelItem(SessionBus& bus, AppState& state, AppWindows& windows, std::function<void()> quit)
    : windows_(windows), bus_(bus), menu_(state, {[this] { showSettings(); }, std::move(quit)}),
      menuOnBus_(bus_, menu_), notifier_(bus_, state, [this] { showSettings(); }), hosts_(bus_) {
    connect(&hosts_, &StatusNotifierHosts::changed, this, [this] {
        log.info("status item: %{public}s", hasHost() ? "in a panel" : "no panel shows it");
        emit hasHostChanged();
    });
    connect(&bus_, &SessionBus::opened, this, &PanelItem::enterBus);
    if (bus_.isOpen()) {
        enterBus();
    }
}

void PanelItem::enterBus() {
    if (menuOnBus_.publish() && notifier_.publish()) {
        hosts_.start();
    }
}

PanelItem::~PanelItem() = default;

void PanelItem::showSettings() {
    windows_.showSettings(notifier_.takeAsker());
}

} // namespace keysong
