#include "App/Panel/PanelChoice.h"

#include "Platform/TraySelection.h"
#include "Shared/Log.h"

#include <QSocketNotifier>
#include <utility>

namespace keysong {

PanelChoice::PanelChoice(const PanelItem& item, std::unique_ptr<TraySelection> trays,
                         std::function<void(bool)> serveTray, Patience patience)
    : item_(item), trays_(std::move(trays)), serveTray_(std::move(serveTray)), patience_(patience) {
    waiting_.setSingleShot(true);
    connect(&waiting_, &QTimer::timeout, this, [this] {
        setServing(true);
        look();
    });
    connect(&item_, &PanelItem::hasHostChanged, this, &PanelChoice::look);
    watchTrays();
    look();
}

PanelChoice::~PanelChoice() {
    setServing(false);
}

void PanelChoice::watchTrays() {
    if (trays_ == nullptr) {
        return;
    }
    traysChanged_ = std::make_unique<QSocketNotifier>(trays_->descriptor(), QSocketNotifier::Read);
    connect(traysChanged_.get(), &QSocketNotifier::activated, this, [this] {
        traysChanged_->setEnabled(trays_->dispatch());
        look();
    });
}

void PanelChoice::look() {
    const bool hasTray = trays_ != nullptr && trays_->isOwned();
    hadHost_ = hadHost_ || item_.hasHost();
    if (item_.hasHost() || !hasTray) {
        waiting_.stop();
        setServing(false);
    } else if (!isServing_ && !waiting_.isActive()) {
        waiting_.start(hadHost_ ? patience_.afterPanel : patience_.atFirst);
    }
    const bool isShown = item_.hasHost() || isServing_;
    if (isShown != isShown_) {
        isShown_ = isShown;
        emit isShownChanged();
    }
}

void PanelChoice::setServing(bool serving) {
    if (serving != isServing_) {
        isServing_ = serving;
        log.info("status item: %{public}s", serving ? "in the tray" : "no longer in the tray");
        serveTray_(serving);
    }
}

} // namespace keysong
