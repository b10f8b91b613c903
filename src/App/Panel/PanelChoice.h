#pragma once

#include "App/Panel/PanelItem.h"

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace keysong {

class TraySelection;

/// Decides who shows the program's symbol: a panel that reads the item over the bus, wherever there is one,
/// or else the tray of an X panel, for which somebody must draw it. Panels of both kinds may come and go at
/// any time. Main thread.
class PanelChoice final : public QObject {
    Q_OBJECT

  public:
    struct Patience {
        /// How long a tray waits for a panel of the other kind: panels that offer both begin with either.
        std::chrono::milliseconds atFirst{1500};
        /// The same where there was such a panel, which may be starting again.
        std::chrono::milliseconds afterPanel{std::chrono::seconds(15)};
    };

    /// The item outlives the choice; `trays` is null where programs cannot be embedded into panels.
    /// `serveTray` begins to show the symbol in the tray, or ends that; it is called in turns, begin first,
    /// and once more when the choice ends while the tray is served.
    PanelChoice(const PanelItem& item, std::unique_ptr<TraySelection> trays,
                std::function<void(bool)> serveTray, Patience patience);
    ~PanelChoice() override;

    /// Whether some panel shows the symbol.
    [[nodiscard]] bool isShown() const { return isShown_; }

  signals:
    void isShownChanged();

  private:
    void watchTrays();
    /// Looks for panels again, after something changed.
    void look();
    void setServing(bool serving);

    const PanelItem& item_;
    const std::unique_ptr<TraySelection> trays_;
    const std::function<void(bool)> serveTray_;
    const Patience patience_;
    std::unique_ptr<QSocketNotifier> traysChanged_;
    QTimer waiting_;
    bool hadHost_ = false;
    bool isServing_ = false;
    bool isShown_ = false;
};

} // namespace keysong
