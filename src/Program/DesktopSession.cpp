#include "Program/DesktopSession.h"

#include "App/KeyMonitor.h"

#include "Linux/Desktop/X11TraySelection.h"

namespace keysong {

void DesktopSession::attach(AppState& model, const PanelItem& panel, InstalledApplications& applications,
                            Machine& machine, TaskQueue& mainQueue, const std::function<void()>& quit) {
    access_.emplace(mainQueue, machine.threads, PolkitAccess::installedPrograms());
    windows_.attach({model, KeyMonitor::shared(), applications, machine.places, machine.textOrder}, *access_,
                    mainQueue);
    const bool isX11 = QGuiApplication::platformName() == QLatin1String("xcb");
    const auto serveTray = [this, &model, quit](bool serve) {
        trayItem_.reset();
        if (serve) {
            trayItem_.emplace(model, PanelMenu::Actions{[&model] { model.showSettings(); }, quit});
        }
    };
    panelChoice_.emplace(panel, isX11 ? makeX11TraySelection() : nullptr, serveTray, PanelChoice::Patience());
    const auto tell = [this] { windows_.setHasTray(panelChoice_->isShown()); };
    QObject::connect(&*panelChoice_, &PanelChoice::isShownChanged, tell);
    tell();
}

void DesktopSession::detach() {
    panelChoice_.reset();
    windows_.detach();
    access_.reset();
}

} // namespace keysong
