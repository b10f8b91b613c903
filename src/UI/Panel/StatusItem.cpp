#include "UI/Panel/StatusItem.h"

#include "App/AppState.h"
#include "Platform/TraySelection.h"
#include "Shared/Log.h"

#include <QCursor>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <chrono>
#include <utility>

namespace keysong {

namespace {

/// Panels that offer both ways begin with either.
constexpr std::chrono::milliseconds patience{1500};
constexpr double faint = 0.4;

} // namespace

StatusItem::StatusItem(AppState& model, std::unique_ptr<TraySelection> trays,
                       const std::function<void()>& quit)
    : model_(model), trays_(std::move(trays)), popup_(model, MenuDrawer::toolkit, quit),
      exported_(model, MenuDrawer::panel, quit) {
    patience_.setSingleShot(true);
    patience_.setInterval(patience);
    connect(&patience_, &QTimer::timeout, this, [this] {
        if (icon_ == nullptr && trays_->isOwned()) {
            show(MenuDrawer::toolkit);
            look();
        }
    });
    for (const auto changed :
         {&AppState::hasAccessChanged, &AppState::isEnabledChanged, &AppState::isSleepingChanged}) {
        connect(&model_, changed, this, &StatusItem::showAppearance);
    }
    connect(&notifierHosts_, &StatusNotifierHosts::changed, this, &StatusItem::look);
    watchTrays();
    look();
}

StatusItem::~StatusItem() = default;

StatusItem::Appearance StatusItem::appearance(const AppState& model) {
    const bool sounds = model.hasAccess() && model.isEnabled() && !model.isSleeping();
    if (!model.hasAccess()) {
        return {Symbol::warningTriangle, faint};
    }
    return {model.isEnabled() ? Symbol::keyboard : Symbol::speakerMuted, sounds ? 1 : faint};
}

void StatusItem::watchTrays() {
    if (trays_ == nullptr) {
        return;
    }
    traysChanged_ = std::make_unique<QSocketNotifier>(trays_->descriptor(), QSocketNotifier::Read);
    connect(traysChanged_.get(), &QSocketNotifier::activated, this, [this] {
        traysChanged_->setEnabled(trays_->dispatch());
        look();
    });
}

void StatusItem::look() {
    const bool hasTray = trays_ != nullptr && trays_->isOwned();
    if (icon_ == nullptr) {
        if (notifierHosts_.hasHost()) {
            show(MenuDrawer::panel);
        } else if (hasTray && !patience_.isActive()) {
            patience_.start();
        }
    }
    const bool hasPanel = drawer_ == MenuDrawer::panel ? notifierHosts_.hasHost() : hasTray;
    const bool hasHost = icon_ != nullptr && hasPanel;
    if (hasHost != hasHost_) {
        hasHost_ = hasHost;
        log.info("status item: %{public}s", hasHost_ ? "in a panel" : "no panel shows it");
        emit hasHostChanged();
    }
}

void StatusItem::show(MenuDrawer drawer) {
    patience_.stop();
    drawer_ = drawer;
    icon_ = std::make_unique<QSystemTrayIcon>();
    icon_->setToolTip("Keysong");
    icon_->setContextMenu(drawer == MenuDrawer::panel ? &exported_ : &popup_);
    connect(icon_.get(), &QSystemTrayIcon::activated, this, &StatusItem::activated);
    showAppearance();
    icon_->show();
}

void StatusItem::showAppearance() {
    if (icon_ != nullptr) {
        const auto [symbol, opacity] = appearance(model_);
        icon_->setIcon(panelIcon(symbol, opacity));
    }
}

void StatusItem::activated(QSystemTrayIcon::ActivationReason reason) {
    if (reason != QSystemTrayIcon::Trigger) {
        return;
    }
    if (QGuiApplication::platformName() == "xcb") {
        popup_.popup(QCursor::pos());
    } else {
        // Only a window of its own may open a menu there, and the panel's is not one.
        model_.showSettings();
    }
}

} // namespace keysong
