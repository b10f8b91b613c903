#include "Program/DesktopSession.h"

#include "App/KeyMonitor.h"

#include "Linux/Desktop/X11TraySelection.h"

namespace keysong {

void DesktopSession::attach(AppState& model, InstalledApplications& applications, Machine& machine,
                            TaskQueue& mainQueue, const std::function<void()>& quit) {
    access_.emplace(mainQueue, machine.threads, PolkitAccess::installedPrograms());
    windows_.attach({model, KeyMonitor::shared(), applications, machine.places, machine.textOrder}, *access_,
                    mainQueue);
    const bool isX11 = QGuiApplication::platformName() == QLatin1String("xcb");
    statusItem_.emplace(model, isX11 ? makeX11TraySelection() : nullptr, quit);
    const auto tell = [this] { windows_.setHasTray(statusItem_->hasHost()); };
    QObject::connect(&*statusItem_, &StatusItem::hasHostChanged, tell);
    tell();
}

void DesktopSession::detach() {
    statusItem_.reset();
    windows_.detach();
    access_.reset();
}

} // namespace keysong
