#pragma once

#include "App/AppState.h"
#include "App/Asker.h"
#include "App/BusObject.h"
#include "App/Panel/BusStructure.h"
#include "App/Panel/PanelAppearance.h"

#include <functional>

namespace keysong {

/// The status item as panels read it over the bus: `org.kde.StatusNotifierItem`. Panels that know how open
/// the menu for every click (`ItemIsMenu`); the others ask for what a click does, and get the settings. Main
/// thread.
class StatusNotifier final : public BusObject {
    Q_OBJECT

  public:
    static constexpr const char* objectPath = "/StatusNotifierItem";
    static constexpr const char* itemInterface = "org.kde.StatusNotifierItem";

    /// Width, height and pixels: "(iiay)".
    using Picture = BusStructure<int, int, QByteArray>;
    /// An icon's name, its pictures, a title and a text: "(sa(iiay)ss)".
    using ToolTip = BusStructure<QString, QList<Picture>, QString, QString>;

    /// Bus and state outlive the item.
    StatusNotifier(SessionBus& bus, AppState& state, std::function<void()> showSettings);

    /// Who asks for the window that is shown next: with the desktop's leave to take the focus, where the
    /// panel passed one on since this was last called.
    [[nodiscard]] Asker takeAsker();

  private:
    [[nodiscard]] const std::vector<BusInterface>& interfaces() const override { return interfaces_; }
    [[nodiscard]] std::vector<BusInterface> describe();
    [[nodiscard]] QList<Picture> pictures() const;
    void showAppearance();

    AppState& state_;
    const std::function<void()> showSettings_;
    const std::vector<BusInterface> interfaces_;
    PanelAppearance appearance_;
    Asker asker_;
};

} // namespace keysong
